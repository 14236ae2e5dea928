// Where temporary files go. The system's temporary folder is the environment variable "temp", else
// "tmp"; with neither set every function here answers an empty string, which callers take as
// "no temporary folder".
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// The variable's value without a trailing separator added; with longForm non-zero passed through
// su_converToLongPathName, so that a failed look-up gives an empty string.
KVDUTU_API CString su_GetSystemTempDirectory(int longForm);

// The long form of the temporary folder with a trailing '\'. With perProcess non-zero, the
// folder "kvx<process id>" under it, made when missing (private to the current user). A folder
// that cannot be made still gives its path; one that a symbolic link or another user's folder
// stands in for gives an empty string.
KVDUTU_API CString su_CreateTempDirectory(int perProcess);

// su_CreateTempDirectory's result followed directly by `name`; empty when that result is empty.
KVDUTU_API CString su_CreateTempFilePath(const wchar_t* name, int perProcess);

// The long form of the path; empty (not the input) when the look-up fails.
KVDUTU_API CString su_converToLongPathName(CString path);

// 1 with the shell's form of the path in `out` (MAX_PATH characters), else 0. `out` is cleared
// first.
KVDUTU_API unsigned int su_GetLongPathName(const wchar_t* path, wchar_t* out);
