// Properties made from a received record that no object knows.

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "support/recordingEngine.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;
using OldStyle = std::unique_ptr<OldStyleProperty>;

constexpr bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

OldStyle made(std::string_view record, bool hostOrder = false) {
  ExactBlock block(record);
  return std::make_unique<OldStyleProperty>(reinterpret_cast<trel_tlv*>(block.data()), hostOrder);
}

// A record of OID 1.
OldStyle ofType(int type, std::string_view value) {
  std::string record = "00000001 00 0000"_hex;
  record[4] = static_cast<char>(type);
  record[5] = static_cast<char>(value.size() >> 8);
  record[6] = static_cast<char>(value.size() & 0xFFU);
  return made(record + std::string(value));
}

std::string sent(TrelProperty& property, std::size_t room) {
  ExactBlock block(room);
  const int written = property.serialize(block.data(), block.length());
  if (written == -1) return block.view() == std::string(room, '\xA5') ? "-1" : "-1, but written to";
  return std::to_string(written) + ": " + asText(block.view());
}

int receive(TrelProperty& property, std::string_view tlv) {
  const ExactBlock block(tlv);
  return property.deserialize(block.data());
}

const char* held(const OldStyleProperty& property) { return peek<const char*>(property, sizeof(TrelProperty)); }

// The value as it lies in memory, as many bytes as it has.
std::string heldText(OldStyleProperty& property) {
  if (held(property) == nullptr) return "none";
  return asText(std::string_view(held(property), static_cast<std::size_t>(property.length())));
}

std::string line(const char* function, const OldStyleProperty& property, const char* text) {
  return std::string("3 [ERROR] trelProperty (") + function + ") - [" + property.name + "] " + text;
}

const char* const wrongGet = "Trying to get the wrong type from oldStyleProperty";
const char* const wrongSet = "Trying to set the wrong type for oldStyleProperty";
const std::string invalidPointer =
    "3 [ERROR] trelProperty (isPointerValid) - Pointer val in OldStyleProperty is invalid!";

// Calls every getter, or every setter, and tells which of them the property did not refuse.
std::string acceptedGetters(OldStyleProperty& p) {
  unsigned long long u64 = 0;
  unsigned int u32 = 0;
  unsigned short u16 = 0;
  unsigned char u8 = 0;
  long long i64 = 0;
  int i32 = 0;
  short i16 = 0;
  signed char i8 = 0;
  bool flag = false;
  std::string text;
  unsigned char bytes[8] = {};
  unsigned int count = 8;
  std::string accepted;
  LogCapture log(3);
  const auto note = [&](const char* name) {
    if (log.lines().empty())
      accepted += std::string(name) + " ";
    else
      EXPECT_EQ(log.brief(), Lines{line("get", p, wrongGet)}) << name;
    log.clear();
  };
  p.get(&u64), note("u64");
  p.get(&u32), note("u32");
  p.get(&u16), note("u16");
  p.get(&u8), note("u8");
  p.get(&i64), note("i64");
  p.get(&i32), note("i32");
  p.get(&i16), note("i16");
  p.get(&i8), note("i8");
  p.get(&flag), note("bool");
  p.get(&text), note("string");
  p.get(bytes, &count), note("bytes");
  return accepted;
}

std::string acceptedSetters(OldStyleProperty& p) {
  unsigned char bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  std::string accepted;
  LogCapture log(3);
  std::string before = heldText(p);
  const auto note = [&](const char* name) {
    if (log.lines().empty()) {
      accepted += std::string(name) + " ";
    } else {
      EXPECT_EQ(log.brief(), Lines{line("set", p, wrongSet)}) << name;
      EXPECT_EQ(heldText(p), before) << name;
    }
    before = heldText(p);
    log.clear();
  };
  p.set(99ULL), note("u64");
  p.set(99U), note("u32");
  p.set(static_cast<unsigned short>(99)), note("u16");
  p.set(static_cast<unsigned char>(99)), note("u8");
  p.set(99LL), note("i64");
  p.set(99), note("i32");
  p.set(static_cast<short>(99)), note("i16");
  p.set(static_cast<signed char>(99)), note("i8");
  p.set(true), note("bool");
  p.set(std::string("eight by")), note("string");
  p.set(bytes, 8), note("bytes");
  EXPECT_FALSE(p.eventPending);
  return accepted;
}

}  // namespace

