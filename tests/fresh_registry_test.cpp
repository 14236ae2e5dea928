// A host's first settings on a machine where nothing was ever stored: the version key and one
// value of each type are written and read back with no key prepared beforehand.
#include <gtest/gtest.h>

#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/user_values.h"

TEST(FreshRegistry, FirstWritesOfEachTypeSucceedAndReadBack) {
  setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
  const CString section(L"KvdFreshRegistryTest\\Options");
  int number = 42;
  double ratio = 0.25;
  CString text(L"first value");
  CString longText(L'z', 5000);
  ASSERT_EQ(regSetUserValue(section, L"Number", &number), 1);
  ASSERT_EQ(regSetUserValue(section, L"Ratio", &ratio), 1);
  ASSERT_EQ(regSetUserValue(section, L"Text", text), 1);
  ASSERT_EQ(regSetUserValue(section, L"Long", longText), 1);

  int numberBack = 0;
  double ratioBack = 0;
  CString textBack, longBack;
  EXPECT_EQ(regGetUserValue(section, L"Number", &numberBack), 1);
  EXPECT_EQ(regGetUserValue(section, L"Ratio", &ratioBack), 1);
  EXPECT_EQ(regGetUserValue(section, L"Text", textBack), 1);
  EXPECT_EQ(regGetUserValue(section, L"Long", longBack), 1);
  EXPECT_EQ(numberBack, 42);
  EXPECT_EQ(ratioBack, 0.25);
  EXPECT_EQ(textBack, text);
  EXPECT_EQ(longBack, longText);
}
