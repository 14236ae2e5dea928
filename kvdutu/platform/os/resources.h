// String resources by number. The host registers the texts of its string table; LoadStringW looks
// there first on every platform, and on Windows falls back to the module's own string table.
#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform {

// Sets (or replaces) the text of string resource id. A null or empty text removes it, as a
// string table cannot hold an empty string. Safe from any thread.
KVDUTU_API void RegisterStringResource(UINT id, const wchar_t* text);
KVDUTU_API void UnregisterStringResource(UINT id);
KVDUTU_API void ClearStringResources();

// Win32 LoadStringW: copies at most cchBufferMax - 1 characters of resource uID and a terminator,
// returns the number of characters copied, 0 (ERROR_RESOURCE_NAME_NOT_FOUND) when there is none.
// The read-only pointer form (cchBufferMax 0) is not offered: it fails with ERROR_INVALID_PARAMETER.
KVDUTU_API int LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax);

}  // namespace KvdUtils::Platform
