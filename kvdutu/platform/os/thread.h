// Thread and process identity, and sleeping.
#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::GetCurrentProcessId;
using ::GetCurrentThreadId;
using ::ResumeThread;
using ::Sleep;
using ::SuspendThread;
#else
KVDUTU_API DWORD GetCurrentThreadId();
KVDUTU_API DWORD GetCurrentProcessId();
KVDUTU_API void Sleep(DWORD milliseconds);
// Counted suspension of a thread handle: the previous count, or (DWORD)-1 with
// ERROR_INVALID_HANDLE for a handle that is not a thread.
KVDUTU_API DWORD SuspendThread(HANDLE thread);
KVDUTU_API DWORD ResumeThread(HANDLE thread);
#endif
}  // namespace KvdUtils::Platform
