#include "kvdutu/files/backups.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <functional>
#include <vector>

#include "kvdutu/files/backup_names_internal.h"
#include "kvdutu/files/file_lists.h"
#include "kvdutu/files/folders.h"
#include "kvdutu/files/full_path.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/containers/su_string_list.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/settings/user_values.h"

namespace Os = KvdUtils::Platform;
using namespace KvdUtils::File::Detail;

namespace {

const wchar_t* const kSection = L"General";

// Exact, case-counting membership: the file system's answer is compared with the caller's text.
bool listHolds(const su_CStringList& list, const CString& name) {
  for (POSITION at = list.GetHeadPosition(); at;)
    if (list.GetNext(at) == name) return true;
  return false;
}

// The format must hold exactly one "%s" and nothing else to fill in.
bool isSingleStringFormat(const CString& format) {
  int places = 0;
  for (int i = 0; i < format.GetLength(); ++i) {
    if (format[i] != L'%') continue;
    if (i + 1 >= format.GetLength()) return false;
    const wchar_t next = format[++i];
    if (next == L'%') continue;
    if (next != L's') return false;
    ++places;
  }
  return places == 1;
}

bool copyFile(const CString& from, const CString& to) { return Os::CopyFileW(from, to, FALSE) != FALSE; }

// The names of one file's backups, made from the host's prefix text: with an empty insert for the
// single copy, with "(i) " for copy i. Unusable when the host has no such text, or the text is not
// a format with exactly one "%s": filling in anything else would read arguments that are not
// there, and an empty prefix would give a backup the file's own name.
class BackupNames {
 public:
  explicit BackupNames(const CString& fileName) : m_fileName(fileName) {
    m_usable = m_format.LoadString(kBackupPrefixText) && isSingleStringFormat(m_format) && !prefix(L"").IsEmpty();
  }
  bool usable() const { return m_usable; }
  CString unnumbered() const { return prefix(L"") + m_fileName; }
  CString numbered(int copy) const {
    CString insert;
    insert.Format(L"(%d) ", copy);
    return prefix(insert) + m_fileName;
  }

  // The number of the copy that a listed name is, or 0 when it is no numbered copy of this file.
  int copyNumberOf(const CString& listed) const {
    // The text around the insertion place, found by filling in a character no file name holds.
    const CString marked = prefix(L"\xFFFF") + m_fileName;
    const int at = marked.Find(L'\xFFFF');
    if (at < 0) return 0;
    const CString head = marked.Left(at) + L'(';
    const CString tail = L") " + marked.Mid(at + 1);
    const int digits = listed.GetLength() - head.GetLength() - tail.GetLength();
    if (digits < 1 || digits > 10 || listed.Left(head.GetLength()) != head ||
        listed.Right(tail.GetLength()) != tail)
      return 0;
    long long number = 0;
    for (int i = head.GetLength(); i < head.GetLength() + digits; ++i) {
      if (listed[i] < L'0' || listed[i] > L'9') return 0;
      number = number * 10 + (listed[i] - L'0');
    }
    if (number < 1 || number > INT_MAX) return 0;
    // Leading zeros and the like: only the name that the copy's own number makes counts.
    return numbered(static_cast<int>(number)) == listed ? static_cast<int>(number) : 0;
  }

 private:
  CString prefix(const wchar_t* insert) const {
    CString text;
    text.Format(m_format, insert);
    return text;
  }

  CString m_format;
  CString m_fileName;
  bool m_usable = false;
};

}  // namespace

namespace KvdUtils::File::Detail {

DesignFileName::DesignFileName(const CString& path) {
  const suFullPath_c full(path);
  full.getName(&name, 0);
  full.getExtension(&extension);
  full.getDirectory(&folder, 0);
}

CString recoveryPrefix() {
  CString prefix;
  prefix.LoadString(kRecoveryPrefixText);
  return prefix;
}

CString backupFolderUnderTemp() {
  const CString temp = su_GetSystemTempDirectory(1);
  CString folderText;
  if (temp.IsEmpty() || !folderText.LoadString(kBackupFolderText)) return CString();
  return temp + folderText;
}

void findOrMakeFolder(const CString& searchPath, const CString& name, const CString& folder) {
  wchar_t found[260 + 1] = {};
  wchar_t* filePart = nullptr;
  if (Os::SearchPathW(searchPath, name, nullptr, 260, found, &filePart)) return;
  if (Os::_wmkdir(folder) != 0 && Os::_waccess(folder, 0) != 0) Os::CreateDirectoryW(folder, nullptr);
}

bool refusedAsPrivateFolder(const CString& folder) {
  return Os::CreatePrivateDirectory(folder) == ERROR_ACCESS_DENIED;
}

}  // namespace KvdUtils::File::Detail

