// A TLV on its way in: what the bytes of head and value become.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

// Reads a whole TLV from a block that ends where it ends.
void read(TRELTlv& tlv, const std::string& bytes) {
  LogCapture log;
  const ExactBlock in(bytes);
  EXPECT_EQ(tlv.deserialize(in.data()), in.length());
  EXPECT_EQ(log.brief(), Lines{});
}

void expectHead(const TRELTlv& tlv, unsigned int id, unsigned int type, unsigned int len) {
  EXPECT_EQ(idOf(tlv), id);
  EXPECT_EQ(typeOf(tlv), type);
  EXPECT_EQ(lenOf(tlv), len);
}

}  // namespace

TEST(TlvDeserialize, AUint64IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 00 0008 0102030405060708"_hex);
  expectHead(tlv, 0x10800005U, 0, 8);
  EXPECT_EQ(tlv.getValueAsUInt64(), 0x0102030405060708ULL);
}
TEST(TlvDeserialize, AUint32IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 01 0004 F1020304"_hex);
  expectHead(tlv, 0x10800005U, 1, 4);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0xF1020304U);
}
TEST(TlvDeserialize, AUint16IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 02 0002 F102"_hex);
  expectHead(tlv, 0x10800005U, 2, 2);
  EXPECT_EQ(tlv.getValueAsUInt16(), 0xF102U);
}
TEST(TlvDeserialize, AUint8IsItsByte) {
  TRELTlv tlv;
  read(tlv, "10800005 03 0001 F1"_hex);
  expectHead(tlv, 0x10800005U, 3, 1);
  EXPECT_EQ(tlv.getValueAsUInt8(), 0xF1U);
}
TEST(TlvDeserialize, AnInt64IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 04 0008 FFFFFFFFFFFFFFFE"_hex);
  expectHead(tlv, 0x10800005U, 4, 8);
  EXPECT_EQ(tlv.getValueAsInt64(), -2LL);
}
TEST(TlvDeserialize, AnInt32IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 05 0004 FFFFFFFE"_hex);
  expectHead(tlv, 0x10800005U, 5, 4);
  EXPECT_EQ(tlv.getValueAsInt32(), -2);
}
TEST(TlvDeserialize, AnInt16IsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 06 0002 FFFE"_hex);
  expectHead(tlv, 0x10800005U, 6, 2);
  EXPECT_EQ(tlv.getValueAsInt16(), -2);
}
TEST(TlvDeserialize, AnInt8IsItsByte) {
  TRELTlv tlv;
  read(tlv, "10800005 07 0001 FE"_hex);
  expectHead(tlv, 0x10800005U, 7, 1);
  EXPECT_EQ(tlv.getValueAsInt8(), -2);
}
TEST(TlvDeserialize, ABooleanKeepsTheByteThatCame) {
  TRELTlv tlv;
  read(tlv, "10800005 08 0001 05"_hex);
  expectHead(tlv, 0x10800005U, 8, 1);
  EXPECT_TRUE(tlv.getValueAsBool());
  EXPECT_EQ(tlv.getValueAsUInt8(), 5U);
}
TEST(TlvDeserialize, AStringKeepsItsZeroBytes) {
  TRELTlv tlv;
  read(tlv, "10800005 09 0005 6162006364"_hex);
  expectHead(tlv, 0x10800005U, 9, 5);
  EXPECT_EQ(asText(tlv.getValueAsString()), "61 62 00 63 64");
}
TEST(TlvDeserialize, AnIpAddressIsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 0A 0004 C0A80001"_hex);
  expectHead(tlv, 0x10800005U, 10, 4);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0xC0A80001U);
}
TEST(TlvDeserialize, AUnixTimeIsKeptInHostOrder) {
  TRELTlv tlv;
  read(tlv, "10800005 0B 0008 0102030405060708"_hex);
  expectHead(tlv, 0x10800005U, 11, 8);
  EXPECT_EQ(tlv.getValueAsInt64(), 0x0102030405060708LL);
}
TEST(TlvDeserialize, AByteArrayIsItsBytesAsTheyAre) {
  TRELTlv tlv;
  read(tlv, "10800005 0C 0009 010203040506070809"_hex);
  expectHead(tlv, 0x10800005U, 12, 9);
  EXPECT_EQ(storedBytes(tlv, 9), "01 02 03 04 05 06 07 08 09");
}
TEST(TlvDeserialize, AMacAddressIsItsBytesAsTheyAre) {
  TRELTlv tlv;
  read(tlv, "10800005 0D 0006 001B2C3D4E5F"_hex);
  expectHead(tlv, 0x10800005U, 13, 6);
  EXPECT_EQ(storedBytes(tlv, 8), "00 1B 2C 3D 4E 5F 00 00");
}
TEST(TlvDeserialize, AnUnknownTypeIsItsBytesAsTheyAre) {
  const std::string types = "0E 14 80 FF"_hex;
  for (const char type : types) {
    SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(type)));
    TRELTlv tlv;
    read(tlv, "10800005"_hex + type + "0008 0102030405060708"_hex);
    EXPECT_EQ(typeOf(tlv), static_cast<unsigned char>(type));
    EXPECT_EQ(storedBytes(tlv, 8), "01 02 03 04 05 06 07 08");
  }
}

