// Backup copies against real files, the real settings store and the host's texts, natively and
// under Wine.
#include "kvdutu/files/backups.h"

#include <gtest/gtest.h>

#include "kvdutu/files/backup_fixture_test.h"
#include "kvdutu/files/full_path.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/settings/user_values.h"

namespace {

namespace fs = std::filesystem;
namespace P = KvdUtils::Platform;

class SuBackups : public KvdFilesTest::BackupFixture {
 protected:
  void SetUp() override {
    BackupFixture::SetUp();
    part_ = work_ / "part.KVDPRT";
    write(part_, "v1");
  }

  void setInt(const wchar_t* name, int value) { ASSERT_EQ(regSetUserValue(L"General", name, &value), 1); }
  void setCopies(int count) { setInt(L"Backup Copies", count); }
  void setBackupDirectory(const fs::path& folder) {
    CString text = wide(folder);
    ASSERT_EQ(regSetUserValue(L"General", L"Backup directory", text), 1);
  }
  CString rememberedDirectory() {
    CString text;
    regGetUserValue(L"General", L"Backup directory", text);
    return text;
  }
  // Saves the design file with new content and backs it up.
  int saveAndBackUp(const std::string& content) {
    write(part_, content);
    return su_CreateBackupOfFile(wide(part_));
  }

  fs::path part_;
};

TEST_F(SuBackups, NoCopiesMeansNothingIsTouchedAndSuccess) {
  setCopies(0);
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 1);
  EXPECT_EQ(su_CreateBackupOfFile(wide(work_ / "missing.KVDPRT")), 1) << "even for a missing file";
  EXPECT_FALSE(fs::exists(backupFolder()));
  EXPECT_TRUE(rememberedDirectory().IsEmpty());
}

TEST_F(SuBackups, OneCopyByDefaultInTheRememberedTemporaryFolder) {
  // "Backup Copies" was never written: one copy is kept.
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(backupFolder() / "Backup of part.KVDPRT"), "v1");
#if !defined(_WIN32)
  EXPECT_EQ(fs::status(backupFolder()).permissions() & fs::perms::all, fs::perms::owner_all);
#endif
  const CString remembered = rememberedDirectory();
  EXPECT_FALSE(remembered.IsEmpty());
  EXPECT_TRUE(KvdUtils::File::ComparePath(remembered, su_CreateBackupDirectory()));

  // The second save overwrites the one copy.
  EXPECT_NE(saveAndBackUp("v2"), 0);
  EXPECT_EQ(read(backupFolder() / "Backup of part.KVDPRT"), "v2");
  EXPECT_EQ(read(part_), "v2");
}

TEST_F(SuBackups, OneCopyRemovesAnEarlierCopyBesideTheFile) {
  write(work_ / "Backup of part.KVDPRT", "stale");
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_FALSE(fs::exists(work_ / "Backup of part.KVDPRT"));
  EXPECT_EQ(read(backupFolder() / "Backup of part.KVDPRT"), "v1");

  setInt(L"Backup to original path", 1);
  EXPECT_NE(saveAndBackUp("v2"), 0);
  EXPECT_EQ(read(work_ / "Backup of part.KVDPRT"), "v2");
  EXPECT_EQ(read(backupFolder() / "Backup of part.KVDPRT"), "v1") << "the other folder is left alone";
}

TEST_F(SuBackups, ChosenFolderIsMadeOneLevelDeep) {
  setBackupDirectory(work_ / "mine");
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(work_ / "mine" / "Backup of part.KVDPRT"), "v1");
  EXPECT_FALSE(fs::exists(backupFolder()));

  setBackupDirectory(work_ / "no" / "such");
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_FALSE(fs::exists(work_ / "no"));
}

