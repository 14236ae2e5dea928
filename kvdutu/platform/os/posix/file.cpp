// Files and folders on POSIX with Win32 semantics (see file.h for the rules of the mapping).
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/module.h"
#include "kvdutu/platform/os/posix/env_internal.h"
#include "kvdutu/platform/os/posix/handles_internal.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/posix/text_internal.h"

namespace KvdUtils::Platform {
namespace detail {
namespace {

// ---- Sharing modes ------------------------------------------------------------------------------
// Each handle of a regular file marks what it does and what it refuses with shared open file
// description locks on single bytes far beyond any data; an opener tests the bytes of what it
// wants against the others' marks. The marks vanish with the descriptor, also when a process dies.
constexpr off_t kShareBase = 0x7FFFFFFF00000000LL;
enum ShareSlot { kHasRead = 0, kHasWrite = 1, kDenyRead = 2, kDenyWrite = 3, kDenyDelete = 4 };

bool heldByOthers(int fd, int slot) {
  struct flock fl {};
  fl.l_type = F_WRLCK;
  fl.l_whence = SEEK_SET;
  fl.l_start = kShareBase + slot;
  fl.l_len = 1;
  if (::fcntl(fd, F_OFD_GETLK, &fl) != 0) return false;  // a file system without locks: no marks
  return fl.l_type != F_UNLCK;
}

void mark(int fd, int slot) {
  struct flock fl {};
  fl.l_type = F_RDLCK;
  fl.l_whence = SEEK_SET;
  fl.l_start = kShareBase + slot;
  fl.l_len = 1;
  (void)::fcntl(fd, F_OFD_SETLK, &fl);
}

// Test and mark are one step between openers: a short exclusive flock on the file serialises them.
class ShareGuard {
 public:
  explicit ShareGuard(int fd) : m_fd(fd) {
    for (int i = 0; i < 2000; ++i) {
      if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
        m_locked = true;
        return;
      }
      if (errno != EWOULDBLOCK) return;
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }
  ~ShareGuard() {
    if (m_locked) ::flock(m_fd, LOCK_UN);
  }

