// The .reg reader and writer on their own: exact bytes of what is written, what is accepted, and
// the line that a bad file is refused at.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "regfile.h"

using namespace KvdReg;

namespace {

// ASCII text as the registry editor stores it: BOM and UTF-16LE.
std::string utf16File(const std::string& ascii) {
  std::string out = "\xFF\xFE";
  for (char c : ascii) {
    out += c;
    out += '\0';
  }
  return out;
}

bool parse(const std::string& bytes, Document* doc, ParseError* err) {
  return parseRegFile(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), doc, err);
}

Value val(std::u16string name, DWORD type, std::vector<uint8_t> data) {
  Value v;
  v.name = std::move(name);
  v.type = type;
  v.data = std::move(data);
  return v;
}

Section section(std::u16string sub, std::vector<Value> values = {}) {
  Section s;
  s.key = KeyPath{Hive::CurrentUser, std::move(sub)};
  s.values = std::move(values);
  return s;
}

void expectSame(const Document& a, const Document& b) {
  ASSERT_EQ(a.sections.size(), b.sections.size());
  for (size_t i = 0; i < a.sections.size(); ++i) {
    const Section& x = a.sections[i];
    const Section& y = b.sections[i];
    EXPECT_EQ(x.key.hive, y.key.hive);
    EXPECT_EQ(x.key.sub, y.key.sub);
    EXPECT_EQ(x.remove, y.remove);
    ASSERT_EQ(x.values.size(), y.values.size()) << "section " << i;
    for (size_t k = 0; k < x.values.size(); ++k) {
      SCOPED_TRACE("section " + std::to_string(i) + " value " + std::to_string(k));
      EXPECT_EQ(x.values[k].isDefault, y.values[k].isDefault);
      EXPECT_EQ(x.values[k].name, y.values[k].name);
      EXPECT_EQ(x.values[k].remove, y.values[k].remove);
      EXPECT_EQ(x.values[k].type, y.values[k].type);
      EXPECT_EQ(x.values[k].data, y.values[k].data);
    }
  }
}

// Bytes that must be accepted and read as doc.
void expectReadsAs(const std::string& bytes, const Document& doc) {
  Document back;
  ParseError err;
  ASSERT_TRUE(parse(bytes, &back, &err)) << err.line << ": " << err.message;
  expectSame(doc, back);
}

std::vector<uint8_t> range(int n) {
  std::vector<uint8_t> v;
  for (int i = 0; i < n; ++i) v.push_back(uint8_t(i));
  return v;
}

}  // namespace

TEST(RegFileWrite, GoldenBytesOfEveryForm) {
  Document doc;
  Value def = val(u"", REG_SZ, utf16Bytes(u"default", true));
  def.isDefault = true;
  Value gone = val(u"old", REG_NONE, {});
  gone.remove = true;
  doc.sections.push_back(section(u"Software\\Kvd Test",
                                 {def,
                                  val(u"quote\"back\\slash", REG_SZ, utf16Bytes(u"C:\\dir \"x\"", true)),
                                  val(u"count", REG_DWORD, {0x2a, 0, 0, 0}),
                                  val(u"bin", REG_BINARY, range(30)),
                                  val(u"exp", REG_EXPAND_SZ, utf16Bytes(u"%A%", true)),
                                  val(u"multi", REG_MULTI_SZ, utf16Bytes(std::u16string(u"a\0b\0", 4), true)),
                                  val(u"q", REG_QWORD, {8, 7, 6, 5, 4, 3, 2, 1}),
                                  val(u"none", REG_NONE, {}),
                                  val(u"lines", REG_SZ, utf16Bytes(u"a\r\n", true)),
                                  val(u"short dword", REG_DWORD, {1, 2}),
                                  gone}));
  doc.sections.push_back(section(u"Software\\Kvd Test\\Sub"));
  Section del = section(u"Software\\Gone");
  del.remove = true;
  doc.sections.push_back(del);

  const std::string expected = utf16File(
      "Windows Registry Editor Version 5.00\r\n"
      "\r\n"
      "[HKEY_CURRENT_USER\\Software\\Kvd Test]\r\n"
      "@=\"default\"\r\n"
      "\"quote\\\"back\\\\slash\"=\"C:\\\\dir \\\"x\\\"\"\r\n"
      "\"count\"=dword:0000002a\r\n"
      // regedit's width: the prefix and 23 bytes reach column 77, then 25 bytes per line.
      "\"bin\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
      "  17,18,19,1a,1b,1c,1d\r\n"
      "\"exp\"=hex(2):25,00,41,00,25,00,00,00\r\n"
      "\"multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
      "\"q\"=hex(b):08,07,06,05,04,03,02,01\r\n"
      "\"none\"=hex(0):\r\n"
      "\"lines\"=hex(1):61,00,0d,00,0a,00,00,00\r\n"
      "\"short dword\"=hex(4):01,02\r\n"
      "\"old\"=-\r\n"
      "\r\n"
      "[HKEY_CURRENT_USER\\Software\\Kvd Test\\Sub]\r\n"
      "\r\n"
      "[-HKEY_CURRENT_USER\\Software\\Gone]\r\n"
      "\r\n");
  EXPECT_EQ(writeRegFile(doc), expected);
}

