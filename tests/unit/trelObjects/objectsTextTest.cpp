// The text of objects, to the character.

#include <gtest/gtest.h>

#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

TypeProperty<unsigned int>* number(unsigned int id, const char* name, unsigned int value) {
  return new TypeProperty<unsigned int>(id, name, IFC_CARD_VAR_READ_WRITE, value);
}

// Prints as "<id>;" and a newline, so that a table's text stays short.
class Terse : public TypeProperty<int> {
 public:
  explicit Terse(unsigned int itsId) : TypeProperty<int>(itsId, "terse", IFC_CARD_VAR_READ_WRITE, 0) {}
  std::string str() const override { return std::to_string(id) + ";\n"; }
};

// Column 1 in every row.
class OneColumn : public TrelTable {
 public:
  explicit OneColumn(unsigned int rowsOfIt) : TrelTable("ports", 3, false, rowsOfIt) {
    for (unsigned int row = 0; row < rowsOfIt; ++row)
      addProp(new Terse(1), row);
  }
};

constexpr const char* THREE_ROWS =
    "\nTable : 3 (size = 3)\n"
    "---------------------------\n"
    "\nProperties for row 0:\n"
    "1;\n"
    "\nProperties for row 1:\n"
    "1;\n"
    "\nProperties for row 2:\n"
    "1;\n"
    "\n";
constexpr const char* ROWS_ONE_AND_TWO =
    "\nTable : 3 (size = 3)\n"
    "---------------------------\n"
    "\nProperties for row 1:\n"
    "1;\n"
    "\nProperties for row 2:\n"
    "1;\n"
    "\n";
constexpr const char* ROW_ONE =
    "\nTable : 3 (size = 3)\n"
    "---------------------------\n"
    "\nProperties for row 1:\n"
    "1;\n"
    "\n";
constexpr const char* NO_ROW =
    "\nTable : 3 (size = 3)\n"
    "---------------------------\n"
    "\n";

TEST(ObjectText, TableOfTwoRowsWithItsProperties) {
  TrelTable table("ports", 3, false, 2);
  ASSERT_TRUE(table.addProp(number(2, "speed", 100), 0));
  ASSERT_TRUE(table.addProp(number(1, "state", 0), 0));
  ASSERT_TRUE(table.addProp(number(1, "state", 1), 1));
  EXPECT_EQ(table.str(0, 0),
            "\nTable : 3 (size = 2)\n"
            "---------------------------\n"
            "\nProperties for row 0:\n"
            "  1 |                                    state :                    0  (def = 0)\n"
            "  2 |                                    speed :                  100  (def = 100)\n"
            "\nProperties for row 1:\n"
            "  1 |                                    state :                    1  (def = 1)\n"
            "\n");
}

TEST(ObjectText, ScalarWithItsProperties) {
  TrelScalar scalar("inventory", 1, true);
  auto* const type =
      new TypeProperty<unsigned short>(5, "card type", IFC_CARD_VAR_READ_ONLY, static_cast<unsigned short>(7), true);
  ASSERT_TRUE(scalar.addProp(type, 0));
  EXPECT_EQ(scalar.str(0, 0),
            "\nScalar : 1 (size = 1)\n"
            "---------------------------\n"
            "\nProperties for row 0:\n"
            "  5 |                                card type :                    7  (def = 7, eventable)\n"
            "\n");
}

TEST(ObjectText, BaseTextHasNeitherHeadingNorNewlineInFront) {
  class Plain : public TrelObject {
   public:
    Plain() : TrelObject("plain", ifcCard::SCALAR, 12, false, 1) {}
    std::string getObjectTypeStr() const override { return "Plain"; }
    unsigned int getOID(unsigned int propertyId, unsigned int) override { return propertyId; }
    TrelProperty* getPropFromOID(unsigned int) override { return nullptr; }
  } plain;
  ASSERT_TRUE(plain.addProp(new Terse(4), 0));
  EXPECT_EQ(plain.str(0, 0),
            "12 (size = 1)\n"
            "---------------------------\n"
            "\nProperties for row 0:\n"
            "4;\n"
            "\n");
}

TEST(ObjectText, ObjectWithoutRowsPrintsItsHeadingAndDashLineOnly) {
  const TrelTable table("empty", 3, false, 0);
  EXPECT_EQ(table.str(0, 0), "\nTable : 3 (size = 0)\n---------------------------\n\n");
}

