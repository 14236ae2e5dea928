#include "kvdutu/platform/os/posix/text_internal.h"

namespace KvdUtils::Platform::detail {

std::string toUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    char32_t c = static_cast<char32_t>(wc);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::wstring fromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  size_t i = 0;
  const size_t n = text.size();
  while (i < n) {
    unsigned char b = static_cast<unsigned char>(text[i]);
    char32_t c;
    size_t len;
    char32_t min;
    if (b < 0x80) {
      out += static_cast<wchar_t>(b);
      ++i;
      continue;
    } else if ((b & 0xE0) == 0xC0) {
      c = b & 0x1F, len = 2, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
      c = b & 0x0F, len = 3, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
      c = b & 0x07, len = 4, min = 0x10000;
    } else {
      out += L'\xFFFD';
      ++i;
      continue;
    }
    size_t k = 1;
    for (; k < len && i + k < n; ++k) {
      unsigned char t = static_cast<unsigned char>(text[i + k]);
      if ((t & 0xC0) != 0x80) break;
      c = (c << 6) | (t & 0x3F);
    }
    if (k < len || c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
      out += L'\xFFFD';
      i += k;  // skip the bad sequence as far as it looked valid
      continue;
    }
    out += static_cast<wchar_t>(c);
    i += len;
  }
  return out;
}

}  // namespace KvdUtils::Platform::detail
