// Typed user values: one value per call, read along a fixed ladder and written to the current
// user's hive. Readers never take a default: the caller loads the output with its default and
// looks at the result (1 found, 0 not found, output untouched). Nothing a read finds is written
// back.
//
// The reading ladder: the current user's hive under the root text (the current key when
// versioned, the product key otherwise, or *altRoot), then under the previous version's key,
// then HKEY_LOCAL_MACHINE, HKEY_USERS\.DEFAULT, and HKEY_LOCAL_MACHINE once more. In safe or
// performance test mode the user stages run only with the override for that mode.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"
#include "kvdutu/settings/value_types.h"

// The full reader. readPrevious 0 refuses the previous version's stage; userOnly stops after the
// user stages; skipUser starts at the machine stages.
KVDUTU_API int regGetUserValue(const CString& section, const CString& valueName, valueTypes type, CString& strOut,
                               int* intOut, double* dblOut, int skipUser, int versioned, CString* altRoot,
                               int userOnly, int readInSafeMode, int readPrevious, int readInPerfMode);

// The typed readers, which always fall back to the previous version.
KVDUTU_API int regGetUserValue(const CString& section, const CString& valueName, CString& out, int skipUser = 0,
                               int versioned = 1, CString* altRoot = nullptr, int userOnly = 0,
                               int readInSafeMode = 0, int readInPerfMode = 0);
KVDUTU_API int regGetUserValue(const CString& section, const CString& valueName, int* out, int skipUser = 0,
                               int versioned = 1, CString* altRoot = nullptr, int userOnly = 0,
                               int readInSafeMode = 0, int readInPerfMode = 0);
KVDUTU_API int regGetUserValue(const CString& section, const CString& valueName, double* out, int skipUser = 0,
                               int versioned = 1, CString* altRoot = nullptr, int userOnly = 0,
                               int readInSafeMode = 0, int readInPerfMode = 0);

// The full writer: to the current user's hive, under the current key when versioned, else the
// product key. In safe or performance test mode without that mode's override it writes nothing
// and returns 1; with both modes on both overrides are needed.
KVDUTU_API int regSetUserValue(const CString& section, const CString& valueName, valueTypes type,
                               const CString& strValue, int* intValue, double* dblValue, int versioned,
                               int writeInSafeMode, int writeInPerfMode);

// The typed writers.
KVDUTU_API int regSetUserValue(const CString& section, const CString& valueName, CString& value, int versioned = 1,
                               int writeInSafeMode = 0, int writeInPerfMode = 0);
KVDUTU_API int regSetUserValue(const CString& section, const CString& valueName, int* value, int versioned = 1,
                               int writeInSafeMode = 0, int writeInPerfMode = 0);
KVDUTU_API int regSetUserValue(const CString& section, const CString& valueName, double* value, int versioned = 1,
                               int writeInSafeMode = 0, int writeInPerfMode = 0);

// Reads one value from an open key. An integer must be a REG_DWORD, a double a REG_SZ of at most
// 256 bytes (text that is no number still counts, *dblOut untouched), a string a REG_SZ of at
// most 2048 bytes or else a run of chunks, appended to what strOut holds.
KVDUTU_API int regGetValue(HKEY key, const CString& valueName, valueTypes type, CString& strOut, int* intOut,
                           double* dblOut);
