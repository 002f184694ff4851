// Value checks: who asks them, with what, who owns them, and the range check that the system provides.

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

// Keeps what it is asked about, answers as told, and tells of its end.
template <typename T>
class ProbeCheck : public TypeProperty<T>::TypeValueCheck {
 public:
  struct Record {
    std::vector<T> asked;
    bool verdict = true;
    int destroyed = 0;
  };
  explicit ProbeCheck(Record& itsRecord) : record_(itsRecord) {}
  ~ProbeCheck() override { ++record_.destroyed; }
  bool checkValue(T value) override {
    record_.asked.push_back(value);
    return record_.verdict;
  }

 private:
  Record& record_;
};

// A number of another type code than its type's, with a check.
template <typename T>
class Recoded : public TypeProperty<T> {
 public:
  Recoded(int code, typename TypeProperty<T>::TypeValueCheck* check)
      : TypeProperty<T>(1, "recoded", IFC_CARD_VAR_READ_WRITE, static_cast<T>(0), check), code_(code) {}
  int getType() override { return code_; }

 private:
  int code_;
};

bool valid(TrelProperty& property, std::string_view value) {
  const ExactBlock block(value);
  return property.validValue(block.data(), block.length());
}

// ----- validValue ------------------------------------------------------------------------------------------------------

