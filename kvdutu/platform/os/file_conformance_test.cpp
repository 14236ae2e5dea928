// File layer behaviour that both backends share: natively against the POSIX layer, under Wine
// against kernel32. Every test works in a fresh folder of its own, named in the platform's form.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <cwctype>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/shell.h"
#include "kvdutu/platform/os/text.h"
#include "kvdutu/platform/os/volume.h"
#include "support/test_env.h"
#include "support/win32_expect.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace P = KvdUtils::Platform;
namespace fs = std::filesystem;

namespace {

const wchar_t kSep = static_cast<wchar_t>(fs::path::preferred_separator);

std::wstring scratch(const char* name) { return KvdTest::scratchDir(name).wstring(); }
std::wstring join(const std::wstring& dir, const std::wstring& name) { return dir + kSep + name; }

using KvdTest::readBytes;
using KvdTest::writeBytes;

HANDLE open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition) {
  return P::CreateFileW(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Wine keeps the read-only attribute as the permission bits of the file, and the tests run as
// root, whom permission bits do not stop: there the attribute does not refuse writes.
bool readOnlyIsNotEnforced() {
#if defined(_WIN32)
  HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
  return ntdll && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

bool equalNoCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::towupper(a[i]) != std::towupper(b[i])) return false;
  return true;
}

ULONGLONG fileTime100ns(const FILETIME& ft) { return (ULONGLONG(ft.dwHighDateTime) << 32) | ft.dwLowDateTime; }

ULONGLONG nowAsFileTime() {
  auto since1970 = std::chrono::system_clock::now().time_since_epoch();
  return ULONGLONG(std::chrono::duration_cast<std::chrono::microseconds>(since1970).count()) * 10 + 116444736000000000ull;
}

}  // namespace

