// Persistence of utBitSet_c in the user settings.
#include "kvdutu/frame/bit_set.h"
#include "kvdutu/settings/user_values.h"

namespace {

CString sizeName(const CString& name) { return name + L" Size"; }

CString wordName(const CString& name, int i) {
  CString text;
  text.Format(L"%s %d", name.GetString(), i);
  return text;
}

}  // namespace

int utBitSet_c::writeToRegistry(const CString& section, const CString& name) const {
  int count = static_cast<int>(m_words.size());
  if (!regSetUserValue(section, sizeName(name), &count, 1, 0, 0)) return 0;
  int allWritten = 1;
  for (int i = 0; i < count; ++i) {
    int word = static_cast<int>(m_words[static_cast<size_t>(i)]);
    if (!regSetUserValue(section, wordName(name, i), &word, 1, 0, 0)) allWritten = 0;
  }
  return allWritten;
}

int utBitSet_c::readFromRegistry(const CString& section, const CString& name, int skipUser) {
  int count = 0;
  if (!regGetUserValue(section, sizeName(name), &count, skipUser, 1, nullptr, 0, 0, 0)) return 0;
  m_words.clear();
  if (count < 1) return 1;
  growTo(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    int word = 0;  // a word that is not found stays 0
    regGetUserValue(section, wordName(name, i), &word, skipUser, 1, nullptr, 0, 0, 0);
    m_words[static_cast<size_t>(i)] = static_cast<unsigned>(word);
  }
  return 1;
}
