// What the getters make of the bytes that a TLV holds.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

const char* const NO_VALUE = "3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!";

// A checked getter without a value: refuses, leaves the target, writes its line.
template <typename T>
void expectRefused(T target) {
  LogCapture log;
  const TRELTlv tlv;
  const T before = target;
  EXPECT_FALSE(tlv.getValue(&target));
  EXPECT_EQ(target, before);
  EXPECT_EQ(log.brief(), Lines{NO_VALUE});
}

template <typename T>
T byReference(const TRELTlv& tlv) {
  T value{};
  tlv.getValue(value);
  return value;
}

template <typename T>
T byPointer(const TRELTlv& tlv) {
  T value{};
  EXPECT_TRUE(tlv.getValue(&value));
  return value;
}

// Eight bytes with the high bit set in each of them, in the order of the machine.
void fillWithHighBytes(TRELTlv& tlv, unsigned char type) { fill(tlv, type, "F1F2F3F4F5F6F7F8"_hex); }

}  // namespace

TEST(TlvReferenceGetter, ReadsTheNumberThatWasSet) {
  TRELTlv u64, u32, u16, u8, s64, s32, s16, s8, flag;
  u64.setValue(0x8102030405060708ULL);
  u32.setValue(0x81020304U);
  u16.setValue(static_cast<unsigned short>(0x8102));
  u8.setValue(static_cast<unsigned char>(0x81));
  s64.setValue(-9000000000LL);
  s32.setValue(-70000);
  s16.setValue(static_cast<short>(-300));
  s8.setValue(static_cast<signed char>(-3));
  flag.setValue(true);
  EXPECT_EQ(byReference<unsigned long long>(u64), 0x8102030405060708ULL);
  EXPECT_EQ(byReference<unsigned int>(u32), 0x81020304U);
  EXPECT_EQ(byReference<unsigned short>(u16), 0x8102U);
  EXPECT_EQ(byReference<unsigned char>(u8), 0x81U);
  EXPECT_EQ(byReference<long long>(s64), -9000000000LL);
  EXPECT_EQ(byReference<int>(s32), -70000);
  EXPECT_EQ(byReference<short>(s16), -300);
  EXPECT_EQ(byReference<signed char>(s8), -3);
  EXPECT_EQ(byReference<bool>(flag), true);
}

TEST(TlvReferenceGetter, ReadsAtTheWidthOfTheTargetWhateverTheType) {
  // Differs by byte order: the first bytes of the buffer are the high ones on one machine, the low ones on the other.
  TRELTlv tlv;
  fillWithHighBytes(tlv, TREL_TYPE_STRING);
  EXPECT_EQ(byReference<unsigned long long>(tlv), BIG_ENDIAN_HOST ? 0xF1F2F3F4F5F6F7F8ULL : 0xF8F7F6F5F4F3F2F1ULL);
  EXPECT_EQ(byReference<unsigned int>(tlv), BIG_ENDIAN_HOST ? 0xF1F2F3F4U : 0xF4F3F2F1U);
  EXPECT_EQ(byReference<unsigned short>(tlv), BIG_ENDIAN_HOST ? 0xF1F2U : 0xF2F1U);
  EXPECT_EQ(byReference<unsigned char>(tlv), 0xF1U);
  EXPECT_EQ(byReference<long long>(tlv), BIG_ENDIAN_HOST ? -1012478732780767240LL : -506664896818842895LL);
  EXPECT_EQ(byReference<int>(tlv), BIG_ENDIAN_HOST ? -235736076 : -185339151);
  EXPECT_EQ(byReference<short>(tlv), BIG_ENDIAN_HOST ? -3598 : -3343);
  EXPECT_EQ(byReference<signed char>(tlv), -15);
  EXPECT_EQ(byReference<bool>(tlv), true);
}

TEST(TlvReferenceGetter, OfABoolIsTrueForEveryByteButZero) {
  const unsigned char bytes[] = {1, 2, 5, 0x80, 0xFF};
  for (const unsigned char byte : bytes) {
    SCOPED_TRACE(static_cast<int>(byte));
    TRELTlv tlv;
    tlv.setValue(byte);
    EXPECT_TRUE(byReference<bool>(tlv));
  }
  TRELTlv zero;
  zero.setValue(static_cast<unsigned char>(0));
  bool value = true;
  zero.getValue(value);
  EXPECT_FALSE(value);
}

