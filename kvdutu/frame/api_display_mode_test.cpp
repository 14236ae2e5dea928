#include "kvdutu/frame/api_display_mode.h"

#include <gtest/gtest.h>

TEST(ApiDisplayMode, TableRowsAndEverythingElseIsMinusOne) {
  const int off = 0, on = 1;
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 0), 0);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(on, 0), 0);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 1), 1);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 2), 2);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 3), 3);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(on, 3), 7);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(-5, 3), 7);  // any non-zero flag
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 4), -1);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(on, 5), -1);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(off, 6), 8);
  EXPECT_EQ(GetApiDisplayModeFromUiMode(on, 6), 8);
  for (long m : {-1L, -100L, 7L, 8L, 1000L}) EXPECT_EQ(GetApiDisplayModeFromUiMode(off, m), -1) << m;
}
