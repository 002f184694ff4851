// The legacy card variables.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "trel/trelProtocolBase.h"

namespace {

enum class Check { NONE, AT_MOST_31, AT_MOST_127, IS_1, IS_4, IS_8, IS_36, ANY };

struct Row {
  const char* name;
  unsigned int type;
  unsigned int access;
  boost::any value;
  Check check;
};

const unsigned int STRING = 9;
const unsigned int UINT8 = 3;
const unsigned int UINT32 = 1;
const unsigned int INT32 = 5;
const unsigned int UINT64 = 0;
const unsigned int BOOLEAN = 8;

boost::any text(const char* value) { return std::string(value); }
boost::any byte(unsigned char value) { return value; }

const std::vector<std::vector<Row>>& table() {
  static const std::vector<std::vector<Row>> groups = {
      {{"Card Type       ", STRING, 1, text("xxx"), Check::AT_MOST_31},
       {"Hardware Version", UINT8, 1, byte(0), Check::IS_1},
       {"Loadware        ", UINT32, 1, 0U, Check::IS_4},
       {"Backup loadware ", UINT32, 1, 0U, Check::IS_4},
       {"Ifc Slot        ", UINT8, 1, byte(0), Check::IS_1},
       {"Temp Sensors    ", UINT8, 1, byte(0), Check::IS_1},
       {"Voltage monitors", UINT8, 1, byte(0), Check::IS_1},
       {"Boot version    ", UINT32, 1, 0U, Check::IS_4},
       {"HW errors       ", UINT8, 1, byte(0), Check::IS_1},
       {"Oper. alarms    ", UINT8, 1, byte(0), Check::IS_1},
       {"SW Interface    ", UINT32, 1, 0U, Check::IS_4},
       {"Card Capability ", UINT32, 1, 0U, Check::IS_4}},
      {{"Power                     ", UINT32, 1, 0U, Check::IS_4},
       {"HW Error                  ", BOOLEAN, 1, false, Check::IS_1},
       {"Oper. Alarm               ", BOOLEAN, 1, false, Check::IS_1},
       {"DPLL Active CTRL CLK Alarm", BOOLEAN, 1, false, Check::IS_1},
       {"DPLL Recovered CLK Alarm  ", BOOLEAN, 1, false, Check::IS_1},
       {"Port recovering CLK Alarm", BOOLEAN, 1, false, Check::IS_1}},
      {{"Reboot", BOOLEAN, 0, false, Check::IS_1},
       {"UtcTime", UINT64, 0, 0ULL, Check::IS_8},
       {"BpClkRef", UINT8, 0, byte(128), Check::IS_1},
       {"GUID", STRING, 0, text(""), Check::IS_36}},
      {{"Dld Filename      ", STRING, 0, text("xxx"), Check::AT_MOST_127},
       {"Dld Start Download", BOOLEAN, 0, false, Check::IS_1},
       {"Dld Stop Download ", BOOLEAN, 0, false, Check::IS_1},
       {"Dld commit load   ", BOOLEAN, 0, false, Check::IS_1},
       {"Dld accept load   ", BOOLEAN, 0, false, Check::IS_1},
       {"Dld state         ", UINT8, 1, byte(0), Check::IS_1},
       {"Dld progress      ", UINT8, 1, byte(0), Check::IS_1},
       {"Dld name          ", STRING, 1, text("brd"), Check::ANY},
       {"Dld BSP name      ", STRING, 1, text("BSP"), Check::ANY},
       {"Dld Clear Errors  ", BOOLEAN, 0, text("BSP"), Check::IS_1},
       {"Dld Set Commit timer  ", INT32, 0, 0, Check::IS_4}},
      {{"Temp Name       ", STRING, 1, text(""), Check::AT_MOST_31},
       {"Temp Value      ", INT32, 1, 0, Check::IS_4},
       {"Temp Valid      ", BOOLEAN, 1, false, Check::IS_1},
       {"Min Sensor Value", INT32, 1, 0, Check::IS_4},
       {"Max Sensor Value", INT32, 1, 0, Check::IS_4}},
      {{"Voltage Name    ", STRING, 1, text(""), Check::AT_MOST_31},
       {"Voltage Value   ", INT32, 1, 0, Check::IS_4},
       {"Voltage Nominal ", INT32, 1, 0, Check::IS_4},
       {"Voltage Valid   ", BOOLEAN, 1, false, Check::IS_1}},
      {{"FTP Server   ", STRING, 0, text(""), Check::AT_MOST_31},
       {"FTP Port     ", UINT32, 0, 21U, Check::IS_4},
       {"FTP User     ", STRING, 0, text(""), Check::AT_MOST_31},
       {"FTP Password ", STRING, 0, text(""), Check::AT_MOST_31}},
      {{"GETLOG directory ", STRING, 0, text(""), Check::AT_MOST_31},
       {"GETLOG result    ", UINT32, 1, 0U, Check::IS_4},
       {"GETLOG state     ", UINT32, 0, 0U, Check::IS_4}},
      {{"HW error ID      ", UINT32, 1, 0U, Check::IS_4},
       {"HW error name    ", STRING, 1, text(""), Check::AT_MOST_31},
       {"HW error active  ", BOOLEAN, 1, false, Check::IS_1}},
      {{"Oper. alarm ID    ", UINT32, 1, 0U, Check::IS_4},
       {"Oper. alarm name  ", STRING, 1, text(""), Check::AT_MOST_31},
       {"Oper. alarm active", BOOLEAN, 1, false, Check::IS_1}},
      {{"VoltageMonitorPresent", BOOLEAN, 1, false, Check::NONE},
       {"VoltageMonitorHwError", BOOLEAN, 1, false, Check::NONE},
       {"VoltageMonitorVersion", STRING, 1, text(""), Check::NONE},
       {"VoltageMonitorUpdateFailed", BOOLEAN, 1, false, Check::NONE}}};
  return groups;
}

bool sameDefault(const boost::any& a, const boost::any& b) {
  if (a.type() != b.type()) return false;
  if (a.type() == typeid(std::string)) return boost::any_cast<std::string>(a) == boost::any_cast<std::string>(b);
  if (a.type() == typeid(unsigned char)) return boost::any_cast<unsigned char>(a) == boost::any_cast<unsigned char>(b);
  if (a.type() == typeid(unsigned int)) return boost::any_cast<unsigned int>(a) == boost::any_cast<unsigned int>(b);
  if (a.type() == typeid(int)) return boost::any_cast<int>(a) == boost::any_cast<int>(b);
  if (a.type() == typeid(bool)) return boost::any_cast<bool>(a) == boost::any_cast<bool>(b);
  return boost::any_cast<unsigned long long>(a) == boost::any_cast<unsigned long long>(b);
}

bool accepts(Check check, unsigned int length) {
  switch (check) {
    case Check::AT_MOST_31:
      return length <= 31;
    case Check::AT_MOST_127:
      return length <= 127;
    case Check::IS_1:
      return length == 1;
    case Check::IS_4:
      return length == 4;
    case Check::IS_8:
      return length == 8;
    case Check::IS_36:
      return length == 36;
    default:
      return true;
  }
}

bool refuses(unsigned int group, unsigned int index, boost::any value) {
  return ifcCardVarDef(group, index)->valueCheck(value);
}

#ifndef TREL_IS_STATIC  // linked into the program, which of the two is initialised first is the linker's choice
// Asked while the program is being loaded: the library's own statics stand before those of its user.
const IfcCardVarDef* const whileLoading = ifcCardVarDef(4, 9);
const std::string defaultWhileLoading = boost::any_cast<std::string>(whileLoading->defaultValue);
#endif

}  // namespace

