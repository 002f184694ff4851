// What the text of a TLV asks of the platform. This program has a buf2str of its own, which stands before the platform's, also
// for the library.
#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "trel/trelmsg.h"

namespace {

std::string askedBytes;
unsigned int askedLen = 0;
int askedMode = -1;
int asked = 0;

}  // namespace

namespace util {

std::string buf2str(const char* buf, unsigned int len, int mode);
std::string buf2str(const char* buf, unsigned int len, int mode) {
  askedBytes.assign(buf, len);
  askedLen = len;
  askedMode = mode;
  ++asked;
  return "the platform's text";
}

}  // namespace util

TEST(TlvPlatformText, AByteArrayIsRenderedByThePlatformInModeZero) {
  const std::string wire = "00000001 0C 0003 00AB7F 0000000000"_hex;
  TRELTlv tlv;
  tlv.deserialize(wire.data());
  EXPECT_EQ(tlv.valToString(), "the platform's text");
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(askedMode, 0);
  EXPECT_EQ(askedLen, 3U);
  EXPECT_EQ(asText(askedBytes), "00 AB 7F");
}

TEST(TlvPlatformText, ATimeIsRenderedByThePlatformInModeZeroFromItsBytesInMemory) {
  const std::string wire = "00000001 0B 0008 0102030405060708"_hex;
  TRELTlv tlv;
  tlv.deserialize(wire.data());
  EXPECT_EQ(tlv.toString(), "id=0x1 type=UNIX_TIME len=8 val=the platform's text");
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(askedMode, 0);
  EXPECT_EQ(askedLen, 8U);
  // In host order, as a value is kept.
  EXPECT_EQ(asText(askedBytes),
            __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? "08 07 06 05 04 03 02 01" : "01 02 03 04 05 06 07 08");
}

TEST(TlvPlatformText, NoOtherTypeAsksThePlatform) {
  for (unsigned int type = 0; type <= 14; ++type) {
    if (type == 11 || type == 12) continue;
    SCOPED_TRACE(type);
    std::string wire = "00000001 00 0006 010203040506 0000"_hex;
    wire[4] = static_cast<char>(type);
    TRELTlv tlv;
    tlv.deserialize(wire.data());
    tlv.valToString();
  }
  EXPECT_EQ(asked, 0);
}
