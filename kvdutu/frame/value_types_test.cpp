// Core value types: the bit set's word-count rules, the ternary value, the numeric helpers and
// the shared pointer.
#include <gtest/gtest.h>

#include "kvdutu/frame/bit_set.h"
#include "kvdutu/frame/numeric_helpers.h"
#include "kvdutu/frame/ternary_value.h"
#include "kvdutu/frame/value_templates.h"

TEST(BitSet, ConstructionSizesAndGrowth) {
  EXPECT_EQ(utBitSet_c(0u).getWordCount(), 0);
  EXPECT_EQ(utBitSet_c(32u).getWordCount(), 1);
  EXPECT_EQ(utBitSet_c(33u).getWordCount(), 2);
  const unsigned words[] = {0x5u, 0x80000000u};
  utBitSet_c copy(2, words);
  EXPECT_EQ(copy.getData(1), 0x80000000u);
  EXPECT_EQ(copy.isBitSet(63), 1);
  EXPECT_EQ(copy.isBitSet(2), 1);
  EXPECT_EQ(copy.isBitSet(1), 0);

  utBitSet_c empty;
  EXPECT_EQ(empty.isBitSet(100), 0);
  EXPECT_EQ(empty.getWordCount(), 0);  // asking does not grow
  empty.clearBit(100);
  EXPECT_EQ(empty.getWordCount(), 4);  // clearing grows
  EXPECT_EQ(empty.any(), 0);
  EXPECT_NE(empty, utBitSet_c());  // trailing zero words make a difference
}

TEST(BitSet, IndexTakenAsUnsignedAndWordAccessEdges) {
  utBitSet_c set;
  set.setBit(31);
  EXPECT_EQ(set.getData(0), 0x80000000u);
  EXPECT_EQ(set.getData(-1), 0u);
  EXPECT_EQ(set.getData(5), 0u);
  set.setData(-3, 7u);  // nothing happens
  EXPECT_EQ(set.getWordCount(), 1);
  set.setData(3, 0xABCDu);
  EXPECT_EQ(set.getWordCount(), 4);
  EXPECT_EQ(set.getData(3), 0xABCDu);
  EXPECT_EQ(set.isBitSet(-1), 0);  // 0xFFFFFFFF as an index lies far beyond the words
  EXPECT_EQ(set.getWordCount(), 4);
}

TEST(BitSet, OrIsNotCommutativeAndOrAssignKeepsTheOthersWords) {
  const unsigned oneWord[] = {0x1u};
  const unsigned twoWords[] = {0x2u, 0xF0u};
  utBitSet_c a(1, oneWord), b(2, twoWords);
  utBitSet_c aOrB = a | b;
  EXPECT_EQ(aOrB.getWordCount(), 2);
  EXPECT_EQ(aOrB.getData(0), 0x3u);
  EXPECT_EQ(aOrB.getData(1), 0u);  // b's second word does not reach the result
  utBitSet_c bOrA = b | a;
  EXPECT_EQ(bOrA.getData(1), 0xF0u);
  EXPECT_NE(aOrB, bOrA);
  utBitSet_c c(1, oneWord);
  c |= b;
  EXPECT_EQ(c.getWordCount(), 2);
  EXPECT_EQ(c.getData(1), 0xF0u);
}

TEST(BitSet, AndRulesAndComplement) {
  const unsigned twoWords[] = {0xFFu, 0xFFu};
  const unsigned oneWord[] = {0x0Fu};
  utBitSet_c a(2, twoWords), b(1, oneWord);
  utBitSet_c aAndB = a & b;
  EXPECT_EQ(aAndB.getWordCount(), 2);
  EXPECT_EQ(aAndB.getData(0), 0x0Fu);
  EXPECT_EQ(aAndB.getData(1), 0u);  // no counterpart: 0
  utBitSet_c bAndA = b & a;
  EXPECT_EQ(bAndA.getWordCount(), 2);  // grown to the other's count
  EXPECT_EQ(bAndA.getData(0), 0x0Fu);
  utBitSet_c d(2, twoWords);
  d &= b;
  EXPECT_EQ(d.getData(1), 0u);
  utBitSet_c e(1, oneWord);
  e &= a;
  EXPECT_EQ(e.getWordCount(), 2);
  EXPECT_EQ(e.getData(0), 0x0Fu);

  utBitSet_c notB = ~b;
  EXPECT_EQ(notB.getWordCount(), 1);
  EXPECT_EQ(notB.getData(0), ~0x0Fu);
  EXPECT_EQ((~utBitSet_c()).getWordCount(), 0);
}

TEST(TernaryValue, ThreeStatesAndComparison) {
  EXPECT_TRUE(suTernaryValue_c(true) == suTernaryValue_c::True);
  EXPECT_TRUE(suTernaryValue_c(0) == suTernaryValue_c::False);
  EXPECT_TRUE(suTernaryValue_c(-7) == suTernaryValue_c::True);
  EXPECT_FALSE(suTernaryValue_c::Null.toBool());
  EXPECT_TRUE(suTernaryValue_c::Null.isNull());
  EXPECT_TRUE(suTernaryValue_c().isNull());
  EXPECT_TRUE(suTernaryValue_c::Null == suTernaryValue_c());
  EXPECT_FALSE(suTernaryValue_c::Null == suTernaryValue_c::False);
  EXPECT_TRUE(suTernaryValue_c::Null != suTernaryValue_c::False);

  bool mine = true;  // a caller's own bool compares by content
  suTernaryValue_c own(&mine);
  EXPECT_TRUE(own == suTernaryValue_c::True);
  mine = false;
  EXPECT_TRUE(own == suTernaryValue_c::False);
  EXPECT_TRUE(own.isBool());
  EXPECT_FALSE(own.toBool());
  suTernaryValue_c copy;
  copy = own;
  EXPECT_TRUE(copy == own);
}

