// Listings of a section of the settings tree.
#pragma once

#include "kvdutu/platform/containers/su_string_array.h"
#include "kvdutu/platform/containers/su_uint_array.h"
#include "kvdutu/platform/framework/cstring.h"

// Replaces out with the heading "[root] [section]:" and one line "name=value" per value of the
// section in the current user's hive, in enumeration order; strings that hold a backslash (paths)
// are left out. The root text is *altRoot, else the current key when versioned, else the product
// key. 1 if every value was listed; 0 in safe or performance test mode or when the section is
// missing, out untouched then.
KVDUTU_API int regGetUserValuesLog(const CString& section, CString& out, int versioned = 1,
                                   CString* altRoot = nullptr);

// Empties both arrays, then lists the REG_DWORD values of section under the current key, in the
// current user's hive (machine 0; not in safe or performance test mode) or the machine hive:
// names and values in step. 1 if the listing reached the end, 0 if the key could not be opened.
KVDUTU_API int regGetFieldNamesAndValues(const CString& section, int machine, su_CStringArray& names,
                                         su_CUIntArray& values);