TEST(ObjectText, RowWithoutPropertiesPrintsItsHeading) {
  const TrelScalar scalar("inventory", 1, false);
  EXPECT_EQ(scalar.str(0, 0), "\nScalar : 1 (size = 1)\n---------------------------\n\nProperties for row 0:\n\n");
}

TEST(ObjectText, DashLineHas27Dashes) {
  const std::string text = TrelTable("empty", 3, false, 0).str(0, 0);
  EXPECT_EQ(text.substr(text.find('-')), std::string(27, '-') + "\n\n");
}

TEST(ObjectText, ZeroRowsFromTheFirstMeansAll) { EXPECT_EQ(OneColumn(3).str(0, 0), THREE_ROWS); }

TEST(ObjectText, OneRowFromRowOnePrintsRowOneAlone) { EXPECT_EQ(OneColumn(3).str(1, 1), ROW_ONE); }

TEST(ObjectText, ZeroRowsFromRowOneMeansAllTheRest) { EXPECT_EQ(OneColumn(3).str(1, 0), ROWS_ONE_AND_TWO); }

TEST(ObjectText, MoreRowsThanThereAre) {
  EXPECT_EQ(OneColumn(3).str(0, 3), THREE_ROWS);
  EXPECT_EQ(OneColumn(3).str(0, 99), THREE_ROWS);
  EXPECT_EQ(OneColumn(3).str(1, 2), ROWS_ONE_AND_TWO);
  EXPECT_EQ(OneColumn(3).str(1, std::numeric_limits<int>::max()), ROWS_ONE_AND_TWO);
}

TEST(ObjectText, FirstRowBehindTheLastPrintsNone) {
  EXPECT_EQ(OneColumn(3).str(3, 0), NO_ROW);
  EXPECT_EQ(OneColumn(3).str(std::numeric_limits<int>::max(), 1), NO_ROW);
}

TEST(ObjectText, EveryRowIsBehindANegativeFirstRow) {
  EXPECT_EQ(OneColumn(3).str(-1, 0), THREE_ROWS);
  EXPECT_EQ(OneColumn(3).str(std::numeric_limits<int>::min(), 0), THREE_ROWS);
}

TEST(ObjectText, RowsBeforeRowZeroDoNotCountAsPrinted) {
  EXPECT_EQ(OneColumn(2).str(-5, 1),
            "\nTable : 3 (size = 2)\n"
            "---------------------------\n"
            "\nProperties for row 0:\n"
            "1;\n"
            "\n");
}

TEST(ObjectText, NegativeNumberOfRowsPrintsNone) {
  EXPECT_EQ(OneColumn(3).str(0, -1), NO_ROW);
  EXPECT_EQ(OneColumn(3).str(0, std::numeric_limits<int>::min()), NO_ROW);
}

TEST(ObjectText, NumbersArePlainDecimal) {
  const TrelTable table("large", 4000000000U, true, 0);
  EXPECT_EQ(table.str(0, 0), "\nTable : 4000000000 (size = 0)\n---------------------------\n\n");
}

TEST(ObjectText, ApplicationsLocaleDoesNotGroupTheDigits) {
  class Grouping : public std::numpunct<char> {
   protected:
    std::string do_grouping() const override { return "\3"; }
  };
  const TrelTable table("large", 4000000, true, 0);
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  const std::string text = table.str(0, 0);
  std::locale::global(former);
  EXPECT_EQ(text, "\nTable : 4000000 (size = 0)\n---------------------------\n\n");
}

TEST(ObjectText, RowNumbersOfTwoDigits) {
  EXPECT_EQ(OneColumn(11).str(10, 0),
            "\nTable : 3 (size = 11)\n"
            "---------------------------\n"
            "\nProperties for row 10:\n"
            "1;\n"
            "\n");
}

TEST(ObjectText, NameDoesNotShow) {
  EXPECT_EQ(TrelScalar("a", 1, false).str(0, 0), TrelScalar("another", 1, true).str(0, 0));
}

TEST(ObjectText, WritesNoLine) {
  OneColumn table(3);
  const LogCapture log;
  table.str(0, 0);
  table.str(7, -7);
  EXPECT_EQ(log.brief(), std::vector<std::string>{});
}

}  // namespace
