// Hooks and transports that call the engine again while it handles a request: each request keeps its own properties.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "requestCard.h"
#include "support/operatorNew.h"

namespace {

// No address: every answer is marked with 17 (0x11), whatever came before, so that the tests may repeat their ids.
const char* const SENDER = "nobody";

const std::string OUTER_READ = "4F544E31 01 01 0007 | 10800005 01 0000 | 02000001 03 0001 AA | 10800006 03 0000"_hex;
const std::string OUTER_READ_ANSWER =
    "4F544E31 01 03 0007 11 0000 | 10800005 01 0004 0000002A | 02000001 03 0001 AA | 10800006 03 0001 07";
const std::string OUTER_WRITE =
    "4F544E31 01 02 0007 | 10800005 01 0004 00000063 | 02000001 03 0001 AA | 10800006 03 0001 08"_hex;
const std::string OUTER_WRITE_ANSWER = "4F544E31 01 04 0007 11 0000";
const std::string OUTER_REFUSED =
    "4F544E31 01 02 0007 | 02000001 03 0001 AA | 10800005 01 0004 00000063 | 10800008 01 0004 00000001"_hex;
const std::string OUTER_REFUSED_ANSWER = "4F544E31 01 04 0007 0A 0002";

struct Nested {
  const char* what;
  std::string datagram;
  const char* answer;
};

// Each names properties that the outer requests do not.
const std::vector<Nested>& nestedDatagrams() {
  static const std::vector<Nested> all = {
      {"read", "4F544E31 01 01 0100 | 10800008 01 0000 | 02000002 03 0001 BB | 10800007 09 0000"_hex,
       "4F544E31 01 03 0100 11 0000 | 10800008 01 0004 00001267 | 02000002 03 0001 BB | 10800007 09 0002 6162"},
      {"write", "4F544E31 01 02 0100 | 10800007 09 0002 6162 | 02000002 03 0001 BB"_hex, "4F544E31 01 04 0100 11 0000"},
      {"refused", "4F544E31 01 02 0100 | 02000002 03 0001 BB | 10800008 01 0004 00000001"_hex,
       "4F544E31 01 04 0100 0A 0001"},
      {"cut", "4F544E31 01 01 0100 | 02000002 03 0001 BB | 1080"_hex, "4F544E31 01 03 0100 08 0001"},
      {"of a byte array", "4F544E31 01 01 0100 | 02000002 0C 0010 000102030405060708090A0B0C0D0E0F"_hex,
       "4F544E31 01 03 0100 11 0000 | 02000002 0C 0010 000102030405060708090A0B0C0D0E0F"},
      {"of another version", "4F544E31 07 01 0100"_hex, "4F544E31 01 03 0100 01 0000"}};
  return all;
}

enum Hook { UPDATE, CHECK, HANDLE, UPDATED, SEND };
const char* const HOOK_NAMES[] = {"update", "check", "handle", "updated", "send"};

// A card one of whose hooks does something at its n-th call, once.
struct NestingCard : OldStyleCard {
  NestingCard(Hook hook, int call, std::function<void()> nested) {
    const auto run = [this, hook, call, nested](Hook now) {
      if (now == hook && ++calls == call) nested();
      return true;
    };
    scalar.onUpdate = [run](TrelProperty*, unsigned int) { return run(UPDATE); };
    scalar.onUpdated = [run](TrelProperty*, unsigned int) { return run(UPDATED); };
    engine.onCheck = [run](OldStyleProperty*, bool) { return run(CHECK) ? RESULT_OK : RESULT_GENERAL_ERROR; };
    engine.onHandle = [run](OldStyleProperty*, bool) { return run(HANDLE); };
    engine.whileSending = [run](TRELMessage&) { run(SEND); };
  }
  int calls = 0;
};

// Receives `outer`; inside the hook's call receives `nested`; expects both answers, the nested one first unless the hook is
// the transport, which has sent the outer one by then.
void expectBoth(Hook hook, int call, const std::string& outer, const std::string& outerAnswer, const Nested& nested) {
  SCOPED_TRACE(std::string(nested.what) + " in call " + std::to_string(call) + " of " + HOOK_NAMES[hook]);
  std::unique_ptr<NestingCard> card;
  int nestedResult = 0;
  card =
      std::make_unique<NestingCard>(hook, call, [&] { nestedResult = card->engine.receive(nested.datagram, SENDER); });
  EXPECT_EQ(card->engine.receive(outer, SENDER), 1);
  EXPECT_EQ(nestedResult, 1);
  EXPECT_EQ(card->engine.sent(),
            (hook == SEND ? Datagrams{outerAnswer, nested.answer} : Datagrams{nested.answer, outerAnswer}));
  // And the engine is as good as before.
  card->engine.whileSending = nullptr;
  card->engine.forget();
  card->engine.receive("4F544E31 01 01 0200 | 10800008 01 0000"_hex, SENDER);
  EXPECT_EQ(card->engine.sent(), Datagrams{"4F544E31 01 03 0200 11 0000 | 10800008 01 0004 00001267"});
}

}  // namespace

