// printf-style formatting with the Microsoft C runtime's conventions, on every platform.
//
// In a wide format %s and %c take wide text and %S/%C narrow; in a narrow format %s/%c are narrow and
// %S/%C wide; the h prefix always means narrow, l and w always wide. Text of the other width is
// converted through the system code page (UTF-8 on Linux). %p prints the pointer in upper-case hex,
// zero-padded to its width (16 digits on 64-bit, 8 on 32-bit), with no prefix. Size prefixes: hh, h,
// l (the C++ type long, as passed), ll, I64, I32, I (pointer-sized), j, z, t, and L (long double).
// Infinities and NaNs print as the modern runtime prints them: inf, nan, nan(ind) for the indefinite
// NaN (the default NaN of x86 arithmetic, sign bit set: "-nan(ind)"), nan(snan) for a signalling
// NaN, each with its sign; upper case for %E %F %G %A. A null %s argument prints "(null)".
//
// An invalid format (an unknown conversion, or %n, which the modern runtime refuses) makes
// the whole call fail: nothing is printed and the result is -1.
#pragma once

#include "kvdutu/platform/export.h"

#include <cstdarg>
#include <cstddef>
#include <string>

namespace KvdUtils::Platform {

// Replace `out` with the formatted text; return its length in characters, or -1 (and an empty
// `out`) for an invalid format.
KVDUTU_API int FormatV(std::wstring& out, const wchar_t* format, va_list args);
KVDUTU_API int FormatV(std::string& out, const char* format, va_list args);
KVDUTU_API int Format(std::wstring& out, const wchar_t* format, ...);
KVDUTU_API int Format(std::string& out, const char* format, ...);

// Append the formatted text to `out`; return the number of characters appended, or -1 (and `out`
// unchanged) for an invalid format.
KVDUTU_API int AppendFormatV(std::wstring& out, const wchar_t* format, va_list args);
KVDUTU_API int AppendFormatV(std::string& out, const char* format, va_list args);

// The bounded form of _snwprintf/_snprintf: writes at most `count` characters; when the text is
// shorter than `count` a terminator follows and its length is returned; when it is exactly `count`
// long there is no terminator and `count` is returned; when it is longer the first `count`
// characters are written, unterminated, and -1 is returned. -1 also for an invalid format.
KVDUTU_API int FormatBufferV(wchar_t* buffer, size_t count, const wchar_t* format, va_list args);
KVDUTU_API int FormatBufferV(char* buffer, size_t count, const char* format, va_list args);
KVDUTU_API int FormatBuffer(wchar_t* buffer, size_t count, const wchar_t* format, ...);
KVDUTU_API int FormatBuffer(char* buffer, size_t count, const char* format, ...);

}  // namespace KvdUtils::Platform
