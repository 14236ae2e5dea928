// Shared by the fuzz targets that take arbitrary bytes as wide text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace KvdFuzz {

// Bytes below 0x80 are characters as they stand (separators, dots and letters turn up often); a
// byte from 0x80 up joins the next byte into one 16-bit unit, so surrogates and other non-ASCII
// units occur too.
inline std::wstring decode(const uint8_t* data, size_t size) {
  std::wstring out;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] < 0x80 || i + 1 == size) {
      out.push_back(static_cast<wchar_t>(data[i]));
    } else {
      out.push_back(static_cast<wchar_t>(((data[i] & 0x7F) << 8 | data[i + 1]) + 0x80));
      ++i;
    }
  }
  return out;
}

// A broken invariant is a finding: stop where the fuzzer can see it.
inline void check(bool condition) {
  if (!condition) __builtin_trap();
}

}  // namespace KvdFuzz