TEST(ReadingOldStyle, ConstructionTakesOidTypeLengthAndRowAndClearsTheRest) {
  const OldStyle table = made("40C08007 01 0004 01020304"_hex);
  EXPECT_EQ(table->name, "OldStyleProperty_1");
  EXPECT_EQ(table->id, 0x40C08007U);
  EXPECT_EQ(table->getOid(), 0x40C08007U);
  EXPECT_EQ(table->row, 7U);
  EXPECT_EQ(static_cast<unsigned int>(table->accessType), 0U);
  EXPECT_FALSE(table->eventable);
  EXPECT_FALSE(table->eventPending);
  EXPECT_EQ(table->object, nullptr);
  EXPECT_EQ(table->length(), 4);
  EXPECT_EQ(table->getType(), 1);
  EXPECT_FALSE(table->isDefault());
  table->setToDefault();
  unsigned int value = 0;
  table->get(&value);
  EXPECT_EQ(value, 0x01020304U);
  EXPECT_TRUE(table->validValue(nullptr, 0));

  const OldStyle scalar = made("10803FFF FF 0000"_hex);  // row bits set in a scalar OID
  EXPECT_EQ(scalar->name, "OldStyleProperty_2");
  EXPECT_EQ(scalar->row, 0U);
  EXPECT_EQ(scalar->getType(), 255);
  EXPECT_EQ(scalar->length(), 0);
  EXPECT_EQ(held(*scalar), nullptr);
}

TEST(ReadingOldStyle, UnusableOidIsKeptWithTheLineOfItsDecoder) {
  LogCapture log;
  const OldStyle property = made("C0000007 03 0001 2A"_hex);
  EXPECT_EQ(property->id, 0xC0000007U);
  EXPECT_EQ(property->getOid(), 0xC0000007U);
  EXPECT_EQ(property->row, 0U);
  EXPECT_EQ(log.count("Invalid oid 0xc0000007"), 1U);
  EXPECT_EQ(log.brief(3).size(), 1U);
}

TEST(ReadingOldStyle, RecordInHostOrderIsTakenAsItStands) {
  const OldStyle property =
      made(littleEndian ? "0780C040 01 0400 01020304"_hex : "40C08007 01 0004 01020304"_hex, true);
  EXPECT_EQ(property->id, 0x40C08007U);
  EXPECT_EQ(property->row, 7U);
  EXPECT_EQ(property->length(), 4);
  unsigned int value = 0;
  property->get(&value);
  EXPECT_EQ(value, littleEndian ? 0x04030201U : 0x01020304U);
  EXPECT_EQ(property->name, "OldStyleProperty_1");
}

TEST(ReadingOldStyle, NumbersComeFromOneCounterThatCopiesDoNotMove) {
  const OldStyle first = made("00000001 03 0001 01"_hex);
  const OldStyleProperty copy(*first);
  EXPECT_EQ(copy.name, "OldStyleProperty_1");
  EXPECT_EQ(made("00000001 03 0001 01"_hex)->name, "OldStyleProperty_2");
  receive(*first, "00000002 03 0001 01"_hex);
  EXPECT_EQ(first->name, "OldStyleProperty_1");
  EXPECT_EQ(made("00000001 03 0000"_hex, true)->name, "OldStyleProperty_3");  // never reset
}

