// The fixture of the settings tests. Each test gets a product key of its own, given through a
// "reg.ini" in its scratch folder, so that tests never meet in a shared hive (under Wine one
// prefix serves every run), and starts from the state of a freshly loaded library.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/deletion.h"
#include "kvdutu/settings/reg_ini_internal.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/registry_roots_internal.h"
#include "kvdutu/settings/tree_values_internal.h"
#include "kvdutu/settings/user_values.h"
#include "support/test_env.h"

namespace KvdSettingsTest {

namespace P = KvdUtils::Platform;
namespace R = KvdUtils::Registry;

inline CString widePath(const std::filesystem::path& path) { return CString(path.wstring().c_str()); }

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::FILE* f = std::fopen(path.string().c_str(), "wb");
  ASSERT_NE(f, nullptr) << path.string();
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

// Keys and values straight through the registry layer, to set up and to look at what the
// settings store did. Paths are below the hive given; HKEY_USERS paths start with ".DEFAULT".
inline bool createKey(HKEY hive, const CString& path) {
  HKEY key = nullptr;
  if (P::RegCreateKeyExW(hive, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
    return false;
  P::RegCloseKey(key);
  return true;
}

inline bool keyExists(HKEY hive, const CString& path) {
  HKEY key = nullptr;
  if (P::RegOpenKeyExW(hive, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  P::RegCloseKey(key);
  return true;
}

inline bool setRaw(HKEY hive, const CString& path, const CString& name, DWORD type, const BYTE* data, DWORD size) {
  HKEY key = nullptr;
  if (P::RegCreateKeyExW(hive, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
    return false;
  const LONG rc = P::RegSetValueExW(key, name, 0, type, data, size);
  P::RegCloseKey(key);
  return rc == ERROR_SUCCESS;
}

inline bool setDword(HKEY hive, const CString& path, const CString& name, DWORD value) {
  return setRaw(hive, path, name, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

inline bool setSz(HKEY hive, const CString& path, const CString& name, const CString& text) {
  return setRaw(hive, path, name, REG_SZ, reinterpret_cast<const BYTE*>(text.GetString()),
                static_cast<DWORD>(text.GetLength() + 1) * 2);
}

// Type and text of a value, or false when it is missing.
inline bool queryValue(HKEY hive, const CString& path, const CString& name, DWORD* type, CString* text,
                       DWORD* dword = nullptr) {
  HKEY key = nullptr;
  if (P::RegOpenKeyExW(hive, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  DWORD size = 0;
  LONG rc = P::RegQueryValueExW(key, name, nullptr, type, nullptr, &size);
  if (rc == ERROR_SUCCESS) {
    // Room for the text in wchar_t, whatever their width, and a terminator.
    std::wstring buffer(size / 2 + 2, L'\0');
    DWORD got = static_cast<DWORD>(buffer.size()) * 2;
    rc = P::RegQueryValueExW(key, name, nullptr, type, reinterpret_cast<BYTE*>(buffer.data()), &got);
    if (rc == ERROR_SUCCESS && text) *text = CString(buffer.c_str());
    if (rc == ERROR_SUCCESS && dword && *type == REG_DWORD) *dword = *reinterpret_cast<const DWORD*>(buffer.data());
  }
  P::RegCloseKey(key);
  return rc == ERROR_SUCCESS;
}

inline bool valueExists(HKEY hive, const CString& path, const CString& name) {
  DWORD type = 0;
  return queryValue(hive, path, name, &type, nullptr);
}

class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    R::resetRegistryRootsForTesting();
    R::setReadingLadderObserverForTesting(nullptr, nullptr);
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    for (char& c : name)
      if (c == '/' || c == '\\' || c == ' ') c = '_';
    dir_ = KvdTest::scratchDir(name);
    product_ = CString(("KvdT_" + name).c_str());
    useRegIni("OEMREGISTRYNAME=" + std::string(CStringA(product_).GetString()) + "\n");
    cleanTree();
  }

  void TearDown() override {
    cleanTree();
    R::setReadingLadderObserverForTesting(nullptr, nullptr);
    R::setRegIniPathForTesting(CString());
    R::resetRegistryRootsForTesting();
  }

  // A "reg.ini" of this test with the given content; the next product key read takes it.
  void useRegIni(const std::string& content) {
    auto path = dir_ / ("reg" + std::to_string(regIniCount_++) + ".ini");
    writeFile(path, content);
    R::setRegIniPathForTesting(widePath(path));
  }

  // Removes the test's product tree from the three hives that the ladder reads.
  void cleanTree() {
    const HKEY hives[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};
    for (HKEY hive : hives) {
      HKEY software = nullptr;
      if (P::RegOpenKeyExW(hive, L"Software", 0, KEY_ALL_ACCESS, &software) == ERROR_SUCCESS) {
        regDeleteKey(software, product_);
        P::RegCloseKey(software);
      }
    }
    HKEY software = nullptr;
    if (P::RegOpenKeyExW(HKEY_USERS, L".DEFAULT\\Software", 0, KEY_ALL_ACCESS, &software) == ERROR_SUCCESS) {
      regDeleteKey(software, product_);
      P::RegCloseKey(software);
    }
  }

  // Paths below a hive's "Software" key for the given root text and section.
  static CString treePath(const CString& root, const CString& section) {
    CString path = L"Software\\" + root;
    if (!section.IsEmpty()) path += L"\\" + section;
    return path;
  }
  CString productPath(const CString& section) const { return treePath(product_, section); }
  CString currentPath(const CString& section) const { return treePath(product_ + L"\\Korvalinde 2013", section); }
  CString previousPath(const CString& section) const { return treePath(product_ + L"\\Korvalinde 2012", section); }
  static CString defaultUserPath(const CString& softwarePath) { return L".DEFAULT\\" + softwarePath; }

  // The running version is 2013, and an older 2012 branch exists for this user.
  void setUpVersions() {
    ASSERT_TRUE(createKey(HKEY_CURRENT_USER, previousPath(CString())));
    setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
    ASSERT_EQ(externalGetCurrKorvalindeRegSubKey(), product_ + L"\\Korvalinde 2013");
  }

  std::filesystem::path dir_;
  CString product_;
  int regIniCount_ = 0;
};

// The same, with the versions of setUpVersions in place from the start.
class VersionedSettingsTest : public SettingsTest {
 protected:
  void SetUp() override {
    SettingsTest::SetUp();
    setUpVersions();
  }
};

}  // namespace KvdSettingsTest
