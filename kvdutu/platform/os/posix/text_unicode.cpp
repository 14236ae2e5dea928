// IsTextUnicode on POSIX: the Windows tests on the buffer read as little-endian UTF-16 units.
#include <cstring>
#include <vector>

#include "kvdutu/platform/os/text.h"

namespace KvdUtils::Platform {

BOOL IsTextUnicode(const void* lpv, int iSize, LPINT lpiResult) {
  if (!lpv || iSize < 2) {
    if (lpiResult) *lpiResult = 0;
    return FALSE;
  }
  const auto* bytes = static_cast<const BYTE*>(lpv);
  const int count = iSize / 2;
  std::vector<uint16_t> units(count);
  for (int i = 0; i < count; ++i) units[i] = static_cast<uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));

  int found = 0;
  if (iSize & 1) found |= IS_TEXT_UNICODE_ODD_LENGTH;
  if (units[0] == 0xFEFF) found |= IS_TEXT_UNICODE_SIGNATURE;
  if (units[0] == 0xFFFE) found |= IS_TEXT_UNICODE_REVERSE_SIGNATURE;

  bool allLowOnly = true, allHighOnly = true;
  int lowOnly = 0, highOnly = 0;
  for (int i = 0; i < count; ++i) {
    const uint16_t u = units[i];
    const bool start = i == 0;
    if (u & 0xFF00) allLowOnly = false;
    if (u & 0x00FF) allHighOnly = false;
    if (u && !(u & 0xFF00)) ++lowOnly;
    if (u && !(u & 0x00FF)) ++highOnly;
    // Line ends, tabs and blanks as whole units are what text in UTF-16 looks like.
    if (u == 0x000D || u == 0x000A || u == 0x0009 || u == 0x0020) found |= IS_TEXT_UNICODE_CONTROLS;
    if (u == 0x0D00 || u == 0x0A00 || u == 0x0900 || u == 0x2000) found |= IS_TEXT_UNICODE_REVERSE_CONTROLS;
    // Units that UTF-16 text never holds: a non-character, a byte-swapped mark inside the text,
    // a carriage return and line feed packed into one unit.
    if (u == 0xFFFF || (u == 0xFFFE && !start) || u == 0x0A0D) found |= IS_TEXT_UNICODE_ILLEGAL_CHARS;
    if (u == 0x0000) found |= IS_TEXT_UNICODE_ILLEGAL_CHARS;
  }
  for (int i = 0; i < iSize; ++i) {
    if (bytes[i] == 0) {
      found |= IS_TEXT_UNICODE_NULL_BYTES;
      break;
    }
  }
  if (allLowOnly) found |= IS_TEXT_UNICODE_ASCII16;
  if (allHighOnly) found |= IS_TEXT_UNICODE_REVERSE_ASCII16;
  if (lowOnly * 2 > count) found |= IS_TEXT_UNICODE_STATISTICS;
  if (highOnly * 2 > count) found |= IS_TEXT_UNICODE_REVERSE_STATISTICS;

  if (lpiResult) {
    found &= *lpiResult;
    *lpiResult = found;
  }
  if (found & (IS_TEXT_UNICODE_REVERSE_MASK | IS_TEXT_UNICODE_NOT_UNICODE_MASK)) return FALSE;
  if (found & IS_TEXT_UNICODE_NOT_ASCII_MASK) return TRUE;
  return (found & IS_TEXT_UNICODE_UNICODE_MASK) ? TRUE : FALSE;
}

}  // namespace KvdUtils::Platform
