// Owner of one IDispatch reference that the caller already holds.
#pragma once

#include "kvdutu/platform/os/com.h"

class KVDUTU_API smartDispatch {
 public:
  // Takes over the caller's reference: no AddRef here.
  explicit smartDispatch(IDispatch* dispatch = nullptr) : m_pDispatch(dispatch) {}
  // Releases exactly once when not null.
  ~smartDispatch();
  // Copies the pointer and leaves the reference count alone, as the system's class did: the
  // caller must not let two owners release one reference.
  smartDispatch& operator=(const smartDispatch& other) {
    m_pDispatch = other.m_pDispatch;
    return *this;
  }
  smartDispatch(const smartDispatch& other) = delete;

  IDispatch* get() const { return m_pDispatch; }
  operator IDispatch*() const { return m_pDispatch; }
  IDispatch* operator->() const { return m_pDispatch; }

  IDispatch* m_pDispatch;
};
