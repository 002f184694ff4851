// Objects: rows of properties, look-up, hooks and text.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;
using Properties = std::vector<TrelProperty*>;

// A property of no kind, which tells what is done with it.
class PlainProperty : public TrelProperty {
 public:
  explicit PlainProperty(unsigned int propertyId, bool isEventable = true)
      : TrelProperty(propertyId, "plain", IFC_CARD_VAR_READ_WRITE, isEventable) {}
  ~PlainProperty() override {
    if (deletions != nullptr) deletions->push_back(id);
  }
  void setToDefault() override { ++resets; }
  bool isDefault() override { return false; }
  int serialize(char*, int) override { return -1; }
  int deserialize(const char*) override { return 7; }
  int length() override { return 0; }
  int getType() override { return 14; }
  std::string str() const override { return "<" + std::to_string(id) + "/" + std::to_string(row) + ">"; }

  int resets = 0;
  std::vector<unsigned int>* deletions = nullptr;
};

class WatchedTable : public TrelTable {
 public:
  WatchedTable() : TrelTable("watched", 3, false, 2) {}
  bool update(TrelProperty* property, unsigned int row) override {
    calls.push_back(std::to_string(property->id) + "/" + std::to_string(row));
    return false;
  }
  std::vector<std::string> calls;
};

// An object that is neither of the two kinds.
class BareObject : public TrelObject {
 public:
  BareObject(unsigned int objectId, unsigned int count)
      : TrelObject("bare", static_cast<ifcCard::IfcCardObjectType>(77), objectId, true, count) {}
  std::string getObjectTypeStr() const override { return "Bare"; }
  unsigned int getOID(unsigned int, unsigned int) override { return 0; }
  TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }
};

const char* const DASHES = "---------------------------\n";

}  // namespace

TEST(ReadingObject, ConstructionStoresTheFieldsAndMakesEmptyRowsOfItsOwn) {
  LogCapture log;
  BareObject object(0xFFFFFFFFU, 3);
  EXPECT_EQ(object.name, "bare");
  EXPECT_EQ(static_cast<unsigned int>(object.objectType), 77U);
  EXPECT_EQ(object.id, 0xFFFFFFFFU);
  EXPECT_TRUE(object.common);
  EXPECT_EQ(object.rowCount, 3U);
  ASSERT_EQ(object.rows.size(), 3U);
  for (const auto* row : object.rows) {
    ASSERT_NE(row, nullptr);
    EXPECT_TRUE(row->empty());
  }
  EXPECT_NE(object.rows[0], object.rows[1]);
  EXPECT_NE(object.rows[1], object.rows[2]);
  EXPECT_EQ(log.brief(), Lines{});
  TrelScalar scalar("s", 7, true);
  EXPECT_EQ(scalar.objectType, ifcCard::SCALAR);
  EXPECT_EQ(static_cast<unsigned int>(scalar.objectType), 0U);
  EXPECT_EQ(scalar.rowCount, 1U);
  EXPECT_EQ(scalar.getObjectTypeStr(), "Scalar");
  EXPECT_TRUE(scalar.common);
  TrelTable table("t", 8, false, 5);
  EXPECT_EQ(static_cast<unsigned int>(table.objectType), 1U);
  EXPECT_EQ(table.rowCount, 5U);
  EXPECT_EQ(table.getObjectTypeStr(), "Table");
  EXPECT_FALSE(table.common);
}

TEST(ReadingObject, AddingNullIsRefusedWithALineBeforeTheRowIsLookedAt) {
  LogCapture log;
  TrelTable table("door", 3, false, 2);
  EXPECT_FALSE(table.addProp(nullptr, 0));
  EXPECT_FALSE(table.addProp(nullptr, 2));
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjects (addProp) - [door] Property == NULL",
                                "3 [ERROR] trelObjects (addProp) - [door] Property == NULL"}));
  EXPECT_EQ(log.lines()[0].format.rfind("[ERROR] %s:%d (%s) - [%s]", 0), 0U);
}