 private:
  int m_fd;
  bool m_locked = false;
};

bool anyHolder(int fd) {
  for (int slot = kHasRead; slot <= kDenyDelete; ++slot)
    if (heldByOthers(fd, slot)) return true;
  return false;
}

// A descriptor that can carry read marks for `fd` (which may be open for writing only).
int lockDescriptorFor(int fd, bool readable) {
  if (readable) return fd;
  char proc[64];
  std::snprintf(proc, sizeof proc, "/proc/self/fd/%d", fd);
  return ::open(proc, O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

// For the checks of delete, rename and copy: whether the file at `native` is held open in a way
// that refuses `what` (kDenyDelete, or any holder at all when `what` is -1).
bool sharingRefuses(const std::string& native, int what) {
  int fd = ::open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return false;
  bool refused = what < 0 ? anyHolder(fd) : heldByOthers(fd, what);
  ::close(fd);
  return refused;
}

// ---- Handles ------------------------------------------------------------------------------------
struct FileObject : KernelObject {
  int fd = -1;
  int lockFd = -1;
  bool canRead = false;
  bool canWrite = false;
  bool isDirectory = false;
  bool deleteOnClose = false;
  std::string native;
  ~FileObject() override {
    if (deleteOnClose) ::unlink(native.c_str());
    if (lockFd >= 0 && lockFd != fd) ::close(lockFd);
    if (fd >= 0) ::close(fd);
  }
};

std::shared_ptr<FileObject> fileFor(HANDLE h) {
  auto f = lookupHandleAs<FileObject>(h);
  if (!f) SetLastError(ERROR_INVALID_HANDLE);
  return f;
}

bool mapOrFail(LPCWSTR path, std::string& native, unsigned flags = 0) {
  DWORD error = 0;
  if (toNativePath(path, native, error, flags)) return true;
  SetLastError(error);
  return false;
}

BOOL fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

void syncFolder(const std::string& folder) {
  int d = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (d >= 0) {
    ::fsync(d);
    ::close(d);
  }
}

std::string randomHex() {
  static thread_local std::mt19937_64 gen(std::random_device{}() ^
                                          static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  char buf[32];
  std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(gen()));
  return buf;
}

bool writeAll(int fd, const char* p, size_t n) {
  while (n > 0) {
    ssize_t w = ::write(fd, p, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

// The bytes of `src` into `dst`: a reflink where the file system shares extents, else
// copy_file_range, else plain reads and writes. errno tells a failure.
bool copyData(int src, int dst) {
  if (::ioctl(dst, FICLONE, src) == 0) return true;
  bool first = true;
  for (;;) {
    ssize_t n = ::copy_file_range(src, nullptr, dst, nullptr, size_t(1) << 30, 0);
    if (n == 0) return true;
    if (n > 0) {
      first = false;
      continue;
    }
    if (errno == EINTR) continue;
    if (first && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) break;
    return false;
  }
  std::vector<char> buf(1 << 20);
  for (;;) {
    ssize_t r = ::read(src, buf.data(), buf.size());
    if (r == 0) return true;
    if (r < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (!writeAll(dst, buf.data(), static_cast<size_t>(r))) return false;
  }
}

int renameNoReplace(const char* from, const char* to) {
#if defined(SYS_renameat2)
  long r = ::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 1 /* RENAME_NOREPLACE */);
  if (r == 0 || (errno != ENOSYS && errno != EINVAL)) return static_cast<int>(r);
#endif
  // No atomic form: a hard link fails on an existing name, then the old name goes.
  if (::link(from, to) != 0) return -1;
  return ::unlink(from);
}

}  // namespace

// The copy behind CopyFileW and a move across file systems: ERROR_SUCCESS or the Win32 error.
DWORD copyFileNative(const std::string& from, const std::string& to, bool failIfExists) {
  int src = ::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (src < 0) return fileError(errno, from);
  struct SrcCloser {
    int fd;
    ~SrcCloser() { ::close(fd); }
  } srcCloser{src};
  struct stat sst;
  if (::fstat(src, &sst) != 0) return fileError(errno, from);
  if (S_ISDIR(sst.st_mode)) return ERROR_ACCESS_DENIED;
  if (heldByOthers(src, kDenyRead)) return ERROR_SHARING_VIOLATION;

  struct stat dst;
  if (::stat(to.c_str(), &dst) == 0) {
    if (failIfExists) return ERROR_FILE_EXISTS;
    if (S_ISDIR(dst.st_mode)) return ERROR_ACCESS_DENIED;
    if (dst.st_dev == sst.st_dev && dst.st_ino == sst.st_ino) return ERROR_SHARING_VIOLATION;
    if (isReadOnlyMode(dst.st_mode)) return ERROR_ACCESS_DENIED;
    if (sharingRefuses(to, -1)) return ERROR_SHARING_VIOLATION;
  } else if (errno != ENOENT) {
    return fileError(errno, to);
  }
  const std::string folder = parentOf(to);
  struct stat fst;
  if (::stat(folder.c_str(), &fst) != 0 || !S_ISDIR(fst.st_mode)) return ERROR_PATH_NOT_FOUND;

  // The new bytes go to a nameless file in the target's folder; it gets a name only when it is
  // complete and synced, and that name replaces the target in one step.
  std::string tempName;
  bool named = false;
  int tmp = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (tmp < 0) {
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL && errno != ENOENT) return fileError(errno, to);
    for (int attempt = 0; attempt < 100 && tmp < 0; ++attempt) {
      tempName = folder + "/.~kvdcopy-" + randomHex() + ".tmp";
      tmp = ::open(tempName.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
      if (tmp < 0 && errno != EEXIST) return fileError(errno, to);
    }
    if (tmp < 0) return ERROR_ACCESS_DENIED;
    named = true;
  }
  auto abandon = [&](DWORD error) {
    ::close(tmp);
    if (named) ::unlink(tempName.c_str());
    return error;
  };
  if (!copyData(src, tmp)) return abandon(fileError(errno, to));
  // Windows carries the read-only attribute and the last-write time; access is "now".
  (void)::fchmod(tmp, sst.st_mode & 07777);
  struct timespec times[2] = {{0, UTIME_NOW}, sst.st_mtim};
  (void)::futimens(tmp, times);
  if (::fsync(tmp) != 0) return abandon(fileError(errno, to));
  if (!named) {
    char proc[64];
    std::snprintf(proc, sizeof proc, "/proc/self/fd/%d", tmp);
    for (int attempt = 0; attempt < 100; ++attempt) {
      tempName = folder + "/.~kvdcopy-" + randomHex() + ".tmp";
      if (::linkat(AT_FDCWD, proc, AT_FDCWD, tempName.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        named = true;
        break;
      }
      if (errno != EEXIST) return abandon(fileError(errno, to));
    }
    if (!named) return abandon(ERROR_ACCESS_DENIED);
  }
  int r = failIfExists ? renameNoReplace(tempName.c_str(), to.c_str()) : ::rename(tempName.c_str(), to.c_str());
  if (r != 0) {
    int e = errno;
    return abandon(e == EEXIST ? ERROR_FILE_EXISTS : fileError(e, to));
  }
  ::close(tmp);
  syncFolder(folder);
  return ERROR_SUCCESS;
}

}  // namespace detail

using namespace detail;

HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode, LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                   DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes, HANDLE /*hTemplateFile*/) {
  std::string native;
  if (!mapOrFail(lpFileName, native)) return INVALID_HANDLE_VALUE;
  if (dwCreationDisposition < CREATE_NEW || dwCreationDisposition > TRUNCATE_EXISTING) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const bool wantRead = (dwDesiredAccess & (GENERIC_READ | GENERIC_ALL | FILE_READ_DATA)) != 0;
  const bool wantWrite = (dwDesiredAccess & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0;
  const bool appendOnly =
      (dwDesiredAccess & FILE_APPEND_DATA) && !(dwDesiredAccess & (GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA));
  const bool truncate = dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == TRUNCATE_EXISTING;
  if (dwCreationDisposition == TRUNCATE_EXISTING && !wantWrite) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const int cloexec = (lpSecurityAttributes && lpSecurityAttributes->bInheritHandle) ? 0 : O_CLOEXEC;

  auto object = std::make_shared<FileObject>();
  object->native = native;
  struct stat st;
  const bool existed = ::stat(native.c_str(), &st) == 0;
  if (!existed && errno != ENOENT) {
    SetLastError(fileError(errno, native));
    return INVALID_HANDLE_VALUE;
  }
  if (existed && S_ISDIR(st.st_mode)) {
    if (dwCreationDisposition == CREATE_NEW) {
      SetLastError(ERROR_FILE_EXISTS);
      return INVALID_HANDLE_VALUE;
    }
    if (!(dwFlagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) || truncate) {
      SetLastError(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
    object->fd = ::open(native.c_str(), O_RDONLY | O_DIRECTORY | cloexec);
    if (object->fd < 0) {
      SetLastError(fileError(errno, native));
      return INVALID_HANDLE_VALUE;
    }
    object->isDirectory = true;
    SetLastError(dwCreationDisposition == OPEN_ALWAYS ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return insertHandle(object);
  }
  if (existed) {
    if (dwCreationDisposition == CREATE_NEW) {
      SetLastError(ERROR_FILE_EXISTS);
      return INVALID_HANDLE_VALUE;
    }
    // The read-only attribute refuses writing and replacing to everyone, root included.
    if ((wantWrite || truncate) && isReadOnlyMode(st.st_mode)) {
      SetLastError(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    }
  } else if (dwCreationDisposition == OPEN_EXISTING || dwCreationDisposition == TRUNCATE_EXISTING) {
    SetLastError(fileError(ENOENT, native));
    return INVALID_HANDLE_VALUE;
  }

  int oflags = cloexec | O_NOCTTY;
  if (wantRead && wantWrite) oflags |= O_RDWR;
  else if (wantWrite) oflags |= O_WRONLY;
  else oflags |= O_RDONLY;
  if (appendOnly) oflags |= O_APPEND;
  if (dwFlagsAndAttributes & FILE_FLAG_WRITE_THROUGH) oflags |= O_DSYNC;
  if (!existed) oflags |= O_CREAT | O_EXCL;
  const mode_t mode = (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  int fd = ::open(native.c_str(), oflags, mode);
  if (fd < 0 && !wantRead && !wantWrite && (errno == EACCES)) {
    // Access 0 asks about the file only; a file that may not be read can still be asked about.
    fd = ::open(native.c_str(), O_PATH | cloexec);
  }
  if (fd < 0) {
    int e = errno;
    if (e == EEXIST) SetLastError(ERROR_FILE_EXISTS);
    else if (e == EISDIR) SetLastError(ERROR_ACCESS_DENIED);
    else SetLastError(fileError(e, native));
    return INVALID_HANDLE_VALUE;
  }
  object->fd = fd;
  object->canRead = wantRead;
  object->canWrite = wantWrite;
  object->deleteOnClose = (dwFlagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE) != 0;

  if (wantRead || wantWrite) {
    int lockFd = lockDescriptorFor(fd, wantRead);
    if (lockFd >= 0) {
      object->lockFd = lockFd;
      ShareGuard guard(lockFd);
      bool conflict = (wantRead && heldByOthers(lockFd, kDenyRead)) || (wantWrite && heldByOthers(lockFd, kDenyWrite)) ||
                      (!(dwShareMode & FILE_SHARE_READ) && heldByOthers(lockFd, kHasRead)) ||
                      (!(dwShareMode & FILE_SHARE_WRITE) && heldByOthers(lockFd, kHasWrite));
      if (conflict) {
        object->deleteOnClose = false;
        SetLastError(ERROR_SHARING_VIOLATION);
        return INVALID_HANDLE_VALUE;  // the object closes its descriptors
      }
      if (wantRead) mark(lockFd, kHasRead);
      if (wantWrite) mark(lockFd, kHasWrite);
      if (!(dwShareMode & FILE_SHARE_READ)) mark(lockFd, kDenyRead);
      if (!(dwShareMode & FILE_SHARE_WRITE)) mark(lockFd, kDenyWrite);
      if (!(dwShareMode & FILE_SHARE_DELETE)) mark(lockFd, kDenyDelete);
    }
  }
  // Truncation only once the sharing test has let us in.
  if (existed && truncate && ::ftruncate(fd, 0) != 0) {
    SetLastError(fileError(errno, native));
    return INVALID_HANDLE_VALUE;
  }
  HANDLE h = insertHandle(object);
  SetLastError(existed && (dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS)
                   ? ERROR_ALREADY_EXISTS
                   : ERROR_SUCCESS);
  return h;
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesRead) *lpNumberOfBytesRead = 0;
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  if (!f->canRead) return fail(ERROR_ACCESS_DENIED);
  if (!lpBuffer && nNumberOfBytesToRead) return fail(ERROR_NOACCESS);
  char* p = static_cast<char*>(lpBuffer);
  DWORD done = 0;
  off_t offset = lpOverlapped ? static_cast<off_t>((static_cast<uint64_t>(lpOverlapped->u.s.OffsetHigh) << 32) |
                                                   lpOverlapped->u.s.Offset)
                              : 0;
  while (done < nNumberOfBytesToRead) {
    ssize_t r = lpOverlapped ? ::pread(f->fd, p + done, nNumberOfBytesToRead - done, offset + done)
                             : ::read(f->fd, p + done, nNumberOfBytesToRead - done);
    if (r < 0) {
      if (errno == EINTR) continue;
      if (lpNumberOfBytesRead) *lpNumberOfBytesRead = done;
      return fail(fileError(errno, f->native));
    }
    if (r == 0) break;
    done += static_cast<DWORD>(r);
  }
  if (lpNumberOfBytesRead) *lpNumberOfBytesRead = done;
  return TRUE;
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite, LPDWORD lpNumberOfBytesWritten,
               LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = 0;
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  if (!f->canWrite) return fail(ERROR_ACCESS_DENIED);
  if (!lpBuffer && nNumberOfBytesToWrite) return fail(ERROR_NOACCESS);
  const char* p = static_cast<const char*>(lpBuffer);
  DWORD done = 0;
  off_t offset = lpOverlapped ? static_cast<off_t>((static_cast<uint64_t>(lpOverlapped->u.s.OffsetHigh) << 32) |
                                                   lpOverlapped->u.s.Offset)
                              : 0;
  while (done < nNumberOfBytesToWrite) {
    ssize_t w = lpOverlapped ? ::pwrite(f->fd, p + done, nNumberOfBytesToWrite - done, offset + done)
                             : ::write(f->fd, p + done, nNumberOfBytesToWrite - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = done;
      return fail(fileError(errno, f->native));
    }
    done += static_cast<DWORD>(w);
  }
  if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = done;
  return TRUE;
}

BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove, PLARGE_INTEGER lpNewFilePointer, DWORD dwMoveMethod) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  int whence = dwMoveMethod == FILE_BEGIN ? SEEK_SET : dwMoveMethod == FILE_CURRENT ? SEEK_CUR : dwMoveMethod == FILE_END ? SEEK_END : -1;
  if (whence < 0) return fail(ERROR_INVALID_PARAMETER);
  off_t r = ::lseek(f->fd, static_cast<off_t>(liDistanceToMove.QuadPart), whence);
  if (r < 0) return fail(errno == EINVAL ? ERROR_NEGATIVE_SEEK : fileError(errno, f->native));
  if (lpNewFilePointer) lpNewFilePointer->QuadPart = r;
  return TRUE;
}

DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh, DWORD dwMoveMethod) {
  LARGE_INTEGER distance;
  if (lpDistanceToMoveHigh)
    distance.QuadPart = static_cast<LONGLONG>((static_cast<uint64_t>(static_cast<uint32_t>(*lpDistanceToMoveHigh)) << 32) |
                                              static_cast<uint32_t>(lDistanceToMove));
  else
    distance.QuadPart = lDistanceToMove;
  LARGE_INTEGER result;
  if (!SetFilePointerEx(hFile, distance, &result, dwMoveMethod)) return INVALID_SET_FILE_POINTER;
  if (lpDistanceToMoveHigh) *lpDistanceToMoveHigh = static_cast<LONG>(static_cast<uint64_t>(result.QuadPart) >> 32);
  else if (static_cast<uint64_t>(result.QuadPart) > 0xFFFFFFFFu) {
    // The position does not fit the 32-bit answer: Windows refuses such a move without the high part.
    return INVALID_SET_FILE_POINTER;
  }
  const DWORD low = static_cast<DWORD>(static_cast<uint64_t>(result.QuadPart) & 0xFFFFFFFFu);
  if (low == INVALID_SET_FILE_POINTER) SetLastError(NO_ERROR);  // so that callers can tell it from a failure
  return low;
}

BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  struct stat st;
  if (::fstat(f->fd, &st) != 0) return fail(fileError(errno, f->native));
  if (lpFileSize) lpFileSize->QuadPart = f->isDirectory ? 0 : st.st_size;
  return TRUE;
}

DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh) {
  LARGE_INTEGER size;
  if (!GetFileSizeEx(hFile, &size)) return INVALID_FILE_SIZE;
  if (lpFileSizeHigh) *lpFileSizeHigh = static_cast<DWORD>(static_cast<uint64_t>(size.QuadPart) >> 32);
  const DWORD low = static_cast<DWORD>(static_cast<uint64_t>(size.QuadPart) & 0xFFFFFFFFu);
  if (low == INVALID_FILE_SIZE) SetLastError(NO_ERROR);
  return low;
}

BOOL FlushFileBuffers(HANDLE hFile) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  if (!f->canWrite) return fail(ERROR_ACCESS_DENIED);
  if (::fsync(f->fd) != 0) return fail(fileError(errno, f->native));
  return TRUE;
}

BOOL SetEndOfFile(HANDLE hFile) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  if (!f->canWrite) return fail(ERROR_ACCESS_DENIED);
  off_t pos = ::lseek(f->fd, 0, SEEK_CUR);
  if (pos < 0 || ::ftruncate(f->fd, pos) != 0) return fail(fileError(errno, f->native));
  return TRUE;
}

BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime, LPFILETIME lpLastWriteTime) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  struct stat st;
  if (::fstat(f->fd, &st) != 0) return fail(fileError(errno, f->native));
  if (lpCreationTime) *lpCreationTime = creationTimeOf(f->native, st);
  if (lpLastAccessTime) *lpLastAccessTime = fileTimeFrom(st.st_atim);
  if (lpLastWriteTime) *lpLastWriteTime = fileTimeFrom(st.st_mtim);
  return TRUE;
}

BOOL SetFileTime(HANDLE hFile, const FILETIME* /*lpCreationTime*/, const FILETIME* lpLastAccessTime,
                 const FILETIME* lpLastWriteTime) {
  auto f = fileFor(hFile);
  if (!f) return FALSE;
  struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
  if (lpLastAccessTime && (lpLastAccessTime->dwLowDateTime || lpLastAccessTime->dwHighDateTime))
    times[0] = timespecFrom(*lpLastAccessTime);
  if (lpLastWriteTime && (lpLastWriteTime->dwLowDateTime || lpLastWriteTime->dwHighDateTime))
    times[1] = timespecFrom(*lpLastWriteTime);
  if (::futimens(f->fd, times) != 0) return fail(fileError(errno, f->native));
  return TRUE;
}

DWORD GetFileAttributesW(LPCWSTR lpFileName) {
  std::string native;
  if (!mapOrFail(lpFileName, native)) return INVALID_FILE_ATTRIBUTES;
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) {
    SetLastError(fileError(errno, native));
    return INVALID_FILE_ATTRIBUTES;
  }
  return attributesOf(st, native);
}

BOOL GetFileAttributesExW(LPCWSTR lpFileName, GET_FILEEX_INFO_LEVELS fInfoLevelId, LPVOID lpFileInformation) {
  if (fInfoLevelId != GetFileExInfoStandard || !lpFileInformation) return fail(ERROR_INVALID_PARAMETER);
  std::string native;
  if (!mapOrFail(lpFileName, native)) return FALSE;
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) return fail(fileError(errno, native));
  auto* data = static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(lpFileInformation);
  data->dwFileAttributes = attributesOf(st, native);
  data->ftCreationTime = creationTimeOf(native, st);
  data->ftLastAccessTime = fileTimeFrom(st.st_atim);
  data->ftLastWriteTime = fileTimeFrom(st.st_mtim);
  const uint64_t size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
  data->nFileSizeHigh = static_cast<DWORD>(size >> 32);
  data->nFileSizeLow = static_cast<DWORD>(size & 0xFFFFFFFFu);
  return TRUE;
}