TEST(ReadingOldStyle, ConstructionConvertsSixTypesAndDeserializeNine) {
  // What lies in memory, on a little-endian host: the first eight bytes in from-the-wire construction, then deserialize.
  const char* const straight = "01 02 03 04 05 06 07 08";
  const char* const whole = "08 07 06 05 04 03 02 01";
  const char* const word = "04 03 02 01 05 06 07 08";
  const char* const half = "02 01 03 04 05 06 07 08";
  const struct {
    int type;
    const char* construction;
    const char* deserialized;
  } rows[] = {{0, whole, whole},        {1, word, word},          {2, half, half},          {3, straight, straight},
              {4, whole, whole},        {5, word, word},          {6, half, half},          {7, straight, straight},
              {8, straight, straight},  {9, straight, straight},  {10, straight, word},     {11, straight, whole},
              {12, straight, straight}, {13, straight, straight}, {14, straight, straight}, {255, straight, straight}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    const OldStyle property = ofType(row.type, "0102030405060708"_hex);
    EXPECT_EQ(heldText(*property), littleEndian ? row.construction : straight);
    std::string record = "00000002 00 0008 0102030405060708"_hex;
    record[4] = static_cast<char>(row.type);
    const OldStyle other = made("00000001 0C 0001 FF"_hex);
    EXPECT_EQ(receive(*other, record), 15);
    EXPECT_EQ(heldText(*other), littleEndian ? row.deserialized : straight);
    EXPECT_EQ(other->getType(), row.type);
    EXPECT_EQ(other->length(), 8);
    EXPECT_EQ(other->id, 2U);
    // Sent: deserialize and serialize are each other's inverse for every type.
    EXPECT_EQ(sent(*other, 15).substr(0, 25),
              "15: 00 00 00 02 " + asText(std::string(1, static_cast<char>(row.type))) + " 00 08 ");
    EXPECT_EQ(sent(*other, 15).substr(25), "01 02 03 04 05 06 07 08");
  }
}

TEST(ReadingOldStyle, AddressAndTimeFromTheWireAreReversedWhenSentOn) {
  const OldStyle address = ofType(10, "0A000001"_hex);
  EXPECT_EQ(sent(*address, 11),
            littleEndian ? "11: 00 00 00 01 0A 00 04 01 00 00 0A" : "11: 00 00 00 01 0A 00 04 0A 00 00 01");
  int number = 0;
  address->get(&number);
  EXPECT_EQ(number, littleEndian ? 0x0100000A : 0x0A000001);
  receive(*address, "00000001 0A 0004 0A000001"_hex);
  address->get(&number);
  EXPECT_EQ(number, 0x0A000001);
  EXPECT_EQ(sent(*address, 11), "11: 00 00 00 01 0A 00 04 0A 00 00 01");
  const OldStyle time = ofType(11, "0102030405060708"_hex);
  EXPECT_EQ(sent(*time, 15), littleEndian ? "15: 00 00 00 01 0B 00 08 08 07 06 05 04 03 02 01"
                                          : "15: 00 00 00 01 0B 00 08 01 02 03 04 05 06 07 08");
}

TEST(ReadingOldStyle, DeserializeTakesEverythingButTheRow) {
  const OldStyle property = made("40C08007 01 0004 01020304"_hex);
  LogCapture log;
  EXPECT_EQ(receive(*property, "C0000009 09 0003 414243"_hex), 10);
  EXPECT_EQ(property->id, 0xC0000009U);
  EXPECT_EQ(property->row, 7U);
  EXPECT_EQ(property->getType(), 9);
  EXPECT_EQ(property->length(), 3);
  std::string text;
  property->get(&text);
  EXPECT_EQ(text, "ABC");
  EXPECT_EQ(log.lines().size(), 0U);
  EXPECT_FALSE(property->eventPending);
  EXPECT_EQ(receive(*property, "00000001 0C FFFF"_hex + std::string(65535, 'x')), 65542);
  EXPECT_EQ(property->length(), 65535);
  // An empty record leaves an empty value, not the former one.
  EXPECT_EQ(receive(*property, "00000001 09 0000"_hex), 7);
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(sent(*property, 7), "7: 00 00 00 01 09 00 00");
}

