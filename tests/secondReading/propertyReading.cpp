// What every property shares: identity, refusing accessors, the OID, the event flag, and the check of a received TLV.

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/propertyInterface.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr IfcCardVarAccessType WRITABLE = static_cast<IfcCardVarAccessType>(0);
constexpr IfcCardVarAccessType READ_ONLY = static_cast<IfcCardVarAccessType>(1);

constexpr bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Overrides only what it must: everything else is the base's.
class Bare : public TrelProperty {
 public:
  Bare(unsigned int propertyId, const char* propertyName, IfcCardVarAccessType access, bool isEventable)
      : TrelProperty(propertyId, propertyName, access, isEventable) {}
  bool isDefault() override { return false; }
  int serialize(char*, int) override { return 0; }
  int deserialize(const char*) override { return 0; }
  int length() override { return announcedLength; }
  int getType() override { return type; }
  std::string str() const override { return "bare"; }

  int announcedLength = 4;
  int type = 1;
};

// Keeps what validValue is asked.
class Asked : public Bare {
 public:
  using Bare::Bare;
  bool validValue(const char* value, int len) override {
    ++asked;
    at = value;
    askedLength = len;
    return verdict;
  }

  int asked = 0;
  const char* at = nullptr;
  int askedLength = -1;
  bool verdict = true;
};

int check(TrelProperty& property, std::string_view tlv, bool checkValue) {
  const ExactBlock block(tlv);
  return property.checkBuffer(block.data(), checkValue);
}

// An application's object that composes its OIDs in a way of its own.
class OwnOids : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  unsigned int getOID(unsigned int propertyId, unsigned int row) override {
    return 0x00ABC000U + propertyId * 16U + row;
  }
};

}  // namespace

TEST(ReadingProperty, ConstructorTakesFourThingsAndClearsTheRest) {
  char name[] = "first";
  Bare property(0xFFFFFFFFU, name, static_cast<IfcCardVarAccessType>(0xFFFFFFFFU), true);
  name[0] = 'X';  // the name is a copy
  EXPECT_EQ(property.name, "first");
  EXPECT_EQ(property.id, 0xFFFFFFFFU);
  EXPECT_EQ(static_cast<unsigned int>(property.accessType), 0xFFFFFFFFU);
  EXPECT_TRUE(property.eventable);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.row, 0U);
  EXPECT_EQ(property.object, nullptr);
  EXPECT_EQ(sizeof(IfcCardVarAccessType), 4U);
  EXPECT_TRUE(std::is_unsigned_v<std::underlying_type_t<IfcCardVarAccessType>>);
  EXPECT_EQ(static_cast<unsigned int>(IFC_CARD_VAR_READ_WRITE), 0U);
  EXPECT_EQ(static_cast<unsigned int>(IFC_CARD_VAR_READ_ONLY), 1U);
}

TEST(ReadingProperty, NullNameFailsWithLogicErrorInEveryKind) {
  EXPECT_THROW(Bare(1, nullptr, WRITABLE, false), std::logic_error);
  EXPECT_THROW(TypeProperty<unsigned int>(1, nullptr, WRITABLE, 5U), std::logic_error);
  EXPECT_THROW(TypeProperty<bool>(1, nullptr, WRITABLE, true, true), std::logic_error);
  EXPECT_THROW(StringProperty(1, nullptr, WRITABLE, "x"), std::logic_error);
  EXPECT_THROW(ArrayProperty(1, nullptr, WRITABLE, false), std::logic_error);
  EXPECT_THROW(MacAddressProperty(1, nullptr, WRITABLE, std::string(), false), std::logic_error);
  EXPECT_THROW(MacAddressProperty(1, nullptr, WRITABLE, static_cast<unsigned char*>(nullptr), false), std::logic_error);
  EXPECT_THROW(IpAddressProperty(1, nullptr, WRITABLE, 0U, false), std::logic_error);
  EXPECT_THROW(IpAddressProperty(1, nullptr, WRITABLE, std::string("10.0.0.1"), false), std::logic_error);
  EXPECT_THROW(UnixTimeProperty(1, nullptr, WRITABLE, 0, false), std::logic_error);
}

