// CFile, CStdioFile and CFileFind on real files, the same on both backends: the bytes that text
// mode writes, lines read back at the stream's buffer boundaries, the exceptions the framework
// throws, and searches with wildcards.
#include "kvdutu/platform/framework/file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdutu/platform/framework/archive.h"
#include "kvdutu/platform/framework/file_find.h"
#include "kvdutu/platform/framework/stdio_file.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "support/test_env.h"

namespace fs = std::filesystem;

namespace {

const wchar_t kSep = static_cast<wchar_t>(fs::path::preferred_separator);

std::wstring join(const std::wstring& dir, const std::wstring& name) { return dir + kSep + name; }

using KvdTest::readBytes;
using KvdTest::writeBytes;

// The next line of a file in the string form, or "<end>" when there is none.
std::wstring nextLine(CStdioFile& file) {
  CString line;
  return file.ReadString(line) ? std::wstring(line.GetString(), size_t(line.GetLength())) : L"<end>";
}

// The next piece in the buffer form, with room for 258 characters and the terminator, or "<end>".
std::wstring nextPiece(CStdioFile& file) {
  wchar_t buf[260];
  return file.ReadString(buf, 259) ? std::wstring(buf) : L"<end>";
}

// Runs `f`, which must throw a CFileException; returns its cause and system error.
template <class F>
std::pair<int, LONG> fileExceptionOf(F&& f) {
  try {
    f();
  } catch (CFileException* e) {
    std::pair<int, LONG> r{e->m_cause, e->m_lOsError};
    e->Delete();
    return r;
  }
  ADD_FAILURE() << "no CFileException";
  return {-1, -1};
}

}  // namespace

