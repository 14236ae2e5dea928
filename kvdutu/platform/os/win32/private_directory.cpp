// Private folders on Windows: the folder is made with the inherited protection of its parent
// (the per-user temporary folder), and refused when a reparse point (a link or junction) or a
// file stands in its place.
#include "kvdutu/platform/os/file.h"

#include <string>

namespace KvdUtils::Platform {

DWORD CreatePrivateDirectory(LPCWSTR path) {
  if (!path || !*path) return ERROR_PATH_NOT_FOUND;
  if (::CreateDirectoryW(path, nullptr)) return ERROR_SUCCESS;
  DWORD error = ::GetLastError();
  if (error != ERROR_ALREADY_EXISTS) return error;
  DWORD attributes = ::GetFileAttributesW(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return ::GetLastError();
  if (attributes & FILE_ATTRIBUTE_REPARSE_POINT) return ERROR_ACCESS_DENIED;
  if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) return ERROR_ALREADY_EXISTS;
  return ERROR_SUCCESS;
}

}  // namespace KvdUtils::Platform
