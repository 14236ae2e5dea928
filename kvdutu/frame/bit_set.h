// A growable set of bits stored as 32-bit words, bit i in word i / 32 at position i % 32 (least
// significant first). The word count only grows, except by assignment and by reading the set from
// the registry. The bit operators keep the system's word-count rules, which differ between them:
// in particular `a | b` is not commutative when b has more words than a.
#pragma once

#include <vector>

#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API utBitSet_c {
 public:
  utBitSet_c();
  explicit utBitSet_c(unsigned nBits);  // (nBits + 31) / 32 zero words
  utBitSet_c(int nWords, const unsigned* words);
  utBitSet_c(const utBitSet_c& other);
  utBitSet_c& operator=(const utBitSet_c& other);

  void setBit(int index);    // the index is taken as unsigned; grows to hold it
  void clearBit(int index);  // grows too
  int isBitSet(int index) const;  // 0 beyond the words, without growth
  int any() const;
  unsigned getData(int wordIndex) const;  // 0 for a negative index or one beyond the words
  void setData(int wordIndex, unsigned value);  // a negative index does nothing
  int getWordCount() const { return static_cast<int>(m_words.size()); }

  // The word count under "<name> Size" and each word under "<name> <i>", integers in `section`
  // under the current version key. Writing returns 0 when the count cannot be written, else 1 only
  // if every word was written (a failed word does not stop the others); words of an earlier,
  // longer set stay in the hive. Reading leaves the set unchanged when no count is found.
  int writeToRegistry(const CString& section, const CString& name) const;
  int readFromRegistry(const CString& section, const CString& name, int skipUser);

  bool operator==(const utBitSet_c& other) const;  // same word count and same words
  bool operator!=(const utBitSet_c& other) const;
  utBitSet_c& operator&=(const utBitSet_c& other);
  utBitSet_c& operator|=(const utBitSet_c& other);
  utBitSet_c operator&(const utBitSet_c& other) const;
  utBitSet_c operator|(const utBitSet_c& other) const;
  utBitSet_c operator~() const;

  // Kept as entry points; they build their texts and show nothing.
  void dumpBits();
  void dumpBits(CString& label);

 private:
  void growTo(size_t words);

  std::vector<unsigned> m_words;
};