TEST(CFileTest, OpenReportsOrThrowsTheFrameworkCauses) {
  const std::wstring dir = KvdTest::scratchDir("cfile-open").wstring();
  const std::wstring missing = join(dir, L"absent.KVDPRT");
  CFile file;
  CFileException error;
  EXPECT_FALSE(file.Open(missing.c_str(), CFile::modeRead, &error));
  EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
  EXPECT_EQ(error.m_lOsError, LONG(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(error.m_strFileName, CString(missing.c_str()));
  EXPECT_EQ(file.m_hFile, CFile::hFileNull);
  EXPECT_FALSE(file.Open(join(join(dir, L"none"), L"x").c_str(), CFile::modeCreate | CFile::modeWrite, &error));
  EXPECT_EQ(error.m_cause, CFileException::badPath);

  auto thrown = fileExceptionOf([&] { CFile f(missing.c_str(), CFile::modeRead); });
  EXPECT_EQ(thrown.first, CFileException::fileNotFound);
  EXPECT_EQ(fileExceptionOf([&] { CFile::Remove(missing.c_str()); }).first, CFileException::fileNotFound);

  // Sharing: shareDenyWrite keeps writers out; the framework reports sharingViolation.
  const std::wstring part = join(dir, L"part.KVDPRT");
  writeBytes(part, "abc");
  CFile holder(part.c_str(), CFile::modeRead | CFile::shareDenyWrite);
  CFile writer;
  EXPECT_FALSE(writer.Open(part.c_str(), CFile::modeReadWrite | CFile::shareDenyWrite, &error));
  EXPECT_EQ(error.m_cause, CFileException::sharingViolation);
  holder.Close();
#if !defined(_WIN32)
  // (Under Wine, run as root, the read-only attribute is only a permission bit that root passes.)
  KvdUtils::Platform::SetFileAttributesW(part.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(writer.Open(part.c_str(), CFile::modeReadWrite | CFile::shareDenyWrite, &error));
  EXPECT_EQ(error.m_cause, CFileException::accessDenied);
  KvdUtils::Platform::SetFileAttributesW(part.c_str(), FILE_ATTRIBUTE_NORMAL);
#endif
}

TEST(CFileTest, ReadWriteSeekLengthStatusAndNames) {
  const std::wstring dir = KvdTest::scratchDir("cfile-io").wstring();
  const std::wstring path = join(dir, L"model.rev2.KVDPRT");
  {
    CFile file(path.c_str(), CFile::modeCreate | CFile::modeReadWrite | CFile::typeBinary);
    file.Write("0123456789", 10);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetPosition(), 10u);
    EXPECT_EQ(file.Seek(-4, CFile::end), 6u);
    char buf[8] = {};
    EXPECT_EQ(file.Read(buf, 8), 4u);
    EXPECT_EQ(std::string(buf, 4), "6789");
    EXPECT_EQ(file.Read(buf, 8), 0u);
    file.SeekToBegin();
    EXPECT_EQ(file.Read(buf, 2), 2u);
    file.SetLength(3);
    EXPECT_EQ(file.GetLength(), 3u);
    EXPECT_EQ(file.SeekToEnd(), 3u);
    EXPECT_EQ(file.GetFilePath(), CString(path.c_str()));
    EXPECT_EQ(file.GetFileName(), CString(L"model.rev2.KVDPRT"));
    EXPECT_EQ(file.GetFileTitle(), CString(L"model.rev2"));
    CFileStatus status;
    ASSERT_TRUE(file.GetStatus(status));
    EXPECT_EQ(status.m_size, 3u);
    EXPECT_EQ(status.m_attribute & CFile::readOnly, 0);
    EXPECT_GT(status.m_mtime.GetTime(), 0);
    EXPECT_EQ(fileExceptionOf([&] { file.Seek(-100, CFile::begin); }).first, CFileException::badSeek);
  }
  EXPECT_EQ(readBytes(path), "012");

  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(path.c_str(), status));
  EXPECT_EQ(status.m_size, 3u);
  EXPECT_EQ(std::wstring(status.m_szFullName), path);
  EXPECT_FALSE(CFile::GetStatus(join(dir, L"absent").c_str(), status));
  status.m_attribute |= CFile::readOnly;
  status.m_mtime = CTime(1000000000);
  CFile::SetStatus(path.c_str(), status);
  ASSERT_TRUE(CFile::GetStatus(path.c_str(), status));
  EXPECT_NE(status.m_attribute & CFile::readOnly, 0);
  EXPECT_EQ(status.m_mtime.GetTime(), 1000000000);
  status.m_attribute = 0;
  CFile::SetStatus(path.c_str(), status);

  CFile::Rename(path.c_str(), join(dir, L"renamed").c_str());
  EXPECT_EQ(readBytes(join(dir, L"renamed")), "012");
  CFile::Remove(join(dir, L"renamed").c_str());
  EXPECT_FALSE(CFile::GetStatus(join(dir, L"renamed").c_str(), status));
}

TEST(CFileTest, IsTheArchiveStream) {
  const std::wstring path = join(KvdTest::scratchDir("cfile-archive").wstring(), L"data.bin");
  {
    CFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite);
    CArchive ar(&file, CArchive::store);
    ar << 42 << CString(L"r\u00e9sum\u00e9") << 2.5;
    ar.Close();
  }
  CFile file(path.c_str(), CFile::modeRead | CFile::shareDenyWrite);
  CArchive ar(&file, CArchive::load);
  int i = 0;
  CString s;
  double d = 0;
  ar >> i >> s >> d;
  EXPECT_EQ(i, 42);
  EXPECT_EQ(s, CString(L"r\u00e9sum\u00e9"));
  EXPECT_EQ(d, 2.5);
  EXPECT_EQ(ar.m_strFileName.IsEmpty() ? file.GetFilePath() : ar.m_strFileName, file.GetFilePath());
}

