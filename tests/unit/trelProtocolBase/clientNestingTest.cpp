// Client operations that meet other calls of the engine: hooks and transports that call it again, the reply that stays in
// replyBuffer, exceptions.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;

// Properties a, b, c and d of the non-common scalar 2, with the ids 1 to 4; all values start at 0.
struct Manager {
  Manager() {
    for (Number* property : {a, b, c, d})
      scalar.addProp(property, 0);
    engine.registerObject(&scalar);
  }

  WatchedScalar scalar{"scalar", 2, false};
  Number* a = new Number(1, "a", IFC_CARD_VAR_READ_WRITE, 0U);
  Number* b = new Number(2, "b", IFC_CARD_VAR_READ_WRITE, 0U);
  Number* c = new Number(3, "c", IFC_CARD_VAR_READ_WRITE, 0U);
  Number* d = new Number(4, "d", IFC_CARD_VAR_READ_WRITE, 0U);
  RecordingEngine engine;
};

const std::string REPLY_A_B = "4F544E31 01 03 0001 00 0000 | 01000001 01 0004 0000000A | 01000002 01 0004 0000000B"_hex;
const std::string REPLY_C = "4F544E31 01 03 0002 00 0000 | 01000003 01 0004 0000000C"_hex;
const std::string REPLY_D = "4F544E31 01 03 0003 00 0000 | 01000004 01 0004 0000000D"_hex;

}  // namespace

// ----- replyBuffer -----

TEST(ClientNesting, TheReplyStaysInReplyBuffer) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_A_B));
}

TEST(ClientNesting, AnErrorOrACutDoesNotRemoveTheReplyFromReplyBuffer) {
  const std::string replies[] = {"4F544E31 01 03 0001 09 0000"_hex, REPLY_A_B.substr(0, 30), "4F544E31"_hex, ""};
  for (const std::string& reply : replies) {
    SCOPED_TRACE(asText(reply));
    Manager manager;
    manager.engine.reply = [reply](std::string_view) { return reply; };
    EXPECT_EQ(manager.engine.readProperty(*manager.a), 0);
    EXPECT_EQ(asText(manager.engine.replyBuffer), asText(reply));
  }
}

TEST(ClientNesting, ATransportThatReportsSuccessWithoutFillingReplyBufferHasTheOldReplyProcessedAgain) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  manager.a->set(0U);
  manager.engine.reply = nullptr;
  EXPECT_EQ(manager.engine.readProperty(*manager.c), 1);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.c->value, 0U);
  EXPECT_EQ(manager.scalar.calls, (Calls{"a row 0", "b row 0", "a row 0", "b row 0"}));
}

TEST(ClientNesting, ATransportThatNeverFillsReplyBufferHasNothingProcessed) {
  Manager manager;
  LogCapture log(3);
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 0);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProtocolBase (handleTrelMsg) - "
                               "received message is to small for even a message header!"});
}

// ----- a client operation inside a hook -----

TEST(ClientNesting, AReadInsideUpdatedIsDoneAndTheOuterReplyIsWalkedToItsEnd) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  int inner = -1;
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.a) return;
    manager.engine.reply = [](std::string_view) { return REPLY_C; };
    inner = manager.engine.readProperty(*manager.c);
  };
  EXPECT_EQ(manager.engine.readPropertys({manager.a, manager.b}), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.b->value, 11U);
  EXPECT_EQ(manager.c->value, 12U);
  EXPECT_EQ(manager.scalar.calls, (Calls{"a row 0", "c row 0", "b row 0"}));
  EXPECT_EQ(manager.engine.sent(),
            (Datagrams{"4F544E31 01 01 0001 | 01000001 01 0004 00000000 | 01000002 01 0004 00000000",
                       "4F544E31 01 01 0002 | 01000003 01 0004 00000000"}));
}

TEST(ClientNesting, AReplyLeftByANestedRequestStays) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.b) return;
    manager.engine.reply = [](std::string_view) { return REPLY_C; };
    manager.engine.readProperty(*manager.c);
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_C));
}

TEST(ClientNesting, ALongerNestedReplyDoesNotDisturbTheOuterOne) {
  // Longer than the outer reply, so that a buffer that grew or moved would be noticed.
  std::string longReply = "4F544E31 01 03 0002 00 0000"_hex;
  for (int i = 0; i < 200; ++i)
    longReply += "01000003 01 0004 0000000C"_hex;
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.a) return;
    manager.engine.reply = [&](std::string_view) { return longReply; };
    manager.engine.readProperty(*manager.c);
  };
  EXPECT_EQ(manager.engine.readPropertys({manager.a, manager.b}), 1);
  EXPECT_EQ(manager.b->value, 11U);
  EXPECT_EQ(manager.c->value, 12U);
  EXPECT_EQ(manager.scalar.calls.size(), 202U);
}

TEST(ClientNesting, ReadsInsideUpdatedMayBeNestedThreeDeep) {
  Manager manager;
  manager.engine.reply = [](std::string_view request) {
    switch (request[11]) {  // the last byte of the first OID
      case 1:
        return REPLY_A_B;
      case 3:
        return REPLY_C;
      default:
        return REPLY_D;
    }
  };
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property == manager.a) manager.engine.readProperty(*manager.c);
    if (property == manager.c) manager.engine.readProperty(*manager.d);
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.b->value, 11U);
  EXPECT_EQ(manager.c->value, 12U);
  EXPECT_EQ(manager.d->value, 13U);
  EXPECT_EQ(manager.scalar.calls, (Calls{"a row 0", "c row 0", "d row 0", "b row 0"}));
}

