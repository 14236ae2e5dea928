#include "kvdutu/platform/os/error.h"

#include <cerrno>

namespace KvdUtils::Platform {

namespace {
thread_local DWORD t_lastError = ERROR_SUCCESS;
}

DWORD GetLastError() { return t_lastError; }
void SetLastError(DWORD code) { t_lastError = code; }

DWORD Win32ErrorFromErrno(int err) {
  switch (err) {
    case 0: return ERROR_SUCCESS;
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM: return ERROR_ACCESS_DENIED;
    case EROFS: return ERROR_WRITE_PROTECT;
    case EEXIST: return ERROR_ALREADY_EXISTS;
    case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
    case EISDIR: return ERROR_ACCESS_DENIED;
    case ENOSPC: return ERROR_DISK_FULL;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case EMFILE:
    case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
    case EBADF: return ERROR_INVALID_HANDLE;
    case EINVAL: return ERROR_INVALID_PARAMETER;
    case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
    case EBUSY: return ERROR_BUSY;
    case EXDEV: return ERROR_NOT_SAME_DEVICE;
    case EPIPE: return ERROR_BROKEN_PIPE;
    case ETIMEDOUT: return ERROR_TIMEOUT;
    case ENOSYS:
    case EOPNOTSUPP: return ERROR_NOT_SUPPORTED;
    default: return ERROR_INVALID_FUNCTION;
  }
}

}  // namespace KvdUtils::Platform
