#include "kvdutu/platform/framework/sync.h"

#include "kvdutu/platform/os/handle.h"

namespace P = KvdUtils::Platform;

CSyncObject::CSyncObject(LPCWSTR) : m_hObject(nullptr) {}

CSyncObject::~CSyncObject() {
  if (m_hObject != nullptr) {
    P::CloseHandle(m_hObject);
    m_hObject = nullptr;
  }
}

BOOL CSyncObject::Lock(DWORD timeout) {
  if (m_hObject == nullptr) return FALSE;
  DWORD rc = P::WaitForSingleObject(m_hObject, timeout);
  return rc == WAIT_OBJECT_0 || rc == WAIT_ABANDONED ? TRUE : FALSE;
}

CCriticalSection::CCriticalSection() : CSyncObject(nullptr) { P::InitializeCriticalSection(&m_sect); }
CCriticalSection::~CCriticalSection() { P::DeleteCriticalSection(&m_sect); }
BOOL CCriticalSection::Lock() {
  P::EnterCriticalSection(&m_sect);
  return TRUE;
}
BOOL CCriticalSection::Lock(DWORD) { return Lock(); }
BOOL CCriticalSection::Unlock() {
  P::LeaveCriticalSection(&m_sect);
  return TRUE;
}

CEvent::CEvent(BOOL initiallyOwn, BOOL manualReset, LPCWSTR name, LPSECURITY_ATTRIBUTES attributes)
    : CSyncObject(name) {
  m_hObject = P::CreateEventW(attributes, manualReset, initiallyOwn, name);
}
BOOL CEvent::SetEvent() { return m_hObject ? P::SetEvent(m_hObject) : FALSE; }
BOOL CEvent::ResetEvent() { return m_hObject ? P::ResetEvent(m_hObject) : FALSE; }

CSemaphore::CSemaphore(LONG initialCount, LONG maxCount, LPCWSTR name, LPSECURITY_ATTRIBUTES attributes)
    : CSyncObject(name) {
  m_hObject = P::CreateSemaphoreW(attributes, initialCount, maxCount, name);
}
BOOL CSemaphore::Unlock() { return Unlock(1, nullptr); }
BOOL CSemaphore::Unlock(LONG count, LPLONG previousCount) {
  return m_hObject ? P::ReleaseSemaphore(m_hObject, count, previousCount) : FALSE;
}

CMutex::CMutex(BOOL initiallyOwn, LPCWSTR name, LPSECURITY_ATTRIBUTES attributes) : CSyncObject(name) {
  m_hObject = P::CreateMutexW(attributes, initiallyOwn, name);
}
BOOL CMutex::Unlock() { return m_hObject ? P::ReleaseMutex(m_hObject) : FALSE; }

CSingleLock::CSingleLock(CSyncObject* object, BOOL initialLock)
    : m_pObject(object), m_hObject(object ? object->m_hObject : nullptr), m_bAcquired(FALSE) {
  if (initialLock) Lock();
}

CSingleLock::~CSingleLock() { Unlock(); }

BOOL CSingleLock::Lock(DWORD timeout) {
  if (m_pObject == nullptr || m_bAcquired) return m_bAcquired;
  m_bAcquired = m_pObject->Lock(timeout);
  return m_bAcquired;
}

BOOL CSingleLock::Unlock() {
  if (m_pObject != nullptr && m_bAcquired) m_bAcquired = !m_pObject->Unlock();
  return !m_bAcquired;
}

BOOL CSingleLock::Unlock(LONG count, LPLONG previousCount) {
  if (m_pObject != nullptr && m_bAcquired) m_bAcquired = !m_pObject->Unlock(count, previousCount);
  return !m_bAcquired;
}
