// Numbers on the wire: OID, type, length and value, all big-endian, in both directions.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

// The property as the bytes it sends into a block that is exactly large enough.
std::string sent(TrelProperty& property) {
  ExactBlock block(static_cast<std::size_t>(7 + property.length()));
  const int written = property.serialize(block.data(), block.length());
  EXPECT_EQ(written, block.length());
  return asText(block.view());
}

// From a block that ends where the TLV ends.
int receive(TrelProperty& property, std::string_view tlv) {
  const ExactBlock block(tlv);
  return property.deserialize(block.data());
}

// A number of another type code than its type's.
template <typename T>
class Recoded : public TypeProperty<T> {
 public:
  Recoded(int code, T def) : TypeProperty<T>(0x10800005, "recoded", IFC_CARD_VAR_READ_WRITE, def, true), code_(code) {}
  int getType() override { return code_; }

 private:
  int code_;
};

// The same TLV taken both ways: sent by a property that holds the value, received by one that does not.
template <typename T>
void expectOnTheWire(T value, T other, std::string_view tlv) {
  SCOPED_TRACE(asText(tlv));
  TypeProperty<T> sender(0x10800005, "sender", IFC_CARD_VAR_READ_WRITE, value);
  EXPECT_EQ(sent(sender), asText(tlv));
  TypeProperty<T> receiver(0x10800005, "receiver", IFC_CARD_VAR_READ_WRITE, other);
  EXPECT_EQ(receive(receiver, tlv), static_cast<int>(tlv.size()));
  T received = other;
  receiver.get(&received);
  EXPECT_EQ(received, value);
}

// ----- bytes of every member -------------------------------------------------------------------------------------------

TEST(NumericWire, UnsignedLongLong) {
  expectOnTheWire<unsigned long long>(0x0102030405060708, 0, "10800005 00 0008 0102030405060708"_hex);
  expectOnTheWire<unsigned long long>(0xFFFFFFFFFFFFFFFF, 0, "10800005 00 0008 FFFFFFFFFFFFFFFF"_hex);
  expectOnTheWire<unsigned long long>(0x8000000000000000, 0, "10800005 00 0008 8000000000000000"_hex);
  expectOnTheWire<unsigned long long>(0, 7, "10800005 00 0008 0000000000000000"_hex);
}

TEST(NumericWire, UnsignedInt) {
  expectOnTheWire<unsigned int>(0x01020304, 0, "10800005 01 0004 01020304"_hex);
  expectOnTheWire<unsigned int>(0xFFFFFFFF, 0, "10800005 01 0004 FFFFFFFF"_hex);
  expectOnTheWire<unsigned int>(0, 7, "10800005 01 0004 00000000"_hex);
}

TEST(NumericWire, UnsignedShort) {
  expectOnTheWire<unsigned short>(0x0102, 0, "10800005 02 0002 0102"_hex);
  expectOnTheWire<unsigned short>(0xFF80, 0, "10800005 02 0002 FF80"_hex);
  expectOnTheWire<unsigned short>(0, 7, "10800005 02 0002 0000"_hex);
}

TEST(NumericWire, UnsignedChar) {
  expectOnTheWire<unsigned char>(0x01, 0, "10800005 03 0001 01"_hex);
  expectOnTheWire<unsigned char>(0x80, 0, "10800005 03 0001 80"_hex);
  expectOnTheWire<unsigned char>(0xFF, 0, "10800005 03 0001 FF"_hex);
}

TEST(NumericWire, LongLong) {
  expectOnTheWire<long long>(-2, 0, "10800005 04 0008 FFFFFFFFFFFFFFFE"_hex);
  expectOnTheWire<long long>(0x0102030405060708, 0, "10800005 04 0008 0102030405060708"_hex);
  expectOnTheWire<long long>(std::numeric_limits<long long>::min(), 0, "10800005 04 0008 8000000000000000"_hex);
  expectOnTheWire<long long>(-4294967296, 0, "10800005 04 0008 FFFFFFFF00000000"_hex);
}

TEST(NumericWire, Int) {
  expectOnTheWire<int>(-2, 0, "10800005 05 0004 FFFFFFFE"_hex);
  expectOnTheWire<int>(0x01020304, 0, "10800005 05 0004 01020304"_hex);
  expectOnTheWire<int>(std::numeric_limits<int>::min(), 0, "10800005 05 0004 80000000"_hex);
}