TEST(NumericCheck, WithoutACheckEveryByteIsValid) {
  const LogCapture log;
  TypeProperty<unsigned int> property(1, "free", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_TRUE(valid(property, "00000000"_hex));
  EXPECT_TRUE(valid(property, "FFFFFFFF"_hex));
  EXPECT_TRUE(valid(property, ""_hex));
  EXPECT_TRUE(property.validValue(nullptr, 4));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(NumericCheck, WithoutACheckTheTypeCodeIsNotAsked) {
  const LogCapture log;
  Recoded<unsigned int> property(9, nullptr);
  EXPECT_TRUE(valid(property, ""_hex));
  EXPECT_EQ(log.brief(), Lines{});
}

template <typename T>
void expectAskedAbout(std::string_view value, T expected) {
  SCOPED_TRACE(asText(value));
  typename ProbeCheck<T>::Record record;
  TypeProperty<T> property(1, "checked", IFC_CARD_VAR_READ_WRITE, static_cast<T>(0), new ProbeCheck<T>(record));
  EXPECT_TRUE(valid(property, value));
  EXPECT_EQ(record.asked, std::vector<T>{expected});
  record.verdict = false;
  EXPECT_FALSE(valid(property, value));
  EXPECT_EQ(property.value, static_cast<T>(0));
}

TEST(NumericCheck, EveryMemberAsksItsCheckAboutTheDecodedValue) {
  expectAskedAbout<unsigned long long>("F122334455667788"_hex, 0xF122334455667788);
  expectAskedAbout<unsigned int>("F1223344"_hex, 0xF1223344);
  expectAskedAbout<unsigned short>("F122"_hex, 0xF122);
  expectAskedAbout<unsigned char>("F1"_hex, 0xF1);
  expectAskedAbout<long long>("FFFFFFFFFFFFFFFE"_hex, -2);
  expectAskedAbout<int>("FFFFFFFE"_hex, -2);
  expectAskedAbout<short>("FFFE"_hex, -2);
  expectAskedAbout<signed char>("FE"_hex, -2);
  expectAskedAbout<bool>("01"_hex, true);
}

TEST(NumericCheck, LengthIsNotConsulted) {
  ProbeCheck<unsigned int>::Record record;
  TypeProperty<unsigned int> property(1, "checked", IFC_CARD_VAR_READ_WRITE, 0U, new ProbeCheck<unsigned int>(record));
  const ExactBlock block("01020304"_hex);
  for (const int length : {0, 1, 4, 65535, -1})
    EXPECT_TRUE(property.validValue(block.data(), length));
  EXPECT_EQ(record.asked, std::vector<unsigned int>(5, 0x01020304));
}

TEST(NumericCheck, ValueMayLieAtAnyAddress) {
  ProbeCheck<long long>::Record record;
  TypeProperty<long long> property(1, "checked", IFC_CARD_VAR_READ_WRITE, 0LL, new ProbeCheck<long long>(record));
  for (std::size_t offset = 0; offset < 8; ++offset) {
    const ExactBlock block(std::string(offset, '\0') + "FFFFFFFFFFFFFFFE"_hex);
    EXPECT_TRUE(property.validValue(block.data() + offset, 8));
  }
  EXPECT_EQ(record.asked, std::vector<long long>(8, -2));
}

TEST(NumericCheck, WidthFollowsTheTypeCode) {
  ProbeCheck<unsigned long long>::Record record;
  struct Case {
    int code;
    std::string value;
    unsigned long long decoded;
  };
  const Case cases[] = {{0, "0102030405060708"_hex, 0x0102030405060708},
                        {4, "0102030405060708"_hex, 0x0102030405060708},
                        {1, "01020304"_hex, 0x01020304},
                        {5, "01020304"_hex, 0x01020304},
                        {10, "01020304"_hex, 0x01020304},
                        {2, "0102"_hex, 0x0102},
                        {6, "0102"_hex, 0x0102},
                        {3, "01"_hex, 1},
                        {7, "01"_hex, 1},
                        {8, "02"_hex, 2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    record.asked.clear();
    Recoded<unsigned long long> property(c.code, new ProbeCheck<unsigned long long>(record));
    EXPECT_TRUE(valid(property, c.value));
    EXPECT_EQ(record.asked, std::vector<unsigned long long>{c.decoded});
  }
}

TEST(NumericCheck, AnyOtherCodeIsRefusedWithALineAndWithoutAskingTheCheck) {
  for (const int code : {9, 11, 12, 13, 14, 15, 255, 256, 0x7FFFFFFF}) {
    SCOPED_TRACE(code);
    ProbeCheck<unsigned int>::Record record;
    Recoded<unsigned int> property(code, new ProbeCheck<unsigned int>(record));
    const LogCapture log;
    EXPECT_FALSE(valid(property, ""_hex));
    EXPECT_TRUE(record.asked.empty());
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (validValue) - [recoded] type deserializing is not handled ok!"});
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.h");
  }
}

TEST(NumericCheck, LineOfAnUnhandledCodeIsWrittenAboveLevelTwoOnly) {
  ProbeCheck<unsigned int>::Record record;
  Recoded<unsigned int> property(11, new ProbeCheck<unsigned int>(record));
  LogCapture log(2);
  EXPECT_FALSE(valid(property, ""_hex));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(valid(property, ""_hex));
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(NumericCheck, UnhandledCodeIsAWrongValueForCheckBuffer) {
  ProbeCheck<unsigned int>::Record record;
  Recoded<unsigned int> property(11, new ProbeCheck<unsigned int>(record));
  const LogCapture log;
  const ExactBlock tlv("00000001 0B 0004 00000005"_hex);
  EXPECT_EQ(property.checkBuffer(tlv.data(), true), 9);
  EXPECT_EQ(
      log.brief(),
      (Lines{"3 [ERROR] trelProperty (validValue) - [recoded] type deserializing is not handled ok!",
             "3 [ERROR] trelProperty (checkBuffer) - [recoded] checkbuffer invalid value detected, value has len 4"}));
}

// ----- the line before a check is asked --------------------------------------------------------------------------------

TEST(NumericCheck, LineBeforeTheCheckIsTaggedWithTheWholeTextAndItsNewline) {
  ProbeCheck<unsigned int>::Record record;
  TypeProperty<unsigned int> property(7, "speed", IFC_CARD_VAR_READ_WRITE, 1U, new ProbeCheck<unsigned int>(record),
                                      true);
  const LogCapture log;
  EXPECT_TRUE(valid(property, "00000002"_hex));
  EXPECT_EQ(log.brief(),
            Lines{"7 [DEBUG2] trelProperty (validValue) - [  7 |                                    speed :     "
                  "               1  (def = 1, eventable)\n] will be checked for valid value"});
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.h");
}

class CountsItsTexts : public TypeProperty<int> {
 public:
  explicit CountsItsTexts(TypeValueCheck* check) : TypeProperty<int>(7, "speed", IFC_CARD_VAR_READ_WRITE, 1, check) {}
  std::string str() const override {
    ++texts;
    return "text of the application";
  }
  mutable int texts = 0;
};

TEST(NumericCheck, LineBeforeTheCheckIsWrittenAboveLevelSevenOnlyAndBelowNoTextIsBuilt) {
  ProbeCheck<int>::Record record;
  CountsItsTexts property(new ProbeCheck<int>(record));
  LogCapture log(7);
  EXPECT_TRUE(valid(property, "00000002"_hex));
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(property.texts, 0);
  log.setLevel(8);
  EXPECT_TRUE(valid(property, "00000002"_hex));
  EXPECT_EQ(log.brief(),
            Lines{"7 [DEBUG2] trelProperty (validValue) - [text of the application] will be checked for valid "
                  "value"});
  EXPECT_EQ(property.texts, 1);
  EXPECT_EQ(record.asked.size(), 2U);
}

TEST(NumericCheck, LineBeforeTheCheckComesBeforeTheChecksOwn) {
  CountsItsTexts property(new RangeCheckValue<int>(1, 10));
  const LogCapture log;
  EXPECT_FALSE(valid(property, "0000000B"_hex));
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG2] trelProperty (validValue) - [text of the application] will be checked for valid "
                   "value",
                   "7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:1 and max:10 and "
                   "value 11"}));
}

