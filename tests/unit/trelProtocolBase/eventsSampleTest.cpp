// Sampled values: how checkForEvent compares a property with what was last reported.

#include <gtest/gtest.h>

#include <string>

#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

template <typename T>
using Typed = TypeProperty<T>;

constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;

// What the pending message holds, by sending it.
Datagrams flushed(RecordingEngine& engine) {
  engine.forget();
  engine.addToAmi(nullptr, true);
  return engine.sent();
}

}  // namespace

TEST(CheckForEvent, AChangedValueIsAddedRememberedAndReported) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  unsigned long long last = 10;
  EXPECT_TRUE(engine.checkForEvent(&last, &property, true, false));
  EXPECT_EQ(last, 42U);
  EXPECT_TRUE(engine.messages.empty());
  EXPECT_EQ(flushed(engine), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 01 0004 0000002A"});
}

TEST(CheckForEvent, AnUnchangedValueIsNotReported) {
  RecordingEngine engine;
  Typed<unsigned long long> property(5, "p", RW, 0xFEDCBA9876543210ULL);
  unsigned long long last = 0xFEDCBA9876543210ULL;
  LogCapture log(9);
  EXPECT_FALSE(engine.checkForEvent(&last, &property, true, false));
  EXPECT_EQ(last, 0xFEDCBA9876543210ULL);
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(flushed(engine), Datagrams{});
}

TEST(CheckForEvent, TheInitialSampleIsRememberedAndNotReported) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  unsigned long long last = 10;
  EXPECT_FALSE(engine.checkForEvent(&last, &property, false, false));
  EXPECT_EQ(last, 42U);
  EXPECT_EQ(flushed(engine), Datagrams{});
  EXPECT_FALSE(engine.checkForEvent(&last, &property, true, false));
}

TEST(CheckForEvent, EveryWidthIsReadWithoutSign) {
  RecordingEngine engine;
  Typed<unsigned char> one(1, "one", RW, 0xFF);
  Typed<unsigned short> two(2, "two", RW, 0xFFFE);
  Typed<unsigned int> four(3, "four", RW, 0xFFFFFFFDU);
  Typed<unsigned long long> eight(4, "eight", RW, 0xFFFFFFFFFFFFFFFCULL);
  IpAddressProperty address(5, "address", RW, 0xC0A80001U, false);
  unsigned long long last = 0;
  EXPECT_TRUE(engine.checkForEvent(&last, &one, true, false));
  EXPECT_EQ(last, 255U);
  EXPECT_TRUE(engine.checkForEvent(&last, &two, true, false));
  EXPECT_EQ(last, 65534U);
  EXPECT_TRUE(engine.checkForEvent(&last, &four, true, false));
  EXPECT_EQ(last, 4294967293U);
  EXPECT_TRUE(engine.checkForEvent(&last, &eight, true, false));
  EXPECT_EQ(last, 18446744073709551612ULL);
  EXPECT_TRUE(engine.checkForEvent(&last, &address, true, false));
  EXPECT_EQ(last, 3232235521U);
  EXPECT_EQ(flushed(engine),
            Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 FF | 00000002 02 0002 FFFE | "
                      "00000003 01 0004 FFFFFFFD | 00000004 00 0008 FFFFFFFFFFFFFFFC | 00000005 0A 0004 C0A80001"});
}

TEST(CheckForEvent, AMacAddressIsOfNoSupportedLength) {
  RecordingEngine engine;
  MacAddressProperty mac(9, "mac", RW, std::string("00:1a:2b:3c:4d:5e"), true);
  unsigned long long last = 10;
  LogCapture log(7);
  EXPECT_FALSE(engine.checkForEvent(&last, &mac, true, false));
  EXPECT_FALSE(engine.checkForEvent(&last, &mac, false, false));
  EXPECT_EQ(last, 10U);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=6 id=0x00000009",
                                "7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=6 id=0x00000009"}));
  EXPECT_EQ(flushed(engine), Datagrams{});
}

