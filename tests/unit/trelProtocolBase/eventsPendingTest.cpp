// The pending autonomous message: what it collects, when it is sent, what stays in it, and properties that do not live
// as long as it does.

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

using Byte = TypeProperty<unsigned char>;
constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;

// Counts how many of them are alive. A signed byte: were it derived from Byte as well, GCC 12 would guess at -O2 that a Byte
// which is deleted is one of these, and warn about the guess.
class Counted : public TypeProperty<signed char> {
 public:
  Counted(unsigned int number, int& alive)
      : TypeProperty<signed char>(number, "counted", RW, static_cast<signed char>(number)), alive_(alive) {
    ++alive_;
  }
  ~Counted() override { --alive_; }

 private:
  int& alive_;
};

// Bytes with ids and values from 1 on, that live as long as the test.
struct Bytes {
  explicit Bytes(unsigned int count) {
    for (unsigned int i = 1; i <= count; ++i)
      all.push_back(std::make_unique<Byte>(i, "b", RW, static_cast<unsigned char>(i)));
  }
  // Adds those of the positions [from, to).
  void add(RecordingEngine& engine, std::size_t from, std::size_t to) const {
    for (std::size_t i = from; i < to; ++i)
      engine.addToAmi(all[i].get(), false);
  }
  std::vector<std::unique_ptr<Byte>> all;
};

void flush(RecordingEngine& engine) { engine.addToAmi(nullptr, true); }

// TLVs of a message of Bytes, which take eight bytes each.
std::size_t tlvs(const SentMessage& message) { return (message.bytes.size() - 16) / 8; }

}  // namespace

// ----- adding and flushing -----

TEST(AddToAmi, APropertyWaitsUntilAFlush) {
  RecordingEngine engine;
  Byte property(5, "p", RW, 42);
  engine.addToAmi(&property, false);
  EXPECT_TRUE(engine.messages.empty());
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 03 0001 2A"});
}

TEST(AddToAmi, PropertiesGoOutInTheOrderOfTheirAdditionRepetitionsToo) {
  RecordingEngine engine;
  Bytes bytes(2);
  bytes.add(engine, 1, 2);
  bytes.add(engine, 0, 2);
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000002 03 0001 02 | "
                                     "00000001 03 0001 01 | 00000002 03 0001 02"});
}

TEST(AddToAmi, AFlushedMessageIsEmpty) {
  RecordingEngine engine;
  Bytes bytes(2);
  bytes.add(engine, 0, 1);
  flush(engine);
  bytes.add(engine, 1, 2);
  flush(engine);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01",
                                      "4F544E31 01 05 0002 00000000 00000000 | 00000002 03 0001 02"}));
}

TEST(AddToAmi, AFlushWithNothingAddedSinceTheLastSendSendsNothing) {
  RecordingEngine engine;
  LogCapture log(9);
  flush(engine);  // the first call in the process
  flush(engine);
  EXPECT_EQ(log.brief(), Lines{});
  Bytes bytes(1);
  bytes.add(engine, 0, 1);
  flush(engine);
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(AddToAmi, APropertyGivenWithAFlushIsNotAdded) {
  RecordingEngine engine;
  Bytes bytes(2);
  bytes.add(engine, 0, 1);
  engine.addToAmi(bytes.all[1].get(), true);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
  engine.addToAmi(bytes.all[1].get(), true);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(AddToAmi, ValuesAreThoseOfTheSend) {
  RecordingEngine engine;
  Byte property(5, "p", RW, 1);
  engine.addToAmi(&property, false);
  property.set(static_cast<unsigned char>(2));
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 03 0001 02"});
}

TEST(AddToAmi, TheMessageIsAnAutonomousMessageWithoutASender) {
  RecordingEngine engine;
  Bytes bytes(1);
  bytes.add(engine, 0, 1);
  engine.whileSending = [](TRELMessage& message) {
    EXPECT_EQ(message.msgKind, 2U);
    EXPECT_EQ(message.headerLen, 16);
    EXPECT_EQ(message.magicNbr, 0x4F544E31U);
    EXPECT_EQ(message.protVersion, 1);
    EXPECT_EQ(message.action, 5);
    EXPECT_EQ(message.msgId, 1);
    EXPECT_EQ(message.sender, "");
  };
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(AddToAmi, AFlushWhoseSendFailsEmptiesTheMessageAllTheSame) {
  RecordingEngine engine;
  Bytes bytes(2);
  engine.result = 0;
  bytes.add(engine, 0, 1);
  flush(engine);
  bytes.add(engine, 1, 2);
  flush(engine);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01",
                                      "4F544E31 01 05 0002 00000000 00000000 | 00000002 03 0001 02"}));
}

