// What the setters make of a value: type, length, and the bytes that are kept.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

constexpr unsigned int OID = 0x10800005U;

// Sets one value on a fresh record and looks at what became of it. The value's bytes are in the order of the machine.
template <typename T>
void expectSet(T value, unsigned int type, unsigned int len, const char* littleEndian, const char* bigEndian) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(value);
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), type);
  EXPECT_EQ(lenOf(tlv), len);
  EXPECT_EQ(storedBytes(tlv, len), BIG_ENDIAN_HOST ? bigEndian : littleEndian);
  EXPECT_EQ(log.brief(), Lines{});
}

void expectUntouched(const TRELTlv& tlv) {
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), 77U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(valOf(tlv), nullptr);
}

// A record that no setter has touched; a type that none gives.
void prepare(TRELTlv& tlv) {
  tlv.id = OID;
  tlv.type = 77;
}

}  // namespace

// The stored bytes of the numbers differ by byte order.

TEST(TlvNumberSetter, UnsignedLongLongIsAUint64) {
  expectSet(0x0102030405060708ULL, 0, 8, "08 07 06 05 04 03 02 01", "01 02 03 04 05 06 07 08");
}
TEST(TlvNumberSetter, UnsignedIntIsAUint32) { expectSet(0x01020304U, 1, 4, "04 03 02 01", "01 02 03 04"); }
TEST(TlvNumberSetter, UnsignedShortIsAUint16) {
  expectSet(static_cast<unsigned short>(0x0102), 2, 2, "02 01", "01 02");
}
TEST(TlvNumberSetter, UnsignedCharIsAUint8) { expectSet(static_cast<unsigned char>(0xFE), 3, 1, "FE", "FE"); }
TEST(TlvNumberSetter, LongLongIsAnInt64) {
  expectSet(-2LL, 4, 8, "FE FF FF FF FF FF FF FF", "FF FF FF FF FF FF FF FE");
}
TEST(TlvNumberSetter, IntIsAnInt32) { expectSet(-2, 5, 4, "FE FF FF FF", "FF FF FF FE"); }
TEST(TlvNumberSetter, ShortIsAnInt16) { expectSet(static_cast<short>(-2), 6, 2, "FE FF", "FF FE"); }
TEST(TlvNumberSetter, SignedCharIsAnInt8) { expectSet(static_cast<signed char>(-2), 7, 1, "FE", "FE"); }
TEST(TlvNumberSetter, TrueIsABooleanOfByteOne) { expectSet(true, 8, 1, "01", "01"); }
TEST(TlvNumberSetter, FalseIsABooleanOfByteZero) { expectSet(false, 8, 1, "00", "00"); }

TEST(TlvNumberSetter, KeepsTheExtremesOfItsType) {
  TRELTlv lowest64;
  lowest64.setValue(-9223372036854775807LL - 1);
  EXPECT_EQ(lowest64.getValueAsInt64(), -9223372036854775807LL - 1);
  TRELTlv highest64;
  highest64.setValue(18446744073709551615ULL);
  EXPECT_EQ(highest64.getValueAsUInt64(), 18446744073709551615ULL);
  TRELTlv lowest32;
  lowest32.setValue(-2147483647 - 1);
  EXPECT_EQ(lowest32.getValueAsInt32(), -2147483647 - 1);
  TRELTlv lowest8;
  lowest8.setValue(static_cast<signed char>(-128));
  EXPECT_EQ(lowest8.getValueAsInt8(), -128);
}

TEST(TlvNumberSetter, LeavesABufferOfEightBytesZeroBehindAShorterNumber) {
  TRELTlv byte;
  byte.setValue(static_cast<unsigned char>(0xFE));
  EXPECT_EQ(storedBytes(byte, 8), "FE 00 00 00 00 00 00 00");
  TRELTlv flag;
  flag.setValue(true);
  EXPECT_EQ(storedBytes(flag, 8), "01 00 00 00 00 00 00 00");
  TRELTlv half;
  half.setValue(static_cast<unsigned short>(0x0102));
  EXPECT_EQ(storedBytes(half, 8), BIG_ENDIAN_HOST ? "01 02 00 00 00 00 00 00" : "02 01 00 00 00 00 00 00");
  TRELTlv word;
  word.setValue(0x01020304U);
  EXPECT_EQ(storedBytes(word, 8), BIG_ENDIAN_HOST ? "01 02 03 04 00 00 00 00" : "04 03 02 01 00 00 00 00");
}

