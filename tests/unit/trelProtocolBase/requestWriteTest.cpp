// Write requests of registered properties: all is checked before anything is stored, and the answer carries no values.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"

namespace {

using Strings = std::vector<std::string>;

// Counts how often it is asked; accepts 1 to 10.
class CountingCheck : public Number::TypeValueCheck {
 public:
  explicit CountingCheck(int& asked) : count(asked) {}
  bool checkValue(unsigned int value) override {
    ++count;
    return value >= 1 && value <= 10;
  }
  int& count;
};

// A card whose hooks write down who was called with what. One more property: 10800009 limited UINT32 5, 1 to 10.
struct ObservedCard : Card {
  ObservedCard() {
    scalar.addProp(limited, 0);
    scalar.onUpdate = [this](TrelProperty* property, unsigned int row) { return note("update", property, row); };
    scalar.onUpdated = [this](TrelProperty* property, unsigned int row) { return note("updated", property, row); };
    table.onUpdate = scalar.onUpdate;
    table.onUpdated = scalar.onUpdated;
    engine.whileSending = [this](TRELMessage&) { calls.push_back("send"); };
  }
  bool note(const std::string& hook, TrelProperty* property, unsigned int row) {
    calls.push_back(hook + " " + property->name + " " + std::to_string(row) + " at " +
                    std::to_string(temperature->value));
    return hook != refuses;
  }

  int checks = 0;
  Number* limited = new Number(9, "limited", IFC_CARD_VAR_READ_WRITE, 5U, new CountingCheck(checks));
  Strings calls;
  std::string refuses;
};

}  // namespace

TEST(RequestWrite, ASuccessIsAnsweredWithActionFourResultZeroAndNoProperties) {
  Card card;
  EXPECT_EQ(card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex, "10.0.0.9"), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0007 00 0000"});
  EXPECT_EQ(card.engine.messages[0].sender, "10.0.0.9");
  EXPECT_EQ(card.temperature->value, 99U);
}

TEST(RequestWrite, EveryTlvIsStoredInItsProperty) {
  Card card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800007 09 0003 78797A | 40C08007 02 0002 ABCD | 10800006 03 0001 "
                "FF | 10800005 01 0004 01020304"_hex),
            "04 00 0000");
  EXPECT_EQ(textOf(*card.label), "xyz");
  unsigned short limit = 0;
  card.table.getProp(2, 7)->get(&limit);
  EXPECT_EQ(limit, 0xABCD);
  EXPECT_EQ(card.fan->value, 255);
  EXPECT_EQ(card.temperature->value, 0x01020304U);
}

TEST(RequestWrite, AnEmptyTextIsStoredAlsoAsTheLastTlv) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 10800007 09 0000"_hex), "04 00 0000");
  EXPECT_EQ(textOf(*card.label), "");
  EXPECT_EQ(card.temperature->value, 99U);
}

TEST(RequestWrite, ARequestWithoutTlvsSucceeds) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000"_hex), "04 00 0000");
}

TEST(RequestWrite, UpdateRunsForEachTlvThenAllAreStoredThenUpdatedRunsForEach) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800006 03 0001 08 | 10800005 01 0004 00000063 | 40C04003 02 0002 "
                "0000"_hex),
            "04 00 0000");
  EXPECT_EQ(card.calls,
            (Strings{"update fan 0 at 42", "update temperature 0 at 42", "update current 3 at 42",
                     "updated fan 0 at 99", "updated temperature 0 at 99", "updated current 3 at 99", "send"}));
}

TEST(RequestWrite, AWriteIsStoredBehindTheValueThatUpdateSampled) {
  Card card;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    card.temperature->set(50U);
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063"_hex), "04 00 0000");
  EXPECT_EQ(card.temperature->value, 99U);
}

TEST(RequestWrite, AFalseUpdateChangesNothing) {
  ObservedCard card;
  card.refuses = "update";
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063"_hex), "04 00 0000");
  EXPECT_EQ(card.temperature->value, 99U);
}

TEST(RequestWrite, OfTwoTlvsForOnePropertyTheLastWinsAndBothAreTold) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000001 | 10800005 01 0004 00000002"_hex),
            "04 00 0000");
  EXPECT_EQ(card.temperature->value, 2U);
  EXPECT_EQ(card.calls, (Strings{"update temperature 0 at 42", "update temperature 0 at 42",
                                 "updated temperature 0 at 2", "updated temperature 0 at 2", "send"}));
}

TEST(RequestWrite, AWriteOfAReadOnlyPropertyIsRefusedWithReadOnlyAndItsIndex) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 10800008 01 0004 00000001"_hex),
            "04 0A 0001");
  EXPECT_EQ(card.serial->value, 4711U);
  EXPECT_EQ(card.temperature->value, 42U);
}

