// No memory for a value: nothing is thrown, `val` stays null, one line tells it.

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "support/allocationFailure.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "tlvTestSupport.h"

namespace {

using Lines = std::vector<std::string>;

const char* const IN_SETTER = "3 [ERROR] trelmsg (setValue) - malloc failed!";

// While it lives, malloc and its like fail, until operator new meets the failure: that is the log, which must go on. The
// library has failed by then, because it asks before it writes its line.
class NoMemory {
 public:
  NoMemory() {
    former_ = std::set_new_handler([] { failure_.reset(); });
    failure_.emplace(1);
  }
  ~NoMemory() {
    failure_.reset();
    std::set_new_handler(former_);
  }
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;

 private:
  static std::optional<AllocationFailure> failure_;
  std::new_handler former_;
};

std::optional<AllocationFailure> NoMemory::failure_;

// Sets a value on an empty record while there is no memory.
template <typename... Value>
void expectFailedSetter(unsigned int type, unsigned int len, const Value&... value) {
  LogCapture log;
  TRELTlv tlv;
  tlv.id = 0x10800005U;
  {
    const NoMemory noMemory;
    tlv.setValue(value...);
  }
  EXPECT_EQ(idOf(tlv), 0x10800005U);
  EXPECT_EQ(typeOf(tlv), type);
  EXPECT_EQ(lenOf(tlv), len);
  EXPECT_EQ(valOf(tlv), nullptr);
  EXPECT_EQ(log.brief(), Lines{IN_SETTER});
}

}  // namespace

TEST(TlvWithoutMemory, EveryNumberSetterHasChangedTypeAndLengthAndHoldsNoValue) {
  expectFailedSetter(0, 8, 1ULL);
  expectFailedSetter(1, 4, 1U);
  expectFailedSetter(2, 2, static_cast<unsigned short>(1));
  expectFailedSetter(3, 1, static_cast<unsigned char>(1));
  expectFailedSetter(4, 8, 1LL);
  expectFailedSetter(5, 4, 1);
  expectFailedSetter(6, 2, static_cast<short>(1));
  expectFailedSetter(7, 1, static_cast<signed char>(1));
  expectFailedSetter(8, 1, true);
}

TEST(TlvWithoutMemory, TheSetterOfAChosenTypeHasChangedTypeAndLengthAndHoldsNoValue) {
  expectFailedSetter(10, 4, 1, static_cast<unsigned char>(10));
  expectFailedSetter(5, 4, 1, static_cast<unsigned char>(5));
}

TEST(TlvWithoutMemory, TheByteSettersHaveChangedTypeAndLengthAndHoldNoValue) {
  const char* const bytes = "abc";
  expectFailedSetter(9, 3, std::string("abc"));
  expectFailedSetter(9, 3, bytes, 3);
  expectFailedSetter(13, 3, bytes, 3, static_cast<unsigned char>(13));
}

TEST(TlvWithoutMemory, TheLineIsWrittenAboveLevelTwoOnly) {
  LogCapture log(2);
  TRELTlv silent;
  {
    const NoMemory noMemory;
    silent.setValue(1U);
  }
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  TRELTlv told;
  {
    const NoMemory noMemory;
    told.setValue(1U);
  }
  ASSERT_EQ(log.brief(), Lines{IN_SETTER});
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - malloc failed!");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelmsg.cpp");
}

TEST(TlvWithoutMemory, ASetterThatFindsABufferNeedsNone) {
  LogCapture log;
  TRELTlv tlv;
  tlv.setValue(1U);
  {
    const NoMemory noMemory;
    tlv.setValue(0x0102030405060708ULL);
  }
  EXPECT_EQ(tlv.getValueAsUInt64(), 0x0102030405060708ULL);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvWithoutMemory, ALaterGetterRefuses) {
  LogCapture log;
  TRELTlv tlv;
  {
    const NoMemory noMemory;
    tlv.setValue(5U);
  }
  log.clear();
  unsigned int value = 123;
  EXPECT_FALSE(tlv.getValue(&value));
  EXPECT_EQ(value, 123U);
  EXPECT_EQ(tlv.getValueAsUInt32(), 0U);
  EXPECT_EQ(log.brief(), Lines(2, "3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"));
}

TEST(TlvWithoutMemory, ALaterSetterTriesAgain) {
  LogCapture log;
  TRELTlv tlv;
  {
    const NoMemory noMemory;
    tlv.setValue(5U);
  }
  tlv.setValue(6U);
  EXPECT_EQ(tlv.getValueAsUInt32(), 6U);
  EXPECT_EQ(log.brief(), Lines{IN_SETTER});
}

TEST(TlvWithoutMemory, DeserializeConsumesTheTlvAndStoresNothing) {
  LogCapture log;
  const ExactBlock wire("10800005 09 0003 616263"_hex);
  TRELTlv tlv;
  int consumed = 0;
  {
    const NoMemory noMemory;
    consumed = tlv.deserialize(wire.data());
  }
  EXPECT_EQ(consumed, 10);
  EXPECT_EQ(idOf(tlv), 0x10800005U);
  EXPECT_EQ(typeOf(tlv), 9U);
  EXPECT_EQ(lenOf(tlv), 3U);
  EXPECT_EQ(valOf(tlv), nullptr);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (isPointerValid) - Pointer val in TRELTlv is invalid!"});
}

TEST(TlvWithoutMemory, ACopyHasTypeAndLengthAndNoValue) {
  LogCapture log;
  TRELTlv original;
  original.id = 7;
  original.setValue(std::string("abc"));
  std::optional<TRELTlv> copy;
  {
    const NoMemory noMemory;
    copy.emplace(original);
  }
  EXPECT_EQ(idOf(*copy), 7U);
  EXPECT_EQ(typeOf(*copy), 9U);
  EXPECT_EQ(lenOf(*copy), 3U);
  EXPECT_EQ(valOf(*copy), nullptr);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (TRELTlv) - malloc failed!"});
}

TEST(TlvWithoutMemory, ACopyOfLengthZeroNeedsNone) {
  LogCapture log;
  const TRELTlv original;
  std::optional<TRELTlv> copy;
  {
    const NoMemory noMemory;
    copy.emplace(original);
  }
  EXPECT_EQ(valOf(*copy), nullptr);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(TlvWithoutMemory, AnAssignmentLeavesNoValueAndOneLine) {
  LogCapture log;
  TRELTlv original;
  original.setValue(std::string("abc"));
  TRELTlv assigned;
  assigned.setValue(5U);
  {
    const NoMemory noMemory;
    assigned = original;
  }
  EXPECT_EQ(typeOf(assigned), 9U);
  EXPECT_EQ(lenOf(assigned), 3U);
  EXPECT_EQ(valOf(assigned), nullptr);
  EXPECT_EQ(log.count("malloc failed!"), 1U);
}
