// Export and import against the real registry (the SQLite hives here, the Wine registry under
// Wine), on a private key of each test.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kvdutu/platform/os/registry.h"
#include "regfile.h"
#include "regstore.h"

using namespace KvdReg;
namespace Os = KvdUtils::Platform;

namespace {

std::u16string uniqueName() {
  std::random_device rd;
  return u"kvdreg-" + utf8ToUtf16(std::to_string(rd() % 1000000000u));
}

class RegStore : public ::testing::Test {
 protected:
  void SetUp() override {
    base_ = KeyPath{Hive::CurrentUser, u"Software\\KvdutuTest\\" + uniqueName()};
    Key k;
    ASSERT_EQ(createKey(base_, &k), ERROR_SUCCESS);
  }
  void TearDown() override { deleteTree(base_); }

  KeyPath at(const std::u16string& sub) const { return KeyPath{base_.hive, base_.sub + u"\\" + sub}; }
  std::wstring wide(const KeyPath& k) const { return std::wstring(k.sub.begin(), k.sub.end()); }

  // Written the ordinary way, through the library's registry functions with wchar_t strings.
  void setRaw(const KeyPath& key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
    HKEY h;
    ASSERT_EQ(Os::RegCreateKeyExW(HKEY_CURRENT_USER, wide(key).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h,
                                  nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(Os::RegSetValueExW(h, name, 0, type, static_cast<const BYTE*>(data), size), ERROR_SUCCESS);
    Os::RegCloseKey(h);
  }
  void setString(const KeyPath& key, const wchar_t* name, DWORD type, const std::wstring& text) {
    setRaw(key, name, type, text.c_str(), DWORD((text.size() + 1) * 2));
  }
  void setBytes(const KeyPath& key, const wchar_t* name, DWORD type, const std::vector<uint8_t>& data) {
    setRaw(key, name, type, data.data(), DWORD(data.size()));
  }
  // Read back the ordinary way too: type, size and the wchar_t text or the bytes.
  struct Read {
    LONG rc = 0;
    DWORD type = 0;
    DWORD size = 0;
    std::vector<wchar_t> text;
    std::vector<uint8_t> bytes;
  };
  Read read(const KeyPath& key, const wchar_t* name) {
    Read r;
    HKEY h;
    r.rc = Os::RegOpenKeyExW(HKEY_CURRENT_USER, wide(key).c_str(), 0, KEY_READ, &h);
    if (r.rc) return r;
    r.rc = Os::RegQueryValueExW(h, name, nullptr, &r.type, nullptr, &r.size);
    if (!r.rc) {
      r.text.assign(r.size / 2 + 1, L'\0');
      DWORD cb = r.size;
      r.rc = Os::RegQueryValueExW(h, name, nullptr, &r.type, reinterpret_cast<BYTE*>(r.text.data()), &cb);
      r.bytes.assign(reinterpret_cast<uint8_t*>(r.text.data()), reinterpret_cast<uint8_t*>(r.text.data()) + cb);
    }
    Os::RegCloseKey(h);
    return r;
  }
  bool exists(const KeyPath& key) {
    Key k;
    return openKey(key, KEY_READ, &k) == ERROR_SUCCESS;
  }
  std::string exportText(const KeyPath& key) {
    Document doc;
    EXPECT_EQ(collectTree(key, &doc), ERROR_SUCCESS);
    return writeRegFile(doc);
  }
  bool importText(const std::string& bytes, ParseError* perr, ApplyError* aerr) {
    Document doc;
    if (!parseRegFile(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &doc, perr)) return false;
    return applyDocument(doc, aerr);
  }

  KeyPath base_;
};

std::vector<uint8_t> pattern(size_t n) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = uint8_t(i * 7 + 3);
  return v;
}

}  // namespace

TEST_F(RegStore, EveryValueTypeSurvivesExportAndImport) {
  KeyPath key = at(u"RoundTrip");
  KeyPath sub = at(u"RoundTrip\\Child");
  KeyPath empty = at(u"RoundTrip\\Empty Child");
  setString(key, nullptr, REG_SZ, L"the default");
  setString(key, L"plain", REG_SZ, L"hello");
  setString(key, L"quote \"and\" back\\slash", REG_SZ, L"C:\\Program Files\\\"x\"");
  setString(key, L"breaks", REG_SZ, L"one\r\ntwo");
  setString(key, L"accents", REG_SZ, L"\u00e9t\u00e9 \u4e2d");
  setString(key, L"empty", REG_SZ, L"");
  setString(key, L"expand", REG_EXPAND_SZ, L"%SystemRoot%\\x");
  setString(key, L"multi", REG_MULTI_SZ, std::wstring(L"first\0second\0", 13));
  setBytes(key, L"dword", REG_DWORD, {0x2a, 0, 0, 0x80});
  setBytes(key, L"qword", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 0xff});
  setBytes(key, L"binary", REG_BINARY, pattern(300));
  setBytes(key, L"none", REG_NONE, {});
  setBytes(key, L"none with data", REG_NONE, {0, 1});
  setBytes(key, L"odd type", 0x20, {9, 8, 7});
  setString(sub, L"nested", REG_SZ, L"below");
  { Key k; ASSERT_EQ(createKey(empty, &k), ERROR_SUCCESS); }

