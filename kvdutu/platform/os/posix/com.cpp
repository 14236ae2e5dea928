#include "kvdutu/platform/os/com.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <map>
#include <mutex>
#include <string>

extern "C" {
// {00000000-0000-0000-C000-000000000046} and friends: the well-known interface identifiers.
const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IPersist = {0x0000010C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IPersistStream = {0x00000109, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IMoniker = {0x0000000F, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IRunningObjectTable = {0x00000010, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const IID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
}

#define MK_S_MONIKERALREADYREGISTERED ((HRESULT)0x000401E7L)
static const CLSID CLSID_ItemMoniker = {0x00000304, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace KvdUtils::Platform {

// ---- apartments and task memory ----------------------------------------------------------------
// The POSIX COM is free-threaded and in-process: there is no apartment to enter, but the counts
// are kept so that the pairing of initialise and uninitialise answers as Windows does.
namespace {
thread_local int t_comInits = 0;
}

HRESULT CoInitializeEx(LPVOID, DWORD) { return t_comInits++ == 0 ? S_OK : S_FALSE; }
HRESULT CoInitialize(LPVOID reserved) { return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED); }
void CoUninitialize() {
  if (t_comInits > 0) --t_comInits;
}
LPVOID CoTaskMemAlloc(SIZE_T size) { return std::malloc(size ? size : 1); }
void CoTaskMemFree(LPVOID memory) { std::free(memory); }

// ---- GUID text ----------------------------------------------------------------------------------
int StringFromGUID2(REFGUID g, LPOLESTR out, int cchMax) {
  if (out == nullptr || cchMax < 39) return 0;
  std::swprintf(out, static_cast<size_t>(cchMax), L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
                g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return 39;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
  if (*out == nullptr) return E_OUTOFMEMORY;
  StringFromGUID2(clsid, *out, 39);
  return S_OK;
}

namespace {
int hexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}
bool parseHex(const wchar_t*& p, int digits, uint64_t& value) {
  value = 0;
  for (int i = 0; i < digits; ++i) {
    int h = hexValue(*p);
    if (h < 0) return false;
    value = (value << 4) | static_cast<unsigned>(h);
    ++p;
  }
  return true;
}
}  // namespace

HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) {
  if (clsid == nullptr) return E_INVALIDARG;
  if (text == nullptr) {
    *clsid = IID_NULL;
    return S_OK;
  }
  const wchar_t* p = text;
  GUID g{};
  uint64_t v;
  if (*p++ != L'{') return CO_E_CLASSSTRING;
  if (!parseHex(p, 8, v) || *p++ != L'-') return CO_E_CLASSSTRING;
  g.Data1 = static_cast<uint32_t>(v);
  if (!parseHex(p, 4, v) || *p++ != L'-') return CO_E_CLASSSTRING;
  g.Data2 = static_cast<uint16_t>(v);
  if (!parseHex(p, 4, v) || *p++ != L'-') return CO_E_CLASSSTRING;
  g.Data3 = static_cast<uint16_t>(v);
  for (int i = 0; i < 8; ++i) {
    if (i == 2 && *p++ != L'-') return CO_E_CLASSSTRING;
    if (!parseHex(p, 2, v)) return CO_E_CLASSSTRING;
    g.Data4[i] = static_cast<uint8_t>(v);
  }
  if (*p++ != L'}' || *p != 0) return CO_E_CLASSSTRING;
  *clsid = g;
  return S_OK;
}

// ---- BSTR and VARIANT -------------------------------------------------------------------------------
BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  // A 4-byte byte count precedes the characters, and a terminator follows them.
  auto* block = static_cast<unsigned char*>(std::malloc(sizeof(OLECHAR) + (length + 1) * sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  uint32_t bytes = static_cast<uint32_t>(length * sizeof(OLECHAR));
  std::memcpy(block + sizeof(OLECHAR) - sizeof(uint32_t), &bytes, sizeof(bytes));
  BSTR s = reinterpret_cast<BSTR>(block + sizeof(OLECHAR));
  if (text) std::wmemcpy(s, text, length);
  else std::wmemset(s, 0, length);
  s[length] = 0;
  return s;
}

BSTR SysAllocString(const OLECHAR* text) {
  if (text == nullptr) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
}

void SysFreeString(BSTR text) {
  if (text) std::free(reinterpret_cast<unsigned char*>(text) - sizeof(OLECHAR));
}

UINT SysStringLen(BSTR text) {
  if (text == nullptr) return 0;
  uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<unsigned char*>(text) - sizeof(uint32_t), sizeof(bytes));
  return bytes / sizeof(OLECHAR);
}

void VariantInit(VARIANTARG* v) {
  if (v) {
    std::memset(v, 0, sizeof(*v));
    v->vt = VT_EMPTY;
  }
}

HRESULT VariantClear(VARIANTARG* v) {
  if (v == nullptr) return E_INVALIDARG;
  if (!(v->vt & VT_BYREF)) {
    switch (v->vt) {
      case VT_BSTR: SysFreeString(v->bstrVal); break;
      case VT_DISPATCH:
        if (v->pdispVal) v->pdispVal->Release();
        break;
      case VT_UNKNOWN:
        if (v->punkVal) v->punkVal->Release();
        break;
      default: break;
    }
  }
  VariantInit(v);
  return S_OK;
}

// ---- Item monikers and the running object table --------------------------------------------------
namespace {

std::wstring foldName(const std::wstring& s) {
  std::wstring f = s;
  for (wchar_t& c : f) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
  return f;
}

class ItemMoniker final : public IMoniker {
 public:
  ItemMoniker(std::wstring delimiter, std::wstring item) : delimiter_(std::move(delimiter)), item_(std::move(item)) {}

  STDMETHOD(QueryInterface)(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IPersist || riid == IID_IPersistStream || riid == IID_IMoniker) {
      *object = static_cast<IMoniker*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHOD_(ULONG, AddRef)() override { return ++refs_; }
  STDMETHOD_(ULONG, Release)() override {
    ULONG n = --refs_;
    if (n == 0) delete this;
    return n;
  }
  STDMETHOD(GetClassID)(CLSID* classId) override {
    if (!classId) return E_POINTER;
    *classId = CLSID_ItemMoniker;
    return S_OK;
  }
  STDMETHOD(IsDirty)() override { return S_FALSE; }
  STDMETHOD(Load)(IStream*) override { return E_NOTIMPL; }
  STDMETHOD(Save)(IStream*, BOOL) override { return E_NOTIMPL; }
  STDMETHOD(GetSizeMax)(ULARGE_INTEGER*) override { return E_NOTIMPL; }
  STDMETHOD(BindToObject)(IBindCtx*, IMoniker*, REFIID, void**) override { return E_NOTIMPL; }
  STDMETHOD(BindToStorage)(IBindCtx*, IMoniker*, REFIID, void**) override { return E_NOTIMPL; }
  STDMETHOD(Reduce)(IBindCtx*, DWORD, IMoniker**, IMoniker** reduced) override {
    if (reduced) {
      *reduced = this;
      AddRef();
    }
    return S_FALSE;  // MK_S_REDUCED_TO_SELF
  }
  STDMETHOD(ComposeWith)(IMoniker*, BOOL, IMoniker**) override { return E_NOTIMPL; }
  STDMETHOD(Enum)(BOOL, IEnumMoniker** e) override {
    if (e) *e = nullptr;
    return S_OK;
  }
  STDMETHOD(IsEqual)(IMoniker* other) override;
  STDMETHOD(Hash)(DWORD* hash) override {
    if (!hash) return E_POINTER;
    DWORD h = 0;
    for (wchar_t c : foldName(item_)) h = h * 31 + static_cast<DWORD>(c);
    *hash = h;
    return S_OK;
  }
  STDMETHOD(IsRunning)(IBindCtx*, IMoniker*, IMoniker*) override;
  STDMETHOD(GetTimeOfLastChange)(IBindCtx*, IMoniker*, FILETIME*) override { return E_NOTIMPL; }
  STDMETHOD(Inverse)(IMoniker**) override { return E_NOTIMPL; }
  STDMETHOD(CommonPrefixWith)(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
  STDMETHOD(RelativePathTo)(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
  STDMETHOD(GetDisplayName)(IBindCtx*, IMoniker*, LPOLESTR* displayName) override {
    if (!displayName) return E_POINTER;
    std::wstring text = delimiter_ + item_;
    *displayName = static_cast<LPOLESTR>(CoTaskMemAlloc((text.size() + 1) * sizeof(OLECHAR)));
    if (!*displayName) return E_OUTOFMEMORY;
    std::wmemcpy(*displayName, text.c_str(), text.size() + 1);
    return S_OK;
  }
  STDMETHOD(ParseDisplayName)(IBindCtx*, IMoniker*, LPOLESTR, ULONG*, IMoniker**) override { return E_NOTIMPL; }
  STDMETHOD(IsSystemMoniker)(DWORD* kind) override {
    if (!kind) return E_POINTER;
    *kind = 4;  // MKSYS_ITEMMONIKER
    return S_OK;
  }

  // The key under which the running object table files this moniker.
  std::wstring key() const { return foldName(delimiter_ + item_); }

 private:
  std::wstring delimiter_;
  std::wstring item_;
  std::atomic<ULONG> refs_{1};
};

bool monikerKey(IMoniker* moniker, std::wstring& key) {
  if (moniker == nullptr) return false;
  if (auto* item = dynamic_cast<ItemMoniker*>(moniker)) {
    key = item->key();
    return true;
  }
  LPOLESTR name = nullptr;
  if (FAILED(moniker->GetDisplayName(nullptr, nullptr, &name)) || name == nullptr) return false;
  key = foldName(name);
  CoTaskMemFree(name);
  return true;
}

HRESULT ItemMoniker::IsEqual(IMoniker* other) {
  std::wstring k;
  return monikerKey(other, k) && k == key() ? S_OK : S_FALSE;
}

class RunningObjectTable final : public IRunningObjectTable {
 public:
  STDMETHOD(QueryInterface)(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IRunningObjectTable) {
      *object = static_cast<IRunningObjectTable*>(this);
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  // The table lives as long as the process; its reference count answers but never frees it.
  STDMETHOD_(ULONG, AddRef)() override { return 2; }
  STDMETHOD_(ULONG, Release)() override { return 1; }

  STDMETHOD(Register)(DWORD, IUnknown* object, IMoniker* name, DWORD* cookie) override {
    if (object == nullptr || name == nullptr || cookie == nullptr) return E_INVALIDARG;
    std::wstring key;
    if (!monikerKey(name, key)) return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(mutex_);
    bool duplicate = false;
    for (auto& entry : entries_) duplicate = duplicate || entry.second.key == key;
    object->AddRef();
    *cookie = nextCookie_++;
    entries_[*cookie] = Entry{key, object};
    return duplicate ? MK_S_MONIKERALREADYREGISTERED : S_OK;
  }
  STDMETHOD(Revoke)(DWORD cookie) override {
    IUnknown* object = nullptr;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = entries_.find(cookie);
      if (it == entries_.end()) return E_INVALIDARG;
      object = it->second.object;
      entries_.erase(it);
    }
    object->Release();  // outside the lock: the object may call back into the table
    return S_OK;
  }
  STDMETHOD(IsRunning)(IMoniker* name) override {
    IUnknown* object = find(name);
    if (!object) return S_FALSE;
    object->Release();
    return S_OK;
  }
  STDMETHOD(GetObject)(IMoniker* name, IUnknown** object) override {
    if (object == nullptr) return E_POINTER;
    *object = find(name);
    return *object ? S_OK : MK_E_UNAVAILABLE;
  }
  STDMETHOD(NoteChangeTime)(DWORD cookie, FILETIME*) override {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.count(cookie) ? S_OK : E_INVALIDARG;
  }
  STDMETHOD(GetTimeOfLastChange)(IMoniker*, FILETIME*) override { return MK_E_UNAVAILABLE; }
  STDMETHOD(EnumRunning)(IEnumMoniker**) override { return E_NOTIMPL; }

 private:
  struct Entry {
    std::wstring key;
    IUnknown* object;
  };
  // The first registration under a name answers, as long as it stays registered.
  IUnknown* find(IMoniker* name) {
    std::wstring key;
    if (!monikerKey(name, key)) return nullptr;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : entries_) {
      if (entry.second.key == key) {
        entry.second.object->AddRef();
        return entry.second.object;
      }
    }
    return nullptr;
  }

  std::mutex mutex_;
  std::map<DWORD, Entry> entries_;
  DWORD nextCookie_ = 1;
};

}  // namespace

HRESULT ItemMoniker::IsRunning(IBindCtx*, IMoniker*, IMoniker*) {
  LPRUNNINGOBJECTTABLE table = nullptr;
  GetRunningObjectTable(0, &table);
  return table->IsRunning(this);
}

HRESULT GetRunningObjectTable(DWORD reserved, LPRUNNINGOBJECTTABLE* table) {
  if (table == nullptr) return E_INVALIDARG;
  if (reserved != 0) {
    *table = nullptr;
    return E_INVALIDARG;
  }
  static RunningObjectTable* rot = new RunningObjectTable;  // never destroyed: see AddRef
  *table = rot;
  return S_OK;
}

HRESULT CreateItemMoniker(LPCOLESTR delimiter, LPCOLESTR item, LPMONIKER* moniker) {
  if (moniker == nullptr) return E_INVALIDARG;
  *moniker = nullptr;
  if (item == nullptr) return MK_E_SYNTAX;
  *moniker = new (std::nothrow) ItemMoniker(delimiter ? delimiter : L"", item);
  return *moniker ? S_OK : E_OUTOFMEMORY;
}

}  // namespace KvdUtils::Platform
