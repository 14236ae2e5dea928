// Arbitrary bytes as a file name for su_RemoveDuplicatedExtensions. Bytes below 0x80 are characters
// as they stand (dots and letters of both cases turn up often); a byte from 0x80 up joins the next
// byte into one 16-bit unit. Besides not crashing or hanging, the result must be the input's
// leading part followed by its own extension, shorter by whole copies of that extension, and a
// second pass must change nothing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_text.h"

#include "kvdutu/files/file_lists.h"

namespace {

using KvdFuzz::check;
using KvdFuzz::decode;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring text = decode(data, size);
  if (text.find(L'\0') != std::wstring::npos) return 0;  // a C string ends there
  CString name(text.c_str());
  const CString reduced = su_RemoveDuplicatedExtensions(name);
  check(name.Compare(text.c_str()) == 0);  // the argument is left as it was

  const int dot = name.ReverseFind(L'.');
  if (dot < 0) {
    check(reduced.Compare(name) == 0);
    return 0;
  }
  const CString extension = name.Mid(dot);
  const int removed = name.GetLength() - reduced.GetLength();
  check(removed >= 0 && removed % extension.GetLength() == 0);
  check(reduced.Right(extension.GetLength()).Compare(extension) == 0);
  check(reduced.Left(reduced.GetLength() - extension.GetLength()).Compare(name.Left(reduced.GetLength() - extension.GetLength())) == 0);

  CString again(reduced);
  check(su_RemoveDuplicatedExtensions(again).Compare(reduced) == 0);
  return 0;
}
