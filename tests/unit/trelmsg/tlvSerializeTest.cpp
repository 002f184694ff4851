// A TLV on its way out: the bytes of head and value.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

constexpr unsigned int OID = 0x10800005U;

// Serializes into a block of exactly the size that the bytes have, so that a byte too many is seen.
void expectSerialized(const TRELTlv& tlv, const std::string& bytes) {
  LogCapture log;
  ExactBlock out(bytes.size());
  EXPECT_EQ(tlv.serialize(out.data()), static_cast<int>(bytes.size()));
  EXPECT_EQ(asText(out.view()), asText(bytes));
  EXPECT_EQ(log.brief(), Lines{});
}

template <typename T>
void expectSerializedValue(T value, const std::string& bytes) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(value);
  expectSerialized(tlv, bytes);
}

}  // namespace

TEST(TlvSerialize, AUint64IsBigEndian) {
  expectSerializedValue(0x0102030405060708ULL, "10800005 00 0008 0102030405060708"_hex);
}
TEST(TlvSerialize, AUint32IsBigEndian) { expectSerializedValue(0xF1020304U, "10800005 01 0004 F1020304"_hex); }
TEST(TlvSerialize, AUint16IsBigEndian) {
  expectSerializedValue(static_cast<unsigned short>(0xF102), "10800005 02 0002 F102"_hex);
}
TEST(TlvSerialize, AUint8IsItsByte) {
  expectSerializedValue(static_cast<unsigned char>(0xF1), "10800005 03 0001 F1"_hex);
}
TEST(TlvSerialize, AnInt64IsTwosComplementBigEndian) {
  expectSerializedValue(-2LL, "10800005 04 0008 FFFFFFFFFFFFFFFE"_hex);
}
TEST(TlvSerialize, AnInt32IsTwosComplementBigEndian) { expectSerializedValue(-2, "10800005 05 0004 FFFFFFFE"_hex); }
TEST(TlvSerialize, AnInt16IsTwosComplementBigEndian) {
  expectSerializedValue(static_cast<short>(-2), "10800005 06 0002 FFFE"_hex);
}
TEST(TlvSerialize, AnInt8IsItsByte) { expectSerializedValue(static_cast<signed char>(-2), "10800005 07 0001 FE"_hex); }
TEST(TlvSerialize, ABooleanIsOneOrZero) {
  expectSerializedValue(true, "10800005 08 0001 01"_hex);
  expectSerializedValue(false, "10800005 08 0001 00"_hex);
}
TEST(TlvSerialize, ABooleanByteIsSentAsItIs) {
  TRELTlv tlv;
  tlv.id = OID;
  fill(tlv, TREL_TYPE_BOOLEAN, "05"_hex);
  expectSerialized(tlv, "10800005 08 0001 05"_hex);
}
TEST(TlvSerialize, AStringIsItsCharactersWithoutATerminator) {
  expectSerializedValue(std::string("abc"), "10800005 09 0003 616263"_hex);
}
TEST(TlvSerialize, AStringKeepsItsZeroBytes) {
  expectSerializedValue("61 00 62 00"_hex, "10800005 09 0004 61006200"_hex);
}
TEST(TlvSerialize, AnIpAddressIsBigEndian) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(static_cast<int>(0xC0A80001U), 10);
  expectSerialized(tlv, "10800005 0A 0004 C0A80001"_hex);
}
TEST(TlvSerialize, AUnixTimeIsEncodedAsAUint64) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(0x0102030405060708ULL);
  tlv.type = TREL_TYPE_UNIX_TIME;
  expectSerialized(tlv, "10800005 0B 0008 0102030405060708"_hex);
}
TEST(TlvSerialize, AByteArrayIsItsBytesAsTheyAre) {
  TRELTlv tlv;
  tlv.id = OID;
  fill(tlv, TREL_TYPE_BYTE_ARRAY, "0102030405060708 09"_hex);
  expectSerialized(tlv, "10800005 0C 0009 010203040506070809"_hex);
}
TEST(TlvSerialize, AMacAddressIsItsBytesAsTheyAre) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue("\x00\x1B\x2C\x3D\x4E\x5F", 6, 13);
  expectSerialized(tlv, "10800005 0D 0006 001B2C3D4E5F"_hex);
}
TEST(TlvSerialize, AnUnknownTypeIsItsBytesAsTheyAre) {
  struct {
    unsigned char type;
    std::string bytes;
  } const cases[] = {{14, "10800005 0E 0008 0102030405060708"_hex},
                     {20, "10800005 14 0008 0102030405060708"_hex},
                     {128, "10800005 80 0008 0102030405060708"_hex},
                     {255, "10800005 FF 0008 0102030405060708"_hex}};
  for (const auto& each : cases) {
    SCOPED_TRACE(static_cast<int>(each.type));
    TRELTlv tlv;
    tlv.id = OID;
    fill(tlv, each.type, "0102030405060708"_hex);
    expectSerialized(tlv, each.bytes);
  }
}

