// The transport over a network that loses, doubles, delays and reorders datagrams: what holds whatever happens.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "badNetwork.h"
#include "trelUdp/trelUdp.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int VALUES = 4;

// The variables of both ends. `tick` counts how often it was read where it lives, so an older answer bears a lower number.
// A value that a manager writes bears the variable's position and the message id of the write.
class Variables : public TrelScalar {
 public:
  Variables() : TrelScalar("variables", 1, true) {
    addProp(tick, 0);
    addProp(alarm, 0);
    for (unsigned int i = 0; i < VALUES; ++i) {
      values.push_back(new TypeProperty<unsigned int>(10 + i, "value", IFC_CARD_VAR_READ_WRITE, i << 16, false));
      addProp(values.back(), 0);
    }
  }

  TypeProperty<unsigned int>* const tick =
      new TypeProperty<unsigned int>(1, "tick", IFC_CARD_VAR_READ_WRITE, 0U, false);
  TypeProperty<unsigned int>* const alarm =
      new TypeProperty<unsigned int>(2, "alarm", IFC_CARD_VAR_READ_WRITE, 0U, true);
  std::vector<TypeProperty<unsigned int>*> values;
};

// Where the variables live.
class CardVariables : public Variables {
 public:
  explicit CardVariables(SharedNotes& notes) : notes_(notes) {}

  bool update(TrelProperty* property, unsigned int) override {
    if (property == tick) ++tick->value;
    return true;
  }
  bool updated(TrelProperty* property, unsigned int) override {
    if (property->id >= 10)
      ++notes_.executed[(static_cast<TypeProperty<unsigned int>*>(property)->value & 0xFFFF) % MAX_MSG_IDS];
    return true;
  }

 private:
  SharedNotes& notes_;
};

class End : public TrelUdp {
 public:
  std::vector<unsigned int> alarms;
  const Variables* watched = nullptr;

  bool amiMessageHandler(std::vector<TrelProperty*>) override {
    if (watched != nullptr) alarms.push_back(watched->alarm->value);
    return true;
  }
};

bool addsUp(const TrelUdp& udp) {
  const TrelUdpCounters& counters = udp.counters();
  return counters.received == counters.handedOver + counters.replies + counters.droppedInAll() + udp.kept();
}

// What only a broken transport would count here.
unsigned long long strange(const TrelUdpCounters& counters) {
  const unsigned long long expected =
      counters.dropped[TREL_UDP_DROP_DUPLICATE_REPLY] + counters.dropped[TREL_UDP_DROP_UNAWAITED_REPLY] +
      counters.dropped[TREL_UDP_DROP_STALE_REPLY] + counters.dropped[TREL_UDP_DROP_KEPT_FULL];
  return counters.droppedInAll() - expected + counters.notSent + counters.receiveErrors;
}

// A card that serves until it is told to stop, and raises its alarm every `alarmMs` milliseconds if that is not 0.
FarEnd card(unsigned int alarmMs) {
  return
      [alarmMs](SharedNotes& notes, unsigned short networkPort, const std::function<void(unsigned short)>& announce) {
        CardVariables variables(notes);
        End end;
        end.registerObject(&variables);
        if (!end.open() || !end.setEventReceiver("127.0.0.1", networkPort)) return 1;
        announce(end.port());
        Clock::time_point nextAlarm = Clock::now() + std::chrono::milliseconds(alarmMs);
        while (notes.stop == 0) {
          end.waitForDatagram(2);
          if (end.handleDatagrams() < 0) return 2;
          if (alarmMs != 0 && notes.calm == 0 && Clock::now() >= nextAlarm) {
            variables.alarm->set(variables.alarm->value + 1);
            end.eventHandler();
            nextAlarm = Clock::now() + std::chrono::milliseconds(alarmMs);
          }
        }
        if (!addsUp(end) || strange(end.counters()) != 0) return 3;
        // It never asks, so nothing that it receives may be a response.
        return end.counters().handedOver == end.counters().received ? 0 : 4;
      };
}

