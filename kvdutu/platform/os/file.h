// Files, folders and path names, under their Win32 names.
//
// On POSIX the layer speaks Windows-form paths and maps them at the system call:
//  - `\` and `/` are both separators; `\` becomes `/` for the kernel.
//  - A drive prefix `X:` maps through the drive table in the environment variable KVDUTU_DRIVES,
//    e.g. `C=/srv/c;N=\\fileserver\designs;\\fileserver\designs=/mnt/designs`: a drive names a
//    local folder or a share, a share (`\\server\share`) names a local folder. An unmapped drive
//    fails with ERROR_PATH_NOT_FOUND and an unmapped share with ERROR_BAD_NETPATH, and nothing is
//    touched. `.` and `..` behind a drive or share are resolved by name and stop at its root, as
//    Windows resolves them.
//  - Native paths (`/home/u/part.KVDPRT`) and relative paths are used as they are.
//  - Names are as case-sensitive as the file system is; wildcard searches match without regard
//    to case, as Windows does.
//  - Attributes: FILE_ATTRIBUTE_READONLY is the absence of every write permission bit (mode & 0222
//    == 0); a read-only file refuses writing, replacing and deleting also to root, as the attribute
//    does on Windows. FILE_ATTRIBUTE_HIDDEN stands for a name that begins with a dot and cannot be
//    set. Plain files report FILE_ATTRIBUTE_ARCHIVE, folders FILE_ATTRIBUTE_DIRECTORY. Times are
//    FILETIME counts (UTC, 100 ns since 1601); the creation time is the birth time where the file
//    system keeps one, else the last change time.
//  - Sharing modes hold between handles of this layer in all processes (open file description
//    locks at offsets far beyond any data): an open that conflicts fails with
//    ERROR_SHARING_VIOLATION, and DeleteFileW / MoveFileExW / CopyFileW refuse a file that a
//    handle without FILE_SHARE_DELETE holds open. Other programs that do not use this layer are
//    not seen.
#pragma once

#include "kvdutu/platform/win_types.h"

#if defined(_WIN32)
#include <direct.h>
#include <io.h>
#else
#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_SYSTEM 0x00000004u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_DEVICE 0x00000040u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define FILE_ATTRIBUTE_SPARSE_FILE 0x00000200u
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400u
#define FILE_ATTRIBUTE_COMPRESSED 0x00000800u
#define FILE_ATTRIBUTE_OFFLINE 0x00001000u
#define FILE_ATTRIBUTE_NOT_CONTENT_INDEXED 0x00002000u
#define FILE_ATTRIBUTE_ENCRYPTED 0x00004000u

#define FILE_READ_DATA 0x0001u
#define FILE_WRITE_DATA 0x0002u
#define FILE_APPEND_DATA 0x0004u
#define FILE_READ_EA 0x0008u
#define FILE_WRITE_EA 0x0010u
#define FILE_EXECUTE 0x0020u
#define FILE_READ_ATTRIBUTES 0x0080u
#define FILE_WRITE_ATTRIBUTES 0x0100u
#define FILE_ALL_ACCESS (STANDARD_RIGHTS_REQUIRED | SYNCHRONIZE | 0x1FFu)

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u

#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define FILE_FLAG_NO_BUFFERING 0x20000000u
#define FILE_FLAG_RANDOM_ACCESS 0x10000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000u
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u

#define FILE_BEGIN 0u
#define FILE_CURRENT 1u
#define FILE_END 2u
#define INVALID_SET_FILE_POINTER ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)

#define MOVEFILE_REPLACE_EXISTING 0x00000001u
#define MOVEFILE_COPY_ALLOWED 0x00000002u
#define MOVEFILE_DELAY_UNTIL_REBOOT 0x00000004u
#define MOVEFILE_WRITE_THROUGH 0x00000008u

#define ERROR_NEGATIVE_SEEK 131L
#define ERROR_DIR_NOT_ROOT 144L
#define ERROR_BAD_ARGUMENTS 160L

typedef struct _OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  union {
    struct {
      DWORD Offset;
      DWORD OffsetHigh;
    } s;
    PVOID Pointer;
  } u;
  HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

typedef enum _GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard, GetFileExMaxInfoLevel } GET_FILEEX_INFO_LEVELS;

typedef struct _WIN32_FILE_ATTRIBUTE_DATA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
} WIN32_FILE_ATTRIBUTE_DATA, *LPWIN32_FILE_ATTRIBUTE_DATA;

// errno values of the C runtime functions below are the system's own.
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::CopyFileW;
using ::CreateDirectoryW;
using ::CreateFileW;
using ::DeleteFileW;
using ::FlushFileBuffers;
using ::GetCurrentDirectoryW;
using ::GetFileAttributesExW;
using ::GetFileAttributesW;
using ::GetFileSize;
using ::GetFileSizeEx;
using ::GetFileTime;
using ::GetFullPathNameW;
using ::GetLongPathNameW;
using ::GetTempFileNameW;
using ::GetTempPathW;
using ::MoveFileExW;
using ::MoveFileW;
using ::ReadFile;
using ::RemoveDirectoryW;
using ::SearchPathW;
using ::SetCurrentDirectoryW;
using ::SetEndOfFile;
using ::SetFileAttributesW;
using ::SetFilePointer;
using ::SetFilePointerEx;
using ::SetFileTime;
using ::WriteFile;
using ::_waccess;
using ::_wmkdir;
#else
// File handles live in the layer's handle table: CloseHandle (os/handle.h) closes them.
// Access: GENERIC_READ/GENERIC_WRITE/GENERIC_ALL or the FILE_* data rights; access 0 opens for
// attribute questions only. FILE_FLAG_BACKUP_SEMANTICS is needed to open a folder. Security
// attributes are accepted and only their inherit flag is used (handles are not inherited
// otherwise); the template is ignored.
KVDUTU_API HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                              LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                              DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
// Synchronous only: an OVERLAPPED gives the file offset and nothing else.
KVDUTU_API BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead,
                         LPOVERLAPPED lpOverlapped);