TEST(TlvSerialize, TheOidIsBigEndian) {
  TRELTlv tlv;
  tlv.id = 0x81020384U;
  expectSerialized(tlv, "81020384 00 0000"_hex);
}

TEST(TlvSerialize, ALengthOfZeroIsSevenBytes) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.type = TREL_TYPE_UINT64;
  expectSerialized(tlv, "10800005 00 0000"_hex);
}

TEST(TlvSerialize, ALengthOfZeroIsSevenBytesAlthoughThereIsAValue) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(5U);
  tlv.len = 0;
  expectSerialized(tlv, "10800005 01 0000"_hex);
}

TEST(TlvSerialize, TheLengthIsBigEndian) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(std::string(258, 'x'));
  expectSerialized(tlv, "10800005 09 0102"_hex + std::string(258, 'x'));
}

TEST(TlvSerialize, TheLongestValueFits) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(std::string(65535, 'x'));
  expectSerialized(tlv, "10800005 09 FFFF"_hex + std::string(65535, 'x'));
}

TEST(TlvSerialize, WithALengthAndNoValueWritesTheHeadAndCountsTheValue) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = OID;
  tlv.type = TREL_TYPE_UINT32;
  tlv.len = 4;
  ExactBlock head(7);
  EXPECT_EQ(tlv.serialize(head.data()), 11);
  EXPECT_EQ(asText(head.view()), "10 80 00 05 01 00 04");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"});
}

TEST(TlvSerialize, ANumberIsWrittenAtItsFullWidthAlthoughItsLengthIsShorter) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(0x0102030405060708ULL);
  tlv.len = 2;
  ExactBlock out(15);
  EXPECT_EQ(tlv.serialize(out.data()), 9);
  EXPECT_EQ(asText(out.view()), "10 80 00 05 00 00 02 01 02 03 04 05 06 07 08");
  TRELTlv half;
  half.id = OID;
  half.setValue(static_cast<unsigned short>(0x0102));
  half.len = 1;
  ExactBlock halfOut(9);
  EXPECT_EQ(half.serialize(halfOut.data()), 8);
  EXPECT_EQ(asText(halfOut.view()), "10 80 00 05 02 00 01 01 02");
}

TEST(TlvSerialize, ANumberIsWrittenAtItsWidthOnlyAlthoughItsLengthIsLonger) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(0x01020304U);
  tlv.len = 20;
  ExactBlock out(27);
  EXPECT_EQ(tlv.serialize(out.data()), 27);
  EXPECT_EQ(asText(out.view().substr(0, 11)), "10 80 00 05 01 00 14 01 02 03 04");
  EXPECT_EQ(out.view().substr(11), "A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5"_hex);
}

TEST(TlvSerialize, ATypeThatIsNoNumberWritesLenBytes) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(static_cast<unsigned char>(0xF1));
  tlv.len = 3;  // the buffer has eight, zero behind the byte
  expectSerialized(tlv, "10800005 03 0003 F10000"_hex);
}

TEST(TlvSerialize, ANumberGivenAsAShortValueSendsNoByteThatNobodyWrote) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(std::string("ab"));
  tlv.type = TREL_TYPE_UINT64;
  ExactBlock out(15);
  EXPECT_EQ(tlv.serialize(out.data()), 9);
  // Differs by byte order: the buffer's first bytes become the number's low or high ones.
  EXPECT_EQ(asText(out.view()), BIG_ENDIAN_HOST ? "10 80 00 05 00 00 02 61 62 00 00 00 00 00 00"
                                                : "10 80 00 05 00 00 02 00 00 00 00 00 00 62 61");
}

TEST(TlvSerialize, ChangesNothing) {
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(0x01020304U);
  ExactBlock out(11);
  tlv.serialize(out.data());
  expectSerialized(tlv, "10800005 01 0004 01020304"_hex);
}