// A manager, and what it checks after each operation.
class Manager {
 public:
  Manager() {
    end.registerObject(&mirror);
    end.watched = &mirror;
    EXPECT_TRUE(end.open()) << end.errorText();
    for (unsigned int i = 0; i < VALUES; ++i) {
      written.push_back({mirror.values[i]->value});
    }
  }

  // Reads the tick and one value. A reply is never older than its request, and its values are of the variables asked for.
  bool read(unsigned int which) {
    const unsigned int before = mirror.values[which]->value;
    ++operations;
    const int done = end.readPropertys({mirror.tick, mirror.values[which]});
    checkResult(done);
    if (done == 0) {
      EXPECT_EQ(mirror.tick->value, lastTick) << "without a reply nothing is stored";
      EXPECT_EQ(mirror.values[which]->value, before);
      return false;
    }
    EXPECT_GT(mirror.tick->value, lastTick) << "an answer that was given before the question";
    lastTick = mirror.tick->value;
    bool known = false;
    for (const unsigned int value : written[which]) {
      known = known || value == mirror.values[which]->value;
    }
    EXPECT_TRUE(known) << "variable " << which << " never had the value " << mirror.values[which]->value;
    return true;
  }

  bool write(unsigned int which) {
    ++operations;  // which is the message id too: one end, one kind of message
    mirror.values[which]->value = which << 16 | operations;
    written[which].push_back(mirror.values[which]->value);
    const int done = end.writeProperty(*mirror.values[which]);
    checkResult(done);
    if (done != 0) doneWrites.push_back(operations);
    return done != 0;
  }

  End end;
  Variables mirror;
  std::vector<std::vector<unsigned int>> written;
  std::vector<unsigned int> doneWrites;
  unsigned int operations = 0;
  unsigned int successes = 0;
  unsigned int lastTick = 0;

 private:
  void checkResult(int done) {
    if (done != 0) ++successes;
    const TrelUdpOutcome expected = done != 0 ? TREL_UDP_OK : TREL_UDP_NO_REPLY;
    EXPECT_EQ(end.lastResult().outcome, expected) << end.lastResult().str();
    EXPECT_EQ(end.counters().replies, successes) << "one reply for each request that was answered";
    EXPECT_TRUE(addsUp(end));
  }
};

constexpr unsigned int OPERATIONS = 120;

void runOperations(Manager& manager) {
  for (unsigned int i = 0; i < OPERATIONS && !testing::Test::HasFailure(); ++i) {
    if (i % 3 == 0) {
      manager.write(i % VALUES);
    } else {
      manager.read(i % VALUES);
    }
    EXPECT_GE(manager.end.handleDatagrams(), 0);
  }
}

// When the network is calm again, everything works at the first attempt.
void expectThatAllWorks(Manager& manager, BadNetwork& network) {
  ASSERT_TRUE(network.calmDown());
  while (manager.end.handleDatagrams() > 0) {
  }
  manager.end.setReplyTimeout(20000);
  manager.end.setReadRetries(0);
  for (unsigned int which = 0; which < VALUES; ++which) {
    EXPECT_TRUE(manager.write(which)) << manager.end.lastResult().str();
    EXPECT_TRUE(manager.read(which)) << manager.end.lastResult().str();
    EXPECT_EQ(manager.mirror.values[which]->value, manager.written[which].back());
  }
  while (manager.end.handleDatagrams() > 0) {
  }
}

unsigned int sum(const std::atomic<unsigned int> (&counts)[MAX_MSG_IDS]) {
  unsigned int all = 0;
  for (const std::atomic<unsigned int>& count : counts) {
    all += count;
  }
  return all;
}

}  // namespace

TEST(UdpOverANetwork, ThatIsGoodEveryOperationSucceedsAtTheFirstAttempt) {
  Manager manager;
  manager.end.setReplyTimeout(20000);
  BadNetwork network(Weather{}, manager.end.port(), card(0));
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));
  runOperations(manager);
  EXPECT_EQ(manager.successes, OPERATIONS);
  EXPECT_EQ(manager.end.counters().requestsSent, OPERATIONS);
  EXPECT_EQ(manager.end.counters().requestsSentAgain, 0U);
  EXPECT_EQ(manager.end.counters().timeOuts, 0U);
  EXPECT_EQ(manager.end.counters().droppedInAll(), 0U);
  EXPECT_TRUE(network.stop()) << "the card or the network ended badly";
}

