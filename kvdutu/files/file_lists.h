// Lists of file names: the files of one extension in a folder, their order, and names whose
// extension was repeated.
#pragma once

#include "kvdutu/platform/containers/su_string_list.h"
#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// Appends to `names` (not cleared) the bare names that "folder\*.extension" finds, in the order of
// the search. Names that begin with "~$" (an editor's lock files) are left out; folders that match
// are not told apart from files.
KVDUTU_API void su_FindFilesWithExt(const CString& folder, const CString& extension, su_CStringList& names);

// Inserts every name of `names` into `sorted` (not cleared) before the first element that it
// precedes without regard to case; equal names keep their order of arrival.
KVDUTU_API void su_SortFilesAlphabetically(su_CStringList& names, su_CStringList& sorted);

// The name with its last extension repeated at the end reduced to one occurrence, without regard
// to case: "a.prt.PRT.prt" gives "a.prt". The stem must stay longer than the extension, so ".x.x"
// stays as it is.
KVDUTU_API CString su_RemoveDuplicatedExtensions(CString& name);