TEST(ReadingProperty, FieldsLieInTheListedOrder) {
  const Bare property(1, "p", WRITABLE, false);
  const char* const places[] = {
      reinterpret_cast<const char*>(&property.name),      reinterpret_cast<const char*>(&property.accessType),
      reinterpret_cast<const char*>(&property.id),        reinterpret_cast<const char*>(&property.row),
      reinterpret_cast<const char*>(&property.eventable), reinterpret_cast<const char*>(&property.eventPending),
      reinterpret_cast<const char*>(&property.object)};
  EXPECT_EQ(places[0], reinterpret_cast<const char*>(&property) + sizeof(void*));
  for (std::size_t i = 1; i < sizeof places / sizeof *places; ++i)
    EXPECT_LT(places[i - 1], places[i]) << i;
}

TEST(ReadingProperty, VirtualOperationsStandInTheListedSlots) {
  expectDocumentedSlots<TrelProperty>();
  expectNoFurtherSlot<Bare>();
  expectNoFurtherSlot<TypeProperty<signed char>>();
  expectNoFurtherSlot<TypeProperty<bool>>();
  expectNoFurtherSlot<StringProperty>();
  expectNoFurtherSlot<ArrayProperty>();
  expectNoFurtherSlot<MacAddressProperty>();
  expectNoFurtherSlot<IpAddressProperty>();
  expectNoFurtherSlot<UnixTimeProperty>();
  expectNoFurtherSlot<OldStyleProperty>();
}

TEST(ReadingProperty, DefaultsOfTheBaseDoNothingAndAcceptAnything) {
  LogCapture log;
  Bare property(1, "p", WRITABLE, true);
  property.eventPending = true;
  property.setToDefault();
  EXPECT_TRUE(property.eventPending);
  EXPECT_TRUE(property.validValue("x", 1));
  EXPECT_TRUE(property.validValue(nullptr, 0));
  EXPECT_TRUE(property.validValue(nullptr, -5));
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingProperty, EveryRefusingAccessorWritesItsOwnTypeWord) {
  Bare property(7, "card %s%n", WRITABLE, true);  // a name is an argument, never a format
  property.row = 3;
  expectOtherAccessorsRefused(property, "uint64_t", "uint64_t", "(property 7, row 3)");
  unsigned long long out = 17;
  {
    LogCapture log;
    property.get(&out);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (get) - [card %s%n] Not implemented for uint64_t (property 7, row 3)"});
    EXPECT_EQ(log.lines().at(0).format, "[ERROR] %s:%d (%s) - [%s] Not implemented for uint64_t (property %d, row %d)");
  }
  EXPECT_EQ(out, 17U);
  LogCapture log;
  property.set(5ULL);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [card %s%n] Not implemented for uint64_t (property 7, row 3)"});
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingProperty, RefusalPrintsIdAndRowAsSignedNumbersAndTakesNullTargets) {
  Bare property(0xFFFFFFFFU, "p", WRITABLE, false);
  property.row = 0x80000000U;
  LogCapture log;
  property.get(static_cast<unsigned int*>(nullptr));
  property.get(nullptr, nullptr);
  property.set(nullptr, 5);
  EXPECT_EQ(
      log.brief(),
      (Lines{
          "3 [ERROR] trelProperty (get) - [p] Not implemented for uint32_t (property -1, row -2147483648)",
          "3 [ERROR] trelProperty (get) - [p] Not implemented for array of uint8_t (property -1, row -2147483648)",
          "3 [ERROR] trelProperty (set) - [p] Not implemented for array of uint8_t (property -1, row -2147483648)"}));
}

