// Numbers and flags, and the check of a received number.

#include <gtest/gtest.h>

#include <climits>
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

constexpr IfcCardVarAccessType WRITABLE = static_cast<IfcCardVarAccessType>(0);

// Serialized into a block of exactly `room` bytes; "-1" and a look at the block when it is refused.
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

// A number that answers a type code of the application's.
template <typename T>
class Coded : public TypeProperty<T> {
 public:
  using TypeProperty<T>::TypeProperty;
  int getType() override { return code; }
  int code = 10;
};

template <typename T>
class Keeping : public TypeProperty<T>::TypeValueCheck {
 public:
  explicit Keeping(std::vector<T>& values, bool verdictToGive = true, int* deletedCount = nullptr)
      : kept(values), verdict(verdictToGive), deleted(deletedCount) {}
  ~Keeping() override {
    if (deleted != nullptr) ++*deleted;
  }
  bool checkValue(T value) override {
    kept.push_back(value);
    return verdict;
  }

 private:
  std::vector<T>& kept;
  bool verdict;
  int* deleted;
};

// Everything that differs in the family: code, width, the value bytes, and that deserialize takes them back.
template <typename T>
void expectMember(T value, int code, int width, const std::string& valueBytes) {
  SCOPED_TRACE(code);
  TypeProperty<T> property(0x01020304U, "p", WRITABLE, value);
  EXPECT_EQ(property.getType(), code);
  EXPECT_EQ(property.length(), width);
  const std::string codeText = asText(std::string(1, static_cast<char>(code)));
  const std::string tlvText = "01 02 03 04 " + codeText + " 00 0" + std::to_string(width) + " " + valueBytes;
  const std::size_t size = static_cast<std::size_t>(7 + width);
  {
    LogCapture log(3);
    EXPECT_EQ(sent(property, size), std::to_string(size) + ": " + tlvText);
    EXPECT_EQ(log.lines().size(), 0U);
    EXPECT_EQ(sent(property, size - 1), "-1");
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelProperty (serialize) - [p] serializing buffer has not enough space left"});
  }
  TypeProperty<T> other(0x01020304U, "q", WRITABLE, T(), true);
  std::string bytes;
  for (std::size_t i = 0; i < tlvText.size(); i += 3) {
    bytes += static_cast<char>(std::stoi(tlvText.substr(i, 2), nullptr, 16));
  }
  EXPECT_EQ(receive(other, bytes), 7 + width);
  T got = T();
  other.get(&got);
  EXPECT_EQ(got, value);
  EXPECT_FALSE(other.eventPending);
  EXPECT_FALSE(other.isDefault());
}

template <typename T>
void expectConstructors(T def) {
  TypeProperty<T> four(1, "a", WRITABLE, def);
  EXPECT_TRUE(!four.eventable && four.valueCheck == nullptr && four.isDefault());
  TypeProperty<T> flagged(1, "a", WRITABLE, def, true);
  EXPECT_TRUE(flagged.eventable && flagged.valueCheck == nullptr && flagged.isDefault());
  std::vector<T> values;
  int deleted = 0;
  {
    auto* const first = new Keeping<T>(values, true, &deleted);
    TypeProperty<T> checked(1, "a", WRITABLE, def, first);
    EXPECT_TRUE(!checked.eventable && checked.valueCheck == first && checked.isDefault());
    auto* const second = new Keeping<T>(values, true, &deleted);
    TypeProperty<T> both(1, "a", WRITABLE, def, second, true);
    EXPECT_TRUE(both.eventable && both.valueCheck == second && both.isDefault());
    EXPECT_EQ(deleted, 0);
  }
  EXPECT_EQ(deleted, 2);
  EXPECT_TRUE(values.empty());
  T out = T();
  four.get(&out);
  EXPECT_EQ(out, def);
}

std::string padded(const std::string& text, std::size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

}  // namespace

