// Read requests of registered properties: who is asked, when, and what goes into the answer.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"

namespace {

// A string that makes the answer of one TLV exactly this long: header 11, head 7.
std::string textForAnAnswerOf(std::size_t size) { return std::string(size - 11 - 7, 'x'); }

// An object of the application's own kind: one property, which answers whatever OID it is told to.
class AnyOid : public TrelObject {
 public:
  AnyOid(unsigned int oid, TrelProperty* property)
      : TrelObject("any", ifcCard::SCALAR, 0, false, 1), answers(oid), answer(property) {
    addProp(property, 0);
  }
  std::string getObjectTypeStr() const override { return "Any"; }
  unsigned int getOID(unsigned int, unsigned int) override { return answers; }
  TrelProperty* getPropFromOID(unsigned int oid) override { return oid == answers ? answer : nullptr; }

  unsigned int answers;
  TrelProperty* answer;
};

}  // namespace

TEST(RequestRead, OneScalarPropertyIsAnsweredOnceWithItsValue) {
  Card card;
  EXPECT_EQ(card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "10.0.0.9"), 1);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A"});
  EXPECT_EQ(card.engine.messages[0].sender, "10.0.0.9");
  EXPECT_EQ(card.engine.messages[0].kind, static_cast<unsigned int>(TREL_KIND_RESPONSE));
}

TEST(RequestRead, UpdateRunsOnceWithPropertyAndRowBeforeTheAnswerIsSent) {
  Card card;
  std::vector<std::string> calls;
  card.scalar.onUpdate = [&](TrelProperty* property, unsigned int row) {
    calls.push_back("update " + property->name + " " + std::to_string(row));
    card.temperature->set(43U);
    return true;
  };
  card.engine.whileSending = [&](TRELMessage&) { calls.push_back("send"); };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex), "03 00 0000 | 10800005 01 0004 0000002B");
  EXPECT_EQ(calls, (std::vector<std::string>{"update temperature 0", "send"}));
}

TEST(RequestRead, UpdateOfATableGetsTheRowOfTheOid) {
  Card card;
  std::vector<std::string> calls;
  card.table.onUpdate = [&](TrelProperty* property, unsigned int row) {
    calls.push_back(property->name + " " + std::to_string(row));
    property->set(static_cast<unsigned short>(row + 1));
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 40C08007 02 0000 | 40C04000 02 0000"_hex),
            "03 00 0000 | 40C08007 02 0002 0008 | 40C04000 02 0002 0001");
  EXPECT_EQ(calls, (std::vector<std::string>{"limit 7", "current 0"}));
}

TEST(RequestRead, TheAnswerHasTheOrderOfTheRequest) {
  Card card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 01 0000 | 10800007 09 0000 | 40C04003 02 0000 | 10800005 01 0000 | "
                "10800006 03 0000"_hex),
            "03 00 0000 | 10800007 09 0002 6162 | 40C04003 02 0002 0102 | 10800005 01 0004 0000002A | "
            "10800006 03 0001 07");
}

TEST(RequestRead, ARequestWithoutTlvsIsAnsweredWithoutTlvs) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000"_hex), "03 00 0000");
}

TEST(RequestRead, TypeLengthAndValueOfTheRequestsTlvsAreNotAsked) {
  Card card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 01 0000 | 10800005 09 0003 414243 | 10800006 FF 0000 | 10800005 01 0004 "
                "00000063"_hex),
            "03 00 0000 | 10800005 01 0004 0000002A | 10800006 03 0001 07 | 10800005 01 0004 0000002A");
  EXPECT_EQ(card.temperature->value, 42U);
}

TEST(RequestRead, AReadOnlyPropertyMayBeRead) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800008 01 0000"_hex), "03 00 0000 | 10800008 01 0004 00001267");
}

TEST(RequestRead, Bit29OfTheOidIsIgnored) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 30800005 01 0000"_hex), "03 00 0000 | 10800005 01 0004 0000002A");
}

TEST(RequestRead, APropertyThatIsNamedTwiceIsUpdatedAndAnsweredTwice) {
  Card card;
  unsigned int updates = 0;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    card.temperature->set(++updates);
    return true;
  };
  // Both show the value as it is when the answer is serialized.
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 10800005 01 0000"_hex),
            "03 00 0000 | 10800005 01 0004 00000002 | 10800005 01 0004 00000002");
  EXPECT_EQ(updates, 2U);
}

