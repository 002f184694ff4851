// Old-style properties whose record says another length than the width of its type: the value buffer holds at least eight
// bytes, zero-filled, and exactly the record's length goes out.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/oldStyleRecord.h"

namespace {

using Lines = std::vector<std::string>;

constexpr bool IS_LITTLE_ENDIAN = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

std::string serialized(OldStyleProperty& property) {
  ExactBlock block(static_cast<std::size_t>(property.length()) + 7);
  EXPECT_EQ(property.serialize(block.data(), block.length()), block.length());
  return asText(block.view());
}

// The property made from the record, and one that deserialized it: the two ways a value comes in.
std::vector<OldStyle> bothWays(const std::string& record) {
  std::vector<OldStyle> properties;
  properties.push_back(oldStyleFromWire(record));
  properties.push_back(oldStyleFromWire("00000001 09 0000"_hex));
  EXPECT_EQ(deserializeExactly(*properties.back(), record), static_cast<int>(record.size()));
  return properties;
}

template <typename T>
void expectValue(const std::string& record, T expected) {
  SCOPED_TRACE(asText(record));
  for (const OldStyle& property : bothWays(record)) {
    T value = 0;
    LogCapture log;
    property->get(&value);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(log.brief(), Lines{});
    EXPECT_EQ(property->length(), static_cast<int>(record.size()) - 7);
  }
}

// ----- reading ---------------------------------------------------------------------------------------------------------

TEST(OldStyleShortValue, MissingBytesOfA64BitNumberCountAsZeroBehindThoseThatAreThere) {
  expectValue<unsigned long long>("10800005 00 0002 AABB"_hex, 0xAABB000000000000ULL);
  expectValue<unsigned long long>("10800005 00 0001 AA"_hex, 0xAA00000000000000ULL);
  expectValue<unsigned long long>("10800005 00 0004 AABBCCDD"_hex, 0xAABBCCDD00000000ULL);
  expectValue<unsigned long long>("10800005 00 0005 AABBCCDDEE"_hex, 0xAABBCCDDEE000000ULL);
  expectValue<unsigned long long>("10800005 00 0007 AABBCCDDEEFF11"_hex, 0xAABBCCDDEEFF1100ULL);
  expectValue<long long>("10800005 04 0002 7ABB"_hex, 0x7ABB000000000000LL);
}

TEST(OldStyleShortValue, MissingBytesOfA32BitNumberCountAsZeroBehindThoseThatAreThere) {
  expectValue<unsigned int>("10800005 01 0001 AA"_hex, 0xAA000000U);
  expectValue<unsigned int>("10800005 01 0002 AABB"_hex, 0xAABB0000U);
  expectValue<unsigned int>("10800005 01 0003 AABBCC"_hex, 0xAABBCC00U);
  expectValue<int>("10800005 05 0001 7A"_hex, 0x7A000000);
  expectValue<int>("10800005 05 0003 7ABBCC"_hex, 0x7ABBCC00);
}

TEST(OldStyleShortValue, TheMissingByteOfA16BitNumberCountsAsZero) {
  expectValue<unsigned short>("10800005 02 0001 AA"_hex, 0xAA00);
  expectValue<short>("10800005 06 0001 7A"_hex, 0x7A00);
}

// Differs by byte order: made from the record, the address lies as it came; deserialized, it is a number.
TEST(OldStyleShortValue, MissingBytesOfAnIpv4AddressCountAsZeroInEitherForm) {
  const std::vector<OldStyle> properties = bothWays("10800005 0A 0002 0A0B"_hex);
  int made = -1;
  properties[0]->get(&made);
  EXPECT_EQ(made, IS_LITTLE_ENDIAN ? 0x00000B0A : 0x0A0B0000);
  int deserialized = -1;
  properties[1]->get(&deserialized);
  EXPECT_EQ(deserialized, 0x0A0B0000);
}

TEST(OldStyleShortValue, AllEightBytesOfTheBufferAreThereWhateverTheLength) {
  for (const OldStyle& property : bothWays("10800005 03 0001 7F"_hex))
    EXPECT_EQ(asText(heldBytes(*property, 8)), "7F 00 00 00 00 00 00 00");
  for (const OldStyle& property : bothWays("10800005 0D 0003 010203"_hex))
    EXPECT_EQ(asText(heldBytes(*property, 8)), "01 02 03 00 00 00 00 00");
}

TEST(OldStyleShortValue, ANumberLongerThanItsTypeIsReadFromItsFirstBytes) {
  expectValue<unsigned int>("10800005 01 0006 01020304AABB"_hex, 0x01020304U);
  expectValue<unsigned short>("10800005 02 0003 0102AA"_hex, 0x0102);
  expectValue<unsigned char>("10800005 03 0003 7FAABB"_hex, 0x7F);
  expectValue<unsigned long long>("10800005 00 000A 0102030405060708AABB"_hex, 0x0102030405060708ULL);
}

// ----- writing the record ----------------------------------------------------------------------------------------------

TEST(OldStyleShortValue, AShortNumberGoesOutAsTheFirstBytesOfItsBigEndianForm) {
  for (const std::string& record :
       {"10800005 00 0002 AABB"_hex, "10800005 00 0005 AABBCCDDEE"_hex, "10800005 01 0001 AA"_hex,
        "10800005 01 0003 AABBCC"_hex, "10800005 02 0001 AA"_hex, "10800005 04 0007 AABBCCDDEEFF11"_hex,
        "10800005 05 0002 AABB"_hex, "10800005 06 0001 AA"_hex}) {
    SCOPED_TRACE(asText(record));
    for (const OldStyle& property : bothWays(record))
      EXPECT_EQ(serialized(*property), asText(record));
  }
}

TEST(OldStyleShortValue, AShortAddressOrTimeGoesOutAsItWasDeserialized) {
  for (const std::string& record : {"10800005 0A 0001 AA"_hex, "10800005 0A 0003 AABBCC"_hex,
                                    "10800005 0B 0004 AABBCCDD"_hex, "10800005 0B 0007 AABBCCDDEEFF11"_hex}) {
    SCOPED_TRACE(asText(record));
    EXPECT_EQ(serialized(*bothWays(record)[1]), asText(record));
  }
}

// Differs by byte order: the address that was not converted when the property was made is when it is written.
TEST(OldStyleShortValue, AShortAddressThatThePropertyWasMadeFromGoesOutByTheSameRule) {
  const OldStyle property = oldStyleFromWire("10800005 0A 0002 AABB"_hex);
  EXPECT_EQ(serialized(*property),
            IS_LITTLE_ENDIAN ? asText("10800005 0A 0002 0000"_hex) : asText("10800005 0A 0002 AABB"_hex));
}

TEST(OldStyleShortValue, BytesBeyondTheWidthGoOutAsTheyAreStored) {
  for (const std::string& record :
       {"10800005 00 000B 0102030405060708AABBCC"_hex, "10800005 01 0006 01020304AABB"_hex,
        "10800005 02 0003 0102AA"_hex, "10800005 03 0003 7FAABB"_hex, "10800005 05 0005 01020304AA"_hex,
        "10800005 07 0002 7FAA"_hex, "10800005 08 0002 01AA"_hex}) {
    SCOPED_TRACE(asText(record));
    for (const OldStyle& property : bothWays(record))
      EXPECT_EQ(serialized(*property), asText(record));
  }
  const OldStyle address = oldStyleFromWire("00000001 09 0000"_hex);
  deserializeExactly(*address, "10800005 0A 0006 01020304AABB"_hex);
  EXPECT_EQ(serialized(*address), asText("10800005 0A 0006 01020304AABB"_hex));
}

// ----- setting ---------------------------------------------------------------------------------------------------------

TEST(OldStyleShortValue, AScalarSetWritesItsFullWidthWhileTheLengthStaysTheRecords) {
  for (const OldStyle& property : bothWays("10800005 00 0002 AABB"_hex)) {
    LogCapture log;
    property->set(0x0102030405060708ULL);
    unsigned long long value = 0;
    property->get(&value);
    EXPECT_EQ(value, 0x0102030405060708ULL);
    EXPECT_EQ(property->length(), 2);
    EXPECT_EQ(serialized(*property), asText("10800005 00 0002 0102"_hex));
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(OldStyleShortValue, EveryScalarSetterStaysInsideTheBufferOfAShortValue) {
  for (const OldStyle& property : bothWays("10800005 01 0001 AA"_hex)) {
    property->set(0x01020304U);
    EXPECT_EQ(serialized(*property), asText("10800005 01 0001 01"_hex));
  }
  for (const OldStyle& property : bothWays("10800005 02 0001 AA"_hex)) {
    property->set(static_cast<unsigned short>(0x0102));
    EXPECT_EQ(serialized(*property), asText("10800005 02 0001 01"_hex));
  }
  for (const OldStyle& property : bothWays("10800005 05 0003 AABBCC"_hex)) {
    property->set(0x01020304);
    EXPECT_EQ(serialized(*property), asText("10800005 05 0003 010203"_hex));
  }
  for (const OldStyle& property : bothWays("10800005 06 0001 AA"_hex)) {
    property->set(static_cast<short>(0x0102));
    EXPECT_EQ(serialized(*property), asText("10800005 06 0001 01"_hex));
  }
  for (const OldStyle& property : bothWays("10800005 0A 0001 AA"_hex)) {
    property->set(0x01020304);
    EXPECT_EQ(serialized(*property), asText("10800005 0A 0001 01"_hex));
  }
}

TEST(OldStyleShortValue, AScalarSetWhereThereIsNoValueMakesOneOfTheRecordsLength) {
  const OldStyle property = oldStyleFromWire("10800005 01 0000"_hex);
  LogCapture log;
  property->set(0x01020304U);
  EXPECT_TRUE(property->isPointerValid());
  unsigned int value = 0;
  property->get(&value);
  EXPECT_EQ(value, 0x01020304U);
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(serialized(*property), asText("10800005 01 0000"_hex));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleShortValue, EveryScalarSetterMakesAValueWhereThereIsNone) {
  const auto withoutValue = [](const std::string& typeCode) {
    return oldStyleFromWire("10800005"_hex + typeCode + "0000"_hex);
  };
  const OldStyle u64 = withoutValue("00"_hex);
  u64->set(1ULL);
  const OldStyle u16 = withoutValue("02"_hex);
  u16->set(static_cast<unsigned short>(1));
  const OldStyle u8 = withoutValue("03"_hex);
  u8->set(static_cast<unsigned char>(1));
  const OldStyle s32 = withoutValue("05"_hex);
  s32->set(1);
  const OldStyle s16 = withoutValue("06"_hex);
  s16->set(static_cast<short>(1));
  const OldStyle s8 = withoutValue("07"_hex);
  s8->set(static_cast<signed char>(1));
  const OldStyle flag = withoutValue("08"_hex);
  flag->set(true);
  const OldStyle address = withoutValue("0A"_hex);
  address->set(1);
  for (const OldStyle* property : {&u64, &u16, &u8, &s32, &s16, &s8, &flag, &address})
    EXPECT_TRUE((*property)->isPointerValid()) << (*property)->getType();
}

TEST(OldStyleShortValue, ASetOfTheWrongTypeMakesNoValue) {
  const OldStyle property = oldStyleFromWire("10800005 01 0000"_hex);
  property->set(static_cast<unsigned short>(1));
  property->set(1LL);
  EXPECT_EQ(heldValue(*property), nullptr);
}

}  // namespace
