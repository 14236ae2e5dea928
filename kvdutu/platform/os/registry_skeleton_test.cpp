// Every user, machine and default-user hive has a "Software" key from the start, as on Windows:
// callers open it rather than create it.
#include <gtest/gtest.h>

#include "kvdutu/platform/os/registry.h"

namespace P = KvdUtils::Platform;

TEST(RegistrySkeleton, SoftwareKeysExistInANewHive) {
  struct Case {
    HKEY hive;
    const wchar_t* path;
  } cases[] = {{HKEY_CURRENT_USER, L"Software"}, {HKEY_LOCAL_MACHINE, L"Software"},
               {HKEY_USERS, L".DEFAULT\\Software"}};
  for (const Case& c : cases) {
    HKEY key = nullptr;
    EXPECT_EQ(P::RegOpenKeyExW(c.hive, c.path, 0, KEY_READ, &key), ERROR_SUCCESS) << c.path;
    if (key) P::RegCloseKey(key);
  }
  // The key keeps the case it was created with.
  HKEY software = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, L"", 0, KEY_READ, &software), ERROR_SUCCESS);
  bool found = false;
  wchar_t name[256];
  for (DWORD i = 0;; ++i) {
    DWORD len = 256;
    if (P::RegEnumKeyExW(software, i, name, &len, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    found = found || std::wstring(name) == L"Software";
  }
  P::RegCloseKey(software);
  EXPECT_TRUE(found);
}
