// Old-style properties as records: made from one, filled from one, written as one.

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
  LogCapture log;
  EXPECT_EQ(property.serialize(block.data(), block.length()), block.length());
  EXPECT_EQ(log.brief(), Lines{});
  return asText(block.view());
}

// ----- making one from a record ----------------------------------------------------------------------------------------

TEST(OldStyleProperty, IsMadeWithTheRecordsWholeOidAsIdAndWithoutOwnerAccessOrEvents) {
  const OldStyle property = oldStyleFromWire("40C08005 01 0004 01020304"_hex);
  EXPECT_EQ(property->id, 0x40C08005U);
  EXPECT_EQ(property->getOid(), 0x40C08005U);
  EXPECT_EQ(property->accessType, 0U);
  EXPECT_FALSE(property->eventable);
  EXPECT_FALSE(property->eventPending);
  EXPECT_EQ(property->object, nullptr);
  EXPECT_EQ(property->length(), 4);
  EXPECT_EQ(property->getType(), 1);
}

TEST(OldStyleProperty, TheRowIsDecodedFromATableOidAndZeroForAScalarOne) {
  EXPECT_EQ(oldStyleFromWire("40C08005 03 0001 01"_hex)->row, 5U);
  EXPECT_EQ(oldStyleFromWire("7FFFFFFF 03 0001 01"_hex)->row, 0x3FFFU);
  EXPECT_EQ(oldStyleFromWire("10800005 03 0001 01"_hex)->row, 0U);
}

TEST(OldStyleProperty, AnUnusableOidIsKeptWithRowZero) {
  const OldStyle property = oldStyleFromWire("FFFFFFFF 03 0001 01"_hex);
  EXPECT_EQ(property->id, 0xFFFFFFFFU);
  EXPECT_EQ(property->row, 0U);
}

TEST(OldStyleProperty, MakingOneWritesNoLine) {
  LogCapture log(6);
  const OldStyle property = oldStyleFromWire("40C08005 01 0004 01020304"_hex);
  const OldStyle empty = oldStyleFromWire("40C08005 09 0000"_hex);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleProperty, TwoMadeOneAfterTheOtherAreNamedByACounterFromOne) {
  const OldStyle first = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  const OldStyle second = oldStyleFromWire("10800006 09 0000"_hex);
  EXPECT_EQ(first->name, "OldStyleProperty_1");
  EXPECT_EQ(second->name, "OldStyleProperty_2");
}

TEST(OldStyleProperty, TheCounterIsNeverReset) {
  for (int made = 0; made < 9; ++made)
    oldStyleFromWire("10800005 01 0004 01020304"_hex);
  EXPECT_EQ(oldStyleFromWire("10800005 01 0004 01020304"_hex)->name, "OldStyleProperty_10");
}

TEST(OldStyleProperty, DeserializeKeepsTheNameAndDoesNotCount) {
  const OldStyle first = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  deserializeExactly(*first, "10800006 01 0004 01020304"_hex);
  EXPECT_EQ(first->name, "OldStyleProperty_1");
  EXPECT_EQ(oldStyleFromWire("10800005 01 0004 01020304"_hex)->name, "OldStyleProperty_2");
}

TEST(OldStyleProperty, ARecordWithoutAValueLeavesTheReferenceNull) {
  for (const std::string& record : {"10800005 09 0000"_hex, "10800005 0C 0000"_hex, "10800005 00 0000"_hex}) {
    const OldStyle property = oldStyleFromWire(record);
    EXPECT_EQ(heldValue(*property), nullptr);
    EXPECT_EQ(property->length(), 0);
  }
}

TEST(OldStyleProperty, ALengthIsReadAsUnsigned) {
  const OldStyle property = oldStyleFromWire("10800005 0C FFFF"_hex + std::string(65535, 'x'));
  EXPECT_EQ(property->length(), 65535);
  EXPECT_EQ(heldBytes(*property, 65535), std::string(65535, 'x'));
}

// ----- byte order ------------------------------------------------------------------------------------------------------

