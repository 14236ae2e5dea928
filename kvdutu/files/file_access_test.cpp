// Line reading and writing through fileAccess on real files: both ReadLine forms at the 258
// character limit, line ends of every kind in text and binary mode, a last line without a line
// end, empty files, lines that straddle the stream's own buffer, and a subclass that redirects
// the file's operations.
#include "kvdutu/files/file_access.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kvdutu/platform/os/text.h"
#include "support/test_env.h"

namespace {

std::wstring Str(const CString& s) { return std::wstring(s.GetString(), static_cast<size_t>(s.GetLength())); }

class FileAccessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = KvdTest::scratchDir(std::string("file_access_") + info->name());
  }

  // A file with exactly these bytes; its name as the library takes it.
  CString MakeFile(const std::string& bytes, const char* name = "lines.txt") {
    KvdTest::writeBytes(dir_ / name, bytes);
    return CString((dir_ / name).wstring().c_str());
  }

  // Every result and text of one form up to and including the first 0.
  static std::vector<std::pair<int, std::wstring>> ReadAll(fileAccess& f, int anyLength) {
    std::vector<std::pair<int, std::wstring>> out;
    CString line(L"left over");  // every read replaces what the line held
    for (int guard = 0; guard < 100000; ++guard) {
      const int n = f.ReadLine(line, anyLength);
      out.emplace_back(n, Str(line));
      if (n == 0) break;
    }
    return out;
  }

  std::filesystem::path dir_;
};

using Lines = std::vector<std::pair<int, std::wstring>>;

// The results and texts of both forms over files of every kind. The buffer form keeps the line
// end, so only the end gives 0, and cuts lines into pieces of 258 characters; the other form drops
// the line end and counts one more. Text mode folds only "\r\n"; binary mode reads UTF-16 units.
TEST_F(FileAccessTest, BothFormsLineByLine) {
  const std::string l257(257, 'a'), l258(258, 'b'), l300(300, 'c');
  const std::string utf16("\xFF\xFE\x61\0b\0\r\0\n\0c\0d\0", 14);  // with its mark
  const UINT text = CFile::modeRead | CFile::typeText, binary = CFile::modeRead | CFile::typeBinary;
  // 257 accented letters in a narrow text file are 257 characters of a wide line, also where the
  // narrow code page spends two bytes on each (UTF-8 on Linux): the limit counts characters.
  char e[8] = {};
  const int eBytes = KvdUtils::Platform::WideCharToMultiByte(CP_ACP, 0, L"\u00E9", 1, e, 8, nullptr, nullptr);
  ASSERT_GE(eBytes, 1);
  std::string accented;
  for (int i = 0; i < 257; ++i) accented.append(e, static_cast<size_t>(eBytes));
  const struct {
    const char* title;
    std::string bytes;
    UINT mode;
    int anyLength;
    Lines want;
  } cases[] = {
      {"line ends kept",
       "first\r\n\r\nlf only\nlast",
       text,
       0,
       {{6, L"first\n"}, {1, L"\n"}, {8, L"lf only\n"}, {4, L"last"}, {0, L""}}},
      {"line ends dropped",
       "first\r\n\r\n" + std::string(1000, 'x') + "\nlast",
       text,
       1,
       {{6, L"first"}, {1, L""}, {1001, std::wstring(1000, L'x')}, {5, L"last"}, {0, L""}}},
      {"pieces of 258",
       l257 + "\r\n" + l258 + "\r\n" + l300 + "\r\n",
       text,
       0,
       {{258, std::wstring(257, L'a') + L"\n"},  // fits with its line end
        {258, std::wstring(258, L'b')},          // fills the piece; the line end comes alone
        {1, L"\n"},
        {258, std::wstring(258, L'c')},  // only the last piece ends in a line end
        {43, std::wstring(42, L'c') + L"\n"},
        {0, L""}}},
      {"characters, not bytes", accented + "\n", text, 0, {{258, std::wstring(257, L'\u00E9') + L"\n"}, {0, L""}}},
      {"empty file", "", CFile::modeRead, 0, {{0, L""}}},
      {"empty file, any length", "", CFile::modeRead, 1, {{0, L""}}},
      // Old Macintosh line ends make one line.
      {"lone carriage returns", "one\rtwo\rthree\r\n", text, 0, {{14, L"one\rtwo\rthree\n"}, {0, L""}}},
      {"lone carriage returns, any length", "one\rtwo\rthree\r\n", text, 1, {{14, L"one\rtwo\rthree"}, {0, L""}}},
      {"UTF-16 in binary mode", utf16, binary, 0, {{5, L"\uFEFFab\r\n"}, {2, L"cd"}, {0, L""}}},
      {"UTF-16 in binary mode, any length", utf16, binary, 1, {{5, L"\uFEFFab\r"}, {3, L"cd"}, {0, L""}}},
      // The buffer form measures the text up to its first zero: it looks like the end although
      // "tail" follows. The other form keeps it all.
      {"zero character", std::string("ab\0cd\n\0tail\n", 12), CFile::modeRead, 0, {{2, L"ab"}, {0, L""}}},
      {"zero character, any length",
       std::string("ab\0cd\n\0tail\n", 12),
       CFile::modeRead,
       1,
       {{6, std::wstring(L"ab\0cd", 5)}, {6, std::wstring(L"\0tail", 5)}, {0, L""}}},
  };
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.title);
    fileAccess f;
    ASSERT_EQ(f.SafeOpen(MakeFile(c.bytes, ("case" + std::to_string(n++) + ".txt").c_str()), c.mode), 1);
    EXPECT_EQ(ReadAll(f, c.anyLength), c.want);
    // The end stays the end.
    CString line;
    EXPECT_EQ(f.ReadLine(line, 0), 0);
    EXPECT_EQ(f.ReadLine(line, 1), 0);
  }
}

