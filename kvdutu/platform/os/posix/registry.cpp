// The registry operations over the SQLite hive store: handles, access masks, argument checks and
// the wchar_t boundary (UTF-32 here, UTF-16 in the store and in every size the caller sees).
#include "kvdutu/platform/os/registry.h"

#include <cstring>
#include <mutex>
#include <unordered_map>

#include "kvdutu/platform/os/posix/registry_store_internal.h"

namespace KvdUtils::Platform {

namespace {

using namespace RegistryStore;

constexpr REGSAM kWriteDac = 0x00040000u;
constexpr REGSAM kWriteOwner = 0x00080000u;
// Rights that a hive file the user may not write cannot grant.
constexpr REGSAM kWriteRights = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE | kWriteDac | kWriteOwner;

// What a handle stands for. `usersRoot` is HKEY_USERS itself, whose one child is ".DEFAULT".
struct KeyRef {
  HiveId hive = HiveId::CurrentUser;
  int64_t key = kRootKeyId;
  REGSAM access = 0;
  bool usersRoot = false;
};

std::mutex g_handlesMu;
std::unordered_map<uintptr_t, KeyRef> g_handles;
uintptr_t g_nextHandle = 0x1000;  // never reused: a stale handle stays invalid

REGSAM mapAccess(REGSAM sam) {
  sam &= ~REGSAM(KEY_WOW64_32KEY | KEY_WOW64_64KEY);
  if (sam & MAXIMUM_ALLOWED) sam |= KEY_ALL_ACCESS;
  if (sam & GENERIC_READ) sam |= KEY_READ;
  if (sam & GENERIC_WRITE) sam |= KEY_WRITE;
  if (sam & GENERIC_EXECUTE) sam |= KEY_EXECUTE;
  if (sam & GENERIC_ALL) sam |= KEY_ALL_ACCESS;
  return sam;
}

LONG lookup(HKEY h, KeyRef* out) {
  if (h == HKEY_CURRENT_USER || h == HKEY_LOCAL_MACHINE || h == HKEY_CLASSES_ROOT || h == HKEY_USERS) {
    out->hive = h == HKEY_CURRENT_USER    ? HiveId::CurrentUser
                : h == HKEY_LOCAL_MACHINE ? HiveId::LocalMachine
                : h == HKEY_CLASSES_ROOT  ? HiveId::ClassesRoot
                                          : HiveId::UsersDefault;
    out->key = kRootKeyId;
    out->access = mapAccess(MAXIMUM_ALLOWED);
    out->usersRoot = h == HKEY_USERS;
    return ERROR_SUCCESS;
  }
  std::lock_guard<std::mutex> lock(g_handlesMu);
  auto it = g_handles.find(reinterpret_cast<uintptr_t>(h));
  if (it == g_handles.end()) return ERROR_INVALID_HANDLE;
  *out = it->second;
  return ERROR_SUCCESS;
}

HKEY newHandle(const KeyRef& ref) {
  std::lock_guard<std::mutex> lock(g_handlesMu);
  uintptr_t v = g_nextHandle;
  g_nextHandle += 4;
  g_handles.emplace(v, ref);
  return reinterpret_cast<HKEY>(v);
}

// ---- Characters -----------------------------------------------------------------------------

bool appendUtf16(uint32_t c, Name* out) {
  if (c < 0x10000) {
    out->push_back(char16_t(c));
  } else if (c <= 0x10FFFF) {
    c -= 0x10000;
    out->push_back(char16_t(0xD800 + (c >> 10)));
    out->push_back(char16_t(0xDC00 + (c & 0x3FF)));
  } else {
    return false;
  }
  return true;
}

// A terminated wide name; null gives the empty name.
LONG toName(LPCWSTR s, Name* out) {
  out->clear();
  if (!s) return ERROR_SUCCESS;
  for (; *s; ++s)
    if (!appendUtf16(uint32_t(*s), out)) return ERROR_INVALID_PARAMETER;
  return ERROR_SUCCESS;
}

// UTF-16 units back to wchar_t; a lone surrogate passes through as it is.
std::wstring fromName(const Name& n) {
  std::wstring w;
  w.reserve(n.size());
  for (size_t i = 0; i < n.size(); ++i) {
    char16_t c = n[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < n.size() && n[i + 1] >= 0xDC00 && n[i + 1] < 0xE000) {
      w.push_back(wchar_t(0x10000 + ((c - 0xD800) << 10) + (n[i + 1] - 0xDC00)));
      ++i;
    } else {
      w.push_back(wchar_t(c));
    }
  }
  return w;
}

// A subkey path: components between backslashes. Empty components (doubled or trailing
// backslashes) are skipped as Windows does; a leading backslash is refused.
LONG splitPath(LPCWSTR sub, bool forCreate, std::vector<Name>* out) {
  out->clear();
  Name all;
  if (LONG rc = toName(sub, &all)) return rc;
  if (!all.empty() && all[0] == u'\\') return ERROR_BAD_PATHNAME;
  size_t start = 0;
  while (start <= all.size()) {
    size_t end = all.find(u'\\', start);
    if (end == Name::npos) end = all.size();
    if (end > start) {
      if (end - start > kMaxKeyNameUnits) return forCreate ? ERROR_INVALID_PARAMETER : ERROR_FILE_NOT_FOUND;
      out->emplace_back(all, start, end - start);
    }
    start = end + 1;
  }
  return ERROR_SUCCESS;
}

bool isStringType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// The caller's data as stored: string types from cbData/2 wchar_t to UTF-16LE, with the missing
// terminator added when the element after the counted ones is one (Windows does the same).
LONG dataIn(DWORD type, const BYTE* data, DWORD cb, Bytes* out) {
  out->clear();
  if (!isStringType(type)) {
    out->assign(reinterpret_cast<const char*>(data), cb);
    return ERROR_SUCCESS;
  }
  const auto* w = reinterpret_cast<const wchar_t*>(data);
  size_t n = cb / 2;
  if (n > 0 && w[n - 1] != 0 && w[n] == 0) {
    ++n;
    cb += 2;
  }
  Name u;
  u.reserve(n);
  for (size_t i = 0; i < n; ++i) appendUtf16(uint32_t(w[i]) <= 0x10FFFF ? uint32_t(w[i]) : 0xFFFDu, &u);
  out->resize(u.size() * 2);
  for (size_t i = 0; i < u.size(); ++i) {
    (*out)[2 * i] = char(u[i] & 0xFF);
    (*out)[2 * i + 1] = char(u[i] >> 8);
  }
  if (cb % 2) out->push_back('\0');
  return ERROR_SUCCESS;
}

// Copies stored data to the caller's buffer of *cb bytes, or reports the size needed. Never
// writes part of the data.
LONG dataOut(DWORD type, const Bytes& stored, LPBYTE data, LPDWORD cb) {
  DWORD size = DWORD(stored.size());
  LONG rc = ERROR_SUCCESS;
  if (data) {
    if (size > *cb) {
      rc = ERROR_MORE_DATA;
    } else if (!isStringType(type)) {
      std::memcpy(data, stored.data(), size);
    } else {
      Name u(size / 2, u'\0');
      for (size_t i = 0; i < u.size(); ++i)
        u[i] = char16_t(uint8_t(stored[2 * i]) | (uint8_t(stored[2 * i + 1]) << 8));
      std::wstring w = fromName(u);
      if (size % 2 && w.size() < *cb / 2) w.push_back(wchar_t(uint8_t(stored.back())));
      std::memcpy(data, w.data(), w.size() * sizeof(wchar_t));
    }
  }
  *cb = size;
  return rc;
}

// The key that `ref` plus `path` names, as (hive, key id). HKEY_USERS maps ".DEFAULT" onto its hive.
LONG walk(const KeyRef& ref, const std::vector<Name>& path, bool create, KeyRef* out, bool* created) {
  *out = ref;
  out->usersRoot = false;
  if (created) *created = false;
  const std::vector<Name>* below = &path;
  std::vector<Name> rest;
  if (ref.usersRoot) {
    if (path.empty()) {
      out->usersRoot = true;
      return ERROR_SUCCESS;
    }
    const Name& first = path[0];
    static const Name kDefault = u".DEFAULT";
    bool isDefault = first.size() == kDefault.size();
    for (size_t i = 0; isDefault && i < first.size(); ++i) isDefault = upcaseUnit(first[i]) == kDefault[i];
    if (!isDefault) return create ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
    rest.assign(path.begin() + 1, path.end());
    below = &rest;
    out->hive = HiveId::UsersDefault;
    out->key = kRootKeyId;
  }
  Hive& h = hive(out->hive);
  if (create) {
    bool made = false;
    LONG rc = createPath(h, out->key, *below, &out->key, &made);
    if (created) *created = made;
    return rc;
  }
  return openPath(h, out->key, *below, &out->key);
}

// A key under the handle, opened with `sam`; the rights of a read-only hive are checked here.
LONG openOrCreate(HKEY hKey, LPCWSTR sub, REGSAM sam, bool create, PHKEY result, LPDWORD disposition) {
  if (!result) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = lookup(hKey, &ref)) return rc;
  std::vector<Name> path;
  if (LONG rc = splitPath(sub, create, &path)) return rc;
  KeyRef target;
  bool created = false;
  if (LONG rc = walk(ref, path, create, &target, &created)) return rc;
  target.access = mapAccess(sam);
  if ((target.access & kWriteRights) && !target.usersRoot && !hiveIsWritable(hive(target.hive)))
    return ERROR_ACCESS_DENIED;
  *result = newHandle(target);
  if (disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return ERROR_SUCCESS;
}

// The handle's key for an operation that needs `right`.
LONG keyFor(HKEY hKey, REGSAM right, KeyRef* ref) {
  if (LONG rc = lookup(hKey, ref)) return rc;
  if ((ref->access & right) != right) return ERROR_ACCESS_DENIED;
  return ERROR_SUCCESS;
}

LONG valueName(LPCWSTR s, Name* out) {
  if (LONG rc = toName(s, out)) return rc;
  return out->size() > kMaxValueNameUnits ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
}

}  // namespace

LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult) {
  return openOrCreate(hKey, lpSubKey, samDesired, false, phkResult, nullptr);
}