TEST(NumericHelpers, PrimeTables) {
  EXPECT_EQ(ut_GetPrimeNumber(0), 29);
  EXPECT_EQ(ut_GetPrimeNumber(38), 29);
  EXPECT_EQ(ut_GetPrimeNumber(37), 1610612741);
  EXPECT_EQ(ut_GetLowPrimeNumber(22), 83);
  EXPECT_EQ(ut_GetLowPrimeNumber(23), 0);
  EXPECT_EQ(ut_GetLowPrimeNumber(36), 0);
  EXPECT_EQ(ut_GetLowPrimeNumber(37), 49345);
  EXPECT_EQ(ut_GetLowPrimeNumber(38 + 4), 11);
  EXPECT_EQ(ut_GetPrimeNumber(-1), 0);  // outside the tables: no read outside them
}

TEST(NumericHelpers, HashTableInitializer) {
  EXPECT_EQ(ut_AskHashTableInitializer(0), 29);
  EXPECT_EQ(ut_AskHashTableInitializer(-5), 29);
  EXPECT_EQ(ut_AskHashTableInitializer(28), 29);
  EXPECT_EQ(ut_AskHashTableInitializer(29), 113);
  EXPECT_EQ(ut_AskHashTableInitializer(1000), 1013);
  EXPECT_EQ(ut_AskHashTableInitializer(1610612740), 1610612741);
  EXPECT_EQ(ut_AskHashTableInitializer(1610612741), -2147483627);
  EXPECT_EQ(ut_AskHashTableInitializer(2147483647), -2147483627);
}

TEST(NumericHelpers, UnsetTime) {
  EXPECT_EQ(ut_getUnsetTime(), 2592000);
  EXPECT_EQ(ut_isUnsetTime(ut_getUnsetTime()), 1);
  EXPECT_EQ(ut_isUnsetTime(2505599), 0);
  EXPECT_EQ(ut_isUnsetTime(2505600), 1);
  EXPECT_EQ(ut_isUnsetTime(2678400), 1);
  EXPECT_EQ(ut_isUnsetTime(2678401), 0);
  EXPECT_EQ(ut_isUnsetTime(-2592000), 0);
  EXPECT_EQ(ut_isUnsetTime(0), 0);
}

TEST(NumericHelpers, LongPackingKeepsOnlyTheLowestBitOfHigh) {
  EXPECT_EQ(ConvertLongToULongLong(1, 1), 0xFFFFFFFF80000001ull);
  EXPECT_EQ(ConvertLongToULongLong(5, 0), 5ull);
  EXPECT_EQ(ConvertLongToULongLong(5, 2), 5ull);  // bit 1 of high is shifted out
  EXPECT_EQ(ConvertLongToULongLong(-1, 0), 0xFFFFFFFFFFFFFFFFull);

  long low = -1, high = -1;
  EXPECT_EQ(ConvertULongLongToLong(0x80000001ull, &low, &high), 1);
  EXPECT_EQ(low, 1);
  EXPECT_EQ(high, 1);
  EXPECT_EQ(ConvertULongLongToLong((3ull << 31) | 0x7FFFFFFFull, &low, &high), 1);
  EXPECT_EQ(low, 0x7FFFFFFF);
  EXPECT_EQ(high, 3);
  // Not inverse for values of 2^31 and more: the round trip loses all but one bit of high.
  ConvertULongLongToLong(ConvertLongToULongLong(7, 3), &low, &high);
  EXPECT_EQ(low, 7);
  EXPECT_NE(high, 3);
}

namespace {
struct Counted {
  static int alive;
  Counted() { ++alive; }
  ~Counted() { --alive; }
};
int Counted::alive = 0;
}  // namespace

TEST(SharedPtr, SharesOneCountAndReleasesAtTheLastDrop) {
  {
    SharedPtr_c<Counted> empty;
    EXPECT_EQ(empty.get(), nullptr);
    EXPECT_EQ(empty.useCount(), 0);
    SharedPtr_c<Counted> a(new Counted);
    EXPECT_EQ(a.useCount(), 1);
    {
      SharedPtr_c<Counted> b(a);
      SharedPtr_c<Counted> c;
      c = b;
      EXPECT_EQ(a.useCount(), 3);
      EXPECT_EQ(c.get(), a.get());
    }
    EXPECT_EQ(a.useCount(), 1);
    EXPECT_EQ(Counted::alive, 1);
    a = a;  // self-assignment keeps the object
    EXPECT_EQ(Counted::alive, 1);
    a = empty;
    EXPECT_EQ(Counted::alive, 0);
  }
  EXPECT_EQ(Counted::alive, 0);
}

TEST(FixedSizeArray, HoldsItsElementsByValue) {
  FixedSizeArray_c<float, 3> rgb;
  EXPECT_EQ(rgb[0], 0.0f);
  rgb[2] = 0.5f;
  FixedSizeArray_c<float, 3> copy = rgb;
  copy[2] = 1.0f;
  EXPECT_EQ(rgb[2], 0.5f);
  EXPECT_NE(copy, rgb);
}