BOOL SetFileAttributesW(LPCWSTR lpFileName, DWORD dwFileAttributes) {
  std::string native;
  if (!mapOrFail(lpFileName, native)) return FALSE;
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) return fail(fileError(errno, native));
  mode_t mode = st.st_mode & 07777;
  if (dwFileAttributes & FILE_ATTRIBUTE_READONLY) mode &= ~mode_t(0222);
  else if (isReadOnlyMode(mode)) mode |= S_IWUSR;
  if (mode != (st.st_mode & 07777) && ::chmod(native.c_str(), mode) != 0) return fail(fileError(errno, native));
  return TRUE;
}

BOOL CreateDirectoryW(LPCWSTR lpPathName, LPSECURITY_ATTRIBUTES /*lpSecurityAttributes*/) {
  std::string native;
  if (!mapOrFail(lpPathName, native)) return FALSE;
  if (::mkdir(native.c_str(), 0777) != 0) {
    if (errno == EEXIST) return fail(ERROR_ALREADY_EXISTS);
    if (errno == ENOENT) return fail(ERROR_PATH_NOT_FOUND);
    return fail(fileError(errno, native));
  }
  return TRUE;
}

BOOL RemoveDirectoryW(LPCWSTR lpPathName) {
  std::string native;
  if (!mapOrFail(lpPathName, native)) return FALSE;
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return fail(fileError(errno, native));
  if (!S_ISDIR(st.st_mode)) return fail(ERROR_DIRECTORY);
  if (::rmdir(native.c_str()) != 0) {
    if (errno == ENOTEMPTY || errno == EEXIST) return fail(ERROR_DIR_NOT_EMPTY);
    return fail(fileError(errno, native));
  }
  return TRUE;
}