TEST(ReadingNumber, EveryMemberHasItsCodeItsWidthAndItsBytes) {
  expectMember<unsigned long long>(0xFEDCBA9876543210ULL, 0, 8, "FE DC BA 98 76 54 32 10");
  expectMember<unsigned int>(0xFEDCBA98U, 1, 4, "FE DC BA 98");
  expectMember<unsigned short>(0xFEDC, 2, 2, "FE DC");
  expectMember<unsigned char>(0xFE, 3, 1, "FE");
  expectMember<long long>(-2, 4, 8, "FF FF FF FF FF FF FF FE");
  expectMember<long long>(LLONG_MIN, 4, 8, "80 00 00 00 00 00 00 00");
  expectMember<int>(-2, 5, 4, "FF FF FF FE");
  expectMember<int>(INT_MIN, 5, 4, "80 00 00 00");
  expectMember<short>(-2, 6, 2, "FF FE");
  expectMember<short>(-32768, 6, 2, "80 00");
  expectMember<signed char>(-128, 7, 1, "80");
  expectMember<bool>(true, 8, 1, "01");
}

TEST(ReadingNumber, EveryMemberHasTheFourConstructors) {
  expectConstructors<unsigned long long>(ULLONG_MAX);
  expectConstructors<unsigned int>(UINT_MAX);
  expectConstructors<unsigned short>(65535);
  expectConstructors<unsigned char>(255);
  expectConstructors<long long>(LLONG_MIN);
  expectConstructors<int>(INT_MIN);
  expectConstructors<short>(-32768);
  expectConstructors<signed char>(-128);
  expectConstructors<bool>(true);
}

TEST(ReadingNumber, FieldsFollowTheBaseInTheListedOrder) {
  const TypeProperty<unsigned short> property(1, "p", WRITABLE, 5);
  EXPECT_LT(static_cast<const void*>(&property.object), static_cast<const void*>(&property.value));
  EXPECT_LT(static_cast<const void*>(&property.value), static_cast<const void*>(&property.defaultValue));
  EXPECT_LT(static_cast<const void*>(&property.defaultValue), static_cast<const void*>(&property.valueCheck));
  EXPECT_EQ(sizeof(TypeProperty<int>::TypeValueCheck), sizeof(void*));
  EXPECT_EQ(sizeof(RangeCheckValue<int>), sizeof(void*) + 8U);
}

TEST(ReadingNumber, SizeIsComparedAsASignedNumber) {
  TypeProperty<unsigned int> property(1, "p", WRITABLE, 5U);
  char buffer[11] = {};
  for (const int size : {0, -1, INT_MIN, 10})
    EXPECT_EQ(property.serialize(buffer, size), -1) << size;
  EXPECT_EQ(std::string(buffer, 11), std::string(11, '\0'));
  EXPECT_EQ(property.serialize(buffer, INT_MAX), 11);
}

TEST(ReadingNumber, DefaultFiveGoesOutInElevenBytes) {
  TypeProperty<unsigned int> property(0x10800005U, "p", WRITABLE, 5U);
  EXPECT_EQ(sent(property, 11), "11: 10 80 00 05 01 00 04 00 00 00 05");
  EXPECT_EQ(sent(property, 10), "-1");
  EXPECT_EQ(sent(property, 13), "11: 10 80 00 05 01 00 04 00 00 00 05 A5 A5");
}

TEST(ReadingNumber, OnlyAChangeOfAnEventableNumberRaisesTheEvent) {
  TypeProperty<unsigned int> property(1, "p", WRITABLE, 5U, true);
  property.set(5U);
  EXPECT_FALSE(property.eventPending);
  property.set(6U);
  EXPECT_TRUE(property.eventPending);
  property.set(6U);  // the same again does not take it back
  EXPECT_TRUE(property.sendEvent());
  property.setToDefault();
  EXPECT_EQ(property.value, 5U);
  EXPECT_FALSE(property.eventPending);
  property.eventPending = true;
  property.setToDefault();
  EXPECT_TRUE(property.eventPending);

  TypeProperty<unsigned int> quiet(1, "p", WRITABLE, 5U);
  quiet.set(6U);
  EXPECT_EQ(quiet.value, 6U);
  EXPECT_FALSE(quiet.eventPending);
  EXPECT_EQ(quiet.defaultValue, 5U);
}