TEST(ClientNesting, AFailedNestedReadDoesNotChangeTheOuterResult) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  int inner = -1;
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.a) return;
    manager.engine.reply = [](std::string_view) { return "4F544E31 01 03 0002 0C 0000"_hex; };
    inner = manager.engine.readProperty(*manager.c);
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(inner, 0);
  EXPECT_EQ(manager.b->value, 11U);
}

TEST(ClientNesting, ANestedRequestWhoseTransportFillsNothingFindsNoReplyAndTheOuterOneIsPutBack) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  std::vector<int> inner;
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    manager.engine.reply = nullptr;
    // Were the outer reply processed again here, this hook would be called for ever.
    if (property == manager.a && inner.size() < 5) inner.push_back(manager.engine.readProperty(*manager.c));
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(inner, std::vector<int>{0});
  EXPECT_EQ(manager.scalar.calls, (Calls{"a row 0", "b row 0"}));
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_A_B));
}

TEST(ClientNesting, AWriteInsideUpdatedSendsTheValueThatWasJustReceived) {
  Manager manager;
  manager.engine.reply = [](std::string_view request) {
    return request[5] == 1 ? REPLY_A_B : "4F544E31 01 04 0002 00 0000"_hex;
  };
  int inner = -1;
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property == manager.b) inner = manager.engine.writeProperty(*manager.b);
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 01000001 01 0004 00000000",
                                              "4F544E31 01 02 0002 | 01000002 01 0004 0000000B"}));
}

TEST(ClientNesting, AHookMayReceiveAnotherDatagram) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.a) return;
    manager.engine.receive("4F544E31 01 01 0100 | 01000004 01 0000"_hex);
    manager.engine.receive(REPLY_D);
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.b->value, 11U);
  EXPECT_EQ(manager.d->value, 13U);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 01000001 01 0004 00000000",
                                              "4F544E31 01 03 0100 00 0000 | 01000004 01 0004 00000000"}));
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_A_B));
}

TEST(ClientNesting, AnUnsolicitedResponseLeavesReplyBufferAsItIs) {
  Manager manager;
  manager.engine.replyBuffer = "old";
  EXPECT_EQ(manager.engine.receive(REPLY_C), 1);
  EXPECT_EQ(manager.engine.replyBuffer, "old");
}

// ----- a transport that is busy meanwhile -----

TEST(ClientNesting, ATransportMayHandleARequestWhileItWaits) {
  Manager manager;
  int answered = -1;
  manager.engine.reply = [&](std::string_view) {
    answered = manager.engine.receive("4F544E31 01 02 0100 | 01000004 01 0004 00000099"_hex);
    return REPLY_A_B;
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(answered, 1);
  EXPECT_EQ(manager.d->value, 0x99U);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.engine.sent(),
            (Datagrams{"4F544E31 01 01 0001 | 01000001 01 0004 00000000", "4F544E31 01 04 0100 00 0000"}));
}

TEST(ClientNesting, ATransportMayHandleAStrayResponseWhileItWaits) {
  Manager manager;
  manager.engine.reply = [&](std::string_view) {
    manager.engine.receive(REPLY_C);
    return REPLY_A_B;
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.c->value, 12U);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_A_B));
}

TEST(ClientNesting, ATransportMaySendAnotherRequestWhileItWaits) {
  Manager manager;
  bool nested = false;
  manager.engine.reply = [&](std::string_view) {
    if (nested) return REPLY_C;
    nested = true;
    manager.engine.readProperty(*manager.c);
    return REPLY_A_B;
  };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.scalar.calls, (Calls{"c row 0", "a row 0", "b row 0"}));
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_A_B));
}

// ----- exceptions -----

TEST(ClientNesting, AnExceptionOfTheTransportReachesTheCallerAndTheNextOperationWorks) {
  Manager manager;
  manager.engine.reply = [](std::string_view) -> std::string { throw std::runtime_error("no network"); };
  EXPECT_THROW(manager.engine.readProperty(*manager.a), std::runtime_error);
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 01000001 01 0004 00000000",
                                              "4F544E31 01 01 0002 | 01000001 01 0004 00000000"}));
}

TEST(ClientNesting, AnExceptionOfUpdatedReachesTheCallerAndTheEngineGoesOn) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  manager.scalar.onUpdated = [](TrelProperty*) { throw std::runtime_error("hook"); };
  EXPECT_THROW(manager.engine.readProperty(*manager.a), std::runtime_error);
  EXPECT_EQ(manager.a->value, 10U);
  EXPECT_EQ(manager.b->value, 0U);
  manager.scalar.onUpdated = nullptr;
  manager.engine.forget();
  EXPECT_EQ(manager.engine.receive("4F544E31 01 01 0100 | 01000001 01 0000"_hex), 1);
  EXPECT_EQ(manager.engine.readProperty(*manager.a), 1);
  EXPECT_EQ(manager.b->value, 11U);
  EXPECT_EQ(manager.engine.sent(), (Datagrams{"4F544E31 01 03 0100 00 0000 | 01000001 01 0004 0000000A",
                                              "4F544E31 01 01 0002 | 01000001 01 0004 0000000A"}));
}

TEST(ClientNesting, AnExceptionInANestedReadLeavesTheEngineAbleToRead) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return REPLY_A_B; };
  manager.scalar.onUpdated = [&](TrelProperty* property) {
    if (property != manager.a) return;
    manager.engine.reply = [](std::string_view) -> std::string { throw std::runtime_error("no network"); };
    manager.engine.readProperty(*manager.c);
  };
  EXPECT_THROW(manager.engine.readProperty(*manager.a), std::runtime_error);
  manager.scalar.onUpdated = nullptr;
  manager.engine.reply = [](std::string_view) { return REPLY_C; };
  EXPECT_EQ(manager.engine.readProperty(*manager.c), 1);
  EXPECT_EQ(manager.c->value, 12U);
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(REPLY_C));
}