TEST(NumericWire, Short) {
  expectOnTheWire<short>(-2, 0, "10800005 06 0002 FFFE"_hex);
  expectOnTheWire<short>(0x0102, 0, "10800005 06 0002 0102"_hex);
  expectOnTheWire<short>(std::numeric_limits<short>::min(), 0, "10800005 06 0002 8000"_hex);
}

TEST(NumericWire, SignedChar) {
  expectOnTheWire<signed char>(-2, 0, "10800005 07 0001 FE"_hex);
  expectOnTheWire<signed char>(1, 0, "10800005 07 0001 01"_hex);
  expectOnTheWire<signed char>(-128, 0, "10800005 07 0001 80"_hex);
}

TEST(NumericWire, Bool) {
  expectOnTheWire<bool>(true, false, "10800005 08 0001 01"_hex);
  expectOnTheWire<bool>(false, true, "10800005 08 0001 00"_hex);
}

// ----- serialize -------------------------------------------------------------------------------------------------------

TEST(NumericWire, NumberOutsideAnyObjectIsSentUnderItsIdAndFillsElevenBytes) {
  TypeProperty<unsigned int> property(0x00000007, "uptime", IFC_CARD_VAR_READ_WRITE, 5U);
  ExactBlock block(11);
  EXPECT_EQ(property.serialize(block.data(), 11), 11);
  EXPECT_EQ(asText(block.view()), "00 00 00 07 01 00 04 00 00 00 05");
}

