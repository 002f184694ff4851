// Requests for OIDs that no registered object knows: the hooks that check and serve them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"

namespace {

using Strings = std::vector<std::string>;

// Overrides the check and accepts; does not override the hook that serves.
class CheckingEngine : public RecordingEngine {
 public:
  int checkTlvOld(OldStyleProperty*, bool) const override { return RESULT_OK; }
};

// Overrides the hook that serves; does not override the check.
class ServingEngine : public RecordingEngine {
 public:
  bool handleTrelMsgOld(OldStyleProperty*, bool) override {
    ++calls;
    return true;
  }
  int calls = 0;
};

// Overrides both and asks the base versions.
class BaseCallingEngine : public RecordingEngine {
 public:
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    if (property->id == 0x02000001) return TrelProtocolBase::checkTlvOld(property, isWrite);
    return RESULT_OK;
  }
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    if (property->id == 0x02000003) return TrelProtocolBase::handleTrelMsgOld(property, isWrite);
    return true;
  }
};

// An object of the application's own kind that answers one OID with a property it does not own.
class Lender : public TrelObject {
 public:
  Lender(unsigned int oid, TrelProperty* property)
      : TrelObject("lender", ifcCard::SCALAR, 0, false, 1), lends(oid), lent(property) {}
  std::string getObjectTypeStr() const override { return "Lender"; }
  unsigned int getOID(unsigned int, unsigned int) override { return lends; }
  TrelProperty* getPropFromOID(unsigned int oid) override { return oid == lends ? lent : nullptr; }
  unsigned int lends;
  TrelProperty* lent;
};

std::string hex(unsigned int number) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text(8, '0');
  for (std::size_t i = 8; i-- > 0; number >>= 4)
    text[i] = digits[number & 15U];
  return text;
}

// A card that writes down each call of the hooks: "check 02000001 read".
struct ObservedCard : OldStyleCard {
  ObservedCard() {
    engine.onCheck = [this](OldStyleProperty* property, bool isWrite) {
      calls.push_back("check " + hex(property->id) + (isWrite ? " write" : " read"));
      return property->id == notChecked ? RESULT_WRONG_VALUE : RESULT_OK;
    };
    engine.onHandle = [this](OldStyleProperty* property, bool isWrite) {
      calls.push_back("handle " + hex(property->id) + (isWrite ? " write" : " read"));
      return property->id != notHandled;
    };
    scalar.onUpdated = [this](TrelProperty* property, unsigned int) {
      calls.push_back("updated " + property->name);
      return true;
    };
    engine.whileSending = [this](TRELMessage&) { calls.push_back("send"); };
  }
  Strings calls;
  unsigned int notChecked = 0;
  unsigned int notHandled = 0;
};

}  // namespace

TEST(RequestOldStyle, WithoutACheckHookAnUnknownOidIsRefusedWithGeneralErrorAndItsIndex) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 01 0000"_hex), "03 05 0000");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 10800006 03 0000 | 02000001 01 0000"_hex),
            "03 05 0002");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 01 0004 00000000"_hex),
            "04 05 0001");
  EXPECT_EQ(card.temperature->value, 42U);
}

TEST(RequestOldStyle, AKnownGroupWithAnUnknownVariableIsAnUnknownOid) {
  Card card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800063 01 0000"_hex), "03 05 0000");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 40C08008 01 0000"_hex), "03 05 0000");  // row 8 of 8
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 00800005 01 0000"_hex), "03 05 0000");  // not the common group
}

TEST(RequestOldStyle, WithoutACheckHookTheServingHookIsNotReached) {
  CardOf<ServingEngine> card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 01 0000"_hex), "03 05 0000");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 01 0000"_hex), "04 05 0000");
  EXPECT_EQ(card.engine.calls, 0);
}

TEST(RequestOldStyle, WithoutAServingHookAReadIsAnsweredWithCannotExecAndIndexZero) {
  CardOf<CheckingEngine> card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 01 0000"_hex), "03 0C 0000");
}

TEST(RequestOldStyle, WithoutAServingHookAWriteIsAnsweredWithCannotExecAndIndexZero) {
  CardOf<CheckingEngine> card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 01 0004 00000000 | 10800006 03 "
                "0001 08"_hex),
            "04 0C 0000");
  EXPECT_EQ(card.temperature->value, 99U);  // stored before the walk reached the refused one
  EXPECT_EQ(card.fan->value, 7);
}

