// Questions about folders and the making of them. All of them answer 1 or 0 and never throw.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// 1 if the path counts as a folder. A web location always does. Otherwise each entry that a search
// for the path finds is looked up by its bare name in the current working folder, so a path that
// exists counts as a folder unless a non-folder of the same bare name lies in the working folder.
// Callers rely on this; it is not a plain attribute test.
KVDUTU_API int su_DirectoryExists(const wchar_t* path);

// Makes the folder (one level) when it is missing; 1 if it then exists and can be written.
KVDUTU_API int su_createIfDoesNotExist(CString path);

// Makes every missing level of the path. A text without separator passes only when it is two
// characters long (taken for a drive such as "C:"), so network paths always fail.
KVDUTU_API int su_CreateDirectoryRecursive(const CString& path);

// 1 if a file can be made (and is then removed again) in the folder.
KVDUTU_API int su_DoesFolderHaveWriteAccess(const wchar_t* path);