TEST(TlvPointerGetter, ReadsTheNumberThatWasSet) {
  LogCapture log;
  TRELTlv u64, u32, u16, u8, s64, s32, s16, s8, flag;
  u64.setValue(0x8102030405060708ULL);
  u32.setValue(0x81020304U);
  u16.setValue(static_cast<unsigned short>(0x8102));
  u8.setValue(static_cast<unsigned char>(0x81));
  s64.setValue(-9000000000LL);
  s32.setValue(-70000);
  s16.setValue(static_cast<short>(-300));
  s8.setValue(static_cast<signed char>(-3));
  flag.setValue(true);
  EXPECT_EQ(byPointer<unsigned long long>(u64), 0x8102030405060708ULL);
  EXPECT_EQ(byPointer<unsigned int>(u32), 0x81020304U);
  EXPECT_EQ(byPointer<unsigned short>(u16), 0x8102U);
  EXPECT_EQ(byPointer<unsigned char>(u8), 0x81U);
  EXPECT_EQ(byPointer<long long>(s64), -9000000000LL);
  EXPECT_EQ(byPointer<int>(s32), -70000);
  EXPECT_EQ(byPointer<short>(s16), -300);
  EXPECT_EQ(byPointer<signed char>(s8), -3);
  EXPECT_EQ(byPointer<bool>(flag), true);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvPointerGetter, DoesNotAskTheType) {
  // Differs by byte order.
  TRELTlv tlv;
  fillWithHighBytes(tlv, 200);
  EXPECT_EQ(byPointer<unsigned long long>(tlv), BIG_ENDIAN_HOST ? 0xF1F2F3F4F5F6F7F8ULL : 0xF8F7F6F5F4F3F2F1ULL);
  EXPECT_EQ(byPointer<unsigned int>(tlv), BIG_ENDIAN_HOST ? 0xF1F2F3F4U : 0xF4F3F2F1U);
  EXPECT_EQ(byPointer<unsigned short>(tlv), BIG_ENDIAN_HOST ? 0xF1F2U : 0xF2F1U);
  EXPECT_EQ(byPointer<unsigned char>(tlv), 0xF1U);
  EXPECT_EQ(byPointer<long long>(tlv), BIG_ENDIAN_HOST ? -1012478732780767240LL : -506664896818842895LL);
  EXPECT_EQ(byPointer<int>(tlv), BIG_ENDIAN_HOST ? -235736076 : -185339151);
  EXPECT_EQ(byPointer<short>(tlv), BIG_ENDIAN_HOST ? -3598 : -3343);
  EXPECT_EQ(byPointer<signed char>(tlv), -15);
  EXPECT_EQ(byPointer<bool>(tlv), true);
}

TEST(TlvPointerGetter, WithoutAValueRefusesAndLeavesTheTarget) {
  expectRefused(123ULL);
  expectRefused(123U);
  expectRefused(static_cast<unsigned short>(123));
  expectRefused(static_cast<unsigned char>(123));
  expectRefused(-123LL);
  expectRefused(-123);
  expectRefused(static_cast<short>(-123));
  expectRefused(static_cast<signed char>(-123));
  expectRefused(true);
}

TEST(TlvValueGetter, ReadsTheNumberThatWasSet) {
  LogCapture log;
  TRELTlv u64, u32, u16, u8, s64, s32, s16, s8, flag;
  u64.setValue(0x8102030405060708ULL);
  u32.setValue(0x81020304U);
  u16.setValue(static_cast<unsigned short>(0x8102));
  u8.setValue(static_cast<unsigned char>(0x81));
  s64.setValue(-9000000000LL);
  s32.setValue(-70000);
  s16.setValue(static_cast<short>(-300));
  s8.setValue(static_cast<signed char>(-3));
  flag.setValue(true);
  EXPECT_EQ(u64.getValueAsUInt64(), 0x8102030405060708ULL);
  EXPECT_EQ(u32.getValueAsUInt32(), 0x81020304U);
  EXPECT_EQ(u16.getValueAsUInt16(), 0x8102U);
  EXPECT_EQ(u8.getValueAsUInt8(), 0x81U);
  EXPECT_EQ(s64.getValueAsInt64(), -9000000000LL);
  EXPECT_EQ(s32.getValueAsInt32(), -70000);
  EXPECT_EQ(s16.getValueAsInt16(), -300);
  EXPECT_EQ(s8.getValueAsInt8(), -3);
  EXPECT_TRUE(flag.getValueAsBool());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvValueGetter, ReadsAByteFFAsMinusOneOr255) {
  TRELTlv tlv;
  tlv.setValue(static_cast<unsigned char>(0xFF));
  EXPECT_EQ(tlv.getValueAsInt8(), -1);
  EXPECT_EQ(tlv.getValueAsUInt8(), 255);
}

