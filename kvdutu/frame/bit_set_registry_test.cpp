// A bit set persisted in the user settings: the value names, the size rules, and what stays in the
// hive from an earlier, longer set.
#include "kvdutu/frame/bit_set.h"
#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

using BitSetRegistry = VersionedSettingsTest;

TEST_F(BitSetRegistry, WritesTheSizeAndEveryWordUnderTheCurrentKey) {
  const unsigned words[] = {0x1u, 0x80000000u, 0xDEADBEEFu};
  utBitSet_c set(3, words);
  ASSERT_EQ(set.writeToRegistry(L"Bits", L"Flags"), 1);
  CString text;
  DWORD type = 0;
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Flags Size", &type, nullptr));
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Flags 0"));
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Flags 2"));

  utBitSet_c back;
  back.setBit(200);  // replaced entirely by the read
  ASSERT_EQ(back.readFromRegistry(L"Bits", L"Flags", 0), 1);
  EXPECT_EQ(back, set);  // words with the high bit set survive the signed integer values
}

TEST_F(BitSetRegistry, MissingWordsReadAsZeroAndAMissingSizeChangesNothing) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Partial Size", 3));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Partial 0", 0x55));
  utBitSet_c set;
  ASSERT_EQ(set.readFromRegistry(L"Bits", L"Partial", 0), 1);
  EXPECT_EQ(set.getWordCount(), 3);
  EXPECT_EQ(set.getData(0), 0x55u);
  EXPECT_EQ(set.getData(1), 0u);
  EXPECT_EQ(set.getData(2), 0u);

  utBitSet_c untouched;
  untouched.setBit(5);
  EXPECT_EQ(untouched.readFromRegistry(L"Bits", L"NoSuchSet", 0), 0);
  EXPECT_EQ(untouched.getWordCount(), 1);
  EXPECT_EQ(untouched.isBitSet(5), 1);
}

TEST_F(BitSetRegistry, ACountBelowOneGivesAnEmptySet) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Neg Size", static_cast<DWORD>(-4)));
  utBitSet_c set(64u);
  EXPECT_EQ(set.readFromRegistry(L"Bits", L"Neg", 0), 1);
  EXPECT_EQ(set.getWordCount(), 0);
}

TEST_F(BitSetRegistry, AShorterSetLeavesTheEarlierWordsInTheHive) {
  const unsigned longer[] = {1u, 2u, 3u};
  ASSERT_EQ(utBitSet_c(3, longer).writeToRegistry(L"Bits", L"Shrink"), 1);
  const unsigned shorter[] = {9u};
  ASSERT_EQ(utBitSet_c(1, shorter).writeToRegistry(L"Bits", L"Shrink"), 1);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Shrink 2"));  // stale, kept
  utBitSet_c back;
  ASSERT_EQ(back.readFromRegistry(L"Bits", L"Shrink", 0), 1);
  EXPECT_EQ(back, utBitSet_c(1, shorter));
}

TEST_F(BitSetRegistry, SkipUserReadsTheMachineAndTheReadFallsBackToThePreviousVersion) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Bits"), L"Old Size", 1));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Bits"), L"Old 0", 7));
  utBitSet_c fromPrevious;
  ASSERT_EQ(fromPrevious.readFromRegistry(L"Bits", L"Old", 0), 1);
  EXPECT_EQ(fromPrevious.getData(0), 7u);

  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Bits"), L"Old Size", 2));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Bits"), L"Old 1", 0x10));
  utBitSet_c fromMachine;
  ASSERT_EQ(fromMachine.readFromRegistry(L"Bits", L"Old", 1), 1);
  EXPECT_EQ(fromMachine.getWordCount(), 2);
  EXPECT_EQ(fromMachine.getData(0), 0u);  // the user's word 0 is not read with skipUser
  EXPECT_EQ(fromMachine.getData(1), 0x10u);
}

TEST_F(BitSetRegistry, SafeModeWritesNothingButSaysItDid) {
  regSetUseSafeMode(1);
  utBitSet_c set(32u);
  set.setBit(3);
  EXPECT_EQ(set.writeToRegistry(L"Bits", L"Safe"), 1);
  regSetUseSafeMode(0);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Bits"), L"Safe Size"));
}

}  // namespace
}  // namespace KvdSettingsTest