TEST(ReadingObject, AddingBeyondTheRowsIsRefusedSilently) {
  LogCapture log;
  TrelTable table("door", 3, false, 2);
  TrelTable none("none", 3, false, 0);
  TrelScalar scalar("s", 3, false);
  PlainProperty property(1);
  EXPECT_FALSE(table.addProp(&property, 2));
  EXPECT_FALSE(table.addProp(&property, 0xFFFFFFFFU));
  EXPECT_FALSE(none.addProp(&property, 0));
  EXPECT_FALSE(scalar.addProp(&property, 1));
  EXPECT_EQ(property.row, 0U);
  EXPECT_EQ(property.object, nullptr);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingObject, AddingAnIdTwiceToARowLeavesThePropertyTheCallers) {
  TrelTable table("door", 3, false, 2);
  auto* first = new PlainProperty(9);
  auto* otherRow = new PlainProperty(9);
  PlainProperty second(9);
  second.row = 55;
  LogCapture log;
  EXPECT_TRUE(table.addProp(first, 1));
  EXPECT_FALSE(table.addProp(&second, 1));
  EXPECT_FALSE(table.addProp(first, 1));
  EXPECT_TRUE(table.addProp(otherRow, 0));
  EXPECT_EQ(second.row, 55U);
  EXPECT_EQ(second.object, nullptr);
  EXPECT_EQ(first->row, 1U);
  EXPECT_EQ(first->object, &table);
  EXPECT_EQ(otherRow->row, 0U);
  EXPECT_EQ(table.rows[1]->at(9), first);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelObjects (addProp) - [door] Property 9 added for row 1",
                                "3 [ERROR] trelObjects (addProp) - [door] Property 9 already added",
                                "3 [ERROR] trelObjects (addProp) - [door] Property 9 already added",
                                "7 [DEBUG3] trelObjects (addProp) - [door] Property 9 added for row 0"}));
}

TEST(ReadingObject, IdsAreLoggedAsSignedDecimals) {
  LogCapture log;
  TrelScalar scalar("s", 3, false);
  ASSERT_TRUE(scalar.addProp(new PlainProperty(0xFFFFFFFFU), 0));
  EXPECT_NE(scalar.getProp(0xFFFFFFFFU, 0), nullptr);
  EXPECT_EQ(scalar.getProp(0x80000000U, 0xFFFFFFFFU), nullptr);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG3] trelObjects (addProp) - [s] Property -1 added for row 0",
                   "7 [DEBUG3] trelObjects (getProp) - [s] Property -1 for row 0 found",
                   "3 [ERROR] trelObjects (getProp) - [s] Could not find property -2147483648 for row -1"}));
}