TEST(UdpOverANetwork, ThatLosesDoublesDelaysAndReordersEachReplyIsTheOneToItsRequest) {
  Weather weather;
  weather.seed = 20240229;
  weather.lossPercent = 15;
  weather.doublePercent = 25;
  weather.maxDelayMs = 25;
  Manager manager;
  manager.end.setReplyTimeout(25);
  manager.end.setReadRetries(2);
  BadNetwork network(weather, manager.end.port(), card(0));
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));

  const Clock::time_point start = Clock::now();
  runOperations(manager);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(60));
  EXPECT_GT(manager.successes, OPERATIONS / 10);
  expectThatAllWorks(manager, network);

  const TrelUdpCounters& counters = manager.end.counters();
  SharedNotes& notes = network.notes();
  // The weather was what it was said to be, and the transport met it.
  EXPECT_GT(notes.lost, 0U);
  EXPECT_GT(notes.doubled, 0U);
  EXPECT_GT(notes.overtaken, 0U);
  EXPECT_GT(counters.timeOuts, 0U);
  EXPECT_GT(counters.requestsSentAgain, 0U);
  EXPECT_GT(counters.dropped[TREL_UDP_DROP_STALE_REPLY] + counters.dropped[TREL_UDP_DROP_DUPLICATE_REPLY] +
                counters.dropped[TREL_UDP_DROP_UNAWAITED_REPLY],
            0U);
  EXPECT_EQ(counters.handedOver, 0U) << "a card that only answers sends nothing for the engine";
  EXPECT_EQ(strange(counters), 0U);
  // Every datagram that left is one that was counted.
  EXPECT_EQ(sum(notes.sentBy), counters.requestsSent + counters.requestsSentAgain);
  EXPECT_EQ(counters.requestsSent, manager.operations);
  for (unsigned int msgId = 1; msgId <= manager.operations; ++msgId) {
    SCOPED_TRACE(msgId);
    EXPECT_LE(notes.sentBy[msgId], 3U);
    EXPECT_GE(notes.sentBy[msgId], 1U);
    // A write leaves once, and is executed as often as the network delivered it: twice when it was doubled.
    if (notes.executed[msgId] > 0) {
      EXPECT_EQ(notes.sentBy[msgId], 1U);
      EXPECT_EQ(notes.executed[msgId], notes.deliveredTo[msgId]);
    }
  }
  for (const unsigned int msgId : manager.doneWrites) {
    EXPECT_GE(notes.executed[msgId], 1U) << "write " << msgId << " was answered but not executed";
  }
  EXPECT_TRUE(network.stop()) << "the card or the network ended badly";
}

TEST(UdpOverANetwork, ThatLosesAThirdEveryReadSucceedsWhenItIsRepeatedOftenEnough) {
  Weather weather;
  weather.seed = 7;
  weather.lossPercent = 33;
  Manager manager;
  manager.end.setReplyTimeout(20);
  manager.end.setReadRetries(200);
  BadNetwork network(weather, manager.end.port(), card(0));
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));
  for (unsigned int i = 0; i < 60; ++i) {
    ASSERT_TRUE(manager.read(i % VALUES)) << manager.end.lastResult().str();
  }
  EXPECT_GT(manager.end.counters().requestsSentAgain, 0U);
  EXPECT_TRUE(network.stop());
}