TEST(RegFileWrite, LongHexWrapsAtTheSameColumnOnEveryLine) {
  Document doc;
  doc.sections.push_back(section(u"K", {val(u"ShellState", REG_BINARY, range(100))}));
  std::string bytes = writeRegFile(doc);
  // Back to ASCII lines.
  std::string text;
  for (size_t i = 2; i + 1 < bytes.size(); i += 2) text += bytes[i];
  std::vector<std::string> lines;
  size_t start = 0, end;
  while ((end = text.find("\r\n", start)) != std::string::npos) {
    lines.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  // Header, blank, [K], then the value: 20 bytes on the first line, 25 on the next three, 5 last.
  ASSERT_GE(lines.size(), 8u);
  EXPECT_EQ(lines[3].size(), 78u);
  EXPECT_EQ(lines[3].substr(0, 17), "\"ShellState\"=hex:");
  EXPECT_EQ(lines[3].back(), '\\');
  for (int k = 4; k <= 6; ++k) {
    EXPECT_EQ(lines[k].size(), 78u) << lines[k];
    EXPECT_EQ(lines[k].substr(0, 2), "  ");
  }
  EXPECT_EQ(lines[7], "  5f,60,61,62,63");
}

TEST(RegFileRead, WhatIsWrittenReadsBackTheSame) {
  Document doc;
  Value def = val(u"", REG_EXPAND_SZ, utf16Bytes(u"%PATH%;x", true));
  def.isDefault = true;
  std::u16string odd = u"sur";
  odd += char16_t(0xD800);  // a lone surrogate, which the registry allows in names
  doc.sections.push_back(section(
      u"Software\\a]b\\[c]",
      {def, val(odd, REG_SZ, utf16Bytes(u"\u00e9t\u00e9 \U0001F600", true)),
       val(u"line\nbreak", REG_SZ, utf16Bytes(u"x", true)), val(u"empty", REG_SZ, {}),
       val(u"unterminated", REG_SZ, utf16Bytes(u"abc", false)), val(u"big", REG_BINARY, range(257)),
       val(u"type", 0x12345, {1, 2, 3}), val(u"max", REG_DWORD, {0xff, 0xff, 0xff, 0xff})}));
  Section lm;
  lm.key = KeyPath{Hive::LocalMachine, u"Software\\M"};
  lm.values.push_back(val(u"n", REG_QWORD, range(8)));
  doc.sections.push_back(lm);
  Section users;
  users.key = KeyPath{Hive::Users, u".DEFAULT\\Software\\U"};
  users.remove = true;
  doc.sections.push_back(users);

  std::string bytes = writeRegFile(doc);
  Document back;
  ParseError err;
  ASSERT_TRUE(parse(bytes, &back, &err)) << err.line << ": " << err.message;
  EXPECT_TRUE(back.unicode);
  expectSame(doc, back);
}

TEST(RegFileRead, AcceptsUtf8AndUtf16WithoutMark) {
  Document doc;
  doc.sections.push_back(section(u"Software\\T", {val(u"s", REG_SZ, utf16Bytes(u"\u00e9", true)),
                                                  val(u"b", REG_BINARY, range(40))}));
  std::string utf16 = writeRegFile(doc);

  expectReadsAs(utf16.substr(2), doc);  // no mark

  std::u16string units;
  for (size_t i = 2; i + 1 < utf16.size(); i += 2) units += char16_t(uint8_t(utf16[i]) | uint8_t(utf16[i + 1]) << 8);
  std::string utf8 = utf16ToUtf8(units);
  expectReadsAs(utf8, doc);
  expectReadsAs("\xEF\xBB\xBF" + utf8, doc);

  std::string bigEndian = "\xFE\xFF";
  for (size_t i = 2; i + 1 < utf16.size(); i += 2) {
    bigEndian += utf16[i + 1];
    bigEndian += utf16[i];
  }
  expectReadsAs(bigEndian, doc);
}

TEST(RegFileRead, Regedit4FilesHoldAnsiStrings) {
  // As the old editor wrote them: ANSI text (UTF-8 here), LF or CRLF, and expand and multi
  // strings as ANSI bytes, which the registry keeps as UTF-16.
  const std::string file =
      "REGEDIT4\n"
      "\n"
      "[HKEY_CURRENT_USER\\Software\\Old]\n"
      "\"name\"=\"caf\xC3\xA9\"\n"
      "\"exp\"=hex(2):25,41,25,00\n"
      "\"multi\"=hex(7):61,00,62,\\\n"
      "  00,00\r\n"
      "\"bin\"=hex:01,02\n"
      "\"n\"=dword:00000010\n"
      "@=\"d\"\n";
  Document doc;
  ParseError err;
  ASSERT_TRUE(parse(file, &doc, &err)) << err.line << ": " << err.message;
  EXPECT_FALSE(doc.unicode);
  ASSERT_EQ(doc.sections.size(), 1u);
  const auto& v = doc.sections[0].values;
  ASSERT_EQ(v.size(), 6u);
  EXPECT_EQ(v[0].data, utf16Bytes(u"caf\u00e9", true));
  EXPECT_EQ(v[1].type, DWORD(REG_EXPAND_SZ));
  EXPECT_EQ(v[1].data, utf16Bytes(u"%A%", true));
  EXPECT_EQ(v[2].type, DWORD(REG_MULTI_SZ));
  EXPECT_EQ(v[2].data, utf16Bytes(std::u16string(u"a\0b\0", 4), true));
  EXPECT_EQ(v[3].data, (std::vector<uint8_t>{1, 2}));
  EXPECT_EQ(v[4].data, (std::vector<uint8_t>{0x10, 0, 0, 0}));
  EXPECT_TRUE(v[5].isDefault);
  EXPECT_EQ(v[5].line, 10);
}

TEST(RegFileRead, DeletionSyntaxCommentsAndLenientSpacing) {
  const std::string file = utf16File(
      "Windows Registry Editor Version 5.00\r\n"
      "; a comment\r\n"
      "[-HKEY_LOCAL_MACHINE\\Software\\Gone]\r\n"
      "[HKCU\\Software\\Keep]   ; short hive names as reg.exe takes them\r\n"
      "\"x\" = -\r\n"
      "@=-\r\n"
      "  \"y\"=DWORD:FFFFFFFF\r\n"
      "\"z\"=hex:01, 02 ,\\\r\n"
      "; comments may stand between continued lines\r\n"
      "   03\r\n"
      "\"w\"=\"a;b\" ; trailing comment\r\n");
  Document doc;
  ParseError err;
  ASSERT_TRUE(parse(file, &doc, &err)) << err.line << ": " << err.message;
  ASSERT_EQ(doc.sections.size(), 2u);
  EXPECT_TRUE(doc.sections[0].remove);
  EXPECT_EQ(doc.sections[0].key.hive, Hive::LocalMachine);
  EXPECT_EQ(doc.sections[0].key.sub, u"Software\\Gone");
  EXPECT_FALSE(doc.sections[1].remove);
  const auto& v = doc.sections[1].values;
  ASSERT_EQ(v.size(), 5u);
  EXPECT_TRUE(v[0].remove);
  EXPECT_EQ(v[0].name, u"x");
  EXPECT_TRUE(v[1].remove);
  EXPECT_TRUE(v[1].isDefault);
  EXPECT_EQ(v[2].data, (std::vector<uint8_t>{0xff, 0xff, 0xff, 0xff}));
  EXPECT_EQ(v[3].data, (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(v[4].data, utf16Bytes(u"a;b", true));
}

TEST(RegFileRead, BadFilesAreRefusedAtTheirLine) {
  struct Case {
    const char* text;
    int line;
  };
  const std::string head = "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\T]\r\n";
  const Case cases[] = {
      {"Windows Registry Editor Version 4.00\r\n", 1},
      {"", 1},
      {"Windows Registry Editor Version 5.00\r\n\"a\"=\"b\"\r\n", 2},
      {"\"a\"=\"b\r\n", 4},
      {"\"a\"=\"b\\t\"\r\n", 4},
      {"\"a\"\"b\"\r\n", 4},
      {"\"a\"=dword:123456789\r\n", 4},
      {"\"a\"=dword:\r\n", 4},
      {"\"a\"=dword:12 34\r\n", 4},
      {"\"a\"=hex:01,02,\\\r\n  03,0g\r\n", 5},
      {"\"a\"=hex:01,,02\r\n", 4},
      {"\"a\"=hex:123\r\n", 4},
      {"\"a\"=hex:1 2\r\n", 4},
      {"\"a\"=hex(2:00\r\n", 4},
      {"\"a\"=hex(123456789):00\r\n", 4},
      {"\"a\"=hex:01,\\\r\n", 4},
      {"\"a\"=str:x\r\n", 4},
      {"\"a\"=-x\r\n", 4},
      {"\r\n\r\n[HKEY_CURRENT_CONFIG\\Software]\r\n", 6},
      {"[HKEY_CURRENT_USER\\Software\\\\x]\r\n", 4},
      {"[HKEY_CURRENT_USER\\Software\r\n", 4},
      {"[HKEY_CURRENT_USER\\Software] x\r\n", 4},
      {"[-HKEY_CURRENT_USER]\r\n", 4},
      {"[-HKEY_CURRENT_USER\\Software\\T]\r\n\"a\"=\"b\"\r\n", 5},
      {"garbage\r\n", 4},
  };
  for (const Case& c : cases) {
    std::string ascii = std::string(c.text).rfind("Windows Registry", 0) == 0 || c.text[0] == '\0' ? c.text : head + c.text;
    Document doc;
    ParseError err;
    EXPECT_FALSE(parse(utf16File(ascii), &doc, &err)) << ascii;
    EXPECT_EQ(err.line, c.line) << ascii << "\n" << err.message;
    EXPECT_FALSE(err.message.empty());
    EXPECT_TRUE(doc.sections.empty());
  }
  // Names past the registry's limits.
  Document doc;
  ParseError err;
  EXPECT_FALSE(parse(utf16File(head + "[HKEY_CURRENT_USER\\" + std::string(256, 'k') + "]\r\n"), &doc, &err));
  EXPECT_EQ(err.line, 4);
  EXPECT_TRUE(parse(utf16File(head + "[HKEY_CURRENT_USER\\" + std::string(255, 'k') + "]\r\n"), &doc, &err));
  EXPECT_FALSE(parse(utf16File(head + "\"" + std::string(16384, 'v') + "\"=-\r\n"), &doc, &err));
  EXPECT_EQ(err.line, 4);
}

TEST(RegFileKeys, HiveNamesLongAndShortWithoutRegardToCase) {
  KeyPath k;
  ASSERT_TRUE(parseKeyPath(u"hkcu\\Software\\X\\", &k));
  EXPECT_EQ(k.hive, Hive::CurrentUser);
  EXPECT_EQ(k.sub, u"Software\\X");
  EXPECT_EQ(keyPathText(k), u"HKEY_CURRENT_USER\\Software\\X");
  ASSERT_TRUE(parseKeyPath(u"HKEY_LOCAL_MACHINE", &k));
  EXPECT_EQ(k.hive, Hive::LocalMachine);
  EXPECT_TRUE(k.sub.empty());
  ASSERT_TRUE(parseKeyPath(u"HKU\\.DEFAULT", &k));
  EXPECT_EQ(k.hive, Hive::Users);
  ASSERT_TRUE(parseKeyPath(u"Hkey_Classes_Root\\.kvdprt", &k));
  EXPECT_EQ(k.hive, Hive::ClassesRoot);
  EXPECT_FALSE(parseKeyPath(u"HKCC\\x", &k));
  EXPECT_FALSE(parseKeyPath(u"Software\\x", &k));
  EXPECT_FALSE(parseKeyPath(u"HKCU\\\\x", &k));
}
