// Auto-save folders and recovery names against real folders and the host's texts, natively and
// under Wine.
#include "kvdutu/files/auto_recovery.h"

#include <gtest/gtest.h>

#include "kvdutu/files/backup_fixture_test.h"
#include "kvdutu/files/full_path.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/os/file.h"

namespace {

namespace fs = std::filesystem;
namespace P = KvdUtils::Platform;
using KvdUtils::File::ComparePath;

class SuAutoRecovery : public KvdFilesTest::BackupFixture {
 protected:
  // The auto-save folder under the temporary folder, as the file system sees it.
  fs::path autoFolder() const { return backupFolder() / "kvxauto"; }
  CString autoFolderText() const { return su_GetSystemTempDirectory(1) + kFolderText + L"\\kvxauto\\"; }
};

TEST_F(SuAutoRecovery, AutoFolderIsMadeOnlyWhenItsParentExists) {
  const CString expected = autoFolderText();
  EXPECT_TRUE(ComparePath(su_CreateAutoDirectory(CString()), expected));
  EXPECT_FALSE(fs::exists(backupFolder())) << "the parent is not made here";

  fs::create_directories(backupFolder());
  EXPECT_TRUE(ComparePath(su_CreateAutoDirectory(CString()), expected));
  EXPECT_TRUE(fs::is_directory(autoFolder()));
#if !defined(_WIN32)
  EXPECT_EQ(fs::status(autoFolder()).permissions() & fs::perms::all, fs::perms::owner_all);
#endif
  EXPECT_TRUE(ComparePath(su_CreateAutoFilePath(L"x.KVDPRT", CString()), expected + L"x.KVDPRT"));
}

TEST_F(SuAutoRecovery, BaseFolderTakesThePlaceOfTheTemporaryFolder) {
  const CString base = wide(work_);
  fs::create_directories(work_ / "KvdBak");
  EXPECT_TRUE(ComparePath(su_CreateAutoDirectory(base), base + L"\\KvdBak\\kvxauto\\"));
  EXPECT_TRUE(fs::is_directory(work_ / "KvdBak" / "kvxauto"));
  EXPECT_FALSE(fs::exists(autoFolder()));

  // With no temporary folder a base folder still works; with neither, nothing does.
  KvdFilesTest::TempVariables none(nullptr, nullptr);
  EXPECT_TRUE(ComparePath(su_CreateAutoFilePath(L"a.b", base), base + L"\\KvdBak\\kvxauto\\a.b"));
  EXPECT_TRUE(su_CreateAutoDirectory(CString()).IsEmpty());
  EXPECT_TRUE(su_CreateAutoFilePath(L"a.b", CString()).IsEmpty()) << "not the bare name";
  EXPECT_TRUE(suAutoRecoveryResolver_c::getRecoveryName(L"C:\\a\\b.KVDPRT").IsEmpty());
}

TEST_F(SuAutoRecovery, RecoveryNamesIgnoreTheFolder) {
  const CString expected = autoFolderText() + kRecoveryText + L"b.KVDPRT";
  EXPECT_TRUE(ComparePath(suAutoRecoveryResolver_c::getRecoveryName(L"C:\\a\\b.KVDPRT"), expected));
  EXPECT_EQ(suAutoRecoveryResolver_c::getRecoveryName(L"C:\\a\\b.KVDPRT"),
            suAutoRecoveryResolver_c::getRecoveryName(L"D:\\b.KVDPRT"));
  // Only the last extension counts as one; the name keeps the rest.
  EXPECT_TRUE(ComparePath(suAutoRecoveryResolver_c::getRecoveryName(L"C:\\a\\b.old.KVDASM"),
                          autoFolderText() + kRecoveryText + L"b.old.KVDASM"));
}

TEST_F(SuAutoRecovery, OriginalNamesAndAliases) {
  using R = suAutoRecoveryResolver_c;
  const CString recovery = CString(L"C:\\t\\") + kRecoveryText + L"part.KVDPRT";
  EXPECT_EQ(R::getOrigName(recovery), L"part.KVDPRT");
  EXPECT_EQ(R::getOrigName(L"C:\\folder\\part.KVDPRT"), L"part.KVDPRT") << "the folder goes, the name stays";
  // The prefix in the middle of the name still costs the name its first characters.
  EXPECT_EQ(R::getOrigName(CString(L"C:\\t\\ab") + kRecoveryText + L"cd.x"), L"D_cd.x");

  EXPECT_EQ(R::getAliasName(recovery), L"part.KVDPRT");
  EXPECT_TRUE(ComparePath(R::getAliasName(L"C:\\folder\\part.KVDPRT"), autoFolderText() + kRecoveryText + L"part.KVDPRT"));
  EXPECT_EQ(R::getAliasName(R::getAliasName(L"C:\\folder\\part.KVDPRT")), L"part.KVDPRT");
}

TEST_F(SuAutoRecovery, BackupFilesAreMarkedAnywhereInThePath) {
  using R = suAutoRecoveryResolver_c;
  EXPECT_EQ(R::isABackupFile(CString(L"C:\\t\\") + kRecoveryText + L"part.KVDPRT"), 1);
  EXPECT_EQ(R::isABackupFile(CString(L"C:\\") + kRecoveryText + L"dir\\part.KVDPRT"), 1) << "a folder counts";
  EXPECT_EQ(R::isABackupFile(L"C:\\t\\part.KVDPRT"), 0);
  EXPECT_EQ(R::isABackupFile(CString(L"C:\\t\\") + CString(kRecoveryText).MakeLower() + L"p.x"), 0) << "case counts";

  // A host without a recovery text marks nothing and strips nothing.
  P::UnregisterStringResource(12298);
  EXPECT_EQ(R::isABackupFile(L"C:\\t\\part.KVDPRT"), 0);
  EXPECT_EQ(R::getOrigName(L"C:\\t\\part.KVDPRT"), L"part.KVDPRT");
}

TEST_F(SuAutoRecovery, ResolvingWhileRecoveringCrashFiles) {
  using R = suAutoRecoveryResolver_c;
  const CString design = wide(work_ / "part.KVDPRT");
  fs::create_directories(autoFolder());
  write(autoFolder() / (CStringA(kRecoveryText).GetString() + std::string("part.KVDPRT")), "recovered");

  // Flag off: the path as it is, and the file system is not asked (no folder is made).
  fs::remove_all(backupFolder());
  EXPECT_EQ(R::resolveFileNameWhileRecovery(design), design);
  EXPECT_FALSE(fs::exists(backupFolder()));
  fs::create_directories(autoFolder());
  write(autoFolder() / (CStringA(kRecoveryText).GetString() + std::string("part.KVDPRT")), "recovered");

  am_SetRecoveringUserSavedFiles(1);
  EXPECT_EQ(R::resolveFileNameWhileRecovery(design), design) << "the other flag takes no part";

  am_SetRecoveringCrashFiles(1);
  EXPECT_EQ(am_IsRecoveringCrashFiles(), 1);
  EXPECT_TRUE(ComparePath(R::resolveFileNameWhileRecovery(design), R::getRecoveryName(design)));
  EXPECT_EQ(R::resolveFileNameWhileRecovery(wide(work_ / "other.KVDPRT")), wide(work_ / "other.KVDPRT"))
      << "no recovery file";
  const CString recovery = R::getRecoveryName(design);
  EXPECT_EQ(R::resolveFileNameWhileRecovery(recovery), recovery) << "a recovery file stands for itself";
}

#if !defined(_WIN32)
TEST_F(SuAutoRecovery, LinksInPlaceOfTheFoldersAreRefused) {
  const fs::path elsewhere = dir_ / "elsewhere";
  fs::create_directories(elsewhere);
  fs::create_directory_symlink(elsewhere, backupFolder());
  EXPECT_TRUE(su_CreateAutoDirectory(CString()).IsEmpty());
  fs::remove(backupFolder());
  fs::create_directories(backupFolder());
  fs::create_directory_symlink(elsewhere, autoFolder());
  EXPECT_TRUE(su_CreateAutoDirectory(CString()).IsEmpty());
  EXPECT_TRUE(suAutoRecoveryResolver_c::getRecoveryName(L"C:\\a\\b.KVDPRT").IsEmpty());
  EXPECT_TRUE(fs::is_empty(elsewhere));
}
#endif

}  // namespace
