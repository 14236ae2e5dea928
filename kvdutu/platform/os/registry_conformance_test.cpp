// Registry behaviour that both backends share: natively this runs against the SQLite hives, under
// Wine against the real advapi32. Every test works below its own new key in HKCU\Software.
#include "kvdutu/platform/os/registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <cwctype>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace P = KvdUtils::Platform;

namespace {

bool equalIgnoringAsciiCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::towupper(a[i]) != std::towupper(b[i])) return false;
  return true;
}

const BYTE* bytes(const void* p) { return static_cast<const BYTE*>(p); }

// Sized as Windows code sizes a string: (wcslen + 1) * 2. With UTF-32 wchar_t a character outside
// the Basic Multilingual Plane is one element here and two UTF-16 units in the store.
LONG setString(HKEY h, const wchar_t* name, const std::wstring& s, DWORD type = REG_SZ) {
  return P::RegSetValueExW(h, name, 0, type, bytes(s.c_str()), DWORD((s.size() + 1) * 2));
}

LONG setDword(HKEY h, const wchar_t* name, DWORD v) {
  return P::RegSetValueExW(h, name, 0, REG_DWORD, bytes(&v), sizeof v);
}

// Reads a string value the way Windows code does: size first, then a wchar_t array of size/2.
std::wstring getString(HKEY h, const wchar_t* name, DWORD* typeOut = nullptr) {
  DWORD type = 0, cb = 0;
  EXPECT_EQ(P::RegQueryValueExW(h, name, nullptr, &type, nullptr, &cb), ERROR_SUCCESS);
  std::vector<wchar_t> buf(cb / 2 + 1, L'\0');
  EXPECT_EQ(P::RegQueryValueExW(h, name, nullptr, &type, reinterpret_cast<LPBYTE>(buf.data()), &cb), ERROR_SUCCESS);
  if (typeOut) *typeOut = type;
  return std::wstring(buf.data());
}

DWORD getDword(HKEY h, const wchar_t* name) {
  DWORD v = 0, type = 0, cb = sizeof v;
  EXPECT_EQ(P::RegQueryValueExW(h, name, nullptr, &type, reinterpret_cast<LPBYTE>(&v), &cb), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(cb, 4u);
  return v;
}

std::vector<std::wstring> subkeys(HKEY h) {
  std::vector<std::wstring> out;
  for (DWORD i = 0;; ++i) {
    wchar_t name[300];
    DWORD cch = 300;
    LONG rc = P::RegEnumKeyExW(h, i, name, &cch, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_NO_MORE_ITEMS) break;
    EXPECT_EQ(rc, ERROR_SUCCESS);
    if (rc) break;
    EXPECT_EQ(cch, std::wcslen(name));
    out.emplace_back(name);
  }
  return out;
}

std::vector<std::wstring> valueNames(HKEY h) {
  std::vector<std::wstring> out;
  for (DWORD i = 0;; ++i) {
    wchar_t name[300];
    DWORD cch = 300;
    LONG rc = P::RegEnumValueW(h, i, name, &cch, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_NO_MORE_ITEMS) break;
    EXPECT_EQ(rc, ERROR_SUCCESS);
    if (rc) break;
    out.emplace_back(name);
  }
  return out;
}

// Removes a key and everything below it.
void deleteTree(HKEY parent, const std::wstring& path) {
  HKEY h;
  if (P::RegOpenKeyExW(parent, path.c_str(), 0, KEY_ALL_ACCESS, &h) != ERROR_SUCCESS) return;
  for (const auto& child : subkeys(h)) deleteTree(h, child);
  P::RegCloseKey(h);
  P::RegDeleteKeyW(parent, path.c_str());
}

std::wstring uniqueSuffix() {
  static std::atomic<unsigned> counter{0};
  std::random_device rd;
  return std::to_wstring(rd() % 1000000) + L"-" +
         std::to_wstring(std::chrono::steady_clock::now().time_since_epoch().count() % 1000000) + L"-" +
         std::to_wstring(counter++);
}

class Registry : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string test = info->name();
    path_ = L"Software\\KvdutuTest\\" + std::wstring(test.begin(), test.end()) + L"-" + uniqueSuffix();
    DWORD disp = 0;
    ASSERT_EQ(P::RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_,
                                 &disp),
              ERROR_SUCCESS);
    ASSERT_EQ(disp, DWORD(REG_CREATED_NEW_KEY));
  }
  void TearDown() override {
    P::RegCloseKey(key_);
    deleteTree(HKEY_CURRENT_USER, path_);
  }

  HKEY create(const wchar_t* sub, REGSAM sam = KEY_ALL_ACCESS) {
    HKEY h = nullptr;
    EXPECT_EQ(P::RegCreateKeyExW(key_, sub, 0, nullptr, 0, sam, nullptr, &h, nullptr), ERROR_SUCCESS) << sub;
    return h;
  }

  std::wstring path_;
  HKEY key_ = nullptr;
};

