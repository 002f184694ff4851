// Byte-array properties as an application meets them: without a held block, from the first day to the last.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/propertyInterface.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr bool IS_64_BIT = sizeof(void*) == 8;
constexpr bool IS_LITTLE_ENDIAN = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// The length that the property reports by its getter, which leaves the 8 bytes of `out` alone when no block is held.
unsigned int lengthByGet(ArrayProperty& property) {
  unsigned char out[8];
  std::memset(out, 0xA5, sizeof out);
  unsigned int length = 0xFFFFFFFF;
  property.get(out, &length);
  for (const unsigned char byte : out)
    EXPECT_EQ(byte, 0xA5) << "bytes were copied although no block is held";
  return length;
}

// ----- construction ----------------------------------------------------------------------------------------------------

TEST(ArrayProperty, ConstructorSetsIdentityAndAccessAndClearsTheRest) {
  const ArrayProperty quiet(0x7FFFFF, "quiet", IFC_CARD_VAR_READ_ONLY, false);
  EXPECT_EQ(quiet.id, 0x7FFFFFU);
  EXPECT_EQ(quiet.name, "quiet");
  EXPECT_EQ(quiet.accessType, 1U);
  EXPECT_FALSE(quiet.eventable);
  EXPECT_EQ(quiet.row, 0U);
  EXPECT_FALSE(quiet.eventPending);
  EXPECT_EQ(quiet.object, nullptr);
  const ArrayProperty eventable(2, "eventable", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(eventable.accessType, 0U);
  EXPECT_TRUE(eventable.eventable);
  EXPECT_FALSE(eventable.eventPending);
}

TEST(ArrayProperty, StartsWithoutAValueAtLengthZeroWithTypeTwelve) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  EXPECT_EQ(property.length(), 0);
  EXPECT_EQ(property.getType(), 12);
  EXPECT_EQ(lengthByGet(property), 0U);
}

TEST(ArrayProperty, IsNeverDefaultAndSetToDefaultDoesNothing) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_FALSE(property.isDefault());
  const ExactBlock record("00000001 0C 0004 01020304"_hex);
  property.deserialize(record.data());
  property.setToDefault();
  EXPECT_FALSE(property.isDefault());
  EXPECT_EQ(property.length(), 4);
  EXPECT_FALSE(property.eventPending);
}

TEST(ArrayProperty, IsDestroyedThroughTheBase) {
  TrelProperty* const property =
      new ArrayProperty(1, "a name that is too long to lie in the object itself", IFC_CARD_VAR_READ_WRITE, false);
  delete property;
}

// ----- set and deserialize: no value is taken because none is held -----------------------------------------------------

TEST(ArrayProperty, SetWithoutAHeldBlockChangesNothing) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  unsigned char bytes[4] = {1, 2, 3, 4};
  property.set(bytes, 4);
  EXPECT_EQ(property.length(), 0);
  EXPECT_EQ(lengthByGet(property), 0U);
  EXPECT_FALSE(property.isDefault());
  EXPECT_FALSE(property.eventPending);
}

TEST(ArrayProperty, SetOfZeroBytesWithoutAHeldBlockRaisesNoEvent) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  unsigned char zeros[4] = {};
  property.set(zeros, 4);
  property.set(nullptr, 4);
  property.set(nullptr, 0);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.length(), 0);
}

TEST(ArrayProperty, SetWithoutAHeldBlockKeepsTheLengthOfTheLastRecord) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  const ExactBlock record("00000001 0C 0003 010203"_hex);
  property.deserialize(record.data());
  unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
  property.set(bytes, 6);
  EXPECT_EQ(property.length(), 3);
  property.set(bytes, 0);
  EXPECT_EQ(property.length(), 3);
}

TEST(ArrayProperty, DeserializeWithoutAHeldBlockTakesTheLengthAndNotTheBytes) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  const ExactBlock record("00000001 0C 0004 01020304"_hex);
  LogCapture log;
  EXPECT_EQ(property.deserialize(record.data()), 11);
  EXPECT_EQ(property.length(), 4);
  EXPECT_EQ(lengthByGet(property), 4U);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ArrayProperty, DeserializeWithoutAHeldBlockReadsNothingBehindTheHead) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock head("00000001 0C 0004"_hex);
  EXPECT_EQ(property.deserialize(head.data()), 11);
  EXPECT_EQ(property.length(), 4);
}

