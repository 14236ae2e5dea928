// Arbitrary bytes into kvdreg's .reg reader. Whatever it accepts must write out and read back to
// the same document, so the writer is checked against the reader on every accepted input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "regfile.h"

namespace {

bool same(const KvdReg::Document& a, const KvdReg::Document& b) {
  if (a.sections.size() != b.sections.size()) return false;
  for (size_t i = 0; i < a.sections.size(); ++i) {
    const auto& x = a.sections[i];
    const auto& y = b.sections[i];
    if (x.key.hive != y.key.hive || x.key.sub != y.key.sub || x.remove != y.remove ||
        x.values.size() != y.values.size())
      return false;
    for (size_t k = 0; k < x.values.size(); ++k) {
      const auto& v = x.values[k];
      const auto& w = y.values[k];
      if (v.isDefault != w.isDefault || v.name != w.name || v.remove != w.remove || v.type != w.type ||
          v.data != w.data)
        return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  KvdReg::Document doc;
  KvdReg::ParseError err;
  if (!KvdReg::parseRegFile(data, size, &doc, &err)) {
    if (err.line < 1 || err.message.empty()) std::abort();
    return 0;
  }
  std::string written = KvdReg::writeRegFile(doc);
  KvdReg::Document again;
  if (!KvdReg::parseRegFile(reinterpret_cast<const uint8_t*>(written.data()), written.size(), &again, &err))
    std::abort();
  if (!same(doc, again)) std::abort();
  return 0;
}