TEST(CStdioFileTest, TextModeWritesCrLfAndReadsLinesBack) {
  const std::wstring path = join(KvdTest::scratchDir("stdio-text").wstring(), L"notes.txt");
  {
    CStdioFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite | CFile::typeText);
    file.WriteString(L"first\nsecond\n");
    file.WriteString(L"");
    file.WriteString(L"\nno end");
  }
  EXPECT_EQ(readBytes(path), "first\r\nsecond\r\n\r\nno end");

  CStdioFile file(path.c_str(), CFile::modeRead | CFile::typeText);
  EXPECT_EQ(nextLine(file), L"first");
  EXPECT_EQ(nextPiece(file), L"second\n");
  EXPECT_EQ(nextLine(file), L"");  // an empty line is a line
  EXPECT_EQ(nextLine(file), L"no end");
  EXPECT_EQ(nextLine(file), L"<end>");
  EXPECT_EQ(nextPiece(file), L"<end>");
  EXPECT_EQ(file.Seek(0, CFile::begin), 0u);
  EXPECT_EQ(nextLine(file), L"first");
  EXPECT_EQ(file.GetPosition(), 7u);  // behind "first\r\n"
}

TEST(CStdioFileTest, LinesAcrossTheStreamBufferAndTheCallersBuffer) {
  const std::wstring dir = KvdTest::scratchDir("stdio-boundaries").wstring();
  const std::wstring path = join(dir, L"long.txt");
  // A CR LF pair that straddles the stream's 4096-byte buffer, a lone CR, a long line, a line of
  // 257 characters and one of 300, and a Ctrl-Z that ends the text.
  std::string first(4095, 'a');
  std::string bytes = first + "\r\n" + "x\ry\r\n" + std::string(10000, 'b') + "\r\n" + std::string(257, 'c') + "\r\n" +
                      std::string(300, 'd') + "\r\n" + "tail\x1A" + "hidden\r\n";
  writeBytes(path, bytes);

  // Two readers at once need a sharing mode: the default is exclusive.
  CStdioFile file(path.c_str(), CFile::modeRead | CFile::shareDenyNone);
  EXPECT_EQ(nextLine(file), std::wstring(4095, L'a'));
  EXPECT_EQ(nextLine(file), L"x\ry");
  EXPECT_EQ(nextLine(file), std::wstring(10000, L'b'));
  EXPECT_EQ(nextPiece(file), std::wstring(257, L'c') + L"\n");  // 258 characters with the line end
  EXPECT_EQ(nextPiece(file), std::wstring(258, L'd'));          // at most 258 and the terminator
  EXPECT_EQ(nextPiece(file), std::wstring(42, L'd') + L"\n");
  EXPECT_EQ(nextLine(file), L"tail");
  EXPECT_EQ(nextLine(file), L"<end>");

  // The raw reads of the class go through the same text translation.
  CStdioFile raw(path.c_str(), CFile::modeRead | CFile::shareDenyNone);
  std::vector<char> all(bytes.size());
  UINT got = raw.Read(all.data(), static_cast<UINT>(all.size()));
  std::string translated(all.data(), got);
  EXPECT_EQ(translated.substr(4094, 3), "a\nx");
  EXPECT_EQ(translated.substr(translated.size() - 5), "\ntail");
}

TEST(CStdioFileTest, BinaryModeKeepsBytesAndWideTextIsUtf16) {
  const std::wstring path = join(KvdTest::scratchDir("stdio-binary").wstring(), L"wide.txt");
  {
    CStdioFile file(path.c_str(), CFile::modeCreate | CFile::modeWrite | CFile::typeBinary);
    file.Write("\xFF\xFE", 2);
    file.WriteString(L"A\u00e9\r\nB\n");
  }
  EXPECT_EQ(readBytes(path), std::string("\xFF\xFE" "A\0\xE9\0\r\0\n\0B\0\n\0", 14));
  CStdioFile file(path.c_str(), CFile::modeRead | CFile::typeBinary);
  char bom[2];
  ASSERT_EQ(file.Read(bom, 2), 2u);
  EXPECT_EQ(nextLine(file), L"A\u00e9\r");  // binary mode leaves the carriage return
  EXPECT_EQ(nextLine(file), L"B");
  EXPECT_EQ(nextLine(file), L"<end>");
}

