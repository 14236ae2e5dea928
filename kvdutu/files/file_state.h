// Questions about one file or one volume: room, read-only state, write protection, last save, and
// appending a text. None of them throws.
#pragma once

#include "kvdutu/platform/containers/su_time.h"
#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/exceptions.h"

// 0 only when the volume of `path` (the text up to its first separator) has too few free clusters
// for `bytes`; the user is then told through string resource 11448, which takes the root, the
// requested kilobytes and the free kilobytes as %1, %2 and %3. A volume that cannot be asked
// counts as roomy.
KVDUTU_API int su_IsEnoughSpace(const CString& path, unsigned long bytes);

// 1 if the file carries the read-only attribute or, with tryOpen non-zero, cannot be opened for
// writing because of rights or sharing.
KVDUTU_API int su_IsReadOnly(const CString& path, int tryOpen);

// Sets (readOnly non-zero) or clears the file's read-only attribute; 1 on success.
KVDUTU_API int su_SetReadOnlyFileFlag(CString& path, int readOnly);

// 1 if the volume whose root is given refuses a write (its own label written back). With
// removableOnly non-zero only removable drives are asked; others give 0. On 1, `error`, when
// given, receives the system error and the cause it stands for.
KVDUTU_API int su_IsWriteProtected(const wchar_t* root, CFileException* error, int removableOnly);

// 1 with the file's last-write time (local, daylight saving decided by the library) in `time`;
// 0 leaves `time` alone.
KVDUTU_API int su_GetLastSavedTime(const CString& path, su_CTime& time);

// Appends `text` as it stands (no line end added) to `file`, made when missing; 1 on success.
KVDUTU_API int ut_appendStringToFile(const wchar_t* text, const wchar_t* file);
