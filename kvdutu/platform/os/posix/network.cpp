// Drive letters connected to shares, from the drive table.
#include "kvdutu/platform/os/network.h"

#include <cwctype>
#include <string>

#include "kvdutu/platform/os/posix/path_internal.h"

namespace KvdUtils::Platform {

DWORD WNetGetConnectionW(LPCWSTR lpLocalName, LPWSTR lpRemoteName, LPDWORD lpnLength) {
  if (!lpLocalName || !lpnLength) return ERROR_INVALID_PARAMETER;
  const std::wstring local(lpLocalName);
  if (local.size() != 2 || local[1] != L':' || !std::iswalpha(local[0])) return ERROR_BAD_DEVICE;
  std::wstring target;
  if (!detail::lookupDrive(local[0], target) || target.rfind(L"\\\\", 0) != 0) return ERROR_NOT_CONNECTED;
  for (auto& c : target) if (c == L'/') c = L'\\';
  if (!lpRemoteName || *lpnLength < target.size() + 1) {
    *lpnLength = static_cast<DWORD>(target.size() + 1);
    return ERROR_MORE_DATA;
  }
  detail::copyOut(target, lpRemoteName, *lpnLength);
  return NO_ERROR;
}

}  // namespace KvdUtils::Platform