TEST(ArrayProperty, DeserializeReadsTheLengthAsUnsigned) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock record("00000001 0C FFFE"_hex + std::string(65534, '\0'));
  EXPECT_EQ(property.deserialize(record.data()), 65541);
  EXPECT_EQ(property.length(), 65534);
}

TEST(ArrayProperty, DeserializeTakesALengthOfZeroToo) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock four("00000001 0C 0004 01020304"_hex);
  const ExactBlock none("00000001 0C 0000"_hex);
  EXPECT_EQ(property.deserialize(four.data()), 11);
  EXPECT_EQ(property.deserialize(none.data()), 7);
  EXPECT_EQ(property.length(), 0);
}

TEST(ArrayProperty, AFreshArrayGivenFourBytesStillReportsLengthZeroAndAfterARecordOfFourBytesCopiesNothing) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  unsigned char bytes[4] = {1, 2, 3, 4};
  property.set(bytes, 4);
  EXPECT_EQ(property.length(), 0);
  EXPECT_FALSE(property.isDefault());
  const ExactBlock record("00000001 0C 0004 01020304"_hex);
  EXPECT_EQ(property.deserialize(record.data()), 11);
  EXPECT_EQ(property.length(), 4);
  EXPECT_EQ(lengthByGet(property), 4U);
}

TEST(ArrayProperty, GetWithoutATargetReportsTheLengthAlone) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  unsigned int length = 77;
  property.get(nullptr, &length);
  EXPECT_EQ(length, 0U);
  const ExactBlock record("00000001 0C 0102"_hex + std::string(258, 'x'));
  property.deserialize(record.data());
  property.get(nullptr, &length);
  EXPECT_EQ(length, 258U);
}

// ----- received records ------------------------------------------------------------------------------------------------

TEST(ArrayProperty, OnlyARecordOfThePresentLengthIsAccepted) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock four("10800005 0C 0004 01020304"_hex);
  const ExactBlock none("10800005 0C 0000"_hex);
  {
    LogCapture log;
    EXPECT_EQ(property.checkBuffer(four.data(), true), 8);
    EXPECT_EQ(
        log.brief(),
        (Lines{"3 [ERROR] trelProperty (checkBuffer) - [blob] trying to deserialize a property but tlv has incorrect "
               "size parameter",
               "3 [ERROR] trelProperty (checkBuffer) - [blob] it should be 0 but it is 4"}));
  }
  EXPECT_EQ(property.checkBuffer(none.data(), true), 0);
  property.deserialize(four.data());
  EXPECT_EQ(property.checkBuffer(four.data(), true), 0);
  EXPECT_EQ(property.checkBuffer(none.data(), true), 8);
}

// ----- accessors of other types ----------------------------------------------------------------------------------------

TEST(ArrayProperty, EveryAccessorButThatOfBytesIsRefused) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new ArrayProperty(2, "blob", IFC_CARD_VAR_READ_WRITE, true);
  ASSERT_TRUE(table.addProp(property, 5));
  expectOtherAccessorsRefused(*property, "array of uint8_t", "array of uint8_t", "(property 2, row 5)");
  EXPECT_EQ(property->length(), 0);
  EXPECT_FALSE(property->eventPending);
}

TEST(ArrayProperty, ItsOwnAccessorsWriteNoLine) {
  ArrayProperty property(1, "blob", IFC_CARD_VAR_READ_WRITE, true);
  LogCapture log;
  unsigned char bytes[4] = {1, 2, 3, 4};
  unsigned int length = 4;
  property.set(bytes, 4);
  property.get(bytes, &length);
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- record: the head counts, the value area holds the reference, the length and zeros --------------------------------

TEST(ArrayProperty, WithoutALengthSerializesTheHeadAlone) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  ExactBlock block(7);
  LogCapture log;
  EXPECT_EQ(property.serialize(block.data(), block.length()), 7);
  EXPECT_EQ(asText(block.view()), asText("10800005 0C 0000"_hex));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ArrayProperty, SerializesTheOidThatTheOwnerComposes) {
  TrelTable table("table", 3, false, 6);
  auto* const property = new ArrayProperty(2, "blob", IFC_CARD_VAR_READ_WRITE, false);
  ASSERT_TRUE(table.addProp(property, 5));
  ExactBlock block(7);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 7);
  EXPECT_EQ(asText(block.view()), asText("40C08005 0C 0000"_hex));
}