TEST(RequestOldStyle, OverridesThatAskTheBaseVersionsAreOverrides) {
  CardOf<BaseCallingEngine> card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000002 03 0001 AA"_hex), "03 00 0000 | 02000002 03 0001 AA");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000002 03 0001 AA | 02000001 03 0001 AA"_hex), "03 05 0001");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000002 03 0001 AA | 02000003 03 0001 AA"_hex), "03 0C 0001");
}

TEST(RequestOldStyle, BothHooksGetTheReceivedRecord) {
  OldStyleCard card;
  Strings seen;
  const auto look = [&](OldStyleProperty* property, bool isWrite) {
    unsigned int number = 0;
    property->get(&number);
    seen.push_back(property->name + " " + hex(property->id) + " row " + std::to_string(property->row) + " type " +
                   std::to_string(property->getType()) + " length " + std::to_string(property->length()) + " value " +
                   std::to_string(number) + (isWrite ? " write" : " read"));
  };
  OldStyleProperty* checked = nullptr;
  OldStyleProperty* handled = nullptr;
  card.engine.onCheck = [&](OldStyleProperty* property, bool isWrite) {
    look(checked = property, isWrite);
    return RESULT_OK;
  };
  card.engine.onHandle = [&](OldStyleProperty* property, bool isWrite) {
    look(handled = property, isWrite);
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 41004007 01 0004 00000102"_hex),
            "03 00 0000 | 41004007 01 0004 00000102");
  EXPECT_EQ(checked, handled);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 41004007 01 0004 00000103"_hex), "04 00 0000");
  EXPECT_EQ(seen, (Strings{"OldStyleProperty_1 41004007 row 7 type 1 length 4 value 258 read",
                           "OldStyleProperty_1 41004007 row 7 type 1 length 4 value 258 read",
                           "OldStyleProperty_2 41004007 row 7 type 1 length 4 value 259 write",
                           "OldStyleProperty_2 41004007 row 7 type 1 length 4 value 259 write"}));
}

TEST(RequestOldStyle, TheServingHookFillsTheValueThatIsAnswered) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    if (property->id == 0x02000001) property->set(0x01020304U);
    if (property->id == 0x02000002) property->set(std::string("hello"));
    return true;
  };
  EXPECT_EQ(
      ask(card.engine, "4F544E31 01 01 0000 | 02000001 01 0004 00000000 | 10800006 03 0000 | 02000002 09 0000"_hex),
      "03 00 0000 | 02000001 01 0004 01020304 | 10800006 03 0001 07 | 02000002 09 0005 68656C6C6F");
}

TEST(RequestOldStyle, AReadWhoseHookLeavesTheValueIsAnsweredWithTheReceivedOne) {
  OldStyleCard card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 01 0000 | 02000001 00 0008 0102030405060708 | 02000002 09 0002 6162 | 02000003 "
                "0C 0000"_hex),
            "03 00 0000 | 02000001 00 0008 0102030405060708 | 02000002 09 0002 6162 | 02000003 0C 0000");
}

// An address and a time stay in wire order when the property is made and are swapped when it is written: what comes back
// differs by byte order.
TEST(RequestOldStyle, AnEchoedAddressAndTimeComeBackSwappedOnALittleEndianHost) {
  OldStyleCard card;
  const unsigned short one = 1;
  const bool littleEndian = *reinterpret_cast<const unsigned char*>(&one) == 1;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 0A 0004 0A000001 | 02000002 0B 0008 0102030405060708"_hex),
            littleEndian ? "03 00 0000 | 02000001 0A 0004 0100000A | 02000002 0B 0008 0807060504030201"
                         : "03 00 0000 | 02000001 0A 0004 0A000001 | 02000002 0B 0008 0102030405060708");
}

TEST(RequestOldStyle, AnOidThatIsNoneAtAllReachesTheHooksToo) {
  OldStyleCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | FFFFFFFF 03 0001 2A | 12000005 03 0001 2B"_hex),
            "03 00 0000 | FFFFFFFF 03 0001 2A | 12000005 03 0001 2B");
}

TEST(RequestOldStyle, AllAreCheckedBeforeTheFirstIsServed) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 03 0001 00 | 10800006 03 0000 | 02000002 03 0001 00"_hex),
            "03 00 0000 | 02000001 03 0001 00 | 10800006 03 0001 07 | 02000002 03 0001 00");
  EXPECT_EQ(card.calls, (Strings{"check 02000001 read", "check 02000002 read", "handle 02000001 read",
                                 "handle 02000002 read", "send"}));
}

