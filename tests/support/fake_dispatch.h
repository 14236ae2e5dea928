// A small IDispatch object for tests: counts its references and answers one property.
#pragma once

#include <atomic>

#include "kvdutu/platform/os/com.h"

namespace KvdTest {

class FakeDispatch : public IDispatch {
 public:
  std::atomic<ULONG> refs{1};
  bool refuseDispatch = false;  // answer E_NOINTERFACE for IDispatch, as a plain IUnknown would

  STDMETHOD(QueryInterface)(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || (!refuseDispatch && IsEqualIID(riid, IID_IDispatch))) {
      *object = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHOD_(ULONG, AddRef)() override { return ++refs; }
  // Never deletes itself: tests own the object and read the count afterwards.
  STDMETHOD_(ULONG, Release)() override { return --refs; }
  STDMETHOD(GetTypeInfoCount)(UINT* count) override {
    if (count) *count = 0;
    return S_OK;
  }
  STDMETHOD(GetTypeInfo)(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
  STDMETHOD(Invoke)(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*, UINT*) override {
    if (result) {
      result->vt = VT_I4;
      result->lVal = 42;
    }
    return S_OK;
  }
};

}  // namespace KvdTest