TEST(NumericWire, TenBytesAreTooFewForA32BitNumberAndNothingIsWritten) {
  TypeProperty<unsigned int> property(0x00000007, "uptime", IFC_CARD_VAR_READ_WRITE, 5U);
  ExactBlock block(10);
  const LogCapture log;
  EXPECT_EQ(property.serialize(block.data(), 10), -1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 A5 A5");
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (serialize) - [uptime] serializing buffer has not enough space left"});
}

template <typename T>
void expectNeeds(int size) {
  // Alone, and in an object, whose properties are written in a shorter way.
  auto* const alone = new TypeProperty<T>(1, "small", IFC_CARD_VAR_READ_WRITE, static_cast<T>(1));
  const std::unique_ptr<TrelProperty> owned(alone);
  TrelScalar object("object", 1, true);
  auto* const held = new TypeProperty<T>(1, "small", IFC_CARD_VAR_READ_WRITE, static_cast<T>(1));
  object.addProp(held, 0);
  for (TrelProperty* property : {alone, held}) {
    SCOPED_TRACE(std::to_string(size) + (property == held ? " in an object" : ""));
    LogCapture log;
    ExactBlock enough(static_cast<std::size_t>(size));
    EXPECT_EQ(property->serialize(enough.data(), size), size);
    EXPECT_EQ(log.brief(), Lines{});
    for (int less = 1; less <= size; ++less) {
      log.clear();
      ExactBlock tooSmall(static_cast<std::size_t>(size - less));
      EXPECT_EQ(property->serialize(tooSmall.data(), size - less), -1);
      EXPECT_EQ(tooSmall.view(), std::string(static_cast<std::size_t>(size - less), '\xA5'));
      EXPECT_EQ(log.brief(3),
                Lines{"3 [ERROR] trelProperty (serialize) - [small] serializing buffer has not enough space left"});
    }
  }
}

TEST(NumericWire, EveryMemberNeedsSevenBytesAndItsLength) {
  expectNeeds<unsigned long long>(15);
  expectNeeds<unsigned int>(11);
  expectNeeds<unsigned short>(9);
  expectNeeds<unsigned char>(8);
  expectNeeds<long long>(15);
  expectNeeds<int>(11);
  expectNeeds<short>(9);
  expectNeeds<signed char>(8);
  expectNeeds<bool>(8);
}

TEST(NumericWire, NoSpaceAtAllAndANegativeSizeAreTooSmall) {
  TypeProperty<unsigned char> property(1, "small", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned char>(1));
  const LogCapture log;
  EXPECT_EQ(property.serialize(nullptr, 0), -1);
  EXPECT_EQ(property.serialize(nullptr, -1), -1);
  EXPECT_EQ(property.serialize(nullptr, std::numeric_limits<int>::min()), -1);
  EXPECT_EQ(log.count("serializing buffer has not enough space left"), 3U);
}

TEST(NumericWire, LineOfATooSmallBufferIsWrittenAboveLevelTwoOnly) {
  TypeProperty<unsigned int> property(1, "small", IFC_CARD_VAR_READ_WRITE, 1U);
  LogCapture log(2);
  EXPECT_EQ(property.serialize(nullptr, 0), -1);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(property.serialize(nullptr, 0), -1);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(NumericWire, LargerBufferIsFilledNoFurtherThanTheValue) {
  TypeProperty<unsigned short> property(0x01020304, "level", IFC_CARD_VAR_READ_WRITE,
                                        static_cast<unsigned short>(0x1122));
  ExactBlock block(12);
  EXPECT_EQ(property.serialize(block.data(), 12), 9);
  EXPECT_EQ(asText(block.view()), "01 02 03 04 02 00 02 11 22 A5 A5 A5");
}

TEST(NumericWire, BufferMayLieAtAnyAddress) {
  TypeProperty<unsigned long long> property(0x01020304, "total", IFC_CARD_VAR_READ_WRITE, 0x1122334455667788ULL);
  for (std::size_t offset = 0; offset < 8; ++offset) {
    SCOPED_TRACE(offset);
    ExactBlock block(offset + 15);
    EXPECT_EQ(property.serialize(block.data() + offset, 15), 15);
    EXPECT_EQ(asText(block.view().substr(offset)), "01 02 03 04 00 00 08 11 22 33 44 55 66 77 88");
  }
}

TEST(NumericWire, PropertyOfATableIsSentUnderTheOidThatTheTableComposes) {
  TrelTable table("ports", 3, true, 8);
  auto* const property = new TypeProperty<short>(2, "level", IFC_CARD_VAR_READ_WRITE, static_cast<short>(-1));
  ASSERT_TRUE(table.addProp(property, 7));
  EXPECT_EQ(sent(*property), "50 C0 80 07 06 00 02 FF FF");
}

TEST(NumericWire, CurrentValueIsSentNotTheDefault) {
  TypeProperty<unsigned int> property(1, "uptime", IFC_CARD_VAR_READ_WRITE, 5U);
  property.set(6U);
  EXPECT_EQ(sent(property), "00 00 00 01 01 00 04 00 00 00 06");
}

TEST(NumericWire, SendingChangesNothing) {
  TypeProperty<unsigned int> property(1, "uptime", IFC_CARD_VAR_READ_WRITE, 5U, true);
  property.set(6U);
  sent(property);
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(property.value, 6U);
}

TEST(NumericWire, TypeCodeIsWhatGetTypeSays) {
  Recoded<unsigned int> address(10, 0xC0A80001);
  EXPECT_EQ(sent(address), "10 80 00 05 0A 00 04 C0 A8 00 01");
}

TEST(NumericWire, LengthThatASubclassClaimsIsFilledAndNeverExceeded) {
  class Resized : public TypeProperty<unsigned int> {
   public:
    explicit Resized(int itsLength)
        : TypeProperty<unsigned int>(0x10800005, "resized", IFC_CARD_VAR_READ_WRITE, 0x11223344U), length_(itsLength) {}
    int length() override { return length_; }

   private:
    int length_;
  };
  Resized longer(6);
  ExactBlock thirteen(13);
  EXPECT_EQ(longer.serialize(thirteen.data(), 13), 13);
  EXPECT_EQ(asText(thirteen.view()), "10 80 00 05 01 00 06 11 22 33 44 00 00");
  ExactBlock twelve(12);
  EXPECT_EQ(longer.serialize(twelve.data(), 12), -1);
  Resized empty(0);
  ExactBlock seven(7);
  EXPECT_EQ(empty.serialize(seven.data(), 7), 7);
  EXPECT_EQ(asText(seven.view()), "10 80 00 05 01 00 00");
}

// ----- deserialize -----------------------------------------------------------------------------------------------------

TEST(NumericWire, ReceivingReturnsSevenAndTheLengthFieldWhateverTheWidth) {
  TypeProperty<unsigned int> property(0x10800005, "uptime", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_EQ(receive(property, "10800005 01 0002 01020304"_hex), 9);
  EXPECT_EQ(property.value, 0x01020304U);
  EXPECT_EQ(receive(property, "10800005 01 0102 05060708"_hex), 265);
  EXPECT_EQ(property.value, 0x05060708U);
  EXPECT_EQ(receive(property, "10800005 01 FFFF 090A0B0C"_hex), 65542);
  EXPECT_EQ(property.value, 0x090A0B0CU);
}

TEST(NumericWire, ReceivingAsksNothingAgain) {
  TypeProperty<int> property(1, "offset", IFC_CARD_VAR_READ_ONLY, 3, new RangeCheckValue<int>(1, 10));
  const LogCapture log;
  EXPECT_EQ(receive(property, "7FFFFFFF 09 0004 0000000B"_hex), 11);
  EXPECT_EQ(property.value, 11);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(NumericWire, ReceivingRaisesNoEventAndKeepsOneThatWaits) {
  TypeProperty<unsigned int> property(0x10800005, "alarm", IFC_CARD_VAR_READ_WRITE, 0U, true);
  receive(property, "10800005 01 0004 00000001"_hex);
  EXPECT_FALSE(property.eventPending);
  property.set(2U);
  receive(property, "10800005 01 0004 00000003"_hex);
  EXPECT_TRUE(property.eventPending);
}

TEST(NumericWire, ReceivingNotifiesNoObject) {
  class Watched : public TrelScalar {
   public:
    Watched() : TrelScalar("watched", 1, false) {}
    bool update(TrelProperty*, unsigned int) override { return ++calls > 0; }
    bool updated(TrelProperty*, unsigned int) override { return ++calls > 0; }
    int calls = 0;
  } object;
  auto* const property = new TypeProperty<unsigned int>(5, "uptime", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(object.addProp(property, 0));
  receive(*property, "00800005 01 0004 00000001"_hex);
  sent(*property);
  property->set(9U);
  property->setToDefault();
  EXPECT_EQ(object.calls, 0);
}

TEST(NumericWire, ReceivingKeepsTheDefault) {
  TypeProperty<unsigned int> property(1, "uptime", IFC_CARD_VAR_READ_WRITE, 5U);
  receive(property, "00000001 01 0004 00000009"_hex);
  EXPECT_EQ(property.defaultValue, 5U);
  EXPECT_FALSE(property.isDefault());
}

TEST(NumericWire, TlvMayLieAtAnyAddress) {
  TypeProperty<unsigned long long> property(1, "total", IFC_CARD_VAR_READ_WRITE, 0ULL);
  for (std::size_t offset = 0; offset < 8; ++offset) {
    SCOPED_TRACE(offset);
    property.set(0ULL);
    const ExactBlock block(std::string(offset, '\0') + "00000001 00 0008 1122334455667788"_hex);
    EXPECT_EQ(property.deserialize(block.data() + offset), 15);
    EXPECT_EQ(property.value, 0x1122334455667788U);
  }
}

// ----- deserialize under another type code -----------------------------------------------------------------------------

TEST(NumericWire, CodesZeroAndFourReadEightBytes) {
  for (const int code : {0, 4}) {
    SCOPED_TRACE(code);
    Recoded<unsigned long long> unsignedOne(code, 0);
    EXPECT_EQ(receive(unsignedOne, "10800005 00 0008 F122334455667788"_hex), 15);
    EXPECT_EQ(unsignedOne.value, 0xF122334455667788U);
    Recoded<long long> signedOne(code, 0);
    EXPECT_EQ(receive(signedOne, "10800005 00 0008 FFFFFFFFFFFFFFFE"_hex), 15);
    EXPECT_EQ(signedOne.value, -2);
  }
}

TEST(NumericWire, CodesOneFiveAndTenReadFourBytes) {
  for (const int code : {1, 5, 10}) {
    SCOPED_TRACE(code);
    Recoded<unsigned int> unsignedOne(code, 0);
    EXPECT_EQ(receive(unsignedOne, "10800005 00 0004 F1223344"_hex), 11);
    EXPECT_EQ(unsignedOne.value, 0xF1223344U);
    Recoded<int> signedOne(code, 0);
    EXPECT_EQ(receive(signedOne, "10800005 00 0004 FFFFFFFE"_hex), 11);
    EXPECT_EQ(signedOne.value, -2);
  }
}

TEST(NumericWire, CodesTwoAndSixReadTwoBytes) {
  for (const int code : {2, 6}) {
    SCOPED_TRACE(code);
    Recoded<unsigned short> unsignedOne(code, 0);
    EXPECT_EQ(receive(unsignedOne, "10800005 00 0002 F122"_hex), 9);
    EXPECT_EQ(unsignedOne.value, 0xF122);
    Recoded<short> signedOne(code, 0);
    EXPECT_EQ(receive(signedOne, "10800005 00 0002 FFFE"_hex), 9);
    EXPECT_EQ(signedOne.value, -2);
  }
}

TEST(NumericWire, CodesThreeSevenAndEightReadOneByte) {
  for (const int code : {3, 7, 8}) {
    SCOPED_TRACE(code);
    Recoded<unsigned char> unsignedOne(code, 0);
    EXPECT_EQ(receive(unsignedOne, "10800005 00 0001 F1"_hex), 8);
    EXPECT_EQ(unsignedOne.value, 0xF1);
    Recoded<signed char> signedOne(code, 0);
    EXPECT_EQ(receive(signedOne, "10800005 00 0001 FE"_hex), 8);
    EXPECT_EQ(signedOne.value, -2);
    Recoded<bool> flag(code, false);
    EXPECT_EQ(receive(flag, "10800005 00 0001 FE"_hex), 8);
    EXPECT_EQ(flag.value, 0xFE);
  }
}

TEST(NumericWire, WidthFollowsTheCodeNotTheTypeOfTheValue) {
  Recoded<unsigned long long> narrow(2, 0);
  EXPECT_EQ(receive(narrow, "10800005 02 0002 1122"_hex), 9);
  EXPECT_EQ(narrow.value, 0x1122U);
  Recoded<unsigned long long> byte(8, 0);
  EXPECT_EQ(receive(byte, "10800005 08 0001 FE"_hex), 8);
  EXPECT_EQ(byte.value, 0xFEU);
}

TEST(NumericWire, AnyOtherCodeLeavesTheValueWithALineAndStillTellsTheLength) {
  for (const int code : {9, 11, 12, 13, 14, 15, 255, 256, -1, 0x7FFFFFFF}) {
    SCOPED_TRACE(code);
    Recoded<unsigned int> property(code, 7);
    const LogCapture log;
    EXPECT_EQ(receive(property, "10800005 01 0104"_hex), 267);
    EXPECT_EQ(property.value, 7U);
    EXPECT_FALSE(property.eventPending);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (deserialize) - [recoded] type deserializing is not handled ok!"});
  }
}

TEST(NumericWire, LineOfAnUnhandledCodeIsWrittenAboveLevelTwoOnly) {
  Recoded<unsigned int> property(9, 7);
  LogCapture log(2);
  EXPECT_EQ(receive(property, "10800005 09 0004"_hex), 11);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(receive(property, "10800005 09 0004"_hex), 11);
  EXPECT_EQ(log.brief().size(), 1U);
}

// The operations of the template are written in the header, and that is where their lines are found.
TEST(NumericWire, LinesOfTheTemplateComeFromTheHeader) {
  Recoded<unsigned int> property(9, 7);
  const LogCapture log;
  property.serialize(nullptr, 0);
  receive(property, "10800005 09 0004"_hex);
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.h");
  EXPECT_GT(log.lines()[0].line, 0);
  EXPECT_EQ(log.lines()[1].file, "components/trel/trelProperty.h");
  EXPECT_NE(log.lines()[0].line, log.lines()[1].line);
}

}  // namespace

TEST(NumericWire, ACodeThatIsNoNumbersLeavesTheValueAsItIsWhenTheCodeHasBeenAsked) {
  struct Setting : TypeProperty<unsigned int> {
    using TypeProperty<unsigned int>::TypeProperty;
    int getType() override {
      set(77U);
      return TREL_TYPE_STRING;
    }
  };
  Setting property(1, "setting", IFC_CARD_VAR_READ_WRITE, 1U);
  const LogCapture log;
  EXPECT_EQ(property.deserialize("00000001 01 0004 00000007"_hex.data()), 11);
  EXPECT_EQ(property.value, 77U);
}
