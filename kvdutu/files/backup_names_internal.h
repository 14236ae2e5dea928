// What the backup, auto-save and recovery names share: the host's texts that make them, and the
// folders under the temporary folder that hold them.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

namespace KvdUtils::File::Detail {

// A design file's path as backup and recovery names take it apart: the name without its extension,
// the extension (the text behind the last dot of the whole path) and the folder without a
// trailing separator.
struct DesignFileName {
  CString name, extension, folder;
  explicit DesignFileName(const CString& path);
  // The name, a dot and the extension: the dot stays when the extension is empty.
  CString fileName() const { return name + L'.' + extension; }
};

// The host's string resources behind the names.
constexpr unsigned int kBackupPrefixText = 10122;  // one "%s" insertion place
constexpr unsigned int kBackupFolderText = 12256;  // joined directly behind a folder
constexpr unsigned int kRecoveryPrefixText = 12298;

// The recovery prefix; empty when the host has none.
KVDUTU_API CString recoveryPrefix();

// The long form of the system temporary folder followed directly by the backup folder's text;
// empty when either is missing.
CString backupFolderUnderTemp();

// True when a symbolic link (a reparse point on Windows) or another user's folder stands where the
// library's own folder belongs: such a folder is not handed out. A missing folder is made, private
// to the user; anything else (a file in the way, a missing parent) is left for the caller's own
// steps to meet.
bool refusedAsPrivateFolder(const CString& folder);

// Looks for `name` on `searchPath` (SearchPathW, 260 characters); when it is not found, makes
// `folder` with _wmkdir, and with CreateDirectoryW when that failed and the folder is still
// missing. Whether it then exists is for the first write there to find out.
void findOrMakeFolder(const CString& searchPath, const CString& name, const CString& folder);

}  // namespace KvdUtils::File::Detail
