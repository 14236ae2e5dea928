// Module loading by Windows names, on both backends.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/module.h"
#include "support/test_env.h"

namespace P = KvdUtils::Platform;

TEST(Module, LoadsByWindowsNameAndFindsExports) {
  EXPECT_EQ(P::GetModuleHandleW(L"kvdtestmodule.dll"), nullptr);  // not loaded yet
  HMODULE m = P::LoadLibraryExW(L"kvdtestmodule.dll", nullptr, 0);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(P::GetModuleHandleW(L"kvdtestmodule.dll"), m);
  EXPECT_EQ(P::GetModuleHandleW(L"KVDTESTMODULE.DLL"), m);  // module names ignore case
  auto answer = reinterpret_cast<int (*)(int)>(P::GetProcAddress(m, "kvdTestModuleAnswer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(20), 41);
  EXPECT_EQ(P::GetProcAddress(m, "noSuchFunction"), nullptr);
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));

  // A second load is the same module; its initialisation ran once.
  HMODULE again = P::LoadLibraryW(L"kvdtestmodule.dll");
  EXPECT_EQ(again, m);
  auto loads = reinterpret_cast<int (*)()>(P::GetProcAddress(m, "kvdTestModuleLoads"));
  ASSERT_NE(loads, nullptr);
  EXPECT_EQ(loads(), 1);
  EXPECT_TRUE(P::FreeLibrary(again));
  EXPECT_TRUE(P::FreeLibrary(m));
}

TEST(Module, MissingModuleFailsWithModNotFound) {
  P::SetLastError(0);
  EXPECT_EQ(P::LoadLibraryExW(L"kvdno_such_module.dll", nullptr, 0), nullptr);
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(P::GetModuleHandleW(L"kvdno_such_module.dll"), nullptr);
}

TEST(Module, FileNamesOfTheProgramAndOfTheLibrary) {
  wchar_t path[1024];
  DWORD n = P::GetModuleFileNameW(nullptr, path, 1024);
  ASSERT_GT(n, 0u);
  EXPECT_EQ(n, std::wcslen(path));
  std::wstring exe(path);
  EXPECT_NE(exe.find(L"kvdutu_platform_tests"), std::wstring::npos) << exe.c_str();

  HMODULE lib = P::LibraryModuleHandle();
  ASSERT_NE(lib, nullptr);
  ASSERT_GT(P::GetModuleFileNameW(lib, path, 1024), 0u);
  std::wstring libPath(path);
  EXPECT_NE(libPath.find(L"kvdutu"), std::wstring::npos);
  EXPECT_NE(libPath, exe);

  // A short buffer is filled to size-1 characters and terminated.
  wchar_t small[5];
  EXPECT_EQ(P::GetModuleFileNameW(nullptr, small, 5), 5u);
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(std::wstring(small, 4), exe.substr(0, 4));
#if !defined(_WIN32)
  // Windows from Vista on terminates the truncated name; Wine keeps the older behaviour.
  EXPECT_EQ(small[4], 0);
#endif
}

TEST(Module, HandleFromAnAddressIsTheModuleThatHoldsIt) {
  HMODULE fromAddress = nullptr;
  ASSERT_TRUE(P::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                    reinterpret_cast<LPCWSTR>(&P::LibraryModuleHandle), &fromAddress));
  EXPECT_EQ(fromAddress, P::LibraryModuleHandle());
  HMODULE self = nullptr;
  static int local = 0;
  ASSERT_TRUE(P::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                    reinterpret_cast<LPCWSTR>(&local), &self));
  EXPECT_EQ(self, P::GetModuleHandleW(nullptr));
}
