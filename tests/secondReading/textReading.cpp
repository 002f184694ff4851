// TLVs as text.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelmsg.h"

namespace {

using Lines = std::vector<std::string>;
const char* const INVALID = "3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!";

#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool BIG = true;
#else
constexpr bool BIG = false;
#endif

TRELTlv received(const std::string& bytes) {
  const ExactBlock block(bytes + std::string(8, '\0'));
  TRELTlv tlv;
  tlv.deserialize(block.data());
  return tlv;
}

}  // namespace

TEST(ReadingText, TypeNamesFollowTheTable) {
  const char* const names[] = {"UINT64", "UINT32",  "UINT16", "UINT8",       "INT64",     "INT32",      "INT16",
                               "INT8",   "BOOLEAN", "STRING", "IPv4ADDRESS", "UNIX_TIME", "BYTE_ARRAY", "MAC_ADDRESS"};
  for (int code = 0; code < 256; ++code) {
    SCOPED_TRACE(code);
    TRELTlv tlv;
    tlv.setValue(std::string(8, '\0'));
    tlv.id = 0x1200305;
    tlv.type = static_cast<unsigned char>(code);
    const std::string name = code < 14 ? names[code] : "unknown";
    EXPECT_EQ(tlv.toString().rfind("id=0x1200305 type=" + name + " len=8 val=", 0), 0U) << tlv.toString();
    if (code >= 14) {
      EXPECT_EQ(tlv.valToString(), "??");
      EXPECT_EQ(tlv.toString(), "id=0x1200305 type=unknown len=8 val=??");
    }
  }
}

TEST(ReadingText, IdIsLowerCaseHexadecimalWithoutPaddingAndAnEmptyTlvEndsBehindIt) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = 0xABC;
  tlv.type = 3;
  EXPECT_EQ(tlv.toString(), "id=0xabc ");
  tlv.id = 0;
  EXPECT_EQ(tlv.toString(), "id=0x0 ");
  tlv.id = 0xFFFFFFFF;
  EXPECT_EQ(tlv.toString(), "id=0xffffffff ");
  tlv.setValue(42U);
  tlv.len = 0;
  EXPECT_EQ(tlv.toString(), "id=0xffffffff ");
  EXPECT_EQ(tlv.valToString(), "");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingText, WholeTlvHasTypeLengthAndValueInDecimal) {
  TRELTlv tlv;
  tlv.id = 0x1200305;
  tlv.setValue(42U);
  EXPECT_EQ(tlv.toString(), "id=0x1200305 type=UINT32 len=4 val=42");
  TRELTlv text;
  text.id = 0x10;
  text.setValue(std::string(1200, 'x'));
  EXPECT_EQ(text.toString(), "id=0x10 type=STRING len=1200 val=" + std::string(1200, 'x'));
}

TEST(ReadingText, ValuesAreRenderedByTheirCode) {
  struct Case {
    std::string bytes;
    std::string text;
  };
  const Case cases[] = {
      {"00000001 00 0008 FFFFFFFFFFFFFFFF"_hex, "18446744073709551615"},
      {"00000001 00 0008 0000000000000000"_hex, "0"},
      {"00000001 01 0004 FFFFFFFF"_hex, "4294967295"},
      {"00000001 01 0002 00000102"_hex, "258"},
      {"00000001 02 0002 FFFF"_hex, "65535"},
      {"00000001 03 0001 FF"_hex, "255"},
      {"00000001 03 0001 41"_hex, "65"},
      {"00000001 04 0008 8000000000000000"_hex, "-9223372036854775808"},
      {"00000001 05 0004 80000000"_hex, "-2147483648"},
      {"00000001 06 0002 8000"_hex, "-32768"},
      {"00000001 07 0001 FF"_hex, "-1"},
      {"00000001 07 0001 80"_hex, "-128"},
      {"00000001 07 0001 41"_hex, "65"},
      {"00000001 08 0001 02"_hex, "true"},
      {"00000001 08 0001 01"_hex, "true"},
      {"00000001 08 0001 00"_hex, "false"},
      {"00000001 08 0002 0001"_hex, "false"},
      {"00000001 09 0005 6162006364"_hex, std::string("ab\0cd", 5)},
      {"00000001 09 0002 2573"_hex, "%s"},
      {"00000001 0A 0004 C0A80001"_hex, "192.168.0.1"},
      {"00000001 0A 0004 0A000001"_hex, "10.0.0.1"},
      {"00000001 0A 0004 FFFFFFFF"_hex, "255.255.255.255"},
      {"00000001 0B 0008 0102030405060708"_hex, BIG ? "01 02 03 04 05 06 07 08" : "08 07 06 05 04 03 02 01"},
      {"00000001 0C 0003 00ABff"_hex, "00 ab ff"},
      {"00000001 0D 0006 010203040506"_hex, BIG ? "1.2.3.4.5.6" : "0.0.6.5.4.3"},
      {"00000001 0D 0008 FFFEFDFCFBFAF9F8"_hex, BIG ? "255.254.253.252.251.250" : "248.249.250.251.252.253"},
      {"00000001 0D 0002 0102"_hex, BIG ? "1.2.0.0.0.0" : "0.0.0.0.0.0"},
      {"00000001 0D 000A 0102030405060708090A"_hex, BIG ? "1.2.3.4.5.6" : "8.7.6.5.4.3"},
      {"00000001 0E 0001 41"_hex, "??"},
      {"00000001 14 0001 41"_hex, "??"},
      {"00000001 FF 0001 41"_hex, "??"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(asText(one.bytes));
    LogCapture log;
    const TRELTlv tlv = received(one.bytes);
    EXPECT_EQ(asText(tlv.valToString()), asText(one.text));
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(ReadingText, MacAddressTakesNoByteBeyondItsLengthFromALongerBuffer) {
  TRELTlv tlv;
  tlv.setValue("\x11\x22\x33\x44\x55\x66\x77\x7F", 8, 13);
  tlv.setValue("\x01\x02\x03\x04\x05\x06", 6, 13);
  EXPECT_EQ(tlv.valToString(), BIG ? "1.2.3.4.5.6" : "0.0.6.5.4.3");
  tlv.setValue("\x01", 1, 13);
  EXPECT_EQ(tlv.valToString(), BIG ? "1.0.0.0.0.0" : "0.0.0.0.0.0");
}

TEST(ReadingText, AMissingValueRendersEmptyAfterTheLine) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = 0x7;
  tlv.type = 9;
  tlv.len = 3;
  EXPECT_EQ(tlv.valToString(), "");
  EXPECT_EQ(log.brief(), Lines{INVALID});
  log.clear();
  EXPECT_EQ(tlv.toString(), "id=0x7 type=STRING len=3 val=");
  EXPECT_EQ(log.brief(), Lines{INVALID});
  log.clear();
  tlv.type = 20;  // the value is missed before the type
  EXPECT_EQ(tlv.valToString(), "");
  EXPECT_EQ(log.brief(), Lines{INVALID});
}
