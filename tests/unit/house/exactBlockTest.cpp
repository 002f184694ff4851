#include "support/exactBlock.h"

#include <gtest/gtest.h>

#include <string>

TEST(ExactBlock, HoldsACopyOfExactlyTheBytesGiven) {
  std::string bytes("\x01\x00\xFF", 3);
  const ExactBlock block(bytes);
  bytes[0] = 'x';
  EXPECT_EQ(block.view(), std::string_view("\x01\x00\xFF", 3));
  EXPECT_EQ(block.size(), 3u);
  EXPECT_EQ(block.length(), 3);
}

TEST(ExactBlock, OfASizeIsFilledWithOneValue) {
  const ExactBlock block(4, 0x5A);
  EXPECT_EQ(block.view(), "ZZZZ");
}

TEST(ExactBlock, OfNoBytesIsNotNull) {
  const ExactBlock block(std::string_view{});
  EXPECT_NE(block.data(), nullptr);
  EXPECT_EQ(block.size(), 0u);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(ExactBlockDeathTest, EndsWhereItsBytesEnd) {
  const ExactBlock block(std::string_view("abc"));
  const volatile char* end = block.data() + block.size();
  EXPECT_DEATH(static_cast<void>(*end), "heap-buffer-overflow");
}
#endif
