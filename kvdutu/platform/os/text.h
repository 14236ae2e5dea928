// Conversion between the wide character set and the narrow code pages, under the Win32 names.
// On POSIX the ANSI code page is UTF-8 (CP_ACP, CP_OEMCP and CP_THREAD_ACP all mean CP_UTF8), and a
// wide character is a UTF-32 unit: a character outside the Basic Multilingual Plane is one wchar_t,
// so wide counts there are counts of code points. Invalid UTF-8 becomes U+FFFD (or fails with
// ERROR_NO_UNICODE_TRANSLATION under MB_ERR_INVALID_CHARS), as Windows does.
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
#define CP_ACP 0u
#define CP_OEMCP 1u
#define CP_MACCP 2u
#define CP_THREAD_ACP 3u
#define CP_UTF8 65001u

#define MB_PRECOMPOSED 0x00000001u
#define MB_COMPOSITE 0x00000002u
#define MB_USEGLYPHCHARS 0x00000004u
#define MB_ERR_INVALID_CHARS 0x00000008u

#define WC_COMPOSITECHECK 0x00000200u
#define WC_DISCARDNS 0x00000010u
#define WC_SEPCHARS 0x00000020u
#define WC_DEFAULTCHAR 0x00000040u
#define WC_ERR_INVALID_CHARS 0x00000080u
#define WC_NO_BEST_FIT_CHARS 0x00000400u

typedef INT* LPINT;

#define IS_TEXT_UNICODE_ASCII16 0x0001
#define IS_TEXT_UNICODE_REVERSE_ASCII16 0x0010
#define IS_TEXT_UNICODE_STATISTICS 0x0002
#define IS_TEXT_UNICODE_REVERSE_STATISTICS 0x0020
#define IS_TEXT_UNICODE_CONTROLS 0x0004
#define IS_TEXT_UNICODE_REVERSE_CONTROLS 0x0040
#define IS_TEXT_UNICODE_SIGNATURE 0x0008
#define IS_TEXT_UNICODE_REVERSE_SIGNATURE 0x0080
#define IS_TEXT_UNICODE_ILLEGAL_CHARS 0x0100
#define IS_TEXT_UNICODE_ODD_LENGTH 0x0200
#define IS_TEXT_UNICODE_DBCS_LEADBYTE 0x0400
#define IS_TEXT_UNICODE_NULL_BYTES 0x1000
#define IS_TEXT_UNICODE_UNICODE_MASK 0x000F
#define IS_TEXT_UNICODE_REVERSE_MASK 0x00F0
#define IS_TEXT_UNICODE_NOT_UNICODE_MASK 0x0F00
#define IS_TEXT_UNICODE_NOT_ASCII_MASK 0xF000
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::IsTextUnicode;
using ::lstrcpynW;
using ::lstrlenW;
using ::MultiByteToWideChar;
using ::WideCharToMultiByte;
#else
KVDUTU_API int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                                   LPWSTR lpWideCharStr, int cchWideChar);
KVDUTU_API int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                                   LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                                   LPBOOL lpUsedDefaultChar);
// Length of a wide string; 0 for a null pointer.
KVDUTU_API int lstrlenW(LPCWSTR lpString);
// Copies at most iMaxLength - 1 characters and always terminates (when iMaxLength > 0).
KVDUTU_API LPWSTR lstrcpynW(LPWSTR lpString1, LPCWSTR lpString2, int iMaxLength);
// Whether a buffer of bytes looks like UTF-16 text, by the tests that *lpiResult asks for (all
// when it is null); *lpiResult keeps the asked tests that held. A reverse (big-endian) finding
// or a "not Unicode" finding makes the answer FALSE, as on Windows: the byte order mark FE FF
// shows as IS_TEXT_UNICODE_REVERSE_SIGNATURE in *lpiResult with the answer FALSE.
KVDUTU_API BOOL IsTextUnicode(const void* lpv, int iSize, LPINT lpiResult);
#endif
}  // namespace KvdUtils::Platform