TEST(CheckForEvent, EveryOtherLengthIsNotSupported) {
  for (const std::size_t length : {0U, 3U, 5U, 7U, 9U, 16U, 300U}) {
    SCOPED_TRACE(length);
    RecordingEngine engine;
    StringProperty text(0x10800005, "text", RW, std::string(length, 'x'));
    unsigned long long last = 10;
    LogCapture log(7);
    EXPECT_FALSE(engine.checkForEvent(&last, &text, true, false));
    EXPECT_EQ(last, 10U);
    EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (checkForEvent) - not supported len=" +
                                 std::to_string(length) + " id=0x10800005"});
  }
}

TEST(CheckForEvent, TheNotSupportedLineIsSilentAtItsThreshold) {
  RecordingEngine engine;
  StringProperty text(5, "text", RW, "abc");
  unsigned long long last = 10;
  LogCapture log(6);
  EXPECT_FALSE(engine.checkForEvent(&last, &text, true, false));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CheckForEvent, APropertyThatRefusesTheUnsignedGetterCountsAs0) {
  RecordingEngine engine;
  Typed<int> number(1, "int", RW, -5);
  Typed<signed char> small(2, "int8", RW, -5);
  Typed<short> medium(3, "int16", RW, -5);
  Typed<long long> large(4, "int64", RW, -5);
  Typed<bool> flag(5, "bool", RW, true);
  UnixTimeProperty time(6, "time", RW, 1000, false);
  StringProperty text(7, "text", RW, "abcd");  // as long as a 32-bit number
  TrelProperty* const properties[] = {&number, &small, &medium, &large, &flag, &time, &text};
  for (TrelProperty* property : properties) {
    SCOPED_TRACE(property->name);
    unsigned long long last = 0;
    LogCapture log(3);
    EXPECT_FALSE(engine.checkForEvent(&last, property, true, false));
    EXPECT_EQ(last, 0U);
    EXPECT_EQ(log.count("Not implemented for"), 1U);
    last = 77;
    EXPECT_FALSE(engine.checkForEvent(&last, property, false, false));
    EXPECT_EQ(last, 0U);
    last = 77;
    EXPECT_TRUE(engine.checkForEvent(&last, property, true, false));
    EXPECT_EQ(last, 0U);
  }
}

TEST(CheckForEvent, TheRefusedGettersAreThoseOfTheLength) {
  RecordingEngine engine;
  unsigned long long last = 0;
  LogCapture log(3);
  Typed<bool> flag(5, "flag", RW, true);
  Typed<short> medium(6, "medium", RW, 1);
  Typed<int> number(7, "number", RW, 1);
  Typed<long long> large(8, "large", RW, 1);
  engine.checkForEvent(&last, &flag, true, false);
  engine.checkForEvent(&last, &medium, true, false);
  engine.checkForEvent(&last, &number, true, false);
  engine.checkForEvent(&last, &large, true, false);
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelProperty (get) - [flag] Not implemented for uint8_t (property 5, row 0)",
                   "3 [ERROR] trelProperty (get) - [medium] Not implemented for uint16_t (property 6, row 0)",
                   "3 [ERROR] trelProperty (get) - [number] Not implemented for uint32_t (property 7, row 0)",
                   "3 [ERROR] trelProperty (get) - [large] Not implemented for uint64_t (property 8, row 0)"}));
}

TEST(CheckForEvent, WithoutALastValueNothingHappens) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  LogCapture log(9);
  EXPECT_FALSE(engine.checkForEvent(nullptr, &property, true, false));
  EXPECT_FALSE(engine.checkForEvent(nullptr, &property, false, false));
  EXPECT_FALSE(engine.checkForEvent(nullptr, nullptr, true, false));
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(flushed(engine), Datagrams{});
}

