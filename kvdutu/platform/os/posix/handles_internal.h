// The POSIX handle table. Objects are reference counted: a wait that is under way keeps its object
// alive even when another thread closes the last handle.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform::detail {

class KernelObject {
 public:
  virtual ~KernelObject() = default;
  // Waitable objects override these three. isSignalledLocked and consumeLocked run under
  // waitMutex(); whoever changes the state to signalled notifies waitCondition().
  virtual bool waitable() const { return false; }
  virtual bool isSignalledLocked() const { return false; }
  virtual void consumeLocked() {}

  // Objects that stand for a thread (the library's threads, a suspended child's primary thread)
  // override these two; they give the previous suspend count, or (DWORD)-1 with the last error set.
  virtual DWORD suspendThread();
  virtual DWORD resumeThread();

  // One mutex and condition for every waitable object, so that WaitForMultipleObjects can wait
  // on several objects at once without a lock order between them.
  static std::mutex& waitMutex();
  static std::condition_variable& waitCondition();
};

HANDLE insertHandle(std::shared_ptr<KernelObject> object);
std::shared_ptr<KernelObject> lookupHandle(HANDLE handle);
template <class T>
std::shared_ptr<T> lookupHandleAs(HANDLE handle) {
  return std::dynamic_pointer_cast<T>(lookupHandle(handle));
}
bool removeHandle(HANDLE handle);

}  // namespace KvdUtils::Platform::detail