TEST(ReadingCatalogue, EveryVariableStandsAsListed) {
  unsigned int variables = 0;
  for (unsigned int group = 1; group <= 11; ++group) {
    const std::vector<Row>& rows = table()[group - 1];
    for (unsigned int index = 0; index < rows.size(); ++index) {
      SCOPED_TRACE("group " + std::to_string(group) + ", index " + std::to_string(index));
      ++variables;
      const Row& row = rows[index];
      const IfcCardVarDef* const def = ifcCardVarDef(group, index);
      ASSERT_NE(def, nullptr);
      EXPECT_EQ(def->index, index);
      EXPECT_STREQ(def->name, row.name);
      EXPECT_EQ(def->type, row.type);
      EXPECT_EQ(static_cast<unsigned int>(def->accessType), row.access);
      EXPECT_TRUE(sameDefault(def->defaultValue, row.value));
      EXPECT_EQ(def->reserved, 0U);
      EXPECT_EQ(def->flag, group == 2 && index == 3);
      EXPECT_EQ(def->valueCheck != nullptr, group == 3 && (index == 2 || index == 3));
      EXPECT_EQ(def->lengthCheck == nullptr, row.check == Check::NONE);
      if (def->lengthCheck == nullptr) continue;
      for (const unsigned int length : {0U,  1U,  2U,  3U,  4U,   5U,   7U,   8U,   9U,   30U,    31U,
                                        32U, 35U, 36U, 37U, 126U, 127U, 128U, 257U, 260U, 65537U, UINT_MAX}) {
        EXPECT_EQ(def->lengthCheck(length), !accepts(row.check, length)) << length;
      }
    }
    EXPECT_EQ(ifcCardVarDef(group, static_cast<unsigned int>(rows.size())), nullptr);
    EXPECT_EQ(ifcCardVarDef(group, UINT_MAX), nullptr);
  }
  EXPECT_EQ(variables, 59U);
}