TEST(CStdioFileTest, AppendModesAndTheFlagsOfAnAppendingWriter) {
  const std::wstring path = join(KvdTest::scratchDir("stdio-append").wstring(), L"log.txt");
  const UINT appendFlags = CFile::modeCreate | CFile::modeNoTruncate | CFile::typeText | CFile::shareDenyWrite | CFile::modeWrite;
  ASSERT_EQ(appendFlags, 0x7021u);
  for (const wchar_t* text : {L"one\n", L"two\n"}) {
    CStdioFile file;
    ASSERT_TRUE(file.Open(path.c_str(), appendFlags));
    file.SeekToEnd();
    file.WriteString(text);
    file.Close();
  }
  EXPECT_EQ(readBytes(path), "one\r\ntwo\r\n");
  {
    // modeWrite without modeCreate appends too, wherever the position stands.
    CStdioFile file(path.c_str(), CFile::modeWrite);
    file.SeekToBegin();
    file.WriteString(L"three");
  }
  EXPECT_EQ(readBytes(path), "one\r\ntwo\r\nthree");
  {
    // Reading and writing one stream: the write lands where reading stopped.
    CStdioFile file(path.c_str(), CFile::modeReadWrite);
    CString line;
    ASSERT_TRUE(file.ReadString(line));
    file.WriteString(L"TWO");
  }
  EXPECT_EQ(readBytes(path), "one\r\nTWO\r\nthree");
  CStdioFile reader(path.c_str(), CFile::modeRead);
  EXPECT_EQ(fileExceptionOf([&] { reader.WriteString(L"x"); }).first, CFileException::diskFull);
}

TEST(CFileFindTest, WildcardSearchesWithPathsTitlesAndAttributes) {
  const std::wstring dir = KvdTest::scratchDir("filefind").wstring();
  writeBytes(join(dir, L"gear.KVDPRT"), "12345");
  writeBytes(join(dir, L"axle.kvdprt"), "1");
  writeBytes(join(dir, L"note.txt"), "");
  ASSERT_TRUE(KvdUtils::Platform::CreateDirectoryW(join(dir, L"sub").c_str(), nullptr));

  CFileFind finder;
  std::vector<std::wstring> names;
  BOOL more = finder.FindFile(join(dir, L"*.KVDPRT").c_str());
  ASSERT_TRUE(more);
  EXPECT_EQ(finder.GetFileName(), CString());  // nothing found before the first step
  while (more) {
    more = finder.FindNextFile();
    names.push_back(std::wstring(finder.GetFileName()));
    EXPECT_EQ(finder.GetFilePath(), CString(join(dir, names.back()).c_str()));
    EXPECT_FALSE(finder.IsDirectory());
    if (names.back() == L"gear.KVDPRT") {
      EXPECT_EQ(finder.GetLength(), 5u);
      EXPECT_EQ(finder.GetFileTitle(), CString(L"gear"));
      CTime written;
      EXPECT_TRUE(finder.GetLastWriteTime(written));
      EXPECT_GT(written.GetTime(), 0);
    }
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::wstring>{L"axle.kvdprt", L"gear.KVDPRT"}));
  EXPECT_EQ(finder.GetRoot(), CString((dir + kSep).c_str()));

  int dots = 0, folders = 0, files = 0;
  more = finder.FindFile(join(dir, L"*.*").c_str());
  while (more) {
    more = finder.FindNextFile();
    if (finder.IsDots()) ++dots;
    else if (finder.IsDirectory()) ++folders;
    else ++files;
  }
  EXPECT_EQ(dots, 2);
  EXPECT_EQ(folders, 1);
  EXPECT_EQ(files, 3);

  EXPECT_FALSE(finder.FindFile(join(dir, L"????.none").c_str()));
  EXPECT_EQ(KvdUtils::Platform::GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(finder.FindNextFile());
}
