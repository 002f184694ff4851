// Pending events, resets and the application's hooks.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/logCapture.h"
#include "support/operatorNew.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;
using Calls = std::vector<std::pair<const TrelProperty*, unsigned int>>;

TypeProperty<unsigned int>* number(unsigned int id, bool eventable = false) {
  return new TypeProperty<unsigned int>(id, "number", IFC_CARD_VAR_READ_WRITE, 1U, eventable);
}

// Keeps each call of its hooks and answers as told.
class Hooked : public TrelTable {
 public:
  explicit Hooked(unsigned int rowsOfIt) : TrelTable("hooked", 3, false, rowsOfIt) {}
  bool update(TrelProperty* property, unsigned int row) override {
    updates.emplace_back(property, row);
    return verdict;
  }
  bool updated(TrelProperty* property, unsigned int row) override {
    writes.emplace_back(property, row);
    return verdict;
  }
  Calls updates;
  Calls writes;
  bool verdict = true;
};

// ----- pending events --------------------------------------------------------------------------------------------------

TEST(ObjectHooks, ChangedPropertiesAreHandedOutOnce) {
  TrelScalar scalar("inventory", 1, false);
  auto* const changed = number(2, true);
  auto* const unchanged = number(3, true);
  ASSERT_TRUE(scalar.addProp(changed, 0));
  ASSERT_TRUE(scalar.addProp(unchanged, 0));
  changed->set(9U);
  unchanged->set(1U);
  const LogCapture log;
  EXPECT_EQ(scalar.getPropertiesToEvent(), std::vector<TrelProperty*>{changed});
  EXPECT_FALSE(changed->eventPending);
  EXPECT_TRUE(scalar.getPropertiesToEvent().empty());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectHooks, ChangeAfterAScanIsHandedOutByTheNext) {
  TrelScalar scalar("inventory", 1, false);
  auto* const property = number(2, true);
  ASSERT_TRUE(scalar.addProp(property, 0));
  property->set(9U);
  EXPECT_EQ(scalar.getPropertiesToEvent().size(), 1U);
  property->set(9U);
  EXPECT_TRUE(scalar.getPropertiesToEvent().empty());
  property->set(8U);
  EXPECT_EQ(scalar.getPropertiesToEvent().size(), 1U);
}

TEST(ObjectHooks, ChangesAreListedRowByRowInAscendingId) {
  TrelTable table("ports", 3, false, 3);
  TypeProperty<unsigned int>* properties[] = {number(9, true), number(4, true), number(9, true), number(1, true)};
  ASSERT_TRUE(table.addProp(properties[0], 2));
  ASSERT_TRUE(table.addProp(properties[1], 2));
  ASSERT_TRUE(table.addProp(properties[2], 0));
  ASSERT_TRUE(table.addProp(properties[3], 1));
  for (auto* property : properties)
    property->set(7U);
  EXPECT_EQ(table.getPropertiesToEvent(),
            (std::vector<TrelProperty*>{properties[2], properties[3], properties[1], properties[0]}));
}

TEST(ObjectHooks, PropertyThatIsNotEventableIsNotListedAfterAChange) {
  TrelScalar scalar("inventory", 1, false);
  auto* const property = number(2, false);
  ASSERT_TRUE(scalar.addProp(property, 0));
  property->set(9U);
  EXPECT_TRUE(scalar.getPropertiesToEvent().empty());
}

TEST(ObjectHooks, FlagDecidesWhoeverSetIt) {
  TrelScalar scalar("inventory", 1, false);
  auto* const property = number(2, false);
  ASSERT_TRUE(scalar.addProp(property, 0));
  property->eventPending = true;
  EXPECT_EQ(scalar.getPropertiesToEvent(), std::vector<TrelProperty*>{property});
  EXPECT_FALSE(property->eventPending);
}

TEST(ObjectHooks, ScanForEventsCallsNoHook) {
  Hooked table(1);
  auto* const property = number(2, true);
  ASSERT_TRUE(table.addProp(property, 0));
  property->set(9U);
  EXPECT_EQ(table.getPropertiesToEvent().size(), 1U);
  EXPECT_TRUE(table.updates.empty());
  EXPECT_TRUE(table.writes.empty());
}

// The list is one block, taken before any change is handed out.
TEST(ObjectHooks, ScanThatRunsOutOfMemoryLosesNoChange) {
  TrelTable table("ports", 3, false, 3);
  std::vector<TrelProperty*> changed;
  for (unsigned int row = 0; row < 3; ++row) {
    auto* const property = number(2, true);
    ASSERT_TRUE(table.addProp(property, row));
    property->set(9U);
    changed.push_back(property);
  }
  {
    const NewFailure failure(0);
    EXPECT_THROW(table.getPropertiesToEvent(), std::bad_alloc);
    EXPECT_TRUE(failure.happened());
  }
  {
    const NewFailure failure(1);
    EXPECT_EQ(table.getPropertiesToEvent(), changed);
    EXPECT_FALSE(failure.happened());
  }
}

// A change is handed out once, wherever its property stands.
TEST(ObjectHooks, PropertyThatStandsInTwoRowsIsListedOnce) {
  TrelTable table("ports", 3, false, 2);
  // The object deletes what its rows hold, once for each row: the second one gives it back, however the test ends.
  const std::unique_ptr<TrelTable, void (*)(TrelTable*)> lent(&table, [](TrelTable* t) { t->rows[1]->clear(); });
  auto* const property = number(2, true);
  ASSERT_TRUE(table.addProp(property, 0));
  ASSERT_TRUE(table.addProp(property, 1));
  property->set(9U);
  EXPECT_EQ(table.getPropertiesToEvent(), std::vector<TrelProperty*>{property});
  EXPECT_TRUE(table.getPropertiesToEvent().empty());
}

