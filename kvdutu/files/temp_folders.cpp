#include "kvdutu/files/temp_folders.h"

#include <cwchar>
#include <vector>

#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/shell.h"

namespace Os = KvdUtils::Platform;

namespace {

// The value of "temp", else "tmp"; false when neither is set. Read through the environment call
// because the C runtime's copy does not see variables set through the system.
bool readTempVariable(CString& value) {
  for (const wchar_t* name : {L"temp", L"tmp"}) {
    const DWORD needed = Os::GetEnvironmentVariableW(name, nullptr, 0);
    if (needed == 0) continue;
    std::vector<wchar_t> buffer(needed + 1, L'\0');
    const DWORD got = Os::GetEnvironmentVariableW(name, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (got == 0 || got >= buffer.size()) continue;
    value = CString(buffer.data(), static_cast<int>(got));
    return true;
  }
  return false;
}

}  // namespace

CString su_converToLongPathName(CString path) {
  wchar_t buffer[520 + 1] = {};
  Os::GetLongPathNameW(path, buffer, 520);
  return CString(buffer);
}

CString su_GetSystemTempDirectory(int longForm) {
  CString value;
  if (!readTempVariable(value)) return CString();
  return longForm ? su_converToLongPathName(value) : value;
}

CString su_CreateTempDirectory(int perProcess) {
  CString folderName;
  if (perProcess) folderName.Format(L"kvx%d", Os::_getpid());
  CString tempValue;
  if (!readTempVariable(tempValue)) return CString();
  CString result = su_converToLongPathName(tempValue) + L'\\';
  if (folderName.IsEmpty()) return result;
  result += folderName + L'\\';
  wchar_t found[260 + 1] = {};
  wchar_t* filePart = nullptr;
  Os::SearchPathW(tempValue, folderName, nullptr, 260, found, &filePart);
  // Made private, or narrowed to the current user when it already stands there. Something that
  // only pretends to be our folder (a link, another user's folder) is not handed out.
  if (Os::CreatePrivateDirectory(result) == ERROR_ACCESS_DENIED) return CString();
  return result;
}

CString su_CreateTempFilePath(const wchar_t* name, int perProcess) {
  CString folder = su_CreateTempDirectory(perProcess);
  if (folder.IsEmpty()) return folder;
  return folder + (name ? name : L"");
}

unsigned int su_GetLongPathName(const wchar_t* path, wchar_t* out) {
  if (!out) return 0;
  out[0] = L'\0';
  if (!path) return 0;
  std::vector<wchar_t> local(path, path + std::wcslen(path) + 1);
  IShellFolder* desktop = nullptr;
  if (FAILED(Os::SHGetDesktopFolder(&desktop)) || !desktop) return 0;
  LPITEMIDLIST list = nullptr;
  ULONG eaten = 0;
  ULONG attributes = 0;
  const HRESULT parsed = desktop->ParseDisplayName(nullptr, nullptr, local.data(), &eaten, &list, &attributes);
  desktop->Release();
  if (FAILED(parsed) || !list) return 0;
  Os::SHGetPathFromIDListW(list, out);
  IMalloc* allocator = nullptr;
  if (SUCCEEDED(Os::SHGetMalloc(&allocator)) && allocator) {
    allocator->Free(list);
    allocator->Release();
  }
  return 1;
}
