// How objects take, own, find and list their properties.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/logCapture.h"
#include "support/operatorNew.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;
using Ends = std::vector<std::pair<unsigned int, unsigned int>>;  // row and id of destroyed properties, oldest first

TypeProperty<unsigned int>* number(unsigned int id, bool eventable = false) {
  return new TypeProperty<unsigned int>(id, "number", IFC_CARD_VAR_READ_WRITE, 0U, eventable);
}

// Tells of its end.
class Mortal : public TypeProperty<unsigned int> {
 public:
  Mortal(unsigned int itsId, Ends& theEnds)
      : TypeProperty<unsigned int>(itsId, "mortal", IFC_CARD_VAR_READ_WRITE, 0U), ends_(theEnds) {}
  ~Mortal() override { ends_.emplace_back(row, id); }

 private:
  Ends& ends_;
};

// Row and id of each.
Ends placesOf(const std::vector<TrelProperty*>& properties) {
  Ends places;
  for (const TrelProperty* property : properties)
    places.emplace_back(property->row, property->id);
  return places;
}

// ----- construction ----------------------------------------------------------------------------------------------------

TEST(ObjectProperties, ScalarHasTypeZeroAndOneEmptyRow) {
  const TrelScalar scalar("inventory", 5, true);
  EXPECT_EQ(static_cast<unsigned int>(scalar.objectType), 0U);
  EXPECT_EQ(scalar.name, "inventory");
  EXPECT_EQ(scalar.id, 5U);
  EXPECT_TRUE(scalar.common);
  EXPECT_EQ(scalar.rowCount, 1U);
  ASSERT_EQ(scalar.rows.size(), 1U);
  ASSERT_NE(scalar.rows[0], nullptr);
  EXPECT_TRUE(scalar.rows[0]->empty());
}

TEST(ObjectProperties, TableHasTypeOneAndAnOwnEmptyMapForEachRow) {
  const TrelTable table("ports", 63, false, 3);
  EXPECT_EQ(static_cast<unsigned int>(table.objectType), 1U);
  EXPECT_EQ(table.name, "ports");
  EXPECT_EQ(table.id, 63U);
  EXPECT_FALSE(table.common);
  EXPECT_EQ(table.rowCount, 3U);
  ASSERT_EQ(table.rows.size(), 3U);
  for (const auto* row : table.rows) {
    ASSERT_NE(row, nullptr);
    EXPECT_TRUE(row->empty());
  }
  EXPECT_NE(table.rows[0], table.rows[1]);
  EXPECT_NE(table.rows[0], table.rows[2]);
  EXPECT_NE(table.rows[1], table.rows[2]);
}

TEST(ObjectProperties, TypeNames) {
  EXPECT_EQ(TrelScalar("s", 1, false).getObjectTypeStr(), "Scalar");
  EXPECT_EQ(TrelTable("t", 1, false, 1).getObjectTypeStr(), "Table");
}

TEST(ObjectProperties, TypeNameFollowsTheClassNotTheTypeField) {
  TrelScalar scalar("s", 1, false);
  scalar.objectType = ifcCard::TABLE;
  EXPECT_EQ(scalar.getObjectTypeStr(), "Scalar");
}

TEST(ObjectProperties, AnyObjectTypeIsHeldAsA32BitValue) {
  static_assert(std::is_same_v<std::underlying_type_t<ifcCard::IfcCardObjectType>, unsigned int>);
  class Other : public TrelObject {
   public:
    Other() : TrelObject("other", static_cast<ifcCard::IfcCardObjectType>(0xFFFFFFFF), 77, true, 2) {}
    std::string getObjectTypeStr() const override { return "Other"; }
    unsigned int getOID(unsigned int propertyId, unsigned int) override { return propertyId; }
    TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }
  };
  const Other other;
  EXPECT_EQ(static_cast<unsigned int>(other.objectType), 0xFFFFFFFFU);
  EXPECT_EQ(other.id, 77U);
  EXPECT_EQ(other.rows.size(), 2U);
}

