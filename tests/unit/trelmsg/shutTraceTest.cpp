// With the gate shut nothing is written, and everything else happens as ever.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/allocationFailure.h"
#include "support/bytes.h"
#include "support/logCapture.h"
#include "trel/trelmsg.h"

namespace {

constexpr int LEVEL_WITHOUT_ERRORS = 2;

}  // namespace

TEST(ShutTraceTlv, ACopyThatFindsNoMemoryHoldsNoValueAndLeavesNoLine) {
  TRELTlv original;
  original.setValue(std::string(30000, 'x'));
  LogCapture log(LEVEL_WITHOUT_ERRORS);
  const AllocationFailure failure(20000);
  const TRELTlv copy(original);
  EXPECT_EQ(failure.count(), 1U);
  EXPECT_EQ(copy.len, 30000);
  EXPECT_EQ(copy.val, nullptr);
  EXPECT_EQ(log.brief(), std::vector<std::string>{});
}

TEST(ShutTraceTlv, BytesThatNobodyTakesAreCountedAllTheSame) {
  TRELTlv tlv;
  tlv.setValue("abcdef", 6);
  EXPECT_EQ(tlv.getValueArray(nullptr, 100), 6);
  char out[2] = {'-', '-'};
  EXPECT_EQ(tlv.getValueArray(out, -1), -1);
  EXPECT_EQ(tlv.getValueArray(out, 0), 0);
  EXPECT_EQ(std::string(out, 2), "--");
  EXPECT_EQ(tlv.getValueArray(out, 1), 1);
  EXPECT_EQ(std::string(out, 2), "a-");
}
