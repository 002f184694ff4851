// The texts of the result codes, also of those that no line of the library carries.

#include <gtest/gtest.h>

#include "trel/trelResultText.h"

TEST(ResultText, OfTheFirstAndTheLastCodeIsTheirsAndOutsideOfThemUnknown) {
  EXPECT_STREQ(trelResultText(0), "RESULT OK");
  EXPECT_STREQ(trelResultText(15), "RESULT NOT SEND");
  EXPECT_STREQ(trelResultText(17), "");
  EXPECT_STREQ(trelResultText(18), "unknown");
  EXPECT_STREQ(trelResultText(-1), "unknown");
}