KVDUTU_API BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                          LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);
KVDUTU_API DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh, DWORD dwMoveMethod);
KVDUTU_API BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove, PLARGE_INTEGER lpNewFilePointer,
                                 DWORD dwMoveMethod);
KVDUTU_API DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);
KVDUTU_API BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize);
KVDUTU_API BOOL FlushFileBuffers(HANDLE hFile);
KVDUTU_API BOOL SetEndOfFile(HANDLE hFile);
KVDUTU_API BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime,
                            LPFILETIME lpLastWriteTime);
// The creation time cannot be set on POSIX and is ignored.
KVDUTU_API BOOL SetFileTime(HANDLE hFile, const FILETIME* lpCreationTime, const FILETIME* lpLastAccessTime,
                            const FILETIME* lpLastWriteTime);

KVDUTU_API DWORD GetFileAttributesW(LPCWSTR lpFileName);
KVDUTU_API BOOL GetFileAttributesExW(LPCWSTR lpFileName, GET_FILEEX_INFO_LEVELS fInfoLevelId, LPVOID lpFileInformation);
// Only FILE_ATTRIBUTE_READONLY has an effect: setting it removes every write permission bit,
// clearing it gives the owner write permission. The other bits are accepted and not kept.
KVDUTU_API BOOL SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes);

KVDUTU_API BOOL CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes);
KVDUTU_API BOOL RemoveDirectoryW(LPCWSTR lpPathName);
KVDUTU_API BOOL DeleteFileW(LPCWSTR lpFileName);
// The copy goes to a hidden temporary file in the target's folder (reflinked where the file
// system can, else copy_file_range), is synced and then renamed over the target: a failed copy
// leaves the old target as it was. The read-only attribute (the permission bits) and the
// last-write time come along, as Windows carries them.
KVDUTU_API BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists);
// MOVEFILE_DELAY_UNTIL_REBOOT is not supported (ERROR_INVALID_PARAMETER).
KVDUTU_API BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags);
KVDUTU_API BOOL MoveFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName);

// "<path>\<up to 3 chars of prefix><hex>.TMP"; with uUnique 0 the file is made (empty) with a
// number not yet taken. The separator added is `/` when lpPathName is a native path.
KVDUTU_API UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique, LPWSTR lpTempFileName);
// TMP, TEMP (names without regard to case, as Windows reads them), TMPDIR, then /tmp; always with
// a trailing separator.
KVDUTU_API DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer);
// With lpPath null: the executable's folder, the current folder, then PATH. Folders are found too.
KVDUTU_API DWORD SearchPathW(LPCWSTR lpPath, LPCWSTR lpFileName, LPCWSTR lpExtension, DWORD nBufferLength,
                             LPWSTR lpBuffer, LPWSTR* lpFilePart);
// There are no short names on POSIX: the path is checked to exist and returned as it stands.
KVDUTU_API DWORD GetLongPathNameW(LPCWSTR lpszShortPath, LPWSTR lpszLongPath, DWORD cchBuffer);
// Pure text work as on Windows. Drive and share paths come back with `\`; native paths (and paths
// relative to a native current folder) with `/`.
KVDUTU_API DWORD GetFullPathNameW(LPCWSTR lpFileName, DWORD nBufferLength, LPWSTR lpBuffer, LPWSTR* lpFilePart);
// A current folder set in drive or share form is reported in that form while the process is
// still in it.
KVDUTU_API DWORD GetCurrentDirectoryW(DWORD nBufferLength, LPWSTR lpBuffer);
KVDUTU_API BOOL SetCurrentDirectoryW(LPCWSTR lpPathName);

// The C runtime's forms: 0 or -1 with errno. _waccess treats a folder as readable and writable
// whenever it exists and a file as unwritable when it is read-only, as the Microsoft runtime does.
KVDUTU_API int _wmkdir(const wchar_t* dirname);
KVDUTU_API int _waccess(const wchar_t* path, int mode);
#endif

// A folder that only the current user may use, for the temporary folders that the library makes
// under a shared folder. Made with mode 0700 when missing. ERROR_SUCCESS when the folder now exists
// as a real folder of the current user (an existing one is narrowed to 0700); ERROR_ACCESS_DENIED
// when a symbolic link or a folder of another user stands in its place (Windows: a reparse
// point); ERROR_ALREADY_EXISTS when a file does; otherwise the error of making it.
KVDUTU_API DWORD CreatePrivateDirectory(LPCWSTR path);
}  // namespace KvdUtils::Platform
