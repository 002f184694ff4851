#include "support/bytes.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

TEST(Hex, ReadsDigitsOfEitherCase) { EXPECT_EQ("4f544E31"_hex, "OTN1"); }

TEST(Hex, IgnoresBlanksAndBarsWhereverTheyStand) { EXPECT_EQ(" 4F 5 4 | 4E|31 "_hex, "OTN1"); }

TEST(Hex, KeepsZeroBytesAndBytesAbove7F) { EXPECT_EQ("00 80 FF 00"_hex, std::string("\x00\x80\xFF\x00", 4)); }

TEST(Hex, OfNothingIsNothing) { EXPECT_EQ(" | "_hex, std::string()); }

TEST(Hex, RefusesAnOddNumberOfDigits) { EXPECT_THROW("4F 5"_hex, std::invalid_argument); }

TEST(Hex, RefusesAnyOtherCharacter) {
  EXPECT_THROW("4G"_hex, std::invalid_argument);
  EXPECT_THROW("4F,54"_hex, std::invalid_argument);
  EXPECT_THROW("0x4F"_hex, std::invalid_argument);
}

TEST(AsText, IsTwoUpperCaseDigitsAByteAndOneBlankBetween) {
  EXPECT_EQ(asText("OTN1"), "4F 54 4E 31");
  EXPECT_EQ(asText(std::string("\x00\xFF", 2)), "00 FF");
  EXPECT_EQ(asText(""), "");
}

TEST(AsDatagram, OfARequestHasAHeaderOfFourFields) {
  EXPECT_EQ(asDatagram("4F544E310101000710800005010000"_hex), "4F544E31 01 01 0007 | 10800005 01 0000");
}

TEST(AsDatagram, OfAResponseHasResultAndIndex) {
  EXPECT_EQ(asDatagram("4F544E3101030007000000108000050100040000002A"_hex),
            "4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A");
  EXPECT_EQ(asDatagram("4F544E31010400070A0002"_hex), "4F544E31 01 04 0007 0A 0002");
}

TEST(AsDatagram, OfAnAutonomousMessageHasSecondsAndMicroseconds) {
  EXPECT_EQ(asDatagram("4F544E310105000700000064000003E8"_hex), "4F544E31 01 05 0007 00000064 000003E8");
}

TEST(AsDatagram, SetsEachTlvApart) {
  EXPECT_EQ(asDatagram("4F544E31010200071080000503000101108000060900024142"_hex),
            "4F544E31 01 02 0007 | 10800005 03 0001 01 | 10800006 09 0002 4142");
}

TEST(AsDatagram, TakesTheLengthOfAValueFromBothOfItsBytes) {
  const std::string text = asDatagram("4F544E31 01 02 0007 | 10800005 0C 0100"_hex + std::string(256, 'A') + "!");
  EXPECT_EQ(text.substr(0, 44), "4F544E31 01 02 0007 | 10800005 0C 0100 41414");
  EXPECT_EQ(text.substr(text.size() - 7), "41 ! 21");
}

TEST(AsDatagram, ShowsATlvThatIsCutOffBehindAnExclamationMark) {
  EXPECT_EQ(asDatagram("4F544E31010200071080000501"_hex), "4F544E31 01 02 0007 ! 1080000501");
  EXPECT_EQ(asDatagram("4F544E310102000710800005010004000000"_hex), "4F544E31 01 02 0007 ! 10800005010004000000");
}

TEST(AsDatagram, ShowsAHeaderThatIsCutOffBehindAnExclamationMark) {
  EXPECT_EQ(asDatagram("4F544E3101"_hex), "4F544E31 01");
  EXPECT_EQ(asDatagram("4F544E"_hex), " ! 4F544E");
  EXPECT_EQ(asDatagram("4F544E3101030007 00 00"_hex), "4F544E31 01 03 0007 00 ! 00");
}

TEST(AsDatagram, OfNothingIsNothing) { EXPECT_EQ(asDatagram(""), ""); }