TEST(ObjectProperties, IdsAreNotCheckedAtConstruction) {
  const LogCapture log;
  EXPECT_EQ(TrelScalar("s", 4000, true).id, 4000U);
  EXPECT_EQ(TrelTable("t", 4000, true, 1).id, 4000U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectProperties, ObjectsAreAbstractNotCopiedAndDeletedThroughTheirBase) {
  static_assert(std::is_abstract_v<TrelObject>);
  static_assert(std::has_virtual_destructor_v<TrelObject>);
  static_assert(!std::is_copy_constructible_v<TrelScalar>);
  static_assert(!std::is_copy_assignable_v<TrelTable>);
  const std::unique_ptr<TrelObject> object = std::make_unique<TrelTable>("t", 1U, false, 2U);
  EXPECT_EQ(object->getObjectTypeStr(), "Table");
}

// ----- addProp ---------------------------------------------------------------------------------------------------------

TEST(ObjectProperties, AddedPropertyKnowsItsRowAndItsObject) {
  TrelTable table("ports", 3, false, 6);
  auto* const property = number(2);
  EXPECT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(property->row, 5U);
  EXPECT_EQ(property->object, &table);
  EXPECT_EQ(property->id, 2U);
  ASSERT_EQ(table.rows[5]->count(2), 1U);
  EXPECT_EQ(table.rows[5]->at(2), property);
}

TEST(ObjectProperties, AddingLeavesADebugLine) {
  TrelTable table("ports", 3, false, 6);
  const LogCapture log;
  ASSERT_TRUE(table.addProp(number(2), 5));
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG3] trelObjects (addProp) - [ports] Property 2 added for row 5"});
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelObjects.cpp");
}

TEST(ObjectProperties, WhileTheLineOfAnAddedPropertyIsWrittenItHasItsRowAndNoObjectYet) {
  TrelTable table("ports", 3, false, 8);
  auto* const property = new TypeProperty<unsigned int>(2, "limit", IFC_CARD_VAR_READ_WRITE, 0U);
  LogCapture log;
  int lines = 0;
  log.whileWriting = [&](const LogLine&) {
    ++lines;
    EXPECT_EQ(property->row, 5U);
    EXPECT_EQ(property->object, nullptr);
    EXPECT_EQ(table.rows[5]->count(2), 1U);
  };
  EXPECT_TRUE(table.addProp(property, 5));
  EXPECT_EQ(lines, 1);
  EXPECT_EQ(property->object, &table);
}