BOOL DeleteFileW(LPCWSTR lpFileName) {
  std::string native;
  if (!mapOrFail(lpFileName, native)) return FALSE;
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return fail(fileError(errno, native));
  if (S_ISDIR(st.st_mode)) return fail(ERROR_ACCESS_DENIED);
  if (S_ISREG(st.st_mode)) {
    if (isReadOnlyMode(st.st_mode)) return fail(ERROR_ACCESS_DENIED);
    if (sharingRefuses(native, kDenyDelete)) return fail(ERROR_SHARING_VIOLATION);
  }
  if (::unlink(native.c_str()) != 0) return fail(fileError(errno, native));
  return TRUE;
}

BOOL CopyFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, BOOL bFailIfExists) {
  std::string from, to;
  if (!mapOrFail(lpExistingFileName, from) || !mapOrFail(lpNewFileName, to)) return FALSE;
  DWORD error = copyFileNative(from, to, bFailIfExists != FALSE);
  if (error != ERROR_SUCCESS) return fail(error);
  return TRUE;
}

BOOL MoveFileExW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName, DWORD dwFlags) {
  if (!lpNewFileName || (dwFlags & MOVEFILE_DELAY_UNTIL_REBOOT)) return fail(ERROR_INVALID_PARAMETER);
  std::string from, to;
  if (!mapOrFail(lpExistingFileName, from) || !mapOrFail(lpNewFileName, to)) return FALSE;
  struct stat sst;
  if (::lstat(from.c_str(), &sst) != 0) return fail(fileError(errno, from));
  if (S_ISREG(sst.st_mode) && sharingRefuses(from, kDenyDelete)) return fail(ERROR_SHARING_VIOLATION);
  const bool replace = (dwFlags & MOVEFILE_REPLACE_EXISTING) != 0;
  struct stat dst;
  if (::lstat(to.c_str(), &dst) == 0) {
    const bool sameFile = dst.st_dev == sst.st_dev && dst.st_ino == sst.st_ino;
    if (!sameFile) {
      if (!replace) return fail(ERROR_ALREADY_EXISTS);
      if (S_ISDIR(dst.st_mode) || S_ISDIR(sst.st_mode)) return fail(ERROR_ACCESS_DENIED);
      if (S_ISREG(dst.st_mode)) {
        if (isReadOnlyMode(dst.st_mode)) return fail(ERROR_ACCESS_DENIED);
        if (sharingRefuses(to, kDenyDelete)) return fail(ERROR_SHARING_VIOLATION);
      }
    }
  } else if (errno != ENOENT) {
    return fail(fileError(errno, to));
  }
  int r = replace ? ::rename(from.c_str(), to.c_str()) : renameNoReplace(from.c_str(), to.c_str());
  if (r != 0) {
    int e = errno;
    if (e == EXDEV) {
      if (!(dwFlags & MOVEFILE_COPY_ALLOWED) || !S_ISREG(sst.st_mode)) return fail(ERROR_NOT_SAME_DEVICE);
      DWORD error = copyFileNative(from, to, !replace);
      if (error != ERROR_SUCCESS) return fail(error);
      if (::unlink(from.c_str()) != 0) return fail(fileError(errno, from));
      return TRUE;
    }
    if (e == EEXIST) return fail(ERROR_ALREADY_EXISTS);
    if (e == ENOENT) return fail(ERROR_PATH_NOT_FOUND);
    return fail(fileError(e, to));
  }
  if (dwFlags & MOVEFILE_WRITE_THROUGH) syncFolder(parentOf(to));
  return TRUE;
}

