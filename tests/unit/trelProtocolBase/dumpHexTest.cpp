// dump_hex: bytes on standard output for a person.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "trel/trelProtocolBase.h"

namespace {

class SilentEngine : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage&) override { return 0; }
};

std::string dumped(const std::string& bytes) {
  SilentEngine engine;
  testing::internal::CaptureStdout();
  engine.dump_hex(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
  return testing::internal::GetCapturedStdout();
}

TEST(DumpHex, NoBytesPrintTheTitleAndAnEmptyLine) { EXPECT_EQ(dumped(""), "\n hex dump\n\n"); }

TEST(DumpHex, ANullPointerPrintsAsNoBytes) {
  SilentEngine engine;
  testing::internal::CaptureStdout();
  engine.dump_hex(nullptr, 5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n hex dump\n\n");
}

TEST(DumpHex, AShortLineIsPaddedWithThreeBlanksForEachMissingByte) {
  EXPECT_EQ(dumped(std::string("AB\0", 3)),
            "\n hex dump\n"
            "0000: 41 42 00                | AB.\n"
            "\n");
}

TEST(DumpHex, EightBytesFillALine) {
  EXPECT_EQ(dumped("OTN1\x01\x02\xAB\xFF"),
            "\n hex dump\n"
            "0000: 4F 54 4E 31 01 02 AB FF | OTN1....\n"
            "\n");
}

TEST(DumpHex, TheNinthByteStartsTheLineOfOffset8) {
  EXPECT_EQ(dumped("ABCDEFGHI"),
            "\n hex dump\n"
            "0000: 41 42 43 44 45 46 47 48 | ABCDEFGH\n"
            "0008: 49                      | I\n"
            "\n");
}

TEST(DumpHex, OnlyPrintableCharactersAreShownAsThemselves) {
  EXPECT_EQ(dumped("\x7F\n ~\x1F\x80"),
            "\n hex dump\n"
            "0000: 7F 0A 20 7E 1F 80       | .. ~..\n"
            "\n");
}

TEST(DumpHex, OffsetsCountInDecimalAndGrowBeyondFourDigits) {
  const std::string text = dumped(std::string(10001, 'x'));
  EXPECT_NE(text.find("\n0016: 78"), std::string::npos);
  EXPECT_NE(text.find("\n9992: 78"), std::string::npos);
  EXPECT_NE(text.find("\n10000: 78                      | x\n\n"), std::string::npos);
}

}  // namespace
