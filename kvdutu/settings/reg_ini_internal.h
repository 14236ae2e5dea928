// The file "reg.ini" beside the main executable: plain narrow text read as whitespace-separated
// tokens, of which "OEMREGISTRYNAME=", "OEMCLSID=" and "OEMPROGID=" carry a value. Exported for
// the settings store and its tests; not part of the library's interface.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

#include <cstdio>

namespace KvdUtils::Registry {

constexpr const wchar_t* kRegIniRegistryNamePrefix = L"OEMREGISTRYNAME=";
constexpr const wchar_t* kRegIniClsidPrefix = L"OEMCLSID=";
constexpr const wchar_t* kRegIniProgIdPrefix = L"OEMPROGID=";

// The path of "reg.ini": the executable folder followed by "\reg.ini" ("\reg.ini" alone when the
// folder is not found), unless a test has set another path.
KVDUTU_API CString regIniPath();
// Tests point the library at a file of their own; an empty path restores the real one.
KVDUTU_API void setRegIniPathForTesting(const CString& path);

// Opens the file at path (Windows form accepted) for reading in text mode, or null. The caller
// keeps the stream.
KVDUTU_API FILE* openRegIniStream(const CString& path);

// Reads tokens from the stream, as the runtime's "%s" conversion splits them, until one holds
// prefix at any place; value is then what stands behind the first occurrence of the prefix and
// the result is 1. The first matching token decides. 0 at the end of the file, value untouched.
// Each token is converted to wide text through the system's narrow code page.
KVDUTU_API int scanRegIniToken(FILE* stream, const wchar_t* prefix, CString& value);

// Opens "reg.ini" and scans it for prefix. The stream is left open until the process ends, as
// the system always did: callers read the file once and cache, or accept one stream per call.
KVDUTU_API int readRegIniToken(const wchar_t* prefix, CString& value);

// The number of UTF-16 units of text: the lengths that the file's rules count.
KVDUTU_API int utf16Length(const CString& text);

}  // namespace KvdUtils::Registry
