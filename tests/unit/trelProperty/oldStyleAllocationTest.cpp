// Old-style properties: copies, and memory that is not there.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/allocationFailure.h"
#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/oldStyleRecord.h"
#include "trel/trelObjects.h"

namespace {

using Lines = std::vector<std::string>;

std::string serialized(OldStyleProperty& property) {
  ExactBlock block(static_cast<std::size_t>(property.length()) + 7);
  EXPECT_EQ(property.serialize(block.data(), block.length()), block.length());
  return asText(block.view());
}

// ----- copies ----------------------------------------------------------------------------------------------------------

TEST(OldStyleCopy, TakesNameAccessIdRowEventFlagsLengthAndTypeAndNoOwner) {
  TrelScalar owner("owner", 1, false);
  const OldStyle original = oldStyleFromWire("40C08005 0C 0003 010203"_hex);
  original->accessType = IFC_CARD_VAR_READ_ONLY;
  original->eventable = true;
  original->eventPending = true;
  original->object = &owner;
  const OldStyleProperty copy(*original);
  EXPECT_EQ(copy.name, "OldStyleProperty_1");
  EXPECT_EQ(copy.accessType, 1U);
  EXPECT_EQ(copy.id, 0x40C08005U);
  EXPECT_EQ(copy.row, 5U);
  EXPECT_TRUE(copy.eventable);
  EXPECT_TRUE(copy.eventPending);
  EXPECT_EQ(copy.object, nullptr);
  EXPECT_TRUE(original->eventPending);
  EXPECT_EQ(original->object, &owner);
  OldStyleProperty secondCopy(copy);
  EXPECT_EQ(secondCopy.length(), 3);
  EXPECT_EQ(secondCopy.getType(), 12);
}

TEST(OldStyleCopy, HasAValueOfItsOwn) {
  const OldStyle original = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  OldStyleProperty copy(*original);
  EXPECT_NE(heldValue(copy), heldValue(*original));
  copy.set(0x0A0B0C0DU);
  EXPECT_EQ(serialized(*original), asText("10800005 01 0004 01020304"_hex));
  EXPECT_EQ(serialized(copy), asText("10800005 01 0004 0A0B0C0D"_hex));
}

TEST(OldStyleCopy, OutlivesTheOriginal) {
  OldStyle original = oldStyleFromWire("10800005 09 0005 68656C6C6F"_hex);
  OldStyleProperty copy(*original);
  original.reset();
  std::string text;
  copy.get(&text);
  EXPECT_EQ(text, "hello");
}

TEST(OldStyleCopy, IsNotCounted) {
  const OldStyle original = oldStyleFromWire("10800005 01 0004 01020304"_hex);
  const OldStyleProperty copy(*original);
  EXPECT_EQ(oldStyleFromWire("10800005 01 0004 01020304"_hex)->name, "OldStyleProperty_2");
}

TEST(OldStyleCopy, OfAShortValueHoldsEightBytesToo) {
  const OldStyle original = oldStyleFromWire("10800005 00 0002 AABB"_hex);
  OldStyleProperty copy(*original);
  unsigned long long value = 0;
  copy.get(&value);
  EXPECT_EQ(copy.length(), 2);
  copy.set(0x0102030405060708ULL);
  copy.get(&value);
  EXPECT_EQ(value, 0x0102030405060708ULL);
  EXPECT_EQ(serialized(copy), asText("10800005 00 0002 0102"_hex));
}

TEST(OldStyleCopy, OfAPropertyWithoutAValueCarriesNone) {
  const OldStyle original = oldStyleFromWire("10800005 09 0000"_hex);
  OldStyleProperty copy(*original);
  EXPECT_EQ(copy.length(), 0);
  EXPECT_EQ(copy.getType(), 9);
  EXPECT_EQ(serialized(copy), asText("10800005 09 0000"_hex));
}

// ----- memory that is not there: values of 20000 bytes, so that nothing else is refused ----------------------------------

constexpr std::size_t LARGE = 20000;

std::string largeRecord(const std::string& typeCode) {
  return "10800005"_hex + typeCode + "4E20"_hex + std::string(LARGE, 'x');
}

const std::string INVALID = "3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!";

OldStyle withoutMemory(const std::string& typeCode) {
  const std::string record = largeRecord(typeCode);
  ExactBlock block(record);
  const AllocationFailure failure(LARGE);
  OldStyle property = std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), false);
  EXPECT_EQ(failure.count(), 1U);
  return property;
}

TEST(OldStyleWithoutMemory, TheConstructorWritesALineAndKeepsLengthAndTypeWithoutAValue) {
  LogCapture log;
  const OldStyle property = withoutMemory("09"_hex);
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelProperty (OldStyleProperty) - malloc failed!"});
  EXPECT_EQ(property->name, "OldStyleProperty_1");
  EXPECT_EQ(property->id, 0x10800005U);
  EXPECT_EQ(property->length(), 20000);
  EXPECT_EQ(property->getType(), 9);
  EXPECT_EQ(heldValue(*property), nullptr);
}

TEST(OldStyleWithoutMemory, ALaterGetWritesTheLineOfAnInvalidPointerAndLeavesItsTarget) {
  const OldStyle property = withoutMemory("09"_hex);
  std::string text = "what was there";
  LogCapture log;
  property->get(&text);
  EXPECT_EQ(text, "what was there");
  EXPECT_EQ(log.brief(), Lines{INVALID});
}