  const std::string first = exportText(key);
  // Keep what was set, read the ordinary way, to compare after the import.
  const wchar_t* names[] = {nullptr,   L"plain", L"quote \"and\" back\\slash", L"breaks", L"accents", L"empty",
                            L"expand", L"multi", L"dword", L"qword", L"binary", L"none", L"none with data",
                            L"odd type"};
  std::vector<Read> before;
  for (const wchar_t* n : names) {
    before.push_back(read(key, n));
    ASSERT_EQ(before.back().rc, ERROR_SUCCESS);
  }

  ASSERT_EQ(deleteTree(key), ERROR_SUCCESS);
  ASSERT_FALSE(exists(key));
  ParseError perr;
  ApplyError aerr;
  ASSERT_TRUE(importText(first, &perr, &aerr)) << perr.line << perr.message << aerr.line << aerr.what;

  for (size_t i = 0; i < std::size(names); ++i) {
    SCOPED_TRACE(i);
    Read after = read(key, names[i]);
    ASSERT_EQ(after.rc, ERROR_SUCCESS);
    EXPECT_EQ(after.type, before[i].type);
    EXPECT_EQ(after.size, before[i].size);
    EXPECT_EQ(after.bytes, before[i].bytes);
    EXPECT_EQ(after.text, before[i].text);
  }
  EXPECT_EQ(std::wstring(read(sub, L"nested").text.data()), L"below");
  EXPECT_TRUE(exists(empty));
  // The registry's order may differ from the creation order (Wine sorts values by name), but it is
  // the same on both exports.
  EXPECT_EQ(exportText(key), first);
}

TEST_F(RegStore, NamesAndStringsOutsideTheBasicPlaneKeepTheirUnits) {
  KeyPath key = at(u"Wide");
  Key k;
  ASSERT_EQ(createKey(key, &k), ERROR_SUCCESS);
  std::u16string name = u"smile \U0001F600";
  std::vector<uint8_t> data = utf16Bytes(u"a\U0001F600b", true);
  ASSERT_EQ(setValue(k.get(), &name, REG_SZ, data), ERROR_SUCCESS);
  std::u16string unterminated = u"raw";
  ASSERT_EQ(setValue(k.get(), &unterminated, REG_SZ, utf16Bytes(u"abc", false)), ERROR_SUCCESS);

  std::string text = exportText(key);
  ASSERT_EQ(deleteTree(key), ERROR_SUCCESS);
  ParseError perr;
  ApplyError aerr;
  ASSERT_TRUE(importText(text, &perr, &aerr));
  Key again;
  ASSERT_EQ(openKey(key, KEY_READ, &again), ERROR_SUCCESS);
  DWORD type = 0;
  std::vector<uint8_t> back;
  ASSERT_EQ(queryValue(again.get(), &name, &type, &back), ERROR_SUCCESS);
  EXPECT_EQ(back, data);
  EXPECT_EQ(back.size(), 10u);  // a, two surrogates, b, terminator: sizes as Windows counts them
  ASSERT_EQ(queryValue(again.get(), &unterminated, &type, &back), ERROR_SUCCESS);
  EXPECT_EQ(back, utf16Bytes(u"abc", false));
}