TEST(ObjectHooks, ObjectWithoutPropertiesHasNoEvents) {
  EXPECT_TRUE(TrelScalar("inventory", 1, false).getPropertiesToEvent().empty());
  EXPECT_TRUE(TrelTable("empty", 1, false, 0).getPropertiesToEvent().empty());
}

// ----- setToDefault ----------------------------------------------------------------------------------------------------

TEST(ObjectHooks, ResetReachesEveryPropertyOfEveryRow) {
  TrelTable table("ports", 3, false, 2);
  TypeProperty<unsigned int>* properties[] = {number(1, true), number(2), number(1)};
  ASSERT_TRUE(table.addProp(properties[0], 0));
  ASSERT_TRUE(table.addProp(properties[1], 0));
  ASSERT_TRUE(table.addProp(properties[2], 1));
  for (auto* property : properties)
    property->set(7U);
  table.getPropertiesToEvent();
  const LogCapture log;
  table.setToDefault();
  for (auto* property : properties)
    EXPECT_TRUE(property->isDefault());
  EXPECT_TRUE(table.getPropertiesToEvent().empty()) << "a reset was reported as a change";
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectHooks, ResetGoesThroughThePropertysOwnOperation) {
  class Resets : public TypeProperty<int> {
   public:
    explicit Resets(int& theirCount) : TypeProperty<int>(1, "resets", IFC_CARD_VAR_READ_WRITE, 0), count(theirCount) {}
    void setToDefault() override { ++count; }
    int& count;
  };
  int count = 0;
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(new Resets(count), 0));
  scalar.setToDefault();
  EXPECT_EQ(count, 1);
}

TEST(ObjectHooks, ResetCallsNoHook) {
  Hooked table(1);
  ASSERT_TRUE(table.addProp(number(1), 0));
  table.setToDefault();
  EXPECT_TRUE(table.updates.empty());
  EXPECT_TRUE(table.writes.empty());
}

// ----- update and updated ----------------------------------------------------------------------------------------------

TEST(ObjectHooks, BaseVersionsDoNothingAndAreContent) {
  TrelScalar scalar("inventory", 1, false);
  TrelTable table("ports", 3, false, 2);
  auto* const property = number(2, true);
  ASSERT_TRUE(scalar.addProp(property, 0));
  const LogCapture log;
  EXPECT_TRUE(scalar.update(property, 0));
  EXPECT_TRUE(scalar.updated(property, 0));
  EXPECT_TRUE(scalar.update(nullptr, 99));
  EXPECT_TRUE(scalar.updated(nullptr, 99));
  EXPECT_TRUE(table.update(nullptr, 99));
  EXPECT_TRUE(table.updated(nullptr, 99));
  EXPECT_EQ(property->value, 1U);
  EXPECT_FALSE(property->eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectHooks, UpdateAllOfAnObjectThatDoesNotOverrideUpdateChangesNothingAndIsTrue) {
  TrelTable table("ports", 3, false, 2);
  auto* const property = number(2, true);
  ASSERT_TRUE(table.addProp(property, 1));
  property->set(7U);
  const LogCapture log;
  EXPECT_TRUE(table.updateAll());
  EXPECT_EQ(property->value, 7U);
  EXPECT_TRUE(property->eventPending);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectHooks, UpdateAllAsksForEveryPropertyRowByRowInAscendingId) {
  Hooked table(3);
  TypeProperty<unsigned int>* properties[] = {number(9), number(4), number(9), number(1)};
  ASSERT_TRUE(table.addProp(properties[0], 2));
  ASSERT_TRUE(table.addProp(properties[1], 2));
  ASSERT_TRUE(table.addProp(properties[2], 0));
  ASSERT_TRUE(table.addProp(properties[3], 1));
  EXPECT_TRUE(table.updateAll());
  EXPECT_EQ(table.updates, (Calls{{properties[2], 0}, {properties[3], 1}, {properties[1], 2}, {properties[0], 2}}));
  EXPECT_TRUE(table.writes.empty());
}

TEST(ObjectHooks, UpdateAllHandsOutTheRowThatThePropertyHolds) {
  Hooked table(3);
  auto* const property = number(9);
  ASSERT_TRUE(table.addProp(property, 2));
  property->row = 77;
  table.updateAll();
  EXPECT_EQ(table.updates, (Calls{{property, 77}}));
}

TEST(ObjectHooks, UpdateAllIsTrueWhateverTheHookReturnsAndGoesOn) {
  Hooked table(2);
  ASSERT_TRUE(table.addProp(number(1), 0));
  ASSERT_TRUE(table.addProp(number(2), 0));
  ASSERT_TRUE(table.addProp(number(1), 1));
  table.verdict = false;
  EXPECT_TRUE(table.updateAll());
  EXPECT_EQ(table.updates.size(), 3U);
}

TEST(ObjectHooks, UpdateAllOfAnObjectWithoutPropertiesIsTrue) {
  EXPECT_TRUE(TrelScalar("inventory", 1, false).updateAll());
  EXPECT_TRUE(TrelTable("empty", 1, false, 0).updateAll());
}

TEST(ObjectHooks, AddingAndLookingUpCallNoHook) {
  Hooked table(2);
  ASSERT_TRUE(table.addProp(number(2), 1));
  table.getProp(2, 1);
  table.getPropFromOID(0x40C08001);
  table.getProperties();
  table.getPropertiesOfRow(1);
  table.isValidObjectId(0x40C08001);
  EXPECT_FALSE(table.str(0, 0).empty());
  EXPECT_TRUE(table.updates.empty());
  EXPECT_TRUE(table.writes.empty());
}

}  // namespace