// ----- the limit of fifty -----

TEST(AddToAmi, FiftyPropertiesWait) {
  RecordingEngine engine;
  Bytes bytes(50);
  bytes.add(engine, 0, 50);
  EXPECT_TRUE(engine.messages.empty());
}

TEST(AddToAmi, TheFiftyFirstPropertySendsTheMessageAndLeavesItFilled) {
  RecordingEngine engine;
  Bytes bytes(52);
  bytes.add(engine, 0, 51);
  ASSERT_EQ(engine.messages.size(), 1U);
  EXPECT_EQ(tlvs(engine.messages[0]), 51U);
  EXPECT_EQ(asText(engine.messages[0].bytes.substr(16, 8)), "00 00 00 01 03 00 01 01");
  EXPECT_EQ(asText(engine.messages[0].bytes.substr(16 + 50 * 8, 8)), "00 00 00 33 03 00 01 33");
  bytes.add(engine, 51, 52);
  ASSERT_EQ(engine.messages.size(), 1U);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(tlvs(engine.messages[1]), 52U);
  EXPECT_EQ(asText(engine.messages[1].bytes.substr(16, 8)), "00 00 00 01 03 00 01 01");
  EXPECT_EQ(asText(engine.messages[1].bytes.substr(16 + 51 * 8, 8)), "00 00 00 34 03 00 01 34");
  bytes.add(engine, 0, 1);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 3U);
  EXPECT_EQ(tlvs(engine.messages[2]), 1U);
}

TEST(AddToAmi, AFlushRightAfterTheFiftyFirstSendsNothingAndKeepsTheList) {
  RecordingEngine engine;
  Bytes bytes(52);
  bytes.add(engine, 0, 51);
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
  bytes.add(engine, 51, 52);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(tlvs(engine.messages[1]), 52U);
}

TEST(AddToAmi, AnotherFiftyOneSendAll102) {
  RecordingEngine engine;
  Bytes bytes(102);
  bytes.add(engine, 0, 101);
  EXPECT_EQ(engine.messages.size(), 1U);
  bytes.add(engine, 101, 102);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(tlvs(engine.messages[1]), 102U);
}

TEST(AddToAmi, TheLimitOfARequestDoesNotHoldForIt) {
  RecordingEngine engine;
  Bytes bytes(204);
  bytes.add(engine, 0, 204);
  ASSERT_EQ(engine.messages.size(), 4U);
  EXPECT_EQ(tlvs(engine.messages[3]), 204U);
  EXPECT_TRUE(engine.messages[3].whole);
}

// ----- trace lines -----

TEST(AddToAmi, AdditionsAndSendsAreTraced) {
  RecordingEngine engine;
  Byte first(0x10800005, "first", RW, 1);
  StringProperty text(0, "text", RW, "abc");
  LogCapture log(7);
  engine.addToAmi(&first, false);
  engine.addToAmi(&text, false);
  flush(engine);
  EXPECT_EQ(log.brief(), (Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0x10800005 size=1",
                                "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 1 oid=0 size=3",
                                "7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 2 tlvs"}));
}

TEST(AddToAmi, TheTraceShowsThePropertysIdNotItsOid) {
  TrelTable table("t", 3, false, 2);
  auto* property = new Byte(2, "p", RW, 1);
  table.addProp(property, 1);
  RecordingEngine engine;
  LogCapture log(7);
  engine.addToAmi(property, false);
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0x2 size=1"});
}