TEST(ObjectProperties, LineOfAddingIsWrittenAboveLevelEightOnly) {
  TrelTable table("ports", 3, false, 6);
  LogCapture log(8);
  ASSERT_TRUE(table.addProp(number(2), 5));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(9);
  ASSERT_TRUE(table.addProp(number(3), 5));
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(ObjectProperties, AddingNothingIsRefusedWithALine) {
  TrelTable table("ports", 3, false, 6);
  const LogCapture log;
  EXPECT_FALSE(table.addProp(nullptr, 0));
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (addProp) - [ports] Property == NULL"});
  EXPECT_TRUE(table.rows[0]->empty());
}

TEST(ObjectProperties, NullIsToldBeforeARowOutOfRange) {
  TrelTable table("ports", 3, false, 6);
  const LogCapture log;
  EXPECT_FALSE(table.addProp(nullptr, 6));
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (addProp) - [ports] Property == NULL"});
}

TEST(ObjectProperties, RowOutOfRangeIsRefusedWithoutALineAndThePropertyStaysTheCallers) {
  TrelTable table("ports", 3, false, 6);
  TypeProperty<unsigned int> property(2, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  const LogCapture log;
  EXPECT_FALSE(table.addProp(&property, 6));
  EXPECT_FALSE(table.addProp(&property, 0xFFFFFFFF));
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(property.row, 0U);
  EXPECT_EQ(property.object, nullptr);
}

TEST(ObjectProperties, ScalarHasNoSecondRow) {
  TrelScalar scalar("inventory", 1, false);
  TypeProperty<unsigned int> property(2, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  const LogCapture log;
  EXPECT_FALSE(scalar.addProp(&property, 1));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectProperties, ObjectWithoutRowsAcceptsNoProperty) {
  TrelTable table("empty", 3, false, 0);
  TypeProperty<unsigned int> property(2, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  const LogCapture log;
  EXPECT_FALSE(table.addProp(&property, 0));
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_TRUE(table.rows.empty());
}

TEST(ObjectProperties, SecondPropertyOfTheSameIdInARowIsRefusedWithALineAndStaysTheCallers) {
  TrelTable table("ports", 3, false, 6);
  auto* const first = number(2);
  ASSERT_TRUE(table.addProp(first, 5));
  Ends ends;
  {
    Mortal second(2, ends);
    second.row = 9;
    const LogCapture log;
    EXPECT_FALSE(table.addProp(&second, 5));
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (addProp) - [ports] Property 2 already added"});
    EXPECT_EQ(second.row, 9U);
    EXPECT_EQ(second.object, nullptr);
    EXPECT_TRUE(ends.empty());
  }
  EXPECT_EQ(table.rows[5]->at(2), first);
}

TEST(ObjectProperties, AnObjectThatGetsNoMemoryLeavesNothingBehind) {
  const std::string name(100, 'n');  // longer than what a text holds without a block of its own
  bool happened = true;
  std::size_t after = 0;
  for (; happened; ++after) {
    const std::size_t before = liveBlocks();
    {
      const NewFailure failure(after);
      try {
        const TrelTable table(name, 3, false, 6);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    EXPECT_EQ(liveBlocks(), before) << after;
  }
  EXPECT_GE(after, 9U);  // the name, six rows, and the lists of them
}

TEST(ObjectProperties, PropertyKeepsItsRowWhenMemoryRunsOut) {
  TypeProperty<unsigned int> property(2, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  TrelTable table("ports", 3, false, 6);
  {
    const NewFailure failure(0);
    EXPECT_THROW(table.addProp(&property, 5), std::bad_alloc);
  }
  EXPECT_EQ(property.row, 0U);
  EXPECT_EQ(property.object, nullptr);
  EXPECT_TRUE(table.getProperties().empty());
}

TEST(ObjectProperties, SameIdInAnotherRowIsAccepted) {
  TrelTable table("ports", 3, false, 6);
  EXPECT_TRUE(table.addProp(number(2), 0));
  EXPECT_TRUE(table.addProp(number(2), 1));
  EXPECT_EQ(table.rows[0]->size(), 1U);
  EXPECT_EQ(table.rows[1]->size(), 1U);
  EXPECT_NE(table.rows[0]->at(2), table.rows[1]->at(2));
}

TEST(ObjectProperties, IdIsNotCheckedWhenAPropertyIsAddedAndPrintsAsASignedNumber) {
  TrelScalar scalar("inventory", 1, false);
  const LogCapture log;
  EXPECT_TRUE(scalar.addProp(number(0xFFFFFFFF), 0));
  TypeProperty<unsigned int> again(0xFFFFFFFF, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_FALSE(scalar.addProp(&again, 0));
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelObjects (addProp) - [inventory] Property -1 added for row 0",
                                "3 [ERROR] trelObjects (addProp) - [inventory] Property -1 already added"}));
}

TEST(ObjectProperties, ErrorLinesOfAddPropAreWrittenAboveLevelTwoOnly) {
  TrelScalar scalar("inventory", 1, false);
  ASSERT_TRUE(scalar.addProp(number(2), 0));
  TypeProperty<unsigned int> again(2, "number", IFC_CARD_VAR_READ_WRITE, 0U);
  LogCapture log(2);
  EXPECT_FALSE(scalar.addProp(nullptr, 0));
  EXPECT_FALSE(scalar.addProp(&again, 0));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(scalar.addProp(nullptr, 0));
  EXPECT_FALSE(scalar.addProp(&again, 0));
  EXPECT_EQ(log.brief().size(), 2U);
}

// ----- getProp ---------------------------------------------------------------------------------------------------------

TEST(ObjectProperties, PropertyIsFoundByIdAndRowWithADebugLine) {
  TrelTable table("ports", 3, false, 6);
  auto* const inRowFour = number(2);
  auto* const inRowFive = number(2);
  ASSERT_TRUE(table.addProp(inRowFour, 4));
  ASSERT_TRUE(table.addProp(inRowFive, 5));
  const LogCapture log;
  EXPECT_EQ(table.getProp(2, 5), inRowFive);
  EXPECT_EQ(table.getProp(2, 4), inRowFour);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelObjects (getProp) - [ports] Property 2 for row 5 found",
                                "7 [DEBUG3] trelObjects (getProp) - [ports] Property 2 for row 4 found"}));
}

TEST(ObjectProperties, IdThatWasNeverAddedIsNotFoundWithALine) {
  TrelTable table("ports", 3, false, 6);
  ASSERT_TRUE(table.addProp(number(2), 4));
  const LogCapture log;
  EXPECT_EQ(table.getProp(2, 5), nullptr);
  EXPECT_EQ(table.getProp(3, 4), nullptr);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 2 for row 5",
                                "3 [ERROR] trelObjects (getProp) - [ports] Could not find property 3 for row 4"}));
}

