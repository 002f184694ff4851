// Changes that a card reports to its manager without being asked.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"
#include "support/logSelection.h"

namespace {

// A card whose temperatures are sampled: it keeps the last reported ones in an event table.
class SamplingCard : public LinkedEngine {
 public:
  using LinkedEngine::LinkedEngine;
  bool initEventsCore() override {
    eventTables[3] = new EventValueTable(false, 4, 3);
    return true;
  }
  unsigned long long* last(int row) { return eventTables[3]->getValuePtr(row); }
};

}  // namespace

TEST(Event, AChangeReachesTheManagerWithTheSecondScan) {
  Line line;
  line.onCard.counter->set(43U);
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_TRUE(line.traffic.empty());
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_EQ(line.traffic, Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 0000002B"});
  EXPECT_EQ(line.mirror.counter->value, 43U);
  EXPECT_EQ(line.mirror.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(line.manager.reported, std::vector<std::string>{"counter"});
  EXPECT_EQ(line.manager.lastResult, 1);
}

TEST(Event, ChangesOfSeveralRowsGoInOneMessageAndLaterOnesInTheNext) {
  Line line;
  line.card.eventHandler();
  line.onCard.temperature[0]->set(static_cast<short>(20));
  line.onCard.temperature[2]->set(static_cast<short>(-20));
  EXPECT_EQ(line.card.eventHandler(), 2);
  line.onCard.temperature[2]->set(static_cast<short>(-21));
  EXPECT_EQ(line.card.eventHandler(), 1);
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_EQ(line.traffic, (Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 40C04000 06 0002 0014 | "
                                   "40C04002 06 0002 FFEC",
                                   "card: 4F544E31 01 05 0002 00000000 00000000 | 40C04002 06 0002 FFEB"}));
  EXPECT_EQ(line.mirror.temperature[0]->value, 20);
  EXPECT_EQ(line.mirror.temperature[2]->value, -21);
  EXPECT_EQ(line.mirror.sensors.calls, (Calls{"temperature row 0", "temperature row 2", "temperature row 2"}));
}

TEST(Event, AWriteByTheManagerIsNotReportedBack) {
  Line line;
  line.card.eventHandler();
  line.mirror.counter->set(7U);
  line.mirror.counter->sendEvent();  // the mirror's own change is no event of the card
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.onCard.counter->value, 7U);
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_EQ(line.traffic.size(), 2U);
}

TEST(Event, AChangedTextIsReportedWhenTheApplicationAddsIt) {
  Line line;
  line.onCard.label->set(std::string("changed"));
  line.card.eventHandler();
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_TRUE(line.traffic.empty());
  line.card.addToAmi(line.onCard.label, true);  // with the flush it is not added
  line.card.addToAmi(line.onCard.label, false);
  line.card.addToAmi(nullptr, true);
  EXPECT_EQ(line.traffic, Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 10800007 09 0007 6368616E676564"});
  EXPECT_EQ(line.mirror.labelText(), "changed");
}

TEST(Event, SampledValuesAreReportedWhenTheyDifferFromTheLastReportedOnes) {
  std::vector<std::string> traffic;
  SamplingCard card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  TrelTable onCard("speeds", 3, false, 4);
  TrelTable mirror("speeds", 3, false, 4);
  std::vector<TypeProperty<unsigned short>*> fan;
  std::vector<TypeProperty<unsigned short>*> copy;
  for (unsigned int row = 0; row < 4; ++row) {
    fan.push_back(new TypeProperty<unsigned short>(1, "fan", IFC_CARD_VAR_READ_ONLY, 1000));
    copy.push_back(new TypeProperty<unsigned short>(1, "fan", IFC_CARD_VAR_READ_ONLY, 0));
    onCard.addProp(fan[row], row);
    mirror.addProp(copy[row], row);
  }
  card.registerObject(&onCard);
  manager.registerObject(&mirror);
  ASSERT_TRUE(card.initEvents());
  auto sample = [&](bool compare) {
    int events = 0;
    for (int row = 0; row < 4; ++row)
      events += card.checkForEvent(card.last(row), fan[static_cast<std::size_t>(row)], compare, false) ? 1 : 0;
    return events;
  };
  EXPECT_EQ(sample(false), 0);
  card.eventHandler();
  fan[1]->set(static_cast<unsigned short>(0));
  fan[3]->set(static_cast<unsigned short>(65535));
  EXPECT_EQ(sample(true), 2);
  EXPECT_EQ(sample(true), 0);
  EXPECT_EQ(card.eventHandler(), 0);  // none of them by the scan, both in the message
  EXPECT_EQ(traffic, Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 40C04001 02 0002 0000 | "
                             "40C04003 02 0002 FFFF"});
  EXPECT_EQ(copy[0]->value, 0);  // an unchanged value is not reported, the mirror has never heard of it
  EXPECT_EQ(copy[3]->value, 65535);
}

TEST(Event, AManagerThatDoesNotKnowTheVariableReportsAFailureAndTakesTheOthers) {
  Line line;
  TrelScalar extra("extra", 2, false);
  auto* unknown = new TypeProperty<unsigned int>(1, "unknown", IFC_CARD_VAR_READ_WRITE, 0U, true);
  extra.addProp(unknown, 0);
  line.card.registerObject(&extra);
  line.card.eventHandler();
  unknown->set(1U);
  line.onCard.counter->set(43U);
  LogCapture log(3);
  EXPECT_EQ(line.card.eventHandler(), 2);
  EXPECT_EQ(line.manager.lastResult, 0);
  EXPECT_EQ(line.mirror.counter->value, 43U);
  EXPECT_EQ(line.manager.reported, std::vector<std::string>{"counter"});
  EXPECT_EQ(linesOf(log, "handleAmi"),
            (Lines{"3 [ERROR] trelProtocolBase (handleAmi) - "
                   "the following oid is not found in the registered objects, skipping!",
                   "3 [ERROR] trelProtocolBase (handleAmi) - prop NOT found to update: oid 0x1000001"}));
}

