// UTF-8 <-> UTF-32 conversion with the Win32 rules of MultiByteToWideChar/WideCharToMultiByte.
#include "kvdutu/platform/os/text.h"

#include "kvdutu/platform/os/error.h"

namespace KvdUtils::Platform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsUtf8CodePage(UINT cp) {
  return cp == CP_ACP || cp == CP_OEMCP || cp == CP_THREAD_ACP || cp == CP_MACCP || cp == CP_UTF8;
}

// Decodes one character starting at s[i] (n bytes in all). Returns the number of bytes consumed
// and sets `ok` to false for an ill-formed sequence, which then counts as its maximal subpart (at
// least one byte), as the Unicode standard recommends for U+FFFD substitution.
int DecodeUtf8(const unsigned char* s, int n, int i, char32_t& cp, bool& ok) {
  unsigned char b = s[i];
  ok = true;
  if (b < 0x80) {
    cp = b;
    return 1;
  }
  int need;
  char32_t min;
  unsigned char lo = 0x80, hi = 0xBF;  // allowed range of the second byte
  if (b >= 0xC2 && b <= 0xDF) {
    need = 1; cp = b & 0x1F; min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    need = 2; cp = b & 0x0F; min = 0x800;
    if (b == 0xE0) lo = 0xA0;
    if (b == 0xED) hi = 0x9F;  // no UTF-16 surrogates
  } else if (b >= 0xF0 && b <= 0xF4) {
    need = 3; cp = b & 0x07; min = 0x10000;
    if (b == 0xF0) lo = 0x90;
    if (b == 0xF4) hi = 0x8F;
  } else {
    ok = false;
    cp = kReplacement;
    return 1;
  }
  int k = 1;
  for (; k <= need; ++k) {
    if (i + k >= n) break;
    unsigned char c = s[i + k];
    if (k == 1 ? (c < lo || c > hi) : (c < 0x80 || c > 0xBF)) break;
    cp = (cp << 6) | (c & 0x3F);
  }
  if (k <= need || cp < min) {
    ok = false;
    cp = kReplacement;
    return k;
  }
  return need + 1;
}

int EncodeUtf8(char32_t cp, char* out) {
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

int Fail(DWORD code) {
  SetLastError(code);
  return 0;
}

}  // namespace

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
  if (!IsUtf8CodePage(CodePage)) return Fail(ERROR_INVALID_PARAMETER);
  if (!lpMultiByteStr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
      (cchWideChar > 0 && !lpWideCharStr) ||
      (lpWideCharStr && static_cast<const void*>(lpWideCharStr) == static_cast<const void*>(lpMultiByteStr)))
    return Fail(ERROR_INVALID_PARAMETER);
  // CP_UTF8 takes no flag but MB_ERR_INVALID_CHARS; the ANSI code page also accepts the others
  // (MB_PRECOMPOSED is what most callers pass), which change nothing for UTF-8.
  DWORD allowed = CodePage == CP_UTF8 ? MB_ERR_INVALID_CHARS
                                      : (MB_ERR_INVALID_CHARS | MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS);
  if (dwFlags & ~allowed) return Fail(ERROR_INVALID_FLAGS);
  const auto* s = reinterpret_cast<const unsigned char*>(lpMultiByteStr);
  int n = cbMultiByte;
  if (n == -1) {
    n = 0;
    while (s[n]) ++n;
    ++n;  // the terminator is converted too
  }
  int written = 0;
  for (int i = 0; i < n;) {
    char32_t cp;
    bool ok;
    i += DecodeUtf8(s, n, i, cp, ok);
    if (!ok && (dwFlags & MB_ERR_INVALID_CHARS)) return Fail(ERROR_NO_UNICODE_TRANSLATION);
    if (cchWideChar) {
      if (written >= cchWideChar) return Fail(ERROR_INSUFFICIENT_BUFFER);
      lpWideCharStr[written] = static_cast<wchar_t>(cp);
    }
    ++written;
  }
  SetLastError(ERROR_SUCCESS);
  return written;
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar, LPSTR lpMultiByteStr,
                        int cbMultiByte, LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar) {
  if (!IsUtf8CodePage(CodePage)) return Fail(ERROR_INVALID_PARAMETER);
  if (!lpWideCharStr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
      (cbMultiByte > 0 && !lpMultiByteStr) ||
      (lpMultiByteStr && static_cast<const void*>(lpWideCharStr) == static_cast<const void*>(lpMultiByteStr)))
    return Fail(ERROR_INVALID_PARAMETER);
  // For CP_UTF8 Windows refuses a default character and the used-default flag; the ANSI code page
  // takes them (UTF-8 needs no default character, so the flag only reports replaced surrogates).
  if (CodePage == CP_UTF8) {
    if (dwFlags & ~WC_ERR_INVALID_CHARS) return Fail(ERROR_INVALID_FLAGS);
    if (lpDefaultChar || lpUsedDefaultChar) return Fail(ERROR_INVALID_PARAMETER);
  }
  if (lpUsedDefaultChar) *lpUsedDefaultChar = FALSE;
  int n = cchWideChar;
  if (n == -1) {
    n = 0;
    while (lpWideCharStr[n]) ++n;
    ++n;
  }
  int written = 0;
  for (int i = 0; i < n; ++i) {
    char32_t cp = static_cast<char32_t>(lpWideCharStr[i]);
    bool bad = false;
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < n) {
      // A UTF-16 pair that reached a 32-bit wchar_t string still means one character.
      char32_t lo = static_cast<char32_t>(lpWideCharStr[i + 1]);
      if (lo >= 0xDC00 && lo <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
        ++i;
      } else {
        bad = true;
      }
    } else if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) {
      bad = true;
    }
    if (bad) {
      if (dwFlags & WC_ERR_INVALID_CHARS) return Fail(ERROR_NO_UNICODE_TRANSLATION);
      cp = kReplacement;
      if (lpUsedDefaultChar) *lpUsedDefaultChar = TRUE;
    }
    char buf[4];
    int len = EncodeUtf8(cp, buf);
    if (cbMultiByte) {
      if (written + len > cbMultiByte) return Fail(ERROR_INSUFFICIENT_BUFFER);
      for (int k = 0; k < len; ++k) lpMultiByteStr[written + k] = buf[k];
    }
    written += len;
  }
  SetLastError(ERROR_SUCCESS);
  return written;
}

int lstrlenW(LPCWSTR lpString) {
  if (!lpString) return 0;
  int n = 0;
  while (lpString[n]) ++n;
  return n;
}

LPWSTR lstrcpynW(LPWSTR lpString1, LPCWSTR lpString2, int iMaxLength) {
  if (!lpString1 || iMaxLength <= 0) return lpString1;
  int i = 0;
  if (lpString2)
    for (; i < iMaxLength - 1 && lpString2[i]; ++i) lpString1[i] = lpString2[i];
  lpString1[i] = 0;
  return lpString1;
}

}  // namespace KvdUtils::Platform
