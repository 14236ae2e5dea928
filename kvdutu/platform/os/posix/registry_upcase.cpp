// How registry names compare: each UTF-16 unit is folded to upper case by a fixed table, never by
// the locale. Windows folds key and value names by the Unicode simple upper-case mapping, which
// differs from the round-trip pairs that CString's case map keeps (CharUpperW) in the units below:
// some lower-case letters fold although their capital lowers to another letter (ı, ſ, ς, µ...),
// and some title-case forms stay as they are. The list is the difference between the two mappings
// over every 16-bit unit (Unicode 14); everything else folds as CString's upper case does.
#include <cstddef>

#include "kvdutu/platform/framework/case_map_internal.h"
#include "kvdutu/platform/os/posix/registry_store_internal.h"

namespace KvdUtils::Platform::RegistryStore {

namespace {

struct Override {
  char16_t unit, folded;
};

// Sorted by unit.
constexpr Override kOverrides[] = {
    {0x00B5, 0x039C},
    {0x0131, 0x0049},
    {0x017F, 0x0053},
    {0x01C5, 0x01C4},
    {0x01C8, 0x01C7},
    {0x01CB, 0x01CA},
    {0x01F2, 0x01F1},
    {0x0345, 0x0399},
    {0x03C2, 0x03A3},
    {0x03D0, 0x0392},
    {0x03D1, 0x0398},
    {0x03D5, 0x03A6},
    {0x03D6, 0x03A0},
    {0x03F0, 0x039A},
    {0x03F1, 0x03A1},
    {0x03F5, 0x0395},
    {0x1C80, 0x0412},
    {0x1C81, 0x0414},
    {0x1C82, 0x041E},
    {0x1C83, 0x0421},
    {0x1C84, 0x0422},
    {0x1C85, 0x0422},
    {0x1C86, 0x042A},
    {0x1C87, 0x0462},
    {0x1C88, 0xA64A},
    {0x1E9B, 0x1E60},
    {0x1F80, 0x1F80},
    {0x1F81, 0x1F81},
    {0x1F82, 0x1F82},
    {0x1F83, 0x1F83},
    {0x1F84, 0x1F84},
    {0x1F85, 0x1F85},
    {0x1F86, 0x1F86},
    {0x1F87, 0x1F87},
    {0x1F90, 0x1F90},
    {0x1F91, 0x1F91},
    {0x1F92, 0x1F92},
    {0x1F93, 0x1F93},
    {0x1F94, 0x1F94},
    {0x1F95, 0x1F95},
    {0x1F96, 0x1F96},
    {0x1F97, 0x1F97},
    {0x1FA0, 0x1FA0},
    {0x1FA1, 0x1FA1},
    {0x1FA2, 0x1FA2},
    {0x1FA3, 0x1FA3},
    {0x1FA4, 0x1FA4},
    {0x1FA5, 0x1FA5},
    {0x1FA6, 0x1FA6},
    {0x1FA7, 0x1FA7},
    {0x1FB3, 0x1FB3},
    {0x1FBE, 0x0399},
    {0x1FC3, 0x1FC3},
    {0x1FF3, 0x1FF3},
};

}  // namespace

char16_t upcaseUnit(char16_t c) {
  if (c < 0x80) return (c >= u'a' && c <= u'z') ? char16_t(c - 32) : c;
  size_t lo = 0, hi = sizeof(kOverrides) / sizeof(kOverrides[0]);
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    if (kOverrides[mid].unit < c) lo = mid + 1; else hi = mid;
  }
  if (lo < sizeof(kOverrides) / sizeof(kOverrides[0]) && kOverrides[lo].unit == c) return kOverrides[lo].folded;
  return static_cast<char16_t>(SimpleUpperCase(c));
}

}  // namespace KvdUtils::Platform::RegistryStore
