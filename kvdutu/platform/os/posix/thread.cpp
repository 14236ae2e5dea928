#include "kvdutu/platform/os/thread.h"

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/handles_internal.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace KvdUtils::Platform {

DWORD GetCurrentThreadId() {
  // The kernel's thread id: unique among live threads system-wide, as a Windows thread id is, and
  // the id that tgkill and /proc/<pid>/task use.
  thread_local const DWORD id = static_cast<DWORD>(::syscall(SYS_gettid));
  return id;
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(::getpid()); }

void Sleep(DWORD milliseconds) {
  if (milliseconds == INFINITE) {
    for (;;) std::this_thread::sleep_for(std::chrono::hours(24));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

namespace detail {
// A handle that is no thread answers as Windows does for one that lacks THREAD_SUSPEND_RESUME.
DWORD KernelObject::suspendThread() {
  SetLastError(ERROR_INVALID_HANDLE);
  return static_cast<DWORD>(-1);
}
DWORD KernelObject::resumeThread() {
  SetLastError(ERROR_INVALID_HANDLE);
  return static_cast<DWORD>(-1);
}
}  // namespace detail

DWORD SuspendThread(HANDLE thread) {
  auto object = detail::lookupHandle(thread);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<DWORD>(-1);
  }
  return object->suspendThread();
}

DWORD ResumeThread(HANDLE thread) {
  auto object = detail::lookupHandle(thread);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return static_cast<DWORD>(-1);
  }
  return object->resumeThread();
}

}  // namespace KvdUtils::Platform
