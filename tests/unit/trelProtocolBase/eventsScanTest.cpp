// The periodic scan: which changes are collected, when they go out, what is shared by all engines of a process.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/operatorNew.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Byte = TypeProperty<unsigned char>;

// A scalar (group 1, common) with two eventable numbers and one that is not, and a table 3 of `rows` eventable bytes.
struct Card {
  explicit Card(unsigned int rows = 2) : sensors("sensors", 3, false, rows) {
    chassis.addProp(first, 0);
    chassis.addProp(second, 0);
    chassis.addProp(quiet, 0);
    for (unsigned int row = 0; row < rows; ++row) {
      sensor.push_back(new Byte(1, "sensor", IFC_CARD_VAR_READ_WRITE, 0, true));
      sensors.addProp(sensor.back(), row);
    }
    engine.registerObject(&chassis);
    engine.registerObject(&sensors);
  }
  void setSensor(std::size_t row, unsigned char value) { sensor[row]->set(value); }
  void changeAllSensors() {
    for (Byte* one : sensor)
      one->set(static_cast<unsigned char>(one->value + 1));
  }

  TrelScalar chassis{"chassis", 1, true};
  TrelTable sensors;
  Number* first = new Number(5, "first", IFC_CARD_VAR_READ_WRITE, 0U, true);
  Number* second = new Number(6, "second", IFC_CARD_VAR_READ_WRITE, 0U, true);
  Number* quiet = new Number(7, "quiet", IFC_CARD_VAR_READ_WRITE, 0U, false);
  std::vector<Byte*> sensor;
  RecordingEngine engine;
};

}  // namespace

// ----- eventHandler -----

TEST(EventHandler, TheFirstCallCollectsOnlyAndTheSecondSendsWithTheNumberAddedInThatCall) {
  Card card;
  card.first->set(1U);
  card.second->set(2U);
  EXPECT_EQ(card.engine.eventHandler(), 0);
  EXPECT_TRUE(card.engine.messages.empty());
  EXPECT_FALSE(card.first->eventPending);
  EXPECT_EQ(card.engine.eventHandler(), 0);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000001 | "
                                          "10800006 01 0004 00000002"});
}

TEST(EventHandler, WhatIsAddedByTheSecondCallGoesOutWithWhatTheFirstCollected) {
  Card card;
  card.first->set(1U);
  EXPECT_EQ(card.engine.eventHandler(), 0);
  card.setSensor(1, 7);
  EXPECT_EQ(card.engine.eventHandler(), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000001 | "
                                          "40C04001 03 0001 07"});
}

TEST(EventHandler, EveryLaterCallSendsWhatItFindsAndReturnsHowMany) {
  Card card;
  EXPECT_EQ(card.engine.eventHandler(), 0);
  card.first->set(1U);
  card.setSensor(0, 2);
  EXPECT_EQ(card.engine.eventHandler(), 2);
  EXPECT_EQ(card.engine.eventHandler(), 0);
  card.second->set(3U);
  EXPECT_EQ(card.engine.eventHandler(), 1);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000001 | "
                                           "40C04000 03 0001 02",
                                           "4F544E31 01 05 0002 00000000 00000000 | 10800006 01 0004 00000003"}));
}

TEST(EventHandler, WithoutChangesNothingIsSentInAnyCall) {
  Card card;
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(card.engine.eventHandler(), 0);
  EXPECT_TRUE(card.engine.messages.empty());
  EXPECT_EQ(card.engine.messageIdCounter, 0);
}

TEST(EventHandler, AnEngineWithoutObjectsIsLegal) {
  RecordingEngine engine;
  EXPECT_EQ(engine.eventHandler(), 0);
  EXPECT_EQ(engine.eventHandler(), 0);
  EXPECT_TRUE(engine.messages.empty());
}

TEST(EventHandler, ThreeChangesOfOnePropertyAreOneEventWithTheLastValue) {
  Card card;
  card.engine.eventHandler();
  card.first->set(1U);
  card.first->set(2U);
  card.first->set(3U);
  EXPECT_EQ(card.engine.eventHandler(), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000003"});
}

TEST(EventHandler, TheValueThatGoesOutIsTheOneAtTheSend) {
  Card card;
  card.first->set(1U);
  card.engine.eventHandler();
  card.first->set(2U);  // found by the next scan as a second event
  EXPECT_EQ(card.engine.eventHandler(), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000002 | "
                                          "10800005 01 0004 00000002"});
}

TEST(EventHandler, FiftyOneEventsGoOutInTheFirstCallAlready) {
  Card card(51);
  card.changeAllSensors();
  EXPECT_EQ(card.engine.eventHandler(), 0);
  ASSERT_EQ(card.engine.messages.size(), 1U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 424U);  // 16 and 51 times 8
}

