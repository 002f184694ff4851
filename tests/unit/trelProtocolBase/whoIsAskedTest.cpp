// Which object answers an OID, and what is asked of its properties: the first registered one, and whatever an application
// has overridden.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Lines = std::vector<std::string>;

// A scalar group with one number under variable 5.
struct Group : TrelScalar {
  Group(unsigned int group, unsigned int value, bool isCommon = false) : TrelScalar("group", group, isCommon) {
    addProp(new Number(5, "number", IFC_CARD_VAR_READ_WRITE, value), 0);
  }
};

// Knows every OID, and counts how often it is asked.
struct KnowsAll : Group {
  using Group::Group;
  TrelProperty* getPropFromOID(unsigned int) override {
    ++asked;
    return getProp(5, 0);
  }
  int asked = 0;
};

std::string readOf(const std::string& oid) {
  const std::string request = "4F544E31 01 01 0001 | " + oid + " 01 0000";
  return operator""_hex(request.data(), request.size());
}

struct Asker {
  // The values that a read of one OID is answered with: all but header and head.
  std::string value(const std::string& oid) {
    engine.forget();
    engine.receive(readOf(oid));
    const std::string answer = engine.sent().empty() ? "" : engine.sent().front();
    return answer.size() < 9 ? answer : answer.substr(answer.size() - 8);
  }
  bool refuses(const std::string& oid) {
    engine.forget();
    engine.receive(readOf(oid));
    return engine.sent().front().substr(0, 30).find(" 05 0000") != std::string::npos;  // RESULT_GENERAL_ERROR
  }
  RecordingEngine engine;
};

}  // namespace

TEST(WhoIsAsked, TheFirstRegisteredObjectOfAnIdAnswersAmongMany) {
  std::vector<std::unique_ptr<Group>> groups;
  Asker asker;
  for (unsigned int i = 0; i < 40; ++i) {
    groups.push_back(std::make_unique<Group>(i % 20, 0x100 + i));  // each id twice
    asker.engine.registerObject(groups.back().get());
  }
  EXPECT_EQ(asker.value("00000005"), "00000100");
  EXPECT_EQ(asker.value("09800005"), "00000113");  // group 19
}

TEST(WhoIsAsked, WhatTheFirstObjectOfAnIdLacksTheNextOneAnswersAndTheFirstLeavesItsLine) {
  Group first(2, 1);
  Group second(2, 2);
  second.addProp(new Number(6, "other", IFC_CARD_VAR_READ_WRITE, 3), 0);
  Asker asker;
  asker.engine.registerObject(&first);
  asker.engine.registerObject(&second);
  const LogCapture log(4);
  EXPECT_EQ(asker.value("01000006"), "00000003");
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelObjects (getProp) - [group] Could not find property 6 for row 0"});
  EXPECT_EQ(asker.value("01000005"), "00000001");
}

TEST(WhoIsAsked, CommonAndOtherGroupsOfOneIdAreDifferentObjects) {
  Group plain(1, 1, false);
  Group common(1, 2, true);
  Asker asker;
  asker.engine.registerObject(&plain);
  asker.engine.registerObject(&common);
  EXPECT_EQ(asker.value("00800005"), "00000001");
  EXPECT_EQ(asker.value("10800005"), "00000002");
  EXPECT_EQ(asker.value("20800005"), "00000001");  // bit 29 is ignored
}

TEST(WhoIsAsked, AnObjectAnswersUnderTheIdThatItHasNow) {
  Group group(1, 7);
  Group other(4, 8);
  Asker asker;
  asker.engine.registerObject(&group);
  asker.engine.registerObject(&other);
  EXPECT_EQ(asker.value("00800005"), "00000007");
  group.id = 3;
  EXPECT_EQ(asker.value("01800005"), "00000007");
  EXPECT_TRUE(asker.refuses("00800005"));
  group.common = true;
  EXPECT_EQ(asker.value("11800005"), "00000007");
  EXPECT_TRUE(asker.refuses("01800005"));
  group.objectType = ifcCard::TABLE;
  EXPECT_TRUE(asker.refuses("11800005"));
  EXPECT_EQ(asker.value("02000005"), "00000008");
}

TEST(WhoIsAsked, ATableAnswersUnderTheIdThatItHasNow) {
  const auto newTable = [](unsigned int id, unsigned int value) {
    auto table = std::make_unique<TrelTable>("table", id, false, 2);
    table->addProp(new Number(1, "number", IFC_CARD_VAR_READ_WRITE, value), 1);
    return table;
  };
  const auto table = newTable(3, 7);
  const auto other = newTable(9, 8);
  Asker asker;
  asker.engine.registerObject(table.get());
  asker.engine.registerObject(other.get());
  EXPECT_EQ(asker.value("40C04001"), "00000007");
  table->id = 5;
  EXPECT_EQ(asker.value("41404001"), "00000007");
  EXPECT_TRUE(asker.refuses("40C04001"));
  table->common = true;
  EXPECT_EQ(asker.value("51404001"), "00000007");
  EXPECT_TRUE(asker.refuses("41404001"));
  table->objectType = ifcCard::SCALAR;
  EXPECT_TRUE(asker.refuses("51404001"));
  EXPECT_EQ(asker.value("42404001"), "00000008");
}