TEST(TlvValueGetter, SignExtendsAtTheWidthNamed) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_UINT64, "FFFFFFFFFFFFFFFF"_hex);
  EXPECT_EQ(tlv.getValueAsInt64(), -1LL);
  EXPECT_EQ(tlv.getValueAsInt32(), -1);
  EXPECT_EQ(tlv.getValueAsInt16(), -1);
  EXPECT_EQ(tlv.getValueAsInt8(), -1);
  EXPECT_EQ(tlv.getValueAsUInt64(), 18446744073709551615ULL);
  EXPECT_EQ(tlv.getValueAsUInt32(), 4294967295U);
  EXPECT_EQ(tlv.getValueAsUInt16(), 65535U);
  EXPECT_EQ(tlv.getValueAsUInt8(), 255U);
}

TEST(TlvValueGetter, DoesNotAskTheType) {
  // Differs by byte order.
  TRELTlv tlv;
  fillWithHighBytes(tlv, TREL_TYPE_BYTE_ARRAY);
  EXPECT_EQ(tlv.getValueAsUInt64(), BIG_ENDIAN_HOST ? 0xF1F2F3F4F5F6F7F8ULL : 0xF8F7F6F5F4F3F2F1ULL);
  EXPECT_EQ(tlv.getValueAsUInt32(), BIG_ENDIAN_HOST ? 0xF1F2F3F4U : 0xF4F3F2F1U);
  EXPECT_EQ(tlv.getValueAsUInt16(), BIG_ENDIAN_HOST ? 0xF1F2U : 0xF2F1U);
  EXPECT_EQ(tlv.getValueAsUInt8(), 0xF1U);
  EXPECT_EQ(tlv.getValueAsInt64(), BIG_ENDIAN_HOST ? -1012478732780767240LL : -506664896818842895LL);
  EXPECT_EQ(tlv.getValueAsInt32(), BIG_ENDIAN_HOST ? -235736076 : -185339151);
  EXPECT_EQ(tlv.getValueAsInt16(), BIG_ENDIAN_HOST ? -3598 : -3343);
  EXPECT_EQ(tlv.getValueAsInt8(), -15);
  EXPECT_TRUE(tlv.getValueAsBool());
}

TEST(TlvValueGetter, OfABoolIsTrueForByteFive) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_BOOLEAN, "05"_hex);
  EXPECT_TRUE(tlv.getValueAsBool());
  TRELTlv zero;
  fill(zero, TREL_TYPE_BOOLEAN, "00"_hex);
  EXPECT_FALSE(zero.getValueAsBool());
}

TEST(TlvValueGetter, WithoutAValueIsZeroWithOneLineEach) {
  LogCapture log;
  const TRELTlv tlv;
  EXPECT_EQ(tlv.getValueAsUInt64(), 0ULL);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0U);
  EXPECT_EQ(tlv.getValueAsUInt16(), 0U);
  EXPECT_EQ(tlv.getValueAsUInt8(), 0U);
  EXPECT_EQ(tlv.getValueAsInt64(), 0LL);
  EXPECT_EQ(tlv.getValueAsInt32(), 0);
  EXPECT_EQ(tlv.getValueAsInt16(), 0);
  EXPECT_EQ(tlv.getValueAsInt8(), 0);
  EXPECT_FALSE(tlv.getValueAsBool());
  EXPECT_EQ(log.brief(), Lines(9, NO_VALUE));
}