TEST(RequestNested, ADatagramInsideAnyHookOfAReadIsAnsweredAndTheOuterOneAsEver) {
  for (const Nested& nested : nestedDatagrams()) {
    expectBoth(UPDATE, 1, OUTER_READ, OUTER_READ_ANSWER, nested);
    expectBoth(UPDATE, 2, OUTER_READ, OUTER_READ_ANSWER, nested);
    expectBoth(CHECK, 1, OUTER_READ, OUTER_READ_ANSWER, nested);
    expectBoth(HANDLE, 1, OUTER_READ, OUTER_READ_ANSWER, nested);
    expectBoth(SEND, 1, OUTER_READ, OUTER_READ_ANSWER, nested);
  }
}

TEST(RequestNested, ARequestThatAHookHandsPastTheDoorIsAnsweredAndTheOuterOneAsEver) {
  for (const Hook hook : {UPDATE, CHECK, HANDLE}) {
    SCOPED_TRACE(HOOK_NAMES[hook]);
    const std::string inner = "4F544E31 01 01 0100 | 10800008 01 0000 | 02000002 03 0001 BB"_hex;
    TRELResponse response(SENDER);
    response.action = TREL_ACTION_READ_RESPONSE;
    response.msgId = 0x0100;
    std::unique_ptr<NestingCard> card;
    card = std::make_unique<NestingCard>(hook, 1, [&] {
      EXPECT_EQ(card->engine.handleRequest(static_cast<int>(inner.size()), inner.data(), response), 1);
    });
    EXPECT_EQ(card->engine.receive(OUTER_READ, SENDER), 1);
    EXPECT_EQ(card->engine.sent(),
              (Datagrams{"4F544E31 01 03 0100 11 0000 | 10800008 01 0004 00001267 | 02000002 03 0001 BB",
                         OUTER_READ_ANSWER}));
  }
}

