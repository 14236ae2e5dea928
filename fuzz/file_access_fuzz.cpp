// Arbitrary bytes as the contents of a text file, read line by line with fileAccess until the end.
//
// The first byte picks text or binary mode; the rest is the file. Each file is read in both
// ReadLine forms. Besides not crashing or hanging, the reading must make progress and agree:
// every call that is not the end takes at least one character, a piece of the buffer form holds
// at most 258 and only its last character can be a line end, and the pieces put together are the
// lines of the other form joined by line ends (where the text holds no zero character). The mark
// test must leave the file at its start.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "kvdutu/files/file_access.h"
#include "kvdutu/files/file_unicode.h"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

const std::filesystem::path& scratchFile() {
  static const std::filesystem::path path = [] {
    std::random_device seed;
    return std::filesystem::temp_directory_path() /
           ("file_access_fuzz_" + std::to_string(seed()) + "_" + std::to_string(seed()) + ".txt");
  }();
  return path;
}

std::wstring Str(const CString& s) { return std::wstring(s.GetString(), static_cast<size_t>(s.GetLength())); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned int mode = (data[0] & 1) ? CFile::typeBinary : CFile::typeText;
  const std::filesystem::path& path = scratchFile();
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
  }
  const CString name(path.wstring().c_str());
  // No call that is not the end reads nothing, so the count of calls is bounded by the bytes.
  const size_t maxCalls = size + 2;

  std::wstring pieces;
  {
    fileAccess f;
    check(f.SafeOpen(name, CFile::modeRead | mode) == 1);
    const int mark = su_IsFileUnicode(&f);
    check(mark == 0 || mark == 1);
    check(mark == (size >= 3 && ((data[1] == 0xFF && data[2] == 0xFE) || (data[1] == 0xFE && data[2] == 0xFF))));
    check(f.GetPosition() == 0);
    CString line;
    size_t calls = 0;
    for (int n; (n = f.ReadLine(line, 0)) != 0;) {
      check(++calls <= maxCalls);
      check(n == line.GetLength() && n >= 1 && n <= 258);
      const std::wstring piece = Str(line);
      check(piece.find(L'\n') == std::wstring::npos || piece.find(L'\n') == piece.size() - 1);
      pieces += piece;
    }
  }

  std::wstring lines;
  {
    fileAccess f;
    check(f.SafeOpen(name, CFile::modeRead | mode) == 1);
    CString line;
    size_t calls = 0;
    bool first = true;
    for (int n; (n = f.ReadLine(line, 1)) != 0;) {
      check(++calls <= maxCalls);
      check(n == line.GetLength() + 1);
      if (!first) lines += L'\n';
      lines += Str(line);
      first = false;
    }
  }
  // The buffer form takes a piece's length from its first zero character, so a file holding one
  // reads short there (or seems to end); only text without it must agree in both forms. The buffer
  // form keeps the last line end, the other form cannot tell whether there was one.
  if (lines.find(L'\0') != std::wstring::npos) return 0;
  if (!pieces.empty() && pieces.back() == L'\n') pieces.pop_back();
  check(pieces == lines);
  return 0;
}
