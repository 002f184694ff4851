// Where a line of the log says that it comes from: the number in it is that of a line of the file in it.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelProperty.h"

namespace {

// A line of a file of the tree, counted from 1.
std::string sourceLine(const std::string& file, int number) {
  std::ifstream source(TREL_TEST_TREE "/" + file);
  std::string line;
  for (int i = 0; i < number; ++i)
    std::getline(source, line);
  return source ? line : "no line " + std::to_string(number) + " in " + file;
}

class SaysItIsText : public TypeProperty<unsigned int> {
 public:
  using TypeProperty<unsigned int>::TypeProperty;
  int getType() override { return TREL_TYPE_STRING; }
};

}  // namespace

// The library writes these two for functions that stand in its header: the line above the function's name is meant.
TEST(LogPlace, OfANumberIsTheFunctionOfTheHeaderThatWasCalled) {
  TypeProperty<unsigned int> number(0x10800005, "number", IFC_CARD_VAR_READ_WRITE, 7U);
  SaysItIsText noNumber(0x10800005, "text", IFC_CARD_VAR_READ_WRITE, 7U);
  ExactBlock small(10);
  const ExactBlock text("10800005 09 0004 61626364"_hex);
  LogCapture log(3);
  number.serialize(small.data(), 10);
  noNumber.deserialize(text.data());
  ASSERT_EQ(log.lines().size(), 2U);
  const LogLine& tooSmall = log.lines()[0];
  EXPECT_EQ(tooSmall.file, "components/trel/trelProperty.h");
  EXPECT_EQ(sourceLine(tooSmall.file, tooSmall.line), "template <typename T>");
  EXPECT_EQ(sourceLine(tooSmall.file, tooSmall.line + 1), "int TypeProperty<T>::serialize(char* buf, int size) {");
  const LogLine& otherType = log.lines()[1];
  EXPECT_EQ(otherType.file, "components/trel/trelProperty.h");
  EXPECT_EQ(sourceLine(otherType.file, otherType.line), "template <typename T>");
  EXPECT_EQ(sourceLine(otherType.file, otherType.line + 1), "int TypeProperty<T>::deserialize(const char* tlv) {");
}

// A statement of a source says its own line.
TEST(LogPlace, OfASourceIsTheStatementThatWrites) {
  StringProperty text(0x10800005, "text", IFC_CARD_VAR_READ_WRITE, "abc");
  ExactBlock small(9);
  LogCapture log(3);
  text.serialize(small.data(), 9);
  ASSERT_EQ(log.lines().size(), 1U);
  const LogLine& line = log.lines()[0];
  EXPECT_EQ(line.file, "components/trel/trelProperty.cpp");
  EXPECT_NE(sourceLine(line.file, line.line).find("__LINE__, \"serialize\""), std::string::npos);
}