// ----- RangeCheckValue -------------------------------------------------------------------------------------------------

// The number is decoded before the line, whose text may be an application's own; its code is asked once.
TEST(NumericCheck, TheValueIsDecodedBeforeTheLineIsWritten) {
  struct Changing : TypeProperty<unsigned int> {
    explicit Changing(TypeValueCheck* check)
        : TypeProperty<unsigned int>(1, "changing", IFC_CARD_VAR_READ_WRITE, 0U, check) {}
    int getType() override {
      ++asked;
      return code;
    }
    std::string str() const override {
      code = TREL_TYPE_UINT8;
      return "text\n";
    }
    mutable int code = TREL_TYPE_UINT32;
    int asked = 0;
  };
  ProbeCheck<unsigned int>::Record record;
  Changing property(new ProbeCheck<unsigned int>(record));
  const LogCapture log;
  EXPECT_TRUE(property.validValue("00000107"_hex.data(), 4));
  EXPECT_EQ(record.asked, std::vector<unsigned int>{263});
  EXPECT_EQ(property.asked, 1);
}

TEST(RangeCheck, OneToTenAcceptsOneAndTenAndRefusesZeroAndEleven) {
  RangeCheckValue<int> check(1, 10);
  EXPECT_TRUE(check.checkValue(1));
  EXPECT_TRUE(check.checkValue(10));
  EXPECT_FALSE(check.checkValue(0));
  EXPECT_FALSE(check.checkValue(11));
}

template <typename T>
void expectRange(T min, T max) {
  SCOPED_TRACE(sizeof(T));
  RangeCheckValue<T> check(min, max);
  EXPECT_TRUE(check.checkValue(min));
  EXPECT_TRUE(check.checkValue(max));
  EXPECT_TRUE(check.checkValue(static_cast<T>(min + 1)));
  EXPECT_FALSE(check.checkValue(static_cast<T>(min - 1)));
  EXPECT_FALSE(check.checkValue(static_cast<T>(max + 1)));
  EXPECT_FALSE(check.checkValue(std::numeric_limits<T>::max()));
  RangeCheckValue<T> everything(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
  EXPECT_TRUE(everything.checkValue(std::numeric_limits<T>::min()));
  EXPECT_TRUE(everything.checkValue(std::numeric_limits<T>::max()));
  EXPECT_TRUE(everything.checkValue(0));
}

TEST(RangeCheck, EveryMemberHasItWithBothEndsIncluded) {
  expectRange<unsigned long long>(0x100000000, 0x8000000000000000);
  expectRange<unsigned int>(5, 0x80000000);
  expectRange<unsigned short>(5, 0x8000);
  expectRange<unsigned char>(5, 0x80);
  expectRange<long long>(-0x100000000, 0x100000000);
  expectRange<int>(-70000, 70000);
  expectRange<short>(-300, 300);
  expectRange<signed char>(-100, 100);
}

TEST(RangeCheck, SignedNumbersAreComparedAsSigned) {
  RangeCheckValue<signed char> check(-5, 5);
  EXPECT_TRUE(check.checkValue(-1));
  EXPECT_FALSE(check.checkValue(-6));
  EXPECT_FALSE(check.checkValue(-128));
}

TEST(RangeCheck, MinimumAboveMaximumRefusesEveryValue) {
  RangeCheckValue<int> check(10, 1);
  for (const int value : {0, 1, 5, 10, 11})
    EXPECT_FALSE(check.checkValue(value));
}

TEST(RangeCheck, OneValueAlone) {
  RangeCheckValue<unsigned short> check(7, 7);
  EXPECT_TRUE(check.checkValue(7));
  EXPECT_FALSE(check.checkValue(6));
  EXPECT_FALSE(check.checkValue(8));
}

TEST(RangeCheck, LeavesALineWithTheThreeNumbersWhetherItAcceptsOrRefuses) {
  RangeCheckValue<int> check(1, 10);
  const LogCapture log;
  check.checkValue(5);
  check.checkValue(-11);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:1 and max:10 and "
                   "value 5",
                   "7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:1 and max:10 and "
                   "value -11"}));
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProperty.h");
}