struct ByteOrderRow {
  std::string head;    // type and length
  std::string wire;    // the value in the record
  std::string little;  // the value in memory of a little-endian host
  std::string big;     // and of a big-endian one
};

// What the constructor converts; an IPv4 address and a time stay as they came.
const std::vector<ByteOrderRow>& rowsOfTheConstructor() {
  static const std::vector<ByteOrderRow> rows = {
      {"00 0008"_hex, "0102030405060708"_hex, "0807060504030201"_hex, "0102030405060708"_hex},
      {"01 0004"_hex, "01020304"_hex, "04030201"_hex, "01020304"_hex},
      {"02 0002"_hex, "0102"_hex, "0201"_hex, "0102"_hex},
      {"03 0001"_hex, "81"_hex, "81"_hex, "81"_hex},
      {"04 0008"_hex, "F102030405060708"_hex, "08070605040302F1"_hex, "F102030405060708"_hex},
      {"05 0004"_hex, "F1020304"_hex, "040302F1"_hex, "F1020304"_hex},
      {"06 0002"_hex, "F102"_hex, "02F1"_hex, "F102"_hex},
      {"07 0001"_hex, "81"_hex, "81"_hex, "81"_hex},
      {"08 0001"_hex, "01"_hex, "01"_hex, "01"_hex},
      {"09 0004"_hex, "61006263"_hex, "61006263"_hex, "61006263"_hex},
      {"0A 0004"_hex, "C0A80102"_hex, "C0A80102"_hex, "C0A80102"_hex},
      {"0B 0008"_hex, "0102030405060708"_hex, "0102030405060708"_hex, "0102030405060708"_hex},
      {"0C 0004"_hex, "01020304"_hex, "01020304"_hex, "01020304"_hex},
      {"0D 0006"_hex, "010203040506"_hex, "010203040506"_hex, "010203040506"_hex},
      {"0E 0004"_hex, "01020304"_hex, "01020304"_hex, "01020304"_hex},
      {"FF 0008"_hex, "0102030405060708"_hex, "0102030405060708"_hex, "0102030405060708"_hex},
  };
  return rows;
}

// What deserialize and serialize convert: the same, and an IPv4 address and a time too.
const std::vector<ByteOrderRow>& rowsOfDeserialize() {
  static const std::vector<ByteOrderRow> rows = [] {
    std::vector<ByteOrderRow> changed = rowsOfTheConstructor();
    changed[10] = {"0A 0004"_hex, "C0A80102"_hex, "0201A8C0"_hex, "C0A80102"_hex};
    changed[11] = {"0B 0008"_hex, "0102030405060708"_hex, "0807060504030201"_hex, "0102030405060708"_hex};
    return changed;
  }();
  return rows;
}

// Differs by byte order.
TEST(OldStyleProperty, MadeFromWireOrderItHoldsTheSixConvertedTypesInHostOrderAndTheOthersAsTheyCame) {
  for (const ByteOrderRow& row : rowsOfTheConstructor()) {
    SCOPED_TRACE(asText(row.head));
    const OldStyle property = oldStyleFromWire("10800005"_hex + row.head + row.wire);
    EXPECT_EQ(asText(heldBytes(*property, row.wire.size())), asText(IS_LITTLE_ENDIAN ? row.little : row.big));
    EXPECT_EQ(property->getType(), static_cast<unsigned char>(row.head[0]));
    EXPECT_EQ(property->length(), static_cast<int>(row.wire.size()));
  }
}

// Differs by byte order.
TEST(OldStyleProperty, DeserializeHoldsAnIpv4AddressAndATimeInHostOrderToo) {
  for (const ByteOrderRow& row : rowsOfDeserialize()) {
    SCOPED_TRACE(asText(row.head));
    const OldStyle property = oldStyleFromWire("00000001 09 0000"_hex);
    EXPECT_EQ(deserializeExactly(*property, "10800005"_hex + row.head + row.wire),
              static_cast<int>(row.wire.size()) + 7);
    EXPECT_EQ(asText(heldBytes(*property, row.wire.size())), asText(IS_LITTLE_ENDIAN ? row.little : row.big));
  }
}

