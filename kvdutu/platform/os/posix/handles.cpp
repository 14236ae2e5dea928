#include <unordered_map>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/posix/handles_internal.h"

namespace KvdUtils::Platform {
namespace detail {

namespace {

struct HandleTable {
  std::mutex mutex;
  std::unordered_map<uintptr_t, std::shared_ptr<KernelObject>> objects;
  uintptr_t next = 1;
};

HandleTable& table() {
  // Never destroyed: handles may still be closed by static destructors of other modules.
  static HandleTable* t = new HandleTable;
  return *t;
}

}  // namespace

std::mutex& KernelObject::waitMutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}
std::condition_variable& KernelObject::waitCondition() {
  static std::condition_variable* c = new std::condition_variable;
  return *c;
}

HANDLE insertHandle(std::shared_ptr<KernelObject> object) {
  HandleTable& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  // Multiples of 4, as Windows hands them out; never 0 and never INVALID_HANDLE_VALUE.
  uintptr_t value = (t.next++) * 4;
  t.objects.emplace(value, std::move(object));
  return reinterpret_cast<HANDLE>(value);
}

std::shared_ptr<KernelObject> lookupHandle(HANDLE handle) {
  HandleTable& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.objects.find(reinterpret_cast<uintptr_t>(handle));
  return it == t.objects.end() ? nullptr : it->second;
}

bool removeHandle(HANDLE handle) {
  std::shared_ptr<KernelObject> doomed;  // destroyed outside the table lock
  HandleTable& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.objects.find(reinterpret_cast<uintptr_t>(handle));
  if (it == t.objects.end()) return false;
  doomed = std::move(it->second);
  t.objects.erase(it);
  return true;
}

}  // namespace detail

BOOL CloseHandle(HANDLE handle) {
  if (!detail::removeHandle(handle)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
  if (count == 0 || count > 64 || handles == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  std::vector<std::shared_ptr<detail::KernelObject>> objects;
  objects.reserve(count);
  for (DWORD i = 0; i < count; ++i) {
    auto object = detail::lookupHandle(handles[i]);
    if (!object || !object->waitable()) {
      SetLastError(ERROR_INVALID_HANDLE);
      return WAIT_FAILED;
    }
    objects.push_back(std::move(object));
  }
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  std::unique_lock<std::mutex> lock(detail::KernelObject::waitMutex());
  for (;;) {
    if (waitAll) {
      bool all = true;
      for (auto& o : objects) all = all && o->isSignalledLocked();
      if (all) {
        for (auto& o : objects) o->consumeLocked();
        return WAIT_OBJECT_0;
      }
    } else {
      for (DWORD i = 0; i < count; ++i) {
        if (objects[i]->isSignalledLocked()) {
          objects[i]->consumeLocked();
          return WAIT_OBJECT_0 + i;
        }
      }
    }
    if (milliseconds == 0) return WAIT_TIMEOUT;
    if (milliseconds == INFINITE) {
      detail::KernelObject::waitCondition().wait(lock);
    } else if (detail::KernelObject::waitCondition().wait_until(lock, deadline) == std::cv_status::timeout) {
      // One last look: the state may have changed together with the timeout.
      milliseconds = 0;
    }
  }
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  return WaitForMultipleObjects(1, &handle, TRUE, milliseconds);
}

}  // namespace KvdUtils::Platform
