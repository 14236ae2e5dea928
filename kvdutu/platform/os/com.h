// A minimal in-process COM for POSIX: IUnknown and IDispatch with the Windows layout (the same
// virtual slots in the same order), GUID text, BSTR, VARIANT, a running object table and item
// monikers. On Windows the real component object services are used.
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)

#define interface struct
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define PURE = 0

#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_MULTITHREADED 0x0
#define ROTFLAGS_REGISTRATIONKEEPSALIVE 0x1
#define ROTFLAGS_ALLOWANYCLIENT 0x2
#define DISPATCH_METHOD 0x1
#define DISPATCH_PROPERTYGET 0x2
#define DISPATCH_PROPERTYPUT 0x4
#define DISPATCH_PROPERTYPUTREF 0x8
#define DISPID_UNKNOWN (-1)
#define DISPID_VALUE 0
#define DISPID_PROPERTYPUT (-3)
#define LOCALE_USER_DEFAULT 0x0400
#define LOCALE_SYSTEM_DEFAULT 0x0800
#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_SERVER (CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER)
#define CLSCTX_ALL (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER)
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

enum VARENUM {
  VT_EMPTY = 0, VT_NULL = 1, VT_I2 = 2, VT_I4 = 3, VT_R4 = 4, VT_R8 = 5, VT_CY = 6, VT_DATE = 7,
  VT_BSTR = 8, VT_DISPATCH = 9, VT_ERROR = 10, VT_BOOL = 11, VT_VARIANT = 12, VT_UNKNOWN = 13,
  VT_DECIMAL = 14, VT_I1 = 16, VT_UI1 = 17, VT_UI2 = 18, VT_UI4 = 19, VT_I8 = 20, VT_UI8 = 21,
  VT_INT = 22, VT_UINT = 23, VT_VOID = 24, VT_HRESULT = 25, VT_ARRAY = 0x2000, VT_BYREF = 0x4000
};

struct ITypeInfo;
struct IStream;
struct IBindCtx;
struct IEnumMoniker;
struct IMoniker;

interface IUnknown {
  STDMETHOD(QueryInterface)(REFIID riid, void** object) PURE;
  STDMETHOD_(ULONG, AddRef)() PURE;
  STDMETHOD_(ULONG, Release)() PURE;
};
typedef IUnknown* LPUNKNOWN;

typedef struct tagVARIANT VARIANT;
typedef VARIANT VARIANTARG;
struct IDispatch;

// 24 bytes on 64-bit targets, as on Windows: the type, three reserved words, a 16-byte union.
struct tagVARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONGLONG llVal;
    LONG lVal;
    BYTE bVal;
    SHORT iVal;
    FLOAT fltVal;
    DOUBLE dblVal;
    VARIANT_BOOL boolVal;
    SCODE scode;
    DATE date;
    BSTR bstrVal;
    IUnknown* punkVal;
    IDispatch* pdispVal;
    CHAR cVal;
    USHORT uiVal;
    ULONG ulVal;
    ULONGLONG ullVal;
    INT intVal;
    UINT uintVal;
    LONG* plVal;
    BSTR* pbstrVal;
    VARIANT* pvarVal;
    PVOID byref;
    struct {
      PVOID pvRecord;
      PVOID pRecInfo;
    } brecord;
  };
};

typedef struct tagDISPPARAMS {
  VARIANTARG* rgvarg;
  DISPID* rgdispidNamedArgs;
  UINT cArgs;
  UINT cNamedArgs;
} DISPPARAMS;

typedef struct tagEXCEPINFO {
  WORD wCode;
  WORD wReserved;
  BSTR bstrSource;
  BSTR bstrDescription;
  BSTR bstrHelpFile;
  DWORD dwHelpContext;
  PVOID pvReserved;
  HRESULT(STDMETHODCALLTYPE* pfnDeferredFillIn)(struct tagEXCEPINFO*);
  SCODE scode;
} EXCEPINFO;

interface IDispatch : public IUnknown {
  STDMETHOD(GetTypeInfoCount)(UINT* count) PURE;
  STDMETHOD(GetTypeInfo)(UINT index, LCID lcid, ITypeInfo** info) PURE;
  STDMETHOD(GetIDsOfNames)(REFIID riid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) PURE;
  STDMETHOD(Invoke)(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                    EXCEPINFO* excepInfo, UINT* argErr) PURE;
};
typedef IDispatch* LPDISPATCH;

interface IPersist : public IUnknown {
  STDMETHOD(GetClassID)(CLSID* classId) PURE;
};

interface IPersistStream : public IPersist {
  STDMETHOD(IsDirty)() PURE;
  STDMETHOD(Load)(IStream* stream) PURE;
  STDMETHOD(Save)(IStream* stream, BOOL clearDirty) PURE;
  STDMETHOD(GetSizeMax)(ULARGE_INTEGER* size) PURE;
};

