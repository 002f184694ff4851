// The TLV element: record, setters, getters, conversion to and from the wire.

#include <gtest/gtest.h>

#include <boost/any.hpp>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelmsg.h"

namespace {

using Lines = std::vector<std::string>;
const char* const INVALID = "3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!";
const char* const NEWTYPE =
    "3 [ERROR] trelmsg (setValue) - setValue with a newtype that is not supported, val could be null pointer!!!";

#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool BIG = true;
#else
constexpr bool BIG = false;
#endif

// The members are packed: read by value, never by reference.
unsigned int idOf(const TRELTlv& tlv) { return tlv.id; }
unsigned int typeOf(const TRELTlv& tlv) { return tlv.type; }
unsigned int lenOf(const TRELTlv& tlv) { return tlv.len; }
const void* valOf(const TRELTlv& tlv) { return tlv.val; }
std::string bytesOf(const TRELTlv& tlv, std::size_t n) { return asText(std::string(tlv.val, n)); }

// Wire form, from a block that ends where the caller owes its end: 7 + max(len, 8) bytes.
std::string wire(const TRELTlv& tlv, int* returned = nullptr) {
  const std::size_t owed = 7U + (tlv.len > 8 ? tlv.len : 8U);
  ExactBlock block(owed, 0xA5);
  const int n = tlv.serialize(block.data());
  if (returned != nullptr) *returned = n;
  return asText(block.view());
}

int read(TRELTlv& tlv, const std::string& bytes) {
  const ExactBlock block(bytes);
  return tlv.deserialize(block.data());
}

}  // namespace

