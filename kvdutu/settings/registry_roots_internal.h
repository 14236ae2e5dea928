// The roots of the settings tree as the settings store itself uses them. Exported for the other
// parts of the store and for the tests, but not part of the library's interface.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

// The current key, set to the product key first if it is still empty.
KVDUTU_API CString& getCurrentSubKeyFilled();
// The current key as it stands, empty before any reader or setCurrKorvalindeRegSubKey filled it
// (a few readers of the machine hive use it so).
KVDUTU_API const CString& getCurrentSubKeyRaw();
// The previous key, searched for on first use and kept for the rest of the process.
KVDUTU_API CString& getPreviousSubKey();
// The folder of the main executable; 1 if it was found and is not empty.
KVDUTU_API int getExecutableFolder(CString& out);

namespace KvdUtils::Registry {

// The release that runs: the newest row of the version table is one release older.
constexpr int kCurrentRelease = 2013;
// Older versions, newest first: key names directly below the product key. Literals, whatever
// the product key is.
constexpr int kPreviousVersionCount = 15;
KVDUTU_API extern const wchar_t* const kPreviousVersionKeys[kPreviousVersionCount];

// One search for the previous key below productKey in the current user's hive: productKey with a
// backslash and the first row whose key opens with full access, else productKey alone; no search
// at all in safe or performance test mode. getPreviousSubKey caches the first answer.
KVDUTU_API CString searchPreviousSubKey(const CString& productKey);

// Puts the state of the roots back to what it is at load (flags, cached product key, current and
// previous key), so that each test starts as a new process would. Under Wine one process runs
// every test of a program.
KVDUTU_API void resetRegistryRootsForTesting();

}  // namespace KvdUtils::Registry