TEST(ReadingNumber, OwnSetterDoesNotAskTheCheck) {
  std::vector<int> values;
  TypeProperty<int> property(1, "p", WRITABLE, 5, new Keeping<int>(values, false), true);
  property.set(1000);
  EXPECT_EQ(property.value, 1000);
  EXPECT_EQ(receive(property, "00000001 05 0004 00000007"_hex), 11);  // neither does deserialize
  EXPECT_EQ(property.value, 7);
  EXPECT_TRUE(values.empty());
}

TEST(ReadingNumber, DeserializeReadsTheTypesWidthAndReturnsTheLengthField) {
  TypeProperty<unsigned int> property(1, "p", WRITABLE, 5U, true);
  EXPECT_EQ(receive(property, "FFFFFFFF 09 FFFF 01020304"_hex), 65542);  // OID, type and length are not asked again
  EXPECT_EQ(property.value, 0x01020304U);
  EXPECT_EQ(receive(property, "00000001 01 0000 80000001"_hex), 7);
  EXPECT_EQ(property.value, 0x80000001U);
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingNumber, DeserializeGoesByTheTypeCodeOfTheVirtualTable) {
  Coded<unsigned int> address(1, "p", WRITABLE, 5U);
  LogCapture log;
  EXPECT_EQ(receive(address, "00000001 0A 0004 0A000001"_hex), 11);
  EXPECT_EQ(address.value, 0x0A000001U);
  EXPECT_EQ(sent(address, 11), "11: 00 00 00 01 0A 00 04 0A 00 00 01");
  EXPECT_EQ(log.lines().size(), 0U);
  for (const int code : {9, 11, 12, 13, 14, 255, -1}) {
    SCOPED_TRACE(code);
    address.code = code;
    log.clear();
    EXPECT_EQ(receive(address, "00000001 0B 0006 FFFFFFFFFFFF"_hex), 13);
    EXPECT_EQ(address.value, 0x0A000001U);
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (deserialize) - [p] type deserializing is not handled ok!"});
  }
}

TEST(ReadingNumber, ValidValueGoesByTheTypeCodeOfTheVirtualTable) {
  std::vector<unsigned int> values;
  Coded<unsigned int> address(1, "p", WRITABLE, 5U, new Keeping<unsigned int>(values));
  EXPECT_TRUE(address.validValue("\x0A\0\0\1", 4));
  EXPECT_EQ(values, std::vector<unsigned int>{0x0A000001U});
  LogCapture log;
  for (const int code : {9, 11, 12, 13, 14, 255, -1}) {
    SCOPED_TRACE(code);
    address.code = code;
    log.clear();
    EXPECT_FALSE(address.validValue("\0\0\0\1\0\0\0\1", 8));
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProperty (validValue) - [p] type deserializing is not handled ok!"});
  }
  EXPECT_EQ(values.size(), 1U);
  // Without a check no code is asked, and no byte read.
  Coded<unsigned int> unchecked(1, "p", WRITABLE, 5U);
  unchecked.code = 9;
  log.clear();
  EXPECT_TRUE(unchecked.validValue(nullptr, 0));
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingNumber, ValidValueDoesNotConsultTheLength) {
  std::vector<unsigned short> values;
  TypeProperty<unsigned short> property(1, "p", WRITABLE, 5, new Keeping<unsigned short>(values));
  const ExactBlock two("FEDC"_hex);
  for (const int len : {2, 0, -1, 1, 500})
    EXPECT_TRUE(property.validValue(two.data(), len));
  EXPECT_EQ(values, std::vector<unsigned short>(5, 0xFEDC));
  EXPECT_EQ(property.value, 5);
}

