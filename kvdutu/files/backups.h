// Numbered backup copies of a design file, kept in a backup folder or beside the file.
//
// Settings, section "General": "Backup Copies" (how many; 0 switches backups off; 1 when it cannot
// be read), "Backup to original path" (non-zero: beside the file) and "Backup directory" (filled
// in with the default folder the first time it is needed).
//
// A backup of N.E is named by the host's prefix text (string resource 10122, one "%s" insertion
// place): with one copy kept, prefix(""), N, '.', E; with several, copy i (1 the youngest) is
// prefix("(i) "), N, '.', E. Copies rotate by copying, never by renaming, so a failure part-way
// leaves every older copy readable. Copies above a lowered count stay where they are.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// 1 (or the copy's non-zero result) when the backup was made or backups are off; 0 when the file
// is not found in its folder under exactly this name, the backup folder cannot be made or is
// refused, the host has no usable prefix text, or the last copy fails.
KVDUTU_API int su_CreateBackupOfFile(CString path);

// Writes to `out` the unnumbered backup beside `path` when there is one, else `path` itself. `out`
// has room for a full path: MAX_PATH characters, or the length of `path` when that is more; a
// backup name that would not fit gives `path`.
KVDUTU_API void su_ResolveToBackupFile(const wchar_t* path, wchar_t* out);

// The default backup folder (the temporary folder followed by string resource 12256), made when
// missing. Empty without a temporary folder or a folder text, and when a link or another user's
// folder stands in its place; otherwise the folder even when it could not be made.
KVDUTU_API CString su_CreateBackupDirectory();