// Differs by byte order: made from a record, the four bytes stay in wire order; deserialized, they are in host order.
TEST(OldStyleProperty, AnIpv4AddressIsHeldInWireOrderWhenMadeAndInHostOrderWhenDeserialized) {
  const OldStyle property = oldStyleFromWire("10800005 0A 0004 C0A80102"_hex);
  EXPECT_EQ(asText(heldBytes(*property, 4)), "C0 A8 01 02");
  deserializeExactly(*property, "10800005 0A 0004 C0A80102"_hex);
  EXPECT_EQ(asText(heldBytes(*property, 4)), IS_LITTLE_ENDIAN ? "02 01 A8 C0" : "C0 A8 01 02");
}

// Differs by byte order: the bytes of the record itself do.
TEST(OldStyleProperty, MadeFromHostOrderItTakesEverythingAsItStands) {
  const OldStyle number =
      oldStyleFromHost(IS_LITTLE_ENDIAN ? "0580C040 01 0400 04030201"_hex : "40C08005 01 0004 01020304"_hex);
  EXPECT_EQ(number->id, 0x40C08005U);
  EXPECT_EQ(number->row, 5U);
  EXPECT_EQ(number->length(), 4);
  EXPECT_EQ(number->getType(), 1);
  unsigned int value = 0;
  number->get(&value);
  EXPECT_EQ(value, 0x01020304U);
  const OldStyle text = oldStyleFromHost(IS_LITTLE_ENDIAN ? "0580C040 09 0201"_hex + std::string(258, 'x')
                                                          : "40C08005 09 0102"_hex + std::string(258, 'x'));
  EXPECT_EQ(text->length(), 258);
  EXPECT_EQ(heldBytes(*text, 258), std::string(258, 'x'));
}

// Differs by byte order: the head of the record does, the value's bytes are taken as they are.
TEST(OldStyleProperty, MadeFromHostOrderItConvertsNoType) {
  for (const ByteOrderRow& row : rowsOfTheConstructor()) {
    SCOPED_TRACE(asText(row.head));
    const std::string head =
        IS_LITTLE_ENDIAN ? row.head.substr(0, 1) + row.head.substr(2, 1) + row.head.substr(1, 1) : row.head;
    const OldStyle property = oldStyleFromHost((IS_LITTLE_ENDIAN ? "05008010"_hex : "10800005"_hex) + head + row.wire);
    EXPECT_EQ(asText(heldBytes(*property, row.wire.size())), asText(row.wire));
  }
}

// ----- deserialize -----------------------------------------------------------------------------------------------------

TEST(OldStyleProperty, DeserializeTakesOidTypeLengthAndValueAndLeavesTheRow) {
  const OldStyle property = oldStyleFromWire("40C08005 09 0003 616263"_hex);
  LogCapture log;
  EXPECT_EQ(deserializeExactly(*property, "40C08009 01 0004 01020304"_hex), 11);
  EXPECT_EQ(property->id, 0x40C08009U);
  EXPECT_EQ(property->getType(), 1);
  EXPECT_EQ(property->length(), 4);
  EXPECT_EQ(property->row, 5U);
  unsigned int value = 0;
  property->get(&value);
  EXPECT_EQ(value, 0x01020304U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleProperty, DeserializeReplacesAValueByALongerAndByAShorterOne) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0003 010203"_hex);
  EXPECT_EQ(deserializeExactly(*property, "10800005 0C 0028"_hex + std::string(40, 'y')), 47);
  EXPECT_EQ(heldBytes(*property, 40), std::string(40, 'y'));
  EXPECT_EQ(deserializeExactly(*property, "10800005 0C 0001 7A"_hex), 8);
  EXPECT_EQ(property->length(), 1);
  EXPECT_EQ(serialized(*property), asText("10800005 0C 0001 7A"_hex));
}