TEST_F(Registry, CreateOpensOrMakesEveryLevelAndReportsWhichHappened) {
  HKEY h;
  DWORD disp = 0;
  ASSERT_EQ(P::RegCreateKeyExW(key_, L"a\\b\\c", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, &disp), ERROR_SUCCESS);
  EXPECT_EQ(disp, DWORD(REG_CREATED_NEW_KEY));
  EXPECT_EQ(setDword(h, L"deep", 7), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegCreateKeyExW(key_, L"a\\b\\c", 0, nullptr, 0, KEY_READ, nullptr, &h, &disp), ERROR_SUCCESS);
  EXPECT_EQ(disp, DWORD(REG_OPENED_EXISTING_KEY));
  EXPECT_EQ(getDword(h, L"deep"), 7u);
  P::RegCloseKey(h);

  // Each intermediate level exists, and a path may be walked in pieces.
  HKEY a, b;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"a", 0, KEY_READ, &a), ERROR_SUCCESS);
  ASSERT_EQ(P::RegOpenKeyW(a, L"b", &b), ERROR_SUCCESS);
  ASSERT_EQ(P::RegOpenKeyExW(b, L"c", 0, KEY_QUERY_VALUE, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"deep"), 7u);
  P::RegCloseKey(h);
  P::RegCloseKey(b);
  P::RegCloseKey(a);

  // The full path from the hive, and RegCreateKeyW on an existing key.
  std::wstring full = path_ + L"\\a\\b\\c";
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, full.c_str(), 0, KEY_READ, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"deep"), 7u);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegCreateKeyW(HKEY_CURRENT_USER, full.c_str(), &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"deep"), 7u);
  P::RegCloseKey(h);

  EXPECT_EQ(P::RegOpenKeyExW(key_, L"a\\missing", 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegOpenKeyW(key_, L"missing", &h), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, PathSyntax) {
  HKEY h;
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, L"\\Software", 0, KEY_READ, &h), ERROR_BAD_PATHNAME);
  EXPECT_EQ(P::RegCreateKeyExW(key_, L"\\lead", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
            ERROR_BAD_PATHNAME);
  EXPECT_EQ(P::RegOpenKeyExW(key_, L"lead", 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);

  // A trailing backslash and a doubled one name the same key.
  P::RegCloseKey(create(L"x\\y"));
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"x\\", 0, KEY_READ, &h), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"x\\\\y", 0, KEY_READ, &h), ERROR_SUCCESS);
  P::RegCloseKey(h);

  // An empty or null subkey: RegOpenKeyExW gives a new handle to the same key, RegOpenKeyW the
  // very handle it was given.
  EXPECT_EQ(setDword(key_, L"here", 1), ERROR_SUCCESS);
  HKEY again = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, KEY_READ, &again), ERROR_SUCCESS);
  EXPECT_NE(again, key_);
  EXPECT_EQ(getDword(again, L"here"), 1u);
  EXPECT_EQ(P::RegCloseKey(again), ERROR_SUCCESS);
  ASSERT_EQ(P::RegOpenKeyExW(key_, nullptr, 0, KEY_READ, &again), ERROR_SUCCESS);
  EXPECT_EQ(getDword(again, L"here"), 1u);
  P::RegCloseKey(again);
  ASSERT_EQ(P::RegOpenKeyW(key_, L"", &again), ERROR_SUCCESS);
  EXPECT_EQ(again, key_);
  ASSERT_EQ(P::RegOpenKeyW(key_, nullptr, &again), ERROR_SUCCESS);
  EXPECT_EQ(again, key_);
}