TEST_F(FileAccessTest, LinesAcrossTheStreamBufferReadBackWhole) {
  // Lines of every length from 0 to 700 in a text file of several hundred kilobytes, so that
  // line ends, and "\r\n" pairs in particular, fall on every offset of the stream's refills.
  std::string file;
  std::vector<std::wstring> lines;
  for (int i = 0; i < 1400; ++i) {
    const int len = (i * 37) % 701;
    std::string l;
    for (int k = 0; k < len; ++k) l += static_cast<char>('a' + (i + k) % 26);
    file += l + "\r\n";
    lines.emplace_back(l.begin(), l.end());
  }
  file += "tail";
  lines.emplace_back(L"tail");
  const CString name = MakeFile(file);

  fileAccess whole;
  ASSERT_EQ(whole.SafeOpen(name, CFile::modeRead), 1);
  for (size_t i = 0; i < lines.size(); ++i) {
    CString line;
    ASSERT_EQ(whole.ReadLine(line, 1), static_cast<int>(lines[i].size()) + 1) << i;
    ASSERT_EQ(Str(line), lines[i]) << i;
  }
  CString end;
  EXPECT_EQ(whole.ReadLine(end, 1), 0);
  whole.Close();  // the default share mode is exclusive

  // The pieces of the buffer form put together give the same lines.
  fileAccess pieces;
  ASSERT_EQ(pieces.SafeOpen(name, CFile::modeRead), 1);
  std::wstring joined, expected;
  for (size_t i = 0; i + 1 < lines.size(); ++i) expected += lines[i] + L"\n";
  expected += lines.back();
  CString piece;
  for (int n; (n = pieces.ReadLine(piece, 0)) != 0;) {
    ASSERT_LE(n, 258);
    ASSERT_EQ(n, piece.GetLength());
    joined += Str(piece);
  }
  EXPECT_EQ(joined, expected);
}

TEST_F(FileAccessTest, WritesAddNoLineEnd) {
  const CString name = (dir_ / "out.txt").wstring().c_str();
  {
    fileAccess f;
    ASSERT_EQ(f.SafeOpen(name, CFile::modeCreate | CFile::modeWrite | CFile::typeText), 1);
    f.WriteLine(L"one");
    f.WritePartLine(L"two\n");
    f.WriteLine(L"three\n");
    f.WritePartLine(L"");
    f.Close();
  }
  EXPECT_EQ(KvdTest::readBytes(Str(name)), "onetwo\r\nthree\r\n");
  {
    fileAccess f;
    ASSERT_EQ(f.SafeOpen(name, CFile::modeCreate | CFile::modeWrite | CFile::typeBinary), 1);
    f.WriteLine(L"a\n");
    f.Close();
  }
  EXPECT_EQ(KvdTest::readBytes(Str(name)), std::string("a\0\n\0", 4));
}

TEST_F(FileAccessTest, SafeOpenReportsFailureWithoutThrowing) {
  for (const CString& name : {CString((dir_ / "missing" / "none.txt").wstring().c_str()),
                              CString((dir_ / "absent.txt").wstring().c_str()), CString()}) {
    fileAccess f;
    int result = -1;
    EXPECT_NO_THROW(result = f.SafeOpen(name, CFile::modeRead));
    EXPECT_EQ(result, 0) << CStringA(name).GetString();
  }
}

// A file whose operations a caller has redirected: opening keeps the flags it was given,
// writing goes to a string, and the buffer form of reading fills the whole buffer once.
class RedirectedFile : public fileAccess {
 public:
  BOOL Open(LPCWSTR name, UINT flags, CFileException* error) override {
    openedName = name;
    openedFlags = flags;
    sawRecord = error != nullptr;
    return TRUE;
  }
  void WriteString(LPCWSTR text) override { written += text; }
  LPWSTR ReadString(LPWSTR buffer, UINT max) override {
    maxSeen = max;
    if (served++) return nullptr;
    for (UINT i = 0; i < max; ++i) buffer[i] = L'z';  // one more than a real file gives
    buffer[max] = L'\0';
    return buffer;
  }
  BOOL ReadString(CString& line) override {
    if (served++) return FALSE;
    line = L"whole";
    return TRUE;
  }

  std::wstring openedName, written;
  UINT openedFlags = 0, maxSeen = 0;
  bool sawRecord = true;
  int served = 0;
};

TEST_F(FileAccessTest, GoesThroughTheFilesOwnOperations) {
  RedirectedFile f;
  EXPECT_EQ(f.SafeOpen(L"C:\\nowhere\\x.txt", CFile::modeRead | CFile::shareDenyWrite), 1);
  EXPECT_EQ(f.openedName, L"C:\\nowhere\\x.txt");
  EXPECT_EQ(f.openedFlags, UINT(CFile::modeRead | CFile::shareDenyWrite));
  EXPECT_FALSE(f.sawRecord);

  f.WriteLine(L"a");
  f.WritePartLine(L"b\n");
  EXPECT_EQ(f.written, L"ab\n");

  // A full buffer is reported as 0 although the text is there.
  CString line;
  EXPECT_EQ(f.ReadLine(line, 0), 0);
  EXPECT_EQ(f.maxSeen, 259u);
  EXPECT_EQ(Str(line), std::wstring(259, L'z'));
  EXPECT_EQ(f.ReadLine(line, 0), 0);

  f.served = 0;
  EXPECT_EQ(f.ReadLine(line, 1), 6);
  EXPECT_EQ(Str(line), L"whole");
  EXPECT_EQ(f.ReadLine(line, 1), 0);
}

}  // namespace
