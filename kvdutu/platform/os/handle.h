// Kernel object handles. On POSIX the layer keeps its own handle table: events, semaphores,
// processes, threads, files and file mappings all live behind HANDLE values that CloseHandle
// releases and WaitForSingleObject waits on, with the Win32 results.
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
#define ERROR_TOO_MANY_POSTS 298L
#define DUPLICATE_CLOSE_SOURCE 0x00000001u
#define DUPLICATE_SAME_ACCESS 0x00000002u
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::CloseHandle;
using ::WaitForMultipleObjects;
using ::WaitForSingleObject;
#else
KVDUTU_API BOOL CloseHandle(HANDLE handle);
// WAIT_OBJECT_0 when signalled, WAIT_TIMEOUT, or WAIT_FAILED with ERROR_INVALID_HANDLE.
KVDUTU_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
KVDUTU_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
#endif
}  // namespace KvdUtils::Platform
