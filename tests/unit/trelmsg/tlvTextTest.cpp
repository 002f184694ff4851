// The text of a TLV, for logs and diagnostics.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <locale>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "trel/trelmsg.h"

namespace {

// A TLV as it comes out of a datagram.
std::string textOf(const std::string& wire) {
  std::string padded = wire + std::string(8, '\0');
  TRELTlv tlv;
  tlv.deserialize(padded.data());
  return tlv.toString();
}

TEST(TlvText, EachTypeHasItsNameAndItsForm) {
  struct Case {
    std::string wire;
    const char* text;
  };
  const Case cases[] = {
      {"01200305 00 0008 FFFFFFFFFFFFFFFF"_hex, "id=0x1200305 type=UINT64 len=8 val=18446744073709551615"},
      {"01200305 01 0004 0000002A"_hex, "id=0x1200305 type=UINT32 len=4 val=42"},
      {"01200305 02 0002 FFFF"_hex, "id=0x1200305 type=UINT16 len=2 val=65535"},
      {"01200305 03 0001 FF"_hex, "id=0x1200305 type=UINT8 len=1 val=255"},
      {"01200305 04 0008 FFFFFFFFFFFFFFFE"_hex, "id=0x1200305 type=INT64 len=8 val=-2"},
      {"01200305 05 0004 80000000"_hex, "id=0x1200305 type=INT32 len=4 val=-2147483648"},
      {"01200305 06 0002 FFFE"_hex, "id=0x1200305 type=INT16 len=2 val=-2"},
      {"01200305 07 0001 FF"_hex, "id=0x1200305 type=INT8 len=1 val=-1"},
      {"01200305 08 0001 02"_hex, "id=0x1200305 type=BOOLEAN len=1 val=true"},
      {"01200305 08 0001 00"_hex, "id=0x1200305 type=BOOLEAN len=1 val=false"},
      {"01200305 09 0002 6869"_hex, "id=0x1200305 type=STRING len=2 val=hi"},
      {"01200305 0A 0004 0A000001"_hex, "id=0x1200305 type=IPv4ADDRESS len=4 val=10.0.0.1"},
      {"01200305 0A 0004 C0A80001"_hex, "id=0x1200305 type=IPv4ADDRESS len=4 val=192.168.0.1"},
      {"01200305 0C 0003 00AB7F"_hex, "id=0x1200305 type=BYTE_ARRAY len=3 val=00 ab 7f"},
      {"01200305 14 0002 0102"_hex, "id=0x1200305 type=unknown len=2 val=??"},
      {"01200305 0E 0001 01"_hex, "id=0x1200305 type=unknown len=1 val=??"},
      {"01200305 FF 0001 01"_hex, "id=0x1200305 type=unknown len=1 val=??"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(textOf(c.wire), c.text);
}

TEST(TlvText, WithoutALengthTheTypeIsNotShownAndABlankFollowsTheId) {
  TRELTlv tlv;
  tlv.id = 0xABC;
  tlv.type = 9;
  EXPECT_EQ(tlv.toString(), "id=0xabc ");
  EXPECT_EQ(tlv.valToString(), "");
}

TEST(TlvText, AStringKeepsItsZeroBytes) {
  TRELTlv tlv;
  tlv.setValue("a\0b", 3);
  EXPECT_EQ(tlv.valToString(), std::string("a\0b", 3));
}

// A time is not made a date: its bytes are dumped, as they lie in memory, least significant first on a little-endian host.
TEST(TlvText, ATimeIsDumpedLikeAByteArray) {
  const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  EXPECT_EQ(textOf("00000001 0B 0008 0000000065920080"_hex),
            littleEndian ? "id=0x1 type=UNIX_TIME len=8 val=80 00 92 65 00 00 00 00"
                         : "id=0x1 type=UNIX_TIME len=8 val=00 00 00 00 65 92 00 80");
}

// Decimal with dots, from the upper six bytes of a number of this host: the address 00:1a:2b:3c:4d:5e lies in its lower six
// bytes on a little-endian host and comes out reversed behind two zeros.
TEST(TlvText, AMacAddressIsSixDecimalNumbersOfTheUpperBytes) {
  const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  EXPECT_EQ(textOf("00000001 0D 0006 001A2B3C4D5E"_hex), littleEndian
                                                             ? "id=0x1 type=MAC_ADDRESS len=6 val=0.0.94.77.60.43"
                                                             : "id=0x1 type=MAC_ADDRESS len=6 val=0.26.43.60.77.94");
}

TEST(TlvText, AMacAddressOfEightBytesShowsSixOfThem) {
  const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  EXPECT_EQ(textOf("00000001 0D 0008 0102030405060708"_hex), littleEndian
                                                                 ? "id=0x1 type=MAC_ADDRESS len=8 val=8.7.6.5.4.3"
                                                                 : "id=0x1 type=MAC_ADDRESS len=8 val=1.2.3.4.5.6");
}

TEST(TlvText, BytesOfAMacAddressBeyondItsLengthCountAsZero) {
  TRELTlv tlv;
  tlv.type = 13;
  tlv.len = 2;
  tlv.val = static_cast<char*>(std::malloc(2));  // exactly: a sanitizer sees one byte too many
  std::memcpy(tlv.val, "\x01\x02", 2);
  const bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
  EXPECT_EQ(tlv.valToString(), littleEndian ? "0.0.0.0.0.0" : "1.2.0.0.0.0");
}

TEST(TlvText, AMissingValueIsEmptyAndLogged) {
  LogCapture log(3);
  TRELTlv tlv;
  tlv.id = 1;
  tlv.type = 1;
  tlv.len = 3;
  EXPECT_EQ(tlv.toString(), "id=0x1 type=UINT32 len=3 val=");
  EXPECT_EQ(log.brief(),
            (std::vector<std::string>{"3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"}));
}

TEST(TlvText, RenderingDoesNotChangeTheTlv) {
  TRELTlv tlv;
  tlv.id = 7;
  tlv.setValue(42u);
  EXPECT_EQ(tlv.toString(), tlv.toString());
  EXPECT_EQ(tlv.getValueAsUInt32(), 42u);
}

}  // namespace

TEST(TlvText, IsTheSameInEveryLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
  };
  TRELTlv tlv;
  tlv.id = 0x10800005;
  tlv.setValue(std::string(1234, 'x'));
  const std::string expected = "id=0x10800005 type=string len=1234 val=";
  const std::string plain = tlv.toString().substr(0, expected.size());
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  const std::string grouped = tlv.toString().substr(0, expected.size());
  std::locale::global(former);
  EXPECT_EQ(grouped, plain);
  EXPECT_NE(plain.find("10800005"), std::string::npos);
  EXPECT_NE(plain.find("1234"), std::string::npos);
}
