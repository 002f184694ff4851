#include <gtest/gtest.h>
#include <libframework/util.h>

#include <string>

#include "support/exactBlock.h"

TEST(Buf2Str, RendersTwoLowerCaseDigitsAByteAndOneBlankBetween) {
  const ExactBlock block(std::string_view("\x00\x7F\xAB\xFF", 4));
  EXPECT_EQ(util::buf2str(block.data(), 4, 0), "00 7f ab ff");
}

TEST(Buf2Str, RendersASingleByteWithoutBlank) {
  const ExactBlock block(std::string_view("\x09", 1));
  EXPECT_EQ(util::buf2str(block.data(), 1, 0), "09");
}

TEST(Buf2Str, RendersNoBytesAsTheEmptyTextWithoutLookingAtTheBuffer) { EXPECT_EQ(util::buf2str(nullptr, 0, 0), ""); }

TEST(Buf2Str, TakesNoMoreThanTheLengthSays) { EXPECT_EQ(util::buf2str("\x01\x02\x03", 2, 0), "01 02"); }

TEST(Buf2Str, IgnoresTheMode) { EXPECT_EQ(util::buf2str("\xC0\xDE", 2, 7), "c0 de"); }
