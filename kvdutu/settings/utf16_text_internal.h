// Registry strings are UTF-16 on every platform, and the limits of the settings store (2048 bytes
// for a string, 1015 characters for a chunk) count UTF-16 units. Where wchar_t is UTF-32 the
// arithmetic is done on explicit 16-bit text so that both platforms cut a string at the same place.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"

#include <string>

namespace KvdUtils::Registry {

// A character outside the Basic Multilingual Plane becomes its surrogate pair; a lone surrogate
// stays one unit.
std::u16string toUtf16(const CString& text);
// Surrogate pairs become one character where wchar_t is UTF-32; a lone surrogate passes through.
CString fromUtf16(const std::u16string& text);

// The text of a string value as the registry returned it into a buffer of `capacity` wchar_t:
// up to the first terminator, never past the buffer.
CString textOfBuffer(const wchar_t* buffer, size_t capacity);

// The size to pass with text to RegSetValueExW as REG_SZ: 2 bytes per wchar_t with the terminator.
DWORD regSzSize(const CString& text);

}  // namespace KvdUtils::Registry
