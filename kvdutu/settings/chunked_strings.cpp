#include "kvdutu/settings/chunked_strings_internal.h"

#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/utf16_text_internal.h"

#include <string>

namespace P = KvdUtils::Platform;
namespace R = KvdUtils::Registry;

namespace {

constexpr DWORD kStringBytes = 2048;  // the read limit of one chunk, terminator included
constexpr size_t kChunkUnits = 1015;

// Where wchar_t is UTF-32 a character cut between two chunks arrives as two lone surrogates;
// joined here so that the text reads back as it was written.
void appendJoined(CString& out, const CString& piece) {
  if (sizeof(wchar_t) == 4 && !out.IsEmpty() && !piece.IsEmpty()) {
    const unsigned long last = static_cast<unsigned long>(out[out.GetLength() - 1]);
    const unsigned long first = static_cast<unsigned long>(piece[0]);
    if (last >= 0xD800 && last < 0xDC00 && first >= 0xDC00 && first < 0xE000) {
      out.Truncate(out.GetLength() - 1);
      out.AppendChar(static_cast<wchar_t>(0x10000 + ((last - 0xD800) << 10) + (first - 0xDC00)));
      out.Append(piece.Mid(1));
      return;
    }
  }
  out.Append(piece);
}

}  // namespace

CString longStringChunkName(const CString& valueName, int n) {
  CString name;
  name.Format(L"%s%d+", valueName.GetString(), n);
  return name;
}

int longStringChunkCount(int length) { return (2 * length + 2032) / 2030; }

int readLongString(CString& out, HKEY key, const CString& valueName) {
  if (key == nullptr) return 0;
  int read = 0;
  for (int n = 0;; ++n) {
    wchar_t buffer[kStringBytes / 2];
    DWORD size = kStringBytes;
    DWORD type = REG_NONE;
    const LONG rc = P::RegQueryValueExW(key, longStringChunkName(valueName, n), nullptr, &type,
                                        reinterpret_cast<BYTE*>(buffer), &size);
    if (rc != ERROR_SUCCESS || type != REG_SZ) break;
    appendJoined(out, R::textOfBuffer(buffer, kStringBytes / 2));
    ++read;
  }
  return read > 0 ? 1 : 0;
}

void deleteLongStringChunks(const CString& valueName, HKEY key) {
  for (int n = 0;; ++n)
    if (P::RegDeleteValueW(key, longStringChunkName(valueName, n)) != ERROR_SUCCESS) break;
}

int writeLongString(HKEY key, const CString& valueName, const CString& text) {
  if (key == nullptr) return 0;
  P::RegDeleteValueW(key, valueName);
  deleteLongStringChunks(valueName, key);
  std::u16string rest = R::toUtf16(text);
  const int chunks = longStringChunkCount(static_cast<int>(rest.size()));
  for (int n = 0; n < chunks; ++n) {
    const CString piece = R::fromUtf16(rest.substr(0, kChunkUnits));
    // Only while more than one chunk's worth is left: this is what doubles the last piece.
    if (rest.size() > kChunkUnits) rest.erase(0, kChunkUnits);
    if (P::RegSetValueExW(key, longStringChunkName(valueName, n), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(piece.GetString()), R::regSzSize(piece)) != ERROR_SUCCESS)
      return 0;
  }
  return 1;
}
