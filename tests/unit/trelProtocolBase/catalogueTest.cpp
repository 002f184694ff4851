// The catalogue of legacy card variables: every row, to the blank.
#include <gtest/gtest.h>

#include <boost/any.hpp>
#include <string>

#include "trel/trelProtocolBase.h"

namespace {

// A default as text, with the C++ type that it is held in.
std::string held(const boost::any& value) {
  if (const auto* v = boost::any_cast<unsigned long long>(&value)) return "unsigned long long " + std::to_string(*v);
  if (const auto* v = boost::any_cast<unsigned int>(&value)) return "unsigned int " + std::to_string(*v);
  if (const auto* v = boost::any_cast<unsigned char>(&value)) return "unsigned char " + std::to_string(*v);
  if (const auto* v = boost::any_cast<int>(&value)) return "int " + std::to_string(*v);
  if (const auto* v = boost::any_cast<bool>(&value)) return *v ? "bool true" : "bool false";
  if (const auto* v = boost::any_cast<std::string>(&value)) return "std::string " + *v;
  return "something else";
}

// Which lengths from 0 to 200 a check accepts, as a range; the checks answer true when they reject.
std::string accepted(bool (*rejects)(unsigned int)) {
  int first = -1;
  int last = -1;
  int count = 0;
  for (int length = 0; length <= 200; ++length) {
    if (rejects(static_cast<unsigned int>(length))) continue;
    if (first < 0) first = length;
    last = length;
    ++count;
  }
  if (count == 201) return "any";
  if (count != last - first + 1) return "gaps";
  return first == last ? std::to_string(first) : std::to_string(first) + "-" + std::to_string(last);
}

struct Row {
  unsigned int group, index;
  const char* name;
  unsigned int type, access;
  const char* defaultValue;
  const char* lengths;  // null: no check
  bool hasValueCheck;
};

// clang-format off
const Row ROWS[] = {
    {1, 0, "Card Type       ", 9, 1, "std::string xxx", "0-31", false},
    {1, 1, "Hardware Version", 3, 1, "unsigned char 0", "1", false},
    {1, 2, "Loadware        ", 1, 1, "unsigned int 0", "4", false},
    {1, 3, "Backup loadware ", 1, 1, "unsigned int 0", "4", false},
    {1, 4, "Ifc Slot        ", 3, 1, "unsigned char 0", "1", false},
    {1, 5, "Temp Sensors    ", 3, 1, "unsigned char 0", "1", false},
    {1, 6, "Voltage monitors", 3, 1, "unsigned char 0", "1", false},
    {1, 7, "Boot version    ", 1, 1, "unsigned int 0", "4", false},
    {1, 8, "HW errors       ", 3, 1, "unsigned char 0", "1", false},
    {1, 9, "Oper. alarms    ", 3, 1, "unsigned char 0", "1", false},
    {1, 10, "SW Interface    ", 1, 1, "unsigned int 0", "4", false},
    {1, 11, "Card Capability ", 1, 1, "unsigned int 0", "4", false},
    {2, 0, "Power                     ", 1, 1, "unsigned int 0", "4", false},
    {2, 1, "HW Error                  ", 8, 1, "bool false", "1", false},
    {2, 2, "Oper. Alarm               ", 8, 1, "bool false", "1", false},
    {2, 3, "DPLL Active CTRL CLK Alarm", 8, 1, "bool false", "1", false},
    {2, 4, "DPLL Recovered CLK Alarm  ", 8, 1, "bool false", "1", false},
    {2, 5, "Port recovering CLK Alarm", 8, 1, "bool false", "1", false},
    {3, 0, "Reboot", 8, 0, "bool false", "1", false},
    {3, 1, "UtcTime", 0, 0, "unsigned long long 0", "8", false},
    {3, 2, "BpClkRef", 3, 0, "unsigned char 128", "1", true},
    {3, 3, "GUID", 9, 0, "std::string ", "36", true},
    {4, 0, "Dld Filename      ", 9, 0, "std::string xxx", "0-127", false},
    {4, 1, "Dld Start Download", 8, 0, "bool false", "1", false},
    {4, 2, "Dld Stop Download ", 8, 0, "bool false", "1", false},
    {4, 3, "Dld commit load   ", 8, 0, "bool false", "1", false},
    {4, 4, "Dld accept load   ", 8, 0, "bool false", "1", false},
    {4, 5, "Dld state         ", 3, 1, "unsigned char 0", "1", false},
    {4, 6, "Dld progress      ", 3, 1, "unsigned char 0", "1", false},
    {4, 7, "Dld name          ", 9, 1, "std::string brd", "any", false},
    {4, 8, "Dld BSP name      ", 9, 1, "std::string BSP", "any", false},
    {4, 9, "Dld Clear Errors  ", 8, 0, "std::string BSP", "1", false},
    {4, 10, "Dld Set Commit timer  ", 5, 0, "int 0", "4", false},
    {5, 0, "Temp Name       ", 9, 1, "std::string ", "0-31", false},
    {5, 1, "Temp Value      ", 5, 1, "int 0", "4", false},
    {5, 2, "Temp Valid      ", 8, 1, "bool false", "1", false},
    {5, 3, "Min Sensor Value", 5, 1, "int 0", "4", false},
    {5, 4, "Max Sensor Value", 5, 1, "int 0", "4", false},
    {6, 0, "Voltage Name    ", 9, 1, "std::string ", "0-31", false},
    {6, 1, "Voltage Value   ", 5, 1, "int 0", "4", false},
    {6, 2, "Voltage Nominal ", 5, 1, "int 0", "4", false},
    {6, 3, "Voltage Valid   ", 8, 1, "bool false", "1", false},
    {7, 0, "FTP Server   ", 9, 0, "std::string ", "0-31", false},
    {7, 1, "FTP Port     ", 1, 0, "unsigned int 21", "4", false},
    {7, 2, "FTP User     ", 9, 0, "std::string ", "0-31", false},
    {7, 3, "FTP Password ", 9, 0, "std::string ", "0-31", false},
    {8, 0, "GETLOG directory ", 9, 0, "std::string ", "0-31", false},
    {8, 1, "GETLOG result    ", 1, 1, "unsigned int 0", "4", false},
    {8, 2, "GETLOG state     ", 1, 0, "unsigned int 0", "4", false},
    {9, 0, "HW error ID      ", 1, 1, "unsigned int 0", "4", false},
    {9, 1, "HW error name    ", 9, 1, "std::string ", "0-31", false},
    {9, 2, "HW error active  ", 8, 1, "bool false", "1", false},
    {10, 0, "Oper. alarm ID    ", 1, 1, "unsigned int 0", "4", false},
    {10, 1, "Oper. alarm name  ", 9, 1, "std::string ", "0-31", false},
    {10, 2, "Oper. alarm active", 8, 1, "bool false", "1", false},
    {11, 0, "VoltageMonitorPresent", 8, 1, "bool false", nullptr, false},
    {11, 1, "VoltageMonitorHwError", 8, 1, "bool false", nullptr, false},
    {11, 2, "VoltageMonitorVersion", 9, 1, "std::string ", nullptr, false},
    {11, 3, "VoltageMonitorUpdateFailed", 8, 1, "bool false", nullptr, false},
};
// clang-format on

constexpr unsigned int ROWS_IN_GROUP[] = {12, 6, 4, 11, 5, 4, 4, 3, 3, 3, 4};

TEST(CardVarCatalogue, HoldsEveryRowToTheBlank) {
  EXPECT_EQ(sizeof ROWS / sizeof ROWS[0], 59u);
  for (const Row& row : ROWS) {
    SCOPED_TRACE("group " + std::to_string(row.group) + ", index " + std::to_string(row.index));
    const IfcCardVarDef* def = ifcCardVarDef(row.group, row.index);
    ASSERT_NE(def, nullptr);
    EXPECT_EQ(def->index, row.index);
    EXPECT_STREQ(def->name, row.name);
    EXPECT_EQ(def->type, row.type);
    EXPECT_EQ(static_cast<unsigned int>(def->accessType), row.access);
    EXPECT_EQ(held(def->defaultValue), row.defaultValue);
    if (row.lengths == nullptr) {
      EXPECT_EQ(def->lengthCheck, nullptr);
    } else {
      ASSERT_NE(def->lengthCheck, nullptr);
      EXPECT_EQ(accepted(def->lengthCheck), row.lengths);
    }
    EXPECT_EQ(def->valueCheck != nullptr, row.hasValueCheck);
    EXPECT_EQ(def->flag, row.group == 2 && row.index == 3) << "only the DPLL active control clock alarm is flagged";
    EXPECT_EQ(def->reserved, 0u);
  }
}

// Where a member lies, seen from its row's start.
template <typename Member>
std::size_t placeOf(const IfcCardVarDef& def, const Member& member) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&def));
}

