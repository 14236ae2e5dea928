// Questions about files and volumes against real files, natively and under Wine.
#include "kvdutu/files/file_state.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdutu/platform/framework/file.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/message_box.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/platform/os/volume.h"
#include "support/test_env.h"

namespace P = KvdUtils::Platform;
namespace fs = std::filesystem;

namespace {

using KvdTest::readBytes;
using KvdTest::writeBytes;

CString text(const fs::path& path) { return CString(path.wstring().c_str()); }

// Records every message box shown while it lives.
class BoxRecorder {
 public:
  BoxRecorder() {
    m_previous = P::SetMessageBoxResponder([this](HWND, const wchar_t* body, const wchar_t*, UINT type) {
      m_texts.emplace_back(body ? body : L"");
      m_types.push_back(type);
      return IDOK;
    });
  }
  ~BoxRecorder() { P::SetMessageBoxResponder(m_previous); }
  std::vector<std::wstring> m_texts;
  std::vector<UINT> m_types;

 private:
  P::MessageBoxResponder m_previous;
};

TEST(SuFileState, EnoughSpaceForNothingAndForUnknownVolumes) {
  BoxRecorder boxes;
  const fs::path dir = KvdTest::scratchDir("spaceSmall");
  EXPECT_EQ(su_IsEnoughSpace(text(dir / "part.dat"), 0), 1);
  EXPECT_EQ(su_IsEnoughSpace(text(dir / "part.dat"), 4096), 1);
  // A drive that is not there gives no verdict, which counts as enough.
  EXPECT_EQ(su_IsEnoughSpace(CString(L"Q:\\nowhere\\part.dat"), 1000000), 1);
  EXPECT_TRUE(boxes.m_texts.empty());
}

TEST(SuFileState, TooLittleSpaceTellsTheUser) {
  const fs::path dir = KvdTest::scratchDir("spaceLarge");
  const CString path = text(dir / "part.dat");
  const CString root = path.Left(path.FindOneOf(L"\\/") + 1);
  DWORD spc = 0, bps = 0, freeClusters = 0, total = 0;
  ASSERT_TRUE(P::GetDiskFreeSpaceW(root, &spc, &bps, &freeClusters, &total));
  const unsigned long request = ULONG_MAX;
  if (static_cast<unsigned long long>(freeClusters) * spc * bps >= request) GTEST_SKIP() << "the volume holds more than the largest request";

  P::RegisterStringResource(11448, L"Drive %1: %2 KB needed, %3 KB free.");
  BoxRecorder boxes;
  EXPECT_EQ(su_IsEnoughSpace(path, request), 0);
  ASSERT_EQ(boxes.m_texts.size(), 1u);
  EXPECT_EQ(boxes.m_types[0] & MB_TYPEMASK, MB_OK);
  // The requested kilobytes are printed as a signed 32-bit number: all ones shifted by ten read
  // as -1 where unsigned long has 64 bits, and as 4194303 where it has 32.
  const std::wstring requested = sizeof(unsigned long) == 8 ? L"-1" : L"4194303";
  const std::wstring expectedStart = L"Drive " + std::wstring(root) + L": " + requested + L" KB needed, ";
  EXPECT_EQ(boxes.m_texts[0].rfind(expectedStart, 0), 0u) << std::string(boxes.m_texts[0].begin(), boxes.m_texts[0].end());
  EXPECT_NE(boxes.m_texts[0].find(L" KB free."), std::wstring::npos);
  P::UnregisterStringResource(11448);
}

TEST(SuFileState, ReadOnlyByAttributeAndBySharing) {
  const fs::path dir = KvdTest::scratchDir("readOnly");
  const fs::path file = dir / "part.dat";
  writeBytes(file, "data");
  CString path = text(file);
  EXPECT_EQ(su_IsReadOnly(path, 0), 0);
  EXPECT_EQ(su_IsReadOnly(path, 1), 0);

  EXPECT_EQ(su_SetReadOnlyFileFlag(path, 1), 1);
  EXPECT_TRUE(P::GetFileAttributesW(path) & FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(su_IsReadOnly(path, 0), 1);
  EXPECT_EQ(su_SetReadOnlyFileFlag(path, 0), 1);
  EXPECT_FALSE(P::GetFileAttributesW(path) & FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(su_IsReadOnly(path, 0), 0);
  EXPECT_EQ(readBytes(file), "data") << "the content is untouched";

  // Someone else holds it open without letting others write: only the opening attempt sees that.
  HANDLE held = P::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  EXPECT_EQ(su_IsReadOnly(path, 0), 0);
  EXPECT_EQ(su_IsReadOnly(path, 1), 1);
  P::CloseHandle(held);
  EXPECT_EQ(su_IsReadOnly(path, 1), 0);
}

TEST(SuFileState, MissingFilesAreNeitherReadOnlyNorSettable) {
  const fs::path dir = KvdTest::scratchDir("readOnlyMissing");
  CString missing = text(dir / "missing.dat");
  EXPECT_EQ(su_IsReadOnly(missing, 0), 0);
  EXPECT_EQ(su_IsReadOnly(missing, 1), 0) << "not found is neither rights nor sharing";
  EXPECT_EQ(su_IsReadOnly(CString(), 0), 0);
  EXPECT_EQ(su_SetReadOnlyFileFlag(missing, 1), 0);
  EXPECT_FALSE(fs::exists(dir / "missing.dat"));
}

TEST(SuFileState, LastSavedTime) {
  const fs::path dir = KvdTest::scratchDir("lastSaved");
  const fs::path file = dir / "part.dat";
  writeBytes(file, "data");
  su_CTime time;
  ASSERT_EQ(su_GetLastSavedTime(text(file), time), 1);
  CFileStatus status{};
  ASSERT_TRUE(CFile::GetStatus(text(file), status));
  EXPECT_EQ(time.GetTime(), status.m_mtime.GetTime());

  su_CTime untouched(12345);
  EXPECT_EQ(su_GetLastSavedTime(text(dir / "missing.dat"), untouched), 0);
  EXPECT_EQ(untouched.GetTime(), 12345);
}

TEST(SuFileState, AppendCreatesAndNeverEmpties) {
  const fs::path dir = KvdTest::scratchDir("append");
  const fs::path file = dir / "log.txt";
  const std::wstring name = file.wstring();
  EXPECT_EQ(ut_appendStringToFile(L"abc", name.c_str()), 1);
  EXPECT_EQ(readBytes(file), "abc") << "no line end added";
  EXPECT_EQ(ut_appendStringToFile(L"de%sf\n", name.c_str()), 1);
  EXPECT_EQ(readBytes(file), "abcde%sf\r\n") << "the text is not a format; text mode writes CR LF";
  EXPECT_EQ(ut_appendStringToFile(L"", name.c_str()), 1);
  EXPECT_EQ(readBytes(file), "abcde%sf\r\n");
  EXPECT_EQ(ut_appendStringToFile(L"x", (dir / "no" / "log.txt").wstring().c_str()), 0);
  EXPECT_EQ(ut_appendStringToFile(L"x", nullptr), 0);
  EXPECT_FALSE(fs::exists(dir / "no"));
}

TEST(SuFileState, RemovableOnlyAsksNoFixedDrive) {
  CFileException error;
  error.m_cause = CFileException::none;
  const fs::path dir = KvdTest::scratchDir("removable");
  const CString root = text(dir).Left(text(dir).FindOneOf(L"\\/") + 1);
  if (P::GetDriveTypeW(root) == DRIVE_REMOVABLE) GTEST_SKIP() << "the test folder lies on a removable drive";
  EXPECT_EQ(su_IsWriteProtected(root, &error, 1), 0);
  EXPECT_EQ(error.m_cause, CFileException::none);
}

#if !defined(_WIN32)
TEST(SuFileState, WritableFolderIsNotWriteProtected) {
  const fs::path dir = KvdTest::scratchDir("writable");
  CFileException error;
  error.m_lOsError = -1;
  EXPECT_EQ(su_IsWriteProtected(dir.wstring().c_str(), &error, 0), 0);
  EXPECT_EQ(error.m_lOsError, -1) << "left alone when the volume takes writes";
}

// A small volume behind drive Q: of the drive table: the decision is made in whole clusters, so
// exactly the free room fits and one byte more does not; the message names the root and sizes.
TEST(SuFileState, SpaceIsCountedInClustersOnASmallVolume) {
  const fs::path mnt = KvdTest::scratchDir("smallVolume");
  const std::string mount = "mount -t tmpfs -o size=64k kvdutu-small '" + mnt.string() + "' 2>/dev/null";
  if (std::system(mount.c_str()) != 0) GTEST_SKIP() << "cannot mount a small tmpfs here (needs root)";
  setenv("KVDUTU_DRIVES", ("Q=" + mnt.string()).c_str(), 1);
  P::RegisterStringResource(11448, L"%1|%2|%3");
  DWORD spc = 0, bps = 0, freeClusters = 0, total = 0;
  const BOOL asked = P::GetDiskFreeSpaceW(L"Q:\\", &spc, &bps, &freeClusters, &total);
  const unsigned long room = static_cast<unsigned long>(spc) * bps * freeClusters;
  int fits = -1, oneMore = -1, clusterLess = -1;
  std::vector<std::wstring> texts;
  {
    BoxRecorder boxes;
    fits = su_IsEnoughSpace(CString(L"Q:\\part.dat"), room);
    clusterLess = su_IsEnoughSpace(CString(L"Q:\\dir\\part.dat"), room - 1);
    oneMore = su_IsEnoughSpace(CString(L"Q:\\part.dat"), room + 1);
    texts = boxes.m_texts;
  }
  P::UnregisterStringResource(11448);
  unsetenv("KVDUTU_DRIVES");
  std::system(("umount '" + mnt.string() + "'").c_str());

  ASSERT_TRUE(asked);
  ASSERT_GT(room, 0ul);
  EXPECT_EQ(fits, 1);
  EXPECT_EQ(clusterLess, 1);
  EXPECT_EQ(oneMore, 0);
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(texts[0], L"Q:\\|" + std::to_wstring((room + 1) >> 10) + L"|" + std::to_wstring(room >> 10));
}

// A read-only mount refuses the label write. Mounting needs root; elsewhere the test says so.
TEST(SuFileState, ReadOnlyMountIsWriteProtected) {
  const fs::path mnt = KvdTest::scratchDir("readOnlyMount");
  const std::string mount = "mount -t tmpfs -o ro,size=64k kvdutu-ro '" + mnt.string() + "' 2>/dev/null";
  if (std::system(mount.c_str()) != 0) GTEST_SKIP() << "cannot mount a read-only tmpfs here (needs root)";
  CFileException error;
  const int answer = su_IsWriteProtected(mnt.wstring().c_str(), &error, 0);
  const int withoutRecord = su_IsWriteProtected((mnt.wstring() + L"\\").c_str(), nullptr, 0);
  std::system(("umount '" + mnt.string() + "'").c_str());
  EXPECT_EQ(answer, 1);
  EXPECT_EQ(withoutRecord, 1);
  EXPECT_EQ(error.m_lOsError, ERROR_WRITE_PROTECT);
  EXPECT_EQ(error.m_cause, CFileException::OsErrorToException(ERROR_WRITE_PROTECT));
  EXPECT_NE(error.m_cause, CFileException::none);
}
#endif

TEST(SuFileState, WriteProtectionRestoresTheErrorMode) {
  const UINT before = P::SetErrorMode(SEM_NOOPENFILEERRORBOX);
  const fs::path dir = KvdTest::scratchDir("errorMode");
  su_IsWriteProtected(dir.wstring().c_str(), nullptr, 0);
  EXPECT_EQ(P::SetErrorMode(before), static_cast<UINT>(SEM_NOOPENFILEERRORBOX));
}

}  // namespace