TEST(AddToAmi, TheNumberThatIsTracedCountsSinceTheLastSendNotWhatIsSent) {
  RecordingEngine engine;
  Bytes bytes(53);
  LogCapture log(7);
  bytes.add(engine, 0, 53);
  flush(engine);
  const Lines lines = log.brief();
  ASSERT_EQ(lines.size(), 55U);
  EXPECT_EQ(lines[50], "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 50 oid=0x33 size=1");
  EXPECT_EQ(lines[51], "7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 51 tlvs");
  EXPECT_EQ(lines[52], "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0x34 size=1");
  EXPECT_EQ(lines[53], "7 [DEBUG1] trelProtocolBase (addToAmi) - add event 1 oid=0x35 size=1");
  EXPECT_EQ(lines[54], "7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 2 tlvs");
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(tlvs(engine.messages[1]), 53U);
}

TEST(AddToAmi, TheTraceIsSilentAtItsThreshold) {
  RecordingEngine engine;
  Bytes bytes(52);
  LogCapture log(6);
  bytes.add(engine, 0, 52);
  flush(engine);
  EXPECT_EQ(log.brief(), Lines{});
  EXPECT_EQ(engine.messages.size(), 2U);
}

// ----- what the engine owns for the message -----

TEST(AmiOwnedProperties, AreDeletedByAFlushNullsSkipped) {
  RecordingEngine engine;
  int alive = 0;
  engine.amiOwnedProperties = {new Counted(1, alive), nullptr, new Counted(2, alive)};
  engine.addToAmi(engine.amiOwnedProperties[0], false);
  engine.addToAmi(engine.amiOwnedProperties[2], false);
  engine.whileSending = [&](TRELMessage&) { EXPECT_EQ(alive, 2); };
  flush(engine);
  EXPECT_EQ(alive, 0);
  EXPECT_TRUE(engine.amiOwnedProperties.empty());
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 07 0001 01 | "
                                     "00000002 07 0001 02"});
}

TEST(AmiOwnedProperties, AreKeptByAFlushThatSendsNothing) {
  RecordingEngine engine;
  int alive = 0;
  engine.amiOwnedProperties = {new Counted(1, alive)};
  flush(engine);
  EXPECT_EQ(alive, 1);
  ASSERT_EQ(engine.amiOwnedProperties.size(), 1U);
  delete engine.amiOwnedProperties[0];
}

TEST(AmiOwnedProperties, AreKeptWhenTheMessageIsSentForItsSize) {
  RecordingEngine engine;
  int alive = 0;
  for (unsigned int i = 1; i <= 51; ++i) {
    engine.amiOwnedProperties.push_back(new Counted(i, alive));
    engine.addToAmi(engine.amiOwnedProperties.back(), false);
  }
  EXPECT_EQ(engine.messages.size(), 1U);
  EXPECT_EQ(alive, 51);
  EXPECT_EQ(engine.amiOwnedProperties.size(), 51U);
  engine.amiOwnedProperties.push_back(new Counted(52, alive));
  engine.addToAmi(engine.amiOwnedProperties.back(), false);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(tlvs(engine.messages[1]), 52U);
  EXPECT_EQ(alive, 0);
}

TEST(AmiOwnedProperties, AreDeletedAlsoWhenTheSendFailed) {
  RecordingEngine engine;
  int alive = 0;
  engine.result = 0;
  engine.amiOwnedProperties = {new Counted(1, alive)};
  engine.addToAmi(engine.amiOwnedProperties[0], false);
  flush(engine);
  EXPECT_EQ(alive, 0);
  EXPECT_TRUE(engine.amiOwnedProperties.empty());
}

TEST(AmiOwnedProperties, OfAnotherEngineAreNotTheFlushingOnesBusiness) {
  RecordingEngine one;
  RecordingEngine other;
  int alive = 0;
  one.amiOwnedProperties = {new Counted(1, alive)};
  one.addToAmi(one.amiOwnedProperties[0], false);
  flush(other);
  EXPECT_EQ(other.messages.size(), 1U);
  EXPECT_EQ(alive, 1);
  delete one.amiOwnedProperties[0];
}

