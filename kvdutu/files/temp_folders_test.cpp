// Temporary folder rules against the real environment and real folders, natively and under Wine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kvdutu/files/full_path.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/files/temp_variables_test.h"
#include "support/test_env.h"

namespace P = KvdUtils::Platform;
namespace fs = std::filesystem;
using KvdFilesTest::TempVariables;

namespace {

CString longForm(const fs::path& path) {
  wchar_t buffer[1024] = {};
  P::GetLongPathNameW(path.wstring().c_str(), buffer, 1024);
  return CString(buffer);
}

CString text(const fs::path& path) { return CString(path.wstring().c_str()); }

TEST(SuTempFolders, ReadsTempThenTmp) {
  const fs::path first = KvdTest::scratchDir("tempFirst");
  const fs::path second = KvdTest::scratchDir("tempSecond");
  {
    TempVariables vars(first.wstring().c_str(), second.wstring().c_str());
    EXPECT_EQ(su_GetSystemTempDirectory(0).Compare(text(first)), 0);
    EXPECT_EQ(su_GetSystemTempDirectory(1).Compare(longForm(first)), 0);
  }
  {
    TempVariables vars(nullptr, second.wstring().c_str());
    EXPECT_EQ(su_GetSystemTempDirectory(0).Compare(text(second)), 0);
  }
}

TEST(SuTempFolders, NeitherVariableGivesEmptyResultsEverywhere) {
  TempVariables vars(nullptr, nullptr);
  EXPECT_TRUE(su_GetSystemTempDirectory(0).IsEmpty());
  EXPECT_TRUE(su_GetSystemTempDirectory(1).IsEmpty());
  EXPECT_TRUE(su_CreateTempDirectory(0).IsEmpty());
  EXPECT_TRUE(su_CreateTempDirectory(1).IsEmpty());
  EXPECT_TRUE(su_CreateTempFilePath(L"part.tmp", 0).IsEmpty()) << "not the bare name";
  EXPECT_TRUE(su_CreateTempFilePath(L"part.tmp", 1).IsEmpty());
}

TEST(SuTempFolders, MissingTempFolderHasNoLongForm) {
  const fs::path missing = KvdTest::scratchDir("tempMissing") / "gone";
  TempVariables vars(missing.wstring().c_str(), nullptr);
  EXPECT_EQ(su_GetSystemTempDirectory(0).Compare(text(missing)), 0);
  EXPECT_TRUE(su_GetSystemTempDirectory(1).IsEmpty());
  EXPECT_TRUE(su_converToLongPathName(text(missing)).IsEmpty()) << "empty, not the input";
}

TEST(SuTempFolders, SharedAndPerProcessFolders) {
  const fs::path base = KvdTest::scratchDir("tempPerProcess");
  TempVariables vars(base.wstring().c_str(), nullptr);
  const CString shared = su_CreateTempDirectory(0);
  EXPECT_EQ(shared.Compare(longForm(base) + L'\\'), 0);

  CString expected;
  expected.Format(L"%skvx%d\\", static_cast<const wchar_t*>(shared), P::_getpid());
  const CString own = su_CreateTempDirectory(1);
  EXPECT_EQ(own.Compare(expected), 0);
  const fs::path made = base / ("kvx" + std::to_string(P::_getpid()));
  EXPECT_TRUE(fs::is_directory(made));
#if !defined(_WIN32)
  EXPECT_EQ(fs::status(made).permissions() & fs::perms::all, fs::perms::owner_all) << "private to the user";
#endif
  EXPECT_EQ(su_CreateTempDirectory(1).Compare(expected), 0) << "found the second time";
  EXPECT_EQ(su_CreateTempFilePath(L"part.tmp", 1).Compare(expected + L"part.tmp"), 0);
  EXPECT_EQ(su_CreateTempFilePath(L"part.tmp", 0).Compare(shared + L"part.tmp"), 0);
}

#if !defined(_WIN32)
// Drive-form values over the drive table: "temp" = C:\T gives C:\T\ and C:\T\kvx<pid>\.
TEST(SuTempFolders, DriveFormValueKeepsItsForm) {
  const fs::path c = KvdTest::scratchDir("tempDriveC");
  fs::create_directories(c / "T");
  setenv("KVDUTU_DRIVES", ("C=" + c.string()).c_str(), 1);
  TempVariables vars(L"C:\\T", nullptr);
  EXPECT_EQ(su_CreateTempDirectory(0).Compare(L"C:\\T\\"), 0);
  CString expected;
  expected.Format(L"C:\\T\\kvx%d\\", P::_getpid());
  EXPECT_EQ(su_CreateTempDirectory(1).Compare(expected), 0);
  EXPECT_TRUE(fs::is_directory(c / "T" / ("kvx" + std::to_string(P::_getpid()))));
  unsetenv("KVDUTU_DRIVES");
}

// Something else standing where the per-process folder belongs is not handed out.
TEST(SuTempFolders, LinkInPlaceOfThePerProcessFolderIsRefused) {
  const fs::path base = KvdTest::scratchDir("tempLink");
  const fs::path target = KvdTest::scratchDir("tempLinkTarget");
  fs::create_directory_symlink(target, base / ("kvx" + std::to_string(P::_getpid())));
  TempVariables vars(base.wstring().c_str(), nullptr);
  EXPECT_TRUE(su_CreateTempDirectory(1).IsEmpty());
  EXPECT_TRUE(su_CreateTempFilePath(L"part.tmp", 1).IsEmpty());
  EXPECT_FALSE(su_CreateTempDirectory(0).IsEmpty()) << "the shared folder is still fine";
}

TEST(SuTempFolders, ForeignPerProcessFolderIsRefused) {
  if (std::system("test \"$(id -u)\" = 0") != 0) GTEST_SKIP() << "needs root to make a folder of another user";
  const fs::path base = KvdTest::scratchDir("tempForeign");
  const fs::path own = base / ("kvx" + std::to_string(P::_getpid()));
  fs::create_directory(own);
  ASSERT_EQ(std::system(("chown 65534 '" + own.string() + "'").c_str()), 0);
  TempVariables vars(base.wstring().c_str(), nullptr);
  EXPECT_TRUE(su_CreateTempDirectory(1).IsEmpty());
}
#endif

TEST(SuTempFolders, ShellFormOfAPath) {
  const fs::path dir = KvdTest::scratchDir("shellForm");
  std::ofstream(dir / "part.dat") << "x";
  wchar_t out[MAX_PATH + 1];
  out[0] = L'?';
  EXPECT_EQ(su_GetLongPathName((dir / "part.dat").wstring().c_str(), out), 1u);
  EXPECT_TRUE(KvdUtils::File::ComparePath(CString(out), longForm(dir / "part.dat")));

  out[0] = L'?';
  EXPECT_EQ(su_GetLongPathName((dir / "missing.dat").wstring().c_str(), out), 0u);
  EXPECT_EQ(out[0], L'\0') << "cleared first";
}

}  // namespace