TEST(RequestRead, ValuesAreTakenWhenTheTransportSerializes) {
  OldStyleCard card;
  // The hook of a later TLV changes a value that an earlier TLV asked for.
  card.engine.onHandle = [&](OldStyleProperty*, bool) {
    card.temperature->set(99U);
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 03 0001 00"_hex),
            "03 00 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 00");
}

TEST(RequestRead, OfTwoObjectsThatKnowAnOidTheFirstRegisteredAnswers) {
  TrelScalar second("second", 1, true);
  second.addProp(new Number(5, "other", IFC_CARD_VAR_READ_WRITE, 1U), 0);
  second.addProp(new Number(50, "only here", IFC_CARD_VAR_READ_WRITE, 2U), 0);
  Card card;
  card.engine.registerObject(&second);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 10800032 01 0000"_hex),
            "03 00 0000 | 10800005 01 0004 0000002A | 10800032 01 0004 00000002");
}

TEST(RequestRead, AnObjectThatIsRegisteredTwiceAnswersOnce) {
  Card card;
  card.engine.registerObject(&card.scalar);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex), "03 00 0000 | 10800005 01 0004 0000002A");
}

TEST(RequestRead, AFalseUpdateChangesNothingInTheAnswer) {
  Card card;
  card.scalar.onUpdate = [](TrelProperty*, unsigned int) { return false; };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex), "03 00 0000 | 10800005 01 0004 0000002A");
}

TEST(RequestRead, UpdatedIsNotCalled) {
  Card card;
  bool called = false;
  card.scalar.onUpdated = [&](TrelProperty*, unsigned int) { return called = true; };
  ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex);
  EXPECT_FALSE(called);
}

TEST(RequestRead, TheSameIdIsAnsweredAgainAndMarkedAsDuplicate) {
  Card card;
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  card.temperature->set(43U);
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A",
                                           "4F544E31 01 03 0007 02 0000 | 10800005 01 0004 0000002B"}));
}

TEST(RequestRead, AGapIsAnsweredAndMarkedAsLoss) {
  Card card;
  card.engine.receive("4F544E31 01 01 0007"_hex);
  card.engine.forget();
  card.engine.receive("4F544E31 01 01 0009 | 10800005 01 0000"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0009 03 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestRead, ASenderWithoutAContextIsAnsweredAndMarkedWith16) {
  Card card;
  for (const char* const sender : {"10.1.0.1", "10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5"})
    card.engine.receive("4F544E31 01 01 0007"_hex, sender);
  card.engine.forget();
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "10.1.0.6");
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 10 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestRead, ASenderThatIsNoAddressIsAnsweredAndMarkedWith17) {
  Card card;
  card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex, "abc");
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 11 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestRead, TheSendersSequenceIsTheOneOfTheResponseGiven) {
  Card card;
  const std::string datagram = "4F544E31 01 01 0007 | 10800005 01 0000"_hex;
  TRELResponse response("abc");
  response.action = 3;
  response.msgId = 0x0102;
  EXPECT_EQ(card.engine.handleRequest(static_cast<int>(datagram.size()), datagram.data(), response), 1);
  EXPECT_EQ(response.result, 17);
  EXPECT_EQ(response.errorTlvIndex, 0);
  EXPECT_EQ(response.properties, std::vector<TrelProperty*>{card.temperature});
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0102 11 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestRead, TheResultOfTheSequenceCheckReplacesTheDeserializers) {
  Card card;
  const std::string datagram = "4F544E31 09 01 0007 | 10800005 01 0000"_hex;  // another version
  TRELResponse response("10.0.0.1");
  response.action = 3;
  response.msgId = 7;
  response.result = RESULT_NOT_SEND;
  card.engine.handleRequest(static_cast<int>(datagram.size()), datagram.data(), response);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 00 0000 | 10800005 01 0004 0000002A"});
}

TEST(RequestRead, TheResultOfSendMsgIsReturned) {
  for (const int value : {0, 1, 77, -5}) {
    SCOPED_TRACE(value);
    Card card;
    card.engine.result = value;
    EXPECT_EQ(card.engine.receive("4F544E31 01 01 0007 | 10800005 01 0000"_hex), value);
    EXPECT_EQ(card.engine.receive("4F544E31 01 01 0008 | 02000001 01 0000"_hex), value);
  }
}

