// Telling wide text files from narrow ones by their first two bytes: both byte order marks, files
// too short to hold one, texts that look like UTF-16 without a mark, and the position afterwards.
// Also the flag that su_CStdioFileEx carries for a subclass that sets it.
#include "kvdutu/files/file_unicode.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kvdutu/files/stdio_file_ex.h"
#include "kvdutu/platform/framework/stdio_file.h"
#include "support/test_env.h"

namespace {

class FileUnicodeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = KvdTest::scratchDir(std::string("file_unicode_") + info->name());
  }

  CString MakeFile(const std::string& bytes) {
    const std::filesystem::path p = dir_ / ("f" + std::to_string(count_++) + ".txt");
    KvdTest::writeBytes(p, bytes);
    return CString(p.wstring().c_str());
  }

  std::filesystem::path dir_;
  int count_ = 0;
};

struct Case {
  const char* what;
  std::string bytes;
  int unicode;
};

TEST_F(FileUnicodeTest, OnlyAByteOrderMarkCountsAndTheFileStandsAtItsStart) {
  const Case cases[] = {
      {"little-endian mark", std::string("\xFF\xFE" "a\0", 4), 1},
      {"big-endian mark", std::string("\xFE\xFF\0a", 4), 1},
      {"mark alone", std::string("\xFF\xFE", 2), 1},
      {"big-endian mark alone", std::string("\xFE\xFF", 2), 1},
      {"UTF-16LE without mark", std::string("a\0b\0\r\0\n\0", 8), 0},
      {"UTF-16BE without mark", std::string("\0a\0b\0\r\0\n", 8), 0},
      {"UTF-8 mark", "\xEF\xBB\xBFtext", 0},
      {"narrow text", "plain text\r\n", 0},
      {"one byte", "\xFF", 0},
      {"empty", "", 0},
      {"mark at the second byte", std::string("a\xFF\xFE", 3), 0},
  };
  for (const Case& c : cases) {
    const CString name = MakeFile(c.bytes);
    // Both the binary file and the stdio file in text mode, started away from the beginning.
    CFile raw;
    ASSERT_TRUE(raw.Open(name, CFile::modeRead | CFile::shareDenyNone)) << c.what;
    raw.Seek(static_cast<LONGLONG>(c.bytes.size() / 2), CFile::begin);
    EXPECT_EQ(su_IsFileUnicode(&raw), c.unicode) << c.what;
    EXPECT_EQ(raw.GetPosition(), 0u) << c.what;

    CStdioFile text;
    ASSERT_TRUE(text.Open(name, CFile::modeRead | CFile::shareDenyNone | CFile::typeText)) << c.what;
    text.Seek(static_cast<LONGLONG>(c.bytes.size()), CFile::begin);
    EXPECT_EQ(su_IsFileUnicode(&text), c.unicode) << c.what;
    EXPECT_EQ(text.GetPosition(), 0u) << c.what;
  }
}

TEST_F(FileUnicodeTest, ReadingGoesOnFromTheStartAfterTheTest) {
  const CString name = MakeFile(std::string("\xFF\xFE" "h\0i\0\n\0", 8));
  CStdioFile f;
  ASSERT_TRUE(f.Open(name, CFile::modeRead | CFile::typeBinary));
  CString first;
  ASSERT_TRUE(f.ReadString(first));
  ASSERT_EQ(su_IsFileUnicode(&f), 1);
  CString again;
  ASSERT_TRUE(f.ReadString(again));
  EXPECT_STREQ(again.GetString(), first.GetString());
  EXPECT_STREQ(again.GetString(), L"\uFEFFhi");
}

TEST_F(FileUnicodeTest, NoFileIsNoUnicode) { EXPECT_EQ(su_IsFileUnicode(nullptr), 0); }

TEST_F(FileUnicodeTest, ReadErrorPassesThroughAfterTheSeekBack) {
  // A file open for writing only cannot be read: the file class's exception reaches the caller,
  // and the file stands at its start all the same.
  const CString name = MakeFile(std::string("\xFF\xFEtext", 6));
  CFile f;
  ASSERT_TRUE(f.Open(name, CFile::modeWrite));
  f.Seek(4, CFile::begin);
  bool thrown = false;
  try {
    su_IsFileUnicode(&f);
  } catch (CFileException* e) {
    thrown = true;
    e->Delete();
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(f.GetPosition(), 0u);
}

// What a caller of the flag does: decide it from the mark when it opens a file for reading.
class MarkedFile : public su_CStdioFileEx {
 public:
  BOOL Open(LPCWSTR name, UINT flags, CFileException* error = nullptr) override {
    m_bIsUnicodeText = false;
    if (!su_CStdioFileEx::Open(name, flags, error)) return FALSE;
    m_bIsUnicodeText = su_IsFileUnicode(this) == 1;
    return TRUE;
  }
};

TEST_F(FileUnicodeTest, StdioFileExReportsItsFlag) {
  su_CStdioFileEx plain;
  EXPECT_FALSE(plain.IsFileUnicodeText());
  ASSERT_TRUE(plain.Open(MakeFile(std::string("\xFF\xFE", 2)), CFile::modeRead));
  EXPECT_FALSE(plain.IsFileUnicodeText());  // this library never sets it on its own

  MarkedFile marked;
  ASSERT_TRUE(marked.Open(MakeFile(std::string("\xFE\xFF\0x", 4)), CFile::modeRead));
  EXPECT_TRUE(marked.IsFileUnicodeText());
  marked.Close();
  ASSERT_TRUE(marked.Open(MakeFile("narrow\n"), CFile::modeRead));
  EXPECT_FALSE(marked.IsFileUnicodeText());
  CString line;
  ASSERT_TRUE(marked.ReadString(line));
  EXPECT_STREQ(line.GetString(), L"narrow");
}

}  // namespace