TEST(ObjectProperties, RowOutOfRangeIsNotFoundWithALine) {
  TrelTable table("ports", 3, false, 6);
  const LogCapture log;
  EXPECT_EQ(table.getProp(2, 6), nullptr);
  EXPECT_EQ(table.getProp(0xFFFFFFFF, 0xFFFFFFFF), nullptr);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 2 for row 6",
                                "3 [ERROR] trelObjects (getProp) - [ports] Could not find property -1 for row -1"}));
}

TEST(ObjectProperties, NullUnderAnIdIsNotFound) {
  TrelTable table("ports", 3, false, 1);
  (*table.rows[0])[2] = nullptr;
  const LogCapture log;
  EXPECT_EQ(table.getProp(2, 0), nullptr);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 2 for row 0"});
}

TEST(ObjectProperties, FailedLookUpAddsNothing) {
  TrelTable table("ports", 3, false, 1);
  EXPECT_EQ(table.getProp(2, 0), nullptr);
  EXPECT_TRUE(table.rows[0]->empty());
}

TEST(ObjectProperties, LinesOfLookUpsFollowTheirLevels) {
  TrelTable table("ports", 3, false, 1);
  ASSERT_TRUE(table.addProp(number(2), 0));
  LogCapture log(2);
  table.getProp(2, 0);
  table.getProp(9, 0);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(8);
  table.getProp(2, 0);
  table.getProp(9, 0);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getProp) - [ports] Could not find property 9 for row 0"});
}

TEST(ObjectProperties, ErrorLineOfALookUpIsWrittenFromLevelThree) {
  TrelTable table("ports", 3, false, 1);
  const LogCapture log(3);
  table.getProp(9, 0);
  EXPECT_EQ(log.brief().size(), 1U);
}

// ----- lists -----------------------------------------------------------------------------------------------------------

TEST(ObjectProperties, RowIsListedInAscendingIdWhateverTheOrderOfAdding) {
  TrelTable table("ports", 3, false, 2);
  for (const unsigned int id : {9U, 2U, 0xFFFFFFFFU, 0U, 5U})
    ASSERT_TRUE(table.addProp(number(id), 1));
  ASSERT_TRUE(table.addProp(number(1), 0));
  const LogCapture log;
  EXPECT_EQ(placesOf(table.getPropertiesOfRow(1)), (Ends{{1, 0}, {1, 2}, {1, 5}, {1, 9}, {1, 0xFFFFFFFF}}));
  EXPECT_EQ(placesOf(table.getPropertiesOfRow(0)), (Ends{{0, 1}}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectProperties, EmptyRowIsAnEmptyListWithoutALine) {
  TrelTable table("ports", 3, false, 2);
  const LogCapture log;
  EXPECT_TRUE(table.getPropertiesOfRow(1).empty());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectProperties, NegativeRowDoesNotExist) {
  TrelTable table("ports", 3, false, 2);
  ASSERT_TRUE(table.addProp(number(1), 0));
  const LogCapture log;
  EXPECT_TRUE(table.getPropertiesOfRow(-1).empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getPropertiesOfRow) - [ports] trying to get properties of not "
                               "existing row -1, size is claimed 2"});
}

TEST(ObjectProperties, RowBehindTheLastDoesNotExist) {
  TrelTable table("ports", 3, false, 2);
  const LogCapture log;
  EXPECT_TRUE(table.getPropertiesOfRow(2).empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getPropertiesOfRow) - [ports] trying to get properties of not "
                               "existing row 2, size is claimed 2"});
}

