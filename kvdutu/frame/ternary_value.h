// A three-valued truth: true, false, or null (not known).
#pragma once

#include "kvdutu/platform/export.h"

class KVDUTU_API suTernaryValue_c {
 public:
  suTernaryValue_c() : m_value(nullptr) {}
  suTernaryValue_c(const bool* value) : m_value(value) {}  // stored as it is
  suTernaryValue_c(bool value);
  suTernaryValue_c(int value);

  bool isNull() const { return m_value == nullptr; }
  bool isBool() const { return m_value != nullptr; }
  bool toBool() const { return m_value != nullptr && *m_value; }

  // Equal pointers are equal; null equals only null; otherwise the two bools compare, so a value
  // made from a caller's own bool compares by content.
  bool operator==(const suTernaryValue_c& other) const;
  bool operator!=(const suTernaryValue_c& other) const { return !(*this == other); }

  static const suTernaryValue_c True;
  static const suTernaryValue_c False;
  static const suTernaryValue_c Null;

 private:
  const bool* m_value;
};