TEST(AmiOwnedProperties, AreNotDeletedWithTheEngine) {
  int alive = 0;
  Counted property(1, alive);
  {
    RecordingEngine engine;
    engine.amiOwnedProperties = {&property};
  }
  EXPECT_EQ(alive, 1);
}

// ----- sendAmiMsgBase -----

TEST(SendAmiMsgBase, ANullMessageAndAnEmptyOneAreNotSentAndTakeNoId) {
  RecordingEngine engine;
  EXPECT_EQ(engine.sendAmiMsgBase(nullptr), 0);
  TRELAmi empty("");
  EXPECT_EQ(engine.sendAmiMsgBase(&empty), 0);
  EXPECT_TRUE(engine.messages.empty());
  EXPECT_EQ(engine.messageIdCounter, 0);
  EXPECT_EQ(empty.timeSec, 0U);
}

TEST(SendAmiMsgBase, NumbersTheMessageAndReturnsWhatTheTransportReturned) {
  RecordingEngine engine;
  Byte property(5, "p", RW, 42);
  TRELAmi message("");
  message.action = 5;
  message.addProperty(&property);
  for (const int word : {1, 0, 7, -1}) {
    engine.result = word;
    EXPECT_EQ(engine.sendAmiMsgBase(&message), word);
  }
  EXPECT_EQ(message.msgId, 4);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 03 0001 2A",
                                      "4F544E31 01 05 0002 00000000 00000000 | 00000005 03 0001 2A",
                                      "4F544E31 01 05 0003 00000000 00000000 | 00000005 03 0001 2A",
                                      "4F544E31 01 05 0004 00000000 00000000 | 00000005 03 0001 2A"}));
}

TEST(SendAmiMsgBase, SharesItsNumbersWithRequestsAndHonoursAnOverride) {
  class Renumbered : public RecordingEngine {
   public:
    unsigned short getNewMessageId() override { return 0xBEEF; }
  };
  Byte property(5, "p", RW, 42);
  RecordingEngine engine;
  engine.readProperty(property);
  engine.addToAmi(&property, false);
  flush(engine);
  EXPECT_EQ(engine.sent()[1], "4F544E31 01 05 0002 00000000 00000000 | 00000005 03 0001 2A");
  Renumbered renumbered;
  renumbered.addToAmi(&property, false);
  flush(renumbered);
  EXPECT_EQ(renumbered.sent(), Datagrams{"4F544E31 01 05 BEEF 00000000 00000000 | 00000005 03 0001 2A"});
}

TEST(SendAmiMsgBase, StampsTheRealTimeClockBigEndianWithMicrosecondsBelowAMillion) {
  RecordingEngine engine;
  Byte property(5, "p", RW, 42);
  TRELAmi message("");
  message.action = 5;
  message.addProperty(&property);
  for (int i = 0; i < 100; ++i) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);
    ASSERT_EQ(engine.sendAmiMsgBase(&message), 1);
    clock_gettime(CLOCK_REALTIME, &after);
    ASSERT_LT(message.timeUsec, 1000000U);
    const long long stamp = message.timeSec * 1000000LL + message.timeUsec;
    ASSERT_GE(stamp, before.tv_sec * 1000000LL + before.tv_nsec / 1000);
    ASSERT_LE(stamp, after.tv_sec * 1000000LL + after.tv_nsec / 1000);
    const std::string& bytes = engine.messages.back().bytes;
    unsigned int words[2] = {0, 0};
    for (std::size_t k = 0; k < 8; ++k)
      words[k / 4] = words[k / 4] << 8 | static_cast<unsigned char>(bytes[8 + k]);
    ASSERT_EQ(words[0], message.timeSec);
    ASSERT_EQ(words[1], message.timeUsec);
  }
}

// ----- properties that end before the message does -----