TEST(RequestRead, AnAnswerOf1200BytesPasses) {
  Card card;
  card.label->set(textForAnAnswerOf(1200));
  ask(card.engine, "4F544E31 01 01 0000 | 10800007 09 0000"_hex);
  ASSERT_EQ(card.engine.messages.size(), 1U);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 1200U);
  EXPECT_EQ(card.engine.messages[0].datagram.substr(0, 46), "4F544E31 01 03 0001 00 0000 | 10800007 09 049E");
}

TEST(RequestRead, AnAnswerOf1201BytesOrMoreIsReplacedByTooLong) {
  for (const std::size_t size : {1201U, 1202U, 5000U, 65000U}) {
    SCOPED_TRACE(size);
    Card card;
    card.label->set(textForAnAnswerOf(size));
    EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800007 09 0000"_hex), "03 0B 0000");
  }
}

TEST(RequestRead, TooLongCountsAllTlvsAndReplacesTheMarkOfTheSequence) {
  Card card;
  card.label->set(textForAnAnswerOf(1200 - 8));  // 8 bytes are left: an 8-bit TLV
  card.engine.receive("4F544E31 01 01 0007 | 10800007 09 0000 | 10800006 03 0000"_hex);
  EXPECT_EQ(card.engine.messages[0].bytes.size(), 1200U);
  card.engine.forget();
  card.label->set(textForAnAnswerOf(1200 - 7));
  card.engine.receive("4F544E31 01 01 0007 | 10800007 09 0000 | 10800006 03 0000"_hex);  // a duplicate
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 03 0007 0B 0000"});
}

TEST(RequestRead, TheSizeIsThatOfTheValuesAfterUpdate) {
  Card card;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    card.label->set(std::string(2000, 'x'));
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800007 09 0000"_hex), "03 0B 0000");
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    card.label->set(std::string("cd"));
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800007 09 0000"_hex), "03 00 0000 | 10800007 09 0002 6364");
}

TEST(RequestRead, AServerAnswersMoreThan150Tlvs) {
  Card card;
  card.label->set(std::string());
  std::string request = "4F544E31 01 01 0000"_hex;
  std::string answer = "03 00 0000";
  for (int i = 0; i < 169; ++i) {  // 11 + 169 * 7 = 1194 bytes
    request += "10800007 09 0000"_hex;
    answer += " | 10800007 09 0000";
  }
  EXPECT_EQ(ask(card.engine, request), answer);
  EXPECT_EQ(ask(card.engine, request + "10800007 09 0000"_hex), "03 0B 0000");  // 1201 bytes
}

TEST(RequestRead, APropertyWhoseOidDoesNotDecodeIsRefusedWithWrongOidAndItsIndex) {
  struct Case {
    const char* rule;
    unsigned int oid;
    std::string tlv;
  };
  const Case cases[] = {{"bit 31 set", 0x80000005, "80000005 01 0000"_hex},
                        {"both kind bits set", 0xC0000005, "C0000005 01 0000"_hex},
                        {"a common scalar of group 4", 0x12000005, "12000005 01 0000"_hex}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    AnyOid any(c.oid, new Number(5, "odd", IFC_CARD_VAR_READ_WRITE, 1U));
    Card card;
    card.engine.registerObject(&any);
    EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000"_hex + c.tlv), "03 07 0001");
  }
}

TEST(RequestRead, AnObjectOfTheApplicationsOwnKindAnswersItsOids) {
  AnyOid any(0x7FFFFFFF, new Number(5, "odd", IFC_CARD_VAR_READ_WRITE, 1U));
  Card card;
  card.engine.registerObject(&any);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 7FFFFFFF 01 0000"_hex), "03 00 0000 | 7FFFFFFF 01 0004 00000001");
}

TEST(RequestRead, ReadingTakesNoEventAway) {
  Card card;
  auto* const watched = new Number(20, "watched", IFC_CARD_VAR_READ_WRITE, 1U, true);
  card.scalar.addProp(watched, 0);
  watched->set(2U);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800014 01 0000"_hex), "03 00 0000 | 10800014 01 0004 00000002");
  EXPECT_TRUE(watched->eventPending);
}