TEST(RequestOldStyle, ARefusedSecondOldStyleTlvIsAnsweredWithItsPositionAmongTheOldStyleOnes) {
  ObservedCard card;
  card.notHandled = 0x02000002;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 03 0001 00 | 10800006 03 0000 | 02000002 "
                "03 0001 00 | 02000003 03 0001 00"_hex),
            "03 0C 0001");
  // The third is not asked any more.
  EXPECT_EQ(card.calls, (Strings{"check 02000001 read", "check 02000002 read", "check 02000003 read",
                                 "handle 02000001 read", "handle 02000002 read", "send"}));
}

TEST(RequestOldStyle, ARefusedFirstOldStyleTlvHasPositionZeroWhereverItStands) {
  ObservedCard card;
  card.notHandled = 0x02000001;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 10800006 03 0000 | 02000001 03 0001 00"_hex),
            "03 0C 0000");
}

TEST(RequestOldStyle, ThePositionOfARefusedReadReachesBeyondOneByte) {
  ObservedCard card;
  card.notHandled = 0x02000000 + 299;
  std::string request = "4F544E31 01 01 0000"_hex;
  for (unsigned int i = 0; i < 300; ++i) {
    std::string tlv = "02000000 0C 0000"_hex;
    tlv[2] = static_cast<char>(i >> 8);
    tlv[3] = static_cast<char>(i);
    request += tlv;
  }
  EXPECT_EQ(ask(card.engine, request), "03 0C 012B");
}

TEST(RequestOldStyle, TheCheckHooksResultIsAnsweredWithTheTlvsIndexAndNothingIsServed) {
  for (const char* const action : {"01", "02"}) {
    SCOPED_TRACE(action);
    ObservedCard card;
    card.notChecked = 0x02000002;
    std::string request =
        "4F544E31 01 00 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 00 | 02000002 03 0001 00 | "
        "02000003 03 0001 00"_hex;
    request[5] = action == std::string("01") ? 1 : 2;
    EXPECT_EQ(ask(card.engine, request), action == std::string("01") ? "03 09 0002" : "04 09 0002");
    const std::string kind = action == std::string("01") ? " read" : " write";
    EXPECT_EQ(card.calls, (Strings{"check 02000001" + kind, "check 02000002" + kind, "send"}));
    EXPECT_EQ(card.temperature->value, 42U);
  }
}

TEST(RequestOldStyle, AnyNumberOfTheCheckHookIsAnswered) {
  for (const int result : {1, 12, 16, 18, 255}) {
    SCOPED_TRACE(result);
    OldStyleCard card;
    card.engine.onCheck = [&](OldStyleProperty*, bool) { return result; };
    ask(card.engine, "4F544E31 01 01 0000 | 02000001 01 0000"_hex);
    ASSERT_EQ(card.engine.messages.size(), 1U);
    EXPECT_EQ(card.engine.messages[0].bytes.size(), 11U);
    EXPECT_EQ(static_cast<unsigned char>(card.engine.messages[0].bytes[8]), result);
  }
}

TEST(RequestOldStyle, AWriteIsServedInTheOrderOfTheRequestAndUpdatedRunsAfterAll) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 00 | 10800006 03 0001 08 | "
                "02000002 03 0001 00"_hex),
            "04 00 0000");
  EXPECT_EQ(card.calls, (Strings{"check 02000001 write", "check 02000002 write", "handle 02000001 write",
                                 "handle 02000002 write", "updated temperature", "updated fan", "send"}));
  EXPECT_EQ(card.temperature->value, 99U);
  EXPECT_EQ(card.fan->value, 8);
}

TEST(RequestOldStyle, ARefusedOldStyleWriteStopsTheWriteAndKeepsWhatWasStored) {
  ObservedCard card;
  card.notHandled = 0x02000001;
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 00 | 10800006 03 0001 08 | "
                "02000002 03 0001 00"_hex),
            "04 0C 0000");
  EXPECT_EQ(card.calls,
            (Strings{"check 02000001 write", "check 02000002 write", "handle 02000001 write", "send"}));  // no updated
  EXPECT_EQ(card.temperature->value, 99U);
  EXPECT_EQ(card.fan->value, 7);
}

