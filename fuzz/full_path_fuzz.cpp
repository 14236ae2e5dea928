// Arbitrary bytes as one or two locations: every accessor of each, and equality of the pair.
//
// Bytes below 0x80 are characters as they stand (separators, colons, dots and letters turn up
// often); a byte from 0x80 up joins the next byte into one 16-bit unit, so surrogates and other
// non-ASCII units occur too. The byte 0x1F splits the input into the two locations. Besides not
// crashing or hanging, the parts must fit together: folder with separator plus name with
// extension is the whole path, and equality is reflexive and symmetric.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_text.h"

#include "kvdutu/files/full_path.h"

namespace {

using KvdFuzz::check;
using KvdFuzz::decode;

void exercise(const suFullPath_c& path) {
  CString drive, net, dir, dirSep, name, knownName, nameExt, ext, lowest;
  path.getDrive(&drive);
  path.getNetDrive(&net);
  path.getDirectory(&dir, 0);
  path.getDirectory(&dirSep, 1);
  path.getName(&name, 0);
  path.getName(&knownName, 1);
  path.getNameWithExt(&nameExt);
  path.getExtension(&ext);
  path.getLowestFolder(&lowest);
  // The design extension test against a plain no-case comparison with each name of the list.
  static const wchar_t* const kKnown[] = {L"KVDASM", L"ASM",    L"KVDDRW", L"DRW",    L"KVDLFP",
                                          L"LFP",    L"KVDFTP", L"KVDPRT", L"PRT",    L"KVDBLK",
                                          L"KVDSYM", L"PRTDOT", L"ASMDOT", L"DRWDOT", L"ext"};
  for (const CString* candidate : {&ext, &nameExt, &drive}) {
    CString extension = *candidate;
    int expected = 0;
    for (const wchar_t* known : kKnown)
      if (extension.CompareNoCase(known) == 0) expected = 1;
    check(suFullPath_c::isKorvalindeExt(extension) == expected);
  }

  check((dirSep + nameExt).Compare(path) == 0);
  check(nameExt.Left(name.GetLength()) == name);
  check(nameExt.Left(knownName.GetLength()) == knownName);
  check(path.Left(lowest.GetLength()) == lowest);
  check(path.Left(drive.GetLength()) == drive);
  check(ext.IsEmpty() || path.Right(ext.GetLength() + 1) == L'.' + ext);
  check((path == path) == 1);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // One drive that stands for a share and one local drive, so that equality takes both roads.
  setenv("KVDUTU_DRIVES", "C=/tmp;N=\\\\fileserver\\designs", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return 0;  // paths are short; long inputs only slow the search
  std::wstring text = decode(data, size);
  size_t split = text.find(wchar_t(0x1F));
  std::wstring first = text.substr(0, split);
  std::wstring second = split == std::wstring::npos ? std::wstring() : text.substr(split + 1);
  suFullPath_c a(first.data(), static_cast<int>(first.size()));
  suFullPath_c b(second.data(), static_cast<int>(second.size()));
  exercise(a);
  exercise(b);
  check((a == b) == (b == a));
  check(KvdUtils::File::ComparePath(a, b) == KvdUtils::File::ComparePath(b, a));
  return 0;
}
