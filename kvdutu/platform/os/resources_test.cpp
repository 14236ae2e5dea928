#include "kvdutu/platform/os/resources.h"

#include "kvdutu/platform/os/error.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

// Qualified throughout: on Windows the global ::LoadStringW is visible too.
namespace P = KvdUtils::Platform;

TEST(StringResources, RegisteredTextLoadsWithWin32Semantics) {
  P::RegisterStringResource(12256, L"Backup failed");
  wchar_t buf[64];
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, buf, 64), 13);
  EXPECT_EQ(std::wstring(buf), L"Backup failed");
  // Truncated to the buffer, terminated, the copied length returned.
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, buf, 5), 4);
  EXPECT_EQ(std::wstring(buf), L"Back");
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, buf, 1), 0);
  EXPECT_EQ(buf[0], L'\0');
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, nullptr, 10), 0);  // no buffer
  P::RegisterStringResource(12256, L"Replaced");
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, buf, 64), 8);
  EXPECT_EQ(std::wstring(buf), L"Replaced");
  P::UnregisterStringResource(12256);
  // Absent: 0 (on Windows the module's own table is asked and has no such string).
  EXPECT_EQ(P::LoadStringW(nullptr, 12256, buf, 64), 0);
#if !defined(_WIN32)
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND));
#endif
  P::RegisterStringResource(1, L"one");
  P::RegisterStringResource(2, L"");  // an empty text is no text
  P::ClearStringResources();
  EXPECT_EQ(P::LoadStringW(nullptr, 1, buf, 64), 0);
  EXPECT_EQ(P::LoadStringW(nullptr, 2, buf, 64), 0);
}

TEST(StringResources, RegistrationIsThreadSafe) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &wrong] {
      wchar_t buf[32];
      for (int i = 0; i < 500; ++i) {
        UINT id = static_cast<UINT>(100 + t * 1000 + i);
        std::wstring text = L"text " + std::to_wstring(id);
        P::RegisterStringResource(id, text.c_str());
        if (P::LoadStringW(nullptr, id, buf, 32) != static_cast<int>(text.size()) || text != buf) ++wrong;
        if (i % 2) P::UnregisterStringResource(id);
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(wrong.load(), 0);
  wchar_t buf[32];
  EXPECT_EQ(P::LoadStringW(nullptr, 100, buf, 32), 8);   // even ones stay
  EXPECT_EQ(P::LoadStringW(nullptr, 101, buf, 32), 0);   // odd ones were removed
  P::ClearStringResources();
}