interface IMoniker : public IPersistStream {
  STDMETHOD(BindToObject)(IBindCtx* bc, IMoniker* left, REFIID riid, void** result) PURE;
  STDMETHOD(BindToStorage)(IBindCtx* bc, IMoniker* left, REFIID riid, void** result) PURE;
  STDMETHOD(Reduce)(IBindCtx* bc, DWORD howFar, IMoniker** left, IMoniker** reduced) PURE;
  STDMETHOD(ComposeWith)(IMoniker* right, BOOL onlyIfNotGeneric, IMoniker** composite) PURE;
  STDMETHOD(Enum)(BOOL forward, IEnumMoniker** enumMoniker) PURE;
  STDMETHOD(IsEqual)(IMoniker* other) PURE;
  STDMETHOD(Hash)(DWORD* hash) PURE;
  STDMETHOD(IsRunning)(IBindCtx* bc, IMoniker* left, IMoniker* newlyRunning) PURE;
  STDMETHOD(GetTimeOfLastChange)(IBindCtx* bc, IMoniker* left, FILETIME* time) PURE;
  STDMETHOD(Inverse)(IMoniker** inverse) PURE;
  STDMETHOD(CommonPrefixWith)(IMoniker* other, IMoniker** prefix) PURE;
  STDMETHOD(RelativePathTo)(IMoniker* other, IMoniker** relative) PURE;
  STDMETHOD(GetDisplayName)(IBindCtx* bc, IMoniker* left, LPOLESTR* displayName) PURE;
  STDMETHOD(ParseDisplayName)(IBindCtx* bc, IMoniker* left, LPOLESTR displayName, ULONG* eaten, IMoniker** out) PURE;
  STDMETHOD(IsSystemMoniker)(DWORD* kind) PURE;
};
typedef IMoniker* LPMONIKER;

interface IRunningObjectTable : public IUnknown {
  STDMETHOD(Register)(DWORD flags, IUnknown* object, IMoniker* name, DWORD* cookie) PURE;
  STDMETHOD(Revoke)(DWORD cookie) PURE;
  STDMETHOD(IsRunning)(IMoniker* name) PURE;
  STDMETHOD(GetObject)(IMoniker* name, IUnknown** object) PURE;
  STDMETHOD(NoteChangeTime)(DWORD cookie, FILETIME* time) PURE;
  STDMETHOD(GetTimeOfLastChange)(IMoniker* name, FILETIME* time) PURE;
  STDMETHOD(EnumRunning)(IEnumMoniker** enumMoniker) PURE;
};
typedef IRunningObjectTable* LPRUNNINGOBJECTTABLE;

interface IClassFactory : public IUnknown {
  STDMETHOD(CreateInstance)(IUnknown* outer, REFIID riid, void** object) PURE;
  STDMETHOD(LockServer)(BOOL lock) PURE;
};

extern "C" {
KVDUTU_API extern const IID IID_IUnknown;
KVDUTU_API extern const IID IID_IDispatch;
KVDUTU_API extern const IID IID_IPersist;
KVDUTU_API extern const IID IID_IPersistStream;
KVDUTU_API extern const IID IID_IMoniker;
KVDUTU_API extern const IID IID_IRunningObjectTable;
KVDUTU_API extern const IID IID_IClassFactory;
KVDUTU_API extern const IID IID_NULL;
}

#endif  // !_WIN32

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::CLSIDFromString;
using ::CoInitialize;
using ::CoInitializeEx;
using ::CoTaskMemAlloc;
using ::CoTaskMemFree;
using ::CoUninitialize;
using ::CreateItemMoniker;
using ::GetRunningObjectTable;
using ::StringFromCLSID;
using ::StringFromGUID2;
using ::SysAllocString;
using ::SysAllocStringLen;
using ::SysFreeString;
using ::SysStringLen;
using ::VariantClear;
using ::VariantInit;
#else
KVDUTU_API HRESULT CoInitialize(LPVOID reserved);
KVDUTU_API HRESULT CoInitializeEx(LPVOID reserved, DWORD flags);
KVDUTU_API void CoUninitialize();
KVDUTU_API LPVOID CoTaskMemAlloc(SIZE_T size);
KVDUTU_API void CoTaskMemFree(LPVOID memory);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hexadecimal.
KVDUTU_API int StringFromGUID2(REFGUID guid, LPOLESTR out, int cchMax);
KVDUTU_API HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* out);  // CoTaskMemFree the result
KVDUTU_API HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid);  // CO_E_CLASSSTRING when malformed

// BSTR: length-prefixed wide text; SysStringLen counts characters.
KVDUTU_API BSTR SysAllocString(const OLECHAR* text);
KVDUTU_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
KVDUTU_API void SysFreeString(BSTR text);
KVDUTU_API UINT SysStringLen(BSTR text);
KVDUTU_API void VariantInit(VARIANTARG* v);
KVDUTU_API HRESULT VariantClear(VARIANTARG* v);

// The process's running object table. `reserved` must be 0.
KVDUTU_API HRESULT GetRunningObjectTable(DWORD reserved, LPRUNNINGOBJECTTABLE* table);
// An item moniker; a null delimiter is empty. Item names compare without regard to case.
KVDUTU_API HRESULT CreateItemMoniker(LPCOLESTR delimiter, LPCOLESTR item, LPMONIKER* moniker);
#endif
}  // namespace KvdUtils::Platform