TEST(CardVarCatalogue, MembersOfARowLieInTheirOrder) {
  const IfcCardVarDef& def = *ifcCardVarDef(1, 0);
  constexpr std::size_t pointer = sizeof(void*);
  EXPECT_EQ(placeOf(def, def.index), 0u);
  EXPECT_EQ(placeOf(def, def.name), pointer);
  EXPECT_EQ(placeOf(def, def.type), 2 * pointer);
  EXPECT_EQ(placeOf(def, def.accessType), 2 * pointer + 4);
  EXPECT_EQ(placeOf(def, def.defaultValue), 2 * pointer + 8);
  EXPECT_EQ(placeOf(def, def.lengthCheck), 3 * pointer + 8);
  EXPECT_EQ(placeOf(def, def.valueCheck), 4 * pointer + 8);
  EXPECT_EQ(placeOf(def, def.flag), 5 * pointer + 8);
  EXPECT_EQ(placeOf(def, def.reserved), 5 * pointer + 12);
  EXPECT_EQ(sizeof(IfcCardVarDef), 5 * pointer + 16);
  EXPECT_EQ(&def + 1, ifcCardVarDef(1, 1)) << "the rows of a group follow each other";
}

TEST(CardVarCatalogue, HasElevenGroupsFromOneAndNothingBehindTheirLastRow) {
  for (unsigned int group = 1; group <= 11; ++group) {
    SCOPED_TRACE(group);
    const unsigned int rows = ROWS_IN_GROUP[group - 1];
    EXPECT_NE(ifcCardVarDef(group, rows - 1), nullptr);
    EXPECT_EQ(ifcCardVarDef(group, rows), nullptr);
    EXPECT_EQ(ifcCardVarDef(group, 0xFFFFFFFFu), nullptr);
  }
  EXPECT_EQ(ifcCardVarDef(0, 0), nullptr);
  EXPECT_EQ(ifcCardVarDef(12, 0), nullptr);
  EXPECT_EQ(ifcCardVarDef(0xFFFFFFFFu, 0), nullptr);
}