TEST(ReadingProperty, RefusalIsWrittenOnlyAboveLevelTwo) {
  Bare property(1, "p", WRITABLE, false);
  LogCapture log(2);
  property.set(true);
  EXPECT_EQ(log.lines().size(), 0U);
  log.setLevel(3);
  property.set(true);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST(ReadingProperty, StringSetterOfANumberIsRefusedAndLeavesIt) {
  TypeProperty<unsigned int> property(9, "speed", WRITABLE, 5U, true);
  LogCapture log;
  property.set(std::string("6"));
  property.set(42);  // the int overload
  const char* const text = "7";
  property.set(text);  // a pointer is a bool
  EXPECT_EQ(log.brief(),
            (Lines{"3 [ERROR] trelProperty (set) - [speed] Not implemented for std::string (property 9, row 0)",
                   "3 [ERROR] trelProperty (set) - [speed] Not implemented for int32_t (property 9, row 0)",
                   "3 [ERROR] trelProperty (set) - [speed] Not implemented for bool (property 9, row 0)"}));
  EXPECT_EQ(property.value, 5U);
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingProperty, OidIsTheIdAloneAndTheOwnersCompositionInAnObject) {
  auto* const property = new TypeProperty<unsigned int>(2, "p", WRITABLE, 0U);
  EXPECT_EQ(property->getOid(), 2U);
  TrelTable table("t", 3, false, 6);
  ASSERT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(property->getOid(), 0x40C08005U);

  OwnOids own("own", 1, false);
  auto* const second = new TypeProperty<unsigned int>(0x12, "q", WRITABLE, 0U);
  ASSERT_TRUE(own.addProp(second, 0));
  EXPECT_EQ(second->getOid(), 0x00ABC120U);
  EXPECT_EQ(check(*second, "00ABC120 01 0004 00000000"_hex, true), 0);
  EXPECT_EQ(check(*second, "00000012 01 0004 00000000"_hex, true), 7);
  ExactBlock out(11U);
  EXPECT_EQ(second->serialize(out.data(), out.length()), 11);
  EXPECT_EQ(asText(out.view()), "00 AB C1 20 01 00 04 00 00 00 00");
}

TEST(ReadingProperty, EventIsHandedOutOnce) {
  TypeProperty<unsigned int> property(1, "p", WRITABLE, 0U, true);
  EXPECT_FALSE(property.sendEvent());
  property.set(1U);
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.sendEvent());
  property.set(1U);
  EXPECT_FALSE(property.sendEvent());
  property.set(2U);
  property.set(1U);  // back again: still pending
  EXPECT_TRUE(property.sendEvent());

  Bare plain(1, "p", WRITABLE, false);  // eventable is not asked here
  plain.eventPending = true;
  EXPECT_TRUE(plain.sendEvent());
  EXPECT_FALSE(plain.eventPending);
}

TEST(ReadingProperty, CheckComparesTheOidFirst) {
  // Type, length, access and value would be wrong, too.
  Asked property(0x01020304U, "p", READ_ONLY, false);
  property.verdict = false;
  {
    LogCapture log;
    EXPECT_EQ(check(property, "01020305 02 0001 FF"_hex, true), 7);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (checkBuffer) - [p] trying to deserialize to a property with wrong id"});
  }
  EXPECT_EQ(check(property, "04030201 01 0004 00000000"_hex, false), 7);
  EXPECT_EQ(check(property, "01020304 01 0004 00000000"_hex, false), 0);
  EXPECT_EQ(property.asked, 0);
}

TEST(ReadingProperty, WrongOidOfAnOwnedPropertyIsPrintedAsTheRawWordAndTheExpectedOne) {
  TrelScalar scalar("s", 1, true);
  auto* const property = new TypeProperty<unsigned int>(5, "volume", READ_ONLY, 0U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  LogCapture log;
  EXPECT_EQ(check(*property, "108000FE 09 0001 00"_hex, true), 7);
  // 0x10800005 is 276824069; the raw word is 0xFE008010 or 0x108000FE.
  EXPECT_EQ(
      log.brief(3),
      Lines{littleEndian
                ? "3 [ERROR] trelProperty (checkBuffer) - [volume] trying to deserialize to a property with wrong "
                  "oid, is -33521648 , should be 276824069"
                : "3 [ERROR] trelProperty (checkBuffer) - [volume] trying to deserialize to a property with wrong "
                  "oid, is 276824318 , should be 276824069"});
  EXPECT_EQ(log.lines().at(0).format,
            "[ERROR] %s:%d (%s) - [%s] trying to deserialize to a property with wrong oid, is %i , should be %i");
}

TEST(ReadingProperty, OidWithTheUnusedBitFindsThePropertyButDoesNotPassItsCheck) {
  TrelScalar scalar("s", 1, true);
  auto* const property = new TypeProperty<unsigned int>(5, "p", WRITABLE, 0U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.getPropFromOID(0x30800005U), property);
  EXPECT_EQ(check(*property, "30800005 01 0004 00000000"_hex, false), 7);
  EXPECT_EQ(check(*property, "10800005 01 0004 00000000"_hex, false), 0);
}

TEST(ReadingProperty, CheckComparesTheTypeSecondAsAnUnsignedByte) {
  Asked property(5, "p", READ_ONLY, false);
  for (const int received : {0x80, 0xFF}) {
    SCOPED_TRACE(received);
    std::string tlv = "00000005 00 0009"_hex;
    tlv[4] = static_cast<char>(received);
    LogCapture log;
    EXPECT_EQ(check(property, tlv, true), 6);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (checkBuffer) - [p] trying to deserialize to a property of wrong "
                    "type this 1, buf " +
                    std::to_string(received)});
  }
  property.type = 0x80;
  EXPECT_EQ(check(property, "00000005 80 0004 00000000"_hex, false), 0);
  property.type = -128;
  EXPECT_EQ(check(property, "00000005 80 0004 00000000"_hex, false), 6);
  property.type = 0x101;
  EXPECT_EQ(check(property, "00000005 01 0004 00000000"_hex, false), 6);
}

