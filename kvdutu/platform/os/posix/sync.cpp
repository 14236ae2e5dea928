#include <map>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/handles_internal.h"
#include "kvdutu/platform/os/sync.h"
#include "kvdutu/platform/os/thread.h"

namespace KvdUtils::Platform {

static_assert(sizeof(std::recursive_mutex) <= sizeof(CRITICAL_SECTION::opaque));
static_assert(alignof(std::recursive_mutex) <= 16);

static std::recursive_mutex* csMutex(LPCRITICAL_SECTION cs) {
  return std::launder(reinterpret_cast<std::recursive_mutex*>(cs->opaque));
}

void InitializeCriticalSection(LPCRITICAL_SECTION cs) { new (cs->opaque) std::recursive_mutex(); }
void DeleteCriticalSection(LPCRITICAL_SECTION cs) { csMutex(cs)->~recursive_mutex(); }
void EnterCriticalSection(LPCRITICAL_SECTION cs) { csMutex(cs)->lock(); }
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION cs) { return csMutex(cs)->try_lock() ? TRUE : FALSE; }
void LeaveCriticalSection(LPCRITICAL_SECTION cs) { csMutex(cs)->unlock(); }

namespace {

using detail::KernelObject;

class Event final : public KernelObject {
 public:
  Event(bool manual, bool initial) : manual_(manual), signalled_(initial) {}
  bool waitable() const override { return true; }
  bool isSignalledLocked() const override { return signalled_; }
  void consumeLocked() override {
    if (!manual_) signalled_ = false;
  }
  void set(bool on) {
    std::lock_guard<std::mutex> lock(waitMutex());
    signalled_ = on;
    if (on) waitCondition().notify_all();
  }

 private:
  bool manual_;
  bool signalled_;
};

class Semaphore final : public KernelObject {
 public:
  Semaphore(LONG initial, LONG maximum) : count_(initial), maximum_(maximum) {}
  bool waitable() const override { return true; }
  bool isSignalledLocked() const override { return count_ > 0; }
  void consumeLocked() override { --count_; }
  DWORD release(LONG n, LONG* previous) {
    std::lock_guard<std::mutex> lock(waitMutex());
    if (n <= 0) return ERROR_INVALID_PARAMETER;
    if (n > maximum_ - count_) return ERROR_TOO_MANY_POSTS;
    if (previous) *previous = count_;
    count_ += n;
    waitCondition().notify_all();
    return ERROR_SUCCESS;
  }

 private:
  LONG count_;
  LONG maximum_;
};

class Mutex final : public KernelObject {
 public:
  explicit Mutex(bool owned) {
    if (owned) {
      owner_ = GetCurrentThreadId();
      depth_ = 1;
    }
  }
  bool waitable() const override { return true; }
  bool isSignalledLocked() const override { return depth_ == 0 || owner_ == GetCurrentThreadId(); }
  void consumeLocked() override {
    owner_ = GetCurrentThreadId();
    ++depth_;
  }
  bool release() {
    std::lock_guard<std::mutex> lock(waitMutex());
    if (depth_ == 0 || owner_ != GetCurrentThreadId()) return false;
    if (--depth_ == 0) {
      owner_ = 0;
      waitCondition().notify_all();
    }
    return true;
  }

 private:
  DWORD owner_ = 0;
  unsigned depth_ = 0;
};

// Named objects of this process. The table holds weak references: a name disappears with the
// last handle of its object, as a Windows named object does.
struct NameTable {
  std::mutex mutex;
  std::map<std::wstring, std::weak_ptr<KernelObject>> objects;
};
NameTable& names() {
  static NameTable* t = new NameTable;
  return *t;
}

template <class T, class Make>
HANDLE createNamed(LPCWSTR name, Make make) {
  if (name == nullptr || *name == 0) {
    SetLastError(ERROR_SUCCESS);
    return detail::insertHandle(make());
  }
  NameTable& t = names();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.objects.find(name);
  if (it != t.objects.end()) {
    if (auto existing = it->second.lock()) {
      if (!std::dynamic_pointer_cast<T>(existing)) {
        SetLastError(ERROR_INVALID_HANDLE);  // the name belongs to an object of another kind
        return nullptr;
      }
      HANDLE h = detail::insertHandle(existing);
      SetLastError(ERROR_ALREADY_EXISTS);
      return h;
    }
  }
  std::shared_ptr<KernelObject> object = make();
  t.objects[name] = object;
  SetLastError(ERROR_SUCCESS);
  return detail::insertHandle(std::move(object));
}

template <class T>
HANDLE openNamed(LPCWSTR name) {
  if (name == nullptr || *name == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  NameTable& t = names();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.objects.find(name);
  std::shared_ptr<KernelObject> existing = it == t.objects.end() ? nullptr : it->second.lock();
  if (!existing || !std::dynamic_pointer_cast<T>(existing)) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
  }
  return detail::insertHandle(existing);
}

}  // namespace

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR name) {
  return createNamed<Event>(name, [&] { return std::make_shared<Event>(manualReset != 0, initialState != 0); });
}

HANDLE OpenEventW(DWORD, BOOL, LPCWSTR name) { return openNamed<Event>(name); }

static BOOL setEventState(HANDLE h, bool on) {
  auto event = detail::lookupHandleAs<Event>(h);
  if (!event) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  event->set(on);
  return TRUE;
}

BOOL SetEvent(HANDLE event) { return setEventState(event, true); }
BOOL ResetEvent(HANDLE event) { return setEventState(event, false); }

HANDLE CreateSemaphoreW(LPSECURITY_ATTRIBUTES, LONG initialCount, LONG maximumCount, LPCWSTR name) {
  if (maximumCount <= 0 || initialCount < 0 || initialCount > maximumCount) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return createNamed<Semaphore>(name, [&] { return std::make_shared<Semaphore>(initialCount, maximumCount); });
}

HANDLE OpenSemaphoreW(DWORD, BOOL, LPCWSTR name) { return openNamed<Semaphore>(name); }

BOOL ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LPLONG previousCount) {
  auto object = detail::lookupHandleAs<Semaphore>(semaphore);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  DWORD rc = object->release(releaseCount, previousCount);
  if (rc != ERROR_SUCCESS) {
    SetLastError(rc);
    return FALSE;
  }
  return TRUE;
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL initialOwner, LPCWSTR name) {
  return createNamed<Mutex>(name, [&] { return std::make_shared<Mutex>(initialOwner != 0); });
}

BOOL ReleaseMutex(HANDLE mutex) {
  auto object = detail::lookupHandleAs<Mutex>(mutex);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (!object->release()) {
    SetLastError(ERROR_NOT_OWNER_MUTEX);
    return FALSE;
  }
  return TRUE;
}

}  // namespace KvdUtils::Platform