TEST(CardVarCatalogue, TheLastNameOfTheCardStatusIsOneShorterThanItsColumn) {
  EXPECT_STREQ(ifcCardVarDef(2, 5)->name, "Port recovering CLK Alarm");
  EXPECT_EQ(std::string(ifcCardVarDef(2, 4)->name).size(), 26u);
}

TEST(CardVarCatalogue, ABooleanDefaultIsHeldAsTheTextBsp) {
  EXPECT_EQ(boost::any_cast<std::string>(ifcCardVarDef(4, 9)->defaultValue), "BSP");
  EXPECT_EQ(ifcCardVarDef(4, 9)->type, 8u);
}

bool guidRejected(const std::string& guid) {
  boost::any value = guid;
  return ifcCardVarDef(3, 3)->valueCheck(value);
}

TEST(CardVarCatalogue, AGuidIs36LettersDigitsAndDashes) {
  EXPECT_FALSE(guidRejected("123e4567-e89b-12d3-A456-426614174000"));
  EXPECT_FALSE(guidRejected("------------------------------------"));
  EXPECT_TRUE(guidRejected("123e4567_e89b-12d3-A456-426614174000"));
  EXPECT_TRUE(guidRejected("123e4567-e89b-12d3-A456-42661417400"));
  EXPECT_TRUE(guidRejected("123e4567-e89b-12d3-A456-4266141740000"));
  EXPECT_TRUE(guidRejected(std::string(35, 'a') + '\xE4'));
  EXPECT_TRUE(guidRejected(""));
  boost::any noText = 36;
  EXPECT_TRUE(ifcCardVarDef(3, 3)->valueCheck(noText));
}

TEST(CardVarCatalogue, TheBackplaneClockReferenceIsZeroToThreeOr128) {
  const auto rejected = [](boost::any value) { return ifcCardVarDef(3, 2)->valueCheck(value); };
  for (unsigned int reference = 0; reference <= 300; ++reference) {
    SCOPED_TRACE(reference);
    const bool good = reference <= 3 || reference == 128;
    EXPECT_EQ(rejected(reference), !good);
    EXPECT_EQ(rejected(static_cast<unsigned short>(reference)), !good);
    if (reference <= 255) {
      EXPECT_EQ(rejected(static_cast<unsigned char>(reference)), !good);
    }
  }
  EXPECT_TRUE(rejected(0));  // an int, whatever it is
  EXPECT_TRUE(rejected(std::string("0")));
  EXPECT_TRUE(rejected(boost::any()));
}

}  // namespace