TEST(ReadingObject, LookUpByIdAndRowLogsEveryOutcome) {
  TrelTable table("door", 3, false, 2);
  auto* property = new PlainProperty(5);
  ASSERT_TRUE(table.addProp(property, 1));
  (*table.rows[0])[6] = nullptr;
  LogCapture log;
  EXPECT_EQ(table.getProp(5, 1), property);
  EXPECT_EQ(table.getProp(5, 0), nullptr);
  EXPECT_EQ(table.getProp(5, 2), nullptr);
  EXPECT_EQ(table.getProp(4, 1), nullptr);
  EXPECT_EQ(table.getProp(6, 0), nullptr);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG3] trelObjects (getProp) - [door] Property 5 for row 1 found",
                                "3 [ERROR] trelObjects (getProp) - [door] Could not find property 5 for row 0",
                                "3 [ERROR] trelObjects (getProp) - [door] Could not find property 5 for row 2",
                                "3 [ERROR] trelObjects (getProp) - [door] Could not find property 4 for row 1",
                                "3 [ERROR] trelObjects (getProp) - [door] Could not find property 6 for row 0"}));
  EXPECT_EQ(table.rows[1]->size(), 1U);
  log.clear();
  log.setLevel(8);
  EXPECT_EQ(table.getProp(5, 1), property);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingObject, LookUpByOidLogsValidOrInvalidBehindTheLookUp) {
  TrelTable table("door", 3, true, 8);
  ASSERT_TRUE(table.addProp(new PlainProperty(2), 7));
  TrelScalar scalar("lamp", 4, false);
  ASSERT_TRUE(scalar.addProp(new PlainProperty(5), 0));
  LogCapture log;
  EXPECT_NE(table.getPropFromOID(0x50C08007), nullptr);
  EXPECT_EQ(table.getPropFromOID(0x50C08006), nullptr);
  EXPECT_EQ(table.getPropFromOID(0x40C08007), nullptr);
  EXPECT_EQ(table.getPropFromOID(0), nullptr);
  EXPECT_NE(scalar.getPropFromOID(0x02000005), nullptr);
  EXPECT_EQ(scalar.getPropFromOID(0x02000006), nullptr);
  EXPECT_EQ(scalar.getPropFromOID(0x50C08007), nullptr);
  EXPECT_EQ(scalar.getPropFromOID(0x12000005), nullptr);
  EXPECT_EQ(log.brief(),
            (Lines{"7 [DEBUG3] trelObjects (getProp) - [door] Property 2 for row 7 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [door] Valid object id 0x50c08007 for table 3",
                   "3 [ERROR] trelObjects (getProp) - [door] Could not find property 2 for row 6",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [door] Invalid object id 0x50c08006 for table 3",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [door] Invalid object id 0x40c08007 for table 3",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [door] Invalid object id 0 for table 3",
                   "7 [DEBUG3] trelObjects (getProp) - [lamp] Property 5 for row 0 found",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [lamp] Valid object id 0x2000005 for scalar 4",
                   "3 [ERROR] trelObjects (getProp) - [lamp] Could not find property 6 for row 0",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [lamp] Invalid object id 0x2000006 for scalar 4",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [lamp] Invalid object id 0x50c08007 for scalar 4",
                   "7 [DEBUG3] trelObjects (getPropFromOID) - [lamp] Invalid object id 0x12000005 for scalar 4"}));
  EXPECT_EQ(log.lines()[1].format, "[DEBUG3] %s:%d (%s) - [%s] %s object id %#x for table %d");
}

TEST(ReadingObject, OidLookUpAsksForTheRowBeyondTheTable) {
  TrelTable table("door", 0, false, 1);
  LogCapture log(3);
  EXPECT_FALSE(table.isValidObjectId(0x403FFFFF));
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getProp) - [door] Could not find property 255 for row 16383"});
}