TEST(RequestOldStyle, AWriteIsServedByTheWriteHookAlone) {
  ObservedCard card;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 03 0001 00"_hex), "04 00 0000");
  EXPECT_EQ(card.calls, (Strings{"check 02000001 write", "handle 02000001 write", "send"}));
}

TEST(RequestOldStyle, ASuccessKeepsTheMarkOfTheSequenceAndAFailureReplacesIt) {
  ObservedCard card;
  card.engine.receive("4F544E31 01 01 0007 | 02000001 03 0001 00"_hex, "abc");
  card.notHandled = 0x02000001;
  card.engine.receive("4F544E31 01 01 0007 | 02000001 03 0001 00"_hex, "abc");
  EXPECT_EQ(card.engine.sent(),
            (Datagrams{"4F544E31 01 03 0007 11 0000 | 02000001 03 0001 00", "4F544E31 01 03 0007 0C 0000"}));
}

TEST(RequestOldStyle, TheSizeLimitCountsWhatTheServingHookLeft) {
  OldStyleCard card;
  std::size_t size = 0;
  card.engine.onHandle = [&](OldStyleProperty* property, bool) {
    property->set(std::string(size, 'x'));
    return true;
  };
  size = 1200 - 11 - 7;
  ask(card.engine, "4F544E31 01 01 0000 | 02000001 09 0000"_hex);
  EXPECT_EQ(card.engine.messages.at(0).bytes.size(), 1200U);
  ++size;
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 09 0000"_hex), "03 0B 0000");
}

TEST(RequestOldStyle, TheSameUnknownOidTwiceMakesTwoProperties) {
  OldStyleCard card;
  Strings names;
  card.engine.onHandle = [&](OldStyleProperty* property, bool) {
    names.push_back(property->name);
    return true;
  };
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 02000001 03 0001 01 | 02000001 03 0001 02"_hex),
            "03 00 0000 | 02000001 03 0001 01 | 02000001 03 0001 02");
  EXPECT_EQ(names, (Strings{"OldStyleProperty_1", "OldStyleProperty_2"}));
}

TEST(RequestOldStyle, APropertyWithoutAnObjectThatIsNoOldStyleOneIsRefusedWithGeneralError) {
  Number stray(0x02000001, "stray", IFC_CARD_VAR_READ_WRITE, 1U);
  Lender lender(0x02000001, &stray);
  ObservedCard card;
  card.engine.registerObject(&lender);
  EXPECT_EQ(ask(card.engine, "4F544E31 01 01 0000 | 10800005 01 0000 | 02000001 01 0000"_hex), "03 05 0001");
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 10800005 01 0004 00000063 | 02000001 01 0004 00000002"_hex),
            "04 05 0001");
  EXPECT_EQ(stray.value, 1U);
  EXPECT_EQ(card.temperature->value, 42U);
  EXPECT_EQ(card.calls, (Strings{"send", "send"}));
}

TEST(RequestOldStyle, APropertyWithoutAnObjectIsRefusedAlsoWhereItsTlvIsCut) {
  Number stray(0x02000001, "stray", IFC_CARD_VAR_READ_WRITE, 1U);
  Lender lender(0x02000001, &stray);
  const std::string write = "4F544E31 01 02 0000 | 02000001 01 0004 00000002"_hex;
  for (std::size_t length = 9; length < write.size(); ++length) {
    SCOPED_TRACE(length);
    ObservedCard card;
    card.engine.registerObject(&lender);
    const std::string answer = ask(card.engine, write.substr(0, length));
    EXPECT_TRUE(answer == "04 08 0000" || answer == "04 05 0000") << answer;
    EXPECT_EQ(stray.value, 1U);
  }
}

// ----- a hook that changes a length while a write is applied: the walk goes on at the length that it left -----

TEST(RequestOldStyle, ALengthThatTheHookGrewMovesTheWalkOfAWriteForward) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    property->set(std::string(17, 'x'));  // 2 were received
    return true;
  };
  // The walk leaves the string at 8 + 7 + 17 = 32, in the middle of the label's value, and takes the later values there.
  //  8: 02000001 09 0002 6162   17: 10800006 03 0001 08   25: 10800007 09 0010   32: ...55   40: ...7A
  EXPECT_EQ(ask(card.engine,
                "4F544E31 01 02 0000 | 02000001 09 0002 6162 | 10800006 03 0001 08 | 10800007 09 0010 "
                "1080000603000155 108000070900017A"_hex),
            "04 00 0000");
  EXPECT_EQ(card.fan->value, 0x55);
  EXPECT_EQ(textOf(*card.label), "z");
}

