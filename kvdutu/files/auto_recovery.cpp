#include "kvdutu/files/auto_recovery.h"

#include <atomic>

#include "kvdutu/files/backup_names_internal.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/os/file.h"

namespace Os = KvdUtils::Platform;
using namespace KvdUtils::File::Detail;

namespace {

// Word-sized, unlocked, and free of data races: relaxed atomics compile to plain loads and stores.
std::atomic<int> recoveringCrashFiles{0};
std::atomic<int> recoveringUserSavedFiles{0};

const wchar_t* const kAutoFolderName = L"kvxauto";

bool holdsRecoveryPrefix(const CString& text, const CString& prefix) {
  return !prefix.IsEmpty() && text.Find(prefix) >= 0;
}

}  // namespace

CString su_CreateAutoDirectory(CString baseFolder) {
  const CString temp = su_GetSystemTempDirectory(1);
  if (temp.IsEmpty() && baseFolder.IsEmpty()) return CString();
  CString folderText;
  folderText.LoadString(kBackupFolderText);
  const bool underTemp = baseFolder.IsEmpty();
  const CString parent = (underTemp ? temp : baseFolder) + folderText;
  const CString result = parent + L'\\' + kAutoFolderName + L'\\';
  if (underTemp) {
    // Both levels lie in the shared temporary folder. The parent is only judged, never made here.
    if (folderText.IsEmpty()) return CString();
    if (Os::GetFileAttributesW(parent) != INVALID_FILE_ATTRIBUTES && refusedAsPrivateFolder(parent)) return CString();
    if (refusedAsPrivateFolder(result)) return CString();
  }
  findOrMakeFolder(parent, kAutoFolderName, result);
  return result;
}

CString su_CreateAutoFilePath(const wchar_t* fileName, CString baseFolder) {
  const CString folder = su_CreateAutoDirectory(baseFolder);
  if (folder.IsEmpty()) return folder;
  return folder + (fileName ? fileName : L"");
}

int am_IsRecoveringCrashFiles() { return recoveringCrashFiles.load(std::memory_order_relaxed); }
void am_SetRecoveringCrashFiles(int recovering) { recoveringCrashFiles.store(recovering, std::memory_order_relaxed); }
int am_IsRecoveringUserSavedFiles() { return recoveringUserSavedFiles.load(std::memory_order_relaxed); }
void am_SetRecoveringUserSavedFiles(int recovering) {
  recoveringUserSavedFiles.store(recovering, std::memory_order_relaxed);
}

CString suAutoRecoveryResolver_c::getRecoveryName(const CString& path) {
  const DesignFileName split(path);
  const CString recoveryFile = recoveryPrefix() + split.fileName();
  return su_CreateAutoFilePath(recoveryFile, CString());
}

CString suAutoRecoveryResolver_c::getOrigName(const CString& path) {
  DesignFileName split(path);
  const CString prefix = recoveryPrefix();
  // The front goes, wherever the prefix was found: names are expected to begin with it.
  if (holdsRecoveryPrefix(split.name, prefix)) split.name = split.name.Mid(prefix.GetLength());
  return split.fileName();
}

CString suAutoRecoveryResolver_c::getAliasName(const CString& path) {
  return isABackupFile(path) ? getOrigName(path) : getRecoveryName(path);
}

CString suAutoRecoveryResolver_c::resolveFileNameWhileRecovery(const CString& path) {
  if (!am_IsRecoveringCrashFiles() || isABackupFile(path)) return path;
  const CString recovery = getRecoveryName(path);
  if (!recovery.IsEmpty() && Os::_waccess(recovery, 0) == 0) return recovery;
  return path;
}

int suAutoRecoveryResolver_c::isABackupFile(const CString& path) {
  return holdsRecoveryPrefix(path, recoveryPrefix()) ? 1 : 0;
}