TEST(UdpOverANetwork, ThatIsBadARepeatedWriteIsExecutedAsOftenAsItIsDelivered) {
  Weather weather;
  weather.seed = 11;
  weather.lossPercent = 40;
  weather.maxDelayMs = 10;
  Manager manager;
  manager.end.setReplyTimeout(15);
  manager.end.setWriteRetries(100);
  BadNetwork network(weather, manager.end.port(), card(0));
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));
  for (unsigned int i = 0; i < 40; ++i) {
    ASSERT_TRUE(manager.write(i % VALUES)) << manager.end.lastResult().str();
  }
  expectThatAllWorks(manager, network);
  unsigned int again = 0;
  for (const unsigned int msgId : manager.doneWrites) {
    EXPECT_GE(network.notes().executed[msgId], 1U);
    EXPECT_EQ(network.notes().executed[msgId], network.notes().deliveredTo[msgId]);
    if (network.notes().executed[msgId] > 1) ++again;
  }
  EXPECT_GT(again, 0U) << "which is why the application has to ask for it";
  EXPECT_TRUE(network.stop());
}

TEST(UdpOverANetwork, ThatIsBadAutonomousMessagesThatComeDuringAWaitAreAllHandledAfterwards) {
  Weather weather;
  weather.seed = 5;
  weather.lossPercent = 10;
  weather.doublePercent = 20;
  weather.maxDelayMs = 20;
  Manager manager;
  manager.end.setReplyTimeout(25);
  BadNetwork network(weather, manager.end.port(), card(5));
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));
  runOperations(manager);
  expectThatAllWorks(manager, network);

  EXPECT_GT(manager.end.alarms.size(), 0U);
  EXPECT_EQ(manager.end.counters().handedOver, manager.end.alarms.size());
  EXPECT_EQ(manager.end.alarms.size() + manager.end.counters().dropped[TREL_UDP_DROP_KEPT_FULL],
            network.notes().amisDelivered);
  EXPECT_EQ(manager.end.kept(), 0U);
  EXPECT_EQ(strange(manager.end.counters()), 0U);
  EXPECT_TRUE(network.stop());
}

TEST(UdpOverANetwork, ThatIsBadTwoEndsThatAskEachOtherBothGetAnswersAndNeitherWaitsForEver) {
  Weather weather;
  weather.seed = 3;
  weather.lossPercent = 5;
  weather.doublePercent = 10;
  weather.maxDelayMs = 5;
  constexpr unsigned int QUESTIONS = 60;

  const FarEnd asker = [](SharedNotes& notes, unsigned short networkPort,
                          const std::function<void(unsigned short)>& announce) {
    CardVariables own(notes);
    End end;
    end.registerObject(&own);
    end.setReplyTimeout(25);
    if (!end.open() || !end.setPeer("127.0.0.1", networkPort) || !end.setAllowedPeers({"127.0.0.1"})) return 1;
    announce(end.port());
    for (unsigned int asked = 0; notes.stop == 0; ++asked) {
      if (asked < QUESTIONS && end.readProperty(*own.values[0]) != 0) ++notes.farSuccesses;
      for (unsigned int served = 0; served < 5; ++served) {
        if (end.waitForDatagram(3)) end.handleDatagrams();
      }
    }
    return addsUp(end) && strange(end.counters()) == 0 ? 0 : 3;
  };
  Manager manager;
  manager.end.setReplyTimeout(25);
  BadNetwork network(weather, manager.end.port(), asker);
  ASSERT_TRUE(manager.end.setPeer("127.0.0.1", network.nearSidePort()));
  ASSERT_TRUE(manager.end.setAllowedPeers({"127.0.0.1"}));
  for (unsigned int asked = 0; asked < QUESTIONS && !testing::Test::HasFailure(); ++asked) {
    manager.read(asked % VALUES);
    for (unsigned int served = 0; served < 3; ++served) {
      if (manager.end.waitForDatagram(3)) manager.end.handleDatagrams();
    }
  }
  // The other end asks on until it has its number.
  for (unsigned int round = 0; round < 400 && network.notes().farSuccesses == 0; ++round) {
    if (manager.end.waitForDatagram(10)) manager.end.handleDatagrams();
  }
  EXPECT_GT(manager.successes, 0U);
  EXPECT_GT(network.notes().farSuccesses, 0U);
  EXPECT_GT(manager.end.counters().handedOver, 0U);
  EXPECT_EQ(strange(manager.end.counters()), 0U);
  EXPECT_TRUE(network.stop());
}
