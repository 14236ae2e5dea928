// Deleting values and keys of the settings tree.
#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

using Deletion = VersionedSettingsTest;

TEST_F(Deletion, AVersionedValueDeletionReportsThePreviousKeyAlone) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"OnlyCurrent", 1));
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Sec", L"OnlyCurrent", 1), 0);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"OnlyCurrent"));

  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"Both", 1));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Sec"), L"Both", 2));
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Sec", L"Both", 1), 1);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"Both"));
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, previousPath(L"Sec"), L"Both"));

  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Sec"), L"OnlyPrevious", 2));
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Sec", L"OnlyPrevious", 1), 1);
}

TEST_F(Deletion, AnUnversionedValueDeletionWorksUnderTheProductKey) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, productPath(L"Sec"), L"V", 1));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V", 1));
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Sec", L"V", 0), 1);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, productPath(L"Sec"), L"V"));
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V"));
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Sec", L"V", 0), 0);
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Missing", L"V", 0), 0);
}

TEST_F(Deletion, ValuesOfTheMachineHiveAreDeletedInSafeModeToo) {
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, productPath(L"Sec"), L"V", 1));
  regSetUseSafeMode(1);
  EXPECT_EQ(regDelSoftwareValue(HKEY_LOCAL_MACHINE, L"Sec", L"V", 0), 1);
  EXPECT_FALSE(valueExists(HKEY_LOCAL_MACHINE, productPath(L"Sec"), L"V"));
}

TEST_F(Deletion, ASoftwareKeyIsDeletedOnlyWithoutChildren) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Leaf")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Parent\\Child")));
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Leaf", L"", 1), 1);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Leaf")));
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Parent", nullptr, 1), 0);
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Parent\\Child")));
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Parent", L"Child", 1), 1);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Parent\\Child")));
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Parent")));
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Parent", L"Child", 1), 0);

  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Shared")));
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Shared", L"", 1), 0);  // not under the current key
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Shared", L"", 0), 1);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, productPath(L"Shared")));
}

TEST_F(Deletion, KeyAndSubKeysGoesOneLevelDown) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Tree\\A")));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Tree\\B"), L"V", 1));
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Tree", 1), 1);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Tree")));

  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Deep\\A\\Grandchild")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Deep\\B")));
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Deep", 1), 1);
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Deep\\A\\Grandchild")));
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Deep\\B")));

  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Missing", 1), 0);
}

TEST_F(Deletion, KeyAndSubKeysListsOneBranchAndDeletesInTheCurrentKey) {
  // The list comes from the product key's branch, the deletions happen in the current key's.
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Tree\\A")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Tree\\A")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Tree\\OnlyCurrent")));
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Tree", 0), 1);
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, productPath(L"Tree\\A")));
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Tree\\A")));
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Tree\\OnlyCurrent")));
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Tree")));
}

TEST_F(Deletion, KeyAndSubKeysDeletesNothingInEitherMode) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Tree\\A")));
  regSetUseSafeMode(1);
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Tree", 1), 0);
  regSetUseSafeMode(0);
  regSetUsePerformanceTestMode(1);
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"Tree", 1), 0);
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Tree\\A")));
  // The single key deletion ignores the modes.
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Tree", L"A", 1), 1);
}

TEST_F(Deletion, TheRecursiveDeletionTakesEverything) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Big\\A\\A1\\A11"), L"V", 1));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Big\\A\\A2")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Big\\B")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Big\\C\\C1")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Sibling")));
  HKEY root = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, currentPath(CString()), 0, KEY_ALL_ACCESS, &root), ERROR_SUCCESS);
  regDeleteKey(root, L"Big");
  regDeleteKey(root, L"Missing");
  P::RegCloseKey(root);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Big")));
  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Sibling")));
}

TEST_F(Deletion, BadInputDeletesNothing) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(CString()), L"AtRoot", 1));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, currentPath(L"Keep")));
  // An empty or missing section would name the root key itself.
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"", L"", 1), 0);
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, nullptr, nullptr, 1), 0);
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, L"", 1), 0);
  EXPECT_EQ(regDelSoftwareKeyAndSubKeys(HKEY_CURRENT_USER, nullptr, 1), 0);
  HKEY root = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, currentPath(L"Keep"), 0, KEY_ALL_ACCESS, &root), ERROR_SUCCESS);
  regDeleteKey(root, L"");
  regDeleteKey(root, nullptr);
  P::RegCloseKey(root);
  regDeleteKey(nullptr, L"Keep");
  // Over-long names and missing keys.
  const CString longSection(L's', 300);
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, longSection, L"", 1), 0);
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Keep", CString(L'n', 17000), 1), 0);
  EXPECT_EQ(regDelSoftwareKey(HKEY_CURRENT_USER, L"Nothing", L"Here", 1), 0);

  EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, currentPath(L"Keep")));
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(CString()), L"AtRoot"));
}

}  // namespace
}  // namespace KvdSettingsTest