TEST(RangeCheck, LineIsWrittenAboveLevelSixOnly) {
  RangeCheckValue<int> check(1, 10);
  LogCapture log(6);
  EXPECT_TRUE(check.checkValue(5));
  EXPECT_FALSE(check.checkValue(0));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(7);
  EXPECT_TRUE(check.checkValue(5));
  EXPECT_FALSE(check.checkValue(0));
  EXPECT_EQ(log.brief().size(), 2U);
}

template <typename T>
std::string lineOf(T min, T max, T value) {
  RangeCheckValue<T> check(min, max);
  const LogCapture log(7);
  check.checkValue(value);
  return log.lines().size() == 1 ? log.lines()[0].message : "not one line";
}

TEST(RangeCheck, LineOfEveryMemberPrintsDecimalNumbers) {
  EXPECT_EQ(lineOf<unsigned long long>(0, 18446744073709551615ULL, 1),
            "checking value is valid with min:0 and max:18446744073709551615 and value 1");
  EXPECT_EQ(lineOf<unsigned int>(0, 4294967295U, 2147483648U),
            "checking value is valid with min:0 and max:4294967295 and value 2147483648");
  EXPECT_EQ(lineOf<unsigned short>(0, 65535, 32768),
            "checking value is valid with min:0 and max:65535 and value 32768");
  EXPECT_EQ(lineOf<long long>(-9223372036854775807LL - 1, 0, -1),
            "checking value is valid with min:-9223372036854775808 and max:0 and value -1");
  EXPECT_EQ(lineOf<int>(-1, 1, -2147483647 - 1), "checking value is valid with min:-1 and max:1 and value -2147483648");
  EXPECT_EQ(lineOf<short>(-1, 1, -32768), "checking value is valid with min:-1 and max:1 and value -32768");
}

TEST(RangeCheck, EightBitNumbersStandInTheLineAsRawCharacters) {
  EXPECT_EQ(lineOf<unsigned char>('a', 'z', 'm'), "checking value is valid with min:a and max:z and value m");
  EXPECT_EQ(lineOf<signed char>('0', '9', 'x'), "checking value is valid with min:0 and max:9 and value x");
  EXPECT_EQ(lineOf<unsigned char>(1, 10, 0xE9), "checking value is valid with min:\x01 and max:\n and value \xE9");
  EXPECT_EQ(lineOf<signed char>(-1, 10, 7), "checking value is valid with min:\xFF and max:\n and value \a");
}

TEST(RangeCheck, EightBitZeroEndsTheLineBecauseItStandsThereAsARawCharacter) {
  EXPECT_EQ(lineOf<unsigned char>(0, 9, 5), "checking value is valid with min:");
  EXPECT_EQ(lineOf<signed char>('A', 'Z', 0), "checking value is valid with min:A and max:Z and value ");
}

