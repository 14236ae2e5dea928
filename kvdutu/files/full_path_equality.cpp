// Equality of two locations in their canonical form. The one part of the path model that asks the
// platform: which share a drive letter is mapped to, and the computer's name.
#include "kvdutu/files/full_path.h"

#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/network.h"

namespace {

// The form in which two locations are compared: a drive becomes the share it is mapped to, or the
// administrative share of this computer; separators become '\'; doubled separators behind a drive
// become one. A path without a drive only has its '/' turned.
CString canonicalForm(const suFullPath_c& path) {
  namespace P = KvdUtils::Platform;
  CString result = path;
  CString drive;
  if (path.getDrive(&drive)) {
    int rootLength = drive.GetLength() + 1;  // the drive with its colon
    CString rest = path.Mid(rootLength);
    CString root = path.Left(rootLength);
    wchar_t buffer[MAX_PATH] = {0};
    DWORD length = MAX_PATH;
    if (P::WNetGetConnectionW(root, buffer, &length) == NO_ERROR) {
      root = buffer;
    } else {
      length = MAX_PATH;
      if (P::GetComputerNameW(buffer, &length)) root.Format(L"\\\\%s\\%s", buffer, drive.GetString());
    }
    root.Replace(L'/', L'\\');
    rest.Replace(L'/', L'\\');
    rest.Replace(L"\\\\", L"\\");
    result = root + rest;
  }
  result.Replace(L'/', L'\\');
  return result;
}

}  // namespace

int suFullPath_c::operator==(const suFullPath_c& other) const {
  return canonicalForm(*this).CompareNoCase(canonicalForm(other)) == 0 ? 1 : 0;
}

