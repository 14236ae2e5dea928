#include "kvdutu/settings/values_listing.h"

#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/registry_roots_internal.h"
#include "kvdutu/settings/utf16_text_internal.h"

#include <cstring>

namespace P = KvdUtils::Platform;
namespace R = KvdUtils::Registry;

namespace {

constexpr DWORD kNameChars = 260;
constexpr DWORD kDataBytes = 2048;

// One value of an enumeration, with the limits of the listings.
struct EnumeratedValue {
  wchar_t name[kNameChars];
  DWORD nameLength = 0;
  DWORD type = REG_NONE;
  // Text of the string types arrives as wchar_t; other data as raw bytes in the same buffer. One
  // element more than the limit, always zero, ends any text.
  wchar_t data[kDataBytes / 2 + 1];
  DWORD dataSize = 0;
};

LONG enumValue(HKEY key, DWORD index, EnumeratedValue& value) {
  value.nameLength = kNameChars;
  value.dataSize = kDataBytes;
  std::memset(value.data, 0, sizeof(value.data));
  return P::RegEnumValueW(key, index, value.name, &value.nameLength, nullptr, &value.type,
                          reinterpret_cast<BYTE*>(value.data), &value.dataSize);
}

bool isStringType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// The data shown as text: string types as they are, other data read as UTF-16 text.
CString dataAsText(const EnumeratedValue& value) {
  if (isStringType(value.type)) return R::textOfBuffer(value.data, kDataBytes / 2);
  const auto* bytes = reinterpret_cast<const unsigned char*>(value.data);
  const DWORD size = value.dataSize < kDataBytes ? value.dataSize : kDataBytes;
  std::u16string units;
  for (DWORD i = 0; i + 1 < size; i += 2) {
    const char16_t unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (unit == 0) break;
    units.push_back(unit);
  }
  return R::fromUtf16(units);
}

DWORD dwordOf(const EnumeratedValue& value) {
  DWORD data = 0;
  std::memcpy(&data, value.data, sizeof(data));
  return data;
}

LONG openSection(HKEY hive, const CString& rootText, const CString& section, HKEY* key) {
  CString path = L"Software\\" + rootText;
  if (!section.IsEmpty()) path += L"\\" + section;
  return P::RegOpenKeyExW(hive, path, 0, KEY_READ, key);
}

}  // namespace

int regGetUserValuesLog(const CString& section, CString& out, int versioned, CString* altRoot) {
  if (regGetUseSafeMode() || regGetUsePerformanceTestMode()) return 0;
  const CString rootText = altRoot ? *altRoot : versioned ? getCurrentSubKeyFilled() : R::getCurrKorvalindeRegRootKey();
  HKEY key = nullptr;
  if (openSection(HKEY_CURRENT_USER, rootText, section, &key) != ERROR_SUCCESS) return 0;
  out.Format(L"[%s] [%s]:\n", rootText.GetString(), section.GetString());
  EnumeratedValue value;
  LONG rc;
  for (DWORD index = 0; (rc = enumValue(key, index, value)) == ERROR_SUCCESS; ++index) {
    const CString name(value.name, static_cast<int>(value.nameLength));
    if (value.type == REG_SZ) {
      const CString text = dataAsText(value);
      if (text.Find(L'\\') >= 0) continue;  // folder paths stay out of the log
      out.AppendFormat(L"%s=%s\n", name.GetString(), text.GetString());
    } else if (value.type == REG_DWORD) {
      out.AppendFormat(L"%s=%u\n", name.GetString(), static_cast<unsigned>(dwordOf(value)));
    } else {
      out.AppendFormat(L"%s=%s\n", name.GetString(), dataAsText(value).GetString());
    }
  }
  P::RegCloseKey(key);
  return rc == ERROR_NO_MORE_ITEMS ? 1 : 0;
}

int regGetFieldNamesAndValues(const CString& section, int machine, su_CStringArray& names, su_CUIntArray& values) {
  names.RemoveAll();
  values.RemoveAll();
  if (!machine && (regGetUseSafeMode() || regGetUsePerformanceTestMode())) return 0;
  HKEY key = nullptr;
  if (openSection(machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, getCurrentSubKeyFilled(), section, &key) !=
      ERROR_SUCCESS)
    return 0;
  EnumeratedValue value;
  LONG rc;
  for (DWORD index = 0; (rc = enumValue(key, index, value)) == ERROR_SUCCESS; ++index) {
    if (value.type != REG_DWORD) continue;
    names.Add(CString(value.name, static_cast<int>(value.nameLength)));
    values.Add(static_cast<UINT>(dwordOf(value)));
  }
  P::RegCloseKey(key);
  return rc == ERROR_NO_MORE_ITEMS ? 1 : 0;
}