TEST(TlvDeserialize, StoresNumbersInTheOrderOfTheMachine) {
  // Differs by byte order.
  TRELTlv time;
  read(time, "10800005 0B 0008 0102030405060708"_hex);
  EXPECT_EQ(storedBytes(time, 8), BIG_ENDIAN_HOST ? "01 02 03 04 05 06 07 08" : "08 07 06 05 04 03 02 01");
  TRELTlv address;
  read(address, "10800005 0A 0004 C0A80001"_hex);
  EXPECT_EQ(storedBytes(address, 4), BIG_ENDIAN_HOST ? "C0 A8 00 01" : "01 00 A8 C0");
  TRELTlv half;
  read(half, "10800005 06 0002 0102"_hex);
  EXPECT_EQ(storedBytes(half, 2), BIG_ENDIAN_HOST ? "01 02" : "02 01");
}

TEST(TlvDeserialize, TheOidAndTheLengthAreBigEndian) {
  TRELTlv tlv;
  read(tlv, "81020384 09 0102"_hex + std::string(258, 'x'));
  expectHead(tlv, 0x81020384U, 9, 258);
  EXPECT_EQ(tlv.getValueAsString(), std::string(258, 'x'));
}

TEST(TlvDeserialize, TheLongestValueIsReadWhole) {
  TRELTlv tlv;
  read(tlv, "10800005 09 FFFF"_hex + std::string(65535, 'x'));
  expectHead(tlv, 0x10800005U, 9, 65535);
  EXPECT_EQ(tlv.getValueAsString(), std::string(65535, 'x'));
}

TEST(TlvDeserialize, ALengthOfZeroConsumesSevenBytesAndLeavesNoValue) {
  TRELTlv tlv;
  read(tlv, "10800005 09 0000"_hex);
  expectHead(tlv, 0x10800005U, 9, 0);
  EXPECT_EQ(valOf(tlv), nullptr);
}

TEST(TlvDeserialize, ALengthOfZeroReadsNoValueOfANumberEither) {
  TRELTlv tlv;
  read(tlv, "10800005 00 0000"_hex);
  expectHead(tlv, 0x10800005U, 0, 0);
  EXPECT_EQ(valOf(tlv), nullptr);
}

TEST(TlvDeserialize, ALengthOfZeroLeavesAFormerValueAsItWas) {
  TRELTlv tlv;
  tlv.setValue(std::string("abc"));
  const char* const buffer = valOf(tlv);
  read(tlv, "40C08007 01 0000"_hex);
  expectHead(tlv, 0x40C08007U, 1, 0);
  EXPECT_EQ(valOf(tlv), buffer);
  EXPECT_EQ(storedBytes(tlv, 3), "61 62 63");
}

TEST(TlvDeserialize, WritesIntoTheBufferThatIsThere) {
  TRELTlv tlv;
  tlv.setValue(std::string("abcdef"));
  const char* const buffer = valOf(tlv);
  read(tlv, "40C08007 09 0002 7879"_hex);
  EXPECT_EQ(valOf(tlv), buffer);
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(storedBytes(tlv, 6), "78 79 63 64 65 66");
}

TEST(TlvDeserialize, ASecondNumberFitsIntoTheBufferOfAFirstOfOneByte) {
  TRELTlv tlv;
  read(tlv, "10800005 03 0001 F1"_hex);
  const char* const buffer = valOf(tlv);
  read(tlv, "10800005 00 0008 0102030405060708"_hex);
  EXPECT_EQ(valOf(tlv), buffer);
  EXPECT_EQ(tlv.getValueAsUInt64(), 0x0102030405060708ULL);
}