TEST(OldStyleProperty, DeserializeOfARecordWithoutAValueLeavesNothingToSend) {
  const OldStyle property = oldStyleFromWire("10800005 0C 0003 010203"_hex);
  EXPECT_EQ(deserializeExactly(*property, "10800006 09 0000"_hex), 7);
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(serialized(*property), asText("10800006 09 0000"_hex));
}

// Made from such a record, it has no value at all.
TEST(OldStyleProperty, DeserializeOfAnEmptyTextHoldsAnEmptyValue) {
  const OldStyle property = oldStyleFromWire("10800005 09 0003 616263"_hex);
  deserializeExactly(*property, "10800005 09 0000"_hex);
  std::string text = "what was there";
  LogCapture log;
  property->get(&text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleProperty, DeserializeTakesTheLongestValueThereIs) {
  const OldStyle property = oldStyleFromWire("10800005 09 0000"_hex);
  EXPECT_EQ(deserializeExactly(*property, "10800005 0C FFFF"_hex + std::string(65535, 'y')), 65542);
  EXPECT_EQ(property->length(), 65535);
  EXPECT_EQ(heldBytes(*property, 65535), std::string(65535, 'y'));
}

TEST(OldStyleProperty, DeserializeRaisesNoEvent) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  property->eventable = true;
  deserializeExactly(*property, "10800005 01 0004 01020305"_hex);
  EXPECT_FALSE(property->eventPending);
}

// ----- serialize -------------------------------------------------------------------------------------------------------

TEST(OldStyleProperty, WhatWasDeserializedGoesOutAsItCame) {
  for (const ByteOrderRow& row : rowsOfDeserialize()) {
    SCOPED_TRACE(asText(row.head));
    const OldStyle property = oldStyleFromWire("00000001 09 0000"_hex);
    deserializeExactly(*property, "90800005"_hex + row.head + row.wire);
    EXPECT_EQ(serialized(*property), asText("90800005"_hex + row.head + row.wire));
  }
}

// Differs by byte order: the address and the time were not converted when the property was made and are when it is
// written, so that a little-endian host sends them reversed.
TEST(OldStyleProperty, WhatItWasMadeFromGoesOutAsItCameButForAnIpv4AddressAndATime) {
  for (const ByteOrderRow& row : rowsOfTheConstructor()) {
    SCOPED_TRACE(asText(row.head));
    const OldStyle property = oldStyleFromWire("10800005"_hex + row.head + row.wire);
    std::string expected = row.wire;
    if (IS_LITTLE_ENDIAN && row.head[0] == 10) expected = "0201A8C0"_hex;
    if (IS_LITTLE_ENDIAN && row.head[0] == 11) expected = "0807060504030201"_hex;
    EXPECT_EQ(serialized(*property), asText("10800005"_hex + row.head + expected));
  }
}

TEST(OldStyleProperty, ARecordWithoutAValueIsSevenBytes) {
  const OldStyle property = oldStyleFromWire("10800005 09 0000"_hex);
  EXPECT_EQ(serialized(*property), asText("10800005 09 0000"_hex));
}

TEST(OldStyleProperty, SerializeWritesNothingBehindTheValue) {
  for (const ByteOrderRow& row : rowsOfDeserialize()) {
    SCOPED_TRACE(asText(row.head));
    const OldStyle property = oldStyleFromWire("10800005"_hex + row.head + row.wire);
    ExactBlock block(40);
    EXPECT_EQ(property->serialize(block.data(), block.length()), static_cast<int>(row.wire.size()) + 7);
    EXPECT_EQ(asText(block.view().substr(row.wire.size() + 7)), asText(std::string(33 - row.wire.size(), '\xA5')));
  }
}

