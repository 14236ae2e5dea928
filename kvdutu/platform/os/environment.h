// The process environment and identity: variables, the computer's name, the process id.
// On POSIX variable names are looked up as Windows does, without regard to case (an exact match
// first); setting a variable that exists under another case replaces that one. _wgetenv reads the
// same environment. (On Windows the C runtime keeps its own copy: _wgetenv does not see what
// SetEnvironmentVariableW set after the runtime started.)
// GetComputerNameW on POSIX is the host name up to its first dot, in upper case as Windows
// reports it; it is not cut to the 15 characters of a NetBIOS name.
#pragma once

#include "kvdutu/platform/win_types.h"

#if defined(_WIN32)
#include <process.h>
#include <stdlib.h>
#else
#define MAX_COMPUTERNAME_LENGTH 15
#define ERROR_BUFFER_OVERFLOW 111L
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::GetComputerNameW;
using ::GetEnvironmentVariableW;
using ::SetEnvironmentVariableW;
using ::_getpid;
using ::_wgetenv;
#else
// The length without terminator, or the size needed with the terminator when nSize is too small;
// 0 with ERROR_ENVVAR_NOT_FOUND when the variable is not set.
KVDUTU_API DWORD GetEnvironmentVariableW(LPCWSTR lpName, LPWSTR lpBuffer, DWORD nSize);
// A null value removes the variable. Names with '=' fail with ERROR_INVALID_PARAMETER.
KVDUTU_API BOOL SetEnvironmentVariableW(LPCWSTR lpName, LPCWSTR lpValue);
// Null when not set. The text stays valid for the life of the process.
KVDUTU_API wchar_t* _wgetenv(const wchar_t* varname);
// *nSize: the buffer's size in, the length without terminator out; ERROR_BUFFER_OVERFLOW with the
// size needed (with terminator) when it is too small.
KVDUTU_API BOOL GetComputerNameW(LPWSTR lpBuffer, LPDWORD nSize);
KVDUTU_API int _getpid();
#endif
}  // namespace KvdUtils::Platform