TEST(PendingLifetime, ADestroyedPropertyLeavesTheMessageAtEveryPlaceAndTheCountStays) {
  RecordingEngine engine;
  Byte stays(1, "stays", RW, 1);
  auto ends = std::make_unique<Byte>(2, "ends", RW, static_cast<unsigned char>(2));
  engine.addToAmi(ends.get(), false);
  engine.addToAmi(&stays, false);
  engine.addToAmi(ends.get(), false);
  engine.addToAmi(ends.get(), false);
  ends.reset();
  LogCapture log(7);
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - send ami msg with 4 tlvs"});
}

TEST(PendingLifetime, WhenAllAreDestroyedNothingIsSentAndTheCountStartsAgain) {
  RecordingEngine engine;
  {
    Bytes bytes(3);
    bytes.add(engine, 0, 3);
  }
  flush(engine);
  EXPECT_TRUE(engine.messages.empty());
  EXPECT_EQ(engine.messageIdCounter, 0);
  Bytes bytes(1);
  LogCapture log(7);
  bytes.add(engine, 0, 1);
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG1] trelProtocolBase (addToAmi) - add event 0 oid=0x1 size=1"});
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
}

TEST(PendingLifetime, APropertyThatWasSentForSizeLeavesTheMessageWhenItEnds) {
  RecordingEngine engine;
  Bytes last(1);
  {
    Bytes bytes(51);
    bytes.add(engine, 0, 51);
  }
  ASSERT_EQ(engine.messages.size(), 1U);
  last.add(engine, 0, 1);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 2U);
  EXPECT_EQ(engine.messages[1].datagram, "4F544E31 01 05 0002 00000000 00000000 | 00000001 03 0001 01");
}

TEST(PendingLifetime, TheCountOfDestroyedPropertiesStillLeadsToTheFiftyFirst) {
  RecordingEngine engine;
  {
    Bytes bytes(50);
    bytes.add(engine, 0, 50);
  }
  Bytes bytes(1);
  bytes.add(engine, 0, 1);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
}

TEST(PendingLifetime, EveryKindOfPropertyLeavesTheMessage) {
  RecordingEngine engine;
  trel_tlv record{0, 3, 0, nullptr};
  unsigned char mac[6] = {};
  std::vector<std::unique_ptr<TrelProperty>> properties;
  properties.push_back(std::make_unique<TypeProperty<long long>>(1, "number", RW, 0));
  properties.push_back(std::make_unique<StringProperty>(2, "string", RW, "abc"));
  properties.push_back(std::make_unique<ArrayProperty>(3, "array", RW, true));
  properties.push_back(std::make_unique<MacAddressProperty>(4, "mac", RW, mac, true));
  properties.push_back(std::make_unique<IpAddressProperty>(5, "ip", RW, 1U, true));
  properties.push_back(std::make_unique<UnixTimeProperty>(6, "time", RW, 1, true));
  properties.push_back(std::make_unique<OldStyleProperty>(&record, true));
  for (const auto& property : properties)
    engine.addToAmi(property.get(), false);
  properties.clear();
  flush(engine);
  EXPECT_TRUE(engine.messages.empty());
}

TEST(PendingLifetime, AnObjectThatEndsTakesItsPropertiesOutOfTheMessage) {
  RecordingEngine engine;
  Byte stays(1, "stays", RW, 1);
  {
    TrelTable table("t", 3, false, 10);
    for (unsigned int row = 0; row < 10; ++row) {
      table.addProp(new Byte(1, "p", RW, 0), row);
      engine.addToAmi(table.getProp(1, row), false);
    }
    engine.addToAmi(&stays, false);
  }
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
}