TEST(CheckForEvent, AnIndexOutsideATableGivesNoLastValueSoNothingHappens) {
  RecordingEngine engine;
  EventValueTable table(false, 4, 7);
  Typed<unsigned int> property(5, "p", RW, 42U);
  EXPECT_FALSE(engine.checkForEvent(table.getValuePtr(4), &property, true, false));
  EXPECT_FALSE(engine.checkForEvent(table.getValuePtr(-1), &property, true, false));
  EXPECT_TRUE(engine.checkForEvent(table.getValuePtr(3), &property, true, false));
  EXPECT_EQ(table.getValue(3), 42U);
}

TEST(CheckForEvent, FlushSendsThePendingMessageAndReturnsFalse) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  engine.addToAmi(&property, false);
  EXPECT_FALSE(engine.checkForEvent(nullptr, nullptr, false, true));
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 01 0004 0000002A"});
}

TEST(CheckForEvent, FlushLooksAtNothingElse) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  Typed<unsigned int> other(6, "o", RW, 43U);
  engine.addToAmi(&property, false);
  unsigned long long last = 10;
  EXPECT_FALSE(engine.checkForEvent(&last, &other, true, true));
  EXPECT_EQ(last, 10U);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 01 0004 0000002A"});
  EXPECT_EQ(flushed(engine), Datagrams{});
}

// ----- trace lines -----

TEST(CheckForEvent, AnEventIsTracedBehindItsAdditionWithThePropertysIdNotItsOid) {
  TrelTable table("t", 3, false, 2);
  auto* property = new Typed<unsigned short>(2, "p", RW, 42);
  table.addProp(property, 1);
  RecordingEngine engine;
  unsigned long long last = 0xFFFFFFFFFFFFFFFFULL;
  LogCapture log(7);
  EXPECT_TRUE(engine.checkForEvent(&last, property, true, false));
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0x2 size=2",
                                "7 [DEBUG1] trelProtocolBase (checkForEvent) - "
                                "event oid=0x00000002 len=2 type=2 18446744073709551615 ==> 42"}));
}

TEST(CheckForEvent, TheLineOfAnEventIsSilentAtItsThreshold) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  unsigned long long last = 0;
  LogCapture log(6);
  EXPECT_TRUE(engine.checkForEvent(&last, &property, true, false));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(CheckForEvent, TheLineOfTheInitialSampleShowsTheNewValueTwice) {
  RecordingEngine engine;
  Typed<unsigned int> property(0x10800005, "p", RW, 42U);
  unsigned long long last = 10;
  LogCapture log(8);
  EXPECT_FALSE(engine.checkForEvent(&last, &property, false, false));
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelProtocolBase (checkForEvent) - "
                               "init event oid=0x10800005 len=4 42 ==> 42"});
}

TEST(CheckForEvent, TheLineOfTheInitialSampleIsOfTheSecondGrade) {
  RecordingEngine engine;
  Typed<unsigned int> property(5, "p", RW, 42U);
  unsigned long long last = 10;
  LogCapture log(7);
  EXPECT_FALSE(engine.checkForEvent(&last, &property, false, false));
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- as an application uses it -----

TEST(CheckForEvent, ATableOfSampledValuesReportsEachChangeOnce) {
  RecordingEngine engine;
  EventValueTable table(false, 2, 7);
  Typed<unsigned int> first(1, "first", RW, 100U);
  Typed<unsigned int> second(2, "second", RW, 200U);
  engine.checkForEvent(table.getValuePtr(0), &first, false, false);
  engine.checkForEvent(table.getValuePtr(1), &second, false, false);
  second.set(201U);
  EXPECT_FALSE(engine.checkForEvent(table.getValuePtr(0), &first, true, false));
  EXPECT_TRUE(engine.checkForEvent(table.getValuePtr(1), &second, true, false));
  EXPECT_FALSE(engine.checkForEvent(table.getValuePtr(1), &second, true, false));
  EXPECT_EQ(table.getValue(0), 100U);
  EXPECT_EQ(table.getValue(1), 201U);
  EXPECT_EQ(flushed(engine), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000002 01 0004 000000C9"});
}