LONG RegOpenKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult) {
  if (!phkResult) return ERROR_INVALID_PARAMETER;
  if (!lpSubKey || !*lpSubKey) {  // Windows hands back the same handle
    KeyRef ref;
    if (LONG rc = lookup(hKey, &ref)) return rc;
    *phkResult = hKey;
    return ERROR_SUCCESS;
  }
  return openOrCreate(hKey, lpSubKey, MAXIMUM_ALLOWED, false, phkResult, nullptr);
}

LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass, DWORD dwOptions, REGSAM samDesired,
                     const LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult, LPDWORD lpdwDisposition) {
  return openOrCreate(hKey, lpSubKey, samDesired, true, phkResult, lpdwDisposition);
}

LONG RegCreateKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult) {
  return openOrCreate(hKey, lpSubKey, MAXIMUM_ALLOWED, true, phkResult, nullptr);
}

LONG RegCloseKey(HKEY hKey) {
  if (hKey == HKEY_CURRENT_USER || hKey == HKEY_LOCAL_MACHINE || hKey == HKEY_CLASSES_ROOT || hKey == HKEY_USERS)
    return ERROR_SUCCESS;
  std::lock_guard<std::mutex> lock(g_handlesMu);
  return g_handles.erase(reinterpret_cast<uintptr_t>(hKey)) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegFlushKey(HKEY hKey) {
  KeyRef ref;
  return lookup(hKey, &ref);
}

LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                      LPDWORD lpcbData) {
  if ((lpData && !lpcbData) || lpReserved) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_QUERY_VALUE, &ref)) return rc;
  Name name;
  if (LONG rc = toName(lpValueName, &name)) return rc;
  if (name.size() > kMaxValueNameUnits || ref.usersRoot) return ERROR_FILE_NOT_FOUND;
  DWORD type = REG_NONE;
  Bytes data;
  if (LONG rc = queryValue(hive(ref.hive), ref.key, name, &type, &data)) return rc;
  if (lpType) *lpType = type;
  if (!lpcbData) return ERROR_SUCCESS;
  return dataOut(type, data, lpData, lpcbData);
}

