// The record itself: its packed layout, its beginning and end, its copies.

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <type_traits>
#include <utility>

#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

}  // namespace

TEST(TlvLayout, TheFirstThreeMembersLieAsTheHeadDoesOnTheWire) {
  EXPECT_EQ(offsetof(trel_tlv, id), 0U);
  EXPECT_EQ(offsetof(trel_tlv, type), 4U);
  EXPECT_EQ(offsetof(trel_tlv, len), 5U);
  EXPECT_EQ(offsetof(trel_tlv, val), 7U);
  EXPECT_EQ(TREL_TLV_HEAD_LEN, 7);
}

TEST(TlvLayout, IsPackedWithoutPaddingAtTheEnd) {
  // The pointer makes the difference between machines.
  EXPECT_EQ(sizeof(trel_tlv), sizeof(void*) == 8 ? 15U : 11U);
  EXPECT_EQ(alignof(trel_tlv), 1U);
}

TEST(TlvLayout, MembersHaveTheirWidths) {
  EXPECT_TRUE((std::is_same_v<decltype(trel_tlv::id), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(trel_tlv::type), unsigned char>));
  EXPECT_TRUE((std::is_same_v<decltype(trel_tlv::len), unsigned short>));
  EXPECT_TRUE((std::is_same_v<decltype(trel_tlv::val), char*>));
}

TEST(TlvLayout, TheClassHasTheSameMembersAndNoVirtualOperation) {
  EXPECT_EQ(sizeof(TRELTlv), sizeof(void*) == 8 ? 15U : 11U);
  EXPECT_EQ(alignof(TRELTlv), 1U);
  EXPECT_EQ(offsetof(TRELTlv, id), 0U);
  EXPECT_EQ(offsetof(TRELTlv, type), 4U);
  EXPECT_EQ(offsetof(TRELTlv, len), 5U);
  EXPECT_EQ(offsetof(TRELTlv, val), 7U);
  EXPECT_FALSE(std::is_polymorphic_v<TRELTlv>);
  EXPECT_TRUE((std::is_base_of_v<trel_tlv, TRELTlv>));
}

TEST(TlvTypeCodes, AreTheProtocolsNumbers) {
  EXPECT_EQ(TREL_TYPE_UINT64, 0);
  EXPECT_EQ(TREL_TYPE_UINT32, 1);
  EXPECT_EQ(TREL_TYPE_UINT16, 2);
  EXPECT_EQ(TREL_TYPE_UINT8, 3);
  EXPECT_EQ(TREL_TYPE_INT64, 4);
  EXPECT_EQ(TREL_TYPE_INT32, 5);
  EXPECT_EQ(TREL_TYPE_INT16, 6);
  EXPECT_EQ(TREL_TYPE_INT8, 7);
  EXPECT_EQ(TREL_TYPE_BOOLEAN, 8);
  EXPECT_EQ(TREL_TYPE_STRING, 9);
  EXPECT_EQ(TREL_TYPE_IPV4ADDRESS, 10);
  EXPECT_EQ(TREL_TYPE_UNIX_TIME, 11);
  EXPECT_EQ(TREL_TYPE_BYTE_ARRAY, 12);
  EXPECT_EQ(TREL_TYPE_MAC_ADDRESS, 13);
  EXPECT_EQ(TREL_TYPE_NONE, 14);
}

TEST(TlvRecord, DefaultMadeIsAllZero) {
  const TRELTlv tlv;
  EXPECT_EQ(idOf(tlv), 0U);
  EXPECT_EQ(typeOf(tlv), 0U);
  EXPECT_EQ(lenOf(tlv), 0U);
  EXPECT_EQ(valOf(tlv), nullptr);
}

TEST(TlvRecord, FreesABufferThatTheApplicationGaveIt) {
  // A leak, or a buffer released by anything but free, is the address sanitizer's to tell.
  TRELTlv tlv;
  fill(tlv, TREL_TYPE_STRING, "given");
  EXPECT_EQ(tlv.getValueAsString(), "given");
}

TEST(TlvRecord, IsPointerValidTellsWhetherThereIsAValue) {
  LogCapture log;
  TRELTlv tlv;
  EXPECT_FALSE(tlv.isPointerValid());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"});
  log.clear();
  tlv.setValue(true);
  EXPECT_TRUE(tlv.isPointerValid());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvRecord, TheLineAboutAMissingValueComesFromTheModulesFileAboveLevelTwo) {
  const TRELTlv tlv;
  LogCapture log(2);
  EXPECT_FALSE(tlv.isPointerValid());
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(tlv.isPointerValid());
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Pointer val in TRELTlv is invalid!");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelmsg.cpp");
  EXPECT_EQ(log.lines()[0].priority, 3);
  EXPECT_GT(log.lines()[0].line, 0);
}