TEST(TlvDeserialize, ANumberIsReadAtItsFullWidthAlthoughItsLengthIsShorter) {
  const ExactBlock in("10800005 00 0002 0102030405060708"_hex);
  TRELTlv tlv;
  EXPECT_EQ(tlv.deserialize(in.data()), 9);
  expectHead(tlv, 0x10800005U, 0, 2);
  EXPECT_EQ(tlv.getValueAsUInt64(), 0x0102030405060708ULL);
  const ExactBlock wordIn("10800005 0A 0001 C0A80001"_hex);
  TRELTlv word;
  EXPECT_EQ(word.deserialize(wordIn.data()), 8);
  EXPECT_EQ(word.getValueAsUInt32(), 0xC0A80001U);
}

TEST(TlvDeserialize, ANumberIsReadAtItsWidthOnlyAlthoughItsLengthIsLonger) {
  const ExactBlock in("10800005 01 0014 01020304"_hex);  // sixteen bytes of the twenty are not there
  TRELTlv tlv;
  EXPECT_EQ(tlv.deserialize(in.data()), 27);
  expectHead(tlv, 0x10800005U, 1, 20);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0x01020304U);
  // What was not read is zero, so that nothing that nobody wrote can be handed on.
  EXPECT_EQ(tlv.getValueAsString().substr(4), std::string(16, '\0'));
}

TEST(TlvDeserialize, AShortValueIsFollowedByZerosUpToEightBytes) {
  TRELTlv byte;
  read(byte, "10800005 03 0001 F1"_hex);
  EXPECT_EQ(storedBytes(byte, 8), "F1 00 00 00 00 00 00 00");
  TRELTlv text;
  read(text, "10800005 09 0002 6162"_hex);
  EXPECT_EQ(storedBytes(text, 8), "61 62 00 00 00 00 00 00");
}

TEST(TlvDeserialize, ABooleanOfSeveralBytesIsCopiedAtItsLength) {
  TRELTlv tlv;
  read(tlv, "10800005 08 0003 000100"_hex);
  expectHead(tlv, 0x10800005U, 8, 3);
  EXPECT_FALSE(tlv.getValueAsBool());  // the first byte is the flag
  EXPECT_EQ(storedBytes(tlv, 3), "00 01 00");
}

TEST(TlvDeserialize, TakesOneOfSeveralTlvsAndTellsWhereTheNextBegins) {
  const ExactBlock in("10800005 03 0001 F1 | 10800006 09 0002 6162"_hex);
  TRELTlv first;
  const int consumed = first.deserialize(in.data());
  EXPECT_EQ(consumed, 8);
  TRELTlv second;
  EXPECT_EQ(second.deserialize(in.data() + consumed), 9);
  expectHead(second, 0x10800006U, 9, 2);
  EXPECT_EQ(second.getValueAsString(), "ab");
}

TEST(TlvDeserialize, BringsBackWhatSerializeWrote) {
  const std::string tlvs[] = {"10800005 00 0008 F102030405060708"_hex,
                              "10800005 01 0004 F1020304"_hex,
                              "10800005 02 0002 F102"_hex,
                              "10800005 03 0001 F1"_hex,
                              "10800005 04 0008 F102030405060708"_hex,
                              "10800005 05 0004 F1020304"_hex,
                              "10800005 06 0002 F102"_hex,
                              "10800005 07 0001 F1"_hex,
                              "10800005 08 0001 01"_hex,
                              "10800005 09 0003 616263"_hex,
                              "10800005 0A 0004 C0A80001"_hex,
                              "10800005 0B 0008 F102030405060708"_hex,
                              "10800005 0C 0003 010203"_hex,
                              "10800005 0D 0006 001B2C3D4E5F"_hex,
                              "10800005 FF 0005 0102030405"_hex,
                              "10800005 09 0000"_hex};
  for (const std::string& bytes : tlvs) {
    SCOPED_TRACE(asText(bytes));
    TRELTlv tlv;
    read(tlv, bytes);
    ExactBlock out(bytes.size());
    EXPECT_EQ(tlv.serialize(out.data()), out.length());
    EXPECT_EQ(asText(out.view()), asText(bytes));
  }
}
