// Properties are found wherever their ids lie, and `rows` is the truth about what is there.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/allocationFailure.h"
#include "support/logCapture.h"
#include "support/operatorNew.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Found = std::vector<TrelProperty*>;

Number* number(unsigned int id) { return new Number(id, "number", IFC_CARD_VAR_READ_WRITE, 0U, true); }

}  // namespace

TEST(ObjectCells, EveryPropertyIsFoundInWhateverOrderItsIdCame) {
  TrelTable table("ports", 3, false, 3);
  Found added;
  for (const unsigned int id : {7U, 3U, 255U, 5U, 0U, 4U}) {
    for (unsigned int row = 0; row < 3; ++row) {
      added.push_back(number(id));
      ASSERT_TRUE(table.addProp(added.back(), row));
      for (TrelProperty* property : added)
        ASSERT_EQ(table.getProp(property->id, property->row), property) << property->id << " " << property->row;
    }
  }
  EXPECT_EQ(table.getProp(6, 1), nullptr);
  EXPECT_EQ(table.getProp(256, 1), nullptr);
}

TEST(ObjectCells, IdsAtBothEndsOf32BitsAreFound) {
  TrelScalar scalar("wide", 1, false);
  auto* const first = number(0);
  auto* const last = number(0xFFFFFFFFU);
  auto* const middle = number(0x80000000U);
  ASSERT_TRUE(scalar.addProp(last, 0));
  ASSERT_TRUE(scalar.addProp(first, 0));
  ASSERT_TRUE(scalar.addProp(middle, 0));
  EXPECT_EQ(scalar.getProp(0, 0), first);
  EXPECT_EQ(scalar.getProp(0x80000000U, 0), middle);
  EXPECT_EQ(scalar.getProp(0xFFFFFFFFU, 0), last);
  EXPECT_EQ(scalar.getProp(1, 0), nullptr);
  EXPECT_EQ(scalar.getProperties(), (Found{first, middle, last}));
}

TEST(ObjectCells, APropertyInAnotherRowStandsAtItsIdWhereverIdsBegin) {
  TrelTable table("ports", 3, false, 2);
  for (unsigned int id = 10; id <= 40; ++id)
    ASSERT_TRUE(table.addProp(number(id), 0));
  auto* const only = number(11);
  ASSERT_TRUE(table.addProp(only, 1));
  EXPECT_EQ(table.getProp(11, 1), only);
  for (unsigned int id = 12; id <= 40; ++id)
    EXPECT_EQ(table.getProp(id, 1), nullptr) << id;
}

// A row's entry is one block. Places are two more: the places themselves, and how many of each row are taken.
TEST(ObjectCells, AnIdAtTheEndOf32BitsTakesOnePlaceInEachRow) {
  TrelTable table("ports", 3, false, 40);  // of so many rows, two places in each would be too many for one property
  auto* const last = number(0xFFFFFFFFU);
  const std::size_t before = newBlocks();
  ASSERT_TRUE(table.addProp(last, 0));
  EXPECT_EQ(newBlocks() - before, 3U);
}

TEST(ObjectCells, IdsThatLieFarApartAskForNoPlaces) {
  TrelScalar scalar("wide", 1, false);
  ASSERT_TRUE(scalar.addProp(number(0), 0));
  auto* const far = number(5000);
  {
    const AllocationFailure failure(5000);  // 5001 places are larger
    ASSERT_TRUE(scalar.addProp(far, 0));
    EXPECT_EQ(failure.count(), 0U);
  }
  EXPECT_EQ(scalar.getProp(5000, 0), far);
}

TEST(ObjectCells, OnePropertyInTheLastOfManyRowsIsFound) {
  TrelTable table("large", 3, false, 16384);
  auto* const only = number(200);
  ASSERT_TRUE(table.addProp(only, 16383));
  EXPECT_EQ(table.getProp(200, 16383), only);
  EXPECT_EQ(table.getProp(200, 0), nullptr);
  only->set(1U);
  EXPECT_EQ(table.getPropertiesToEvent(), Found{only});
}

TEST(ObjectCells, ARowThatWasEmptiedByHandHoldsNothingAndTheOthersStay) {
  TrelTable table("ports", 3, false, 2);
  auto* const taken = number(2);
  auto* const kept = number(2);
  ASSERT_TRUE(table.addProp(taken, 0));
  ASSERT_TRUE(table.addProp(kept, 1));
  taken->set(1U);
  kept->set(1U);
  table.rows[0]->clear();
  delete taken;
  EXPECT_EQ(table.getProp(2, 0), nullptr);
  EXPECT_EQ(table.getProp(2, 1), kept);
  EXPECT_EQ(table.getPropertiesToEvent(), Found{kept});
}

TEST(ObjectCells, APropertyThatWasPutInByHandIsFoundAndReported) {
  TrelTable table("ports", 3, false, 2);
  auto* const added = number(2);
  auto* const put = number(3);
  ASSERT_TRUE(table.addProp(added, 0));
  (*table.rows[0])[3] = put;
  put->set(1U);
  added->set(1U);
  EXPECT_EQ(table.getProp(3, 0), put);
  EXPECT_EQ(table.getProp(2, 0), added);
  EXPECT_EQ(table.getPropertiesToEvent(), (Found{added, put}));
  // What addProp adds meanwhile is found as well.
  auto* const late = number(1);
  ASSERT_TRUE(table.addProp(late, 0));
  late->set(1U);
  EXPECT_EQ(table.getProp(1, 0), late);
  EXPECT_EQ(table.getProp(3, 0), put);
  EXPECT_EQ(table.getPropertiesToEvent(), Found{late});
}

TEST(ObjectCells, ChangesAreReportedRowByRowInAscendingIdWhereRowsDiffer) {
  TrelTable table("ports", 3, false, 3);
  Found expected;
  for (unsigned int row = 0; row < 3; ++row) {
    for (unsigned int id = row; id < 5; id += row + 1) {
      auto* const property = number(id);
      ASSERT_TRUE(table.addProp(property, row));
      property->set(1U);
      expected.push_back(property);
    }
  }
  EXPECT_EQ(table.getPropertiesToEvent(), expected);
  EXPECT_EQ(table.getPropertiesToEvent(), Found{});
}
