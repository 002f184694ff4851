// With the gate shut nothing is written, and everything else happens as ever.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/allocationFailure.h"
#include "support/bytes.h"
#include "support/fakeProperty.h"
#include "support/logCapture.h"
#include "support/oldStyleRecord.h"
#include "support/typedAccessors.h"
#include "trel/trelProperty.h"

namespace {

// ERROR lines are written above this level.
constexpr int LEVEL_WITHOUT_ERRORS = 2;

using Lines = std::vector<std::string>;

}  // namespace

TEST(ShutTrace, AnAccessorOfAnotherTypeIsRefusedWithoutALine) {
  FakeProperty property("10800005 01 0004 0000002A"_hex);
  LogCapture log(LEVEL_WITHOUT_ERRORS);
  for (const TypedAccessor& accessor : allTypedAccessors()) {
    SCOPED_TRACE(accessor.word);
    EXPECT_TRUE(accessor.getLeavesTarget(property));
    accessor.set(property);
  }
  EXPECT_EQ(log.brief(), Lines{});

  log.setLevel(LEVEL_WITHOUT_ERRORS + 1);
  for (const TypedAccessor& accessor : allTypedAccessors()) {
    EXPECT_TRUE(accessor.getLeavesTarget(property));
    accessor.set(property);
  }
  EXPECT_EQ(log.count("Not implemented for"), 22U);  // eleven types, read and set
}

TEST(ShutTrace, AnOldStyleValueThatFindsNoMemoryIsGoneWithoutALine) {
  const OldStyle property = oldStyleFromWire("02000001 09 0002 6162"_hex);
  std::string text(30000, 'x');
  LogCapture log(LEVEL_WITHOUT_ERRORS);
  {
    const AllocationFailure failure(20000);
    property->set(std::move(text));
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(property->length(), 30000);
  std::string value = "before";
  property->get(&value);
  EXPECT_EQ(value, "before");
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ByteArrayGetter, TheNumberOfBytesIsToldToWhoAsksForItAlone) {
  ArrayProperty property(1, "bytes", IFC_CARD_VAR_READ_WRITE, false);
  deserializeExactly(property, "10800001 0C 0003 010203"_hex);
  unsigned int length = 0;
  property.get(nullptr, &length);
  EXPECT_EQ(length, 3U);
  unsigned char out[3] = {7, 8, 9};
  property.get(out, nullptr);  // none are held, so none are told
  EXPECT_EQ(out[0], 7);
  EXPECT_EQ(out[2], 9);
}
