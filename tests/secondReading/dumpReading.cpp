// The hex dump.

#include <gtest/gtest.h>

#include <string>

#include "support/logCapture.h"
#include "support/recordingEngine.h"

namespace {

std::string dumpOf(const std::string& bytes) {
  RecordingEngine engine;
  const LogCapture log;
  testing::internal::CaptureStdout();
  engine.dump_hex(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(engine.messages.empty());
  return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(ReadingDump, EveryShapeOfALine) {
  EXPECT_EQ(dumpOf(""), "\n hex dump\n\n");
  EXPECT_EQ(dumpOf(std::string("AB\0", 3)), "\n hex dump\n0000: 41 42 00                | AB.\n\n");
  EXPECT_EQ(dumpOf("1234567"), "\n hex dump\n0000: 31 32 33 34 35 36 37    | 1234567\n\n");
  EXPECT_EQ(dumpOf("12345678"), "\n hex dump\n0000: 31 32 33 34 35 36 37 38 | 12345678\n\n");
  EXPECT_EQ(dumpOf("12345678x"),
            "\n hex dump\n0000: 31 32 33 34 35 36 37 38 | 12345678\n0008: 78                      | x\n\n");
  EXPECT_EQ(dumpOf(std::string(16, 'z')),
            "\n hex dump\n0000: 7A 7A 7A 7A 7A 7A 7A 7A | zzzzzzzz\n0008: 7A 7A 7A 7A 7A 7A 7A 7A | zzzzzzzz\n\n");
}

TEST(ReadingDump, OnlyPrintableBytesAreShownAsThemselvesAndABlankIsOne) {
  EXPECT_EQ(dumpOf("\x7F\x0A\x20\x7E\x1F\x80\xFF%"), "\n hex dump\n0000: 7F 0A 20 7E 1F 80 FF 25 | .. ~...%\n\n");
}

TEST(ReadingDump, OffsetsAreDecimalOfFourDigitsAndGrowBeyond) {
  const std::string dump = dumpOf(std::string(10009, 'a'));
  EXPECT_NE(dump.find("\n0016: 61 "), std::string::npos);
  EXPECT_NE(dump.find("\n9992: 61 61 61 61 61 61 61 61 | aaaaaaaa\n10000: 61 61 61 61 61 61 61 61 | aaaaaaaa\n"
                      "10008: 61                      | a\n\n"),
            std::string::npos);
}

TEST(ReadingDump, NoFlagOfStandardOutputLeaksIntoOrOutOfTheDump) {
  RecordingEngine engine;
  const unsigned char byte = 0x0B;
  testing::internal::CaptureStdout();
  engine.dump_hex(&byte, 1);
  printf("%d", 255);
  engine.dump_hex(nullptr, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n hex dump\n0000: 0B                      | .\n\n255\n hex dump\n\n");
}