// A value that is received goes to the object that has the OID now.
TEST(WhoIsAsked, AReceivedValueGoesToTheObjectThatHasItsOidNow) {
  Group group(1, 7);
  TrelTable table("table", 3, false, 2);
  auto* const cell = new Number(1, "number", IFC_CARD_VAR_READ_WRITE, 7U);
  table.addProp(cell, 1);
  auto* const variable = static_cast<Number*>(group.getProp(5, 0));
  Asker asker;
  asker.engine.registerObject(&group);
  asker.engine.registerObject(&table);
  unsigned char sent = 0;
  const auto reaches = [&](const Number& property, const std::string& oid) {
    ++sent;
    const std::string ami = "4F544E31 01 05 0001 | 00000000 00000000 | " + oid + " 01 0004 000000";
    asker.engine.receive(operator""_hex(ami.data(), ami.size()) + static_cast<char>(sent));
    return property.value == sent;
  };
  EXPECT_TRUE(reaches(*variable, "00800005"));
  EXPECT_TRUE(reaches(*cell, "40C04001"));
  EXPECT_FALSE(reaches(*variable, "80800005"));  // of no kind
  EXPECT_FALSE(reaches(*variable, "02000005"));  // of no object
  EXPECT_FALSE(reaches(*cell, "42404001"));
  group.id = 2;
  table.id = 5;
  EXPECT_TRUE(reaches(*variable, "01000005"));
  EXPECT_TRUE(reaches(*cell, "41404001"));
  EXPECT_FALSE(reaches(*variable, "00800005"));
  EXPECT_FALSE(reaches(*cell, "40C04001"));
  group.id = 1;
  table.id = 3;
  group.common = true;
  table.common = true;
  EXPECT_TRUE(reaches(*variable, "10800005"));
  EXPECT_TRUE(reaches(*cell, "50C04001"));
  EXPECT_FALSE(reaches(*variable, "00800005"));
  EXPECT_FALSE(reaches(*cell, "40C04001"));
  group.common = false;
  table.common = false;
  group.objectType = ifcCard::TABLE;
  table.objectType = ifcCard::SCALAR;
  EXPECT_FALSE(reaches(*variable, "00800005"));
  EXPECT_FALSE(reaches(*cell, "40C04001"));
}

TEST(WhoIsAsked, ObjectsThatNoOidCanNameStandInNobodysWay) {
  Group scalar32(32, 1);
  Group unnamed(4, 1, true);  // a common group that no OID may name
  TrelTable table64("table", 64, false, 2);
  Group noScalar(1, 1);
  noScalar.objectType = ifcCard::TABLE;
  TrelTable noTable("table", 3, false, 2);
  noTable.objectType = ifcCard::SCALAR;
  Group first(0, 7, true);
  Group second(1, 8);
  TrelTable commonTable("table", 0, true, 2);
  commonTable.addProp(new Number(1, "number", IFC_CARD_VAR_READ_WRITE, 9U), 1);
  TrelTable table("table", 3, false, 2);
  table.addProp(new Number(1, "number", IFC_CARD_VAR_READ_WRITE, 10U), 1);
  Asker asker;
  for (TrelObject* object : std::vector<TrelObject*>{&scalar32, &unnamed, &table64, &noScalar, &noTable, &first,
                                                     &second, &commonTable, &table})
    asker.engine.registerObject(object);
  EXPECT_EQ(asker.value("10000005"), "00000007");
  EXPECT_EQ(asker.value("00800005"), "00000008");
  EXPECT_EQ(asker.value("50004001"), "00000009");
  EXPECT_EQ(asker.value("40C04001"), "0000000A");
}

TEST(WhoIsAsked, AnObjectThatAHookRegistersAnswersInTheSameRequest) {
  struct Registers : Group {
    using Group::Group;
    bool update(TrelProperty*, unsigned int) override {
      if (more != nullptr) engine->registerObject(more);
      more = nullptr;
      return true;
    }
    TrelProtocolBase* engine = nullptr;
    TrelObject* more = nullptr;
  };
  Registers first(1, 1);
  Group second(2, 2);
  Asker asker;
  first.engine = &asker.engine;
  first.more = &second;
  asker.engine.registerObject(&first);
  asker.engine.receive("4F544E31 01 01 0001 | 00800005 01 0000 | 01000005 01 0000"_hex);
  EXPECT_EQ(asker.engine.sent(),
            (std::vector<std::string>{
                "4F544E31 01 03 0001 00 0000 | 00800005 01 0004 00000001 | 01000005 01 0004 00000002"}));
}

TEST(WhoIsAsked, AnOidOfNoKindIsNobodysAlsoWhenTheRestOfItNamesAScalar) {
  Group group(1, 1, true);
  Asker asker;
  asker.engine.registerObject(&group);
  EXPECT_EQ(asker.value("10800005"), "00000001");
  EXPECT_TRUE(asker.refuses("90800005"));
  EXPECT_TRUE(asker.refuses("D0800005"));
}