TEST(TlvCopy, HasItsOwnValue) {
  TRELTlv original;
  original.id = 0x10800005U;
  original.setValue(std::string("abc"));
  const TRELTlv copy(original);
  EXPECT_EQ(idOf(copy), 0x10800005U);
  EXPECT_EQ(typeOf(copy), 9U);
  EXPECT_EQ(lenOf(copy), 3U);
  EXPECT_NE(valOf(copy), valOf(original));
  valOf(original)[0] = 'X';
  EXPECT_EQ(copy.getValueAsString(), "abc");
}

TEST(TlvCopy, OutlivesTheOriginal) {
  auto* original = new TRELTlv;
  original->setValue(0x0102030405060708ULL);
  const TRELTlv copy(*original);
  delete original;
  EXPECT_EQ(copy.getValueAsUInt64(), 0x0102030405060708ULL);
}

TEST(TlvCopy, OfALengthOfZeroHasNoValueAlthoughTheOriginalHasOne) {
  TRELTlv original;
  original.setValue(5U);
  original.len = 0;
  const TRELTlv copy(original);
  EXPECT_EQ(typeOf(copy), 1U);
  EXPECT_EQ(lenOf(copy), 0U);
  EXPECT_EQ(valOf(copy), nullptr);
}

TEST(TlvCopy, TakesLenBytesAndHoldsZerosBehindThem) {
  TRELTlv original;
  original.setValue(std::string("abcdefgh"));
  original.len = 2;
  const TRELTlv copy(original);
  EXPECT_EQ(lenOf(copy), 2U);
  EXPECT_EQ(storedBytes(copy, 8), "61 62 00 00 00 00 00 00");
}

TEST(TlvCopy, ReadsNoMoreThanLenBytesOfTheOriginal) {
  TRELTlv original;
  fill(original, TREL_TYPE_UINT64, "AABB"_hex);  // two bytes and not one more
  const TRELTlv copy(original);
  EXPECT_EQ(storedBytes(copy, 8), "AA BB 00 00 00 00 00 00");
}

TEST(TlvCopy, OfARecordWithALengthAndNoValueCopiesTheHead) {
  TRELTlv original;
  original.id = 7;
  original.type = 9;
  original.len = 4;
  const TRELTlv copy(original);
  EXPECT_EQ(idOf(copy), 7U);
  EXPECT_EQ(typeOf(copy), 9U);
  EXPECT_EQ(lenOf(copy), 4U);
}

TEST(TlvAssignment, CopiesDeeplyAndDropsTheFormerValue) {
  TRELTlv original;
  original.id = 0x40C08007U;
  original.setValue(std::string("longer than eight bytes"));
  TRELTlv assigned;
  assigned.id = 1;
  assigned.setValue(true);
  assigned = original;
  EXPECT_EQ(idOf(assigned), 0x40C08007U);
  EXPECT_EQ(typeOf(assigned), 9U);
  EXPECT_EQ(lenOf(assigned), 23U);
  EXPECT_NE(valOf(assigned), valOf(original));
  valOf(original)[0] = 'X';
  EXPECT_EQ(assigned.getValueAsString(), "longer than eight bytes");
}

TEST(TlvAssignment, OfAnEmptyRecordLeavesNoValue) {
  const TRELTlv empty;
  TRELTlv assigned;
  assigned.setValue(5U);
  assigned = empty;
  EXPECT_EQ(typeOf(assigned), 0U);
  EXPECT_EQ(lenOf(assigned), 0U);
  EXPECT_EQ(valOf(assigned), nullptr);
}

TEST(TlvAssignment, ToItselfKeepsTheValue) {
  TRELTlv tlv;
  tlv.setValue(std::string("abc"));
  const TRELTlv& itself = tlv;
  tlv = itself;
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(tlv.getValueAsString(), "abc");
}

TEST(TlvAssignment, ReturnsTheRecord) {
  TRELTlv original;
  original.setValue(true);
  TRELTlv assigned;
  EXPECT_EQ(&(assigned = original), &assigned);
}

TEST(TlvMemory, AValueThatAnotherReplacesOrThatEndsIsGivenBack) {
  constexpr std::size_t LENGTH = 60000;
  const auto bytesInUse = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  TRELTlv original;
  original.setValue(std::string(LENGTH, 'x'));
  TRELTlv replaced;
  const std::size_t before = bytesInUse();
  for (int i = 0; i < 100; ++i)
    replaced = original;
  EXPECT_LT(bytesInUse(), before + 10 * LENGTH);
  for (int i = 0; i < 100; ++i)
    replaced.setValue(std::string(LENGTH, 'y'));
  EXPECT_LT(bytesInUse(), before + 10 * LENGTH);
  const std::string record = "10800005 09 EA60"_hex + std::string(LENGTH, 'z');
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(replaced.deserialize(record.data()), 7 + static_cast<int>(LENGTH));
  EXPECT_LT(bytesInUse(), before + 10 * LENGTH);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(TRELTlv(original).len, LENGTH);
  EXPECT_LT(bytesInUse(), before + 10 * LENGTH);
}
