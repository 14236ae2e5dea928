// Thread and process identity, and sleeping.
#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::GetCurrentProcessId;
using ::GetCurrentThreadId;
using ::Sleep;
#else
KVDUTU_API DWORD GetCurrentThreadId();
KVDUTU_API DWORD GetCurrentProcessId();
KVDUTU_API void Sleep(DWORD milliseconds);
#endif
}  // namespace KvdUtils::Platform