int su_CreateBackupOfFile(CString path) {
  int count = 1;
  if (regGetUserValue(kSection, L"Backup Copies", &count) && count == 0) return 1;

  const DesignFileName split(path);
  su_CStringList beside;
  su_FindFilesWithExt(split.folder, split.extension, beside);
  // A path that ends in a separator (or in ".") names no file, yet its "." matches the folder's
  // own entry that a "*." search lists; going on would delete "Backup of ." (on Windows: a file
  // "Backup of") beside it before the copy failed.
  if (split.name.IsEmpty() && split.extension.IsEmpty()) return 0;
  if (!listHolds(beside, split.fileName())) return 0;

  const BackupNames names(split.fileName());
  if (!names.usable()) {
    Os::SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return 0;
  }

  int toOriginalPath = 0;
  regGetUserValue(kSection, L"Backup to original path", &toOriginalPath);
  CString folder;
  if (toOriginalPath) {
    folder = split.folder;
  } else {
    regGetUserValue(kSection, L"Backup directory", folder);
    const CString defaultFolder = backupFolderUnderTemp();
    if (folder.IsEmpty()) {
      if (defaultFolder.IsEmpty()) return 0;
      folder = defaultFolder;
      if (refusedAsPrivateFolder(folder) || !su_createIfDoesNotExist(folder)) return 0;
      regSetUserValue(kSection, L"Backup directory", folder);
    } else {
      // The remembered default lies in the shared temporary folder, where it may have been
      // cleaned away and replaced since; a folder the user chose is the user's business.
      if (!defaultFolder.IsEmpty() && folder.CompareNoCase(defaultFolder) == 0 && refusedAsPrivateFolder(folder))
        return 0;
      if (!su_createIfDoesNotExist(folder)) return 0;
    }
  }

  if (count == 1) {
    const CString name = names.unnumbered();
    // A single backup that an earlier setting put beside the file goes, whatever the setting is now.
    Os::DeleteFileW(split.folder + L'\\' + name);
    if (!toOriginalPath) Os::DeleteFileW(folder + L'\\' + name);
    return Os::CopyFileW(path, folder + L'\\' + name, FALSE);
  }
  if (count < 0) return 0;  // no copy is made

  // From the count down to 1, each copy that the listing (taken once, before anything moves)
  // holds goes one number up, except the one at the count, which falls off by being overwritten
  // from the copy below it. Only listed numbers can do anything, so only they are visited: a
  // count in the millions costs no more than the copies there are.
  su_CStringList present;
  su_FindFilesWithExt(folder, split.extension, present);
  std::vector<int> listed;
  for (POSITION at = present.GetHeadPosition(); at;) {
    const int copy = names.copyNumberOf(present.GetNext(at));
    if (copy >= 1 && copy < count) listed.push_back(copy);
  }
  std::sort(listed.begin(), listed.end(), std::greater<int>());
  listed.erase(std::unique(listed.begin(), listed.end()), listed.end());
  for (int copy : listed) copyFile(folder + L'\\' + names.numbered(copy), folder + L'\\' + names.numbered(copy + 1));
  return Os::CopyFileW(path, folder + L'\\' + names.numbered(1), FALSE);
}

void su_ResolveToBackupFile(const wchar_t* path, wchar_t* out) {
  if (!out) return;
  if (!path) {
    out[0] = L'\0';
    return;
  }
  const size_t room = std::max<size_t>(MAX_PATH, std::wcslen(path) + 1);
  CString result(path);
  const DesignFileName split(result);
  const BackupNames names(split.fileName());
  if (names.usable()) {
    su_CStringList beside;
    su_FindFilesWithExt(split.folder, split.extension, beside);
    const CString name = names.unnumbered();
    if (listHolds(beside, name)) {
      CString backup;
      backup.Format(L"%s%s%s", split.folder.GetString(), L"\\", name.GetString());
      if (static_cast<size_t>(backup.GetLength()) < room) result = backup;
    }
  }
  std::wmemcpy(out, result.GetString(), static_cast<size_t>(result.GetLength()) + 1);
}

CString su_CreateBackupDirectory() {
  const CString folder = backupFolderUnderTemp();
  if (folder.IsEmpty()) return folder;
  if (refusedAsPrivateFolder(folder)) return CString();
  findOrMakeFolder(folder, folder, folder);
  return folder;
}
