// Searching a folder by a name pattern. On POSIX the pattern's last part holds `*` and `?` with
// the Windows rules (matching without regard to case; `*.*` also matches names without a dot,
// `*.` only names without one); a last part without wildcards names one entry exactly. A search
// of a folder's contents lists "." and ".." first and then the names in the order of their upper
// case forms, as an NTFS folder lists them.
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
typedef struct _WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
} WIN32_FIND_DATAW, *PWIN32_FIND_DATAW, *LPWIN32_FIND_DATAW;
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::FindClose;
using ::FindFirstFileW;
using ::FindNextFileW;
#else
// INVALID_HANDLE_VALUE with ERROR_FILE_NOT_FOUND (nothing matches), ERROR_PATH_NOT_FOUND (no such
// folder) or a path error. Names longer than MAX_PATH - 1 characters are left out.
KVDUTU_API HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData);
// FALSE with ERROR_NO_MORE_FILES after the last entry.
KVDUTU_API BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData);
KVDUTU_API BOOL FindClose(HANDLE hFindFile);
#endif
}  // namespace KvdUtils::Platform