TEST(OldStyleProperty, ABufferOfExactlyLengthAndSevenBytesIsEnoughAndOneByteLessIsNot) {
  const OldStyle property = oldStyleFromWire("10800005 09 0005 68656C6C6F"_hex);
  ExactBlock enough(12);
  EXPECT_EQ(property->serialize(enough.data(), enough.length()), 12);
  EXPECT_EQ(asText(enough.view()), asText("10800005 09 0005 68656C6C6F"_hex));
  for (const int size : {11, 7, 0, -1, -2147483647}) {
    SCOPED_TRACE(size);
    ExactBlock block(size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::string before = asText(block.view());
    LogCapture log;
    EXPECT_EQ(property->serialize(block.data(), size), -1);
    EXPECT_EQ(asText(block.view()), before);
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (serialize) - [OldStyleProperty_1] serializing buffer has not "
                                 "enough space left"});
  }
}

TEST(OldStyleProperty, ALengthWithoutAValueIsSentAsZeroBytesWithALine) {
  const OldStyle property = oldStyleFromWire("10800005 01 0000"_hex);
  poke(*property, sizeof(TrelProperty) + sizeof(void*), 4U);  // as after a failed allocation
  ExactBlock block(11);
  LogCapture log;
  EXPECT_EQ(property->serialize(block.data(), block.length()), 0);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (serialize) - [OldStyleProperty_1] m_value_pointer is nullpointer "
                  "but length set is not 0!!!"});
}

TEST(OldStyleProperty, TheOidOfTheRecordIsThatOfTheBaseAccessor) {
  const OldStyle property = oldStyleFromWire("10800005 03 0001 7F"_hex);
  property->id = 0x20000001;
  EXPECT_EQ(serialized(*property), asText("20000001 03 0001 7F"_hex));
}

class SentAsBytes : public OldStyleProperty {
 public:
  using OldStyleProperty::OldStyleProperty;
  int getType() override { return TREL_TYPE_BYTE_ARRAY; }
  int length() override { return 2; }
};

TEST(OldStyleProperty, LengthAndTypeOfTheRecordsHeadAreThoseOfADerivedClass) {
  ExactBlock record("10800005 09 0004 61626364"_hex);
  SentAsBytes property(reinterpret_cast<trel_tlv*>(record.data()), false);
  ExactBlock block(40);
  property.serialize(block.data(), block.length());
  EXPECT_EQ(asText(block.view().substr(0, 9)), asText("10800005 0C 0002 6162"_hex));
}

// ----- the rest of the interface ---------------------------------------------------------------------------------------

TEST(OldStyleProperty, IsNeverDefaultAndSetToDefaultDoesNothing) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 00000000"_hex);
  EXPECT_FALSE(property->isDefault());
  property->setToDefault();
  EXPECT_FALSE(property->isDefault());
  EXPECT_EQ(serialized(*property), asText("10800005 01 0004 00000000"_hex));
}

TEST(OldStyleProperty, EveryReceivedValueIsValid) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  EXPECT_TRUE(property->validValue("\xFF\xFF\xFF\xFF", 4));
  EXPECT_TRUE(property->validValue("", 0));
}

TEST(OldStyleProperty, TheRecordThatItWasMadeFromPassesItsOwnCheck) {
  const ExactBlock record("40C08005 01 0004 01020304"_hex);
  const ExactBlock otherRow("40C08006 01 0004 01020304"_hex);
  const OldStyle property = oldStyleFromWire(record.view());
  EXPECT_EQ(property->checkBuffer(record.data(), true), 0);
  EXPECT_EQ(property->checkBuffer(otherRow.data(), true), 7);
}

TEST(OldStyleProperty, IsPointerValidTellsWhetherThereIsAValueAndWritesALineIfNot) {
  const OldStyle property = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  const OldStyle empty = oldStyleFromWire("10800005 01 0000"_hex);
  LogCapture log;
  EXPECT_TRUE(property->isPointerValid());
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_FALSE(empty->isPointerValid());
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!"});
}

TEST(OldStyleProperty, StrIsTheNameAndAnEmptyLine) {
  const OldStyle property = oldStyleFromWire("10800005 09 0003 616263"_hex);
  EXPECT_EQ(property->str(), "OldStyleProperty_1:\n\n");
}

}  // namespace
