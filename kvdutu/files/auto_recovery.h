// Auto-save and recovery files. They lie in "kvxauto" inside the backup folder (the temporary
// folder, or a base folder the caller gives, followed by string resource 12256). A recovery file
// is named by the host's recovery prefix (string resource 12298), the file's name and its
// extension; the prefix anywhere in a path marks the file as a recovery copy, so the host picks a
// text that ordinary paths never hold.
//
// Two process-wide flags say what the application is recovering. They are single words without a
// lock: the application sets them, this library only reads the first.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// The auto-save folder with a trailing '\', made when missing; its parent is not made, so on a
// machine without it the path comes back all the same and the first write there fails. Empty when
// neither a temporary folder nor `baseFolder` is known, and when, under the temporary folder, a
// link or another user's folder stands in the place of the backup or auto-save folder.
KVDUTU_API CString su_CreateAutoDirectory(CString baseFolder);

// The auto-save folder followed directly by `fileName`; empty when the folder is.
KVDUTU_API CString su_CreateAutoFilePath(const wchar_t* fileName, CString baseFolder);

KVDUTU_API int am_IsRecoveringCrashFiles();
KVDUTU_API void am_SetRecoveringCrashFiles(int recovering);
KVDUTU_API int am_IsRecoveringUserSavedFiles();
KVDUTU_API void am_SetRecoveringUserSavedFiles(int recovering);

// Names of recovery files and the files they stand for. The folder of a path plays no part in a
// recovery name: two files of one name in different folders share it.
class KVDUTU_API suAutoRecoveryResolver_c {
 public:
  // The auto-save folder (under the temporary folder) followed by the recovery prefix, the name
  // and the extension of `path`.
  static CString getRecoveryName(const CString& path);
  // The name and extension of `path` without its folder; a name that holds the recovery prefix
  // anywhere loses as many characters from its front as the prefix has.
  static CString getOrigName(const CString& path);
  // The partner of a name: the original's name for a recovery file, the recovery name otherwise.
  static CString getAliasName(const CString& path);
  // While crash files are being recovered, the recovery file of `path` when it exists; otherwise,
  // and for recovery files themselves, `path`. With the flag off no file is looked at.
  static CString resolveFileNameWhileRecovery(const CString& path);
  // 1 when the recovery prefix stands anywhere in the path, folders included. A host without a
  // recovery prefix marks nothing.
  static int isABackupFile(const CString& path);
};