BOOL MoveFileW(LPCWSTR lpExistingFileName, LPCWSTR lpNewFileName) {
  return MoveFileExW(lpExistingFileName, lpNewFileName, MOVEFILE_COPY_ALLOWED);
}

UINT GetTempFileNameW(LPCWSTR lpPathName, LPCWSTR lpPrefixString, UINT uUnique, LPWSTR lpTempFileName) {
  if (!lpPathName || !lpTempFileName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::wstring base(lpPathName);
  const wchar_t sep = (!base.empty() && base[0] == L'/') ? L'/' : L'\\';
  if (!base.empty() && base.back() != L'\\' && base.back() != L'/') base += sep;
  std::wstring prefix = lpPrefixString ? std::wstring(lpPrefixString).substr(0, 3) : std::wstring();
  auto nameFor = [&](UINT n) {
    wchar_t hex[16];
    std::swprintf(hex, 16, L"%X", n);
    return base + prefix + hex + L".TMP";
  };
  uUnique &= 0xFFFFu;
  if (uUnique != 0) {
    std::wstring name = nameFor(uUnique);
    if (name.size() >= MAX_PATH) {
      SetLastError(ERROR_FILENAME_EXCED_RANGE);
      return 0;
    }
    copyOut(name, lpTempFileName, MAX_PATH);
    return uUnique;
  }
  std::string folder;
  if (!mapOrFail(base.c_str(), folder)) return 0;
  struct stat st;
  if (::stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    SetLastError(ERROR_DIRECTORY);
    return 0;
  }
  UINT start = static_cast<UINT>(std::random_device{}() & 0xFFFFu);
  if (start == 0) start = 1;
  UINT n = start;
  do {
    std::wstring name = nameFor(n);
    if (name.size() >= MAX_PATH) {
      SetLastError(ERROR_FILENAME_EXCED_RANGE);
      return 0;
    }
    std::string native;
    if (!mapOrFail(name.c_str(), native)) return 0;
    int fd = ::open(native.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (fd >= 0) {
      ::close(fd);
      copyOut(name, lpTempFileName, MAX_PATH);
      return n;
    }
    if (errno != EEXIST) {
      SetLastError(fileError(errno, native));
      return 0;
    }
    n = (n & 0xFFFFu) == 0xFFFFu ? 1 : n + 1;
  } while (n != start);
  SetLastError(ERROR_FILE_EXISTS);
  return 0;
}

DWORD GetTempPathW(DWORD nBufferLength, LPWSTR lpBuffer) {
  std::wstring value;
  if (!environmentValue(L"TMP", value) || value.empty()) {
    if (!environmentValue(L"TEMP", value) || value.empty()) {
      if (!environmentValue(L"TMPDIR", value) || value.empty()) value = L"/tmp";
    }
  }
  std::wstring full = fullPathName(value);
  if (full.back() != L'\\' && full.back() != L'/') full += isWindowsForm(full) ? L'\\' : L'/';
  return copyOut(full, lpBuffer, nBufferLength);
}

DWORD SearchPathW(LPCWSTR lpPath, LPCWSTR lpFileName, LPCWSTR lpExtension, DWORD nBufferLength, LPWSTR lpBuffer,
                  LPWSTR* lpFilePart) {
  if (!lpFileName || !*lpFileName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::wstring name(lpFileName);
  size_t lastSep = name.find_last_of(L"\\/");
  const std::wstring last = lastSep == std::wstring::npos ? name : name.substr(lastSep + 1);
  if (lpExtension && *lpExtension && last.find(L'.') == std::wstring::npos) name += lpExtension;

  auto exists = [](const std::wstring& candidate) {
    std::string native;
    DWORD error = 0;
    struct stat st;
    return toNativePath(candidate.c_str(), native, error) && ::stat(native.c_str(), &st) == 0;
  };
  auto answer = [&](const std::wstring& found) -> DWORD {
    std::wstring full = fullPathName(found);
    DWORD r = copyOut(full, lpBuffer, nBufferLength);
    if (lpFilePart && r < nBufferLength) {
      size_t cut = full.find_last_of(L"\\/");
      *lpFilePart = cut == std::wstring::npos ? lpBuffer : lpBuffer + cut + 1;
    }
    return r;
  };
  const bool explicitPath = isWindowsForm(name) || name[0] == L'\\' || name[0] == L'/' ||
                            name.rfind(L".\\", 0) == 0 || name.rfind(L"./", 0) == 0 || name.rfind(L"..\\", 0) == 0 ||
                            name.rfind(L"../", 0) == 0;
  if (explicitPath) {
    if (exists(name)) return answer(name);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return 0;
  }
  std::vector<std::wstring> folders;
  if (lpPath) {
    std::wstring all(lpPath);
    size_t pos = 0;
    while (pos <= all.size()) {
      size_t end = all.find(L';', pos);
      if (end == std::wstring::npos) end = all.size();
      if (end > pos) folders.push_back(all.substr(pos, end - pos));
      pos = end + 1;
    }
  } else {
    wchar_t module[4096];
    DWORD n = GetModuleFileNameW(nullptr, module, 4096);
    if (n > 0 && n < 4096) {
      std::wstring m(module, n);
      size_t cut = m.find_last_of(L"\\/");
      if (cut != std::wstring::npos) folders.push_back(m.substr(0, cut));
    }
    folders.push_back(L".");
    std::wstring path;
    if (environmentValue(L"PATH", path)) {
      size_t pos = 0;
      while (pos <= path.size()) {
        size_t end = path.find(L':', pos);
        if (end == std::wstring::npos) end = path.size();
        if (end > pos) folders.push_back(path.substr(pos, end - pos));
        pos = end + 1;
      }
    }
  }
  for (const auto& folder : folders) {
    std::wstring candidate = folder;
    if (candidate.back() != L'\\' && candidate.back() != L'/') candidate += (candidate[0] == L'/' ? L'/' : L'\\');
    candidate += name;
    if (exists(candidate)) return answer(candidate);
  }
  SetLastError(ERROR_FILE_NOT_FOUND);
  return 0;
}

int _wmkdir(const wchar_t* dirname) {
  std::string native;
  DWORD error = 0;
  if (!toNativePath(dirname, native, error)) {
    errno = error == ERROR_INVALID_NAME ? EINVAL : ENOENT;
    return -1;
  }
  return ::mkdir(native.c_str(), 0777) == 0 ? 0 : -1;
}

int _waccess(const wchar_t* path, int mode) {
  std::string native;
  DWORD error = 0;
  if (!toNativePath(path, native, error)) {
    errno = error == ERROR_INVALID_NAME ? EINVAL : ENOENT;
    return -1;
  }
  if (mode & ~6) {
    errno = EINVAL;
    return -1;
  }
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) return -1;
  if ((mode & 2) && !S_ISDIR(st.st_mode) && isReadOnlyMode(st.st_mode)) {
    errno = EACCES;
    return -1;
  }
  return 0;
}

DWORD CreatePrivateDirectory(LPCWSTR path) {
  std::string native;
  DWORD error = 0;
  if (!toNativePath(path, native, error)) return error;
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  if (::mkdir(native.c_str(), 0700) == 0) {
    // The umask may have taken bits away, never added any; the folder is ours.
    (void)::chmod(native.c_str(), 0700);
    return ERROR_SUCCESS;
  }
  if (errno != EEXIST) return errno == ENOENT ? DWORD(ERROR_PATH_NOT_FOUND) : fileError(errno, native);
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return fileError(errno, native);
  if (S_ISLNK(st.st_mode)) return ERROR_ACCESS_DENIED;
  if (!S_ISDIR(st.st_mode)) return ERROR_ALREADY_EXISTS;
  if (st.st_uid != ::geteuid()) return ERROR_ACCESS_DENIED;
  if ((st.st_mode & 077) != 0 && ::chmod(native.c_str(), 0700) != 0) return fileError(errno, native);
  return ERROR_SUCCESS;
}

}  // namespace KvdUtils::Platform
