#include "kvdutu/files/backups.h"

#include <algorithm>
#include <cwchar>

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

}  // namespace

namespace KvdUtils::File::Detail {

DesignFileName::DesignFileName(const CString& path) {
  const suFullPath_c full(path);
  full.getName(&name, 0);
  full.getExtension(&extension);
  full.getDirectory(&folder, 0);
}

bool backupPrefix(int copy, CString& prefix) {
  CString format;
  if (!format.LoadString(kBackupPrefixText) || !isSingleStringFormat(format)) return false;
  CString insert;
  if (copy > 0) insert.Format(L"(%d) ", copy);
  prefix.Format(format, insert.GetString());
  return !prefix.IsEmpty();
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
  if (!listHolds(beside, split.fileName())) return 0;

  // Without the host's prefix a backup would carry the file's own name; nothing is touched.
  CString unnumbered;
  if (!backupPrefix(0, unnumbered)) {
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
    const CString name = unnumbered + split.fileName();
    // A single backup that an earlier setting put beside the file goes, whatever the setting is now.
    Os::DeleteFileW(split.folder + L'\\' + name);
    if (!toOriginalPath) Os::DeleteFileW(folder + L'\\' + name);
    return Os::CopyFileW(path, folder + L'\\' + name, FALSE);
  }

  su_CStringList present;
  su_FindFilesWithExt(folder, split.extension, present);
  CString younger;  // the name of copy i + 1
  for (int i = count; i >= 1; --i) {
    CString prefix;
    if (!backupPrefix(i, prefix)) return 0;
    const CString name = prefix + split.fileName();
    // The oldest copy falls off by being overwritten from the one below it.
    if (i != count && listHolds(present, name)) copyFile(folder + L'\\' + name, folder + L'\\' + younger);
    if (i == 1) return Os::CopyFileW(path, folder + L'\\' + name, FALSE);
    younger = name;
  }
  return 0;  // a negative count makes no copy
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
  CString prefix;
  if (backupPrefix(0, prefix)) {
    su_CStringList beside;
    su_FindFilesWithExt(split.folder, split.extension, beside);
    const CString name = prefix + split.fileName();
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
  wchar_t found[260 + 1] = {};
  wchar_t* filePart = nullptr;
  if (Os::SearchPathW(folder, folder, nullptr, 260, found, &filePart)) return folder;
  if (Os::_wmkdir(folder) != 0 && Os::_waccess(folder, 0) != 0) Os::CreateDirectoryW(folder, nullptr);
  return folder;
}