TEST(ReadingObject, PropertiesOfARowComeInAscendingId) {
  TrelTable table("door", 3, false, 2);
  auto* high = new PlainProperty(0x80000001U);
  auto* low = new PlainProperty(2);
  auto* middle = new PlainProperty(300);
  auto* other = new PlainProperty(1);
  ASSERT_TRUE(table.addProp(high, 0));
  ASSERT_TRUE(table.addProp(low, 0));
  ASSERT_TRUE(table.addProp(middle, 0));
  ASSERT_TRUE(table.addProp(other, 1));
  LogCapture log;
  EXPECT_EQ(table.getPropertiesOfRow(0), (Properties{low, middle, high}));
  EXPECT_EQ(table.getPropertiesOfRow(1), (Properties{other}));
  EXPECT_EQ(table.getProperties(), (Properties{low, middle, high, other}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingObject, PropertiesOfARowThatDoesNotExistAreNoneWithALine) {
  TrelTable table("door", 3, false, 2);
  TrelTable none("none", 3, false, 0);
  LogCapture log;
  EXPECT_EQ(table.getPropertiesOfRow(2), Properties{});
  EXPECT_EQ(table.getPropertiesOfRow(-1), Properties{});
  EXPECT_EQ(none.getPropertiesOfRow(0), Properties{});
  EXPECT_EQ(
      log.brief(),
      (Lines{"3 [ERROR] trelObjects (getPropertiesOfRow) - [door] trying to get properties of not existing row 2, "
             "size is claimed 2",
             "3 [ERROR] trelObjects (getPropertiesOfRow) - [door] trying to get properties of not existing row -1, "
             "size is claimed 2",
             "3 [ERROR] trelObjects (getPropertiesOfRow) - [none] trying to get properties of not existing row 0, "
             "size is claimed 0"}));
}

TEST(ReadingObject, EachPendingChangeIsHandedOutOnceInOrder) {
  TrelTable table("door", 3, false, 2);
  auto* first = new PlainProperty(9);
  auto* second = new PlainProperty(4);
  auto* third = new PlainProperty(1, false);
  auto* quiet = new PlainProperty(5);
  ASSERT_TRUE(table.addProp(third, 1));
  ASSERT_TRUE(table.addProp(first, 0));
  ASSERT_TRUE(table.addProp(second, 0));
  ASSERT_TRUE(table.addProp(quiet, 0));
  first->eventPending = second->eventPending = third->eventPending = true;
  const TrelObject& constant = table;
  EXPECT_EQ(constant.getPropertiesToEvent(), (Properties{second, first, third}));
  EXPECT_FALSE(first->eventPending);
  EXPECT_FALSE(third->eventPending);
  EXPECT_EQ(constant.getPropertiesToEvent(), Properties{});
  quiet->eventPending = true;
  EXPECT_EQ(constant.getPropertiesToEvent(), Properties{quiet});
}

TEST(ReadingObject, ResetReachesEveryPropertyOnce) {
  TrelTable table("door", 3, false, 2);
  auto* first = new PlainProperty(9);
  auto* second = new PlainProperty(4);
  ASSERT_TRUE(table.addProp(first, 0));
  ASSERT_TRUE(table.addProp(second, 1));
  table.setToDefault();
  EXPECT_EQ(first->resets, 1);
  EXPECT_EQ(second->resets, 1);
}

TEST(ReadingObject, UpdateOfAllGoesByRowsAndIdsAndIsTrueWhateverTheHookSays) {
  WatchedTable table;
  auto* moved = new PlainProperty(3);
  ASSERT_TRUE(table.addProp(new PlainProperty(9), 1));
  ASSERT_TRUE(table.addProp(moved, 1));
  ASSERT_TRUE(table.addProp(new PlainProperty(12), 0));
  ASSERT_TRUE(table.addProp(new PlainProperty(7), 0));
  moved->row = 40;  // the property's row is what the hook gets
  EXPECT_TRUE(table.updateAll());
  EXPECT_EQ(table.calls, (std::vector<std::string>{"7/0", "12/0", "3/40", "9/1"}));
  TrelScalar plain("s", 1, false);
  auto* property = new PlainProperty(1);
  ASSERT_TRUE(plain.addProp(property, 0));
  EXPECT_TRUE(plain.updateAll());
  EXPECT_TRUE(plain.update(property, 0));
  EXPECT_TRUE(plain.updated(property, 0));
  EXPECT_TRUE(plain.update(nullptr, 99));
  EXPECT_TRUE(plain.updated(nullptr, 99));
}

TEST(ReadingObject, TextListsTheRowsOfAnObjectOfAnyKind) {
  BareObject none(4, 0);
  EXPECT_EQ(none.str(0, 0), std::string("4 (size = 0)\n") + DASHES + "\n");
  EXPECT_EQ(std::string(DASHES).size(), 28U);
  BareObject two(0xFFFFFFFFU, 2);
  ASSERT_TRUE(two.addProp(new PlainProperty(8), 1));
  ASSERT_TRUE(two.addProp(new PlainProperty(3), 1));
  EXPECT_EQ(two.str(0, 0), std::string("4294967295 (size = 2)\n") + DASHES +
                               "\nProperties for row 0:\n"
                               "\nProperties for row 1:\n<3/1><8/1>\n");
  TrelScalar scalar("s", 7, false);
  ASSERT_TRUE(scalar.addProp(new PlainProperty(8), 0));
  EXPECT_EQ(scalar.str(0, 0), std::string("\nScalar : 7 (size = 1)\n") + DASHES + "\nProperties for row 0:\n<8/0>\n");
  TrelTable table("t", 3, false, 2);
  EXPECT_EQ(table.str(0, 0),
            std::string("\nTable : 3 (size = 2)\n") + DASHES + "\nProperties for row 0:\n\nProperties for row 1:\n\n");
}

TEST(ReadingObject, TextStartsAtTheFirstRowAndEndsBehindTheNumberOfRows) {
  TrelTable table("t", 3, false, 3);
  for (unsigned int row = 0; row < 3; ++row)
    ASSERT_TRUE(table.addProp(new PlainProperty(row), row));
  const std::string head = std::string("\nTable : 3 (size = 3)\n") + DASHES;
  const std::string zero = "\nProperties for row 0:\n<0/0>";
  const std::string one = "\nProperties for row 1:\n<1/1>";
  const std::string two = "\nProperties for row 2:\n<2/2>";
  struct Case {
    int firstRow;
    int maxRows;
    std::string rows;
  };
  const Case cases[] = {{0, 0, zero + one + two},
                        {1, 1, one},
                        {1, 0, one + two},
                        {0, 2, zero + one},
                        {2, 5, two},
                        {3, 0, ""},
                        {0, 1, zero},
                        {-1, 0, zero + one + two},
                        {-5, 2, zero + one},
                        {0, -1, ""},
                        {0x7FFFFFFF, 0, ""},
                        {0, 0x7FFFFFFF, zero + one + two}};
  for (const Case& one_ : cases) {
    SCOPED_TRACE(testing::Message() << one_.firstRow << ", " << one_.maxRows);
    EXPECT_EQ(table.str(one_.firstRow, one_.maxRows), head + one_.rows + "\n");
  }
}

TEST(ReadingObject, NumericPropertyIsListedByItsOwnText) {
  TrelScalar scalar("s", 7, false);
  auto* property = new TypeProperty<unsigned int>(5, "count", IFC_CARD_VAR_READ_WRITE, 42U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_EQ(scalar.str(0, 0),
            std::string("\nScalar : 7 (size = 1)\n") + DASHES + "\nProperties for row 0:\n" + property->str() + "\n");
}

TEST(ReadingObject, DestructionDeletesEveryPropertyThroughItsOwnDestructorAndSkipsNull) {
  std::vector<unsigned int> deletions;
  TrelObject* table = new TrelTable("t", 3, false, 2);
  for (unsigned int row = 0; row < 2; ++row) {
    for (unsigned int id = 4; id > 2; --id) {
      auto* property = new PlainProperty(id + 10 * row);
      property->deletions = &deletions;
      ASSERT_TRUE(table->addProp(property, row));
    }
  }
  (*table->rows[1])[1] = nullptr;
  delete table;
  EXPECT_EQ(deletions, (std::vector<unsigned int>{3, 4, 13, 14}));
}

TEST(ReadingObject, FieldsAndVirtualSlotsLieInTheListedOrder) {
  const TrelScalar object("s", 1, false);
  const char* const places[] = {
      reinterpret_cast<const char*>(&object.objectType), reinterpret_cast<const char*>(&object.name),
      reinterpret_cast<const char*>(&object.id),         reinterpret_cast<const char*>(&object.common),
      reinterpret_cast<const char*>(&object.rowCount),   reinterpret_cast<const char*>(&object.rows)};
  for (std::size_t i = 1; i < 6; ++i)
    EXPECT_LT(places[i - 1], places[i]) << i;
  // A pointer to a virtual member holds the slot's offset in its first word, on some machines with the lowest bit set.
  const auto slot = [](auto member) {
    std::ptrdiff_t word = 0;
    std::memcpy(&word, &member, sizeof(word));
    return (word & ~std::ptrdiff_t{1}) / static_cast<std::ptrdiff_t>(sizeof(void*));
  };
  static_assert(std::is_same_v<std::underlying_type_t<ifcCard::IfcCardObjectType>, unsigned int>);
  static_assert(std::is_same_v<decltype(&TrelObject::update), bool (TrelObject::*)(TrelProperty*, unsigned int)>);
  static_assert(std::is_same_v<decltype(&TrelObject::updated), bool (TrelObject::*)(TrelProperty*, unsigned int)>);
  static_assert(std::is_same_v<decltype(&TrelObject::str), std::string (TrelObject::*)(int, int) const>);
  static_assert(std::has_virtual_destructor_v<TrelObject>);
  static_assert(!std::is_copy_constructible_v<TrelTable>);
  EXPECT_EQ(slot(&TrelObject::getObjectTypeStr), 2);
  EXPECT_EQ(slot(&TrelObject::getOID), 3);
  EXPECT_EQ(slot(&TrelObject::update), 4);
  EXPECT_EQ(slot(&TrelObject::updated), 5);
  EXPECT_EQ(slot(&TrelObject::getPropFromOID), 6);
  EXPECT_EQ(slot(&TrelObject::str), 7);
}

TEST(ReadingObject, TheTagIsTheNameAsItIsNow) {
  TrelTable table("%s%n", 3, false, 1);
  LogCapture log(3);
  EXPECT_EQ(table.getProp(1, 0), nullptr);
  table.name = "";
  EXPECT_EQ(table.getProp(1, 0), nullptr);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjects (getProp) - [%s%n] Could not find property 1 for row 0",
                                "3 [ERROR] trelObjects (getProp) - [] Could not find property 1 for row 0"}));
}

