// Modules: finding, loading and asking loaded libraries. On POSIX a Windows module name "X.dll" is
// looked up as "libX.so" and then "X.so", first beside the executable and then on the loader's
// search path; a name with a folder is used as it stands (with "\" read as "/").
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
#define DONT_RESOLVE_DLL_REFERENCES 0x00000001u
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002u
#define LOAD_WITH_ALTERED_SEARCH_PATH 0x00000008u
#define LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR 0x00000100u
#define LOAD_LIBRARY_SEARCH_DEFAULT_DIRS 0x00001000u
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x00000001u
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002u
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004u
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::FreeLibrary;
using ::GetModuleFileNameW;
using ::GetModuleHandleExW;
using ::GetModuleHandleW;
using ::GetProcAddress;
using ::LoadLibraryExW;
using ::LoadLibraryW;
#else
// Null name: the main program. Otherwise a module already in the process, or null with
// ERROR_MOD_NOT_FOUND; the reference count is not changed.
KVDUTU_API HMODULE GetModuleHandleW(LPCWSTR moduleName);
KVDUTU_API BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleNameOrAddress, HMODULE* module);
KVDUTU_API HMODULE LoadLibraryExW(LPCWSTR fileName, HANDLE reserved, DWORD flags);
KVDUTU_API HMODULE LoadLibraryW(LPCWSTR fileName);
KVDUTU_API BOOL FreeLibrary(HMODULE module);
KVDUTU_API FARPROC GetProcAddress(HMODULE module, LPCSTR procName);
// The module's full path; truncated to size-1 characters with ERROR_INSUFFICIENT_BUFFER, as
// Windows does from Vista on.
KVDUTU_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size);
#endif

// The module that holds this library, as the load step stored it.
KVDUTU_API HMODULE LibraryModuleHandle();
}  // namespace KvdUtils::Platform