TEST(ReadingOldStyle, DeserializeOfAnEmptyTextObtainsABuffer) {
  const OldStyle property = made("00000001 09 0000"_hex);
  EXPECT_EQ(held(*property), nullptr);
  receive(*property, "00000001 09 0000"_hex);
  EXPECT_NE(held(*property), nullptr);
  LogCapture log;
  std::string text = "before";
  property->get(&text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingOldStyle, SerializeAsksForExactlyItsSpace) {
  const OldStyle property = made("10800005 02 0002 1234"_hex);
  EXPECT_EQ(sent(*property, 9), "9: 10 80 00 05 02 00 02 12 34");
  EXPECT_EQ(sent(*property, 10), "9: 10 80 00 05 02 00 02 12 34 A5");
  LogCapture log;
  EXPECT_EQ(sent(*property, 8), "-1");
  EXPECT_EQ(log.brief(), Lines{line("serialize", *property, "serializing buffer has not enough space left")});
  for (const int size : {0, -1, INT_MIN})
    EXPECT_EQ(property->serialize(nullptr, size), -1) << size;
  const OldStyle empty = made("10800005 02 0000"_hex);
  EXPECT_EQ(sent(*empty, 7), "7: 10 80 00 05 02 00 00");
  EXPECT_EQ(sent(*empty, 6), "-1");
}

TEST(ReadingOldStyle, SerializeOfALengthWithoutAValueIsZero) {
  class Announced : public OldStyleProperty {
   public:
    using OldStyleProperty::OldStyleProperty;
    int length() override { return 4; }
  };
  ExactBlock record("10800005 01 0000"_hex);
  Announced property(reinterpret_cast<trel_tlv*>(record.data()), false);
  LogCapture log;
  ExactBlock out(std::size_t{11});
  EXPECT_EQ(property.serialize(out.data(), 11), 0);
  EXPECT_EQ(log.brief(),
            Lines{line("serialize", property, "m_value_pointer is nullpointer but length set is not 0!!!")});
  EXPECT_EQ(property.serialize(out.data(), 10), -1);  // the space is asked first
}

TEST(ReadingOldStyle, TypeAndLengthGoThroughTheVirtualTableWhenSent) {
  class Other : public OldStyleProperty {
   public:
    using OldStyleProperty::OldStyleProperty;
    int length() override { return announced; }
    int getType() override { return 12; }
    int announced = 3;
  };
  ExactBlock record("10800005 09 0004 41424344"_hex);
  Other property(reinterpret_cast<trel_tlv*>(record.data()), false);
  EXPECT_EQ(sent(property, 9), "-1");
  EXPECT_EQ(sent(property, 10), "10: 10 80 00 05 0C 00 03 41 42 43");
  property.announced = 20;  // more than is held
  EXPECT_EQ(sent(property, 27), "27: 10 80 00 05 0C 00 14 41 42 43 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(ReadingOldStyle, NumbersShorterThanTheirTypeAreFollowedByZeros) {
  const OldStyle wide = ofType(0, "AABB"_hex);
  unsigned long long u64 = 0;
  wide->get(&u64);
  EXPECT_EQ(u64, 0xAABB000000000000ULL);
  EXPECT_EQ(sent(*wide, 9), "9: 00 00 00 01 00 00 02 AA BB");
  const OldStyle word = ofType(1, "AABBCC"_hex);
  unsigned int u32 = 0;
  word->get(&u32);
  EXPECT_EQ(u32, 0xAABBCC00U);
  EXPECT_EQ(sent(*word, 10), "10: 00 00 00 01 01 00 03 AA BB CC");
  const OldStyle half = ofType(6, "AA"_hex);
  short i16 = 0;
  half->get(&i16);
  EXPECT_EQ(i16, static_cast<short>(0xAA00 - 0x10000));
  EXPECT_EQ(sent(*half, 8), "8: 00 00 00 01 06 00 01 AA");
  const OldStyle received = made("00000001 03 0001 00"_hex);
  EXPECT_EQ(receive(*received, "00000001 04 0001 FF"_hex), 8);
  long long i64 = 0;
  received->get(&i64);
  EXPECT_EQ(i64, -72057594037927936LL);  // 0xFF00000000000000
  EXPECT_EQ(receive(*received, "00000001 0A 0002 0A0B"_hex), 9);
  int i32 = 0;
  received->get(&i32);
  EXPECT_EQ(i32, 0x0A0B0000);
}

TEST(ReadingOldStyle, NumbersLongerThanTheirTypeKeepWhatFollows) {
  const OldStyle property = ofType(2, "0102030405060708090A"_hex);
  unsigned short u16 = 0;
  property->get(&u16);
  EXPECT_EQ(u16, 0x0102);
  EXPECT_EQ(sent(*property, 17), "17: 00 00 00 01 02 00 0A 01 02 03 04 05 06 07 08 09 0A");
  const OldStyle byte = ofType(3, "010203"_hex);
  EXPECT_EQ(sent(*byte, 10), "10: 00 00 00 01 03 00 03 01 02 03");
  byte->set(static_cast<unsigned char>(0xFE));
  EXPECT_EQ(sent(*byte, 10), "10: 00 00 00 01 03 00 03 FE 02 03");
}

TEST(ReadingOldStyle, EachTypeAnswersExactlyItsAccessors) {
  const struct {
    int type;
    const char* getters;
    const char* setters;
  } rows[] = {{0, "u64 ", "u64 "},      {1, "u32 ", "u32 "},       {2, "u16 ", "u16 "},  {3, "u8 ", "u8 "},
              {4, "i64 ", ""},          {5, "i32 ", "i32 "},       {6, "i16 ", "i16 "},  {7, "i8 ", "i8 "},
              {8, "bool ", "bool "},    {9, "string ", "string "}, {10, "i32 ", "i32 "}, {11, "", ""},
              {12, "bytes ", "bytes "}, {13, "bytes ", "bytes "},  {14, "", ""},         {255, "", ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    const OldStyle property = ofType(row.type, "0102030405060708"_hex);
    EXPECT_EQ(acceptedGetters(*property), row.getters);
    EXPECT_EQ(acceptedSetters(*property), row.setters);
    EXPECT_EQ(property->length(), 8);
  }
}

TEST(ReadingOldStyle, GettersCopyTheWidthOfTheirType) {
  unsigned long long u64 = 0;
  ofType(0, "8102030405060708"_hex)->get(&u64);
  EXPECT_EQ(u64, 0x8102030405060708ULL);
  unsigned int u32 = 0;
  ofType(1, "81020304"_hex)->get(&u32);
  EXPECT_EQ(u32, 0x81020304U);
  unsigned short u16 = 0;
  ofType(2, "8102"_hex)->get(&u16);
  EXPECT_EQ(u16, 0x8102);
  unsigned char u8[2] = {0, 0xA5};
  ofType(3, "81"_hex)->get(&u8[0]);
  EXPECT_EQ(u8[0], 0x81);
  EXPECT_EQ(u8[1], 0xA5);
  long long i64 = 0;
  ofType(4, "FFFFFFFFFFFFFFFE"_hex)->get(&i64);
  EXPECT_EQ(i64, -2);
  int i32 = 0;
  ofType(5, "FFFFFFFE"_hex)->get(&i32);
  EXPECT_EQ(i32, -2);
  short i16 = 0;
  ofType(6, "FFFE"_hex)->get(&i16);
  EXPECT_EQ(i16, -2);
  signed char i8 = 0;
  ofType(7, "FE"_hex)->get(&i8);
  EXPECT_EQ(i8, -2);
  bool flag = false;
  const OldStyle two = ofType(8, "02"_hex);
  two->get(&flag);
  EXPECT_TRUE(flag);
  EXPECT_EQ(sent(*two, 8), "8: 00 00 00 01 08 00 01 02");
  ofType(8, "00"_hex)->get(&flag);
  EXPECT_FALSE(flag);
  std::string text;
  ofType(9, std::string_view("a\0b", 3))->get(&text);
  EXPECT_EQ(text, std::string("a\0b", 3));
}

TEST(ReadingOldStyle, GetterAsksTheTypeThenThePointerThenTheTarget) {
  const OldStyle empty = made("00000001 01 0000"_hex);
  unsigned int u32 = 7;
  short i16 = 7;
  LogCapture log;
  empty->get(&i16);
  EXPECT_EQ(log.brief(), Lines{line("get", *empty, wrongGet)});
  log.clear();
  empty->get(&u32);
  EXPECT_EQ(log.brief(), Lines{invalidPointer});
  EXPECT_EQ(u32, 7U);
  log.clear();
  empty->get(static_cast<unsigned int*>(nullptr));
  EXPECT_EQ(log.brief(), Lines{invalidPointer});
  log.clear();
  ofType(1, "00000001"_hex)->get(static_cast<unsigned int*>(nullptr));
  ofType(9, "41"_hex)->get(static_cast<std::string*>(nullptr));
  EXPECT_EQ(log.lines().size(), 0U);
  EXPECT_FALSE(empty->isPointerValid());
  EXPECT_EQ(log.brief(), Lines{invalidPointer});
  log.clear();
  std::string text = "before";
  ofType(9, "")->get(&text);
  EXPECT_EQ(text, "before");
  EXPECT_EQ(log.brief(), Lines{invalidPointer});
}

TEST(ReadingOldStyle, ByteGetterCopiesTheCallersCountAndZerosBeyondWhatIsHeld) {
  for (const int type : {12, 13}) {
    SCOPED_TRACE(type);
    const OldStyle property = ofType(type, "010203040506070809"_hex);
    const auto copied = [&](unsigned int count) {
      unsigned char out[16];
      for (unsigned char& byte : out)
        byte = 0xA5;
      unsigned int asked = count;
      property->get(out, &asked);
      EXPECT_EQ(asked, count);
      return asText(std::string_view(reinterpret_cast<char*>(out), 14));
    };
    LogCapture log;
    EXPECT_EQ(copied(0), "A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5");
    EXPECT_EQ(copied(2), "01 02 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5");
    EXPECT_EQ(copied(9), "01 02 03 04 05 06 07 08 09 A5 A5 A5 A5 A5");
    EXPECT_EQ(copied(12), "01 02 03 04 05 06 07 08 09 00 00 00 A5 A5");
    unsigned char out[1] = {0xA5};
    unsigned int length = 1;
    property->get(nullptr, &length);
    property->get(out, nullptr);
    EXPECT_EQ(length, 1U);
    EXPECT_EQ(out[0], 0xA5);
    EXPECT_EQ(log.lines().size(), 0U);
    const OldStyle empty = ofType(type, "");
    empty->get(out, &length);
    EXPECT_EQ(log.brief(), Lines{invalidPointer});
    EXPECT_EQ(out[0], 0xA5);
  }
}

TEST(ReadingOldStyle, ScalarSettersWriteTheirWidth) {
  const auto after = [](int type, std::string_view start, auto value) {
    const OldStyle property = ofType(type, start);
    property->set(value);
    EXPECT_FALSE(property->eventPending);
    return sent(*property, 7 + start.size());
  };
  EXPECT_EQ(after(0, "0000000000000000"_hex, 0x8102030405060708ULL),
            "15: 00 00 00 01 00 00 08 81 02 03 04 05 06 07 08");
  EXPECT_EQ(after(1, "00000000"_hex, 0x81020304U), "11: 00 00 00 01 01 00 04 81 02 03 04");
  EXPECT_EQ(after(2, "0000"_hex, static_cast<unsigned short>(0x8102)), "9: 00 00 00 01 02 00 02 81 02");
  EXPECT_EQ(after(3, "00"_hex, static_cast<unsigned char>(0x81)), "8: 00 00 00 01 03 00 01 81");
  EXPECT_EQ(after(5, "00000000"_hex, -2), "11: 00 00 00 01 05 00 04 FF FF FF FE");
  EXPECT_EQ(after(10, "00000000"_hex, 0x0A000001), "11: 00 00 00 01 0A 00 04 0A 00 00 01");
  EXPECT_EQ(after(6, "0000"_hex, static_cast<short>(-2)), "9: 00 00 00 01 06 00 02 FF FE");
  EXPECT_EQ(after(7, "00"_hex, static_cast<signed char>(-2)), "8: 00 00 00 01 07 00 01 FE");
  EXPECT_EQ(after(8, "05"_hex, true), "8: 00 00 00 01 08 00 01 01");
  EXPECT_EQ(after(8, "05"_hex, false), "8: 00 00 00 01 08 00 01 00");
  // Shorter than the width: written whole, sent by its length.
  EXPECT_EQ(after(1, "0000"_hex, 0x11223344U), "9: 00 00 00 01 01 00 02 11 22");
  EXPECT_EQ(after(0, "00"_hex, 0x1122334455667788ULL), "8: 00 00 00 01 00 00 01 11");
}

TEST(ReadingOldStyle, ScalarSetterObtainsABufferOnDemandAndLeavesTheLength) {
  const OldStyle property = made("00000001 00 0000"_hex);
  LogCapture log;
  property->set(0x1122334455667788ULL);
  EXPECT_TRUE(property->isPointerValid());
  unsigned long long value = 0;
  property->get(&value);
  EXPECT_EQ(value, 0x1122334455667788ULL);
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(sent(*property, 7), "7: 00 00 00 01 00 00 00");
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingOldStyle, SignedWideSetterRefusesEveryType) {
  for (int type = 0; type < 15; ++type) {
    SCOPED_TRACE(type);
    const OldStyle property = ofType(type, "0102030405060708"_hex);
    const std::string before = heldText(*property);
    LogCapture log;
    property->set(5LL);
    EXPECT_EQ(log.brief(), Lines{line("set", *property, wrongSet)});
    EXPECT_EQ(heldText(*property), before);
  }
}

TEST(ReadingOldStyle, TextSetterReplacesValueAndLength) {
  const OldStyle property = ofType(9, "first");
  property->set(std::string("a\0bcdefghijkl", 13));
  EXPECT_EQ(property->length(), 13);
  EXPECT_EQ(heldText(*property), "61 00 62 63 64 65 66 67 68 69 6A 6B 6C");
  property->set(std::string());
  EXPECT_EQ(property->length(), 0);
  EXPECT_EQ(held(*property), nullptr);
  LogCapture log;
  EXPECT_EQ(sent(*property, 7), "7: 00 00 00 01 09 00 00");
  EXPECT_EQ(log.lines().size(), 0U);
  property->set(std::string("x"));
  EXPECT_EQ(sent(*property, 8), "8: 00 00 00 01 09 00 01 78");
  // The length is kept whole; its field in a record has sixteen bits.
  property->set(std::string(65538, 'y'));
  EXPECT_EQ(property->length(), 65538);
  ExactBlock out(std::size_t{65545});
  EXPECT_EQ(property->serialize(out.data(), 65545), 65545);
  EXPECT_EQ(asText(out.view().substr(0, 8)), "00 00 00 01 09 00 02 79");
  EXPECT_EQ(property->serialize(out.data(), 65544), -1);
  property->set(std::string(65535, 'y'));
  EXPECT_EQ(property->length(), 65535);
}

TEST(ReadingOldStyle, ByteSetterReplacesValueAndLength) {
  for (const int type : {12, 13}) {
    SCOPED_TRACE(type);
    const OldStyle property = ofType(type, "0102"_hex);
    ExactBlock data("111213141516171819"_hex);
    auto* const bytes = reinterpret_cast<unsigned char*>(data.data());
    property->set(bytes, 9);
    EXPECT_EQ(heldText(*property), "11 12 13 14 15 16 17 18 19");
    property->set(bytes, 3);
    EXPECT_EQ(heldText(*property), "11 12 13");
    property->set(bytes, 0);
    EXPECT_EQ(held(*property), nullptr);
    EXPECT_EQ(property->length(), 0);
    property->set(bytes, 1);
    EXPECT_EQ(heldText(*property), "11");
    property->set(nullptr, 0);
    EXPECT_EQ(held(*property), nullptr);
    EXPECT_EQ(property->getType(), type);
    EXPECT_FALSE(property->eventPending);
  }
}

TEST(ReadingOldStyle, CopyIsDeepAndOutsideAnyObject) {
  const OldStyle first = made("40C08007 09 0003 410042"_hex);
  first->accessType = static_cast<IfcCardVarAccessType>(5);
  first->eventable = true;
  first->eventPending = true;
  first->row = 9;
  first->name = "renamed";
  first->object = reinterpret_cast<TrelObject*>(first.get());  // never looked at
  OldStyleProperty copy(*first);
  first->object = nullptr;
  first->set(std::string("other"));
  EXPECT_EQ(copy.name, "renamed");
  EXPECT_EQ(static_cast<unsigned int>(copy.accessType), 5U);
  EXPECT_EQ(copy.id, 0x40C08007U);
  EXPECT_EQ(copy.row, 9U);
  EXPECT_TRUE(copy.eventable);
  EXPECT_TRUE(copy.eventPending);
  EXPECT_EQ(copy.object, nullptr);
  EXPECT_EQ(copy.getType(), 9);
  EXPECT_EQ(copy.length(), 3);
  EXPECT_EQ(heldText(copy), "41 00 42");
  EXPECT_NE(held(copy), held(*first));
}

TEST(ReadingOldStyle, CopyOfAShortNumberStillReadsAtFullWidth) {
  const OldStyle first = ofType(0, "AABB"_hex);
  OldStyleProperty copy(*first);
  unsigned long long value = 0;
  copy.get(&value);
  EXPECT_EQ(value, 0xAABB000000000000ULL);
  EXPECT_EQ(sent(copy, 9), "9: 00 00 00 01 00 00 02 AA BB");
}

TEST(ReadingOldStyle, CopyOfAPropertyWithoutAValueCanBeReadWrittenAndSent) {
  const OldStyle first = made("00000001 01 0000"_hex);
  OldStyleProperty copy(*first);
  EXPECT_EQ(sent(copy, 7), "7: 00 00 00 01 01 00 00");
  copy.set(5U);
  unsigned int value = 0;
  copy.get(&value);
  EXPECT_EQ(value, 5U);
}

TEST(ReadingOldStyle, CheckBufferComparesTheWholeIdWithoutAnObject) {
  const OldStyle property = made("40C08007 01 0004 01020304"_hex);
  LogCapture log(3);
  const ExactBlock same("40C08007 01 0004 00000000"_hex);
  EXPECT_EQ(property->checkBuffer(same.data(), true), 0);
  const ExactBlock other("40C08006 01 0004 00000000"_hex);
  EXPECT_EQ(property->checkBuffer(other.data(), true), 7);
  EXPECT_EQ(log.brief(), Lines{line("checkBuffer", *property, "trying to deserialize to a property with wrong id")});
}

TEST(ReadingOldStyle, TextIsTheNameAlone) {
  const OldStyle property = made("00000001 09 0003 414243"_hex);
  EXPECT_EQ(property->str(), "OldStyleProperty_1:\n\n");
}

TEST(ReadingOldStyle, UnknownOidOfARequestBecomesOneAndBothEnginesCountTogether) {
  class Serving : public RecordingEngine {
   public:
    int checkTlvOld(OldStyleProperty* property, bool) const override {
      checked.push_back(property->name);
      return 0;
    }
    bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
      served.push_back(property->name + (isWrite ? " write" : " read"));
      EXPECT_EQ(property->object, nullptr);
      EXPECT_EQ(property->row, 7U);
      property->set(std::string("ok"));
      return true;
    }
    mutable Lines checked;
    Lines served;
  } first, second;
  LogCapture log;
  EXPECT_EQ(first.receive("4F544E31 01 01 0007 | 40C08007 09 0000 | 7FFFC007 09 0000"_hex), 1);
  EXPECT_EQ(first.checked, (Lines{"OldStyleProperty_1", "OldStyleProperty_2"}));
  EXPECT_EQ(first.served, (Lines{"OldStyleProperty_1 read", "OldStyleProperty_2 read"}));
  EXPECT_EQ(first.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 40C08007 09 0002 6F6B | 7FFFC007 09 0002 6F6B"});
  Lines made;
  for (const LogLine& entry : log.lines()) {
    if (entry.message.find("not found in trelObjects") != std::string::npos) made.push_back(entry.tag + entry.message);
  }
  EXPECT_EQ(made, (Lines{"[DEBUG2]1086357511 not found in trelObjects, adding old style, making property for it\n",
                         "[DEBUG2]2147467271 not found in trelObjects, adding old style, making property for it\n"}));
  EXPECT_EQ(second.receive("4F544E31 01 01 0008 | 40C08007 09 0000"_hex, "10.0.0.2"), 1);
  EXPECT_EQ(second.served, Lines{"OldStyleProperty_3 read"});
}

TEST(ReadingOldStyle, UnknownOidIsPrintedAsASignedNumber) {
  RecordingEngine engine;
  LogCapture log;
  engine.receive("4F544E31 01 01 0007 | FFFFFFFE 09 0000"_hex);
  EXPECT_EQ(log.count("-2 not found in trelObjects, adding old style, making property for it\n"), 1U);
  log.clear();
  log.setLevel(7);
  engine.receive("4F544E31 01 01 0008 | FFFFFFFE 09 0000"_hex);
  EXPECT_EQ(log.count("not found in trelObjects"), 0U);
}