TEST(RequestWrite, EachCheckRefusesWithItsResultAndTheIndexOfItsTlv) {
  struct Case {
    const char* rule;
    std::string tlv;
    const char* answer;
  };
  const Case cases[] = {
      {"the OID must be written as the object composes it", "30800005 01 0004 00000063"_hex, "04 07 0001"},
      {"OID before type and length", "30800005 02 0001 00"_hex, "04 07 0001"},
      {"the type must be the property's", "10800005 05 0004 00000063"_hex, "04 06 0001"},
      {"type before length", "10800005 05 0001 00"_hex, "04 06 0001"},
      {"type before access", "10800008 05 0004 00000063"_hex, "04 06 0001"},
      {"the length must be the property's", "10800005 01 0003 000063"_hex, "04 08 0001"},
      {"also when it is longer", "10800005 01 0005 0000000063"_hex, "04 08 0001"},
      {"an empty number is too short", "10800005 01 0000"_hex, "04 08 0001"},
      {"length before access", "10800008 01 0003 000063"_hex, "04 08 0001"},
      {"access before value", "10800008 01 0004 00000063"_hex, "04 0A 0001"},
      {"the check must accept the value", "10800009 01 0004 0000000B"_hex, "04 09 0001"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    ObservedCard card;
    const std::string before = "10800006 03 0001 08"_hex;
    const std::string behind = "10800005 01 0004 00000064"_hex;
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000"_hex + before + c.tlv + behind), c.answer);
    EXPECT_EQ(card.fan->value, 7);
    EXPECT_EQ(card.temperature->value, 42U);
    EXPECT_EQ(card.serial->value, 4711U);
    EXPECT_EQ(card.limited->value, 5U);
    ASSERT_EQ(card.calls.size(), 4U);  // update has run for all three, updated for none
    EXPECT_EQ(card.calls[2], "update temperature 0 at 42");
    EXPECT_EQ(card.calls[3], "send");
  }
}

TEST(RequestWrite, TheFirstTlvThatFailsDecides) {
  Card card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 10800005 01 0001 00 | 10800008 01 0004 "
                "00000001 | 02000001 01 0000"_hex),
            "04 08 0001");
}

TEST(RequestWrite, AValueThatTheCheckAcceptsIsStored) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800009 01 0004 0000000A"_hex), "04 00 0000");
  EXPECT_EQ(card.limited->value, 10U);
  EXPECT_EQ(card.checks, 1);
}

TEST(RequestWrite, AReadDoesNotAskTheCheck) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800009 01 0004 0000000B"_hex),
            "03 00 0000 | 10800009 01 0004 00000005");
  EXPECT_EQ(card.checks, 0);
}

TEST(RequestWrite, AFalseUpdatedIsAnsweredWithCannotExecAndTheValuesStay) {
  ObservedCard card;
  card.refuses = "updated";
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800006 03 0001 08 | 10800005 01 0004 00000063"_hex),
            "04 0C 0000");
  EXPECT_EQ(card.fan->value, 8);
  EXPECT_EQ(card.temperature->value, 99U);
  // The second is told although the first refused.
  EXPECT_EQ(card.calls, (Strings{"update fan 0 at 42", "update temperature 0 at 42", "updated fan 0 at 99",
                                 "updated temperature 0 at 99", "send"}));
}

TEST(RequestWrite, ObjectsThatDoNotOverrideUpdatedSucceed) {
  TrelScalar scalar("plain", 2, false);
  auto* const property = new Number(1, "n", IFC_CARD_VAR_READ_WRITE, 1U);
  scalar.addProp(property, 0);
  RecordingEngine engine;
  engine.registerObject(&scalar);
  EXPECT_EQ(ask(engine, "4F544E31 01 02 0000 | 01000001 01 0004 00000002"_hex), "04 00 0000");
  EXPECT_EQ(property->value, 2U);
}

TEST(RequestWrite, ADuplicateIsExecutedAgainAndOnlyMarked) {
  ObservedCard card;
  card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex);
  card.temperature->set(1U);
  card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 04 0007 00 0000", "4F544E31 01 04 0007 02 0000"}));
  EXPECT_EQ(card.temperature->value, 99U);
  EXPECT_EQ(card.calls.size(), 6U);
}

TEST(RequestWrite, LossAFullTableAndABadAddressAreExecutedAndOnlyMarked) {
  struct Case {
    const char* rule;
    const char* sender;
    const char* answer;
  };
  const Case cases[] = {{"loss", "10.1.0.1", "4F544E31 01 04 0009 03 0000"},
                        {"no context left", "10.1.0.6", "4F544E31 01 04 0009 10 0000"},
                        {"no address", "abc", "4F544E31 01 04 0009 11 0000"}};
  Card card;
  for (const char* const sender : {"10.1.0.1", "10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5"})
    card.engine.receive("4F544E31 01 01 0007"_hex, sender);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    card.temperature->set(1U);
    card.engine.forget();
    card.engine.receive("4F544E31 01 02 0009 | 10800005 01 0004 00000063"_hex, c.sender);
    EXPECT_EQ(card.engine.sent(), Datagrams{c.answer});
    EXPECT_EQ(card.temperature->value, 99U);
  }
}

TEST(RequestWrite, ARefusalReplacesTheMarkOfTheSequence) {
  Card card;
  card.engine.receive("4F544E31 01 02 0007 | 10800008 01 0004 00000063"_hex, "abc");
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0007 0A 0000"});
}

TEST(RequestWrite, TheSizeLimitOfAnswersDoesNotConcernWrites) {
  Card card;
  const std::string text(3000, 'x');
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800007 09 0BB8"_hex + text), "04 00 0000");
  EXPECT_EQ(textOf(*card.label), text);
}

TEST(RequestWrite, AReceivedValueRaisesNoEvent) {
  Card card;
  auto* const watched = new Number(20, "watched", IFC_CARD_VAR_READ_WRITE, 1U, true);
  card.scalar.addProp(watched, 0);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800014 01 0004 00000002"_hex), "04 00 0000");
  EXPECT_EQ(watched->value, 2U);
  EXPECT_FALSE(watched->eventPending);
}

TEST(RequestWrite, TheResultOfSendMsgIsReturnedAlsoByARefusal) {
  for (const int value : {0, 1, 77, -5}) {
    SCOPED_TRACE(value);
    Card card;
    card.engine.result = value;
    EXPECT_EQ(card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063"_hex), value);
    EXPECT_EQ(card.engine.receive("4F544E31 01 02 0008 | 10800008 01 0004 00000063"_hex), value);
    EXPECT_EQ(card.engine.messages.size(), 2U);
  }
}