LONG RegQueryValueW(HKEY hKey, LPCWSTR lpSubKey, LPWSTR lpData, PLONG lpcbData) {
  if (lpData && !lpcbData) return ERROR_INVALID_PARAMETER;
  HKEY sub = hKey;
  if (lpSubKey && *lpSubKey)
    if (LONG rc = RegOpenKeyExW(hKey, lpSubKey, 0, KEY_QUERY_VALUE, &sub)) return rc;
  DWORD cb = lpcbData ? DWORD(*lpcbData) : 0;
  LONG rc = RegQueryValueExW(sub, nullptr, nullptr, nullptr, reinterpret_cast<LPBYTE>(lpData),
                             lpcbData ? &cb : nullptr);
  if (rc == ERROR_FILE_NOT_FOUND) {  // a key without a default value reads as an empty string
    if (lpData && cb >= 2) lpData[0] = L'\0';
    cb = 2;
    rc = ERROR_SUCCESS;
  }
  if (lpcbData && (rc == ERROR_SUCCESS || rc == ERROR_MORE_DATA)) *lpcbData = LONG(cb);
  if (sub != hKey) RegCloseKey(sub);
  return rc;
}

LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType, const BYTE* lpData, DWORD cbData) {
  if (!lpData && cbData) return ERROR_NOACCESS;
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_SET_VALUE, &ref)) return rc;
  Name name;
  if (LONG rc = valueName(lpValueName, &name)) return rc;
  if (ref.usersRoot) return ERROR_ACCESS_DENIED;
  Bytes data;
  if (LONG rc = dataIn(dwType, lpData, cbData, &data)) return rc;
  return setValue(hive(ref.hive), ref.key, name, dwType, data);
}