TEST(ReadingNumber, ValidValueDecodesSignedNumbers) {
  std::vector<long long> wide;
  TypeProperty<long long> i64(1, "p", WRITABLE, 0, new Keeping<long long>(wide));
  i64.validValue("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE", 8);
  EXPECT_EQ(wide, std::vector<long long>{-2});
  std::vector<short> narrow;
  TypeProperty<short> i16(1, "p", WRITABLE, 0, new Keeping<short>(narrow));
  i16.validValue("\x80\x00", 2);
  EXPECT_EQ(narrow, std::vector<short>{-32768});
  std::vector<signed char> bytes;
  TypeProperty<signed char> i8(1, "p", WRITABLE, 0, new Keeping<signed char>(bytes));
  i8.validValue("\xFF", 1);
  EXPECT_EQ(bytes, std::vector<signed char>{-1});
  std::vector<bool> flags;
  TypeProperty<bool> flag(1, "p", WRITABLE, false, new Keeping<bool>(flags));
  flag.validValue("\x02", 1);
  flag.validValue("\x00", 1);
  EXPECT_EQ(flags, (std::vector<bool>{true, false}));
}

TEST(ReadingNumber, ValidValueLogsTheWholeTextOfThePropertyAboveLevelSeven) {
  class OwnText : public TypeProperty<int> {
   public:
    using TypeProperty<int>::TypeProperty;
    std::string str() const override {
      ++asked;
      return "own text\n";
    }
    mutable int asked = 0;
  };
  OwnText own(1, "p", WRITABLE, 0, new RangeCheckValue<int>(1, 10));
  LogCapture log(7);
  EXPECT_TRUE(own.validValue("\0\0\0\1", 4));
  EXPECT_EQ(own.asked, 0);
  EXPECT_EQ(log.brief(),
            Lines{"7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:1 and max:10 and value 1"});
  log.setLevel(8);
  log.clear();
  EXPECT_FALSE(own.validValue("\0\0\0\0", 4));
  EXPECT_EQ(
      log.brief(),
      (Lines{"7 [DEBUG2] trelProperty (validValue) - [own text\n] will be checked for valid value",
             "7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:1 and max:10 and value 0"}));
  EXPECT_EQ(log.lines().at(0).format, "[DEBUG2] %s:%d (%s) - [%s] will be checked for valid value");
  EXPECT_EQ(log.lines().at(1).format, "[DEBUG1] %s:%d (%s) - %s");
  EXPECT_EQ(log.lines().at(0).file, "components/trel/trelProperty.h");
  EXPECT_EQ(log.lines().at(1).file, "components/trel/trelProperty.h");

  TypeProperty<int> plain(7, "speed", WRITABLE, -1, new RangeCheckValue<int>(1, 10), true);
  plain.set(2);
  log.clear();
  EXPECT_TRUE(plain.validValue("\0\0\0\x0A", 4));
  ASSERT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(log.lines()[0].message,
            "[  7 |                                    speed :                    2  (def = -1, eventable)\n] will be "
            "checked "
            "for valid value");
}

TEST(ReadingNumber, RangeIncludesBothEnds) {
  RangeCheckValue<int> range(1, 10);
  EXPECT_TRUE(range.checkValue(1) && range.checkValue(10));
  EXPECT_FALSE(range.checkValue(0) || range.checkValue(11) || range.checkValue(INT_MIN));
  RangeCheckValue<unsigned int> big(0x7FFFFFFFU, 0x80000001U);
  EXPECT_TRUE(big.checkValue(0x80000000U));
  EXPECT_FALSE(big.checkValue(0) || big.checkValue(UINT_MAX));
  RangeCheckValue<signed char> negative(-3, -1);
  EXPECT_TRUE(negative.checkValue(-2));
  EXPECT_FALSE(negative.checkValue(0) || negative.checkValue(-4));
  RangeCheckValue<unsigned char> bytes(0x80, 0xFF);
  EXPECT_TRUE(bytes.checkValue(0x80) && bytes.checkValue(0xFF));
  EXPECT_FALSE(bytes.checkValue(0x7F));
  RangeCheckValue<unsigned long long> wide(1ULL << 63, ULLONG_MAX);
  EXPECT_TRUE(wide.checkValue(1ULL << 63));
  EXPECT_FALSE(wide.checkValue(1));
  RangeCheckValue<int> never(10, 1);
  for (const int v : {0, 1, 5, 10, 11})
    EXPECT_FALSE(never.checkValue(v)) << v;
}