TEST(RangeCheck, GuardsReceivedWritesOfEveryWidth) {
  const LogCapture log(2);
  TypeProperty<signed char> byte(1, "byte", IFC_CARD_VAR_READ_WRITE, static_cast<signed char>(0),
                                 new RangeCheckValue<signed char>(-1, 1));
  EXPECT_TRUE(valid(byte, "FF"_hex));
  EXPECT_FALSE(valid(byte, "FE"_hex));
  TypeProperty<unsigned char> unsignedByte(1, "byte", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned char>(0),
                                           new RangeCheckValue<unsigned char>(0, 0x7F));
  EXPECT_TRUE(valid(unsignedByte, "7F"_hex));
  EXPECT_FALSE(valid(unsignedByte, "80"_hex));
  TypeProperty<short> half(1, "half", IFC_CARD_VAR_READ_WRITE, static_cast<short>(0),
                           new RangeCheckValue<short>(-1, 1));
  EXPECT_TRUE(valid(half, "FFFF"_hex));
  EXPECT_FALSE(valid(half, "0100"_hex));
  TypeProperty<unsigned short> unsignedHalf(1, "half", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned short>(0),
                                            new RangeCheckValue<unsigned short>(0, 1));
  EXPECT_TRUE(valid(unsignedHalf, "0001"_hex));
  EXPECT_FALSE(valid(unsignedHalf, "FFFF"_hex));
  TypeProperty<int> word(1, "word", IFC_CARD_VAR_READ_WRITE, 0, new RangeCheckValue<int>(-1, 1));
  EXPECT_TRUE(valid(word, "FFFFFFFF"_hex));
  EXPECT_FALSE(valid(word, "80000000"_hex));
  TypeProperty<unsigned int> unsignedWord(1, "word", IFC_CARD_VAR_READ_WRITE, 0U,
                                          new RangeCheckValue<unsigned int>(0, 1));
  EXPECT_TRUE(valid(unsignedWord, "00000001"_hex));
  EXPECT_FALSE(valid(unsignedWord, "01000000"_hex));
  TypeProperty<long long> wide(1, "wide", IFC_CARD_VAR_READ_WRITE, 0LL, new RangeCheckValue<long long>(-1, 1));
  EXPECT_TRUE(valid(wide, "FFFFFFFFFFFFFFFF"_hex));
  EXPECT_FALSE(valid(wide, "FFFFFFFF00000000"_hex));
  TypeProperty<unsigned long long> unsignedWide(1, "wide", IFC_CARD_VAR_READ_WRITE, 0ULL,
                                                new RangeCheckValue<unsigned long long>(0, 1));
  EXPECT_TRUE(valid(unsignedWide, "0000000000000001"_hex));
  EXPECT_FALSE(valid(unsignedWide, "0000000100000000"_hex));
}

// ----- ownership -------------------------------------------------------------------------------------------------------

template <typename T>
void expectCheckDeletedOnce() {
  typename ProbeCheck<T>::Record record;
  {
    const TypeProperty<T> property(1, "owner", IFC_CARD_VAR_READ_WRITE, static_cast<T>(0), new ProbeCheck<T>(record));
    EXPECT_EQ(record.destroyed, 0);
  }
  EXPECT_EQ(record.destroyed, 1);
}

TEST(NumericCheck, PropertyDeletesItsCheck) {
  expectCheckDeletedOnce<unsigned long long>();
  expectCheckDeletedOnce<unsigned int>();
  expectCheckDeletedOnce<unsigned short>();
  expectCheckDeletedOnce<unsigned char>();
  expectCheckDeletedOnce<long long>();
  expectCheckDeletedOnce<int>();
  expectCheckDeletedOnce<short>();
  expectCheckDeletedOnce<signed char>();
  expectCheckDeletedOnce<bool>();
}

TEST(NumericCheck, CheckIsDeletedThroughTheBaseOfTheProperty) {
  ProbeCheck<int>::Record record;
  TrelProperty* const property =
      new TypeProperty<int>(1, "owner", IFC_CARD_VAR_READ_WRITE, 0, new ProbeCheck<int>(record), true);
  delete property;
  EXPECT_EQ(record.destroyed, 1);
}

TEST(NumericCheck, ObjectDeletesThePropertyAndThePropertyItsCheck) {
  ProbeCheck<int>::Record record;
  {
    TrelScalar scalar("owner", 1, false);
    ASSERT_TRUE(
        scalar.addProp(new TypeProperty<int>(1, "owned", IFC_CARD_VAR_READ_WRITE, 0, new ProbeCheck<int>(record)), 0));
    EXPECT_EQ(record.destroyed, 0);
  }
  EXPECT_EQ(record.destroyed, 1);
}

TEST(NumericCheck, NeitherSendingNorReceivingNorResettingDeletesTheCheck) {
  ProbeCheck<int>::Record record;
  TypeProperty<int> property(1, "owner", IFC_CARD_VAR_READ_WRITE, 0, new ProbeCheck<int>(record));
  const ExactBlock tlv("00000001 05 0004 00000005"_hex);
  property.checkBuffer(tlv.data(), true);
  property.deserialize(tlv.data());
  property.setToDefault();
  EXPECT_EQ(record.destroyed, 0);
  EXPECT_EQ(record.asked, std::vector<int>{5});
}

}  // namespace