TEST(TlvValueGetter, ReadsZerosBehindAShorterValueThatTheRecordKeeps) {
  // Differs by byte order: the bytes that are there come first in the buffer.
  TRELTlv byte;
  byte.setValue(static_cast<unsigned char>(0xFF));
  EXPECT_EQ(byte.getValueAsUInt64(), BIG_ENDIAN_HOST ? 0xFF00000000000000ULL : 0xFFULL);
  EXPECT_EQ(byte.getValueAsUInt32(), BIG_ENDIAN_HOST ? 0xFF000000U : 0xFFU);
  EXPECT_EQ(byte.getValueAsUInt16(), BIG_ENDIAN_HOST ? 0xFF00U : 0xFFU);
  TRELTlv text;
  text.setValue(std::string("ab"));
  EXPECT_EQ(text.getValueAsUInt64(), BIG_ENDIAN_HOST ? 0x6162000000000000ULL : 0x6261ULL);
  TRELTlv empty;
  empty.setValue(std::string());
  EXPECT_EQ(empty.getValueAsUInt64(), 0ULL);
}

// --- text ---

TEST(TlvTextGetter, ByReferenceKeepsZeroBytes) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "61 62 00 63 64"_hex);
  std::string text;
  tlv.getValue(text);
  EXPECT_EQ(asText(text), "61 62 00 63 64");
}

TEST(TlvTextGetter, ByReferenceTakesLenBytesAndNotOneMore) {
  TRELTlv tlv;
  tlv.setValue(std::string("abcdef"));
  tlv.len = 2;
  std::string text = "before";
  tlv.getValue(text);
  EXPECT_EQ(text, "ab");
  tlv.len = 0;
  tlv.getValue(text);
  EXPECT_EQ(text, "");
}

TEST(TlvTextGetter, ByReferenceWithoutAValueLeavesTheTarget) {
  LogCapture log;
  TRELTlv tlv;
  tlv.len = 3;
  std::string text = "before";
  tlv.getValue(text);
  EXPECT_EQ(text, "before");
  EXPECT_EQ(log.brief(), Lines{NO_VALUE});
}

TEST(TlvTextGetter, AsResultKeepsZeroBytes) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "61 62 00 63 64"_hex);
  EXPECT_EQ(asText(tlv.getValueAsString()), "61 62 00 63 64");
}

TEST(TlvTextGetter, AsResultWithoutAValueIsEmptyAfterTheLine) {
  LogCapture log;
  TRELTlv tlv;
  tlv.len = 3;
  EXPECT_EQ(tlv.getValueAsString(), "");
  EXPECT_EQ(log.brief(), Lines{NO_VALUE});
}

TEST(TlvTextGetter, DoesNotAskTheType) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_MAC_ADDRESS, "61 62 63"_hex);
  std::string text;
  tlv.getValue(text);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(tlv.getValueAsString(), "abc");
  tlv.getValue(&text, 2);
  EXPECT_EQ(text, "ab");
}

TEST(TlvLimitedTextGetter, EndsAtTheFirstZeroByte) {
  LogCapture log;
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "61 62 00 63 64"_hex);
  std::string text = "before";
  tlv.getValue(&text, 5);
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvLimitedTextGetter, TakesTheSmallerOfMaxLenAndLen) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "abcde");
  struct {
    int maxLen;
    const char* text;
  } const cases[] = {{0, ""}, {1, "a"}, {4, "abcd"}, {5, "abcde"}, {6, "abcde"}, {100000, "abcde"}, {INT_MAX, "abcde"}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.maxLen);
    std::string text = "before";
    tlv.getValue(&text, each.maxLen);
    EXPECT_EQ(text, each.text);
  }
}

TEST(TlvLimitedTextGetter, TakesANegativeMaxLenAsZero) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "abcde");
  const int lengths[] = {-1, -5, INT_MIN};
  for (const int maxLen : lengths) {
    SCOPED_TRACE(maxLen);
    std::string text = "before";
    tlv.getValue(&text, maxLen);
    EXPECT_EQ(text, "");
  }
}

