// The framework's synchronisation classes, over the OS layer: CCriticalSection, CEvent,
// CSemaphore and CMutex, and CSingleLock to hold one of them for a scope.
#pragma once

#include "kvdutu/platform/os/sync.h"
#include "kvdutu/platform/win_types.h"

class KVDUTU_API CSyncObject {
 public:
  explicit CSyncObject(LPCWSTR name);
  virtual ~CSyncObject();
  CSyncObject(const CSyncObject&) = delete;
  CSyncObject& operator=(const CSyncObject&) = delete;

  operator HANDLE() const { return m_hObject; }
  virtual BOOL Lock(DWORD timeout = INFINITE);
  virtual BOOL Unlock() = 0;
  virtual BOOL Unlock(LONG count, LPLONG previousCount = nullptr) { return TRUE; }

  HANDLE m_hObject;
};

class KVDUTU_API CCriticalSection : public CSyncObject {
 public:
  CCriticalSection();
  ~CCriticalSection() override;
  operator CRITICAL_SECTION*() { return &m_sect; }
  BOOL Lock();
  BOOL Lock(DWORD timeout) override;  // a critical section waits without limit
  BOOL Unlock() override;

  CRITICAL_SECTION m_sect;
};

class KVDUTU_API CEvent : public CSyncObject {
 public:
  explicit CEvent(BOOL initiallyOwn = FALSE, BOOL manualReset = FALSE, LPCWSTR name = nullptr,
                  LPSECURITY_ATTRIBUTES attributes = nullptr);
  BOOL SetEvent();
  BOOL ResetEvent();
  BOOL Unlock() override { return TRUE; }
};

class KVDUTU_API CSemaphore : public CSyncObject {
 public:
  explicit CSemaphore(LONG initialCount = 1, LONG maxCount = 1, LPCWSTR name = nullptr,
                      LPSECURITY_ATTRIBUTES attributes = nullptr);
  BOOL Unlock() override;
  BOOL Unlock(LONG count, LPLONG previousCount = nullptr) override;
};

class KVDUTU_API CMutex : public CSyncObject {
 public:
  explicit CMutex(BOOL initiallyOwn = FALSE, LPCWSTR name = nullptr, LPSECURITY_ATTRIBUTES attributes = nullptr);
  BOOL Unlock() override;
};

class KVDUTU_API CSingleLock {
 public:
  explicit CSingleLock(CSyncObject* object, BOOL initialLock = FALSE);
  ~CSingleLock();
  CSingleLock(const CSingleLock&) = delete;
  CSingleLock& operator=(const CSingleLock&) = delete;

  BOOL Lock(DWORD timeout = INFINITE);
  BOOL Unlock();
  BOOL Unlock(LONG count, LPLONG previousCount = nullptr);
  BOOL IsLocked() const { return m_bAcquired; }

 protected:
  CSyncObject* m_pObject;
  HANDLE m_hObject;
  BOOL m_bAcquired;
};
