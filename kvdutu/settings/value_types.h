// The kinds of value that the settings store keeps. Any number other than valueTypeInt and
// valueTypeString is read and written as a double.
#pragma once

enum valueTypes {
  valueTypeInt = 0,     // REG_DWORD, 4 bytes; output int*
  valueTypeDouble = 1,  // REG_SZ with the decimal text; output double*
  valueTypeString = 2,  // REG_SZ, or a run of chunk values when long; output CString&
};