TEST(TlvLimitedTextGetter, WithoutAValueEmptiesTheTarget) {
  LogCapture log;
  TRELTlv tlv;
  tlv.len = 3;
  std::string text = "before";
  tlv.getValue(&text, 3);
  EXPECT_EQ(text, "");
  EXPECT_EQ(log.brief(), Lines{NO_VALUE});
}

TEST(TlvLimitedTextGetter, WithoutAValueAndATargetDoesNothing) {
  LogCapture log;
  const TRELTlv tlv;
  tlv.getValue(static_cast<std::string*>(nullptr), 3);
  EXPECT_EQ(log.brief(), Lines{NO_VALUE});
}

TEST(TlvLimitedTextGetter, WithAValueAndWithoutATargetDoesNothing) {
  LogCapture log;
  TRELTlv tlv;
  tlv.setValue(std::string("abc"));
  tlv.getValue(static_cast<std::string*>(nullptr), 3);
  EXPECT_EQ(log.brief(), Lines{});
}

// --- bytes ---

TEST(TlvRawGetter, CopiesExactlyNBytesWithoutAskingTheLength) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "61 62 63 64"_hex);
  tlv.len = 1;
  ExactBlock out(5);
  tlv.getValue(out.data(), 4);
  EXPECT_EQ(asText(out.view()), "61 62 63 64 A5");
  ExactBlock single(2);
  tlv.getValue(single.data(), 1);
  EXPECT_EQ(asText(single.view()), "61 A5");
}

TEST(TlvRawGetter, CopiesNothingForNBelowOne) {
  LogCapture log;
  const TRELTlv empty;
  ExactBlock out(2);
  empty.getValue(out.data(), 0);
  empty.getValue(out.data(), -1);
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "6162"_hex);
  tlv.getValue(out.data(), 0);
  tlv.getValue(out.data(), -1);
  tlv.getValue(out.data(), INT_MIN);
  EXPECT_EQ(asText(out.view()), "A5 A5");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvArrayGetter, CopiesTheSmallerOfLenAndN) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_MAC_ADDRESS, "001B2C3D4E5F"_hex);
  ExactBlock roomy(8);
  EXPECT_EQ(tlv.getValueArray(roomy.data(), 8), 6);
  EXPECT_EQ(asText(roomy.view()), "00 1B 2C 3D 4E 5F A5 A5");
  ExactBlock exact(6);
  EXPECT_EQ(tlv.getValueArray(exact.data(), 6), 6);
  EXPECT_EQ(asText(exact.view()), "00 1B 2C 3D 4E 5F");
  ExactBlock tight(2);
  EXPECT_EQ(tlv.getValueArray(tight.data(), 2), 2);
  EXPECT_EQ(asText(tight.view()), "00 1B");
  TRELTlv byte;
  fill(byte, TREL_TYPE_BYTE_ARRAY, "2A"_hex);
  ExactBlock single(2);
  EXPECT_EQ(byte.getValueArray(single.data(), 1), 1);
  EXPECT_EQ(asText(single.view()), "2A A5");
}

TEST(TlvArrayGetter, WithoutAValueReturnsTheLengthAllTheSameAndCopiesNothing) {
  TRELTlv tlv;
  tlv.len = 6;
  ExactBlock out(8);
  EXPECT_EQ(tlv.getValueArray(out.data(), 100), 6);
  EXPECT_EQ(tlv.getValueArray(out.data(), 4), 4);
  EXPECT_EQ(asText(out.view()), "A5 A5 A5 A5 A5 A5 A5 A5");
}

TEST(TlvArrayGetter, CopiesNothingForNBelowOneAndReturnsIt) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_MAC_ADDRESS, "001B2C3D4E5F"_hex);
  ExactBlock out(2);
  EXPECT_EQ(tlv.getValueArray(out.data(), 0), 0);
  EXPECT_EQ(tlv.getValueArray(out.data(), -3), -3);
  EXPECT_EQ(asText(out.view()), "A5 A5");
}

TEST(TlvArrayGetter, OfALengthOfZeroIsZero) {
  TRELTlv tlv;
  tlv.setValue(std::string());
  ExactBlock out(2);
  EXPECT_EQ(tlv.getValueArray(out.data(), 2), 0);
  EXPECT_EQ(asText(out.view()), "A5 A5");
}