TEST(ArrayProperty, TheValueAreaHoldsTheReferenceAndNotTheReceivedBytes) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock record("10800005 0C 0004 01020304"_hex);
  property.deserialize(record.data());
  ExactBlock block(12);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 11);
  EXPECT_EQ(asText(block.view()), asText("10800005 0C 0004 00000000 A5"_hex));
}

// Differs by byte order and by the width of a pointer: the length field follows the reference in host order.
TEST(ArrayProperty, BehindTheReferenceTheLengthFieldFollowsAndThenZeros) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock record("10800005 0C 0012"_hex + std::string(18, 'x'));
  property.deserialize(record.data());
  ExactBlock block(25);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 25);
  std::string expected;
  if (IS_64_BIT) {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 0012 0000000000000000 12000000 000000000000"_hex
                                : "10800005 0C 0012 0000000000000000 00000012 000000000000"_hex;
  } else {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 0012 00000000 12000000 00000000000000000000"_hex
                                : "10800005 0C 0012 00000000 00000012 00000000000000000000"_hex;
  }
  EXPECT_EQ(asText(block.view()), asText(expected));
}

TEST(ArrayProperty, ALongValueAreaEndsInZerosUpToItsLastByte) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock record("10800005 0C FFFF"_hex + std::string(65535, 'x'));
  property.deserialize(record.data());
  ExactBlock block(65542);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 65542);
  EXPECT_EQ(asText(block.view().substr(0, 7)), asText("10800005 0C FFFF"_hex));
  EXPECT_EQ(block.view().substr(7 + 12), std::string(65535 - 12, '\0'));
}

TEST(ArrayProperty, OneByteTooLittleIsRefusedWithALineAndNothingWritten) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  const ExactBlock record("10800005 0C 0004 01020304"_hex);
  property.deserialize(record.data());
  for (const int size : {10, 7, 0, -1}) {
    SCOPED_TRACE(size);
    ExactBlock block(size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::string before = asText(block.view());
    LogCapture log;
    EXPECT_EQ(property.serialize(block.data(), size), -1);
    EXPECT_EQ(asText(block.view()), before);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (serialize) - [blob] serializing buffer has not enough space left"});
  }
}

TEST(ArrayProperty, TheLineOfTooLittleSpaceIsWrittenAboveLevelTwoOnly) {
  ArrayProperty property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  ExactBlock block(6);
  LogCapture log(2);
  EXPECT_EQ(property.serialize(block.data(), block.length()), -1);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(property.serialize(block.data(), block.length()), -1);
  EXPECT_EQ(log.brief().size(), 1U);
}

class BytesSentAsText : public ArrayProperty {
 public:
  using ArrayProperty::ArrayProperty;
  int getType() override { return TREL_TYPE_STRING; }
  int length() override { return 2; }
};

TEST(ArrayProperty, LengthAndTypeOfTheRecordAreThoseOfADerivedClass) {
  BytesSentAsText property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, false);
  ExactBlock tooSmall(8);
  EXPECT_EQ(property.serialize(tooSmall.data(), tooSmall.length()), -1);
  ExactBlock block(9);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 9);
  EXPECT_EQ(asText(block.view()), asText("10800005 09 0002 0000"_hex));
}

// ----- text ------------------------------------------------------------------------------------------------------------

TEST(ArrayProperty, StrWithoutAHeldBlockEndsBehindTheName) {
  ArrayProperty property(7, "blob", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(property.str(), "  7 |                                     blob : \n  \n");
  const ExactBlock record("00000007 0C 0003 616263"_hex);
  property.deserialize(record.data());
  EXPECT_EQ(property.str(), "  7 |                                     blob : \n  \n");
}

}  // namespace