TEST_F(RegStore, DeletionLinesRemoveKeysTreesAndValues) {
  setString(at(u"Del\\A\\B\\C"), L"deep", REG_SZ, L"x");
  setString(at(u"Del\\A"), L"v", REG_SZ, L"x");
  setString(at(u"Del"), L"keep", REG_SZ, L"x");
  setString(at(u"Del"), L"drop", REG_SZ, L"x");
  setString(at(u"Del"), nullptr, REG_SZ, L"default");
  std::string path = utf16ToUtf8(keyPathText(base_));
  std::string file =
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[-" + path + "\\Del\\A]\r\n\r\n"
      "[-" + path + "\\Del\\Never There]\r\n\r\n"
      "[" + path + "\\Del]\r\n"
      "\"drop\"=-\r\n"
      "\"never there\"=-\r\n"
      "@=-\r\n";
  ParseError perr;
  ApplyError aerr;
  ASSERT_TRUE(importText(file, &perr, &aerr)) << perr.line << perr.message << " " << aerr.line << aerr.what;
  EXPECT_FALSE(exists(at(u"Del\\A")));
  EXPECT_TRUE(exists(at(u"Del")));
  EXPECT_EQ(read(at(u"Del"), L"keep").rc, ERROR_SUCCESS);
  EXPECT_EQ(read(at(u"Del"), L"drop").rc, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(read(at(u"Del"), nullptr).rc, ERROR_FILE_NOT_FOUND);
}

TEST_F(RegStore, KeysOfHiveUsersThatAreMissingAreRefusedBeforeWriting) {
  std::string path = utf16ToUtf8(keyPathText(base_));
  std::string file =
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[" + path + "\\First]\r\n"
      "\"a\"=\"b\"\r\n\r\n"
      "[HKEY_USERS\\kvdreg-no-such-profile\\Software]\r\n";
  ParseError perr;
  ApplyError aerr;
  EXPECT_FALSE(importText(file, &perr, &aerr));
  EXPECT_EQ(aerr.line, 6);
  EXPECT_NE(aerr.code, ERROR_SUCCESS);
  EXPECT_FALSE(exists(at(u"First")));
}

TEST_F(RegStore, AFileImportsAndExportsBackToTheSameBytesOnEveryPlatform) {
  // What either platform exports, the other imports and exports again unchanged. Values are in
  // name order and keys in the registry's order, so that Wine, which sorts values by name, and a
  // hive that keeps creation order give the same file.
  std::string path = utf16ToUtf8(keyPathText(base_));
  std::string text =
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "[" + path + "\\Portable]\r\n"
      "@=\"default \\\"text\\\"\"\r\n"
      "\"a binary\"=hex:00,11,22,33,44,55,66,77,88,99,aa,bb,cc,dd,ee,ff,00,11,22,33,44,\\\r\n"
      "  55,66,77,88,99,aa,bb,cc,dd,ee,ff,00,11,22,33,44,55,66,77,88,99,aa,bb,cc,dd,\\\r\n"
      "  ee,ff\r\n"
      "\"b dword\"=dword:deadbeef\r\n"
      "\"c expand\"=hex(2):25,00,41,00,25,00,00,00\r\n"
      "\"d multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      "\"e none\"=hex(0):\r\n"
      "\"f qword\"=hex(b):01,00,00,00,00,00,00,80\r\n"
      "\"g path\"=\"C:\\\\Program Files\\\\Korvalinde\"\r\n"
      "\r\n"
      "[" + path + "\\Portable\\Alpha]\r\n"
      "\r\n"
      "[" + path + "\\Portable\\Beta]\r\n"
      "\"x\"=\"y\"\r\n"
      "\r\n";
  std::string file = "\xFF\xFE";
  for (char16_t c : utf8ToUtf16(text)) {
    file += char(c & 0xFF);
    file += char(c >> 8);
  }
  ParseError perr;
  ApplyError aerr;
  ASSERT_TRUE(importText(file, &perr, &aerr)) << perr.line << perr.message << aerr.line << aerr.what;
  EXPECT_EQ(exportText(at(u"Portable")), file);
}
