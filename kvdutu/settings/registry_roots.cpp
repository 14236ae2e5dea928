#include "kvdutu/settings/registry_roots.h"

#include "kvdutu/frame/static_rows_internal.h"
#include "kvdutu/platform/os/module.h"
#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/reg_ini_internal.h"
#include "kvdutu/settings/registry_roots_internal.h"

#include <vector>

namespace P = KvdUtils::Platform;

namespace {

int useAlternateRegPath = 1;
int useSafeMode = 0;
int usePerformanceTestMode = 0;

const wchar_t kDefaultProductKey[] = L"Korvalinde";

// The product key as "reg.ini" gave it; made on first use and kept to the end of the process.
CString& rootKeyCache() {
  static CString cache;
  return cache;
}

}  // namespace

// Row 5 of the load order.
KVDUTU_INIT_ROW(5) static CString currentSubKey;
KVDUTU_INIT_ROW(5) static CString previousSubKey;
KVDUTU_STATIC_ROW_BUILT(5);

namespace KvdUtils::Registry {

const wchar_t* const kPreviousVersionKeys[kPreviousVersionCount] = {
    L"Korvalinde 2012", L"Korvalinde 2011", L"Korvalinde 2010",     L"Korvalinde 2009", L"Korvalinde 2008",
    L"Korvalinde 2007", L"Korvalinde 2006", L"Korvalinde 2005",     L"Korvalinde 2004", L"Korvalinde 2003",
    L"Korvalinde 2002", L"Korvalinde 2001Plus", L"Korvalinde 2001", L"Korvalinde 2000", L"Korvalinde 99",
};

CString getCurrKorvalindeRegRootKey() {
  if (!useAlternateRegPath) return CString(kDefaultProductKey);
  CString& cache = rootKeyCache();
  if (!cache.IsEmpty()) return cache;
  cache = kDefaultProductKey;
  CString name;
  if (readRegIniToken(kRegIniRegistryNamePrefix, name) && utf16Length(name) > 3) cache = name;
  return cache;
}

CString searchPreviousSubKey(const CString& productKey) {
  CString found = productKey;
  if (useSafeMode || usePerformanceTestMode) return found;
  for (const wchar_t* row : kPreviousVersionKeys) {
    CString path;
    path.Format(L"Software\\%s\\", productKey.GetString());
    path += row;
    HKEY key = nullptr;
    // Full access: a version branch that the user may only read is not one to inherit from.
    if (P::RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
      P::RegCloseKey(key);
      found += L"\\";
      found += row;
      break;
    }
  }
  return found;
}

void resetRegistryRootsForTesting() {
  useAlternateRegPath = 1;
  useSafeMode = 0;
  usePerformanceTestMode = 0;
  rootKeyCache().Empty();
  currentSubKey.Empty();
  previousSubKey.Empty();
}

}  // namespace KvdUtils::Registry

CString& getCurrentSubKeyFilled() {
  if (currentSubKey.IsEmpty()) currentSubKey = KvdUtils::Registry::getCurrKorvalindeRegRootKey();
  return currentSubKey;
}

const CString& getCurrentSubKeyRaw() { return currentSubKey; }

CString& getPreviousSubKey() {
  // Kept once found, also when nothing older was found: the product key is never empty.
  if (previousSubKey.IsEmpty())
    previousSubKey = KvdUtils::Registry::searchPreviousSubKey(KvdUtils::Registry::getCurrKorvalindeRegRootKey());
  return previousSubKey;
}

int getExecutableFolder(CString& out) {
  std::vector<wchar_t> name(32768, L'\0');
  if (P::GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())) == 0) return 0;
  CString path(name.data());
  int separator = path.ReverseFind(L'\\');
  if (separator < 0) separator = path.ReverseFind(L'/');
  if (separator < 0) return 0;
  out = path.Left(separator);
  return out.IsEmpty() ? 0 : 1;
}

void setCurrKorvalindeRegSubKey(const wchar_t* subKey) {
  currentSubKey = KvdUtils::Registry::getCurrKorvalindeRegRootKey() + L"\\" + CString(subKey);
}

CString externalGetCurrKorvalindeRegSubKey() { return getCurrentSubKeyFilled(); }
CString externalGetPrevKorvalindeRegSubKey() { return getPreviousSubKey(); }

int externalCheckPrevKorvalindeRegSubKey() {
  return getPreviousSubKey() != KvdUtils::Registry::getCurrKorvalindeRegRootKey() ? 1 : 0;
}

int getUseAlternateRegPath() { return useAlternateRegPath; }
void setUseAlternateRegPath(int use) { useAlternateRegPath = use; }
int regGetUseSafeMode() { return useSafeMode; }
void regSetUseSafeMode(int use) { useSafeMode = use; }
int regGetUsePerformanceTestMode() { return usePerformanceTestMode; }
void regSetUsePerformanceTestMode(int use) { usePerformanceTestMode = use; }

CString GetKvDirectory() {
  CString folder;
  if (!getExecutableFolder(folder)) return CString();
  return folder;
}