TEST(ReadingNumber, RangeWritesItsNumbersAndEightBitOnesAsCharacters) {
  LogCapture log(7);
  RangeCheckValue<unsigned long long>(0, ULLONG_MAX).checkValue(7);
  RangeCheckValue<long long>(LLONG_MIN, -1).checkValue(7);
  RangeCheckValue<unsigned short>(1, 65535).checkValue(7);
  RangeCheckValue<short>(-32768, 2).checkValue(-7);
  RangeCheckValue<unsigned int>(1, UINT_MAX).checkValue(7);
  RangeCheckValue<unsigned char>('a', 'z').checkValue('c');
  RangeCheckValue<signed char>('A', 'Z').checkValue('C');
  RangeCheckValue<unsigned char>('a', '\n').checkValue('c');
  RangeCheckValue<unsigned char>(0, 'z').checkValue('c');  // a zero character ends the line
  const std::string start = "7 [DEBUG1] trelProperty (checkValue) - checking value is valid with min:";
  EXPECT_EQ(log.brief(), (Lines{start + "0 and max:18446744073709551615 and value 7",
                                start + "-9223372036854775808 and max:-1 and value 7",
                                start + "1 and max:65535 and value 7", start + "-32768 and max:2 and value -7",
                                start + "1 and max:4294967295 and value 7", start + "a and max:z and value c",
                                start + "A and max:Z and value C", start + "a and max:\n and value c", start}));
  log.clear();
  log.setLevel(6);
  RangeCheckValue<int>(1, 2).checkValue(1);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingNumber, CheckBufferTurnsTheRefusalIntoWrongValue) {
  TypeProperty<int> property(1, "p", WRITABLE, 5, new RangeCheckValue<int>(1, 10));
  const ExactBlock eleven("00000001 05 0004 0000000B"_hex);
  LogCapture log(6);
  EXPECT_EQ(property.checkBuffer(eleven.data(), true), 9);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (checkBuffer) - [p] checkbuffer invalid value detected, value has len 4"});
  EXPECT_EQ(property.checkBuffer(eleven.data(), false), 0);
  const ExactBlock ten("00000001 05 0004 0000000A"_hex);
  EXPECT_EQ(property.checkBuffer(ten.data(), true), 0);

  Coded<int> coded(1, "p", WRITABLE, 5, new RangeCheckValue<int>(INT_MIN, INT_MAX));
  coded.code = 13;
  const ExactBlock other("00000001 0D 0004 0000000A"_hex);
  EXPECT_EQ(coded.checkBuffer(other.data(), true), 9);
}

TEST(ReadingNumber, FlagKeepsTheByteThatItReceived) {
  TypeProperty<bool> property(1, "p", WRITABLE, true, true);
  EXPECT_EQ(receive(property, "00000001 08 0001 02"_hex), 8);
  EXPECT_FALSE(property.isDefault());
  EXPECT_EQ(sent(property, 8), "8: 00 00 00 01 08 00 01 02");
  EXPECT_EQ(sent(property, 7), "-1");
  bool out = false;
  property.get(&out);
  EXPECT_TRUE(out);
  EXPECT_EQ(property.str(), "  1 | " + padded("p", 40) + " : " + padded("1", 20) + "  (def = 1, eventable)\n");
  EXPECT_FALSE(property.eventPending);
  property.set(true);  // 2 and 1 differ
  EXPECT_TRUE(property.eventPending);
  EXPECT_TRUE(property.isDefault());
  EXPECT_EQ(sent(property, 8), "8: 00 00 00 01 08 00 01 01");
  EXPECT_EQ(receive(property, "00000001 08 0001 80"_hex), 8);
  EXPECT_EQ(sent(property, 8), "8: 00 00 00 01 08 00 01 80");
}