TEST(ObjectProperties, ObjectWithoutRowsHasNoRowZero) {
  TrelTable table("empty", 3, false, 0);
  const LogCapture log;
  EXPECT_TRUE(table.getPropertiesOfRow(0).empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getPropertiesOfRow) - [empty] trying to get properties of not "
                               "existing row 0, size is claimed 0"});
  EXPECT_TRUE(table.getProperties().empty());
}

TEST(ObjectProperties, LineOfAMissingRowIsWrittenAboveLevelTwoOnly) {
  TrelTable table("ports", 3, false, 2);
  LogCapture log(2);
  table.getPropertiesOfRow(2);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  table.getPropertiesOfRow(2);
  EXPECT_EQ(log.brief().size(), 1U);
}

TEST(ObjectProperties, AllAreListedRowByRowInAscendingId) {
  TrelTable table("ports", 3, false, 3);
  ASSERT_TRUE(table.addProp(number(7), 2));
  ASSERT_TRUE(table.addProp(number(9), 0));
  ASSERT_TRUE(table.addProp(number(3), 0));
  ASSERT_TRUE(table.addProp(number(1), 2));
  const LogCapture log;
  EXPECT_EQ(placesOf(table.getProperties()), (Ends{{0, 3}, {0, 9}, {2, 1}, {2, 7}}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ObjectProperties, ListsHoldThePropertiesThemselves) {
  TrelScalar scalar("inventory", 1, false);
  auto* const property = number(7);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.getProperties(), std::vector<TrelProperty*>{property});
  EXPECT_EQ(scalar.getPropertiesOfRow(0), std::vector<TrelProperty*>{property});
}

// ----- end -------------------------------------------------------------------------------------------------------------

TEST(ObjectProperties, DestroyedObjectDestroysItsPropertiesRowByRowInAscendingId) {
  Ends ends;
  {
    TrelTable table("ports", 3, false, 3);
    ASSERT_TRUE(table.addProp(new Mortal(7, ends), 2));
    ASSERT_TRUE(table.addProp(new Mortal(9, ends), 0));
    ASSERT_TRUE(table.addProp(new Mortal(3, ends), 0));
    ASSERT_TRUE(table.addProp(new Mortal(1, ends), 2));
    EXPECT_TRUE(ends.empty());
  }
  EXPECT_EQ(ends, (Ends{{0, 3}, {0, 9}, {2, 1}, {2, 7}}));
}

TEST(ObjectProperties, PropertiesAreDestroyedThroughTheBaseOfTheObject) {
  Ends ends;
  TrelObject* const object = new TrelScalar("inventory", 1, false);
  ASSERT_TRUE(object->addProp(new Mortal(7, ends), 0));
  delete object;
  EXPECT_EQ(ends, (Ends{{0, 7}}));
}

TEST(ObjectProperties, NullUnderAnIdIsSkippedAtTheEnd) {
  Ends ends;
  {
    TrelScalar scalar("inventory", 1, false);
    (*scalar.rows[0])[3] = nullptr;
    ASSERT_TRUE(scalar.addProp(new Mortal(7, ends), 0));
  }
  EXPECT_EQ(ends, (Ends{{0, 7}}));
}

TEST(ObjectProperties, RefusedPropertyIsNotDestroyedWithTheObject) {
  Ends ends;
  Mortal refused(7, ends);
  {
    TrelScalar scalar("inventory", 1, false);
    ASSERT_TRUE(scalar.addProp(number(7), 0));
    const LogCapture log;
    EXPECT_FALSE(scalar.addProp(&refused, 0));
    EXPECT_FALSE(scalar.addProp(&refused, 1));
  }
  EXPECT_TRUE(ends.empty());
}

TEST(ObjectProperties, ConstructionAndDestructionWriteNoLine) {
  const LogCapture log;
  {
    const TrelTable table("ports", 3, false, 3);
    const TrelScalar scalar("inventory", 1, false);
  }
  EXPECT_EQ(log.brief(), Lines{});
}

}  // namespace