TEST(WhoIsAsked, ALevelThatAnOwnSearchChangesCountsFromTheNextLineOn) {
  struct Opens : KnowsAll {
    using KnowsAll::KnowsAll;
    TrelProperty* getPropFromOID(unsigned int oid) override {
      log->setLevel(8);
      return KnowsAll::getPropFromOID(oid);
    }
    LogCapture* log = nullptr;
  };
  Opens own(2, 2);
  Asker asker;
  asker.engine.registerObject(&own);
  LogCapture log(7);
  own.log = &log;
  asker.engine.receive(readOf("00800005"));
  EXPECT_EQ(log.count("prop adding: type 1, oid 1000005"), 1U);
}

TEST(WhoIsAsked, AnOwnSearchIsAskedInItsTurnAndNotBehindTheOneThatAnswers) {
  Group before(1, 1);
  KnowsAll own(2, 2);
  Group behind(3, 3);
  Asker asker;
  asker.engine.registerObject(&before);
  asker.engine.registerObject(&own);
  asker.engine.registerObject(&behind);
  EXPECT_EQ(asker.value("00800005"), "00000001");
  EXPECT_EQ(own.asked, 0);
  EXPECT_EQ(asker.value("01800005"), "00000002");  // the third one's OID
  EXPECT_EQ(own.asked, 1);
}

TEST(WhoIsAsked, AnOwnSearchThatIsRegisteredLaterEndsNoAnswerOfTheFormer) {
  Group first(1, 1);
  Asker asker;
  asker.engine.registerObject(&first);
  EXPECT_EQ(asker.value("00800005"), "00000001");
  KnowsAll own(2, 2);
  asker.engine.registerObject(&own);
  EXPECT_EQ(asker.value("00800005"), "00000001");
  EXPECT_EQ(asker.value("7FFFFFFF"), "00000002");
}

TEST(WhoIsAsked, AnOwnOidOfAnObjectGoesOut) {
  struct Renamed : Group {
    using Group::Group;
    unsigned int getOID(unsigned int, unsigned int) override { return 0x11223344; }
  };
  Renamed group(1, 1);
  group.addProp(new StringProperty(6, "text", IFC_CARD_VAR_READ_WRITE, "a"), 0);
  Asker asker;
  asker.engine.registerObject(&group);
  asker.engine.receive("4F544E31 01 01 0001 | 00800005 01 0000 | 00800006 09 0000"_hex);
  EXPECT_EQ(asker.engine.sent(), (std::vector<std::string>{"4F544E31 01 03 0001 00 0000 | 11223344 01 0004 00000001 | "
                                                           "11223344 09 0001 61"}));
  asker.engine.forget();
  asker.engine.receive("4F544E31 01 02 0002 | 00800005 01 0004 00000002"_hex);
  EXPECT_EQ(asker.engine.sent(), (std::vector<std::string>{"4F544E31 01 04 0002 07 0000"}));
}

TEST(WhoIsAsked, ASubclassOfANumberIsAskedForTypeAndLength) {
  struct Address : TypeProperty<unsigned int> {
    using TypeProperty::TypeProperty;
    int getType() override { return TREL_TYPE_IPV4ADDRESS; }
  };
  struct Long : TypeProperty<unsigned short> {
    using TypeProperty::TypeProperty;
    int length() override { return 3; }
  };
  struct Text : StringProperty {
    using StringProperty::StringProperty;
    int length() override { return 1; }
  };
  TrelScalar group("group", 1, false);
  group.addProp(new Address(1, "address", IFC_CARD_VAR_READ_WRITE, 0x0A000001), 0);
  group.addProp(new Long(2, "long", IFC_CARD_VAR_READ_WRITE, static_cast<unsigned short>(0x0102)), 0);
  group.addProp(new Text(3, "text", IFC_CARD_VAR_READ_WRITE, "abc"), 0);
  Asker asker;
  asker.engine.registerObject(&group);
  asker.engine.receive("4F544E31 01 01 0001 | 00800001 0A 0000 | 00800002 02 0000 | 00800003 09 0000"_hex);
  EXPECT_EQ(asker.engine.sent(), (std::vector<std::string>{"4F544E31 01 03 0001 00 0000 | 00800001 0A 0004 0A000001 | "
                                                           "00800002 02 0003 010200 | 00800003 09 0001 61"}));
  asker.engine.forget();
  asker.engine.receive("4F544E31 01 02 0002 | 00800001 01 0004 00000002"_hex);  // not its type
  EXPECT_EQ(asker.engine.sent(), (std::vector<std::string>{"4F544E31 01 04 0002 06 0000"}));
  asker.engine.forget();
  asker.engine.receive("4F544E31 01 02 0003 | 00800002 02 0003 030405 | 00800001 0A 0004 C0A80001"_hex);
  EXPECT_EQ(asker.engine.sent(), (std::vector<std::string>{"4F544E31 01 04 0003 00 0000"}));
  unsigned short number = 0;
  group.getProp(2, 0)->get(&number);
  EXPECT_EQ(number, 0x0304);
}
