#include "kvdutu/frame/bit_set.h"

#include <stdexcept>

namespace {
constexpr size_t kMaxWords = 0x3FFFFFFF;
}

utBitSet_c::utBitSet_c() = default;
utBitSet_c::utBitSet_c(unsigned nBits) { growTo((static_cast<size_t>(nBits) + 31) / 32); }
utBitSet_c::utBitSet_c(int nWords, const unsigned* words) {
  if (nWords > 0 && words != nullptr) m_words.assign(words, words + nWords);
}
utBitSet_c::utBitSet_c(const utBitSet_c& other) = default;
utBitSet_c& utBitSet_c::operator=(const utBitSet_c& other) = default;

void utBitSet_c::growTo(size_t words) {
  if (words > kMaxWords) throw std::length_error("utBitSet_c: too many words");
  if (words > m_words.size()) m_words.resize(words, 0u);
}

void utBitSet_c::setBit(int index) {
  unsigned bit = static_cast<unsigned>(index);
  growTo(bit / 32 + 1);
  m_words[bit / 32] |= 1u << (bit % 32);
}

void utBitSet_c::clearBit(int index) {
  unsigned bit = static_cast<unsigned>(index);
  growTo(bit / 32 + 1);
  m_words[bit / 32] &= ~(1u << (bit % 32));
}

int utBitSet_c::isBitSet(int index) const {
  unsigned bit = static_cast<unsigned>(index);
  if (bit / 32 >= m_words.size()) return 0;
  return (m_words[bit / 32] >> (bit % 32)) & 1u ? 1 : 0;
}

int utBitSet_c::any() const {
  for (unsigned w : m_words)
    if (w != 0) return 1;
  return 0;
}

unsigned utBitSet_c::getData(int wordIndex) const {
  if (wordIndex < 0 || static_cast<size_t>(wordIndex) >= m_words.size()) return 0;
  return m_words[static_cast<size_t>(wordIndex)];
}

void utBitSet_c::setData(int wordIndex, unsigned value) {
  if (wordIndex < 0) return;
  growTo(static_cast<size_t>(wordIndex) + 1);
  m_words[static_cast<size_t>(wordIndex)] = value;
}

bool utBitSet_c::operator==(const utBitSet_c& other) const { return m_words == other.m_words; }
bool utBitSet_c::operator!=(const utBitSet_c& other) const { return !(*this == other); }

utBitSet_c& utBitSet_c::operator&=(const utBitSet_c& other) {
  growTo(other.m_words.size());
  for (size_t i = 0; i < m_words.size(); ++i) m_words[i] &= i < other.m_words.size() ? other.m_words[i] : 0u;
  return *this;
}

utBitSet_c& utBitSet_c::operator|=(const utBitSet_c& other) {
  growTo(other.m_words.size());
  for (size_t i = 0; i < other.m_words.size(); ++i) m_words[i] |= other.m_words[i];
  return *this;
}

utBitSet_c utBitSet_c::operator&(const utBitSet_c& other) const {
  utBitSet_c result(*this);
  const size_t before = m_words.size();
  result.growTo(other.m_words.size());
  for (size_t i = 0; i < before; ++i) result.m_words[i] &= i < other.m_words.size() ? other.m_words[i] : 0u;
  return result;
}

utBitSet_c utBitSet_c::operator|(const utBitSet_c& other) const {
  utBitSet_c result(*this);
  const size_t before = m_words.size();
  result.growTo(other.m_words.size());
  // Only over this set's own words: the other's further words stay zero in the result.
  for (size_t i = 0; i < before && i < other.m_words.size(); ++i) result.m_words[i] |= other.m_words[i];
  return result;
}

utBitSet_c utBitSet_c::operator~() const {
  utBitSet_c result(*this);
  for (unsigned& w : result.m_words) w = ~w;
  return result;
}

void utBitSet_c::dumpBits() {
  CString label;
  dumpBits(label);
}

void utBitSet_c::dumpBits(CString& label) {
  CString text;
  text.Format(L"From %s, bits = ", label.GetString());
  for (size_t i = 0; i < m_words.size() * 32; ++i) {
    CString bit;
    bit.Format(L"%c", isBitSet(static_cast<int>(i)) ? L'1' : L'0');
    text += bit;
  }
  (void)text;  // built and dropped: the system showed nothing either
}
