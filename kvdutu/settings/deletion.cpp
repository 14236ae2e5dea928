#include "kvdutu/settings/deletion.h"

#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/registry_roots_internal.h"

#include <vector>

namespace P = KvdUtils::Platform;
namespace R = KvdUtils::Registry;

namespace {

constexpr REGSAM kDeleteWalkAccess = 0x2001F;  // KEY_READ with KEY_SET_VALUE and KEY_CREATE_SUB_KEY

// Opens hive\Software\rootText\section (rootText alone for an empty section).
LONG openTreeKey(HKEY hive, const CString& rootText, const CString& section, REGSAM access, HKEY* key) {
  CString path = L"Software\\" + rootText;
  if (!section.IsEmpty()) path += L"\\" + section;
  return P::RegOpenKeyExW(hive, path, 0, access, key);
}

int deleteValueUnder(HKEY hive, const CString& rootText, const CString& section, const CString& valueName) {
  HKEY key = nullptr;
  if (openTreeKey(hive, rootText, section, KEY_SET_VALUE, &key) != ERROR_SUCCESS) return 0;
  const LONG rc = P::RegDeleteValueW(key, valueName);
  P::RegCloseKey(key);
  return rc == ERROR_SUCCESS ? 1 : 0;
}

bool isEmptyText(const wchar_t* text) { return text == nullptr || *text == 0; }

}  // namespace

int regDelSoftwareValue(HKEY hive, const CString& section, const CString& valueName, int versioned) {
  if (!versioned) return deleteValueUnder(hive, R::getCurrKorvalindeRegRootKey(), section, valueName);
  deleteValueUnder(hive, getCurrentSubKeyFilled(), section, valueName);
  return deleteValueUnder(hive, getPreviousSubKey(), section, valueName);
}

int regDelSoftwareKey(HKEY hive, const wchar_t* section, const wchar_t* subKey, int versioned) {
  if (isEmptyText(section)) return 0;
  const CString rootText = versioned ? getCurrentSubKeyFilled() : R::getCurrKorvalindeRegRootKey();
  HKEY root = nullptr;
  if (P::RegOpenKeyW(hive, L"Software\\" + rootText, &root) != ERROR_SUCCESS) return 0;
  LONG rc;
  if (isEmptyText(subKey)) {
    rc = P::RegDeleteKeyW(root, section);
  } else {
    HKEY parent = nullptr;
    rc = P::RegOpenKeyExW(root, section, 0, KEY_ALL_ACCESS, &parent);
    if (rc == ERROR_SUCCESS) {
      rc = P::RegDeleteKeyW(parent, subKey);
      P::RegCloseKey(parent);
    }
  }
  P::RegCloseKey(root);
  return rc == ERROR_SUCCESS ? 1 : 0;
}

int regDelSoftwareKeyAndSubKeys(HKEY hive, const wchar_t* section, int versioned) {
  if (regGetUseSafeMode() || regGetUsePerformanceTestMode()) return 0;
  if (isEmptyText(section)) return 0;
  const CString rootText = versioned ? getCurrentSubKeyFilled() : R::getCurrKorvalindeRegRootKey();
  CString path;
  path.Format(L"%s%s%s", rootText.GetString(), L"\\", section);
  HKEY key = nullptr;
  if (P::RegOpenKeyExW(hive, L"Software\\" + path, 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
  std::vector<CString> children;
  LONG rc = ERROR_SUCCESS;
  for (DWORD index = 0;; ++index) {
    wchar_t name[261];
    DWORD length = 261;
    rc = P::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (rc != ERROR_SUCCESS) break;
    children.emplace_back(name, static_cast<int>(length));
  }
  P::RegCloseKey(key);
  if (rc != ERROR_NO_MORE_ITEMS) return 0;
  // The deletions always work on the current key, whichever branch gave the list.
  const CString sectionText(section);
  for (const CString& child : children) regDelSoftwareKey(hive, sectionText + L"\\" + child, L"", 1);
  regDelSoftwareKey(hive, section, L"", 1);
  return 1;
}

void regDeleteKey(HKEY parent, const wchar_t* subKey) {
  // An empty name would be the parent itself.
  if (parent == nullptr || isEmptyText(subKey)) return;
  HKEY key = nullptr;
  if (P::RegOpenKeyExW(parent, subKey, 0, kDeleteWalkAccess, &key) == ERROR_SUCCESS) {
    DWORD children = 0;
    if (P::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &children, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr) == ERROR_SUCCESS) {
      // From the last child down, so that deleting does not move the ones still to come.
      for (DWORD index = children; index-- > 0;) {
        wchar_t name[260];
        DWORD length = 260;
        if (P::RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        regDeleteKey(key, name);
      }
    }
    P::RegCloseKey(key);
  }
  P::RegDeleteKeyW(parent, subKey);
}