TEST(ReadingTlv, RecordIsPackedAndTlvHasExactlyItsMembers) {
  EXPECT_EQ(sizeof(trel_tlv), 7 + sizeof(void*));
  EXPECT_EQ(sizeof(TRELTlv), sizeof(trel_tlv));
  EXPECT_EQ(offsetof(trel_tlv, id), 0U);
  EXPECT_EQ(offsetof(trel_tlv, type), 4U);
  EXPECT_EQ(offsetof(trel_tlv, len), 5U);
  EXPECT_EQ(offsetof(trel_tlv, val), 7U);
  EXPECT_FALSE(std::is_polymorphic_v<TRELTlv>);
  static_assert(std::is_base_of_v<trel_tlv, TRELTlv>);
  static_assert(std::is_same_v<decltype(trel_tlv::val), char*>);
  static_assert(std::is_same_v<decltype(trel_tlv::id), unsigned int>);
  static_assert(std::is_same_v<decltype(trel_tlv::len), unsigned short>);
  static_assert(std::is_same_v<decltype(&TRELTlv::serialize), int (TRELTlv::*)(char*) const>);
  static_assert(std::is_same_v<decltype(&TRELTlv::deserialize), int (TRELTlv::*)(const char*)>);
  static_assert(std::is_same_v<decltype(&TRELTlv::getValueArray), int (TRELTlv::*)(char*, int) const>);
  const TRELTlv tlv;
  EXPECT_EQ(idOf(tlv), 0U);
  EXPECT_EQ(typeOf(tlv), 0U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(valOf(tlv), nullptr);
}

TEST(ReadingTlv, NumericSettersSetTypeAndLengthKeepTheIdAndStoreInHostOrder) {
  struct Case {
    std::function<void(TRELTlv&)> set;
    unsigned int type;
    unsigned int len;
    const char* big;
    const char* little;
    const char* onWire;
  };
  const Case cases[] = {
      {[](TRELTlv& t) { t.setValue(0x0102030405060708ULL); }, 0, 8, "01 02 03 04 05 06 07 08",
       "08 07 06 05 04 03 02 01", "01 02 03 04 05 06 07 08"},
      {[](TRELTlv& t) { t.setValue(0xF1020304U); }, 1, 4, "F1 02 03 04", "04 03 02 F1", "F1 02 03 04 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(static_cast<unsigned short>(0xF102)); }, 2, 2, "F1 02", "02 F1",
       "F1 02 A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(static_cast<unsigned char>(0xF1)); }, 3, 1, "F1", "F1", "F1 A5 A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(-2LL); }, 4, 8, "FF FF FF FF FF FF FF FE", "FE FF FF FF FF FF FF FF",
       "FF FF FF FF FF FF FF FE"},
      {[](TRELTlv& t) { t.setValue(-2); }, 5, 4, "FF FF FF FE", "FE FF FF FF", "FF FF FF FE A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(static_cast<short>(-2)); }, 6, 2, "FF FE", "FE FF", "FF FE A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(static_cast<signed char>(-2)); }, 7, 1, "FE", "FE", "FE A5 A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(true); }, 8, 1, "01", "01", "01 A5 A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(false); }, 8, 1, "00", "00", "00 A5 A5 A5 A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(-2, 5); }, 5, 4, "FF FF FF FE", "FE FF FF FF", "FF FF FF FE A5 A5 A5 A5"},
      {[](TRELTlv& t) { t.setValue(0x40A80001, 10); }, 10, 4, "40 A8 00 01", "01 00 A8 40", "40 A8 00 01 A5 A5 A5 A5"},
  };
  int number = 0;
  for (const Case& one : cases) {
    SCOPED_TRACE(number++);
    LogCapture log;
    TRELTlv tlv;
    tlv.id = 0xA1B2C3D4U;
    one.set(tlv);
    EXPECT_EQ(idOf(tlv), 0xA1B2C3D4U);
    EXPECT_EQ(typeOf(tlv), one.type);
    EXPECT_EQ(lenOf(tlv), one.len);
    ASSERT_NE(valOf(tlv), nullptr);
    EXPECT_EQ(bytesOf(tlv, one.len), BIG ? one.big : one.little);
    int returned = 0;
    const std::string head = std::string("A1 B2 C3 D4 ") + asText(std::string(1, static_cast<char>(one.type))) +
                             " 00 " + asText(std::string(1, static_cast<char>(one.len))) + " ";
    EXPECT_EQ(wire(tlv, &returned), head + one.onWire);
    EXPECT_EQ(returned, static_cast<int>(one.len) + 7);
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(ReadingTlv, FourByteSetterWithACodeTakesTenAndFiveOnly) {
  for (int code = 0; code < 256; ++code) {
    if (code == 5 || code == 10) continue;
    SCOPED_TRACE(code);
    LogCapture log;
    TRELTlv tlv;
    tlv.id = 9;
    tlv.type = 2;
    tlv.len = 77;
    tlv.setValue(7, static_cast<unsigned char>(code));
    EXPECT_EQ(idOf(tlv), 9U);
    EXPECT_EQ(typeOf(tlv), 2U);
    EXPECT_EQ(lenOf(tlv), 77U);
    EXPECT_EQ(valOf(tlv), nullptr);
    EXPECT_EQ(log.brief(), Lines{NEWTYPE});
  }
  TRELTlv tlv;
  tlv.setValue(1);
  tlv.setValue(7, 3);
  EXPECT_EQ(tlv.getValueAsInt32(), 1);
}

TEST(ReadingTlv, ByteSetterWithACodeTakesNineAndThirteenOnlyAndIsSilentOtherwise) {
  for (int code = 0; code < 256; ++code) {
    SCOPED_TRACE(code);
    LogCapture log;
    TRELTlv tlv;
    tlv.type = 2;
    tlv.len = 77;
    tlv.setValue("ab", 2, static_cast<unsigned char>(code));
    if (code == 9 || code == 13) {
      EXPECT_EQ(typeOf(tlv), static_cast<unsigned int>(code));
      EXPECT_EQ(lenOf(tlv), 2U);
      EXPECT_EQ(bytesOf(tlv, 2), "61 62");
    } else {
      EXPECT_EQ(typeOf(tlv), 2U);
      EXPECT_EQ(lenOf(tlv), 77U);
      EXPECT_EQ(valOf(tlv), nullptr);
    }
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(ReadingTlv, TextSettersCopyTheBytesAndKeepSixteenBitsOfTheLength) {
  TRELTlv text;
  text.setValue(std::string("a\0b", 3));
  EXPECT_EQ(typeOf(text), 9U);
  EXPECT_EQ(lenOf(text), 3U);
  EXPECT_EQ(bytesOf(text, 3), "61 00 62");

  TRELTlv bytes;
  bytes.setValue("a\0bc", 4);
  EXPECT_EQ(typeOf(bytes), 9U);
  EXPECT_EQ(lenOf(bytes), 4U);
  EXPECT_EQ(bytesOf(bytes, 4), "61 00 62 63");

  TRELTlv longText;
  longText.setValue(std::string("xyz") + std::string(65536, 'q'));
  EXPECT_EQ(lenOf(longText), 3U);
  EXPECT_EQ(longText.getValueAsString(), "xyz");

  TRELTlv longBytes;
  const std::string source = std::string("xy") + std::string(65536, 'q');
  longBytes.setValue(source.data(), 65538, 13);
  EXPECT_EQ(typeOf(longBytes), 13U);
  EXPECT_EQ(lenOf(longBytes), 2U);
  EXPECT_EQ(longBytes.getValueAsString(), "xy");

  TRELTlv full;
  full.setValue(std::string(65535, 'f'));
  EXPECT_EQ(lenOf(full), 65535U);
  EXPECT_EQ(full.getValueAsString(), std::string(65535, 'f'));
  int returned = 0;
  wire(full, &returned);
  EXPECT_EQ(returned, 65542);

  // -3 is 65533 in 16 bits; the bytes are zeros and nothing before or behind the source is read.
  TRELTlv negative;
  const ExactBlock two("ab");
  negative.setValue(two.data(), -3);
  EXPECT_EQ(lenOf(negative), 65533U);
  EXPECT_EQ(negative.getValueAsString(), std::string(65533, '\0'));

  TRELTlv nothing;
  nothing.setValue(nullptr, 3);
  EXPECT_EQ(lenOf(nothing), 3U);
  EXPECT_EQ(bytesOf(nothing, 3), "00 00 00");

  TRELTlv empty;
  empty.setValue(std::string());
  EXPECT_EQ(typeOf(empty), 9U);
  EXPECT_EQ(lenOf(empty), 0U);
  EXPECT_EQ(empty.getValueAsString(), "");
}

TEST(ReadingTlv, ABufferThatIsThereIsWrittenAgainAsItIs) {
  TRELTlv tlv;
  tlv.setValue(0x1122334455667788ULL);
  const void* const first = valOf(tlv);
  tlv.setValue(static_cast<unsigned char>(0x99));
  EXPECT_EQ(valOf(tlv), first);
  EXPECT_EQ(lenOf(tlv), 1U);
  EXPECT_EQ(bytesOf(tlv, 8), BIG ? "99 22 33 44 55 66 77 88" : "99 77 66 55 44 33 22 11");
  tlv.setValue(std::string("ab"));
  EXPECT_EQ(valOf(tlv), first);
  EXPECT_EQ(bytesOf(tlv, 4), BIG ? "61 62 33 44" : "61 62 66 55");
  tlv.setValue("c", 1, 13);
  EXPECT_EQ(valOf(tlv), first);
  EXPECT_EQ(bytesOf(tlv, 3), BIG ? "63 62 33" : "63 62 66");
  EXPECT_EQ(read(tlv, "00000001 0C 0001 7A 00000000000000"_hex), 8);
  EXPECT_EQ(valOf(tlv), first);
  EXPECT_EQ(bytesOf(tlv, 3), BIG ? "7A 62 33" : "7A 62 66");
}

TEST(ReadingTlv, UncheckedGettersReadTheWidthOfTheirArgumentWhateverTheType) {
  LogCapture log;
  TRELTlv tlv;
  tlv.setValue(std::string("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
  unsigned long long u64 = 0;
  unsigned int u32 = 0;
  unsigned short u16 = 0;
  unsigned char u8 = 0;
  long long s64 = 0;
  int s32 = 0;
  short s16 = 0;
  signed char s8 = 0;
  bool flag = false;
  const TRELTlv& constant = tlv;
  constant.getValue(u64);
  constant.getValue(u32);
  constant.getValue(u16);
  constant.getValue(u8);
  constant.getValue(s64);
  constant.getValue(s32);
  constant.getValue(s16);
  constant.getValue(s8);
  constant.getValue(flag);
  EXPECT_EQ(u64, BIG ? 0xFEFFFFFFFFFFFFFFULL : 0xFFFFFFFFFFFFFFFEULL);
  EXPECT_EQ(u32, BIG ? 0xFEFFFFFFU : 0xFFFFFFFEU);
  EXPECT_EQ(u16, BIG ? 0xFEFFU : 0xFFFEU);
  EXPECT_EQ(u8, 0xFEU);
  EXPECT_EQ(s64, BIG ? -72057594037927937LL : -2LL);
  EXPECT_EQ(s32, BIG ? -16777217 : -2);
  EXPECT_EQ(s16, BIG ? -257 : -2);
  EXPECT_EQ(s8, -2);
  EXPECT_TRUE(flag);
  static_assert(std::is_void_v<decltype(constant.getValue(u64))>);
  static_assert(std::is_void_v<decltype(constant.getValue(flag))>);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingTlv, CheckedGettersReadAtTheirWidthWithoutAskingTheType) {
  TRELTlv tlv;
  tlv.setValue(std::string("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
  unsigned long long u64 = 0;
  unsigned int u32 = 0;
  unsigned short u16 = 0;
  unsigned char u8 = 0;
  long long s64 = 0;
  int s32 = 0;
  short s16 = 0;
  signed char s8 = 0;
  bool flag = false;
  EXPECT_TRUE(tlv.getValue(&u64));
  EXPECT_TRUE(tlv.getValue(&u32));
  EXPECT_TRUE(tlv.getValue(&u16));
  EXPECT_TRUE(tlv.getValue(&u8));
  EXPECT_TRUE(tlv.getValue(&s64));
  EXPECT_TRUE(tlv.getValue(&s32));
  EXPECT_TRUE(tlv.getValue(&s16));
  EXPECT_TRUE(tlv.getValue(&s8));
  EXPECT_TRUE(tlv.getValue(&flag));
  EXPECT_EQ(u64, BIG ? 0xFEFFFFFFFFFFFFFFULL : 0xFFFFFFFFFFFFFFFEULL);
  EXPECT_EQ(u32, BIG ? 0xFEFFFFFFU : 0xFFFFFFFEU);
  EXPECT_EQ(u16, BIG ? 0xFEFFU : 0xFFFEU);
  EXPECT_EQ(u8, 0xFEU);
  EXPECT_EQ(s64, BIG ? -72057594037927937LL : -2LL);
  EXPECT_EQ(s32, BIG ? -16777217 : -2);
  EXPECT_EQ(s16, BIG ? -257 : -2);
  EXPECT_EQ(s8, -2);
  EXPECT_TRUE(flag);
  EXPECT_EQ(tlv.getValueAsUInt64(), u64);
  EXPECT_EQ(tlv.getValueAsUInt32(), u32);
  EXPECT_EQ(tlv.getValueAsUInt16(), u16);
  EXPECT_EQ(tlv.getValueAsUInt8(), u8);
  EXPECT_EQ(tlv.getValueAsInt64(), s64);
  EXPECT_EQ(tlv.getValueAsInt32(), s32);
  EXPECT_EQ(tlv.getValueAsInt16(), s16);
  EXPECT_EQ(tlv.getValueAsInt8(), -2);
  EXPECT_TRUE(tlv.getValueAsBool());
}

TEST(ReadingTlv, AValueShorterThanTheReadWidthContinuesWithZeros) {
  TRELTlv tlv;
  tlv.setValue(static_cast<unsigned char>(0xFF));
  EXPECT_EQ(tlv.getValueAsUInt64(), BIG ? 0xFF00000000000000ULL : 0xFFULL);
  EXPECT_EQ(tlv.getValueAsInt32(), BIG ? -16777216 : 255);
  EXPECT_EQ(tlv.getValueAsInt8(), -1);
  EXPECT_EQ(tlv.getValueAsUInt8(), 255U);
  TRELTlv received;
  EXPECT_EQ(read(received, "00000001 0C 0002 AABB 000000000000"_hex), 9);
  EXPECT_EQ(received.getValueAsUInt64(), BIG ? 0xAABB000000000000ULL : 0xBBAAULL);
}

TEST(ReadingTlv, WithoutAValueEveryCheckedGetterRefusesWithOneLine) {
  TRELTlv tlv;
  tlv.type = 1;
  tlv.len = 6;
  unsigned long long u64 = 7;
  unsigned int u32 = 7;
  unsigned short u16 = 7;
  unsigned char u8 = 7;
  long long s64 = 7;
  int s32 = 7;
  short s16 = 7;
  signed char s8 = 7;
  bool flag = true;
  std::string kept = "kept";
  std::string cleared = "gone";
  boost::any any = std::string("kept");
  char raw[6] = {'r', 'r', 'r', 'r', 'r', 'r'};
  const std::function<bool()> refused[] = {
      [&] { return !tlv.getValue(&u64) && u64 == 7; },
      [&] { return !tlv.getValue(&u32) && u32 == 7; },
      [&] { return !tlv.getValue(&u16) && u16 == 7; },
      [&] { return !tlv.getValue(&u8) && u8 == 7; },
      [&] { return !tlv.getValue(&s64) && s64 == 7; },
      [&] { return !tlv.getValue(&s32) && s32 == 7; },
      [&] { return !tlv.getValue(&s16) && s16 == 7; },
      [&] { return !tlv.getValue(&s8) && s8 == 7; },
      [&] { return !tlv.getValue(&flag) && flag; },
      [&] { return tlv.getValueAsUInt64() == 0; },
      [&] { return tlv.getValueAsUInt32() == 0; },
      [&] { return tlv.getValueAsUInt16() == 0; },
      [&] { return tlv.getValueAsUInt8() == 0; },
      [&] { return tlv.getValueAsInt64() == 0; },
      [&] { return tlv.getValueAsInt32() == 0; },
      [&] { return tlv.getValueAsInt16() == 0; },
      [&] { return tlv.getValueAsInt8() == 0; },
      [&] { return !tlv.getValueAsBool(); },
      [&] { return tlv.getValue(kept), kept == "kept"; },
      [&] { return tlv.getValueAsString().empty(); },
      [&] { return tlv.getValue(&cleared, 5), cleared.empty(); },
      [&] { return tlv.getValue(static_cast<std::string*>(nullptr), 5), true; },
      [&] { return !tlv.getValue(&any) && boost::any_cast<std::string>(any) == "kept"; },
      [&] { return tlv.getValueArray(raw, 100) == 6 && raw[0] == 'r'; },
      [&] { return tlv.getValueArray(raw, 2) == 2 && raw[0] == 'r'; },
      [&] { return !tlv.isPointerValid(); },
  };
  int number = 0;
  for (const std::function<bool()>& one : refused) {
    SCOPED_TRACE(number++);
    LogCapture log(3);
    EXPECT_TRUE(one());
    EXPECT_EQ(log.brief(), Lines{INVALID});
  }
  LogCapture log(2);
  EXPECT_FALSE(tlv.isPointerValid());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingTlv, TextsEndAtTheirLengthOrAtTheFirstZeroByte) {
  TRELTlv tlv;
  tlv.setValue("ab\0cd", 5);
  std::string whole = "before";
  tlv.getValue(whole);
  EXPECT_EQ(asText(whole), "61 62 00 63 64");
  EXPECT_EQ(asText(tlv.getValueAsString()), "61 62 00 63 64");
  struct Case {
    int maxLen;
    const char* text;
  };
  const Case cases[] = {{5, "ab"}, {100, "ab"}, {0x7FFFFFFF, "ab"}, {2, "ab"},
                        {1, "a"},  {0, ""},     {-1, ""},           {-2147483647 - 1, ""}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.maxLen);
    std::string text = "before";
    tlv.getValue(&text, one.maxLen);
    EXPECT_EQ(text, one.text);
    EXPECT_EQ(text.size(), std::strlen(one.text));
  }
}

TEST(ReadingTlv, RawBytesAreCopiedInTheNumberAskedFor) {
  TRELTlv tlv;
  tlv.setValue("abcdef", 6);
  char out[8] = {'-', '-', '-', '-', '-', '-', '-', '-'};
  tlv.getValue(out, 0);
  tlv.getValue(out, -1);
  EXPECT_EQ(std::string(out, 8), "--------");
  tlv.getValue(out, 4);
  EXPECT_EQ(std::string(out, 8), "abcd----");
  std::memset(out, '-', sizeof(out));
  EXPECT_EQ(tlv.getValueArray(out, 100), 6);
  EXPECT_EQ(std::string(out, 8), "abcdef--");
  std::memset(out, '-', sizeof(out));
  EXPECT_EQ(tlv.getValueArray(out, 3), 3);
  EXPECT_EQ(std::string(out, 8), "abc-----");
  EXPECT_EQ(tlv.getValueArray(out, 0), 0);
  EXPECT_EQ(tlv.getValueArray(out, -4), -4);
  EXPECT_EQ(std::string(out, 8), "abc-----");
}

TEST(ReadingTlv, AnyHoldsTheTypeOfTheCode) {
  boost::any any;
  const auto of = [&any](const std::string& bytes) {
    any = boost::any();
    TRELTlv tlv;
    read(tlv, bytes);
    return tlv.getValue(&any);
  };
  ASSERT_TRUE(of("00000001 00 0008 8102030405060708"_hex));
  EXPECT_EQ(boost::any_cast<unsigned long long>(any), 0x8102030405060708ULL);
  ASSERT_TRUE(of("00000001 01 0004 81020304 00000000"_hex));
  EXPECT_EQ(boost::any_cast<unsigned int>(any), 0x81020304U);
  ASSERT_TRUE(of("00000001 02 0002 8102 000000000000"_hex));
  EXPECT_EQ(boost::any_cast<unsigned short>(any), 0x8102U);
  ASSERT_TRUE(of("00000001 03 0001 81 00000000000000"_hex));
  EXPECT_EQ(boost::any_cast<unsigned char>(any), 0x81U);
  ASSERT_TRUE(of("00000001 04 0008 FFFFFFFFFFFFFFFE"_hex));
  EXPECT_EQ(boost::any_cast<long long>(any), -2LL);
  ASSERT_TRUE(of("00000001 0B 0008 FFFFFFFFFFFFFFFD"_hex));
  EXPECT_EQ(boost::any_cast<long long>(any), -3LL);
  ASSERT_TRUE(of("00000001 05 0004 FFFFFFFE 00000000"_hex));
  EXPECT_EQ(boost::any_cast<int>(any), -2);
  ASSERT_TRUE(of("00000001 06 0002 FFFE 000000000000"_hex));
  EXPECT_EQ(boost::any_cast<short>(any), -2);
  ASSERT_TRUE(of("00000001 07 0001 FE 00000000000000"_hex));
  EXPECT_EQ(boost::any_cast<signed char>(any), -2);
  ASSERT_TRUE(of("00000001 08 0001 05 00000000000000"_hex));
  EXPECT_TRUE(boost::any_cast<bool>(any));
  ASSERT_TRUE(of("00000001 08 0001 00 00000000000000"_hex));
  EXPECT_FALSE(boost::any_cast<bool>(any));
  ASSERT_TRUE(of("00000001 09 0005 6162006364 000000"_hex));
  EXPECT_EQ(boost::any_cast<std::string>(any), "ab");
}

TEST(ReadingTlv, AnyRefusesTenTwelveThirteenAndAboveWithoutALine) {
  for (int code = 0; code < 256; ++code) {
    if (code < 10 || code == 11) continue;
    SCOPED_TRACE(code);
    TRELTlv tlv;
    tlv.setValue(1U);
    tlv.type = static_cast<unsigned char>(code);
    boost::any any = 42;
    LogCapture log;
    EXPECT_FALSE(tlv.getValue(&any));
    EXPECT_EQ(boost::any_cast<int>(any), 42);
    EXPECT_EQ(log.brief(), Lines{});
  }
  TRELTlv tlv;
  tlv.setValue(1U);
  EXPECT_FALSE(tlv.getValue(static_cast<boost::any*>(nullptr)));
}

TEST(ReadingTlv, CopyIsDeepAndAnEmptyOneHoldsNothing) {
  TRELTlv source;
  source.id = 0x11223344U;
  source.setValue("abc", 3, 13);
  const TRELTlv copy(source);
  source.val[0] = 'z';
  EXPECT_EQ(idOf(copy), 0x11223344U);
  EXPECT_EQ(typeOf(copy), 13U);
  EXPECT_EQ(lenOf(copy), 3U);
  EXPECT_EQ(copy.getValueAsString(), "abc");
  EXPECT_NE(valOf(copy), valOf(source));

  source.len = 0;
  const TRELTlv empty(source);
  EXPECT_EQ(typeOf(empty), 13U);
  EXPECT_EQ(valOf(empty), nullptr);

  TRELTlv target;
  target.setValue(std::string("a much longer text that was here before"));
  target = copy;
  EXPECT_EQ(idOf(target), 0x11223344U);
  EXPECT_EQ(target.getValueAsString(), "abc");
  EXPECT_NE(valOf(target), valOf(copy));
  const TRELTlv& itself = target;
  target = itself;
  EXPECT_EQ(target.getValueAsString(), "abc");
  target = empty;
  EXPECT_EQ(valOf(target), nullptr);

  TRELTlv promising;  // a length, no value
  promising.len = 5;
  const TRELTlv promised(promising);
  EXPECT_EQ(lenOf(promised), 5U);
}

TEST(ReadingTlv, SerializeOfNothingIsTheHeadAlone) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = 0x10800005U;
  tlv.type = 9;
  ExactBlock seven(7, 0xA5);
  EXPECT_EQ(tlv.serialize(seven.data()), 7);
  EXPECT_EQ(asText(seven.view()), "10 80 00 05 09 00 00");
  EXPECT_EQ(log.brief(), Lines{});

  tlv.len = 0x0203;
  ExactBlock head(7, 0xA5);
  EXPECT_EQ(tlv.serialize(head.data()), 0x0203 + 7);
  EXPECT_EQ(asText(head.view()), "10 80 00 05 09 02 03");
  EXPECT_EQ(log.brief(), Lines{INVALID});
}

TEST(ReadingTlv, EveryCodeIsConvertedByItsSetAndTheResultFollowsTheLength) {
  struct Case {
    unsigned char type;
    unsigned short len;
    std::size_t swapped;  // 0: copied byte for byte
  };
  const Case cases[] = {
      {0, 8, 8},  {4, 8, 8}, {11, 8, 8}, {0, 1, 8},  {11, 3, 8}, {1, 4, 4},  {5, 4, 4},   {10, 4, 4}, {1, 2, 4},
      {10, 8, 4}, {2, 2, 2}, {6, 2, 2},  {2, 8, 2},  {6, 1, 2},  {3, 1, 0},  {7, 1, 0},   {8, 1, 0},  {3, 5, 0},
      {8, 8, 0},  {9, 5, 0}, {12, 8, 0}, {13, 6, 0}, {14, 4, 0}, {20, 8, 0}, {255, 2, 0}, {13, 8, 0},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << int{one.type} << " len " << one.len);
    const std::string value = "0102030405060708"_hex;
    const std::string wireBytes =
        std::string("\x0A\x0B\x0C\x0D", 4) + static_cast<char>(one.type) + '\0' + static_cast<char>(one.len) + value;
    TRELTlv tlv;
    EXPECT_EQ(read(tlv, wireBytes), one.len + 7);
    EXPECT_EQ(idOf(tlv), 0x0A0B0C0DU);
    EXPECT_EQ(typeOf(tlv), one.type);
    EXPECT_EQ(lenOf(tlv), one.len);
    const std::size_t touched = one.swapped == 0 ? one.len : one.swapped;
    std::string expected = value.substr(0, touched);
    if (!BIG && one.swapped != 0) expected = std::string(expected.rbegin(), expected.rend());
    EXPECT_EQ(bytesOf(tlv, touched), asText(expected));
    EXPECT_EQ(bytesOf(tlv, 8), asText(expected + std::string(8 - touched, '\0')));
    int returned = 0;
    EXPECT_EQ(wire(tlv, &returned),
              asText(wireBytes.substr(0, 7) + value.substr(0, touched) + std::string(8 - touched, '\xA5')));
    EXPECT_EQ(returned, one.len + 7);
  }
}

TEST(ReadingTlv, DeserializeOfAnEmptyTlvLeavesTheValueThatWasThere) {
  TRELTlv tlv;
  tlv.setValue(std::string("abc"));
  const void* const first = valOf(tlv);
  const ExactBlock seven("10800005 01 0000"_hex);
  EXPECT_EQ(tlv.deserialize(seven.data()), 7);
  EXPECT_EQ(idOf(tlv), 0x10800005U);
  EXPECT_EQ(typeOf(tlv), 1U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(valOf(tlv), first);
  EXPECT_EQ(bytesOf(tlv, 3), "61 62 63");
  TRELTlv fresh;
  EXPECT_EQ(fresh.deserialize(seven.data()), 7);
  EXPECT_EQ(valOf(fresh), nullptr);
}

TEST(ReadingTlv, ByteValuesTouchExactlyTheirLength) {
  TRELTlv tlv;
  const ExactBlock in("00000001 0D 0006 010203040506"_hex);
  EXPECT_EQ(tlv.deserialize(in.data()), 13);
  ExactBlock out(13, 0xA5);
  EXPECT_EQ(tlv.serialize(out.data()), 13);
  EXPECT_EQ(asText(out.view()), "00 00 00 01 0D 00 06 01 02 03 04 05 06");
  TRELTlv high;
  std::string bytes = "00000001 0C FFFF"_hex + std::string(65535, '\x5A');
  EXPECT_EQ(read(high, bytes), 65542);
  EXPECT_EQ(high.getValueAsString(), std::string(65535, '\x5A'));
}

TEST(ReadingTlv, ASetterMayBeGivenTheRecordsOwnBytes) {
  TRELTlv tlv;
  tlv.setValue("abcdefgh", 8, 13);
  ASSERT_NE(tlv.val, nullptr);
  tlv.setValue(tlv.val + 1, 6, 13);
  EXPECT_EQ(lenOf(tlv), 6U);
  EXPECT_EQ(bytesOf(tlv, 8), "62 63 64 65 66 67 67 68");
  tlv.setValue(tlv.val, 3);
  EXPECT_EQ(tlv.getValueAsString(), "bcd");
}

TEST(ReadingTlv, NoLineIsWrittenWithoutATraceObjectOrALevel) {
  LogCapture log;
  TraceObject* const captured = g_traceObject;
  const TRELTlv tlv;
  g_traceObject = nullptr;
  EXPECT_FALSE(tlv.isPointerValid());
  TraceObject levelless = {nullptr};
  g_traceObject = &levelless;
  EXPECT_FALSE(tlv.isPointerValid());
  int level = -1;
  levelless.level = &level;
  EXPECT_FALSE(tlv.isPointerValid());
  level = 2;
  EXPECT_FALSE(tlv.isPointerValid());
  EXPECT_EQ(log.brief(), Lines{});
  level = 3;
  EXPECT_FALSE(tlv.isPointerValid());
  g_traceObject = captured;
  ASSERT_EQ(log.brief(), Lines{INVALID});
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Pointer val in TRELTlv is invalid!");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelmsg.cpp");
}
