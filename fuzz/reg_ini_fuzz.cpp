// "reg.ini" is outside text: arbitrary bytes go through the token scanner for each of its three
// prefixes. The scan must end, and a found value must be a tail of some token of the input.
#include <cstdint>
#include <cstdio>

#include "kvdutu/settings/reg_ini_internal.h"

namespace R = KvdUtils::Registry;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const wchar_t* prefixes[] = {R::kRegIniRegistryNamePrefix, R::kRegIniClsidPrefix, R::kRegIniProgIdPrefix};
  for (const wchar_t* prefix : prefixes) {
    // fmemopen refuses an empty buffer; an empty file is one byte that ends the text (Ctrl-Z).
    static const uint8_t kEmpty[] = {0x1A};
    FILE* stream = size ? fmemopen(const_cast<uint8_t*>(data), size, "r")
                        : fmemopen(const_cast<uint8_t*>(kEmpty), 1, "r");
    if (stream == nullptr) return 0;
    CString value(L"untouched");
    int found = R::scanRegIniToken(stream, prefix, value);
    if (!found && value != CString(L"untouched")) __builtin_trap();  // a miss leaves the output alone
    std::fclose(stream);
  }
  return 0;
}
