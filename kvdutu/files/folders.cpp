#include "kvdutu/files/folders.h"

#include "kvdutu/files/full_path.h"
#include "kvdutu/files/full_path_internal.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/handle.h"

namespace Os = KvdUtils::Platform;
using KvdUtils::File::Detail::isWebLocation;
using KvdUtils::File::Detail::lastSeparator;

namespace {

// Closes the search however the look-up ends.
class SearchHandle {
 public:
  explicit SearchHandle(HANDLE h) : m_h(h) {}
  ~SearchHandle() {
    if (m_h != INVALID_HANDLE_VALUE) Os::FindClose(m_h);
  }
  SearchHandle(const SearchHandle&) = delete;
  SearchHandle& operator=(const SearchHandle&) = delete;
  HANDLE get() const { return m_h; }

 private:
  HANDLE m_h;
};

}  // namespace

int su_DirectoryExists(const wchar_t* path) {
  if (!path) return 0;
  suFullPath_c full(path);
  if (isWebLocation(full)) return 1;
  const int length = full.GetLength();
  if (length > 0 && full[length - 1] == L'\\') full.Truncate(length - 1);

  WIN32_FIND_DATAW entry{};
  SearchHandle search(Os::FindFirstFileW(full, &entry));
  bool haveEntry = search.get() != INVALID_HANDLE_VALUE;
  if (!haveEntry) {
    // A drive or share root is never found by a search but is a folder all the same.
    const DWORD attributes = Os::GetFileAttributesW(full);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) return 0;
    entry.cFileName[0] = L'\0';
  }
  for (;;) {
    // The bare name is looked up relative to the working folder, not to the searched path; a
    // failed look-up (all bits set) therefore counts as a folder too.
    if (Os::GetFileAttributesW(entry.cFileName) & FILE_ATTRIBUTE_DIRECTORY) return 1;
    if (!haveEntry || !Os::FindNextFileW(search.get(), &entry)) return 0;
  }
}

int su_createIfDoesNotExist(CString path) {
  if (Os::_waccess(path, 0) != 0 && Os::_wmkdir(path) != 0) return 0;
  return Os::_waccess(path, 2) == 0 ? 1 : 0;
}

int su_CreateDirectoryRecursive(const CString& path) {
  const int last = lastSeparator(path);
  if (last < 0) return path.GetLength() == 2 ? 1 : 0;
  const CString parent = path.Left(last);
#if !defined(_WIN32)
  // A native absolute path ("/srv/x") has the file system's root above its first level; the root
  // exists. A network path ("\\srv\..." or "//srv/...") still runs down to the empty text and fails.
  const bool nativeRoot = last == 0 && path[0] == L'/' && !(path.GetLength() > 1 && (path[1] == L'/' || path[1] == L'\\'));
#else
  const bool nativeRoot = false;
#endif
  if (!nativeRoot && !su_CreateDirectoryRecursive(parent)) return 0;
  if (Os::GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) return Os::CreateDirectoryW(path, nullptr) ? 1 : 0;
  return 1;
}

int su_DoesFolderHaveWriteAccess(const wchar_t* path) {
  if (!path) return 0;
  CString folder(path);
  folder.Replace(L'/', L'\\');
  if (Os::GetFileAttributesW(folder) == INVALID_FILE_ATTRIBUTES) return 0;
  wchar_t name[MAX_PATH + 1] = {};
  Os::GetTempFileNameW(folder, L"temp", 0, name);
  HANDLE file = Os::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                nullptr);
  if (file == INVALID_HANDLE_VALUE) return 0;
  Os::CloseHandle(file);
  Os::DeleteFileW(name);
  return 1;
}
