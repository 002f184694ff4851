// A TLV's value as boost::any: the C++ type follows from the type code.

#include <gtest/gtest.h>

#include <boost/any.hpp>
#include <string>
#include <typeinfo>
#include <vector>

#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

// The record's value, which must come as a T.
template <typename T>
void expectAny(const TRELTlv& tlv, const T& expected) {
  LogCapture log;
  boost::any out = std::string("before");
  EXPECT_TRUE(tlv.getValue(&out));
  ASSERT_TRUE(out.type() == typeid(T)) << out.type().name();
  EXPECT_EQ(boost::any_cast<T>(out), expected);
  EXPECT_EQ(log.brief(), Lines{});
}

void expectNotConverted(unsigned char type) {
  SCOPED_TRACE(static_cast<int>(type));
  TRELTlv tlv;
  tlv.setValue(0x0102030405060708ULL);
  tlv.type = type;
  boost::any out = std::string("before");
  EXPECT_FALSE(tlv.getValue(&out));
  ASSERT_TRUE(out.type() == typeid(std::string));
  EXPECT_EQ(boost::any_cast<std::string>(out), "before");
}

}  // namespace

TEST(TlvAny, OfAUint64IsAnUnsignedLongLong) {
  TRELTlv tlv;
  tlv.setValue(0x8102030405060708ULL);
  expectAny<unsigned long long>(tlv, 0x8102030405060708ULL);
}
TEST(TlvAny, OfAUint32IsAnUnsignedInt) {
  TRELTlv tlv;
  tlv.setValue(0x81020304U);
  expectAny<unsigned int>(tlv, 0x81020304U);
}
TEST(TlvAny, OfAUint16IsAnUnsignedShort) {
  TRELTlv tlv;
  tlv.setValue(static_cast<unsigned short>(0x8102));
  expectAny<unsigned short>(tlv, 0x8102);
}
TEST(TlvAny, OfAUint8IsAnUnsignedChar) {
  TRELTlv tlv;
  tlv.setValue(static_cast<unsigned char>(0x81));
  expectAny<unsigned char>(tlv, 0x81);
}
TEST(TlvAny, OfAnInt64IsALongLong) {
  TRELTlv tlv;
  tlv.setValue(-9000000000LL);
  expectAny<long long>(tlv, -9000000000LL);
}
TEST(TlvAny, OfAUnixTimeIsALongLong) {
  TRELTlv tlv;
  tlv.setValue(-9000000000LL);
  tlv.type = TREL_TYPE_UNIX_TIME;
  expectAny<long long>(tlv, -9000000000LL);
}
TEST(TlvAny, OfAnInt32IsAnInt) {
  TRELTlv tlv;
  tlv.setValue(-70000);
  expectAny<int>(tlv, -70000);
}
TEST(TlvAny, OfAnInt16IsAShort) {
  TRELTlv tlv;
  tlv.setValue(static_cast<short>(-300));
  expectAny<short>(tlv, -300);
}
TEST(TlvAny, OfAnInt8IsASignedChar) {
  TRELTlv tlv;
  tlv.setValue(static_cast<signed char>(-3));
  expectAny<signed char>(tlv, -3);
}
TEST(TlvAny, OfABooleanIsABool) {
  TRELTlv set;
  set.setValue(true);
  expectAny<bool>(set, true);
  TRELTlv clear;
  clear.setValue(false);
  expectAny<bool>(clear, false);
}
TEST(TlvAny, OfABooleanByteFiveIsTrue) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_BOOLEAN, "05"_hex);
  expectAny<bool>(tlv, true);
}
TEST(TlvAny, OfAStringIsTheTextUpToItsFirstZeroByte) {
  TRELTlv whole;
  whole.setValue(std::string("abc"));
  expectAny<std::string>(whole, "abc");
  TRELTlv cut;
  fill(cut, TREL_TYPE_STRING, "61 62 00 63 64"_hex);
  expectAny<std::string>(cut, "ab");
}
TEST(TlvAny, OfAnEmptyStringIsEmpty) {
  TRELTlv tlv;
  tlv.setValue(std::string());
  expectAny<std::string>(tlv, "");
}

TEST(TlvAny, OfAnIpAddressIsNotConverted) { expectNotConverted(10); }
TEST(TlvAny, OfAByteArrayIsNotConverted) { expectNotConverted(12); }
TEST(TlvAny, OfAMacAddressIsNotConverted) { expectNotConverted(13); }
TEST(TlvAny, OfAnUnknownTypeIsNotConverted) {
  expectNotConverted(14);
  expectNotConverted(20);
  expectNotConverted(255);
}

TEST(TlvAny, WithoutAValueIsRefusedAndLeavesTheTarget) {
  LogCapture log;
  TRELTlv tlv;
  tlv.type = TREL_TYPE_UINT32;
  tlv.len = 4;
  boost::any out = 5;
  EXPECT_FALSE(tlv.getValue(&out));
  EXPECT_EQ(boost::any_cast<int>(out), 5);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"});
}

TEST(TlvAny, WithoutATargetIsRefused) {
  TRELTlv tlv;
  tlv.setValue(5U);
  EXPECT_FALSE(tlv.getValue(static_cast<boost::any*>(nullptr)));
  const TRELTlv empty;
  EXPECT_FALSE(empty.getValue(static_cast<boost::any*>(nullptr)));
}

TEST(TlvAny, DoesNotAskTheLength) {
  TRELTlv tlv;
  tlv.setValue(0x81020304U);
  tlv.len = 1;
  expectAny<unsigned int>(tlv, 0x81020304U);
}
