#include "kvdutu/settings/utf16_text_internal.h"

namespace KvdUtils::Registry {

std::u16string toUtf16(const CString& text) {
  std::u16string out;
  out.reserve(static_cast<size_t>(text.GetLength()));
  for (int i = 0; i < text.GetLength(); ++i) {
    const unsigned long c = static_cast<unsigned long>(text[i]);
    if (c > 0xFFFF && c <= 0x10FFFF) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

CString fromUtf16(const std::u16string& text) {
  CString out;
  out.Preallocate(static_cast<int>(text.size()));
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (sizeof(wchar_t) == 4 && c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] < 0xE000) {
      out.AppendChar(static_cast<wchar_t>(0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00)));
      ++i;
    } else {
      out.AppendChar(static_cast<wchar_t>(c));
    }
  }
  return out;
}

CString textOfBuffer(const wchar_t* buffer, size_t capacity) {
  size_t n = 0;
  while (n < capacity && buffer[n] != 0) ++n;
  return CString(buffer, static_cast<int>(n));
}

DWORD regSzSize(const CString& text) { return static_cast<DWORD>(text.GetLength() + 1) * 2; }

}  // namespace KvdUtils::Registry
