#include "kvdutu/frame/ternary_value.h"

namespace {
const bool kTrue = true;
const bool kFalse = false;
}  // namespace

// Constant-initialised: the constants are usable from any static constructor.
const suTernaryValue_c suTernaryValue_c::True(&kTrue);
const suTernaryValue_c suTernaryValue_c::False(&kFalse);
const suTernaryValue_c suTernaryValue_c::Null(static_cast<const bool*>(nullptr));

suTernaryValue_c::suTernaryValue_c(bool value) : m_value(value ? &kTrue : &kFalse) {}
suTernaryValue_c::suTernaryValue_c(int value) : m_value(value != 0 ? &kTrue : &kFalse) {}

bool suTernaryValue_c::operator==(const suTernaryValue_c& other) const {
  if (m_value == other.m_value) return true;
  if (m_value == nullptr || other.m_value == nullptr) return false;
  return *m_value == *other.m_value;
}
