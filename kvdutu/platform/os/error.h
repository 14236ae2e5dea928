// The calling thread's last-error value, as the Win32 operations of this layer leave it.
#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::GetLastError;
using ::SetLastError;
#else
KVDUTU_API DWORD GetLastError();
KVDUTU_API void SetLastError(DWORD code);
// errno of a failed system call as the nearest system error code.
KVDUTU_API DWORD Win32ErrorFromErrno(int err);
#endif
}  // namespace KvdUtils::Platform
