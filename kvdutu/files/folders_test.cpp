// Folder questions against real folders, natively and under Wine.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "kvdutu/files/folders.h"
#include "kvdutu/platform/os/file.h"
#include "support/test_env.h"

namespace P = KvdUtils::Platform;
namespace fs = std::filesystem;

namespace {

void touch(const fs::path& file) { std::ofstream(file) << "x"; }

// Runs a test body in another working folder and goes back afterwards.
class WorkingFolder {
 public:
  explicit WorkingFolder(const fs::path& folder) {
    wchar_t buffer[1024] = {};
    P::GetCurrentDirectoryW(1024, buffer);
    m_previous = buffer;
    P::SetCurrentDirectoryW(folder.wstring().c_str());
  }
  ~WorkingFolder() { P::SetCurrentDirectoryW(m_previous.c_str()); }

 private:
  std::wstring m_previous;
};

TEST(SuFolders, WebLocationsAreFoldersAndMissingPathsAreNot) {
  EXPECT_EQ(su_DirectoryExists(L"http"), 1);
  EXPECT_EQ(su_DirectoryExists(L"HTTP://x"), 1);
  EXPECT_EQ(su_DirectoryExists(L"httpd.log"), 1);  // a local name that only starts like a web location
  const fs::path dir = KvdTest::scratchDir("dirExistsMissing");
  EXPECT_EQ(su_DirectoryExists((dir / "nothing-here").wstring().c_str()), 0);
  EXPECT_EQ(su_DirectoryExists(nullptr), 0);
}

TEST(SuFolders, ExistingFolderWithAndWithoutTrailingBackslash) {
  const fs::path dir = KvdTest::scratchDir("dirExistsPlain");
  fs::create_directories(dir / "sub");
  const fs::path elsewhere = KvdTest::scratchDir("dirExistsPlainCwd");
  WorkingFolder cwd(elsewhere);
  EXPECT_EQ(su_DirectoryExists((dir / "sub").wstring().c_str()), 1);
  EXPECT_EQ(su_DirectoryExists(((dir / "sub").wstring() + L"\\").c_str()), 1);
}

// A drive root is a folder, also where a search cannot find it.
TEST(SuFolders, RootOfTheTestDriveIsAFolder) {
  const std::wstring dir = KvdTest::scratchDir("dirExistsRoot").wstring();
  const std::wstring root = dir.substr(0, dir.find_first_of(L"\\/") + 1);
  EXPECT_EQ(su_DirectoryExists(root.c_str()), 1) << std::string(root.begin(), root.end());
#if !defined(_WIN32)
  setenv("KVDUTU_DRIVES", ("Q=" + KvdTest::scratchDir("dirExistsRootQ").string()).c_str(), 1);
  EXPECT_EQ(su_DirectoryExists(L"Q:\\"), 1);
  EXPECT_EQ(su_DirectoryExists(L"Q:"), 1);
  unsetenv("KVDUTU_DRIVES");
  EXPECT_EQ(su_DirectoryExists(L"Q:\\"), 0) << "an unmapped drive is nothing";
#endif
}

// The bare name of what the search finds is looked up in the working folder: an existing file
// counts as a folder unless a non-folder of the same name lies there.
TEST(SuFolders, ExistingEntryIsJudgedByItsBareNameInTheWorkingFolder) {
  const fs::path dir = KvdTest::scratchDir("dirExistsQuirk");
  touch(dir / "model.dat");
  fs::create_directories(dir / "assembly");
  const fs::path cwdDir = KvdTest::scratchDir("dirExistsQuirkCwd");
  WorkingFolder cwd(cwdDir);
  const std::wstring file = (dir / "model.dat").wstring();
  const std::wstring folder = (dir / "assembly").wstring();

  EXPECT_EQ(su_DirectoryExists(file.c_str()), 1) << "nothing of that name in the working folder";

  touch(cwdDir / "model.dat");
  EXPECT_EQ(su_DirectoryExists(file.c_str()), 0) << "a file of that name in the working folder";

  touch(cwdDir / "assembly");
  EXPECT_EQ(su_DirectoryExists(folder.c_str()), 0) << "even a real folder loses to a file in the working folder";

  fs::remove(cwdDir / "model.dat");
  fs::create_directories(cwdDir / "model.dat");
  EXPECT_EQ(su_DirectoryExists(file.c_str()), 1) << "a folder of that name in the working folder";
}

TEST(SuFolders, CreateDirectoryRecursiveTextEdges) {
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(L"C:")), 1);
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(L"ab")), 1);
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(L"abc")), 0);
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(L"\\\\srv\\sh\\d")), 0);
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(L"")), 0);
}

TEST(SuFolders, CreateDirectoryRecursiveMakesEveryLevel) {
  const fs::path dir = KvdTest::scratchDir("recursive");
  const fs::path deep = dir / "one" / "two" / "three";
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(deep.wstring().c_str())), 1);
  EXPECT_TRUE(fs::is_directory(deep));
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(deep.wstring().c_str())), 1) << "all levels exist already";

  // With '\' behind it the last level is made by the level above and then found.
  const std::wstring trailing = (dir / "four" / "five").wstring() + L"\\";
  EXPECT_EQ(su_CreateDirectoryRecursive(CString(trailing.c_str())), 1);
  EXPECT_TRUE(fs::is_directory(dir / "four" / "five"));

  touch(dir / "blocker");
  EXPECT_EQ(su_CreateDirectoryRecursive(CString((dir / "blocker" / "below").wstring().c_str())), 0);
  EXPECT_FALSE(fs::exists(dir / "blocker" / "below"));
}

TEST(SuFolders, CreateIfDoesNotExistMakesOneWritableLevel) {
  const fs::path dir = KvdTest::scratchDir("createIfMissing");
  EXPECT_EQ(su_createIfDoesNotExist(CString((dir / "level").wstring().c_str())), 1);
  EXPECT_TRUE(fs::is_directory(dir / "level"));
  EXPECT_EQ(su_createIfDoesNotExist(CString((dir / "level").wstring().c_str())), 1) << "exists already";

  EXPECT_EQ(su_createIfDoesNotExist(CString((dir / "a" / "b").wstring().c_str())), 0) << "one level only";
  EXPECT_FALSE(fs::exists(dir / "a"));

  // Something that exists but cannot be written: a read-only file.
  const fs::path locked = dir / "locked.txt";
  touch(locked);
  ASSERT_TRUE(P::SetFileAttributesW(locked.wstring().c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(su_createIfDoesNotExist(CString(locked.wstring().c_str())), 0);
  P::SetFileAttributesW(locked.wstring().c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(SuFolders, WriteAccessLeavesNothingBehind) {
  const fs::path dir = KvdTest::scratchDir("writeAccess");
  EXPECT_EQ(su_DoesFolderHaveWriteAccess(dir.wstring().c_str()), 1);
  EXPECT_TRUE(fs::is_empty(dir));

  std::wstring forward = dir.wstring();
  for (auto& c : forward) if (c == L'\\') c = L'/';
  EXPECT_EQ(su_DoesFolderHaveWriteAccess(forward.c_str()), 1);
  EXPECT_TRUE(fs::is_empty(dir));

  EXPECT_EQ(su_DoesFolderHaveWriteAccess((dir / "missing").wstring().c_str()), 0);
  EXPECT_EQ(su_DoesFolderHaveWriteAccess(nullptr), 0);
}

}  // namespace