TEST(ReadingProperty, CheckComparesTheLengthThirdAsUnsigned16Bits) {
  Asked property(5, "p", READ_ONLY, false);
  const struct {
    int own;
    const char* tlv;
    const char* numbers;
  } rows[] = {
      {4, "\0\0\0\5\1\0\2", "it should be 4 but it is 2"},
      {4, "\0\0\0\5\1\4\0", "it should be 4 but it is 1024"},
      {-1, "\0\0\0\5\1\xFF\xFF", "it should be -1 but it is 65535"},
      {65540, "\0\0\0\5\1\0\4", "it should be 65540 but it is 4"},
      {0, "\0\0\0\5\1\x80\0", "it should be 0 but it is 32768"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.numbers);
    property.announcedLength = row.own;
    LogCapture log;
    EXPECT_EQ(check(property, std::string_view(row.tlv, 7), true), 8);
    EXPECT_EQ(
        log.brief(),
        (Lines{"3 [ERROR] trelProperty (checkBuffer) - [p] trying to deserialize a property but tlv has incorrect size "
               "parameter",
               std::string("3 [ERROR] trelProperty (checkBuffer) - [p] ") + row.numbers}));
  }
  EXPECT_EQ(property.asked, 0);
}

TEST(ReadingProperty, TypeNineTakesAnyLengthWithADebugLine) {
  Bare property(5, "text", WRITABLE, false);
  property.type = 9;
  property.announcedLength = 4;
  LogCapture log;
  for (const char* const tlv : {"\0\0\0\5\x09\0\0", "\0\0\0\5\x09\xFF\xFE"}) {
    EXPECT_EQ(check(property, std::string_view(tlv, 7), true), 0);
  }
  EXPECT_EQ(
      log.brief(),
      (Lines{
          "7 [DEBUG3] trelProperty (checkBuffer) - [text] we cannot know the size of a string when receiving, it is 0",
          "7 [DEBUG3] trelProperty (checkBuffer) - [text] we cannot know the size of a string when receiving, it is "
          "65534"}));
  log.clear();
  log.setLevel(8);
  EXPECT_EQ(check(property, "00000005 09 0001 41"_hex, false), 0);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingProperty, TypeNineIsAskedOfTheVirtualTableNotOfTheClass) {
  class TextNumber : public TypeProperty<unsigned int> {
   public:
    using TypeProperty<unsigned int>::TypeProperty;
    int getType() override { return 9; }
  } number(5, "n", WRITABLE, 0U);
  EXPECT_EQ(check(number, "00000005 09 0002 4142"_hex, false), 0);

  class BytesText : public StringProperty {
   public:
    using StringProperty::StringProperty;
    int getType() override { return 12; }
  } text(5, "t", WRITABLE, "ab");
  EXPECT_EQ(check(text, "00000005 0C 0003 414243"_hex, false), 8);
  EXPECT_EQ(check(text, "00000005 0C 0002 4142"_hex, false), 0);
}