TEST(TlvChosenTypeSetter, MakesAnIpAddressOfLengthFour) {
  LogCapture log;
  TRELTlv tlv;
  prepare(tlv);
  tlv.setValue(7, 10);
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), 10U);
  EXPECT_EQ(lenOf(tlv), 4U);
  EXPECT_EQ(storedBytes(tlv, 4), BIG_ENDIAN_HOST ? "00 00 00 07" : "07 00 00 00");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvChosenTypeSetter, MakesAnInt32) {
  LogCapture log;
  TRELTlv tlv;
  prepare(tlv);
  tlv.setValue(-2, 5);
  EXPECT_EQ(typeOf(tlv), 5U);
  EXPECT_EQ(lenOf(tlv), 4U);
  EXPECT_EQ(tlv.getValueAsInt32(), -2);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvChosenTypeSetter, RefusesEveryOtherTypeWithALineAndChangesNothing) {
  const unsigned char refused[] = {0, 1, 2, 3, 4, 6, 7, 8, 9, 11, 12, 13, 14, 26, 255};
  for (const unsigned char type : refused) {
    SCOPED_TRACE(static_cast<int>(type));
    LogCapture log;
    TRELTlv tlv;
    prepare(tlv);
    tlv.setValue(7, type);
    expectUntouched(tlv);
    EXPECT_EQ(log.brief(),
              Lines{"3 [ERROR] trelmsg (setValue) - setValue with a newtype that is not supported, val could "
                    "be null pointer!!!"});
  }
}

TEST(TlvChosenTypeSetter, RefusedLeavesAFormerValueAsItWas) {
  LogCapture log(2);  // and its line is silent at level 2
  TRELTlv tlv;
  tlv.setValue(9, 10);
  tlv.setValue(7, 3);
  EXPECT_EQ(typeOf(tlv), 10U);
  EXPECT_EQ(lenOf(tlv), 4U);
  EXPECT_EQ(tlv.getValueAsInt32(), 9);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTextSetter, KeepsTheCharactersWithoutATerminator) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(std::string("abc"));
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(storedBytes(tlv, 3), "61 62 63");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTextSetter, KeepsZeroBytes) {
  TRELTlv tlv;
  tlv.setValue("61 00 62 00"_hex);
  EXPECT_EQ(lenOf(tlv), 4U);
  EXPECT_EQ(storedBytes(tlv, 4), "61 00 62 00");
}

TEST(TlvTextSetter, OfAnEmptyTextHasAValueOfLengthZero) {
  LogCapture log;
  TRELTlv tlv;
  tlv.setValue(std::string());
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(tlv.getValueAsString(), "");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTextSetter, TakesTheLongestLengthWhole) {
  TRELTlv tlv;
  tlv.setValue(std::string(65535, 'x'));
  EXPECT_EQ(lenOf(tlv), 65535U);
  EXPECT_EQ(tlv.getValueAsString(), std::string(65535, 'x'));
}

TEST(TlvTextSetter, KeepsTheLow16BitsOfASizeAndThatManyCharacters) {
  TRELTlv tlv;
  tlv.setValue(std::string("abc") + std::string(65536, 'x'));
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(storedBytes(tlv, 8), "61 62 63 00 00 00 00 00");
}

TEST(TlvTextSetter, OfExactly65536CharactersHasLengthZero) {
  TRELTlv tlv;
  tlv.setValue(std::string(65536, 'x'));
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 0U);
}

TEST(TlvByteSetter, WithoutATypeMakesAString) {
  const ExactBlock bytes("61 00 62"_hex);
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(bytes.data(), 3);
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(storedBytes(tlv, 8), "61 00 62 00 00 00 00 00");
}

TEST(TlvByteSetter, ReadsNoMoreThanTheLow16BitsOfTheLength) {
  const ExactBlock bytes("6162"_hex);
  TRELTlv tlv;
  tlv.setValue(bytes.data(), 65538);
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(storedBytes(tlv, 8), "61 62 00 00 00 00 00 00");
}

TEST(TlvByteSetter, OfANegativeLengthStoresThatManyZeroBytes) {
  const ExactBlock bytes("6162"_hex);
  TRELTlv most;
  most.setValue(bytes.data(), -1);
  EXPECT_EQ(typeOf(most), 9U);
  EXPECT_EQ(lenOf(most), 65535U);
  EXPECT_EQ(most.getValueAsString(), std::string(65535, '\0'));
  TRELTlv three;
  three.setValue(bytes.data(), -65533);
  EXPECT_EQ(lenOf(three), 3U);
  EXPECT_EQ(storedBytes(three, 8), "00 00 00 00 00 00 00 00");
  TRELTlv none;
  none.setValue(bytes.data(), -65536);
  EXPECT_EQ(lenOf(none), 0U);
}

TEST(TlvByteSetter, OfANegativeLengthOverwritesAFormerValueWithZeros) {
  const ExactBlock bytes("6162"_hex);
  TRELTlv tlv;
  tlv.setValue(std::string("abcdefgh"));
  tlv.setValue(bytes.data(), -65533);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(storedBytes(tlv, 8), "00 00 00 64 65 66 67 68");
}

TEST(TlvByteSetter, OfALengthOfZeroReadsNothing) {
  LogCapture log;
  TRELTlv tlv;
  tlv.setValue(static_cast<const char*>(nullptr), 0);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvByteSetter, OfNoBytesAtAllStoresZeros) {
  TRELTlv tlv;
  tlv.setValue(static_cast<const char*>(nullptr), 3);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(storedBytes(tlv, 3), "00 00 00");
}

