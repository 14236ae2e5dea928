// The shell's namespace as far as the library uses it: the desktop folder, which turns a path
// into an item identifier list and back, and the shell's allocator that frees such lists.
// On POSIX an item identifier list for a file-system path is one item holding the full path
// (GetFullPathNameW's form) as UTF-16 units, followed by the zero terminator item, so that code
// walking `cb` fields works on it. ParseDisplayName refuses a path that does not exist with
// HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), or ERROR_PATH_NOT_FOUND for a missing folder, as the
// desktop folder does. Other members of the folder answer E_NOTIMPL.
#pragma once

#include "kvdutu/platform/os/com.h"
#include "kvdutu/platform/win_types.h"

#if defined(_WIN32)
#include <shlobj.h>
#include <shobjidl.h>
#else

#pragma pack(push, 1)
typedef struct _SHITEMID {
  USHORT cb;  // size of this item with cb itself
  BYTE abID[1];
} SHITEMID;
typedef struct _ITEMIDLIST {
  SHITEMID mkid;
} ITEMIDLIST;
#pragma pack(pop)
typedef ITEMIDLIST* LPITEMIDLIST;
typedef const ITEMIDLIST* LPCITEMIDLIST;
typedef ITEMIDLIST* PIDLIST_ABSOLUTE;
typedef const ITEMIDLIST* PCIDLIST_ABSOLUTE;
typedef ITEMIDLIST* PIDLIST_RELATIVE;
typedef const ITEMIDLIST* PCUIDLIST_RELATIVE;
typedef const ITEMIDLIST* PCUITEMID_CHILD;
typedef const ITEMIDLIST* const* PCUITEMID_CHILD_ARRAY;
typedef ITEMIDLIST* PITEMID_CHILD;
typedef ULONG SFGAOF;
typedef DWORD SHCONTF;
typedef DWORD SHGDNF;

typedef struct _STRRET {
  UINT uType;
  union {
    LPWSTR pOleStr;
    UINT uOffset;
    char cStr[MAX_PATH];
  };
} STRRET;

struct IEnumIDList;

interface IMalloc : public IUnknown {
  STDMETHOD_(void*, Alloc)(SIZE_T cb) PURE;
  STDMETHOD_(void*, Realloc)(void* pv, SIZE_T cb) PURE;
  STDMETHOD_(void, Free)(void* pv) PURE;
  STDMETHOD_(SIZE_T, GetSize)(void* pv) PURE;
  STDMETHOD_(int, DidAlloc)(void* pv) PURE;
  STDMETHOD_(void, HeapMinimize)() PURE;
};
typedef IMalloc* LPMALLOC;

// The slots of the Windows IShellFolder, in order.
interface IShellFolder : public IUnknown {
  STDMETHOD(ParseDisplayName)(HWND hwnd, IBindCtx* pbc, LPWSTR pszDisplayName, ULONG* pchEaten,
                              PIDLIST_RELATIVE* ppidl, ULONG* pdwAttributes) PURE;
  STDMETHOD(EnumObjects)(HWND hwnd, SHCONTF grfFlags, IEnumIDList** ppenumIDList) PURE;
  STDMETHOD(BindToObject)(PCUIDLIST_RELATIVE pidl, IBindCtx* pbc, REFIID riid, void** ppv) PURE;
  STDMETHOD(BindToStorage)(PCUIDLIST_RELATIVE pidl, IBindCtx* pbc, REFIID riid, void** ppv) PURE;
  STDMETHOD(CompareIDs)(LPARAM lParam, PCUIDLIST_RELATIVE pidl1, PCUIDLIST_RELATIVE pidl2) PURE;
  STDMETHOD(CreateViewObject)(HWND hwndOwner, REFIID riid, void** ppv) PURE;
  STDMETHOD(GetAttributesOf)(UINT cidl, PCUITEMID_CHILD_ARRAY apidl, SFGAOF* rgfInOut) PURE;
  STDMETHOD(GetUIObjectOf)(HWND hwndOwner, UINT cidl, PCUITEMID_CHILD_ARRAY apidl, REFIID riid, UINT* rgfReserved,
                           void** ppv) PURE;
  STDMETHOD(GetDisplayNameOf)(PCUITEMID_CHILD pidl, SHGDNF uFlags, STRRET* pName) PURE;
  STDMETHOD(SetNameOf)(HWND hwnd, PCUITEMID_CHILD pidl, LPCWSTR pszName, SHGDNF uFlags, PITEMID_CHILD* ppidlOut) PURE;
};
typedef IShellFolder* LPSHELLFOLDER;

extern "C" {
KVDUTU_API extern const IID IID_IMalloc;
KVDUTU_API extern const IID IID_IShellFolder;
}
#endif  // !_WIN32

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::ILFree;
using ::SHGetDesktopFolder;
using ::SHGetMalloc;
using ::SHGetPathFromIDListW;
#else
KVDUTU_API HRESULT SHGetDesktopFolder(IShellFolder** ppshf);
// The task allocator (CoTaskMemAlloc/CoTaskMemFree); item identifier lists are freed through it.
KVDUTU_API HRESULT SHGetMalloc(IMalloc** ppMalloc);
// FALSE for a null or empty list, or one that holds no file-system path; lpszPath holds
// MAX_PATH characters.
KVDUTU_API BOOL SHGetPathFromIDListW(PCIDLIST_ABSOLUTE pidl, LPWSTR pszPath);
KVDUTU_API void ILFree(PIDLIST_RELATIVE pidl);
#endif
}  // namespace KvdUtils::Platform