TEST(ReadingProperty, WithoutValueCheckTheFormAloneDecides) {
  Asked property(5, "p", READ_ONLY, false);
  property.verdict = false;
  LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0004 00000000"_hex, false), 0);
  EXPECT_EQ(property.asked, 0);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingProperty, ReadOnlyIsRefusedSilentlyBeforeTheValueIsAsked) {
  Asked property(5, "p", READ_ONLY, false);
  property.verdict = false;
  LogCapture log;
  EXPECT_EQ(check(property, "00000005 01 0004 00000000"_hex, true), 10);
  EXPECT_EQ(property.asked, 0);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingProperty, EveryAccessTypeButOneIsWritable) {
  for (const unsigned int access : {0U, 2U, 3U, 0x101U, 0x80000001U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(access);
    Asked property(5, "p", static_cast<IfcCardVarAccessType>(access), false);
    EXPECT_EQ(check(property, "00000005 01 0004 00000000"_hex, true), 0);
    EXPECT_EQ(property.asked, 1);
  }
}

TEST(ReadingProperty, ValueIsAskedWithItsPlaceAndTheReceivedLength) {
  Asked property(5, "p", WRITABLE, false);
  property.type = 9;
  const ExactBlock tlv("00000005 09 0003 414243"_hex);
  LogCapture log(3);
  EXPECT_EQ(property.checkBuffer(tlv.data(), true), 0);
  EXPECT_EQ(property.at, tlv.data() + 7);
  EXPECT_EQ(property.askedLength, 3);
  EXPECT_EQ(log.lines().size(), 0U);
  property.verdict = false;
  EXPECT_EQ(property.checkBuffer(tlv.data(), true), 9);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (checkBuffer) - [p] checkbuffer invalid value detected, value has len 3"});
}

TEST(ReadingProperty, CheckChangesNoProperty) {
  TypeProperty<unsigned int> property(5, "p", WRITABLE, 1U, true);
  EXPECT_EQ(check(property, "00000005 01 0004 00000002"_hex, true), 0);
  EXPECT_EQ(property.value, 1U);
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingProperty, ReadOnlyIsNoMatterForTheApplicationsOwnSetter) {
  TypeProperty<unsigned int> property(5, "p", READ_ONLY, 1U, true);
  LogCapture log;
  property.set(2U);
  EXPECT_EQ(property.value, 2U);
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingProperty, EveryKindRefusesTheAccessorsOfOthers) {
  TypeProperty<unsigned long long> u64(7, "u64", WRITABLE, 1);
  TypeProperty<unsigned int> u32(7, "u32", WRITABLE, 1);
  TypeProperty<unsigned short> u16(7, "u16", WRITABLE, 1);
  TypeProperty<unsigned char> u8(7, "u8", WRITABLE, 1);
  TypeProperty<long long> i64(7, "i64", WRITABLE, 1);
  TypeProperty<int> i32(7, "i32", WRITABLE, 1);
  TypeProperty<short> i16(7, "i16", WRITABLE, 1);
  TypeProperty<signed char> i8(7, "i8", WRITABLE, 1);
  TypeProperty<bool> flag(7, "flag", WRITABLE, true);
  StringProperty text(7, "text", WRITABLE, "x");
  ArrayProperty bytes(7, "bytes", WRITABLE, true);
  MacAddressProperty mac(7, "mac", WRITABLE, std::string(), true);
  IpAddressProperty ip(7, "ip", WRITABLE, 1U, true);
  UnixTimeProperty time(7, "time", WRITABLE, 1, true);
  const struct {
    TrelProperty& property;
    const char* getter;
    const char* setter;
  } rows[] = {{u64, "uint64_t", "uint64_t"},
              {u32, "uint32_t", "uint32_t"},
              {u16, "uint16_t", "uint16_t"},
              {u8, "uint8_t", "uint8_t"},
              {i64, "int64_t", "int64_t"},
              {i32, "int32_t", "int32_t"},
              {i16, "int16_t", "int16_t"},
              {i8, "int8_t", "int8_t"},
              {flag, "bool", "bool"},
              {text, "std::string", "std::string"},
              {bytes, "array of uint8_t", "array of uint8_t"},
              {mac, "uint8_t", "array of uint8_t"},
              {ip, "uint32_t", "uint32_t"},
              {time, "int64_t", "int64_t"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.property.name);
    expectOtherAccessorsRefused(row.property, row.getter, row.setter, "(property 7, row 0)");
    EXPECT_FALSE(row.property.eventPending);
  }
}