TEST(EventHandler, FiftyOneChangesInEveryScanSend51And102And153) {
  Card card(51);
  for (int i = 0; i < 3; ++i) {
    card.changeAllSensors();
    EXPECT_EQ(card.engine.eventHandler(), i == 0 ? 0 : 51);
  }
  ASSERT_EQ(card.engine.messages.size(), 3U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 424U);   // 16 and 51 times 8
  EXPECT_EQ(card.engine.messages[1].bytes.size(), 832U);   // 16 and 102 times 8
  EXPECT_EQ(card.engine.messages[2].bytes.size(), 1240U);  // 16 and 153 times 8
}

TEST(EventHandler, ItsTraceTellsTheStartFlag) {
  Card card;
  LogCapture log(7);
  card.engine.eventHandler();
  card.engine.eventHandler();
  card.engine.eventHandler();
  EXPECT_EQ(linesOf(log, "eventHandler"), (Lines{"7 [DEBUG1] trelProtocolBase (eventHandler) - initDone=0",
                                                 "7 [DEBUG1] trelProtocolBase (eventHandler) - initDone=1",
                                                 "7 [DEBUG1] trelProtocolBase (eventHandler) - initDone=1"}));
}

TEST(EventHandler, ItsTraceIsSilentAtTheThreshold) {
  Card card;
  LogCapture log(6);
  card.first->set(1U);
  card.engine.eventHandler();
  card.engine.eventHandler();
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(card.engine.messages.size(), 1U);
}

TEST(EventHandler, TheStartFlagIsSharedByAllEnginesOfTheProcess) {
  Card one;
  Card other;
  EXPECT_EQ(one.engine.eventHandler(), 0);
  other.first->set(1U);
  EXPECT_EQ(other.engine.eventHandler(), 1);
  EXPECT_EQ(other.engine.messages.size(), 1U);
}

TEST(EventHandler, ThePendingMessageIsSharedByAllEnginesSoOneSendsTheEventsOfAnother) {
  Card one;
  Card other;
  one.first->set(1U);
  EXPECT_EQ(one.engine.eventHandler(), 0);
  other.second->set(2U);
  EXPECT_EQ(other.engine.eventHandler(), 1);
  EXPECT_TRUE(one.engine.messages.empty());
  EXPECT_EQ(other.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000001 | "
                                           "10800006 01 0004 00000002"});
  EXPECT_EQ(one.engine.eventHandler(), 0);
  EXPECT_TRUE(one.engine.messages.empty());
}

TEST(EventHandler, AFailedSendLosesTheEvents) {
  Card card;
  card.engine.eventHandler();
  card.first->set(1U);
  card.engine.result = 0;
  EXPECT_EQ(card.engine.eventHandler(), 1);
  EXPECT_EQ(card.engine.messages.size(), 1U);
  card.engine.result = 1;
  EXPECT_EQ(card.engine.eventHandler(), 0);
  EXPECT_EQ(card.engine.messages.size(), 1U);
}

// ----- eventAdd -----

TEST(EventAdd, CollectsThePendingEventsOfTheGivenObjectsInOrder) {
  Card card;
  card.second->set(2U);
  card.first->set(1U);
  card.setSensor(0, 3);
  std::vector<TrelObject*> objects = {&card.sensors, &card.chassis};
  EXPECT_EQ(card.engine.eventAdd(objects), 3);
  EXPECT_TRUE(card.engine.messages.empty());
  card.engine.addToAmi(nullptr, true);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 40C04000 03 0001 03 | "
                                          "10800005 01 0004 00000001 | 10800006 01 0004 00000002"});
}

TEST(EventAdd, HandsEachEventOutOnce) {
  Card card;
  card.first->set(1U);
  std::vector<TrelObject*> objects = {&card.chassis, &card.chassis};
  EXPECT_EQ(card.engine.eventAdd(objects), 1);
  EXPECT_FALSE(card.first->eventPending);
  EXPECT_EQ(card.engine.eventAdd(objects), 0);
}

TEST(EventAdd, APropertyThatIsNotEventableIsNotReported) {
  Card card;
  card.quiet->set(1U);
  std::vector<TrelObject*> objects = {&card.chassis};
  EXPECT_EQ(card.engine.eventAdd(objects), 0);
}

TEST(EventAdd, TakesObjectsThatAreNotRegisteredAndNoOthers) {
  Card card;
  TrelScalar loose("loose", 2, false);
  Number* property = new Number(1, "p", IFC_CARD_VAR_READ_WRITE, 0U, true);
  loose.addProp(property, 0);
  property->set(9U);
  card.first->set(1U);
  std::vector<TrelObject*> objects = {&loose};
  EXPECT_EQ(card.engine.eventAdd(objects), 1);
  EXPECT_TRUE(card.first->eventPending);
  std::vector<TrelObject*> none;
  EXPECT_EQ(card.engine.eventAdd(none), 0);
}

TEST(EventAdd, CountsAllAlsoWhenTheMessageWasSentForItsSizeMeanwhile) {
  Card card(120);
  card.changeAllSensors();
  std::vector<TrelObject*> objects = {&card.sensors};
  EXPECT_EQ(card.engine.eventAdd(objects), 120);
  ASSERT_EQ(card.engine.messages.size(), 2U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 424U);  // 16 and 51 times 8
  EXPECT_EQ(card.engine.messages[1].bytes.size(), 832U);  // 16 and 102 times 8
}