TEST(RequestNested, ADatagramInsideAnyHookOfAWriteIsAnsweredAndTheOuterOneAsEver) {
  for (const Nested& nested : nestedDatagrams()) {
    expectBoth(UPDATE, 1, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(UPDATE, 2, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(CHECK, 1, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(HANDLE, 1, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(UPDATED, 1, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(UPDATED, 2, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
    expectBoth(SEND, 1, OUTER_WRITE, OUTER_WRITE_ANSWER, nested);
  }
}

TEST(RequestNested, ADatagramInsideAnyHookOfARefusedRequestIsAnsweredAndTheOuterOneAsEver) {
  for (const Nested& nested : nestedDatagrams()) {
    expectBoth(UPDATE, 1, OUTER_REFUSED, OUTER_REFUSED_ANSWER, nested);
    expectBoth(CHECK, 1, OUTER_REFUSED, OUTER_REFUSED_ANSWER, nested);
    expectBoth(SEND, 1, OUTER_REFUSED, OUTER_REFUSED_ANSWER, nested);
  }
}

TEST(RequestNested, TheValuesOfAnOuterWriteAreStoredAlthoughANestedWriteCameBetween) {
  std::unique_ptr<NestingCard> card;
  card = std::make_unique<NestingCard>(HANDLE, 1, [&] {
    card->engine.receive("4F544E31 01 02 0100 | 10800006 03 0001 55 | 10800005 01 0004 00000055"_hex, SENDER);
    EXPECT_EQ(card->temperature->value, 0x55U);
    EXPECT_EQ(card->fan->value, 0x55);
  });
  card->engine.receive(OUTER_WRITE, SENDER);
  EXPECT_EQ(card->temperature->value, 0x55U);  // stored by the outer one first, then by the nested one
  EXPECT_EQ(card->fan->value, 8);              // stored by the outer one after the hook
}

TEST(RequestNested, RequestsMayBeNestedSeveralDeep) {
  OldStyleCard card;
  int depth = 0;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    if (depth == 4) return true;
    ++depth;
    std::string request = "4F544E31 01 01 0000 | 10800006 03 0000 | 02000001 03 0001 00"_hex;
    request[7] = static_cast<char>(depth);
    request[request.size() - 1] = static_cast<char>(depth);
    card.engine.receive(request, SENDER);
    return true;
  };
  card.engine.receive("4F544E31 01 01 0000 | 10800006 03 0000 | 02000001 03 0001 00"_hex, SENDER);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0004 11 0000 | 10800006 03 0001 07 | 02000001 03 0001 04",
                                           "4F544E31 01 03 0003 11 0000 | 10800006 03 0001 07 | 02000001 03 0001 03",
                                           "4F544E31 01 03 0002 11 0000 | 10800006 03 0001 07 | 02000001 03 0001 02",
                                           "4F544E31 01 03 0001 11 0000 | 10800006 03 0001 07 | 02000001 03 0001 01",
                                           "4F544E31 01 03 0000 11 0000 | 10800006 03 0001 07 | 02000001 03 0001 00"}));
}

TEST(RequestNested, AClientOperationInsideUpdatedIsProcessedAndTheWriteAnsweredAsEver) {
  OldStyleCard card;
  int result = 0;
  card.engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800007 09 0003 6E6577"_hex; };
  card.scalar.onUpdated = [&](TrelProperty* property, unsigned int) {
    if (property == card.temperature) result = card.engine.readProperty(*card.label);
    return true;
  };
  EXPECT_EQ(card.engine.receive(OUTER_WRITE, SENDER), 1);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 10800007 09 0002 6162", OUTER_WRITE_ANSWER}));
  EXPECT_EQ(textOf(*card.label), "new");
  EXPECT_EQ(card.temperature->value, 99U);
  EXPECT_EQ(card.fan->value, 8);
}

TEST(RequestNested, AClientOperationInsideUpdateFetchesTheValueThatIsAnswered) {
  OldStyleCard card;
  card.engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000063"_hex; };
  card.scalar.onUpdate = [&](TrelProperty* property, unsigned int) {
    return property != card.temperature || card.engine.readProperty(*card.temperature) == 1;
  };
  EXPECT_EQ(card.engine.receive(OUTER_READ, SENDER), 1);
  EXPECT_EQ(card.engine.sent().at(1),
            "4F544E31 01 03 0007 11 0000 | 10800005 01 0004 00000063 | 02000001 03 0001 AA | 10800006 03 0001 07");
}

TEST(RequestNested, EventsMayBeSentFromAHook) {
  OldStyleCard card;
  card.scalar.onUpdated = [&](TrelProperty* property, unsigned int) {
    card.engine.addToAmi(property, false);
    card.engine.addToAmi(nullptr, true);
    return true;
  };
  EXPECT_EQ(card.engine.receive(OUTER_WRITE, SENDER), 1);
  EXPECT_EQ(card.engine.sent(),
            (Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 10800005 01 0004 00000063",
                       "4F544E31 01 05 0002 00000000 00000000 | 10800006 03 0001 08", OUTER_WRITE_ANSWER}));
}

TEST(RequestNested, OldStylePropertiesOfTheOuterRequestOutliveANestedOne) {
  for (const Hook hook : {CHECK, HANDLE, SEND}) {
    for (const Nested& nested : nestedDatagrams()) {
      SCOPED_TRACE(std::string(nested.what) + " in " + HOOK_NAMES[hook]);
      OldStyleCard card;
      std::unique_ptr<DeletionWatch> outer;
      bool nesting = false;
      const auto run = [&](Hook now) {
        if (now != hook || nesting) return;
        nesting = true;
        card.engine.receive(nested.datagram, SENDER);
        EXPECT_FALSE(outer->deleted());
      };
      card.engine.onCheck = [&](OldStyleProperty* property, bool) {
        if (property->id == 0x02000001) outer = std::make_unique<DeletionWatch>(property);
        run(CHECK);
        return RESULT_OK;
      };
      card.engine.onHandle = [&](OldStyleProperty*, bool) {
        run(HANDLE);
        return true;
      };
      card.engine.whileSending = [&](TRELMessage&) { run(SEND); };
      card.engine.receive(OUTER_READ, SENDER);
      EXPECT_TRUE(nesting);
      EXPECT_TRUE(outer->deleted());
    }
  }
}

TEST(RequestNested, OfTwoRefusedRequestsTheLastToEndIsTheOneWhosePropertiesStay) {
  OldStyleCard card;
  std::unique_ptr<DeletionWatch> outer;
  std::unique_ptr<DeletionWatch> nested;
  card.engine.onCheck = [&](OldStyleProperty* property, bool) {
    if (property->id == 0x02000001) {
      outer = std::make_unique<DeletionWatch>(property);
      card.engine.receive("4F544E31 01 01 0100 | 02000002 01 0000"_hex, SENDER);
      EXPECT_FALSE(nested->deleted());
    } else {
      nested = std::make_unique<DeletionWatch>(property);
    }
    return RESULT_WRONG_VALUE;
  };
  card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000"_hex, SENDER);
  EXPECT_EQ(card.engine.sent(), (Datagrams{"4F544E31 01 03 0100 09 0000", "4F544E31 01 03 0007 09 0000"}));
  EXPECT_TRUE(nested->deleted());
  EXPECT_FALSE(outer->deleted());
}

TEST(RequestNested, AnExceptionOfANestedRequestThatTheHookCatchesLeavesTheOuterOneWhole) {
  OldStyleCard card;
  card.engine.onHandle = [](OldStyleProperty* property, bool) {
    if (property->id == 0x02000002) throw 1;
    return true;
  };
  bool nesting = false;
  card.scalar.onUpdate = [&](TrelProperty*, unsigned int) {
    if (nesting) return true;
    nesting = true;
    EXPECT_THROW(card.engine.receive(nestedDatagrams()[0].datagram, SENDER), int);
    return true;
  };
  card.engine.receive(OUTER_READ, SENDER);
  EXPECT_EQ(card.engine.sent(), Datagrams{OUTER_READ_ANSWER});
}

TEST(RequestNested, ATransportThatReceivesWhileARefusalIsSentLosesNothing) {
  std::vector<std::unique_ptr<DeletionWatch>> watches;
  {
    OldStyleCard card;
    int depth = 0;
    card.engine.onCheck = [&](OldStyleProperty* property, bool) {
      watches.push_back(std::make_unique<DeletionWatch>(property));
      return RESULT_WRONG_VALUE;
    };
    card.engine.whileSending = [&](TRELMessage&) {
      if (++depth < 4) card.engine.receive("4F544E31 01 01 0100 | 02000002 01 0000"_hex, SENDER);
    };
    card.engine.receive("4F544E31 01 01 0007 | 02000001 01 0000"_hex, SENDER);
    EXPECT_EQ(card.engine.messages.size(), 4U);
    std::size_t alive = 0;
    for (const auto& watch : watches)
      alive += watch->deleted() ? 0 : 1;
    EXPECT_EQ(alive, 1U);
  }
  EXPECT_EQ(watches.size(), 4U);
  for (const auto& watch : watches)
    EXPECT_TRUE(watch->deleted());
}
