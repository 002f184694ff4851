// Two engines that call each other from inside hooks and transports.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"

TEST(NestedCall, TheCardReadsFromTheManagerInsideUpdatedOfTheManagersWrite) {
  Line line;
  line.mirror.counter->set(7U);
  line.mirror.label->set(std::string("from manager"));
  int inner = -1;
  line.onCard.chassis.onUpdated = [&](TrelProperty* property) {
    if (property == line.onCard.counter) inner = line.card.readProperty(*line.onCard.label);
  };
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(line.onCard.counter->value, 7U);
  EXPECT_EQ(line.onCard.labelText(), "from manager");
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 02 0001 | 10800005 01 0004 00000007",
                                   "card: 4F544E31 01 01 0001 | 10800007 09 0004 6E6F6E65",
                                   "manager: 4F544E31 01 03 0001 00 0000 | 10800007 09 000C 66726F6D206D616E61676572",
                                   "card: 4F544E31 01 04 0001 00 0000"}));
}

TEST(NestedCall, TheManagerReadsAgainInsideUpdatedOfItsRead) {
  Line line;
  line.onCard.temperature[2]->set(static_cast<short>(70));
  int inner = -1;
  line.mirror.chassis.onUpdated = [&](TrelProperty* property) {
    if (property == line.mirror.counter) inner = line.manager.readObject(line.mirror.sensors);
  };
  EXPECT_EQ(line.manager.readPropertys({line.mirror.counter, line.mirror.limit}), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(line.mirror.temperature[2]->value, 70);
  EXPECT_EQ(line.mirror.chassis.calls, (Calls{"counter row 0", "limit row 0"}));
  EXPECT_EQ(line.mirror.sensors.calls.size(), 4U);
}

TEST(NestedCall, TheManagerWritesInsideUpdatedOfItsRead) {
  Line line;
  int inner = -1;
  line.mirror.chassis.onUpdated = [&](TrelProperty* property) {
    if (property != line.mirror.counter) return;
    line.mirror.limit->set(static_cast<unsigned char>(99));
    inner = line.manager.writeProperty(*line.mirror.limit);
  };
  EXPECT_EQ(line.manager.readPropertys({line.mirror.counter, line.mirror.version}), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(line.onCard.limit->value, 99);
  EXPECT_EQ(line.mirror.version->value, 0x0102);
}

TEST(NestedCall, BothEndsCallEachOtherFourDeep) {
  Line line;
  std::vector<int> results;
  line.mirror.chassis.onUpdated = [&](TrelProperty*) {
    results.push_back(line.manager.writeProperty(*line.mirror.counter));
  };
  int onCard = 0;
  line.onCard.chassis.onUpdated = [&](TrelProperty*) {
    // Called for the manager's write, for the card's first read inside that call, and for the second inside that one.
    if (++onCard < 3) results.push_back(line.card.readProperty(*line.onCard.counter));
  };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(results, (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(onCard, 3);
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 01 0001 | 10800005 01 0004 00000000",
                                   "card: 4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A",
                                   "manager: 4F544E31 01 02 0002 | 10800005 01 0004 0000002A",
                                   "card: 4F544E31 01 01 0001 | 10800005 01 0004 0000002A",
                                   "manager: 4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A",
                                   "card: 4F544E31 01 01 0002 | 10800005 01 0004 0000002A",
                                   "manager: 4F544E31 01 03 0002 00 0000 | 10800005 01 0004 0000002A",
                                   "card: 4F544E31 01 04 0002 00 0000"}));
}

TEST(NestedCall, ATransportServesTheCardsRequestWhileItWaitsForTheCardsAnswer) {
  Line line;
  line.mirror.label->set(std::string("busy"));
  bool once = false;
  int served = -1;
  line.manager.whileWaiting = [&] {
    if (once) return;
    once = true;
    served = line.card.readProperty(*line.onCard.label);
  };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(served, 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.onCard.labelText(), "busy");
}

TEST(NestedCall, ATransportTakesAnAutonomousMessageWhileItWaits) {
  Line line;
  line.card.eventHandler();
  line.onCard.temperature[1]->set(static_cast<short>(55));
  line.manager.whileWaiting = [&] { EXPECT_EQ(line.card.eventHandler(), 1); };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.mirror.temperature[1]->value, 55);
  EXPECT_EQ(line.manager.reported, std::vector<std::string>{"temperature"});
}