// The flags were lowered when the changes were listed, so a change that comes while the 51st is sent is a new one.
TEST(EventAdd, WhatWaitsAlreadyCountsTowardsTheSizeThatSendsTheMessage) {
  Card card(45);
  for (std::size_t row = 0; row < 10; ++row)
    card.setSensor(row, 1);
  std::vector<TrelObject*> objects = {&card.sensors};
  EXPECT_EQ(card.engine.eventAdd(objects), 10);
  EXPECT_EQ(card.engine.messages.size(), 0U);
  card.changeAllSensors();
  EXPECT_EQ(card.engine.eventAdd(objects), 45);
  ASSERT_EQ(card.engine.messages.size(), 1U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 424U);  // 16 and 51 times 8
}

TEST(EventAdd, AChangeThatComesWhileTheMessageIsSentForItsSizeWaitsForTheNextScan) {
  Card card(60);
  card.changeAllSensors();
  std::vector<TrelObject*> objects = {&card.sensors};
  Byte* const last = card.sensor.back();  // listed, and not in the message yet
  int sendings = 0;
  card.engine.whileSending = [&](TRELMessage&) {
    if (++sendings == 1) last->set(static_cast<unsigned char>(0x77));
  };
  EXPECT_EQ(card.engine.eventAdd(objects), 60);
  EXPECT_EQ(sendings, 1);
  EXPECT_TRUE(last->eventPending);
  EXPECT_EQ(card.engine.eventAdd(objects), 1);
}

TEST(EventAdd, MemoryThatRunsOutAnywhereLosesNoChange) {
  Card card(60);
  card.first->set(1U);
  card.engine.eventHandler();
  card.engine.eventHandler();
  card.engine.forget();
  // More each time, so that the lists which the engine keeps must grow; in the end they need not.
  constexpr std::size_t CHANGED[] = {17, 33, 50};
  std::size_t after = 0;
  for (bool happened = true; happened; ++after) {
    ASSERT_LT(after, 3U);
    const std::size_t changed = CHANGED[after];
    for (std::size_t row = 0; row < changed; ++row)
      card.setSensor(row, static_cast<unsigned char>(after + 1));
    {
      const NewFailure failure(after);
      try {
        card.engine.eventAdd(card.engine.objects);
      } catch (const std::bad_alloc&) {
      }
      happened = failure.happened();
    }
    card.engine.eventAdd(card.engine.objects);
    card.engine.addToAmi(nullptr, true);
    ASSERT_EQ(card.engine.messages.size(), after + 1);
    EXPECT_EQ(card.engine.messages[after].bytes.size(), 16 + changed * 8) << after;  // the header, and 8 of each sensor
  }
  EXPECT_EQ(after, 3U);
}

TEST(EventAdd, AnExceptionOfTheTransportLosesNoChangeAndReportsNoneTwice) {
  Card card(60);
  card.changeAllSensors();
  card.engine.whileSending = [](TRELMessage&) { throw std::runtime_error("no network"); };
  EXPECT_THROW(card.engine.eventAdd(card.engine.objects), std::runtime_error);
  for (std::size_t row = 0; row < 60; ++row)
    EXPECT_EQ(card.sensor[row]->eventPending, row >= 51) << row;
  card.engine.forget();
  card.engine.whileSending = nullptr;
  EXPECT_EQ(card.engine.eventAdd(card.engine.objects), 9);
  // The 51 that could not be sent still count, so the first of the nine sends the message for its size.
  ASSERT_EQ(card.engine.messages.size(), 1U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 432U);  // 16 and 52 times 8
  card.engine.addToAmi(nullptr, true);
  ASSERT_EQ(card.engine.messages.size(), 2U);
  EXPECT_EQ(card.engine.messages[1].bytes.size(), 496U);  // 16 and 60 times 8
}

// The count goes back to 0 behind the send: until then every property more sends the message again.
TEST(EventAdd, WhatAHookAddsWhileTheMessageIsSentForItsSizeSendsItAgain) {
  Card card(51);
  card.changeAllSensors();
  std::vector<TrelObject*> sensors = {&card.sensors};
  std::vector<TrelObject*> chassis = {&card.chassis};
  int sendings = 0;
  card.engine.whileSending = [&](TRELMessage&) {
    if (++sendings > 1) return;
    card.first->set(1U);
    EXPECT_EQ(card.engine.eventAdd(chassis), 1);
  };
  EXPECT_EQ(card.engine.eventAdd(sensors), 51);
  ASSERT_EQ(card.engine.messages.size(), 2U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 424U);  // 16 and 51 times 8
  EXPECT_EQ(card.engine.messages[1].bytes.size(), 435U);  // and 11 of the number
  EXPECT_EQ(sendings, 2);
}