TEST(ReadingNumber, TextIsOneLineWithFieldsOfThreeFortyAndTwenty) {
  TypeProperty<unsigned int> property(7, "clock", WRITABLE, 1U, true);
  property.set(2U);
  EXPECT_EQ(property.str(),
            "  7 |                                    clock :                    2  (def = 1, eventable)\n");
  TypeProperty<long long> wide(12345, "a name of more than forty characters, indeed of 49", WRITABLE, LLONG_MIN);
  EXPECT_EQ(wide.str(),
            "12345 | a name of more than forty characters, indeed of 49 : -9223372036854775808  (def = "
            "-9223372036854775808)\n");
  TypeProperty<unsigned long long> top(0xFFFFFFFFU, "n", WRITABLE, ULLONG_MAX);
  EXPECT_EQ(top.str(), "4294967295 | " + padded("n", 40) + " : 18446744073709551615  (def = 18446744073709551615)\n");
  TypeProperty<unsigned char> byte(1, "n", WRITABLE, 65);
  EXPECT_EQ(byte.str(), "  1 | " + padded("n", 40) + " : " + padded("65", 20) + "  (def = 65)\n");
  TypeProperty<signed char> small(1, "n", WRITABLE, -65);
  EXPECT_EQ(small.str(), "  1 | " + padded("n", 40) + " : " + padded("-65", 20) + "  (def = -65)\n");
  TypeProperty<short> minus(1, "n", WRITABLE, -32768);
  EXPECT_EQ(minus.str(), "  1 | " + padded("n", 40) + " : " + padded("-32768", 20) + "  (def = -32768)\n");
  TypeProperty<bool> flag(1, "n", WRITABLE, false);
  flag.set(true);
  EXPECT_EQ(flag.str(), "  1 | " + padded("n", 40) + " : " + padded("1", 20) + "  (def = 0)\n");
}

TEST(ReadingNumber, NumberThatASubclassMakesLongerStaysInsideTheBuffer) {
  class Longer : public TypeProperty<unsigned int> {
   public:
    using TypeProperty<unsigned int>::TypeProperty;
    int length() override { return 6; }
  } property(1, "p", WRITABLE, 0x01020304U);
  EXPECT_EQ(sent(property, 12), "-1");
  // The length field is 6: so many bytes belong to the value, and none of them is one that nobody wrote.
  EXPECT_EQ(sent(property, 13), "13: 00 00 00 01 01 00 06 01 02 03 04 00 00");
}

TEST(ReadingNumber, NumberThatASubclassMakesShorterWritesNoMoreThanItAnnounces) {
  class Shorter : public TypeProperty<unsigned int> {
   public:
    using TypeProperty<unsigned int>::TypeProperty;
    int length() override { return announced; }
    int announced = 2;
  } property(1, "p", WRITABLE, 0x01020304U);
  ExactBlock block(std::size_t{9});
  EXPECT_EQ(property.serialize(block.data(), 9), 9);
  EXPECT_EQ(asText(block.view().substr(0, 7)), "00 00 00 01 01 00 02");
  property.announced = INT_MAX;
  EXPECT_EQ(sent(property, 40), "-1");
}

TEST(ReadingNumber, LinesOfTheTemplateNameItsHeader) {
  Coded<unsigned int> property(1, "p", WRITABLE, 5U, new RangeCheckValue<unsigned int>(1, 2));
  property.code = 14;
  LogCapture log;
  char buffer[7] = {};
  property.serialize(buffer, 7);
  receive(property, "00000001 0E 0004 00000000"_hex);
  property.validValue("\0\0\0\1", 4);
  ASSERT_EQ(log.lines().size(), 3U);
  const char* const functions[] = {"serialize", "deserialize", "validValue"};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(log.lines()[i].file, "components/trel/trelProperty.h");
    EXPECT_EQ(log.lines()[i].function, functions[i]);
    EXPECT_GT(log.lines()[i].line, 0);
  }
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - [%s] serializing buffer has not enough space left");
  EXPECT_EQ(log.lines()[1].format, "[ERROR] %s:%d (%s) - [%s] type deserializing is not handled ok!");
  EXPECT_EQ(log.lines()[2].format, "[ERROR] %s:%d (%s) - [%s] type deserializing is not handled ok!");
}