TEST_F(SuBackups, TwoCopiesRotateByCopying) {
  setCopies(2);
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v1");
  EXPECT_FALSE(fs::exists(backupFolder() / "Backup (2) of part.KVDPRT"));

  // Only copy 1 present: it moves to 2, the file to 1.
  EXPECT_NE(saveAndBackUp("v2"), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v2");
  EXPECT_EQ(read(backupFolder() / "Backup (2) of part.KVDPRT"), "v1");

  // Both present: copy 2 is overwritten from copy 1.
  EXPECT_NE(saveAndBackUp("v3"), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v3");
  EXPECT_EQ(read(backupFolder() / "Backup (2) of part.KVDPRT"), "v2");
  EXPECT_FALSE(fs::exists(backupFolder() / "Backup (3) of part.KVDPRT"));
  EXPECT_FALSE(fs::exists(backupFolder() / "Backup of part.KVDPRT"));
}

TEST_F(SuBackups, GapsInTheRowAreNotClosed) {
  setCopies(3);
  fs::create_directories(backupFolder());
  write(backupFolder() / "Backup (1) of part.KVDPRT", "one");
  write(backupFolder() / "Backup (3) of part.KVDPRT", "three");
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v1");
  EXPECT_EQ(read(backupFolder() / "Backup (2) of part.KVDPRT"), "one");
  EXPECT_EQ(read(backupFolder() / "Backup (3) of part.KVDPRT"), "three") << "copy 2 was missing when listed";
}

TEST_F(SuBackups, ChangingTheCountLeavesOtherCopiesForGood) {
  setCopies(3);
  for (const char* content : {"a", "b", "c"}) ASSERT_NE(saveAndBackUp(content), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (3) of part.KVDPRT"), "a");

  setCopies(2);
  EXPECT_NE(saveAndBackUp("d"), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "d");
  EXPECT_EQ(read(backupFolder() / "Backup (2) of part.KVDPRT"), "c");
  EXPECT_EQ(read(backupFolder() / "Backup (3) of part.KVDPRT"), "a") << "above the count: neither moved nor removed";

  setCopies(1);
  EXPECT_NE(saveAndBackUp("e"), 0);
  EXPECT_EQ(read(backupFolder() / "Backup of part.KVDPRT"), "e");
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "d");
}

TEST_F(SuBackups, HugeCountMovesOnlyTheCopiesThereAre) {
  // A count no one would keep, as a damaged setting may hold: the copies present move up, names
  // that only look like copies stay, and the rotation ends.
  setCopies(2147483647);
  fs::create_directories(backupFolder());
  write(backupFolder() / "Backup (1) of part.KVDPRT", "one");
  write(backupFolder() / "Backup (2) of part.KVDPRT", "two");
  for (const char* decoy : {"Backup (0) of part.KVDPRT", "Backup (01) of part.KVDPRT", "Backup (x) of part.KVDPRT",
                            "Backup (2147483648) of part.KVDPRT", "backup (3) of part.KVDPRT"})
    write(backupFolder() / decoy, decoy);
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v1");
  EXPECT_EQ(read(backupFolder() / "Backup (2) of part.KVDPRT"), "one");
  EXPECT_EQ(read(backupFolder() / "Backup (3) of part.KVDPRT"), "two");
  EXPECT_FALSE(fs::exists(backupFolder() / "Backup (4) of part.KVDPRT"));
  EXPECT_EQ(read(backupFolder() / "Backup (01) of part.KVDPRT"), "Backup (01) of part.KVDPRT");
}

TEST_F(SuBackups, NegativeCountMakesNoCopyAndFails) {
  setCopies(-1);
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_TRUE(fs::is_empty(backupFolder())) << "the folder is made before the count is looked at";
  EXPECT_EQ(read(part_), "v1");
}

TEST_F(SuBackups, FileMustBeFoundUnderItsOwnName) {
  EXPECT_EQ(su_CreateBackupOfFile(wide(work_ / "missing.KVDPRT")), 0);
  // The look-up respects case: on a file system that ignores it the file opens, but the listing
  // gives its name as stored.
  EXPECT_EQ(su_CreateBackupOfFile(wide(work_ / "PART.KVDPRT")), 0);
  EXPECT_FALSE(fs::exists(backupFolder())) << "nothing touched";
}

TEST_F(SuBackups, FolderPathsAreNoFiles) {
  setInt(L"Backup to original path", 1);
#if !defined(_WIN32)
  write(work_ / "Backup of .", "kept");  // what the folder's "." entry would have been backed up as
#endif
  for (const fs::path& folder : {work_ / "", work_ / "."}) {
    EXPECT_EQ(su_CreateBackupOfFile(wide(folder)), 0) << folder.string();
  }
  EXPECT_EQ(su_CreateBackupOfFile(CString()), 0);
#if !defined(_WIN32)
  EXPECT_EQ(read(work_ / "Backup of ."), "kept");
#endif
}

TEST_F(SuBackups, FileWithoutExtensionIsNotFoundByItsDottedName) {
  // The extension is empty, so the search is "*." and the name looked for is "notes.", which no
  // listing gives: the file is taken for missing and nothing is touched.
  write(work_ / "notes", "plain");
  EXPECT_EQ(su_CreateBackupOfFile(wide(work_ / "notes")), 0);
  EXPECT_FALSE(fs::exists(backupFolder()));
}

TEST_F(SuBackups, WithoutTheHostsPrefixNothingIsTouched) {
  write(work_ / "Backup of part.KVDPRT", "kept");
  P::UnregisterStringResource(10122);
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(P::GetLastError(), DWORD(ERROR_RESOURCE_NAME_NOT_FOUND));
  // A text that cannot be filled in safely is refused the same way.
  for (const wchar_t* text : {L"No insertion place ", L"%s and %s ", L"Copy %d of ", L"Broken %"}) {
    P::RegisterStringResource(10122, text);
    EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0) << CStringA(text).GetString();
  }
  EXPECT_EQ(read(part_), "v1");
  EXPECT_EQ(read(work_ / "Backup of part.KVDPRT"), "kept");
  EXPECT_FALSE(fs::exists(backupFolder()));
}

TEST_F(SuBackups, NoTemporaryFolderAndNoChosenFolderFails) {
  KvdFilesTest::TempVariables none(nullptr, nullptr);
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_TRUE(su_CreateBackupDirectory().IsEmpty());
  EXPECT_TRUE(rememberedDirectory().IsEmpty());
}

TEST_F(SuBackups, FailedRotationCopyIsIgnoredFailedLastCopyIsNot) {
  setCopies(2);
  fs::create_directories(backupFolder() / "Backup (2) of part.KVDPRT");  // a folder: copy 1 cannot go there
  write(backupFolder() / "Backup (1) of part.KVDPRT", "old");
  EXPECT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_EQ(read(backupFolder() / "Backup (1) of part.KVDPRT"), "v1");

  fs::remove(backupFolder() / "Backup (1) of part.KVDPRT");
  fs::create_directories(backupFolder() / "Backup (1) of part.KVDPRT");
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
}

TEST_F(SuBackups, ResolvesOnlyTheUnnumberedCopyBesideTheFile) {
  wchar_t out[MAX_PATH + 1];
  su_ResolveToBackupFile(wide(part_), out);
  EXPECT_EQ(CString(out), wide(part_)) << "no copy beside it";

  setCopies(2);
  setInt(L"Backup to original path", 1);
  ASSERT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  su_ResolveToBackupFile(wide(part_), out);
  EXPECT_EQ(CString(out), wide(part_)) << "numbered copies are not looked for";

  write(work_ / "Backup of part.KVDPRT", "b");
  su_ResolveToBackupFile(wide(part_), out);
  CString folder;
  suFullPath_c(wide(part_)).getDirectory(&folder, 0);
  EXPECT_EQ(CString(out), folder + L"\\Backup of part.KVDPRT");

  su_ResolveToBackupFile(nullptr, out);
  EXPECT_EQ(out[0], L'\0');
  su_ResolveToBackupFile(wide(part_), nullptr);  // refused quietly
}

TEST_F(SuBackups, BackupDirectoryIsFoundOrMade) {
  const CString folder = su_CreateBackupDirectory();
  EXPECT_TRUE(fs::is_directory(backupFolder()));
  EXPECT_TRUE(KvdUtils::File::ComparePath(folder, su_GetSystemTempDirectory(1) + kFolderText));
  EXPECT_EQ(su_CreateBackupDirectory(), folder) << "found the second time";
  EXPECT_TRUE(rememberedDirectory().IsEmpty()) << "only a backup remembers the folder";
}

#if !defined(_WIN32)
TEST_F(SuBackups, LinkInPlaceOfTheDefaultFolderIsRefused) {
  const fs::path elsewhere = dir_ / "elsewhere";
  fs::create_directories(elsewhere);
  fs::create_directory_symlink(elsewhere, backupFolder());
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_TRUE(su_CreateBackupDirectory().IsEmpty());
  EXPECT_TRUE(fs::is_empty(elsewhere)) << "nothing written through the link";

  // Remembered before the link was put there: still refused.
  fs::remove(backupFolder());
  ASSERT_NE(su_CreateBackupOfFile(wide(part_)), 0);
  fs::remove_all(backupFolder());
  fs::create_directory_symlink(elsewhere, backupFolder());
  EXPECT_EQ(su_CreateBackupOfFile(wide(part_)), 0);
  EXPECT_TRUE(fs::is_empty(elsewhere));
}
#endif

}  // namespace