TEST_F(Registry, NamesIgnoreCaseButKeepTheirSpelling) {
  P::RegCloseKey(create(L"MixedCase"));
  P::RegCloseKey(create(L"\u00C9t\u00E9\u0416\u03A3"));  // Étéжσ in other cases below
  HKEY h;
  DWORD disp = 0;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"MIXEDCASE", 0, KEY_READ, &h), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegCreateKeyExW(key_, L"mixedcase", 0, nullptr, 0, KEY_READ, nullptr, &h, &disp), ERROR_SUCCESS);
  EXPECT_EQ(disp, DWORD(REG_OPENED_EXISTING_KEY));
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"\u00E9T\u00C9\u0436\u03C3", 0, KEY_READ, &h), ERROR_SUCCESS);
  P::RegCloseKey(h);
  EXPECT_EQ(subkeys(key_), (std::vector<std::wstring>{L"MixedCase", L"\u00C9t\u00E9\u0416\u03A3"}));

  // Values likewise; a write through another spelling replaces the value and keeps the first name.
  EXPECT_EQ(setDword(key_, L"Value", 1), ERROR_SUCCESS);
  EXPECT_EQ(setDword(key_, L"VALUE", 2), ERROR_SUCCESS);
  EXPECT_EQ(getDword(key_, L"value"), 2u);
  EXPECT_EQ(valueNames(key_), (std::vector<std::wstring>{L"Value"}));
  EXPECT_EQ(P::RegDeleteValueW(key_, L"vAlUe"), ERROR_SUCCESS);
  EXPECT_TRUE(valueNames(key_).empty());

  // Letters that fold differently are different names.
  P::RegCloseKey(create(L"\u00DF"));  // sharp s has no one-unit upper case
  ASSERT_EQ(P::RegCreateKeyExW(key_, L"SS", 0, nullptr, 0, KEY_READ, nullptr, &h, &disp), ERROR_SUCCESS);
  EXPECT_EQ(disp, DWORD(REG_CREATED_NEW_KEY));
  P::RegCloseKey(h);
}