TEST(FileConformance, CreateFileDispositionsAndTheirErrors) {
  const std::wstring dir = scratch("dispositions");
  const std::wstring file = join(dir, L"part.KVDPRT");

  EXPECT_REFUSED(open(file, GENERIC_READ, 0, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(open(join(join(dir, L"missing"), L"x"), GENERIC_READ, 0, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
  EXPECT_REFUSED(open(join(join(dir, L"missing"), L"x"), GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
  EXPECT_REFUSED(open(join(dir, L"bad|name"), GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_INVALID_NAME);

  HANDLE h = open(file, GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  ASSERT_TRUE(P::WriteFile(h, "hello world", 11, &written, nullptr));
  EXPECT_EQ(written, 11u);
  EXPECT_EQ(P::GetFileSize(h, nullptr), 11u);
  EXPECT_EQ(P::SetFilePointer(h, 6, nullptr, FILE_BEGIN), 6u);
  char buf[16] = {};
  DWORD read = 0;
  ASSERT_TRUE(P::ReadFile(h, buf, sizeof buf, &read, nullptr));
  EXPECT_EQ(std::string(buf, read), "world");
  ASSERT_TRUE(P::ReadFile(h, buf, sizeof buf, &read, nullptr));  // at the end: success, nothing read
  EXPECT_EQ(read, 0u);
  LARGE_INTEGER to, pos;
  to.QuadPart = 5;
  ASSERT_TRUE(P::SetFilePointerEx(h, to, &pos, FILE_BEGIN));
  ASSERT_TRUE(P::SetEndOfFile(h));
  LARGE_INTEGER size;
  ASSERT_TRUE(P::GetFileSizeEx(h, &size));
  EXPECT_EQ(size.QuadPart, 5);
  EXPECT_REFUSED(P::SetFilePointer(h, -10, nullptr, FILE_CURRENT) != INVALID_SET_FILE_POINTER, ERROR_NEGATIVE_SEEK);
  ASSERT_TRUE(P::FlushFileBuffers(h));
  FILETIME created, accessed, lastWrite;
  ASSERT_TRUE(P::GetFileTime(h, &created, &accessed, &lastWrite));
  const ULONGLONG now = nowAsFileTime();
  EXPECT_LT(fileTime100ns(lastWrite), now + 50000000ull);
  EXPECT_GT(fileTime100ns(lastWrite), now - 600000000ull);
  ASSERT_TRUE(P::CloseHandle(h));
  EXPECT_REFUSED(P::CloseHandle(h), ERROR_INVALID_HANDLE);

  EXPECT_REFUSED(open(file, GENERIC_WRITE, 0, CREATE_NEW), ERROR_FILE_EXISTS);

  h = open(file, GENERIC_WRITE, 0, CREATE_ALWAYS);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(P::GetLastError(), DWORD(ERROR_ALREADY_EXISTS));  // and it was emptied
  EXPECT_EQ(P::GetFileSize(h, nullptr), 0u);
  EXPECT_REFUSED(P::ReadFile(h, buf, 1, &read, nullptr), ERROR_ACCESS_DENIED);  // no read access
  P::CloseHandle(h);

  h = open(join(dir, L"fresh.txt"), GENERIC_WRITE, 0, OPEN_ALWAYS);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(P::GetLastError(), DWORD(ERROR_SUCCESS));
  P::CloseHandle(h);

  // A folder opens only with backup semantics.
  EXPECT_REFUSED(open(dir, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING), ERROR_ACCESS_DENIED);
  h = P::CreateFileW(dir.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                     FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  P::CloseHandle(h);
}

TEST(FileConformance, SharingModesRefuseConflictingOpensAndDeletes) {
  const std::wstring dir = scratch("sharing");
  const std::wstring file = join(dir, L"shared.KVDPRT");
  writeBytes(file, "data");

  HANDLE reader = open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);  // denies writing
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  HANDLE second = open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_NE(second, INVALID_HANDLE_VALUE);
  P::CloseHandle(second);
  EXPECT_REFUSED(open(file, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
  // A reader that will not let others read cannot come in while someone reads.
  EXPECT_REFUSED(open(file, GENERIC_READ, 0, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
  // Without FILE_SHARE_DELETE the file can be neither deleted, moved nor replaced.
  EXPECT_REFUSED(P::DeleteFileW(file.c_str()), ERROR_SHARING_VIOLATION);
  EXPECT_REFUSED(P::MoveFileExW(file.c_str(), join(dir, L"moved").c_str(), 0), ERROR_SHARING_VIOLATION);
  writeBytes(join(dir, L"other"), "other");
  EXPECT_REFUSED(P::CopyFileW(join(dir, L"other").c_str(), file.c_str(), FALSE), ERROR_SHARING_VIOLATION);
  EXPECT_EQ(readBytes(file), "data");
  P::CloseHandle(reader);

  HANDLE exclusive = open(file, GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING);
  ASSERT_NE(exclusive, INVALID_HANDLE_VALUE);
  EXPECT_REFUSED(open(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
  P::CloseHandle(exclusive);
  EXPECT_TRUE(P::DeleteFileW(file.c_str()));
}

TEST(FileConformance, ReadOnlyAttributeRefusesWritingReplacingAndDeleting) {
  const std::wstring dir = scratch("readonly");
  const std::wstring file = join(dir, L"locked.KVDDRW");
  writeBytes(file, "keep");
  DWORD attributes = P::GetFileAttributesW(file.c_str());
  ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY), 0u);
  ASSERT_TRUE(P::SetFileAttributesW(file.c_str(), attributes | FILE_ATTRIBUTE_READONLY));
  EXPECT_NE(P::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);

  if (!readOnlyIsNotEnforced()) {
    EXPECT_REFUSED(open(file, GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_REFUSED(open(file, GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_REFUSED(P::DeleteFileW(file.c_str()), ERROR_ACCESS_DENIED);
    writeBytes(join(dir, L"new"), "new");
    EXPECT_REFUSED(P::CopyFileW(join(dir, L"new").c_str(), file.c_str(), FALSE), ERROR_ACCESS_DENIED);
    EXPECT_REFUSED(P::MoveFileExW(join(dir, L"new").c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING),
                   ERROR_ACCESS_DENIED);
    EXPECT_EQ(readBytes(file), "keep");
  }
  HANDLE h = open(file, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  EXPECT_NE(h, INVALID_HANDLE_VALUE);
  P::CloseHandle(h);
  errno = 0;
  EXPECT_EQ(P::_waccess(file.c_str(), 2), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(P::_waccess(file.c_str(), 4), 0);

  // A copy of a read-only file is read-only too.
  ASSERT_TRUE(P::CopyFileW(file.c_str(), join(dir, L"copy").c_str(), TRUE));
  EXPECT_NE(P::GetFileAttributesW(join(dir, L"copy").c_str()) & FILE_ATTRIBUTE_READONLY, 0u);

  ASSERT_TRUE(P::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(P::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_TRUE(P::DeleteFileW(file.c_str()));
  P::SetFileAttributesW(join(dir, L"copy").c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(FileConformance, FoldersAndTheRuntimeForms) {
  const std::wstring dir = scratch("folders");
  const std::wstring sub = join(dir, L"sub");
  ASSERT_TRUE(P::CreateDirectoryW(sub.c_str(), nullptr));
  EXPECT_REFUSED(P::CreateDirectoryW(sub.c_str(), nullptr), ERROR_ALREADY_EXISTS);
  EXPECT_REFUSED(P::CreateDirectoryW(join(join(dir, L"no"), L"deeper").c_str(), nullptr), ERROR_PATH_NOT_FOUND);
  EXPECT_NE(P::GetFileAttributesW(sub.c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0u);

  writeBytes(join(sub, L"f.txt"), "x");
  EXPECT_REFUSED(P::RemoveDirectoryW(sub.c_str()), ERROR_DIR_NOT_EMPTY);
  EXPECT_REFUSED(P::RemoveDirectoryW(join(sub, L"f.txt").c_str()), ERROR_DIRECTORY);
  EXPECT_REFUSED(P::DeleteFileW(sub.c_str()), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(P::DeleteFileW(join(sub, L"f.txt").c_str()));
  EXPECT_REFUSED(P::DeleteFileW(join(sub, L"f.txt").c_str()), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(P::RemoveDirectoryW(sub.c_str()));
  EXPECT_REFUSED(P::RemoveDirectoryW(sub.c_str()), ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(P::GetFileAttributesW(sub.c_str()) != INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(P::GetFileAttributesW(join(sub, L"x").c_str()) != INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND);
  EXPECT_REFUSED(P::GetFileAttributesW(join(dir, L"*.txt").c_str()) != INVALID_FILE_ATTRIBUTES, ERROR_INVALID_NAME);

  EXPECT_EQ(P::_wmkdir(sub.c_str()), 0);
  errno = 0;
  EXPECT_EQ(P::_wmkdir(sub.c_str()), -1);
  EXPECT_EQ(errno, EEXIST);
  errno = 0;
  EXPECT_EQ(P::_wmkdir(join(join(dir, L"no"), L"deeper").c_str()), -1);
  EXPECT_EQ(errno, ENOENT);
  // The runtime counts every existing folder as writable.
  EXPECT_EQ(P::_waccess(sub.c_str(), 0), 0);
  EXPECT_EQ(P::_waccess(sub.c_str(), 2), 0);
  errno = 0;
  EXPECT_EQ(P::_waccess(join(dir, L"none").c_str(), 0), -1);
  EXPECT_EQ(errno, ENOENT);

  WIN32_FILE_ATTRIBUTE_DATA data;
  writeBytes(join(dir, L"sized.bin"), std::string(70000, 'z'));
  ASSERT_TRUE(P::GetFileAttributesExW(join(dir, L"sized.bin").c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ(data.nFileSizeLow, 70000u);
  EXPECT_EQ(data.nFileSizeHigh, 0u);
  EXPECT_EQ(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
  EXPECT_GT(fileTime100ns(data.ftLastWriteTime), nowAsFileTime() - 600000000ull);
  EXPECT_REFUSED(P::GetFileAttributesExW(join(dir, L"none").c_str(), GetFileExInfoStandard, &data),
                 ERROR_FILE_NOT_FOUND);
}

TEST(FileConformance, CopyAndMove) {
  const std::wstring dir = scratch("copy");
  const std::wstring src = join(dir, L"design.KVDASM");
  const std::wstring dst = join(dir, L"backup.KVDASM");
  writeBytes(src, std::string(300000, 'q') + "end");
  // An old last-write time, so that carrying it over shows.
  HANDLE h = open(src, GENERIC_WRITE, 0, OPEN_EXISTING);
  FILETIME old;
  const ULONGLONG oldTime = 116444736000000000ull + 1000000000ull * 10000000ull;  // 2001-09-09
  old.dwLowDateTime = DWORD(oldTime);
  old.dwHighDateTime = DWORD(oldTime >> 32);
  ASSERT_TRUE(P::SetFileTime(h, nullptr, nullptr, &old));
  P::CloseHandle(h);

  ASSERT_TRUE(P::CopyFileW(src.c_str(), dst.c_str(), TRUE));
  EXPECT_EQ(readBytes(dst), readBytes(src));
  WIN32_FILE_ATTRIBUTE_DATA data;
  ASSERT_TRUE(P::GetFileAttributesExW(dst.c_str(), GetFileExInfoStandard, &data));
  EXPECT_EQ(fileTime100ns(data.ftLastWriteTime), oldTime);
  EXPECT_REFUSED(P::CopyFileW(src.c_str(), dst.c_str(), TRUE), ERROR_FILE_EXISTS);
  writeBytes(src, "new");
  ASSERT_TRUE(P::CopyFileW(src.c_str(), dst.c_str(), FALSE));
  EXPECT_EQ(readBytes(dst), "new");
  EXPECT_REFUSED(P::CopyFileW(join(dir, L"none").c_str(), dst.c_str(), FALSE), ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(P::CopyFileW(src.c_str(), join(join(dir, L"none"), L"x").c_str(), FALSE), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(readBytes(dst), "new");
  // Nothing but the two files is left in the folder.
  size_t entries = 0;
  for (auto& e : fs::directory_iterator(fs::path(dir))) (void)e, ++entries;
  EXPECT_EQ(entries, 2u);

  const std::wstring moved = join(dir, L"moved.KVDASM");
  EXPECT_REFUSED(P::MoveFileExW(src.c_str(), dst.c_str(), 0), ERROR_ALREADY_EXISTS);
  ASSERT_TRUE(P::MoveFileW(src.c_str(), moved.c_str()));
  EXPECT_EQ(P::GetFileAttributesW(src.c_str()), INVALID_FILE_ATTRIBUTES);
  ASSERT_TRUE(P::MoveFileExW(moved.c_str(), dst.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
  EXPECT_EQ(readBytes(dst), "new");
  EXPECT_REFUSED(P::MoveFileExW(moved.c_str(), src.c_str(), 0), ERROR_FILE_NOT_FOUND);
}

TEST(FileConformance, TemporaryNamesSearchPathAndLongNames) {
  const std::wstring dir = scratch("tempnames");
  wchar_t name[MAX_PATH];
  UINT n = P::GetTempFileNameW(dir.c_str(), L"kvxlong", 0, name);
  ASSERT_NE(n, 0u);
  std::wstring made(name);
  EXPECT_EQ(made.substr(0, dir.size() + 4), dir + kSep + L"kvx");
  EXPECT_TRUE(equalNoCase(made.substr(made.size() - 4), L".tmp"));
  EXPECT_EQ(readBytes(made), "");  // made, empty
  EXPECT_NE(P::GetFileAttributesW(made.c_str()), INVALID_FILE_ATTRIBUTES);

  ASSERT_EQ(P::GetTempFileNameW(dir.c_str(), L"ab", 0x1A2Bu, name), 0x1A2Bu);
  // Windows writes the number in upper case; Wine in lower case.
  EXPECT_TRUE(equalNoCase(std::wstring(name), dir + kSep + L"ab1A2B.tmp"));
  EXPECT_EQ(P::GetFileAttributesW(name), INVALID_FILE_ATTRIBUTES);  // a given number makes nothing
  EXPECT_REFUSED(P::GetTempFileNameW(join(dir, L"none").c_str(), L"x", 0, name) != 0, ERROR_DIRECTORY);

  const std::wstring folder = join(dir, L"kvxauto");
  ASSERT_TRUE(P::CreateDirectoryW(folder.c_str(), nullptr));
  writeBytes(join(dir, L"tool.exe"), "");
  wchar_t found[MAX_PATH];
  LPWSTR filePart = nullptr;
  DWORD len = P::SearchPathW(dir.c_str(), L"kvxauto", nullptr, MAX_PATH, found, &filePart);
  ASSERT_EQ(len, folder.size());
  EXPECT_EQ(std::wstring(found), folder);
  ASSERT_NE(filePart, nullptr);
  EXPECT_EQ(std::wstring(filePart), L"kvxauto");
  EXPECT_EQ(P::SearchPathW(folder.c_str(), folder.c_str(), nullptr, MAX_PATH, found, &filePart), folder.size());
  EXPECT_EQ(P::SearchPathW(dir.c_str(), L"tool", L".exe", MAX_PATH, found, nullptr), join(dir, L"tool.exe").size());
  EXPECT_REFUSED(P::SearchPathW(dir.c_str(), L"absent", nullptr, MAX_PATH, found, nullptr) != 0, ERROR_FILE_NOT_FOUND);
  // Too small a buffer: the size needed, with the terminator.
  EXPECT_EQ(P::SearchPathW(dir.c_str(), L"kvxauto", nullptr, 3, found, nullptr), folder.size() + 1);

  wchar_t longName[MAX_PATH];
  EXPECT_EQ(P::GetLongPathNameW(folder.c_str(), longName, MAX_PATH), folder.size());
  EXPECT_EQ(std::wstring(longName), folder);
  EXPECT_EQ(P::GetLongPathNameW(folder.c_str(), longName, 2), folder.size() + 1);
  EXPECT_REFUSED(P::GetLongPathNameW(join(dir, L"none").c_str(), longName, MAX_PATH) != 0, ERROR_FILE_NOT_FOUND);

  wchar_t temp[MAX_PATH];
  DWORD t = P::GetTempPathW(MAX_PATH, temp);
  ASSERT_GT(t, 0u);
  EXPECT_TRUE(temp[t - 1] == L'\\' || temp[t - 1] == L'/');
}

TEST(FileConformance, FullPathNamesAreTextWork) {
  wchar_t out[MAX_PATH];
  LPWSTR filePart = nullptr;
  const std::wstring expected = L"Q:\\b\\c.KVDPRT";
  EXPECT_EQ(P::GetFullPathNameW(L"Q:\\a\\..\\b\\.\\c.KVDPRT", MAX_PATH, out, &filePart), expected.size());
  EXPECT_EQ(std::wstring(out), expected);
  ASSERT_NE(filePart, nullptr);
  EXPECT_EQ(std::wstring(filePart), L"c.KVDPRT");
  EXPECT_EQ(P::GetFullPathNameW(L"Q:/a//b/", MAX_PATH, out, &filePart), 7u);
  EXPECT_EQ(std::wstring(out), L"Q:\\a\\b\\");
  EXPECT_EQ(filePart, nullptr);
  P::GetFullPathNameW(L"Q:\\..\\..\\x", MAX_PATH, out, nullptr);
  EXPECT_EQ(std::wstring(out), L"Q:\\x");
  P::GetFullPathNameW(L"\\\\server\\share\\dir\\..\\f", MAX_PATH, out, nullptr);
  EXPECT_EQ(std::wstring(out), L"\\\\server\\share\\f");
  EXPECT_EQ(P::GetFullPathNameW(L"Q:\\abc", 3, out, nullptr), 7u);
}

TEST(FileConformance, CurrentFolderRoundTripAndRelativeNames) {
  const std::wstring dir = scratch("cwd");
  wchar_t before[4096];
  ASSERT_GT(P::GetCurrentDirectoryW(4096, before), 0u);
  ASSERT_TRUE(P::SetCurrentDirectoryW(dir.c_str()));
  wchar_t now[4096];
  DWORD n = P::GetCurrentDirectoryW(4096, now);
  EXPECT_EQ(std::wstring(now, n), dir);
  EXPECT_EQ(P::GetCurrentDirectoryW(2, now), dir.size() + 1);
  HANDLE h = open(L"relative.txt", GENERIC_WRITE, 0, CREATE_NEW);
  EXPECT_NE(h, INVALID_HANDLE_VALUE);
  P::CloseHandle(h);
  EXPECT_NE(P::GetFileAttributesW(join(dir, L"relative.txt").c_str()), INVALID_FILE_ATTRIBUTES);
  wchar_t full[MAX_PATH];
  P::GetFullPathNameW(L"relative.txt", MAX_PATH, full, nullptr);
  EXPECT_EQ(std::wstring(full), join(dir, L"relative.txt"));
  EXPECT_REFUSED(P::SetCurrentDirectoryW(join(dir, L"relative.txt").c_str()), ERROR_DIRECTORY);
  EXPECT_REFUSED(P::SetCurrentDirectoryW(join(dir, L"none").c_str()), ERROR_FILE_NOT_FOUND);
  ASSERT_TRUE(P::SetCurrentDirectoryW(before));
}

TEST(FileConformance, SearchesMatchWildcardsWithoutRegardToCase) {
  const std::wstring dir = scratch("find");
  for (const wchar_t* name : {L"b.KVDPRT", L"a.kvdprt", L"c.KVDPRT.bak", L"~$lock.KVDPRT", L"d.KVDASM", L"e1.KVDPRT"})
    writeBytes(join(dir, name), "12345");
  ASSERT_TRUE(P::CreateDirectoryW(join(dir, L"folder.KVDPRT").c_str(), nullptr));

  auto search = [](const std::wstring& pattern, DWORD* error = nullptr) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW data;
    HANDLE h = P::FindFirstFileW(pattern.c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) {
      if (error) *error = P::GetLastError();
      return names;
    }
    do names.push_back(data.cFileName);
    while (P::FindNextFileW(h, &data));
    EXPECT_EQ(P::GetLastError(), DWORD(ERROR_NO_MORE_FILES));
    EXPECT_TRUE(P::FindClose(h));
    return names;
  };
  auto sorted = [](std::vector<std::wstring> v) {
    std::sort(v.begin(), v.end());
    return v;
  };
  EXPECT_EQ(sorted(search(join(dir, L"*.KVDPRT"))),
            (std::vector<std::wstring>{L"a.kvdprt", L"b.KVDPRT", L"e1.KVDPRT", L"folder.KVDPRT", L"~$lock.KVDPRT"}));
  EXPECT_EQ(sorted(search(join(dir, L"?.KVDPRT"))), (std::vector<std::wstring>{L"a.kvdprt", L"b.KVDPRT"}));
  EXPECT_EQ(sorted(search(join(dir, L"e?.kvdprt"))), (std::vector<std::wstring>{L"e1.KVDPRT"}));
  EXPECT_EQ(search(join(dir, L"d.KVDASM")), (std::vector<std::wstring>{L"d.KVDASM"}));
  std::vector<std::wstring> all = search(join(dir, L"*"));
  ASSERT_GE(all.size(), 2u);
  EXPECT_EQ(all[0], L".");
  EXPECT_EQ(all[1], L"..");
  EXPECT_EQ(all.size(), 9u);

  DWORD error = 0;
  EXPECT_TRUE(search(join(dir, L"*.none"), &error).empty());
  EXPECT_EQ(error, DWORD(ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(search(join(join(dir, L"none"), L"*.KVDPRT"), &error).empty());
  EXPECT_EQ(error, DWORD(ERROR_PATH_NOT_FOUND));

  WIN32_FIND_DATAW data;
  HANDLE h = P::FindFirstFileW(join(dir, L"folder.KVDPRT").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_NE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
  P::FindClose(h);
  h = P::FindFirstFileW(join(dir, L"b.KVDPRT").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.nFileSizeLow, 5u);
  EXPECT_EQ(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
  EXPECT_REFUSED(P::FindNextFileW(h, &data), ERROR_NO_MORE_FILES);
  P::FindClose(h);
}

TEST(FileConformance, EnvironmentComputerNameAndProcessId) {
  ASSERT_TRUE(P::SetEnvironmentVariableW(L"KvdFileLayerVar", L"C:\\T"));
  wchar_t buf[64];
  EXPECT_EQ(P::GetEnvironmentVariableW(L"KVDFILELAYERVAR", buf, 64), 4u);  // names without regard to case
  EXPECT_EQ(std::wstring(buf), L"C:\\T");
  EXPECT_EQ(P::GetEnvironmentVariableW(L"KvdFileLayerVar", buf, 3), 5u);
  ASSERT_TRUE(P::SetEnvironmentVariableW(L"kvdfilelayervar", L"other"));
  EXPECT_EQ(P::GetEnvironmentVariableW(L"KvdFileLayerVar", buf, 64), 5u);
  EXPECT_EQ(std::wstring(buf), L"other");
  ASSERT_TRUE(P::SetEnvironmentVariableW(L"KvdFileLayerVar", nullptr));
  EXPECT_REFUSED(P::GetEnvironmentVariableW(L"KvdFileLayerVar", buf, 64) != 0, ERROR_ENVVAR_NOT_FOUND);

  wchar_t name[256];
  DWORD size = 256;
  ASSERT_TRUE(P::GetComputerNameW(name, &size));
  ASSERT_GT(size, 0u);
  EXPECT_EQ(std::wstring(name).size(), size);
  for (DWORD i = 0; i < size; ++i) EXPECT_EQ(name[i], static_cast<wchar_t>(std::towupper(name[i])));
  DWORD small = 1;
  EXPECT_REFUSED(P::GetComputerNameW(name, &small), ERROR_BUFFER_OVERFLOW);
  EXPECT_EQ(small, size + 1);

#if defined(_WIN32)
  EXPECT_EQ(DWORD(P::_getpid()), ::GetCurrentProcessId());
#else
  EXPECT_EQ(P::_getpid(), int(::getpid()));
#endif
}

TEST(FileConformance, VolumeQuestions) {
  const std::wstring dir = scratch("volume");
#if defined(_WIN32)
  const std::wstring root = dir.substr(0, 3);  // "C:\"
#else
  const std::wstring root = dir + L"/";
#endif
  DWORD sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, totalClusters = 0;
  ASSERT_TRUE(P::GetDiskFreeSpaceW(root.c_str(), &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters));
  EXPECT_GT(sectorsPerCluster * bytesPerSector, 0u);
  EXPECT_GT(totalClusters, 0u);
  EXPECT_LE(freeClusters, totalClusters);
  ULARGE_INTEGER available, total, totalFree;
  ASSERT_TRUE(P::GetDiskFreeSpaceExW(root.c_str(), &available, &total, &totalFree));
  EXPECT_GT(total.QuadPart, 0u);
  EXPECT_LE(available.QuadPart, totalFree.QuadPart);
  EXPECT_EQ(P::GetDriveTypeW(root.c_str()), DRIVE_FIXED);
  EXPECT_EQ(P::GetDriveTypeW(join(dir, L"none\\").c_str()), DRIVE_NO_ROOT_DIR);

  wchar_t label[MAX_PATH], fileSystem[64];
  DWORD serial = 0, maxComponent = 0, flags = 0;
  ASSERT_TRUE(P::GetVolumeInformationW(root.c_str(), label, MAX_PATH, &serial, &maxComponent, &flags, fileSystem, 64));
  EXPECT_GE(maxComponent, 255u);
  EXPECT_FALSE(std::wstring(fileSystem).empty());
  EXPECT_EQ(flags & FILE_READ_ONLY_VOLUME, 0u);

  UINT previous = P::SetErrorMode(SEM_FAILCRITICALERRORS);
  EXPECT_EQ(P::SetErrorMode(previous), UINT(SEM_FAILCRITICALERRORS));
}

TEST(FileConformance, IsTextUnicodeByteOrderMarks) {
  const unsigned char le[] = {0xFF, 0xFE}, be[] = {0xFE, 0xFF};
  int tests = IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_REVERSE_SIGNATURE;
  EXPECT_TRUE(P::IsTextUnicode(le, 2, &tests));
  EXPECT_EQ(tests, IS_TEXT_UNICODE_SIGNATURE);
  tests = IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_REVERSE_SIGNATURE;
  EXPECT_FALSE(P::IsTextUnicode(be, 2, &tests));  // a reverse finding is a no, with its bit kept
  EXPECT_EQ(tests, IS_TEXT_UNICODE_REVERSE_SIGNATURE);
  tests = IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_REVERSE_SIGNATURE;
  EXPECT_FALSE(P::IsTextUnicode("ab", 2, &tests));
  EXPECT_EQ(tests, 0);
  // An odd length says "not UTF-16" whatever the mark says.
  const unsigned char odd[] = {0xFF, 0xFE, 'A'};
  tests = IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_ODD_LENGTH;
  EXPECT_FALSE(P::IsTextUnicode(odd, 3, &tests));
  EXPECT_EQ(tests, IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_ODD_LENGTH);
  tests = IS_TEXT_UNICODE_SIGNATURE;
  EXPECT_FALSE(P::IsTextUnicode(le, 1, &tests));
}

TEST(FileConformance, DesktopFolderTurnsPathsIntoItemListsAndBack) {
  const std::wstring dir = scratch("shell");
  std::wstring file = join(dir, L"shell part.KVDPRT"), missing = join(dir, L"absent.KVDPRT");
  writeBytes(file, "x");
  IShellFolder* desktop = nullptr;
  ASSERT_EQ(P::SHGetDesktopFolder(&desktop), S_OK);
  IMalloc* allocator = nullptr;
  ASSERT_EQ(P::SHGetMalloc(&allocator), S_OK);

  LPITEMIDLIST pidl = nullptr;
  ULONG eaten = 0, attributes = 0;
  ASSERT_EQ(desktop->ParseDisplayName(nullptr, nullptr, file.data(), &eaten, &pidl, &attributes), S_OK);
  ASSERT_NE(pidl, nullptr);
  wchar_t back[MAX_PATH];
  ASSERT_TRUE(P::SHGetPathFromIDListW(pidl, back));
  EXPECT_EQ(std::wstring(back), file);
  allocator->Free(pidl);

  pidl = nullptr;
  EXPECT_EQ(desktop->ParseDisplayName(nullptr, nullptr, missing.data(), nullptr, &pidl, nullptr),
            HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(pidl, nullptr);
  allocator->Release();
  desktop->Release();
}
