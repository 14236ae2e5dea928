// The POSIX side of the file layer: the drive table and share names, private folders, a copy that
// fails half-way, sharing between processes, and what stands in for volume facts.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "kvdutu/platform/framework/file_find.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/network.h"
#include "kvdutu/platform/os/volume.h"
#include "support/test_env.h"
#include "support/win32_expect.h"

namespace P = KvdUtils::Platform;
namespace fs = std::filesystem;

namespace {

using KvdTest::readBytes;
using KvdTest::writeBytes;

// Sets KVDUTU_DRIVES for one test and takes it away again.
class DriveTable {
 public:
  explicit DriveTable(const std::string& table) { ::setenv("KVDUTU_DRIVES", table.c_str(), 1); }
  ~DriveTable() { ::unsetenv("KVDUTU_DRIVES"); }
};

std::wstring wide(const fs::path& p) { return p.wstring(); }

}  // namespace

TEST(FilePosix, DriveLettersAndSharesMapThroughTheTable) {
  const fs::path c = KvdTest::scratchDir("drive-c");
  const fs::path share = KvdTest::scratchDir("share");
  DriveTable table("C=" + c.string() + ";n:=\\\\fileserver\\designs ; \\\\FileServer\\Designs=" + share.string() +
                   ";M=\\\\other\\missing");

  ASSERT_TRUE(P::CreateDirectoryW(L"C:\\parts", nullptr));
  HANDLE h = P::CreateFileW(L"c:/parts\\gear.KVDPRT", GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  P::CloseHandle(h);
  EXPECT_TRUE(fs::exists(c / "parts" / "gear.KVDPRT"));
  // Backslashes in a native path are separators as well.
  EXPECT_NE(P::GetFileAttributesW((wide(c) + L"\\parts\\gear.KVDPRT").c_str()), INVALID_FILE_ATTRIBUTES);

  // `..` stops at the drive's root, as it does on Windows.
  ASSERT_TRUE(P::CopyFileW(L"C:\\parts\\..\\..\\..\\parts\\gear.KVDPRT", L"C:\\..\\copy.KVDPRT", TRUE));
  EXPECT_TRUE(fs::exists(c / "copy.KVDPRT"));

  // A drive mapped to a share, and the share itself.
  ASSERT_TRUE(P::CreateDirectoryW(L"N:\\asm", nullptr));
  EXPECT_TRUE(fs::is_directory(share / "asm"));
  EXPECT_NE(P::GetFileAttributesW(L"\\\\fileserver\\designs\\asm"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(P::GetDriveTypeW(L"N:\\"), DRIVE_REMOTE);
  EXPECT_EQ(P::GetDriveTypeW(L"C:\\"), DRIVE_FIXED);

  wchar_t remote[64];
  DWORD size = 64;
  EXPECT_EQ(P::WNetGetConnectionW(L"N:", remote, &size), DWORD(NO_ERROR));
  EXPECT_EQ(std::wstring(remote), L"\\\\fileserver\\designs");
  size = 5;
  EXPECT_EQ(P::WNetGetConnectionW(L"n:", remote, &size), DWORD(ERROR_MORE_DATA));
  EXPECT_EQ(size, 21u);
  size = 64;
  EXPECT_EQ(P::WNetGetConnectionW(L"C:", remote, &size), DWORD(ERROR_NOT_CONNECTED));
  EXPECT_EQ(P::WNetGetConnectionW(L"Z:", remote, &size), DWORD(ERROR_NOT_CONNECTED));
  EXPECT_EQ(P::WNetGetConnectionW(L"C:\\", remote, &size), DWORD(ERROR_BAD_DEVICE));

  // Refusals: nothing is made anywhere.
  EXPECT_REFUSED(P::CreateDirectoryW(L"Z:\\x", nullptr), ERROR_PATH_NOT_FOUND);
  EXPECT_REFUSED(P::CreateFileW(L"Z:\\x.txt", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
                 ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(fs::exists("Z:") || fs::exists("Z:\\x.txt") || fs::exists("x.txt"));
  EXPECT_EQ(P::_wmkdir(L"Z:\\x"), -1);
  EXPECT_REFUSED(P::GetFileAttributesW(L"\\\\nowhere\\share\\f") != INVALID_FILE_ATTRIBUTES, ERROR_BAD_NETPATH);
  EXPECT_REFUSED(P::GetFileAttributesW(L"M:\\f") != INVALID_FILE_ATTRIBUTES,
                 ERROR_BAD_NETPATH);  // a drive whose share is not mapped
  EXPECT_EQ(P::GetDriveTypeW(L"Z:\\"), DRIVE_NO_ROOT_DIR);
  WIN32_FIND_DATAW data;
  EXPECT_REFUSED(P::FindFirstFileW(L"Z:\\*", &data), ERROR_PATH_NOT_FOUND);

  // A current folder set in drive form is reported in that form, and relative names follow it.
  wchar_t before[4096];
  ASSERT_GT(P::GetCurrentDirectoryW(4096, before), 0u);
  ASSERT_TRUE(P::SetCurrentDirectoryW(L"C:\\parts\\"));
  wchar_t now[MAX_PATH];
  P::GetCurrentDirectoryW(MAX_PATH, now);
  EXPECT_EQ(std::wstring(now), L"C:\\parts");
  wchar_t full[MAX_PATH];
  P::GetFullPathNameW(L"..\\copy.KVDPRT", MAX_PATH, full, nullptr);
  EXPECT_EQ(std::wstring(full), L"C:\\copy.KVDPRT");
  P::GetFullPathNameW(L"\\top.KVDPRT", MAX_PATH, full, nullptr);
  EXPECT_EQ(std::wstring(full), L"C:\\top.KVDPRT");
  CFileFind finder;
  ASSERT_TRUE(finder.FindFile(L"*.KVDPRT"));
  finder.FindNextFile();
  EXPECT_EQ(finder.GetFilePath(), CString(L"C:\\parts\\gear.KVDPRT"));
  finder.Close();
  ASSERT_TRUE(P::SetCurrentDirectoryW(before));
  P::GetCurrentDirectoryW(MAX_PATH, now);
  EXPECT_EQ(std::wstring(now), std::wstring(before));
}

TEST(FilePosix, DosWildcardsAndHiddenDotFiles) {
  const fs::path dir = KvdTest::scratchDir("dos-wildcards");
  for (const char* name : {"noext", "a.b", "two.dots.x", ".hidden"}) writeBytes(dir / name, "");
  auto names = [&](const wchar_t* pattern) {
    std::vector<std::wstring> out;
    WIN32_FIND_DATAW data;
    HANDLE h = P::FindFirstFileW((wide(dir) + L"/" + pattern).c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return out;
    do out.push_back(data.cFileName);
    while (P::FindNextFileW(h, &data));
    P::FindClose(h);
    return out;
  };
  // "*." finds names without an extension (and the dot folders); "*.*" finds every name.
  EXPECT_EQ(names(L"*."), (std::vector<std::wstring>{L".", L"..", L"noext"}));
  EXPECT_EQ(names(L"*.*").size(), 6u);
  EXPECT_EQ(names(L"*.x"), (std::vector<std::wstring>{L"two.dots.x"}));
  EXPECT_EQ(names(L"a?.b"), (std::vector<std::wstring>{L"a.b"}));  // `?` may match nothing before a dot
  EXPECT_NE(P::GetFileAttributesW((wide(dir) + L"/.hidden").c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
  EXPECT_EQ(P::GetFileAttributesW((wide(dir) + L"/a.b").c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
}

TEST(FilePosix, PrivateFoldersRefuseLinksAndOtherUsersFolders) {
  const fs::path dir = KvdTest::scratchDir("private");
  ::umask(022);
  const fs::path mine = dir / "kvx4242";
  EXPECT_EQ(P::CreatePrivateDirectory(wide(mine).c_str()), DWORD(ERROR_SUCCESS));
  struct stat st;
  ASSERT_EQ(::stat(mine.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0700u);
  EXPECT_EQ(P::CreatePrivateDirectory(wide(mine).c_str()), DWORD(ERROR_SUCCESS));  // already ours

  const fs::path openFolder = dir / "VC~~";
  fs::create_directory(openFolder);
  ::chmod(openFolder.c_str(), 0777);
  EXPECT_EQ(P::CreatePrivateDirectory(wide(openFolder).c_str()), DWORD(ERROR_SUCCESS));
  ASSERT_EQ(::stat(openFolder.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0700u);  // narrowed

  // Someone else's folder, or a link to anywhere, standing where ours should be.
  const fs::path target = dir / "elsewhere";
  fs::create_directory(target);
  const fs::path link = dir / "kvx1";
  fs::create_directory_symlink(target, link);
  EXPECT_EQ(P::CreatePrivateDirectory(wide(link).c_str()), DWORD(ERROR_ACCESS_DENIED));
  const fs::path dangling = dir / "kvx2";
  fs::create_directory_symlink(dir / "not-yet", dangling);
  EXPECT_EQ(P::CreatePrivateDirectory(wide(dangling).c_str()), DWORD(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(fs::exists(dir / "not-yet"));
  const fs::path foreign = dir / "kvx3";
  fs::create_directory(foreign);
  ASSERT_EQ(::chown(foreign.c_str(), 65534, 65534), 0) << "the tests run as root";
  EXPECT_EQ(P::CreatePrivateDirectory(wide(foreign).c_str()), DWORD(ERROR_ACCESS_DENIED));
  writeBytes(dir / "kvx5", "");
  EXPECT_EQ(P::CreatePrivateDirectory(wide(dir / "kvx5").c_str()), DWORD(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(P::CreatePrivateDirectory(wide(dir / "none" / "kvx6").c_str()), DWORD(ERROR_PATH_NOT_FOUND));
}

TEST(FilePosix, AnInterruptedCopyLeavesTheOldTargetAndNoLeftovers) {
  const fs::path dir = KvdTest::scratchDir("copy-interrupted");
  const fs::path src = dir / "big.KVDPRT";
  const fs::path dst = dir / "backup.KVDPRT";
  writeBytes(src, std::string(1 << 20, 'n'));
  writeBytes(dst, "old good copy");

  // A file size limit makes the write fail part-way, as a full disk would.
  struct rlimit saved;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  struct sigaction ignore {}, previous {};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGXFSZ, &ignore, &previous);
  struct rlimit small = saved;
  small.rlim_cur = 64 * 1024;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const BOOL copied = P::CopyFileW(wide(src).c_str(), wide(dst).c_str(), FALSE);
  const DWORD error = P::GetLastError();
  ::setrlimit(RLIMIT_FSIZE, &saved);
  ::sigaction(SIGXFSZ, &previous, nullptr);

  EXPECT_FALSE(copied);
  EXPECT_EQ(error, DWORD(ERROR_DISK_FULL));
  EXPECT_EQ(readBytes(dst), "old good copy");
  size_t entries = 0;
  for (auto& e : fs::directory_iterator(dir)) (void)e, ++entries;
  EXPECT_EQ(entries, 2u);
}

TEST(FilePosix, SharingHoldsBetweenProcesses) {
  const fs::path file = KvdTest::scratchDir("sharing-processes") / "held.KVDPRT";
  writeBytes(file, "x");
  int ready[2], release[2];
  ASSERT_EQ(::pipe(ready), 0);
  ASSERT_EQ(::pipe(release), 0);
  pid_t child = ::fork();
  if (child == 0) {
    HANDLE h = P::CreateFileW(wide(file).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    char c = h == INVALID_HANDLE_VALUE ? 'n' : 'y';
    (void)!::write(ready[1], &c, 1);
    (void)!::read(release[0], &c, 1);
    ::_exit(0);
  }
  char c = 0;
  ASSERT_EQ(::read(ready[0], &c, 1), 1);
  ASSERT_EQ(c, 'y');
  EXPECT_EQ(P::CreateFileW(wide(file).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                           nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(P::GetLastError(), DWORD(ERROR_SHARING_VIOLATION));
  EXPECT_REFUSED(P::DeleteFileW(wide(file).c_str()), ERROR_SHARING_VIOLATION);
  (void)!::write(release[1], "x", 1);
  int status = 0;
  ::waitpid(child, &status, 0);
  // The child's marks went with it.
  HANDLE h = P::CreateFileW(wide(file).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(h, INVALID_HANDLE_VALUE);
  P::CloseHandle(h);
  EXPECT_TRUE(P::DeleteFileW(wide(file).c_str()));
}

TEST(FilePosix, ReadOnlyMountsRefuseTheLabelWriteAndRamDisksAreNamed) {
  const fs::path dir = KvdTest::scratchDir("ro-mount");
  if (::mount("tmpfs", dir.c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0)
    GTEST_SKIP() << "mounting is not allowed here";
  DWORD flags = 0;
  wchar_t name[64];
  const bool info = P::GetVolumeInformationW(wide(dir).c_str(), nullptr, 0, nullptr, nullptr, &flags, name, 64);
  const BOOL labelled = P::SetVolumeLabelW(wide(dir).c_str(), L"");
  const DWORD error = P::GetLastError();
  const UINT type = P::GetDriveTypeW(wide(dir).c_str());
  ::umount(dir.c_str());
  ASSERT_TRUE(info);
  EXPECT_NE(flags & FILE_READ_ONLY_VOLUME, 0u);
  EXPECT_EQ(std::wstring(name), L"TMPFS");
  EXPECT_FALSE(labelled);
  EXPECT_EQ(error, DWORD(ERROR_WRITE_PROTECT));
  EXPECT_EQ(type, DRIVE_RAMDISK);
  EXPECT_TRUE(P::SetVolumeLabelW(wide(dir).c_str(), L""));  // the folder beneath takes writes
}