TEST(ReadingCatalogue, OtherGroupsAreNull) {
  for (const unsigned int group : {0U, 12U, 13U, 0x10001U, UINT_MAX})
    EXPECT_EQ(ifcCardVarDef(group, 0), nullptr) << group;
}

#ifndef TREL_IS_STATIC
TEST(ReadingCatalogue, StandsAtLoadTimeAndStays) {
  EXPECT_EQ(whileLoading, ifcCardVarDef(4, 9));
  EXPECT_EQ(defaultWhileLoading, "BSP");
  EXPECT_STREQ(ifcCardVarDef(2, 5)->name, "Port recovering CLK Alarm");
}
#endif

TEST(ReadingCatalogue, BackplaneClockTakesFiveValuesInThreeTypes) {
  for (unsigned int value = 0; value <= 255; ++value) {
    SCOPED_TRACE(value);
    const bool bad = !(value <= 3 || value == 128);
    EXPECT_EQ(refuses(3, 2, value), bad);
    EXPECT_EQ(refuses(3, 2, static_cast<unsigned short>(value)), bad);
    EXPECT_EQ(refuses(3, 2, static_cast<unsigned char>(value)), bad);
    EXPECT_TRUE(refuses(3, 2, static_cast<int>(value)));
  }
  for (const unsigned int value : {256U, 257U, 384U, 0x10000U, 0x10080U, 0x80000000U, UINT_MAX}) {
    EXPECT_TRUE(refuses(3, 2, value)) << value;
  }
  for (const unsigned int value : {256U, 384U, 0x8000U}) {
    EXPECT_TRUE(refuses(3, 2, static_cast<unsigned short>(value))) << value;
  }
  EXPECT_TRUE(refuses(3, 2, boost::any()));
  EXPECT_TRUE(refuses(3, 2, true));
  EXPECT_TRUE(refuses(3, 2, 0ULL));
  EXPECT_TRUE(refuses(3, 2, static_cast<signed char>(0)));
  EXPECT_TRUE(refuses(3, 2, std::string("0")));
  EXPECT_FALSE(refuses(3, 2, ifcCardVarDef(3, 2)->defaultValue));
}

TEST(ReadingCatalogue, GuidIsThirtySixLettersDigitsAndDashes) {
  const std::string good = "0189AFaf-zZzZ-1234-5678-0123456789ab";
  ASSERT_EQ(good.size(), 36U);
  EXPECT_FALSE(refuses(3, 3, good));
  EXPECT_FALSE(refuses(3, 3, std::string(36, '-')));
  EXPECT_TRUE(refuses(3, 3, good.substr(1)));
  EXPECT_TRUE(refuses(3, 3, good + "0"));
  EXPECT_TRUE(refuses(3, 3, std::string()));
  for (const char bad : {'_', ' ', '\0', '{', '/', ':', '@', '[', '`', '\x7F', '\x80', '\xE4', '\xFF'}) {
    for (const std::size_t place : {0U, 17U, 35U}) {
      std::string text36 = good;
      text36[place] = bad;
      EXPECT_TRUE(refuses(3, 3, text36)) << static_cast<int>(bad) << " at " << place;
    }
  }
  EXPECT_TRUE(refuses(3, 3, static_cast<const char*>("0189AFaf-zZzZ-1234-5678-0123456789ab")));
  EXPECT_TRUE(refuses(3, 3, boost::any()));
  EXPECT_TRUE(refuses(3, 3, 36U));
  EXPECT_TRUE(refuses(3, 3, ifcCardVarDef(3, 3)->defaultValue));  // its own default is not an acceptable write
}

TEST(ReadingCatalogue, ValueCheckLeavesTheValue) {
  boost::any value = std::string("short");
  EXPECT_TRUE(ifcCardVarDef(3, 3)->valueCheck(value));
  EXPECT_EQ(boost::any_cast<std::string>(value), "short");
}