TEST(Event, AMessageAndItsRequestsShareTheNumbersOfTheCard) {
  Line line;
  line.card.eventHandler();
  line.onCard.counter->set(43U);
  line.card.eventHandler();
  line.card.readProperty(*line.onCard.version);
  line.onCard.counter->set(44U);
  line.card.eventHandler();
  ASSERT_EQ(line.traffic.size(), 4U);
  EXPECT_EQ(line.traffic[0], "card: 4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 0000002B");
  EXPECT_EQ(line.traffic[1], "card: 4F544E31 01 01 0002 | 10800006 02 0002 0102");
  EXPECT_EQ(line.traffic[3], "card: 4F544E31 01 05 0003 00000000 00000000 | 10800005 01 0004 0000002C");
}

TEST(Event, ANumberThatAMessageTookIsALossInTheManagersSequenceCheck) {
  Line line;
  line.card.eventHandler();
  line.card.readProperty(*line.onCard.version);  // number 1
  line.onCard.counter->set(43U);
  line.card.eventHandler();  // number 2: messages are not followed by the manager
  LogCapture log(4);
  line.card.readProperty(*line.onCard.version);  // number 3
  EXPECT_EQ(line.traffic.back(), "manager: 4F544E31 01 03 0003 03 0000 | 10800006 02 0002 0102");
  EXPECT_EQ(log.count("Messages with msgId in range 2 -> 3 were lost"), 1U);
}

TEST(Event, AnAnswerInTheManagersHookReadsTheCardBack) {
  Line line;
  line.card.eventHandler();
  line.onCard.label->set(std::string("alarm"));
  line.onCard.counter->set(43U);
  int inner = -1;
  line.mirror.chassis.onUpdated = [&](TrelProperty* property) {
    if (property == line.mirror.counter) inner = line.manager.readProperty(*line.mirror.label);
  };
  EXPECT_EQ(line.card.eventHandler(), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(line.mirror.labelText(), "alarm");
  EXPECT_EQ(line.manager.reported, std::vector<std::string>{"counter"});
  EXPECT_EQ(line.traffic, (Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 0000002B",
                                   "manager: 4F544E31 01 01 0001 | 10800007 09 0004 6E6F6E65",
                                   "card: 4F544E31 01 03 0001 00 0000 | 10800007 09 0005 616C61726D"}));
}

TEST(Event, AMessageThatIsLostOnTheLineIsNotRepeated) {
  Line line;
  line.card.eventHandler();
  line.onCard.counter->set(43U);
  line.card.onTheLine = [](const std::string&) { return std::string(); };
  EXPECT_EQ(line.card.eventHandler(), 1);
  line.card.onTheLine = nullptr;
  EXPECT_EQ(line.card.eventHandler(), 0);
  EXPECT_EQ(line.mirror.counter->value, 0U);
  EXPECT_EQ(line.traffic.size(), 1U);
}

TEST(Event, AVariableThatEndsBetweenTwoScansIsNotSent) {
  Line line;
  {
    TrelScalar shortLived("short", 2, false);
    auto* property = new TypeProperty<unsigned int>(1, "p", IFC_CARD_VAR_READ_WRITE, 0U, true);
    shortLived.addProp(property, 0);
    property->set(1U);
    std::vector<TrelObject*> objects = {&shortLived};
    EXPECT_EQ(line.card.eventAdd(objects), 1);
  }
  line.onCard.counter->set(43U);
  line.card.eventHandler();
  line.card.eventHandler();
  EXPECT_EQ(line.traffic, Traffic{"card: 4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 0000002B"});
}

TEST(Event, FiftyOneChangesInAScanSendTheMessageAndRepeatItWithTheNext) {
  std::vector<std::string> traffic;
  LinkedEngine card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  TrelTable onCard("many", 3, false, 52);
  TrelTable mirror("many", 3, false, 52);
  std::vector<TypeProperty<unsigned int>*> value;
  for (unsigned int row = 0; row < 52; ++row) {
    value.push_back(new TypeProperty<unsigned int>(1, "p", IFC_CARD_VAR_READ_WRITE, 0U, true));
    onCard.addProp(value.back(), row);
    mirror.addProp(new TypeProperty<unsigned int>(1, "p", IFC_CARD_VAR_READ_WRITE, 0U), row);
  }
  card.registerObject(&onCard);
  manager.registerObject(&mirror);
  card.eventHandler();
  for (std::size_t row = 0; row < 51; ++row)
    value[row]->set(1U);
  EXPECT_EQ(card.eventHandler(), 51);
  EXPECT_EQ(manager.reported.size(), 51U);
  value[51]->set(1U);
  EXPECT_EQ(card.eventHandler(), 1);
  EXPECT_EQ(manager.reported.size(), 103U);  // 51, and the same 51 again with the one that is new
  value[0]->set(2U);
  EXPECT_EQ(card.eventHandler(), 1);
  EXPECT_EQ(manager.reported.size(), 104U);
  EXPECT_EQ(traffic.size(), 3U);
}