TEST_F(Registry, NameLengthLimits) {
  HKEY h;
  std::wstring k255(255, L'k'), k300(300, L'k');
  ASSERT_EQ(P::RegCreateKeyExW(key_, k255.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
            ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, k255.c_str(), 0, KEY_READ, &h), ERROR_SUCCESS);
  P::RegCloseKey(h);
  EXPECT_EQ(P::RegCreateKeyExW(key_, k300.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
            ERROR_INVALID_PARAMETER);
  LONG rc = P::RegOpenKeyExW(key_, k300.c_str(), 0, KEY_READ, &h);
  EXPECT_TRUE(rc == ERROR_FILE_NOT_FOUND || rc == ERROR_INVALID_PARAMETER) << rc;

  std::wstring v16383(16383, L'v'), v16384(16384, L'v');
  EXPECT_EQ(setDword(key_, v16383.c_str(), 3), ERROR_SUCCESS);
  EXPECT_EQ(getDword(key_, v16383.c_str()), 3u);
  EXPECT_EQ(setDword(key_, v16384.c_str(), 4), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegQueryValueExW(key_, v16384.c_str(), nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  DWORD maxName = 0;
  ASSERT_EQ(P::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &maxName,
                                nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(maxName, 16383u);
}

TEST_F(Registry, EveryValueTypeKeepsItsBytes) {
  // Raw types: the bytes as given, embedded zeros included, under any type number.
  const uint64_t q = 0x0123456789ABCDEFull;
  const struct {
    const wchar_t* name;
    DWORD type;
    std::string data;
  } raws[] = {{L"bin", REG_BINARY, std::string("\0\1\0\xFF\0\x80", 6)},
              {L"none", REG_NONE, ""},
              {L"qword", REG_QWORD, std::string(reinterpret_cast<const char*>(&q), sizeof q)},
              {L"dword", REG_DWORD, "\xEF\xBE\xAD\xDE"},
              {L"oddtype", 0x1234, "\x44\x33\x22"}};
  for (const auto& r : raws)
    ASSERT_EQ(P::RegSetValueExW(key_, r.name, 0, r.type, bytes(r.data.data()), DWORD(r.data.size())), ERROR_SUCCESS);
  for (const auto& r : raws) {
    unsigned char buf[64];
    DWORD type = 0, cb = sizeof buf;
    ASSERT_EQ(P::RegQueryValueExW(key_, r.name, nullptr, &type, buf, &cb), ERROR_SUCCESS) << r.name;
    EXPECT_EQ(type, r.type) << r.name;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf), cb), r.data) << r.name;
  }
  EXPECT_EQ(getDword(key_, L"dword"), 0xDEADBEEFu);

  // String types: sizes in UTF-16 bytes with the terminator, whatever wchar_t is.
  DWORD t = 0, type = 0, cb = 0;
  ASSERT_EQ(setString(key_, L"sz", L"h\u00E9llo"), ERROR_SUCCESS);
  EXPECT_EQ(getString(key_, L"sz", &t), L"h\u00E9llo");
  EXPECT_EQ(t, DWORD(REG_SZ));
  ASSERT_EQ(setString(key_, L"expand", L"%TEMP%\\x", REG_EXPAND_SZ), ERROR_SUCCESS);
  EXPECT_EQ(getString(key_, L"expand", &t), L"%TEMP%\\x");
  EXPECT_EQ(t, DWORD(REG_EXPAND_SZ));
  const std::wstring astral = L"a\U0001F600b";  // a surrogate pair in UTF-16
  ASSERT_EQ(setString(key_, L"astral", astral), ERROR_SUCCESS);
  ASSERT_EQ(P::RegQueryValueExW(key_, L"sz", nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 12u);
  ASSERT_EQ(P::RegQueryValueExW(key_, L"astral", nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 10u);
  EXPECT_EQ(getString(key_, L"astral"), astral);

  // A multi-string: NUL-separated items, two NULs at the end, all kept.
  const wchar_t multi[] = L"one\0two\0\0";
  ASSERT_EQ(P::RegSetValueExW(key_, L"multi", 0, REG_MULTI_SZ, bytes(multi), 18), ERROR_SUCCESS);
  wchar_t mbuf[16];
  std::fill(std::begin(mbuf), std::end(mbuf), L'#');
  cb = sizeof(wchar_t) == 2 ? sizeof mbuf : sizeof mbuf / 2;
  ASSERT_EQ(P::RegQueryValueExW(key_, L"multi", nullptr, &type, reinterpret_cast<LPBYTE>(mbuf), &cb), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD(REG_MULTI_SZ));
  EXPECT_EQ(cb, 18u);
  EXPECT_EQ(std::wstring(mbuf, 9), std::wstring(multi, 9));
  EXPECT_EQ(mbuf[9], L'#');

  // A string counted without its terminator gets it, as Windows adds it.
  ASSERT_EQ(P::RegSetValueExW(key_, L"noterm", 0, REG_SZ, bytes(L"abc"), 6), ERROR_SUCCESS);
  ASSERT_EQ(P::RegQueryValueExW(key_, L"noterm", nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 8u);
  // An embedded NUL inside a REG_SZ is data like any other.
  ASSERT_EQ(P::RegSetValueExW(key_, L"embedded", 0, REG_SZ, bytes(L"ab\0cd"), 12), ERROR_SUCCESS);
  wchar_t ebuf[6] = {};
  cb = 12;
  ASSERT_EQ(P::RegQueryValueExW(key_, L"embedded", nullptr, nullptr, reinterpret_cast<LPBYTE>(ebuf), &cb),
            ERROR_SUCCESS);
  EXPECT_EQ(cb, 12u);
  EXPECT_EQ(std::wstring(ebuf, 5), std::wstring(L"ab\0cd", 5));
}

TEST_F(Registry, ShortBufferReportsTheSizeAndWritesNothing) {
  ASSERT_EQ(setString(key_, L"s", L"abc"), ERROR_SUCCESS);
  ASSERT_EQ(setDword(key_, L"d", 42), ERROR_SUCCESS);
  unsigned char small[4] = {1, 2, 3, 4};
  DWORD type = 99, cb = sizeof small;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"s", nullptr, &type, small, &cb), ERROR_MORE_DATA);
  EXPECT_EQ(cb, 8u);
  EXPECT_EQ(type, DWORD(REG_SZ));
  EXPECT_EQ(small[0] + small[1] + small[2] + small[3], 10);
  cb = 2;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"d", nullptr, &type, small, &cb), ERROR_MORE_DATA);
  EXPECT_EQ(cb, 4u);
  EXPECT_EQ(small[0], 1);

  // Size only, type only, and a buffer without a size.
  cb = 0;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"d", nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 4u);
  type = 0;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"s", nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD(REG_SZ));
  EXPECT_EQ(P::RegQueryValueExW(key_, L"d", nullptr, nullptr, small, nullptr), ERROR_INVALID_PARAMETER);
  DWORD reserved = 0;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"d", &reserved, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, MissingKeysAndValues) {
  HKEY h;
  EXPECT_EQ(P::RegQueryValueExW(key_, L"nothing", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegDeleteValueW(key_, L"nothing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegDeleteKeyW(key_, L"nothing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegOpenKeyExW(key_, L"nothing\\deeper", 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegQueryValueExW(key_, nullptr, nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, DefaultValue) {
  // The default value has the empty name; null means the same.
  ASSERT_EQ(setString(key_, nullptr, L"dflt"), ERROR_SUCCESS);
  EXPECT_EQ(getString(key_, L""), L"dflt");
  ASSERT_EQ(setString(key_, L"", L"other"), ERROR_SUCCESS);
  EXPECT_EQ(getString(key_, nullptr), L"other");
  EXPECT_EQ(valueNames(key_), (std::vector<std::wstring>{L""}));

  // RegSetValueW makes the subkey and measures the string itself.
  EXPECT_EQ(P::RegSetValueW(key_, L"sub\\deeper", REG_SZ, L"hello", 1), ERROR_SUCCESS);
  EXPECT_EQ(P::RegSetValueW(key_, L"sub", REG_DWORD, L"x", 4), ERROR_INVALID_PARAMETER);
  wchar_t buf[32];
  LONG cb = sizeof(wchar_t) == 2 ? sizeof buf : sizeof buf / 2;
  ASSERT_EQ(P::RegQueryValueW(key_, L"sub\\deeper", buf, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 12);
  EXPECT_EQ(std::wstring(buf), L"hello");
  HKEY h;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"sub\\deeper", 0, KEY_READ, &h), ERROR_SUCCESS);
  EXPECT_EQ(getString(h, L""), L"hello");
  P::RegCloseKey(h);

  // A key without a default value reads as the empty string; a missing key is an error.
  cb = 20;
  buf[0] = L'z';
  ASSERT_EQ(P::RegQueryValueW(key_, L"sub", buf, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 2);
  EXPECT_EQ(buf[0], L'\0');
  cb = 20;
  EXPECT_EQ(P::RegQueryValueW(key_, L"nokey", buf, &cb), ERROR_FILE_NOT_FOUND);
  cb = 0;
  ASSERT_EQ(P::RegQueryValueW(key_, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 12);  // "other"
}

TEST_F(Registry, EnumerationOrderSizesAndEnd) {
  for (const wchar_t* n : {L"b", L"A", L"c", L"Z"}) P::RegCloseKey(create(n));
  EXPECT_EQ(subkeys(key_), (std::vector<std::wstring>{L"A", L"b", L"c", L"Z"}));

  // Values come back in creation order on Windows; Wine sorts them by name. Either is accepted.
  for (const wchar_t* n : {L"zeta", L"alpha", L"Mid"}) ASSERT_EQ(setDword(key_, n, 1), ERROR_SUCCESS);
  ASSERT_EQ(setDword(key_, L"alpha", 2), ERROR_SUCCESS);  // a rewrite keeps the place
  auto names = valueNames(key_);
  EXPECT_TRUE(names == (std::vector<std::wstring>{L"zeta", L"alpha", L"Mid"}) ||
              names == (std::vector<std::wstring>{L"alpha", L"Mid", L"zeta"}));

  // Name buffers count characters and need room for the terminator; on a short one nothing moves.
  P::RegCloseKey(create(L"longname"));
  const auto keys = subkeys(key_);
  const DWORD index = DWORD(std::find(keys.begin(), keys.end(), L"longname") - keys.begin());
  ASSERT_EQ(keys.size(), 5u);
  wchar_t name[32];
  DWORD cch = 8;
  EXPECT_EQ(P::RegEnumKeyExW(key_, index, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(cch, 8u);
  cch = 9;
  wchar_t cls[4] = L"xx";
  DWORD cchClass = 4;
  FILETIME ft{};
  ASSERT_EQ(P::RegEnumKeyExW(key_, index, name, &cch, nullptr, cls, &cchClass, &ft), ERROR_SUCCESS);
  EXPECT_EQ(cch, 8u);
  EXPECT_EQ(std::wstring(name), L"longname");
  EXPECT_EQ(cchClass, 0u);
  EXPECT_NE(ft.dwHighDateTime, 0u);
  cch = 32;
  EXPECT_EQ(P::RegEnumKeyExW(key_, 5, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);

  // RegEnumValueW: name, type and data; a short name or data buffer gives ERROR_MORE_DATA with
  // the data size.
  ASSERT_EQ(setString(key_, L"str", L"abcdef"), ERROR_SUCCESS);
  const auto values = valueNames(key_);
  ASSERT_EQ(values.size(), 4u);
  const DWORD vi = DWORD(std::find(values.begin(), values.end(), L"str") - values.begin());
  wchar_t data[16];
  DWORD type = 0, cb = 4;
  cch = 32;
  EXPECT_EQ(P::RegEnumValueW(key_, vi, name, &cch, nullptr, &type, reinterpret_cast<LPBYTE>(data), &cb),
            ERROR_MORE_DATA);
  EXPECT_EQ(cb, 14u);
  EXPECT_EQ(type, DWORD(REG_SZ));
  cch = 3;
  cb = sizeof(wchar_t) == 2 ? sizeof data : sizeof data / 2;
  EXPECT_EQ(P::RegEnumValueW(key_, vi, name, &cch, nullptr, &type, reinterpret_cast<LPBYTE>(data), &cb),
            ERROR_MORE_DATA);
  EXPECT_EQ(cch, 3u);
  cch = 4;
  cb = sizeof(wchar_t) == 2 ? sizeof data : sizeof data / 2;
  ASSERT_EQ(P::RegEnumValueW(key_, vi, name, &cch, nullptr, &type, reinterpret_cast<LPBYTE>(data), &cb),
            ERROR_SUCCESS);
  EXPECT_EQ(cch, 3u);
  EXPECT_EQ(std::wstring(name), L"str");
  EXPECT_EQ(cb, 14u);
  EXPECT_EQ(std::wstring(data), L"abcdef");
  cch = 32;
  EXPECT_EQ(P::RegEnumValueW(key_, 4, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
}

TEST_F(Registry, QueryInfoCountsAndLongestNames) {
  DWORD subs = 9, maxSub = 9, vals = 9, maxName = 9, maxData = 9;
  FILETIME ft{};
  ASSERT_EQ(P::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, &subs, &maxSub, nullptr, &vals, &maxName, &maxData,
                                nullptr, &ft),
            ERROR_SUCCESS);
  EXPECT_EQ(subs + maxSub + vals + maxName + maxData, 0u);
  P::RegCloseKey(create(L"short"));
  P::RegCloseKey(create(L"muchlonger\\grandchild-not-counted"));
  ASSERT_EQ(setDword(key_, L"v", 1), ERROR_SUCCESS);
  ASSERT_EQ(setString(key_, L"longer name", L"0123456789"), ERROR_SUCCESS);
  ASSERT_EQ(P::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, &subs, &maxSub, nullptr, &vals, &maxName, &maxData,
                                nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subs, 2u);
  EXPECT_EQ(maxSub, 10u);
  EXPECT_EQ(vals, 2u);
  EXPECT_EQ(maxName, 11u);
  EXPECT_EQ(maxData, 22u);
}

TEST_F(Registry, DeleteKeyRefusesChildrenAndDeletedHandlesSayKeyDeleted) {
  HKEY parent = create(L"parent");
  P::RegCloseKey(create(L"parent\\child"));
  ASSERT_EQ(setDword(parent, L"v", 1), ERROR_SUCCESS);
  EXPECT_EQ(P::RegDeleteKeyW(key_, L"parent"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(getDword(parent, L"v"), 1u);
  EXPECT_EQ(subkeys(parent), (std::vector<std::wstring>{L"child"}));
  EXPECT_EQ(P::RegDeleteKeyW(key_, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegDeleteKeyW(key_, L"PARENT\\Child"), ERROR_SUCCESS);
  EXPECT_TRUE(subkeys(parent).empty());

  // A second handle deletes the key itself (empty subkey name).
  HKEY other;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"parent", 0, KEY_READ, &other), ERROR_SUCCESS);
  ASSERT_EQ(P::RegDeleteKeyW(other, L""), ERROR_SUCCESS);
  HKEY h;
  EXPECT_EQ(P::RegOpenKeyExW(key_, L"parent", 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);

  // Every operation on a handle to the deleted key says so; closing still works.
  wchar_t name[32];
  DWORD cch = 32, d = 0, cb = 4, n = 0;
  EXPECT_EQ(P::RegQueryValueExW(parent, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(setDword(parent, L"v", 2), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegDeleteValueW(parent, L"v"), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegEnumKeyExW(parent, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegEnumValueW(parent, 0, name, &cch, nullptr, nullptr, reinterpret_cast<LPBYTE>(&d), &cb),
            ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegQueryInfoKeyW(parent, nullptr, nullptr, nullptr, &n, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
            ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegOpenKeyExW(parent, L"child", 0, KEY_READ, &h), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegOpenKeyExW(parent, L"", 0, KEY_READ, &h), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegCreateKeyExW(parent, L"new", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
            ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegDeleteKeyW(parent, L""), ERROR_KEY_DELETED);

  // The name can come back; the old handle still refers to the deleted key.
  HKEY reborn = create(L"parent");
  EXPECT_EQ(P::RegQueryValueExW(reborn, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegQueryValueExW(parent, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(P::RegCloseKey(reborn), ERROR_SUCCESS);
  EXPECT_EQ(P::RegCloseKey(parent), ERROR_SUCCESS);
  EXPECT_EQ(P::RegCloseKey(other), ERROR_SUCCESS);

  // A hive's root cannot go.
  EXPECT_EQ(P::RegDeleteKeyW(HKEY_CURRENT_USER, L""), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, AccessMasksAreHonoured) {
  ASSERT_EQ(setDword(key_, L"v", 5), ERROR_SUCCESS);
  P::RegCloseKey(create(L"child"));
  wchar_t name[32];
  DWORD cch = 32;

  HKEY ro;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, KEY_READ, &ro), ERROR_SUCCESS);
  EXPECT_EQ(getDword(ro, L"v"), 5u);
  EXPECT_EQ(P::RegEnumKeyExW(ro, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(setDword(ro, L"v", 6), ERROR_ACCESS_DENIED);
  EXPECT_EQ(P::RegDeleteValueW(ro, L"v"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(getDword(key_, L"v"), 5u);
  P::RegCloseKey(ro);

  // The masks the settings store uses.
  HKEY h;
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, KEY_READ | KEY_WOW64_64KEY, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"v"), 5u);
  EXPECT_EQ(setDword(h, L"v", 6), ERROR_ACCESS_DENIED);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, 0x2001F, &h), ERROR_SUCCESS);
  EXPECT_EQ(setDword(h, L"v", 7), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, KEY_QUERY_VALUE, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"v"), 7u);
  cch = 32;
  EXPECT_EQ(P::RegEnumKeyExW(h, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, KEY_SET_VALUE, &h), ERROR_SUCCESS);
  EXPECT_EQ(P::RegQueryValueExW(h, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(setDword(h, L"v", 8), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(key_, L"", 0, KEY_ALL_ACCESS, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"v"), 8u);
  P::RegCloseKey(h);
}

TEST_F(Registry, InvalidHandlesAndArguments) {
  HKEY closed = create(L"c");
  ASSERT_EQ(P::RegCloseKey(closed), ERROR_SUCCESS);
  HKEY garbage = reinterpret_cast<HKEY>(uintptr_t(0x7654320));
  for (HKEY bad : {HKEY(nullptr), garbage, closed}) {
    HKEY h;
    wchar_t name[8];
    DWORD cch = 8, n = 0;
    EXPECT_EQ(P::RegOpenKeyExW(bad, L"x", 0, KEY_READ, &h), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegCreateKeyExW(bad, L"x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegQueryValueExW(bad, L"x", nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(setDword(bad, L"x", 1), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegDeleteValueW(bad, L"x"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegDeleteKeyW(bad, L"x"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegEnumKeyExW(bad, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegEnumValueW(bad, 0, name, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegQueryInfoKeyW(bad, nullptr, nullptr, nullptr, &n, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(P::RegCloseKey(bad), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(P::RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);

  // Null data with a size is refused; null data with no size is an empty value.
  EXPECT_EQ(P::RegSetValueExW(key_, L"n", 0, REG_BINARY, nullptr, 4), ERROR_NOACCESS);
  EXPECT_EQ(P::RegQueryValueExW(key_, L"n", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(P::RegSetValueExW(key_, L"n", 0, REG_BINARY, nullptr, 0), ERROR_SUCCESS);
  DWORD cb = 99;
  ASSERT_EQ(P::RegQueryValueExW(key_, L"n", nullptr, nullptr, nullptr, &cb), ERROR_SUCCESS);
  EXPECT_EQ(cb, 0u);
}

TEST_F(Registry, UsersDefaultAndSeparateHives) {
  HKEY users;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_USERS, L".DEFAULT", 0, KEY_READ, &users), ERROR_SUCCESS);
  P::RegCloseKey(users);
  std::vector<std::wstring> top = subkeys(HKEY_USERS);
  bool listed = false;  // the spelling differs between systems
  for (const auto& k : top) listed = listed || equalIgnoringAsciiCase(k, L".DEFAULT");
  EXPECT_TRUE(listed) << top.size();

  std::wstring sub = path_.substr(std::wstring(L"Software\\").size());
  std::wstring inDefault = L".default\\Software\\" + sub;
  HKEY h;
  ASSERT_EQ(P::RegCreateKeyExW(HKEY_USERS, inDefault.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(setDword(h, L"where", 3), ERROR_SUCCESS);
  P::RegCloseKey(h);
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_USERS, L".DEFAULT", 0, KEY_READ, &users), ERROR_SUCCESS);
  ASSERT_EQ(P::RegOpenKeyExW(users, (L"Software\\" + sub).c_str(), 0, KEY_READ, &h), ERROR_SUCCESS);
  EXPECT_EQ(getDword(h, L"where"), 3u);
  P::RegCloseKey(h);
  P::RegCloseKey(users);
  // The same path in the other hives is a different key.
  EXPECT_EQ(P::RegQueryValueExW(key_, L"where", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path_.c_str(), 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
  deleteTree(HKEY_USERS, inDefault);
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_USERS, inDefault.c_str(), 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, ManyThreadsAtOnceLoseNothing) {
  constexpr int kThreads = 4, kEach = 25;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        std::wstring sub = L"t" + std::to_wstring(t) + L"\\i" + std::to_wstring(i % 5);
        HKEY h;
        if (P::RegCreateKeyExW(key_, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr)) {
          ++failures;
          continue;
        }
        std::wstring name = L"v" + std::to_wstring(i);
        if (setDword(h, name.c_str(), DWORD(t * 1000 + i))) ++failures;
        if (setDword(key_, (L"shared" + std::to_wstring(t) + L"-" + std::to_wstring(i)).c_str(), DWORD(i))) ++failures;
        DWORD v = 0, cb = 4;
        if (P::RegQueryValueExW(h, name.c_str(), nullptr, nullptr, reinterpret_cast<LPBYTE>(&v), &cb) ||
            v != DWORD(t * 1000 + i))
          ++failures;
        P::RegCloseKey(h);
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  DWORD vals = 0;
  ASSERT_EQ(P::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &vals, nullptr, nullptr,
                                nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(vals, DWORD(kThreads * kEach));
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kEach; ++i) {
      HKEY h;
      std::wstring sub = L"t" + std::to_wstring(t) + L"\\i" + std::to_wstring(i % 5);
      ASSERT_EQ(P::RegOpenKeyExW(key_, sub.c_str(), 0, KEY_READ, &h), ERROR_SUCCESS);
      EXPECT_EQ(getDword(h, (L"v" + std::to_wstring(i)).c_str()), DWORD(t * 1000 + i));
      P::RegCloseKey(h);
    }
}

}  // namespace
