// Code-page conversion: the same cases against the POSIX layer and the real Win32 functions.
#include "kvdutu/platform/os/text.h"

#include <gtest/gtest.h>

#include <string>

#include "kvdutu/platform/os/error.h"
#include "support/win32_expect.h"

using namespace KvdUtils::Platform;

namespace {
// U+0061 U+00E9 U+20AC U+1F600: one, two, three and four UTF-8 bytes.
const char kUtf8[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
const int kBeyondBmpUnits = sizeof(wchar_t) == 2 ? 2 : 1;  // a surrogate pair on Windows
}  // namespace

TEST(TextConversion, Utf8ToWideAndBack) {
  const int units = 3 + kBeyondBmpUnits;
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, kUtf8, 10, nullptr, 0), units);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, kUtf8, -1, nullptr, 0), units + 1);  // with the terminator
  wchar_t wide[8] = {};
  ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, kUtf8, -1, wide, 8), units + 1);
  EXPECT_EQ(std::wstring(wide), L"a\u00e9\u20ac\U0001F600");
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr), 11);
  char narrow[16] = {};
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide, units, narrow, sizeof narrow, nullptr, nullptr), 10);
  EXPECT_EQ(std::string(narrow), kUtf8);
}

TEST(TextConversion, SmallBufferFailsWithInsufficientBuffer) {
  wchar_t wide[2];
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 2), ERROR_INSUFFICIENT_BUFFER);
  char narrow[3];
  EXPECT_REFUSED(WideCharToMultiByte(CP_UTF8, 0, L"a\u00e9", 2, narrow, 2, nullptr, nullptr),
                 ERROR_INSUFFICIENT_BUFFER);  // needs 3 bytes
}

TEST(TextConversion, InvalidUtf8BecomesReplacementCharacter) {
  wchar_t wide[8] = {};
  ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF" "b\x80", 4, wide, 8), 4);
  EXPECT_EQ(std::wstring(wide, 4), L"a\uFFFDb\uFFFD");
  // An encoded UTF-16 surrogate is not UTF-8 either.
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xED\xA0\x80", 3, wide, 8), 0);
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", 2, wide, 8), ERROR_NO_UNICODE_TRANSLATION);
}

TEST(TextConversion, LoneSurrogateBecomesReplacementCharacter) {
  const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
  char narrow[16] = {};
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, lone, -1, narrow, sizeof narrow, nullptr, nullptr), 6);
  EXPECT_EQ(std::string(narrow), "a\xEF\xBF\xBD" "b");
  EXPECT_REFUSED(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, lone, -1, narrow, sizeof narrow, nullptr, nullptr),
                 ERROR_NO_UNICODE_TRANSLATION);
  // A UTF-16 pair is one character, also in a 32-bit wchar_t string.
  const wchar_t pair[] = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00), 0};
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, pair, -1, narrow, sizeof narrow, nullptr, nullptr), 5);
  EXPECT_EQ(std::string(narrow), "\xF0\x9F\x98\x80");
}

TEST(TextConversion, BadArgumentsAndFlags) {
  wchar_t wide[4];
  char narrow[4];
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0, "abc", 0, wide, 4), ERROR_INVALID_PARAMETER);
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0, nullptr, 3, wide, 4), ERROR_INVALID_PARAMETER);
  EXPECT_REFUSED(WideCharToMultiByte(CP_UTF8, 0, L"abc", 0, narrow, 4, nullptr, nullptr), ERROR_INVALID_PARAMETER);
#if !defined(_WIN32)
  // Windows documents both refusals for CP_UTF8 (a flag other than MB_ERR_INVALID_CHARS, a used-default
  // flag); Wine accepts both calls, so these run against the POSIX layer only.
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, MB_PRECOMPOSED, "abc", 3, wide, 4), ERROR_INVALID_FLAGS);
  BOOL used = FALSE;
  EXPECT_REFUSED(WideCharToMultiByte(CP_UTF8, 0, L"abc", 3, narrow, 4, nullptr, &used), ERROR_INVALID_PARAMETER);
#endif
}

TEST(TextConversion, AnsiCodePageRoundTrip) {
  // ASCII is the same in every ANSI code page; the whole of it is UTF-8 on POSIX.
  wchar_t wide[16] = {};
  ASSERT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "Plain text", -1, wide, 16), 11);
  EXPECT_EQ(std::wstring(wide), L"Plain text");
  char narrow[16] = {};
  ASSERT_EQ(WideCharToMultiByte(CP_THREAD_ACP, 0, wide, -1, narrow, 16, nullptr, nullptr), 11);
  EXPECT_EQ(std::string(narrow), "Plain text");
#if !defined(_WIN32)
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, kUtf8, -1, wide, 16), 5);
  EXPECT_EQ(std::wstring(wide), L"a\u00e9\u20ac\U0001F600");
#endif
}

TEST(TextConversion, WideStringHelpers) {
  EXPECT_EQ(lstrlenW(L"four"), 4);
  EXPECT_EQ(lstrlenW(nullptr), 0);
  wchar_t buf[4] = {L'#', L'#', L'#', L'#'};
  EXPECT_EQ(lstrcpynW(buf, L"abcdef", 4), buf);
  EXPECT_EQ(std::wstring(buf), L"abc");
  EXPECT_EQ(lstrcpynW(buf, L"z", 4), buf);
  EXPECT_EQ(std::wstring(buf), L"z");
}
