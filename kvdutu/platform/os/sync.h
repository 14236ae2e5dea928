// Synchronisation objects under their Win32 names: critical sections, events, semaphores.
// On POSIX a CRITICAL_SECTION holds a recursive mutex in place (no allocation, so that it can be
// used from the diagnostics paths), and events and semaphores are handle-table objects. Named
// events and semaphores are shared within the process under their name.
#pragma once

#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
// Room and alignment for a std::recursive_mutex on the supported C++ runtimes.
typedef struct _RTL_CRITICAL_SECTION {
  alignas(16) unsigned char opaque[64];
} CRITICAL_SECTION, *LPCRITICAL_SECTION, *PCRITICAL_SECTION;
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::CreateEventW;
using ::CreateMutexW;
using ::CreateSemaphoreW;
using ::DeleteCriticalSection;
using ::EnterCriticalSection;
using ::InitializeCriticalSection;
using ::LeaveCriticalSection;
using ::OpenEventW;
using ::OpenSemaphoreW;
using ::ReleaseMutex;
using ::ReleaseSemaphore;
using ::ResetEvent;
using ::SetEvent;
using ::TryEnterCriticalSection;
#else
KVDUTU_API void InitializeCriticalSection(LPCRITICAL_SECTION cs);
KVDUTU_API void DeleteCriticalSection(LPCRITICAL_SECTION cs);
KVDUTU_API void EnterCriticalSection(LPCRITICAL_SECTION cs);
KVDUTU_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs);
KVDUTU_API void LeaveCriticalSection(LPCRITICAL_SECTION cs);

// A named object that exists already is opened, and GetLastError says ERROR_ALREADY_EXISTS.
KVDUTU_API HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCWSTR name);
KVDUTU_API HANDLE OpenEventW(DWORD access, BOOL inherit, LPCWSTR name);
KVDUTU_API BOOL SetEvent(HANDLE event);
KVDUTU_API BOOL ResetEvent(HANDLE event);
KVDUTU_API HANDLE CreateSemaphoreW(LPSECURITY_ATTRIBUTES attributes, LONG initialCount, LONG maximumCount, LPCWSTR name);
KVDUTU_API HANDLE OpenSemaphoreW(DWORD access, BOOL inherit, LPCWSTR name);
// Fails with ERROR_TOO_MANY_POSTS, changing nothing, when the count would pass the maximum.
KVDUTU_API BOOL ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LPLONG previousCount);
KVDUTU_API HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCWSTR name);
KVDUTU_API BOOL ReleaseMutex(HANDLE mutex);
#endif
}  // namespace KvdUtils::Platform

#if !defined(_WIN32)
#define EVENT_ALL_ACCESS 0x1F0003u
#define EVENT_MODIFY_STATE 0x0002u
#define SEMAPHORE_ALL_ACCESS 0x1F0003u
#define SEMAPHORE_MODIFY_STATE 0x0002u
#define MUTEX_ALL_ACCESS 0x1F0001u
#define ERROR_NOT_OWNER_MUTEX 288L
#endif
