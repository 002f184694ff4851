// The OIDs of a common table, whose flag stands beside every row, column and table id.

#include <gtest/gtest.h>

#include "trel/trelObjects.h"

TEST(CommonTable, TheFlagIsBit28AndLeavesTheOtherFieldsAsTheyAre) {
  TrelTable table("ports", 3, true, 8);
  EXPECT_EQ(table.getOID(1, 0), 0x50C04000U);
  EXPECT_EQ(table.getOID(1, 6), 0x50C04006U);
  EXPECT_EQ(table.getOID(0, 0), 0x50C00000U);
}