LONG RegSetValueW(HKEY hKey, LPCWSTR lpSubKey, DWORD dwType, LPCWSTR lpData, DWORD cbData) {
  if (dwType != REG_SZ || !lpData) return ERROR_INVALID_PARAMETER;
  HKEY sub = hKey;
  if (lpSubKey && *lpSubKey)
    if (LONG rc = RegCreateKeyExW(hKey, lpSubKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &sub, nullptr)) return rc;
  // The size is the string's, whatever cbData says.
  LONG rc = RegSetValueExW(sub, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(lpData),
                           DWORD((std::wcslen(lpData) + 1) * 2));
  if (sub != hKey) RegCloseKey(sub);
  return rc;
}

LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_SET_VALUE, &ref)) return rc;
  Name name;
  if (LONG rc = toName(lpValueName, &name)) return rc;
  if (name.size() > kMaxValueNameUnits || ref.usersRoot) return ERROR_FILE_NOT_FOUND;
  return deleteValue(hive(ref.hive), ref.key, name);
}

LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
  if (!lpSubKey) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = lookup(hKey, &ref)) return rc;
  std::vector<Name> path;
  if (LONG rc = splitPath(lpSubKey, false, &path)) return rc;
  if (ref.usersRoot) {
    KeyRef target;
    if (LONG rc = walk(ref, path, false, &target, nullptr)) return rc;
    if (path.size() == 0 || target.key == kRootKeyId) return ERROR_ACCESS_DENIED;
    path.erase(path.begin());
    ref = target;
    ref.key = kRootKeyId;
  }
  return deletePath(hive(ref.hive), ref.key, path);
}

LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved, LPWSTR lpClass,
                   LPDWORD lpcchClass, PFILETIME lpftLastWriteTime) {
  if (!lpName || !lpcchName || lpReserved) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_ENUMERATE_SUB_KEYS, &ref)) return rc;
  Name name;
  int64_t mtime = 0;
  if (ref.usersRoot) {
    if (dwIndex > 0) return ERROR_NO_MORE_ITEMS;
    name = u".DEFAULT";
  } else if (LONG rc = enumKey(hive(ref.hive), ref.key, dwIndex, &name, &mtime)) {
    return rc;
  }
  std::wstring w = fromName(name);
  if (w.size() >= *lpcchName) return ERROR_MORE_DATA;
  if (lpClass && lpcchClass && *lpcchClass == 0) return ERROR_MORE_DATA;
  std::memcpy(lpName, w.c_str(), (w.size() + 1) * sizeof(wchar_t));
  *lpcchName = DWORD(w.size());
  if (lpClass && lpcchClass) {
    lpClass[0] = L'\0';
    *lpcchClass = 0;
  }
  if (lpftLastWriteTime) {
    lpftLastWriteTime->dwLowDateTime = DWORD(uint64_t(mtime));
    lpftLastWriteTime->dwHighDateTime = DWORD(uint64_t(mtime) >> 32);
  }
  return ERROR_SUCCESS;
}

LONG RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName, LPDWORD lpReserved,
                   LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
  if (!lpValueName || !lpcchValueName || lpReserved || (lpData && !lpcbData)) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_QUERY_VALUE, &ref)) return rc;
  if (ref.usersRoot) return ERROR_NO_MORE_ITEMS;
  Name name;
  DWORD type = REG_NONE;
  Bytes data;
  if (LONG rc = enumValue(hive(ref.hive), ref.key, dwIndex, &name, &type, &data)) return rc;
  std::wstring w = fromName(name);
  bool nameFits = w.size() < *lpcchValueName;
  bool dataFits = !lpData || data.size() <= *lpcbData;
  if (lpType) *lpType = type;
  if (!nameFits || !dataFits) {
    if (lpcbData) *lpcbData = DWORD(data.size());
    return ERROR_MORE_DATA;
  }
  std::memcpy(lpValueName, w.c_str(), (w.size() + 1) * sizeof(wchar_t));
  *lpcchValueName = DWORD(w.size());
  if (lpcbData) dataOut(type, data, lpData, lpcbData);
  return ERROR_SUCCESS;
}

LONG RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved, LPDWORD lpcSubKeys,
                      LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen, LPDWORD lpcValues,
                      LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen, LPDWORD lpcbSecurityDescriptor,
                      PFILETIME lpftLastWriteTime) {
  if (lpClass && !lpcchClass) return ERROR_INVALID_PARAMETER;
  KeyRef ref;
  if (LONG rc = keyFor(hKey, KEY_QUERY_VALUE, &ref)) return rc;
  KeyInfo info;
  if (ref.usersRoot) {
    info.subKeys = 1;
    info.maxSubKeyLen = 8;  // ".DEFAULT"
  } else if (LONG rc = queryInfo(hive(ref.hive), ref.key, &info)) {
    return rc;
  }
  if (lpClass) {
    if (*lpcchClass == 0) return ERROR_MORE_DATA;
    lpClass[0] = L'\0';
  }
  if (lpcchClass) *lpcchClass = 0;
  if (lpcSubKeys) *lpcSubKeys = info.subKeys;
  if (lpcbMaxSubKeyLen) *lpcbMaxSubKeyLen = info.maxSubKeyLen;
  if (lpcbMaxClassLen) *lpcbMaxClassLen = 0;
  if (lpcValues) *lpcValues = info.values;
  if (lpcbMaxValueNameLen) *lpcbMaxValueNameLen = info.maxValueNameLen;
  if (lpcbMaxValueLen) *lpcbMaxValueLen = info.maxValueLen;
  if (lpcbSecurityDescriptor) *lpcbSecurityDescriptor = 0;
  if (lpftLastWriteTime) {
    lpftLastWriteTime->dwLowDateTime = DWORD(uint64_t(info.mtime));
    lpftLastWriteTime->dwHighDateTime = DWORD(uint64_t(info.mtime) >> 32);
  }
  return ERROR_SUCCESS;
}

}  // namespace KvdUtils::Platform
