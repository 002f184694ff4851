// The one line of text of a number, to the character.

#include <gtest/gtest.h>

#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelProperty.h"

namespace {

template <typename T>
std::string textOf(T value, T def) {
  TypeProperty<T> property(7, "speed", IFC_CARD_VAR_READ_WRITE, def);
  property.set(value);
  return property.str();
}

TEST(NumericText, EventableNumberWithIdSevenValueTwoAndDefaultOne) {
  TypeProperty<unsigned int> property(7, "speed", IFC_CARD_VAR_READ_WRITE, 1U, true);
  property.set(2U);
  EXPECT_EQ(property.str(),
            "  7 |                                    speed :                    2  (def = 1, eventable)\n");
}

TEST(NumericText, NumberThatIsNotEventableSaysNothingOfEvents) {
  EXPECT_EQ(textOf<unsigned int>(2, 1),
            "  7 |                                    speed :                    2  (def = 1)\n");
}

TEST(NumericText, AccessTypeAndCheckDoNotShow) {
  const TypeProperty<int> property(7, "speed", IFC_CARD_VAR_READ_ONLY, 1, new RangeCheckValue<int>(1, 10), true);
  EXPECT_EQ(property.str(),
            "  7 |                                    speed :                    1  (def = 1, eventable)\n");
}

TEST(NumericText, SixtyFourBitsUnsigned) {
  EXPECT_EQ(textOf<unsigned long long>(std::numeric_limits<unsigned long long>::max(), 0),
            "  7 |                                    speed : 18446744073709551615  (def = 0)\n");
  EXPECT_EQ(textOf<unsigned long long>(0, std::numeric_limits<unsigned long long>::max()),
            "  7 |                                    speed :                    0  (def = 18446744073709551615)\n");
}

TEST(NumericText, ThirtyTwoBitsUnsigned) {
  EXPECT_EQ(textOf<unsigned int>(4294967295U, 2147483648U),
            "  7 |                                    speed :           4294967295  (def = 2147483648)\n");
}

TEST(NumericText, SixteenBitsUnsigned) {
  EXPECT_EQ(textOf<unsigned short>(65535, 32768),
            "  7 |                                    speed :                65535  (def = 32768)\n");
}

TEST(NumericText, EightBitsUnsignedPrintAsANumber) {
  EXPECT_EQ(textOf<unsigned char>(255, 65),
            "  7 |                                    speed :                  255  (def = 65)\n");
}

TEST(NumericText, SixtyFourBitsSigned) {
  EXPECT_EQ(textOf<long long>(std::numeric_limits<long long>::min(), -1),
            "  7 |                                    speed : -9223372036854775808  (def = -1)\n");
}

TEST(NumericText, ThirtyTwoBitsSigned) {
  EXPECT_EQ(textOf<int>(-2147483647 - 1, 2147483647),
            "  7 |                                    speed :          -2147483648  (def = 2147483647)\n");
}

TEST(NumericText, SixteenBitsSigned) {
  EXPECT_EQ(textOf<short>(-32768, 32767),
            "  7 |                                    speed :               -32768  (def = 32767)\n");
}

TEST(NumericText, EightBitsSignedPrintAsANumber) {
  EXPECT_EQ(textOf<signed char>(-128, 65),
            "  7 |                                    speed :                 -128  (def = 65)\n");
  EXPECT_EQ(textOf<signed char>(0, 127),
            "  7 |                                    speed :                    0  (def = 127)\n");
}

TEST(NumericText, FlagPrintsZeroOrOne) {
  EXPECT_EQ(textOf<bool>(false, true),
            "  7 |                                    speed :                    0  (def = 1)\n");
  EXPECT_EQ(textOf<bool>(true, false),
            "  7 |                                    speed :                    1  (def = 0)\n");
}

TEST(NumericText, IdFillsThreeCharactersAndALongerOneAllItsDigits) {
  EXPECT_EQ(TypeProperty<int>(0, "speed", IFC_CARD_VAR_READ_WRITE, 1).str().substr(0, 6), "  0 | ");
  EXPECT_EQ(TypeProperty<int>(42, "speed", IFC_CARD_VAR_READ_WRITE, 1).str().substr(0, 6), " 42 | ");
  EXPECT_EQ(TypeProperty<int>(999, "speed", IFC_CARD_VAR_READ_WRITE, 1).str().substr(0, 6), "999 | ");
  EXPECT_EQ(TypeProperty<int>(4294967295U, "speed", IFC_CARD_VAR_READ_WRITE, 1).str(),
            "4294967295 |                                    speed :                    1  (def = 1)\n");
}

TEST(NumericText, NameOfFortyCharactersFillsItsFieldAndALongerOneStandsWhole) {
  EXPECT_EQ(TypeProperty<int>(7, "0123456789012345678901234567890123456789", IFC_CARD_VAR_READ_WRITE, 1).str(),
            "  7 | 0123456789012345678901234567890123456789 :                    1  (def = 1)\n");
  EXPECT_EQ(TypeProperty<int>(7, "01234567890123456789012345678901234567890", IFC_CARD_VAR_READ_WRITE, 1).str(),
            "  7 | 01234567890123456789012345678901234567890 :                    1  (def = 1)\n");
}

TEST(NumericText, EmptyNameIsFortyBlanks) {
  EXPECT_EQ(TypeProperty<int>(7, "", IFC_CARD_VAR_READ_WRITE, 1).str(),
            "  7 |                                          :                    1  (def = 1)\n");
}

TEST(NumericText, RowDoesNotShow) {
  TypeProperty<int> property(7, "speed", IFC_CARD_VAR_READ_WRITE, 1);
  property.row = 12;
  EXPECT_EQ(property.str(), "  7 |                                    speed :                    1  (def = 1)\n");
}

TEST(NumericText, ApplicationsLocaleDoesNotGroupTheDigits) {
  class Grouping : public std::numpunct<char> {
   protected:
    std::string do_grouping() const override { return "\3"; }
  };
  TypeProperty<int> property(1234567, "speed", IFC_CARD_VAR_READ_WRITE, -1234567);
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  const std::string text = property.str();
  std::locale::global(former);
  EXPECT_EQ(text, "1234567 |                                    speed :             -1234567  (def = -1234567)\n");
}

TEST(NumericText, WritesNoLineAndChangesNothing) {
  TypeProperty<int> property(7, "speed", IFC_CARD_VAR_READ_WRITE, 1, true);
  property.set(2);
  const LogCapture log;
  property.str();
  EXPECT_EQ(log.brief(), std::vector<std::string>{});
  EXPECT_TRUE(property.eventPending);
}

}  // namespace