TEST(ReadingObject, RowsOfATableTakeTheSameColumnEachWithItsOwnOid) {
  TrelTable table("door", 3, false, 3);
  Properties added;
  for (unsigned int row = 0; row < 3; ++row) {
    added.push_back(new PlainProperty(2));
    ASSERT_TRUE(table.addProp(added.back(), row));
  }
  EXPECT_EQ(added[0]->getOid(), 0x40C08000U);
  EXPECT_EQ(added[1]->getOid(), 0x40C08001U);
  EXPECT_EQ(added[2]->getOid(), 0x40C08002U);
  EXPECT_EQ(table.getPropFromOID(0x40C08001U), added[1]);
  EXPECT_EQ(table.getProperties(), added);
}

TEST(ReadingObject, ARowThatAPropertyIsTakenOutOfByHandFindsItNoMore) {
  TrelScalar scalar("s", 1, false);
  auto* property = new PlainProperty(0);
  ASSERT_TRUE(scalar.addProp(property, 0));
  EXPECT_TRUE(scalar.isValidObjectId(0x00800000U));
  scalar.rows[0]->erase(0);
  EXPECT_FALSE(scalar.isValidObjectId(0x00800000U));
  delete property;
}

TEST(ReadingObject, LinesOfSuccessAreOfTheThirdGradeAndErrorsOfTheFirst) {
  LogCapture log(8);
  TrelTable table("door", 3, false, 2);
  auto* property = new PlainProperty(2);
  ASSERT_TRUE(table.addProp(property, 1));
  EXPECT_EQ(table.getPropFromOID(0x40C08001), property);
  EXPECT_EQ(table.getPropFromOID(0), nullptr);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(2);
  EXPECT_FALSE(table.addProp(nullptr, 0));
  EXPECT_FALSE(table.addProp(property, 1));
  EXPECT_EQ(table.getProp(1, 0), nullptr);
  EXPECT_EQ(table.getPropertiesOfRow(-1), Properties{});
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(table.addProp(nullptr, 0));
  EXPECT_FALSE(table.addProp(property, 1));
  EXPECT_EQ(table.getProp(1, 0), nullptr);
  EXPECT_EQ(table.getPropertiesOfRow(-2147483647 - 1), Properties{});
  EXPECT_EQ(log.brief(3).size(), 4U);
  EXPECT_EQ(log.brief().back(),
            "3 [ERROR] trelObjects (getPropertiesOfRow) - [door] trying to get properties of not existing row "
            "-2147483648, size is claimed 2");
}