TEST(OldStyleWithoutMemory, SerializeReturnsZeroWithALine) {
  const OldStyle property = withoutMemory("09"_hex);
  ExactBlock block(LARGE + 7);
  LogCapture log;
  EXPECT_EQ(property->serialize(block.data(), block.length()), 0);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (serialize) - [OldStyleProperty_1] m_value_pointer is nullpointer "
                  "but length set is not 0!!!"});
}

TEST(OldStyleWithoutMemory, DeserializeWritesALineReturnsTheRecordsSizeAndLosesTheFormerValue) {
  const OldStyle property = oldStyleFromWire("40C08009 01 0004 01020304"_hex);
  const ExactBlock record(largeRecord("0C"_hex));
  LogCapture log;
  {
    const AllocationFailure failure(LARGE);
    EXPECT_EQ(property->deserialize(record.data()), 20007);
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (deserialize) - malloc failed!"});
  EXPECT_EQ(property->id, 0x10800005U);
  EXPECT_EQ(property->getType(), 12);
  EXPECT_EQ(property->length(), 20000);
  EXPECT_EQ(property->row, 9U);
  EXPECT_EQ(heldValue(*property), nullptr);
}

TEST(OldStyleWithoutMemory, AScalarSetWritesALineAndLeavesNoValue) {
  const OldStyle property = withoutMemory("01"_hex);
  LogCapture log;
  {
    const AllocationFailure failure(LARGE);
    property->set(7U);
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (set) - malloc failed in set!"});
  EXPECT_EQ(heldValue(*property), nullptr);
  EXPECT_EQ(property->length(), 20000);
}

TEST(OldStyleWithoutMemory, ALaterScalarSetMakesAValueOfTheRecordsLengthOfWhichNothingIsUnwritten) {
  const OldStyle property = withoutMemory("01"_hex);
  LogCapture log;
  property->set(0x01020304U);
  unsigned int value = 0;
  property->get(&value);
  EXPECT_EQ(value, 0x01020304U);
  ExactBlock block(LARGE + 7);
  EXPECT_EQ(property->serialize(block.data(), block.length()), 20007);
  EXPECT_EQ(asText(block.view().substr(0, 11)), asText("10800005 01 4E20 01020304"_hex));
  EXPECT_EQ(block.view().substr(11), std::string(LARGE - 4, '\0'));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(OldStyleWithoutMemory, SetOfATextWritesALineAndKeepsTheNewLengthWithoutAValue) {
  const OldStyle property = oldStyleFromWire("10800005 09 0003 616263"_hex);
  const std::string text(LARGE, 'x');
  LogCapture log;
  {
    // The text is handed over by value: its own copy is one byte longer and made by operator new, outside of the failure.
    std::string argument = text;
    const AllocationFailure failure(LARGE);
    property->set(std::move(argument));
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (set) - malloc failed in set!"});
  EXPECT_EQ(property->length(), 20000);
  EXPECT_EQ(heldValue(*property), nullptr);
}

TEST(OldStyleWithoutMemory, SetOfBytesWritesALineAndKeepsTheNewLengthWithoutAValue) {
  const OldStyle property = oldStyleFromWire("10800005 0D 0003 616263"_hex);
  ExactBlock data(LARGE, 'x');
  LogCapture log;
  {
    const AllocationFailure failure(LARGE);
    property->set(reinterpret_cast<unsigned char*>(data.data()), 20000);
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (set) - malloc failed in set!"});
  EXPECT_EQ(property->length(), 20000);
  EXPECT_EQ(heldValue(*property), nullptr);
}

TEST(OldStyleWithoutMemory, ACopyWritesALineAndKeepsLengthAndTypeWithoutAValue) {
  const OldStyle original = oldStyleFromWire(largeRecord("0C"_hex));
  LogCapture log;
  const AllocationFailure failure(LARGE);
  OldStyleProperty copy(*original);
  EXPECT_EQ(failure.count(), 1U);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (OldStyleProperty) - malloc failed!"});
  EXPECT_EQ(heldValue(copy), nullptr);
  EXPECT_EQ(copy.length(), 20000);
  EXPECT_EQ(copy.getType(), 12);
  EXPECT_EQ(copy.name, "OldStyleProperty_1");
  EXPECT_NE(heldValue(*original), nullptr);
}

TEST(OldStyleWithoutMemory, ACopyOfALengthWithoutAValueReadsNothing) {
  const OldStyle original = withoutMemory("0C"_hex);
  OldStyleProperty copy(*original);
  EXPECT_EQ(copy.length(), 20000);
  EXPECT_EQ(copy.getType(), 12);
}

TEST(OldStyleWithoutMemory, EveryLineIsWrittenAboveLevelTwoOnly) {
  const OldStyle bytes = oldStyleFromWire(largeRecord("0C"_hex));
  const ExactBlock record(largeRecord("01"_hex));
  ExactBlock data(LARGE, 'x');
  const auto everyLine = [&] {
    const OldStyle number = withoutMemory("01"_hex);
    const AllocationFailure failure(LARGE);
    const OldStyleProperty copy(*bytes);
    number->set(7U);
    number->deserialize(record.data());
  };
  LogCapture log(2);
  everyLine();
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  everyLine();
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelProperty (OldStyleProperty) - malloc failed!",
                                "3 [ERROR] trelProperty (OldStyleProperty) - malloc failed!",
                                "3 [ERROR] trelProperty (set) - malloc failed in set!",
                                "3 [ERROR] trelProperty (deserialize) - malloc failed!"}));
  ASSERT_EQ(log.lines().size(), 4U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - malloc failed!");
  EXPECT_EQ(log.lines()[2].format, "[ERROR] %s:%d (%s) - malloc failed in set!");
}

}  // namespace