TEST(RequestOldStyle, ALengthThatTheHookShrankMovesTheWalkOfAWriteBack) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    property->set(std::string("ab"));  // 10 were received
    return true;
  };
  // The walk leaves the string at 8 + 7 + 2 = 17, in its own value, and takes the fan's value there.
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 09 000A 6162 1080000603000155 | 10800006 03 0001 08"_hex),
            "04 00 0000");
  EXPECT_EQ(card.fan->value, 0x55);
}

TEST(RequestOldStyle, ValuesThatTheMovedWalkTakesAreNotCheckedAgain) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    property->set(std::string());  // 8 were received
    return true;
  };
  // At 15 there is a TLV of another OID and type: it was checked at 23, and is stored as it stands.
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 09 0008 FFFFFFFF09000155 | 10800006 03 0001 08"_hex),
            "04 00 0000");
  EXPECT_EQ(card.fan->value, 0x55);
}

TEST(RequestOldStyle, AStepThatWouldLeaveTheDatagramEndsTheWriteWithCannotExec) {
  for (const std::size_t size : {3U, 16U, 100U, 5000U, 65535U}) {
    SCOPED_TRACE(size);
    OldStyleCard card;
    bool told = false;
    card.scalar.onUpdated = [&](TrelProperty*, unsigned int) { return told = true; };
    card.engine.onHandle = [&](OldStyleProperty* property, bool) {
      property->set(std::string(size, 'x'));
      return true;
    };
    // Two bytes were received, so the last TLV is moved by one byte at least: its value would lie outside.
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 09 0002 6162 | 10800006 03 0001 08"_hex), "04 0C 0000");
    EXPECT_EQ(card.fan->value, 7);
    EXPECT_FALSE(told);
  }
}

TEST(RequestOldStyle, AValueThatWouldLeaveTheDatagramEndsTheWriteWithCannotExec) {
  // The moved head fits, the value does not: every length of the last TLV, up to the one that still fits.
  for (std::size_t grown = 1; grown <= 4; ++grown) {
    SCOPED_TRACE(grown);
    OldStyleCard card;
    card.engine.onHandle = [&](OldStyleProperty* property, bool) {
      property->set(std::string(2 + grown, 'x'));
      return true;
    };
    EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 09 0002 6162 | 10800005 01 0004 00000063"_hex),
              "04 0C 0000");
    EXPECT_EQ(card.temperature->value, 42U);
  }
}

TEST(RequestOldStyle, ALengthFieldThatTheMovedWalkTakesAndThatLeavesTheDatagramEndsTheWriteWithCannotExec) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    property->set(std::string("ab"));  // 4 were received
    return true;
  };
  // The walk takes the fan's TLV two bytes early, at 17: its one byte of value is there, its length field reads 0603.
  EXPECT_EQ(ask(card.engine, "4F544E31 01 02 0000 | 02000001 09 0004 61626364 | 10800006 03 0001 08"_hex),
            "04 0C 0000");
}

TEST(RequestOldStyle, AStepOutOfTheDatagramBehindTheLastTlvFailsTheWriteTooButItWasServed) {
  OldStyleCard card;
  std::vector<std::size_t> sizes = {0, 1, 2, 3};
  Strings answers;
  for (const std::size_t size : sizes) {
    card.engine.onHandle = [&](OldStyleProperty* property, bool) {
      property->set(std::string(size, 'x'));
      return true;
    };
    answers.push_back(ask(card.engine, "4F544E31 01 02 0000 | 10800006 03 0001 08 | 02000001 09 0002 6162"_hex));
  }
  EXPECT_EQ(answers, (Strings{"04 00 0000", "04 00 0000", "04 00 0000", "04 0C 0000"}));
}

TEST(RequestOldStyle, AReadIsNotMovedByTheHook) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    property->set(std::string(300, 'x'));
    return true;
  };
  const std::string answer = ask(card.engine, "4F544E31 01 01 0000 | 02000001 09 0002 6162 | 10800006 03 0000"_hex);
  EXPECT_EQ(answer.substr(0, 29), "03 00 0000 | 02000001 09 012C");
  EXPECT_EQ(answer.substr(answer.size() - 19), "10800006 03 0001 07");
}