TEST(NestedCall, ATransportTakesAStrangersDatagramsWhileItWaits) {
  Line line;
  const std::string strangers[] = {
      "4F544E31 01 03 0099 00 0000 | 10800007 09 0002 6869"_hex,  // a response nobody asked for: it is applied
      "4F544E31 01 03 0099 09 0000"_hex,
      "4F544E31 01 04 0099 00"_hex,
      "4F544E31 01 05 0099 00000000 0000"_hex,
      "00000000 01 01 0099"_hex,
      "4F"_hex,
      ""};
  line.manager.whileWaiting = [&] {
    for (const std::string& bytes : strangers)
      line.manager.receive(bytes, "10.0.0.77");
  };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.mirror.labelText(), "hi");
}

TEST(NestedCall, ATransportThatLeavesReplyBufferHasTheOldReplyProcessedAgain) {
  Line line;
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  line.onCard.counter->set(43U);
  line.manager.leavesReplyBuffer = true;
  EXPECT_EQ(line.manager.readProperty(*line.mirror.limit), 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.mirror.chassis.calls, (Calls{"counter row 0", "counter row 0"}));
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.limit), 1);  // even a write is answered by the old read
  EXPECT_EQ(line.mirror.chassis.calls.size(), 3U);
}

TEST(NestedCall, ATransportThatLeavesReplyBufferInsideAHookEndsAndTheOldReplyIsThereAfterwards) {
  Line line;
  int calls = 0;
  int inner = -1;
  line.mirror.chassis.onUpdated = [&](TrelProperty*) {
    if (++calls > 10) throw std::logic_error("the reply is processed inside itself");
    line.manager.leavesReplyBuffer = true;
    inner = line.manager.readProperty(*line.mirror.counter);
    line.manager.leavesReplyBuffer = false;
  };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(inner, 0);
  EXPECT_EQ(asDatagram(line.manager.replyBuffer), "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A");
}

TEST(NestedCall, AnExceptionInTheCardsHookReachesTheManagersCallerAndBothGoOn) {
  Line line;
  line.onCard.chassis.onUpdated = [](TrelProperty*) { throw std::runtime_error("card"); };
  line.mirror.counter->set(7U);
  EXPECT_THROW(line.manager.writeProperty(*line.mirror.counter), std::runtime_error);
  line.onCard.chassis.onUpdated = nullptr;
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.manager.readObject(line.mirror.chassis), 1);
  EXPECT_EQ(line.onCard.counter->value, 7U);
  line.onCard.counter->set(8U);
  line.card.eventHandler();
  line.card.eventHandler();
  EXPECT_EQ(line.mirror.counter->value, 8U);
}

TEST(NestedCall, AnExceptionInTheManagersHookOfAnAutonomousMessageLeavesBothEndsAlive) {
  Line line;
  line.card.eventHandler();
  line.mirror.chassis.onUpdated = [](TrelProperty*) { throw std::runtime_error("manager"); };
  line.onCard.counter->set(43U);
  EXPECT_THROW(line.card.eventHandler(), std::runtime_error);
  line.mirror.chassis.onUpdated = nullptr;
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.mirror.counter->value, 43U);
  line.onCard.counter->set(44U);
  line.card.eventHandler();
  EXPECT_EQ(line.mirror.counter->value, 44U);
}

TEST(NestedCall, TheCardReportsEventsInsideUpdatedOfAWrite) {
  Line line;
  line.card.eventHandler();
  line.onCard.chassis.onUpdated = [&](TrelProperty* property) {
    if (property != line.onCard.limit) return;
    line.onCard.temperature[0]->set(static_cast<short>(1));
    EXPECT_EQ(line.card.eventHandler(), 1);
  };
  line.mirror.limit->set(static_cast<unsigned char>(20));
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.limit), 1);
  EXPECT_EQ(line.mirror.temperature[0]->value, 1);
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 02 0001 | 10800008 03 0001 14",
                                   "card: 4F544E31 01 05 0001 00000000 00000000 | 40C04000 06 0002 0001",
                                   "card: 4F544E31 01 04 0001 00 0000"}));
}