TEST(PendingLifetime, APropertyMayEndBeforeThereWasAMessageAndAfterItLeftIt) {
  { Bytes before(3); }
  RecordingEngine engine;
  {
    Bytes bytes(3);
    bytes.add(engine, 0, 3);
    flush(engine);
  }
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(PendingLifetime, APropertyMayEndWithTheProcess) {
  static Byte property(1, "static", RW, 1);  // destroyed behind main(), as the application's own statics are
  RecordingEngine engine;
  engine.addToAmi(&property, false);
  EXPECT_TRUE(engine.messages.empty());
}

TEST(PendingLifetime, APropertyMayEndWhileTheMessageIsBeingSent) {
  RecordingEngine engine;
  Bytes bytes(3);
  bytes.add(engine, 0, 3);
  engine.whileSending = [&](TRELMessage& message) {
    bytes.all[1].reset();
    EXPECT_EQ(message.properties, (std::vector<TrelProperty*>{bytes.all[0].get(), bytes.all[2].get()}));
  };
  flush(engine);
  engine.whileSending = nullptr;
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(PendingLifetime, TheMessageOutlivesTheEngineThatFilledIt) {
  Bytes bytes(1);
  {
    RecordingEngine first;
    bytes.add(first, 0, 1);
  }
  RecordingEngine second;
  flush(second);
  EXPECT_EQ(second.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
}

TEST(PendingLifetime, PropertiesAddedWhileAFlushIsSendingGoWithTheList) {
  RecordingEngine engine;
  Bytes bytes(2);
  bytes.add(engine, 0, 1);
  int sends = 0;
  engine.whileSending = [&](TRELMessage&) {
    if (++sends == 1) bytes.add(engine, 1, 2);
  };
  flush(engine);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 03 0001 01"});
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 1U);
}

TEST(PendingLifetime, APropertyAddedWhileTheMessageIsSentForItsSizeStaysInTheList) {
  RecordingEngine engine;
  Bytes bytes(53);
  bytes.add(engine, 0, 50);
  int sends = 0;
  engine.whileSending = [&](TRELMessage&) {
    if (++sends == 1) bytes.add(engine, 51, 52);
  };
  bytes.add(engine, 50, 51);
  bytes.add(engine, 52, 53);
  flush(engine);
  // The addition from inside the send is the 52nd without a send being over, so it sends once more.
  ASSERT_EQ(engine.messages.size(), 3U);
  EXPECT_EQ(tlvs(engine.messages[0]), 51U);
  EXPECT_EQ(tlvs(engine.messages[1]), 52U);
  EXPECT_EQ(tlvs(engine.messages[2]), 53U);
}

TEST(PendingLifetime, AFlushInsideTheSendOfAFlushSendsTheSameAgainAndBothEnd) {
  RecordingEngine engine;
  int alive = 0;
  engine.amiOwnedProperties = {new Counted(1, alive)};
  engine.addToAmi(engine.amiOwnedProperties[0], false);
  int depth = 0;
  engine.whileSending = [&](TRELMessage&) {
    if (++depth == 1) flush(engine);
  };
  flush(engine);
  EXPECT_EQ(engine.sent(), (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000001 07 0001 01",
                                      "4F544E31 01 05 0002 00000000 00000000 | 00000001 07 0001 01"}));
  EXPECT_EQ(alive, 0);
  EXPECT_TRUE(engine.amiOwnedProperties.empty());
  engine.whileSending = nullptr;
  flush(engine);
  EXPECT_EQ(engine.messages.size(), 2U);
}

TEST(PendingLifetime, AnExceptionOfTheTransportLeavesTheEngineAbleToAnswerAndToSend) {
  TrelScalar scalar("s", 1, true);
  auto* property = new Byte(5, "p", RW, 1, true);
  scalar.addProp(property, 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  engine.addToAmi(property, false);
  int sends = 0;
  engine.whileSending = [&](TRELMessage&) {
    if (++sends == 1) throw std::runtime_error("no network");
  };
  EXPECT_THROW(flush(engine), std::runtime_error);
  engine.forget();
  EXPECT_EQ(engine.receive("4F544E31 01 01 0007 | 10800005 03 0000"_hex), 1);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 03 0001 01"});
  engine.forget();
  engine.addToAmi(property, false);
  flush(engine);
  ASSERT_EQ(engine.messages.size(), 1U);
  EXPECT_EQ(engine.messages[0].kind, 2U);
}
