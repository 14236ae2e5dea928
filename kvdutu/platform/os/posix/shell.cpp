// The desktop folder and the shell allocator on POSIX: item identifier lists that carry a path.
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/shell.h"

extern "C" {
const IID IID_IMalloc = {0x00000002, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IShellFolder = {0x000214E6, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}

namespace KvdUtils::Platform {
namespace {

#define SFGAO_FOLDER_ 0x20000000u
#define SFGAO_FILESYSTEM_ 0x40000000u

std::vector<uint16_t> toUtf16(const std::wstring& s) {
  std::vector<uint16_t> out;
  for (wchar_t c : s) {
    uint32_t u = static_cast<uint32_t>(c);
    if (u >= 0x10000 && u <= 0x10FFFF) {
      u -= 0x10000;
      out.push_back(static_cast<uint16_t>(0xD800 + (u >> 10)));
      out.push_back(static_cast<uint16_t>(0xDC00 + (u & 0x3FF)));
    } else {
      out.push_back(static_cast<uint16_t>(u));
    }
  }
  return out;
}

std::wstring fromUtf16(const uint16_t* p, size_t n) {
  std::wstring out;
  for (size_t i = 0; i < n; ++i) {
    uint32_t u = p[i];
    if (u >= 0xD800 && u < 0xDC00 && i + 1 < n && p[i + 1] >= 0xDC00 && p[i + 1] < 0xE000) {
      u = 0x10000 + ((u - 0xD800) << 10) + (p[i + 1] - 0xDC00);
      ++i;
    }
    out.push_back(static_cast<wchar_t>(u));
  }
  return out;
}

class TaskMalloc final : public IMalloc {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IMalloc) {
      *object = static_cast<IMalloc*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }  // a process-wide object, never freed
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  void* STDMETHODCALLTYPE Alloc(SIZE_T cb) override { return CoTaskMemAlloc(cb); }
  void* STDMETHODCALLTYPE Realloc(void* pv, SIZE_T cb) override { return std::realloc(pv, cb ? cb : 1); }
  void STDMETHODCALLTYPE Free(void* pv) override { CoTaskMemFree(pv); }
  SIZE_T STDMETHODCALLTYPE GetSize(void*) override { return static_cast<SIZE_T>(-1); }
  int STDMETHODCALLTYPE DidAlloc(void*) override { return -1; }
  void STDMETHODCALLTYPE HeapMinimize() override {}
};

class DesktopFolder final : public IShellFolder {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IShellFolder) {
      *object = static_cast<IShellFolder*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE ParseDisplayName(HWND, IBindCtx*, LPWSTR name, ULONG* eaten, PIDLIST_RELATIVE* ppidl,
                                             ULONG* attributes) override {
    if (!ppidl) return E_INVALIDARG;
    *ppidl = nullptr;
    if (!name || !*name) return E_INVALIDARG;
    std::wstring full = detail::fullPathName(name);
    std::string native;
    DWORD error = 0;
    if (!detail::toNativePath(full.c_str(), native, error)) return HRESULT_FROM_WIN32(error);
    struct stat st;
    if (::stat(native.c_str(), &st) != 0) return HRESULT_FROM_WIN32(detail::fileError(errno, native));
    std::vector<uint16_t> units = toUtf16(full);
    const size_t itemSize = sizeof(USHORT) + units.size() * sizeof(uint16_t);
    if (itemSize > 0xFFFF) return HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
    auto* bytes = static_cast<BYTE*>(CoTaskMemAlloc(itemSize + sizeof(USHORT)));
    if (!bytes) return E_OUTOFMEMORY;
    const USHORT cb = static_cast<USHORT>(itemSize), end = 0;
    std::memcpy(bytes, &cb, sizeof cb);
    std::memcpy(bytes + sizeof cb, units.data(), units.size() * sizeof(uint16_t));
    std::memcpy(bytes + itemSize, &end, sizeof end);
    *ppidl = reinterpret_cast<PIDLIST_RELATIVE>(bytes);
    if (eaten) *eaten = static_cast<ULONG>(std::wcslen(name));
    if (attributes) {
      ULONG has = SFGAO_FILESYSTEM_ | (S_ISDIR(st.st_mode) ? SFGAO_FOLDER_ : 0);
      *attributes &= has;
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE EnumObjects(HWND, SHCONTF, IEnumIDList**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BindToObject(PCUIDLIST_RELATIVE, IBindCtx*, REFIID, void**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BindToStorage(PCUIDLIST_RELATIVE, IBindCtx*, REFIID, void**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CompareIDs(LPARAM, PCUIDLIST_RELATIVE, PCUIDLIST_RELATIVE) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CreateViewObject(HWND, REFIID, void**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetAttributesOf(UINT, PCUITEMID_CHILD_ARRAY, SFGAOF*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetUIObjectOf(HWND, UINT, PCUITEMID_CHILD_ARRAY, REFIID, UINT*, void**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetDisplayNameOf(PCUITEMID_CHILD, SHGDNF, STRRET*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetNameOf(HWND, PCUITEMID_CHILD, LPCWSTR, SHGDNF, PITEMID_CHILD*) override {
    return E_NOTIMPL;
  }
};

}  // namespace

HRESULT SHGetDesktopFolder(IShellFolder** ppshf) {
  if (!ppshf) return E_INVALIDARG;
  static DesktopFolder* desktop = new DesktopFolder;
  *ppshf = desktop;
  return S_OK;
}

HRESULT SHGetMalloc(IMalloc** ppMalloc) {
  if (!ppMalloc) return E_INVALIDARG;
  static TaskMalloc* allocator = new TaskMalloc;
  *ppMalloc = allocator;
  return S_OK;
}

BOOL SHGetPathFromIDListW(PCIDLIST_ABSOLUTE pidl, LPWSTR pszPath) {
  if (!pszPath) return FALSE;
  pszPath[0] = L'\0';
  if (!pidl) return FALSE;
  USHORT cb = 0;
  std::memcpy(&cb, pidl, sizeof cb);
  if (cb <= sizeof(USHORT) || (cb - sizeof(USHORT)) % 2 != 0) return FALSE;
  const size_t n = (cb - sizeof(USHORT)) / 2;
  std::vector<uint16_t> units(n);
  std::memcpy(units.data(), reinterpret_cast<const BYTE*>(pidl) + sizeof(USHORT), n * 2);
  std::wstring path = fromUtf16(units.data(), n);
  if (path.size() >= MAX_PATH) return FALSE;
  detail::copyOut(path, pszPath, MAX_PATH);
  return TRUE;
}

void ILFree(PIDLIST_RELATIVE pidl) { CoTaskMemFree(pidl); }

}  // namespace KvdUtils::Platform
