#include "regstore.h"

#include <cstdio>
#include <cstring>

#include "kvdutu/platform/os/registry.h"

namespace KvdReg {

namespace Os = KvdUtils::Platform;

namespace {

constexpr DWORD kMaxValueNameUnits = 16384;  // with the terminator
constexpr DWORD kMaxKeyNameUnits = 256;

bool isStringType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// One UTF-16 unit per wchar_t. On Windows that is the string itself; on Linux the registry layer
// turns each element back into the same unit (a surrogate pair given as two elements stays a
// pair), so every name and string, even one with a lone surrogate, goes in unchanged.
std::wstring wide(const std::u16string& s) { return std::wstring(s.begin(), s.end()); }

std::u16string fromWide(const wchar_t* w, size_t n) {
  std::u16string out;
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    uint32_t c = uint32_t(w[i]);
    if (c >= 0x10000 && c <= 0x10FFFF) {  // Linux gives characters, not units
      c -= 0x10000;
      out.push_back(char16_t(0xD800 + (c >> 10)));
      out.push_back(char16_t(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(char16_t(c));
    }
  }
  return out;
}

const wchar_t* namePtr(const std::u16string* name, std::wstring* holder) {
  if (!name) return nullptr;
  *holder = wide(*name);
  return holder->c_str();
}

std::u16string childPath(const std::u16string& parent, const std::u16string& name) {
  return parent.empty() ? name : parent + u'\\' + name;
}

// Whether the key, or the nearest key above it that exists, may be written: refused rights
// (a machine hive of another user, a read-only hive file) show before anything is written.
LONG checkWritable(const KeyPath& key) {
  std::u16string sub = key.sub;
  for (;;) {
    Key k;
    LONG rc = openKey(KeyPath{key.hive, sub}, KEY_WRITE, &k);
    if (rc != ERROR_FILE_NOT_FOUND || sub.empty()) return rc;
    size_t cut = sub.rfind(u'\\');
    sub = cut == std::u16string::npos ? std::u16string() : sub.substr(0, cut);
  }
}

}  // namespace

Key::~Key() {
  if (h_) Os::RegCloseKey(h_);
}

HKEY* Key::put() {
  if (h_) Os::RegCloseKey(h_);
  h_ = nullptr;
  return &h_;
}

LONG openKey(const KeyPath& key, REGSAM access, Key* out) {
  std::wstring sub = wide(key.sub);
  return Os::RegOpenKeyExW(hiveHandle(key.hive), sub.c_str(), 0, access, out->put());
}

LONG createKey(const KeyPath& key, Key* out) {
  std::wstring sub = wide(key.sub);
  return Os::RegCreateKeyExW(hiveHandle(key.hive), sub.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                             KEY_READ | KEY_WRITE, nullptr, out->put(), nullptr);
}

LONG queryValue(HKEY key, const std::u16string* name, DWORD* type, std::vector<uint8_t>* data) {
  std::wstring holder;
  const wchar_t* n = namePtr(name, &holder);
  for (int attempt = 0; attempt < 8; ++attempt) {
    DWORD cb = 0;
    LONG rc = Os::RegQueryValueExW(key, n, nullptr, type, nullptr, &cb);
    if (rc != ERROR_SUCCESS) return rc;
    // A string buffer of cb bytes is cb/2 wchar_t; zeroed, so that where Linux joins a surrogate
    // pair into one element the elements left over read as the terminating zeros they stand for.
    std::vector<wchar_t> buf(cb / 2 + 2, L'\0');
    DWORD got = cb;
    rc = Os::RegQueryValueExW(key, n, nullptr, type, reinterpret_cast<BYTE*>(buf.data()), &got);
    if (rc == ERROR_MORE_DATA) continue;  // grew in between
    if (rc != ERROR_SUCCESS) return rc;
    if (sizeof(wchar_t) == 2 || !isStringType(*type)) {
      const auto* b = reinterpret_cast<const uint8_t*>(buf.data());
      data->assign(b, b + got);
    } else {
      std::u16string units = fromWide(buf.data(), got / 2);
      units.resize(got / 2);
      *data = utf16Bytes(units, false);
      if (got % 2) data->push_back(0);  // the layer keeps no odd byte of a string
    }
    return ERROR_SUCCESS;
  }
  return ERROR_MORE_DATA;
}

LONG setValue(HKEY key, const std::u16string* name, DWORD type, const std::vector<uint8_t>& data) {
  std::wstring holder;
  const wchar_t* n = namePtr(name, &holder);
  if (data.size() > 0xFFFFFFF0u) return ERROR_INVALID_PARAMETER;
  if (!isStringType(type)) {
    return Os::RegSetValueExW(key, n, 0, type, data.empty() ? nullptr : data.data(), DWORD(data.size()));
  }
  // The element after the counted ones is looked at: were it zero, a string without its
  // terminator would be given one, and the stored bytes would differ from the file's.
  std::u16string units = bytesToUtf16(data);
  std::vector<wchar_t> buf(units.begin(), units.end());
  if (data.size() % 2) buf.push_back(wchar_t(data.back()));
  buf.push_back(wchar_t(0xFFFF));
  buf.push_back(wchar_t(0xFFFF));
  return Os::RegSetValueExW(key, n, 0, type, reinterpret_cast<const BYTE*>(buf.data()), DWORD(data.size()));
}

LONG deleteValue(HKEY key, const std::u16string* name) {
  std::wstring holder;
  const wchar_t* n = namePtr(name, &holder);
  return Os::RegDeleteValueW(key, n ? n : L"");
}

LONG listSubKeys(HKEY key, std::vector<std::u16string>* names) {
  names->clear();
  std::vector<wchar_t> buf(kMaxKeyNameUnits + 1);
  for (DWORD i = 0;; ++i) {
    DWORD cch = DWORD(buf.size());
    LONG rc = Os::RegEnumKeyExW(key, i, buf.data(), &cch, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (rc != ERROR_SUCCESS) return rc;
    names->push_back(fromWide(buf.data(), cch));
  }
}

LONG listValueNames(HKEY key, std::vector<std::u16string>* names) {
  names->clear();
  std::vector<wchar_t> buf(kMaxValueNameUnits + 1);
  for (DWORD i = 0;; ++i) {
    DWORD cch = DWORD(buf.size());
    LONG rc = Os::RegEnumValueW(key, i, buf.data(), &cch, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (rc != ERROR_SUCCESS) return rc;
    names->push_back(fromWide(buf.data(), cch));
  }
}

LONG deleteTree(const KeyPath& key) {
  std::vector<std::u16string> children;
  {
    Key k;
    if (LONG rc = openKey(key, KEY_READ, &k)) return rc;
    if (LONG rc = listSubKeys(k.get(), &children)) return rc;
  }
  for (const auto& child : children) {
    LONG rc = deleteTree(KeyPath{key.hive, childPath(key.sub, child)});
    if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
  }
  std::wstring sub = wide(key.sub);
  return Os::RegDeleteKeyW(hiveHandle(key.hive), sub.c_str());
}

LONG collectTree(const KeyPath& key, Document* doc) {
  Key k;
  if (LONG rc = openKey(key, KEY_READ, &k)) return rc;
  Section section;
  section.key = key;
  std::vector<std::u16string> names;
  if (LONG rc = listValueNames(k.get(), &names)) return rc;
  for (const auto& name : names) {
    Value v;
    v.isDefault = name.empty();
    v.name = name;
    LONG rc = queryValue(k.get(), v.isDefault ? nullptr : &name, &v.type, &v.data);
    if (rc == ERROR_FILE_NOT_FOUND) continue;  // deleted meanwhile
    if (rc != ERROR_SUCCESS) return rc;
    section.values.push_back(std::move(v));
  }
  doc->sections.push_back(std::move(section));
  std::vector<std::u16string> children;
  if (LONG rc = listSubKeys(k.get(), &children)) return rc;
  for (const auto& child : children) {
    LONG rc = collectTree(KeyPath{key.hive, childPath(key.sub, child)}, doc);
    if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
  }
  return ERROR_SUCCESS;
}

bool applyDocument(const Document& doc, ApplyError* err) {
  auto failed = [&](int line, LONG code, std::u16string what) {
    err->line = line;
    err->code = code;
    err->what = utf16ToUtf8(what);
    return false;
  };
  // What would fail half-way is refused before anything is written: keys the caller may not
  // write, and keys below HKEY_USERS other than the profiles that are there (none can be made).
  for (const Section& s : doc.sections) {
    if (s.key.hive == Hive::Users && !s.remove) {
      std::u16string first = s.key.sub.substr(0, s.key.sub.find(u'\\'));
      Key k;
      if (LONG rc = openKey(KeyPath{Hive::Users, first}, KEY_READ, &k)) return failed(s.line, rc, keyPathText(s.key));
    }
    if (s.remove) {
      Key k;
      if (openKey(s.key, KEY_READ, &k) == ERROR_FILE_NOT_FOUND) continue;  // nothing to delete
    }
    if (LONG rc = checkWritable(s.key)) return failed(s.line, rc, keyPathText(s.key));
  }
  for (const Section& s : doc.sections) {
    if (s.remove) {
      LONG rc = deleteTree(s.key);
      if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return failed(s.line, rc, keyPathText(s.key));
      continue;
    }
    Key k;
    if (LONG rc = createKey(s.key, &k)) return failed(s.line, rc, keyPathText(s.key));
    for (const Value& v : s.values) {
      const std::u16string* name = v.isDefault ? nullptr : &v.name;
      std::u16string what = keyPathText(s.key) + u" value " + (v.isDefault ? u"@" : u"\"" + v.name + u"\"");
      if (v.remove) {
        LONG rc = deleteValue(k.get(), name);
        if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return failed(v.line, rc, what);
      } else if (LONG rc = setValue(k.get(), name, v.type, v.data)) {
        return failed(v.line, rc, what);
      }
    }
  }
  return true;
}

std::string errorText(LONG code) {
  static const struct {
    LONG code;
    const char* text;
  } kTexts[] = {
      {ERROR_SUCCESS, "The operation completed successfully."},
      {ERROR_INVALID_FUNCTION, "Incorrect function."},
      {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified."},
      {ERROR_PATH_NOT_FOUND, "The system cannot find the path specified."},
      {ERROR_ACCESS_DENIED, "Access is denied."},
      {ERROR_INVALID_HANDLE, "The handle is invalid."},
      {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this command."},
      {ERROR_INVALID_DATA, "The data is invalid."},
      {ERROR_OUTOFMEMORY, "Not enough memory resources are available to complete this operation."},
      {ERROR_WRITE_PROTECT, "The media is write protected."},
      {ERROR_SHARING_VIOLATION,
       "The process cannot access the file because it is being used by another process."},
      {ERROR_DISK_FULL, "There is not enough space on the disk."},
      {ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
      {ERROR_INVALID_NAME, "The filename, directory name, or volume label syntax is incorrect."},
      {ERROR_BAD_PATHNAME, "The specified path is invalid."},
      {ERROR_BUSY, "The requested resource is in use."},
      {ERROR_ALREADY_EXISTS, "Cannot create a file when that file already exists."},
      {ERROR_FILENAME_EXCED_RANGE, "The filename or extension is too long."},
      {ERROR_MORE_DATA, "More data is available."},
      {ERROR_NO_MORE_ITEMS, "No more data is available."},
      {ERROR_CANTOPEN, "The configuration registry key could not be opened."},
      {ERROR_CANTREAD, "The configuration registry key could not be read."},
      {ERROR_CANTWRITE, "The configuration registry key could not be written."},
      {ERROR_REGISTRY_RECOVERED,
       "One of the files in the registry database had to be recovered by use of a log or alternate copy. The "
       "recovery was successful."},
      {ERROR_REGISTRY_CORRUPT,
       "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or "
       "the system's memory image of the file is corrupted, or the file could not be recovered because the "
       "alternate copy or log was absent or corrupted."},
      {ERROR_REGISTRY_IO_FAILED,
       "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or "
       "write out, or flush, one of the files that contain the system's image of the registry."},
      {ERROR_NOT_REGISTRY_FILE,
       "The system has attempted to load or restore a file into the registry, but the specified file is not in "
       "a registry file format."},
      {ERROR_KEY_DELETED, "Illegal operation attempted on a registry key that has been marked for deletion."},
      {ERROR_KEY_HAS_CHILDREN,
       "Cannot create a symbolic link in a registry key that already has subkeys or values."},
      {ERROR_NO_UNICODE_TRANSLATION,
       "No mapping for the Unicode character exists in the target multi-byte code page."},
  };
  const char* text = "Unknown error.";
  for (const auto& t : kTexts)
    if (t.code == code) text = t.text;
  char buf[32];
  std::snprintf(buf, sizeof buf, " (error %ld)", long(code));
  return std::string(text) + buf;
}

}  // namespace KvdReg
