// The roots of the versioned settings tree: the product key, the key of the running version
// (the current key) and the key of the newest older version found for this user (the previous
// key), and the two process modes in which the user's own settings are neither trusted nor
// touched. Every settings key is: hive, "Software", one of these root texts, section, value name.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

namespace KvdUtils::Registry {
// The product key: "Korvalinde", or the name that "reg.ini" beside the main executable gives
// when the alternate registry path is allowed. Read from the file once per process.
KVDUTU_API CString getCurrKorvalindeRegRootKey();
}  // namespace KvdUtils::Registry

// Makes the current key the product key, a backslash and subKey; no check, no test that the key
// exists. The application calls it at start-up, before reading any setting.
KVDUTU_API void setCurrKorvalindeRegSubKey(const wchar_t* subKey);
// The current key; the product key until setCurrKorvalindeRegSubKey is called.
KVDUTU_API CString externalGetCurrKorvalindeRegSubKey();
// The previous key; the product key when no older version is found.
KVDUTU_API CString externalGetPrevKorvalindeRegSubKey();
// 1 when some older version was found (the previous key differs from the product key), else 0.
KVDUTU_API int externalCheckPrevKorvalindeRegSubKey();

// Whether "reg.ini" may rename the product key (1 at load).
KVDUTU_API int getUseAlternateRegPath();
KVDUTU_API void setUseAlternateRegPath(int use);

// Safe mode and performance test mode (both 0 at load). The setters take any integer; readers
// treat the flags as truth values.
KVDUTU_API int regGetUseSafeMode();
KVDUTU_API void regSetUseSafeMode(int use);
KVDUTU_API int regGetUsePerformanceTestMode();
KVDUTU_API void regSetUsePerformanceTestMode(int use);

// The folder of the process's main executable without a trailing separator, or empty.
KVDUTU_API CString GetKvDirectory();