TEST(TlvTypedByteSetter, TakesAMacAddress) {
  LogCapture log;
  const ExactBlock bytes("00 1B 2C 3D 4E 5F"_hex);
  TRELTlv tlv;
  tlv.id = OID;
  tlv.setValue(bytes.data(), 6, 13);
  EXPECT_EQ(idOf(tlv), OID);
  EXPECT_EQ(typeOf(tlv), 13U);
  EXPECT_EQ(lenOf(tlv), 6U);
  EXPECT_EQ(storedBytes(tlv, 8), "00 1B 2C 3D 4E 5F 00 00");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTypedByteSetter, TakesAMacAddressOfAnyLength) {
  TRELTlv tlv;
  tlv.setValue("ab", 2, 13);
  EXPECT_EQ(typeOf(tlv), 13U);
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(storedBytes(tlv, 2), "61 62");
}

TEST(TlvTypedByteSetter, TakesAString) {
  TRELTlv tlv;
  tlv.setValue("ab", 2, 9);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(storedBytes(tlv, 2), "61 62");
}

TEST(TlvTypedByteSetter, IgnoresAByteArrayWithoutALine) {
  LogCapture log;
  TRELTlv tlv;
  prepare(tlv);
  tlv.setValue("ab", 2, 12);
  expectUntouched(tlv);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTypedByteSetter, IgnoresEveryOtherTypeWithoutALine) {
  LogCapture log;
  const unsigned char ignored[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 14, 25, 29, 41, 45, 73, 137, 141, 255};
  for (const unsigned char type : ignored) {
    SCOPED_TRACE(static_cast<int>(type));
    TRELTlv tlv;
    prepare(tlv);
    tlv.setValue("ab", 2, type);
    expectUntouched(tlv);
  }
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvTypedByteSetter, IgnoredLeavesAFormerValueAsItWas) {
  TRELTlv tlv;
  tlv.setValue(std::string("xyz"));
  tlv.setValue("ab", 2, 12);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(tlv.getValueAsString(), "xyz");
}

TEST(TlvTypedByteSetter, KeepsTheLow16BitsOfTheLength) {
  const ExactBlock bytes("6162"_hex);
  TRELTlv tlv;
  tlv.setValue(bytes.data(), 65538, 13);
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(storedBytes(tlv, 8), "61 62 00 00 00 00 00 00");
  TRELTlv negative;
  negative.setValue(bytes.data(), -65533, 13);
  EXPECT_EQ(typeOf(negative), 13U);
  EXPECT_EQ(lenOf(negative), 3U);
  EXPECT_EQ(storedBytes(negative, 8), "00 00 00 00 00 00 00 00");
}

// --- the buffer reuse rule ---

TEST(TlvBufferReuse, ASecondNumberIsWrittenIntoTheBufferThatIsThere) {
  TRELTlv tlv;
  tlv.setValue(true);
  const char* const buffer = valOf(tlv);
  tlv.setValue(0x0102030405060708ULL);
  EXPECT_EQ(valOf(tlv), buffer);
  EXPECT_EQ(typeOf(tlv), 0U);
  EXPECT_EQ(lenOf(tlv), 8U);
  EXPECT_EQ(tlv.getValueAsUInt64(), 0x0102030405060708ULL);
}

TEST(TlvBufferReuse, EverySetterKeepsTheBufferThatIsThere) {
  TRELTlv tlv;
  tlv.setValue(std::string("a text of more than eight bytes"));
  const char* const buffer = valOf(tlv);
  tlv.setValue(1ULL);
  tlv.setValue(1U);
  tlv.setValue(static_cast<unsigned short>(1));
  tlv.setValue(static_cast<unsigned char>(1));
  tlv.setValue(1LL);
  tlv.setValue(1);
  tlv.setValue(static_cast<short>(1));
  tlv.setValue(static_cast<signed char>(1));
  tlv.setValue(true);
  tlv.setValue(1, 10);
  tlv.setValue(std::string("text"));
  tlv.setValue("text", 4);
  tlv.setValue("text", 4, 13);
  EXPECT_EQ(valOf(tlv), buffer);
}

TEST(TlvBufferReuse, AShorterTextLeavesTheRestOfTheFormerOneBehindIt) {
  TRELTlv tlv;
  tlv.setValue(std::string("abcdef"));
  tlv.setValue(std::string("xy"));
  EXPECT_EQ(lenOf(tlv), 2U);
  EXPECT_EQ(tlv.getValueAsString(), "xy");
  EXPECT_EQ(storedBytes(tlv, 6), "78 79 63 64 65 66");
}

TEST(TlvBufferReuse, AnApplicationsOwnBufferIsWrittenWithoutAskingItsSize) {
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "abcd");
  const char* const buffer = valOf(tlv);
  tlv.setValue(0x01020304U);  // four bytes fit, and no more than four are written
  EXPECT_EQ(valOf(tlv), buffer);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0x01020304U);
}
