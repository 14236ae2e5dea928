// Windows-form paths on POSIX: the drive table, mapping to native paths, full path names, and the
// errno translation that file operations share.
#pragma once

#include <sys/stat.h>

#include <string>

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform::detail {

enum MapFlags : unsigned {
  kMapAllowWildcards = 1,  // `*` and `?` may stand in the path (searches)
};

// The native path for a Windows-form or native path; false with the Win32 error when it cannot
// be mapped (unmapped drive, unmapped share, a character no Windows name may hold).
bool toNativePath(LPCWSTR path, std::string& native, DWORD& error, unsigned flags = 0);

// The drive table's entry for a drive letter, as written there (a native folder or a UNC name);
// false when the drive is not mapped.
bool lookupDrive(wchar_t letter, std::wstring& target);

// The Win32 error for errno `err` of an operation on `native`. ENOENT becomes ERROR_PATH_NOT_FOUND
// when the parent folder is missing, ERROR_FILE_NOT_FOUND otherwise; EFBIG and EDQUOT are a full
// disk.
DWORD fileError(int err, const std::string& native);

// Full path name as GetFullPathNameW builds it.
std::wstring fullPathName(const std::wstring& path);

// True when a path is written in drive or share form.
bool isWindowsForm(const std::wstring& path);

// The parent folder of a native path ("." for a bare name).
std::string parentOf(const std::string& native);

// Attributes and times.
DWORD attributesOf(const struct stat& st, const std::string& name);
bool isReadOnlyMode(mode_t mode);
FILETIME fileTimeFrom(const struct timespec& ts);
struct timespec timespecFrom(const FILETIME& ft);
// The creation time: birth time where the file system keeps it, else the change time.
FILETIME creationTimeOf(const std::string& native, const struct stat& st);

// Copies `text` with its terminator into a buffer of `size` characters: the length on success, the
// size needed (terminator included) when it does not fit, as the Win32 text getters answer.
DWORD copyOut(const std::wstring& text, LPWSTR buffer, DWORD size);

}  // namespace KvdUtils::Platform::detail
