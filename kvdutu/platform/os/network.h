// Network connections of drive letters. On POSIX a drive is "connected" when the drive table
// (KVDUTU_DRIVES, see file.h) maps it to a share (`N=\\server\share`): WNetGetConnectionW(L"N:")
// gives that UNC name. A drive mapped to a local folder, or not mapped, is not connected.
#pragma once

#include "kvdutu/platform/win_types.h"

#if defined(_WIN32)
#include <winnetwk.h>
#else
#define ERROR_BAD_DEVICE 1200L
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::WNetGetConnectionW;
#else
// NO_ERROR; ERROR_NOT_CONNECTED; ERROR_MORE_DATA with the size needed (characters, terminator
// included) in *lpnLength; ERROR_BAD_DEVICE for a name that is not a drive ("X:").
KVDUTU_API DWORD WNetGetConnectionW(LPCWSTR lpLocalName, LPWSTR lpRemoteName, LPDWORD lpnLength);
#endif
}  // namespace KvdUtils::Platform
