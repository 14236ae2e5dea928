// Deleting values and keys of the settings tree. An empty section is refused for the key
// deletions (it would name the root key itself) and nothing is deleted.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"

// Deletes valueName in hive\Software\<root>\section. Not versioned: under the product key.
// Versioned: under the current key and then under the previous key, and the result is the second
// deletion's alone (so a value only in the current key is deleted and 0 is returned).
KVDUTU_API int regDelSoftwareValue(HKEY hive, const CString& section, const CString& valueName, int versioned);

// Deletes section below the root (the current key when versioned, else the product key), or with
// a subKey given, subKey below section. Not recursive: a key with children stays, result 0.
KVDUTU_API int regDelSoftwareKey(HKEY hive, const wchar_t* section, const wchar_t* subKey, int versioned);

// Deletes the children of section, then section, always under the current key, but takes the list
// of children from the branch that versioned names. One level only: a child with children of its
// own stays, and so does section; the result is 1 all the same. 0 in safe or performance test
// mode, and when the children cannot be listed.
KVDUTU_API int regDelSoftwareKeyAndSubKeys(HKEY hive, const wchar_t* section, int versioned);

// Deletes subKey below parent with everything in it.
KVDUTU_API void regDeleteKey(HKEY parent, const wchar_t* subKey);
