#include "kvdutu/files/file_lists.h"

#include "kvdutu/files/full_path.h"
#include "kvdutu/platform/os/find.h"

namespace Os = KvdUtils::Platform;

void su_FindFilesWithExt(const CString& folder, const CString& extension, su_CStringList& names) {
  CString pattern(folder);
  const int length = pattern.GetLength();
  if (length > 0 && pattern[length - 1] == L'\\') pattern.Truncate(length - 1);
  pattern += L"\\*.";
  pattern += extension;
  WIN32_FIND_DATAW entry{};
  HANDLE search = Os::FindFirstFileW(pattern, &entry);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      const CString name(entry.cFileName);
      const bool lockFile = name.Find(L'~') == 0 && name.Find(L'$', 1) == 1;
      if (!lockFile) names.AddTail(name);
    } while (Os::FindNextFileW(search, &entry));
  }
  // Also after a search that found nothing: the system call tolerates the invalid handle.
  Os::FindClose(search);
}

void su_SortFilesAlphabetically(su_CStringList& names, su_CStringList& sorted) {
  // Only the names there at the start are taken, so that a list sorted into itself still ends.
  INT_PTR remaining = names.GetCount();
  POSITION from = names.GetHeadPosition();
  while (from && remaining-- > 0) {
    const CString name = names.GetNext(from);
    POSITION at = sorted.GetHeadPosition();
    POSITION before = nullptr;
    while (at) {
      POSITION current = at;
      if (name.CompareNoCase(sorted.GetNext(at)) < 0) {
        before = current;
        break;
      }
    }
    if (before) sorted.InsertBefore(before, name);
    else sorted.AddTail(name);
  }
}

CString su_RemoveDuplicatedExtensions(CString& name) {
  // The extension is what the path model calls one: the text behind the last '.'.
  suFullPath_c path(name);
  CString bare;
  if (name.Find(L'.') < 0) return name;
  path.getExtension(&bare);
  const CString extension = L'.' + bare;
  CString stem = name.Left(name.GetLength() - extension.GetLength());
  const int extLength = extension.GetLength();
  while (stem.GetLength() > extLength && stem.Right(extLength).CompareNoCase(extension) == 0) {
    stem.Truncate(stem.GetLength() - extLength);
  }
  return stem + extension;
}
