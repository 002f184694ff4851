// Client operations and the responses they process.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;

std::string bytesOf(const std::string& digits) { return operator""_hex(digits.data(), digits.size()); }

// The peer's mirror: scalar "mirror" with the numbers 5 and 6, read-only 7 and the range 1..4 of 9, scalar "plain" (group 2)
// without hooks with number 1.
struct Manager {
  Manager() {
    EXPECT_TRUE(mirror.addProp(six = new Number(6, "six", IFC_CARD_VAR_READ_WRITE, 0x66U), 0));
    EXPECT_TRUE(mirror.addProp(five = new Number(5, "five", IFC_CARD_VAR_READ_WRITE, 0x55U, true), 0));
    EXPECT_TRUE(mirror.addProp(fixed = new Number(7, "fixed", IFC_CARD_VAR_READ_ONLY, 0x77U), 0));
    EXPECT_TRUE(mirror.addProp(
        ranged = new Number(9, "ranged", IFC_CARD_VAR_READ_WRITE, 1U, new RangeCheckValue<unsigned int>(1, 4)), 0));
    EXPECT_TRUE(plain.addProp(one = new Number(1, "one", IFC_CARD_VAR_READ_WRITE, 0x11U), 0));
    engine.registerObject(&mirror);
    engine.registerObject(&plain);
  }
  // What handleResponse makes of these bytes.
  int respond(const std::string& digits) { return engine.receive(bytesOf(digits)); }

  RecordingEngine engine;
  WatchedScalar mirror{"mirror", 1, true};
  TrelScalar plain{"plain", 2, true};
  Number* five = nullptr;
  Number* six = nullptr;
  Number* fixed = nullptr;
  Number* ranged = nullptr;
  Number* one = nullptr;
};

const char FIVE[] = "10800005 01 0004 00000055";
const char ALL[] =
    "10800005 01 0004 00000055 | 10800006 01 0004 00000066 | 10800007 01 0004 00000077 | "
    "10800009 01 0004 00000001";
const char ONE[] = "11000001 01 0004 00000011";

}  // namespace

TEST(ReadingClient, EachOperationSendsItsPropertiesInOrderAndLeavesItsLines) {
  const struct {
    const char* name;
    std::function<int(Manager&)> call;
    const char* action;
    std::string tlvs;
    Lines lines;
  } rows[] = {
      {"readObject", [](Manager& m) { return m.engine.readObject(m.mirror); }, "01", ALL, {"read object mirror"}},
      {"readObjects",
       [](Manager& m) {
         return m.engine.readObjects({&m.plain, &m.mirror});
       },
       "01",
       std::string(ONE) + " | " + ALL,
       {}},
      {"readProperty",
       [](Manager& m) { return m.engine.readProperty(*m.five); },
       "01",
       FIVE,
       {"reading property five"}},
      {"readPropertys",
       [](Manager& m) {
         return m.engine.readPropertys({m.one, m.five, m.one});
       },
       "01",
       std::string(ONE) + " | " + FIVE + " | " + ONE,
       {"reading list of propertys with length 3", "reading list of propertys adding one",
        "reading list of propertys adding five", "reading list of propertys adding one"}},
      {"writeObject", [](Manager& m) { return m.engine.writeObject(m.mirror); }, "02", ALL, {"writing object mirror"}},
      {"writeObjects",
       [](Manager& m) {
         return m.engine.writeObjects({&m.plain, &m.mirror});
       },
       "02",
       std::string(ONE) + " | " + ALL,
       {"writing list of objects with length 2"}},
      {"writeProperty",
       [](Manager& m) { return m.engine.writeProperty(*m.five); },
       "02",
       FIVE,
       {"writing property five"}},
      {"writePropertys",
       [](Manager& m) {
         return m.engine.writePropertys({m.one, m.five});
       },
       "02",
       std::string(ONE) + " | " + FIVE,
       {"writing list of propertys with length 2", "writing list of propertys adding one",
        "writing list of propertys adding five"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Manager manager;
    manager.engine.reply = [&](std::string_view) { return bytesOf("4F544E31 01 04 0001 00 0000"); };
    const LogCapture log;
    EXPECT_EQ(row.call(manager), 1);
    EXPECT_EQ(manager.engine.sent(), Datagrams{"4F544E31 01 " + std::string(row.action) + " 0001 | " + row.tlvs});
    EXPECT_EQ(manager.engine.messages[0].sender, "");
    EXPECT_EQ(manager.engine.messages[0].kind, 0U);
    Lines expected;
    for (const std::string& line : row.lines)
      expected.push_back("7 [DEBUG3] trelProtocolBase (" + std::string(row.name) + ") - " + line);
    EXPECT_EQ(linesOf(log, row.name), expected);
    const std::size_t tlvs = static_cast<std::size_t>(std::count(row.tlvs.begin(), row.tlvs.end(), '|')) + 1;
    EXPECT_EQ(linesOf(log, "sendRequest"),
              Lines{"7 [DEBUG3] trelProtocolBase (sendRequest) - Number of tlvs = " + std::to_string(tlvs)});
  }
}

TEST(ReadingClient, NoPropertyOrMoreThan150SendNothingAndConsumeNoId) {
  Manager manager;
  TrelScalar empty("empty", 3, true);
  const auto expectDropped = [&](int n, const std::function<int()>& call) {
    SCOPED_TRACE(n);
    const LogCapture log;
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(linesOf(log, "sendRequest"),
              (Lines{"3 [ERROR] trelProtocolBase (sendRequest) - invalid nr of tlvs [" + std::to_string(n) +
                         "] should be lower then 150",
                     "3 [ERROR] trelProtocolBase (sendRequest) - Message is dropped, enable debug lvl 1 to see objects "
                     "dropped !!!"}));
  };
  const std::vector<TrelProperty*> tooMany(151, manager.five);
  expectDropped(0, [&] { return manager.engine.readObject(empty); });
  expectDropped(0, [&] { return manager.engine.readObjects({}); });
  expectDropped(0, [&] { return manager.engine.readPropertys({}); });
  expectDropped(0, [&] { return manager.engine.writeObject(empty); });
  expectDropped(0, [&] { return manager.engine.writeObjects({&empty, &empty}); });
  expectDropped(0, [&] { return manager.engine.writePropertys({}); });
  expectDropped(151, [&] { return manager.engine.readPropertys(tooMany); });
  expectDropped(151, [&] { return manager.engine.writePropertys(tooMany); });
  EXPECT_TRUE(manager.engine.messages.empty());
  EXPECT_EQ(manager.engine.messageIdCounter, 0);
  manager.engine.reply = [](std::string_view) { return "4F544E31 01 04 0001 00 0000"_hex; };
  EXPECT_EQ(manager.engine.readPropertys(std::vector<TrelProperty*>(150, manager.five)), 1);
  ASSERT_EQ(manager.engine.messages.size(), 1U);
  EXPECT_EQ(manager.engine.messages[0].bytes.size(), 8U + 150U * 11U);  // above 1200: that limit is the server's
}

TEST(ReadingClient, ATransportThatFailsLeavesTheReplyAloneAndAConsumedId) {
  Manager manager;
  manager.engine.result = 0;
  manager.engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001"_hex; };
  const LogCapture log;
  EXPECT_EQ(manager.engine.readProperty(*manager.five), 0);
  EXPECT_EQ(manager.five->value, 0x55U);
  EXPECT_TRUE(log.brief(3).empty());
  EXPECT_EQ(log.count("handling trel msg"), 0U);
  manager.engine.result = -1;  // not 0: there is a reply
  EXPECT_EQ(manager.engine.readProperty(*manager.five), 1);
  EXPECT_EQ(manager.five->value, 1U);
  EXPECT_EQ(manager.engine.messages[1].bytes.substr(6, 2), "0002"_hex);
}

TEST(ReadingClient, TheReplyGoesThroughTheHeaderChecksWhateverItIs) {
  const struct {
    const char* reply;
    int result;
    std::size_t sent;  // the request and what the reply provoked
  } rows[] = {
      {"", 0, 1},                                        // nothing there: too short
      {"4F544E31 01 03 00", 0, 1},                       // too short for a header
      {"4F544E32 01 03 0001 00 0000", 1, 1},             // a foreign magic counts as handled
      {"4F544E31 02 03 0001 00 0000", 1, 2},             // another version is answered
      {"4F544E31 01 01 0001 | 10800005 01 0000", 1, 2},  // a request is served
      {"4F544E31 01 05 0001 00000000 00000000", 0, 1},
      {"4F544E31 01 03 BEEF 00 0000", 1, 1},  // the id is not compared
      {"4F544E31 01 04 BEEF 00 0000", 1, 1},  // nor the kind
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reply);
    Manager manager;
    manager.engine.reply = [&](std::string_view request) {
      return request.size() > 11 ? bytesOf(row.reply) : std::string();
    };
    EXPECT_EQ(manager.engine.readProperty(*manager.five), row.result);
    EXPECT_EQ(manager.engine.messages.size(), row.sent);
  }
}

TEST(ReadingClient, ResultsOfAResponse) {
  const struct {
    const char* result;
    int returned;
    const char* line;
  } rows[] = {
      {"00", 1, ""},
      {"02", 1, "4 [WARNING] trelProtocolBase (handleResponse) - duplicate message reported by the receiver!"},
      {"03", 1, "4 [WARNING] trelProtocolBase (handleResponse) - message where lost reported by the receiver!"},
      {"01", 0,
       "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 1 : RESULT PROTOCOL VERSION_MISMATCH"},
      {"04", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 4 : RESULT INVALID ACTION"},
      {"05", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 5 : RESULT GENERAL ERROR"},
      {"06", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 6 : RESULT WRONG TYPE"},
      {"07", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 7 : RESULT WRONG OID"},
      {"08", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 8 : RESULT WRONG LEN"},
      {"09", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 9 : RESULT WRONG VALUE"},
      {"0A", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 10 : RESULT READ ONLY"},
      {"0B", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 11 : RESULT TOO LONG"},
      {"0C", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 12 : RESULT CANNOT EXEC"},
      {"0D", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 13 : RESULT WRONG MAGIC"},
      {"0E", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 14 : RESULT NOT RECEIVED"},
      {"0F", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 15 : RESULT NOT SEND"},
      {"10", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 16 : "},
      {"11", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 17 : "},
      {"12", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 18 : unknown"},
      {"FF", 0, "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 255 : unknown"},
  };
  for (const char* action : {"03", "04"}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(action) + " " + row.result);
      Manager manager;
      const LogCapture log(4);
      EXPECT_EQ(manager.respond("4F544E31 01 " + std::string(action) + " 0001 " + row.result +
                                " 0005 | 10800005 01 0004 00000001"),
                row.returned);
      EXPECT_EQ(log.brief(), row.line[0] == '\0' ? Lines{} : Lines{row.line});
      const bool applied = row.returned == 1 && std::string(action) == "03";
      EXPECT_EQ(manager.five->value, applied ? 1U : 0x55U);
      EXPECT_EQ(manager.mirror.calls, applied ? Calls{"five row 0"} : Calls{});
    }
  }
}

TEST(ReadingClient, AReadReplyAppliesEachGoodTlvSkipsTheOthersAndThenCountsAsFailed) {
  const struct {
    const char* tlv;
    Lines errors;  // of handleResponse
  } rows[] = {
      {"10800099 01 0004 00000001",
       {"the following oid is not found in the registered objects, skipping!",
        "prop NOT found to update: oid 0x10800099"}},
      {"10800006 02 0002 0001",
       {"response received has incorrect property with id 0x10800006 and error 6", "skipping this property!"}},
      {"10800006 01 0003 000001",
       {"response received has incorrect property with id 0x10800006 and error 8", "skipping this property!"}},
      {"30800006 01 0004 00000001",
       {"response received has incorrect property with id 0x30800006 and error 7", "skipping this property!"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.tlv);
    Manager manager;
    const LogCapture log;
    EXPECT_EQ(manager.respond("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | " + std::string(row.tlv) +
                              " | 11000001 01 0004 00000002"),
              0);
    EXPECT_EQ(manager.five->value, 1U);
    EXPECT_EQ(manager.six->value, 0x66U);
    EXPECT_EQ(manager.one->value, 2U);
    EXPECT_EQ(manager.mirror.calls, Calls{"five row 0"});
    Lines errors;
    for (const LogLine& line : log.lines())
      if (line.priority == 3 && line.function == "handleResponse") errors.push_back(line.message);
    EXPECT_EQ(errors, row.errors);
    EXPECT_TRUE(manager.engine.messages.empty());
  }
}

TEST(ReadingClient, AReadReplySetsReadOnlyAndRangeCheckedPropertiesWithoutRaisingAnEvent) {
  Manager manager;
  EXPECT_EQ(manager.respond("4F544E31 01 03 0001 00 0000 | 10800007 01 0004 00000001 | 10800009 01 0004 000000FF | "
                            "10800005 01 0004 00000002"),
            1);
  EXPECT_EQ(manager.fixed->value, 1U);
  EXPECT_EQ(manager.ranged->value, 255U);
  EXPECT_EQ(manager.five->value, 2U);
  EXPECT_FALSE(manager.five->eventPending);
}

TEST(ReadingClient, TheLinesOfAnAppliedReplyAndAFalseUpdatedThatChangesNothing) {
  Manager manager;
  manager.mirror.result = false;
  const LogCapture log;
  EXPECT_EQ(manager.respond("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 11000001 01 0004 00000002"), 1);
  Lines lines;
  for (const LogLine& line : log.lines())
    if (line.function == "handleResponse") lines.push_back(line.tag + " " + line.message);
  EXPECT_EQ(lines, (Lines{"[DEBUG3] prop found to update: type 1, oid 10800005",
                          "[DEBUG2] updated() call failed\n for   5 | " + std::string(36, ' ') +
                              "five : " + std::string(19, ' ') + "1  (def = 85, eventable)\n, row 0",
                          "[DEBUG3] prop found to update: type 1, oid 11000001",
                          "[DEBUG2] updated() call succeeded for   1 | " + std::string(37, ' ') +
                              "one : " + std::string(19, ' ') + "2  (def = 17)\n, row 0"}));
}

TEST(ReadingClient, EachValueIsToldBeforeTheNextIsStored) {
  Manager manager;
  Lines seen;
  manager.mirror.onUpdated = [&](TrelProperty*) {
    seen.push_back(std::to_string(manager.five->value) + " " + std::to_string(manager.six->value));
  };
  manager.respond("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800006 01 0004 00000002");
  EXPECT_EQ(seen, (Lines{"1 102", "1 2"}));
}

TEST(ReadingClient, AResponseBelowElevenBytesIsRefusedAndACutTlvEndsTheWalkWithWhatWasBefore) {
  const struct {
    const char* digits;
    unsigned int five;
  } rows[] = {
      {"4F544E31 01 03 0001", 0x55},
      {"4F544E31 01 04 0001", 0x55},
      {"4F544E31 01 03 0001 00 00", 0x55},
      {"4F544E31 01 04 0001 00 00", 0x55},
      {"4F544E31 01 03 0001 00 0000 | 10", 0x55},
      {"4F544E31 01 03 0001 00 0000 | 10800005 01 00", 0x55},
      {"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 000001", 0x55},
      {"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800006 01 0004", 1},
      {"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800006 01 FFFF 00000001", 1},
      {"4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800099 01 00", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.digits);
    Manager manager;
    const LogCapture log;
    EXPECT_EQ(manager.respond(row.digits), 0);
    EXPECT_EQ(manager.five->value, row.five);
    EXPECT_EQ(manager.six->value, 0x66U);
    EXPECT_FALSE(log.brief(3).empty());
    EXPECT_TRUE(manager.engine.messages.empty());
  }
  Manager manager;
  EXPECT_EQ(manager.respond("4F544E31 01 03 0001 00 0000"), 1);
  EXPECT_EQ(manager.respond("4F544E31 01 04 0001 00 0000 | 10"), 1);  // the TLVs of a write response are not looked at
}

TEST(ReadingClient, ARequestMadeInsideUpdatedLeavesTheOuterReplyWhole) {
  Manager manager;
  std::vector<std::string> replies = {
      "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001 | 10800006 01 0004 00000002"_hex,
      "4F544E31 01 03 0002 00 0000 | 11000001 01 0004 00000003"_hex};
  std::size_t next = 0;
  manager.engine.reply = [&](std::string_view) { return replies.at(next++); };
  bool nested = false;
  manager.mirror.onUpdated = [&](TrelProperty*) {
    if (nested) return;
    nested = true;
    EXPECT_EQ(manager.engine.readProperty(*manager.one), 1);
  };
  EXPECT_EQ(manager.engine.readPropertys({manager.five, manager.six}), 1);
  EXPECT_EQ(manager.five->value, 1U);
  EXPECT_EQ(manager.six->value, 2U);
  EXPECT_EQ(manager.one->value, 3U);
  EXPECT_EQ(asText(manager.engine.replyBuffer), asText(replies[1]));  // the nested one left another
}

TEST(ReadingClient, TheReplyStaysInTheBufferAndIsProcessedAgainWhenTheTransportLeavesIt) {
  Manager manager;
  const std::string reply = "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000001"_hex;
  manager.engine.replyBuffer = reply;
  EXPECT_EQ(manager.engine.readProperty(*manager.six), 1);
  EXPECT_EQ(manager.engine.replyBuffer, reply);
  manager.five->set(9U);
  EXPECT_EQ(manager.engine.writeProperty(*manager.six), 1);
  EXPECT_EQ(manager.five->value, 1U);
  // It is put back after an exception as well, or the next request has none: either way the engine answers.
  manager.mirror.onUpdated = [](TrelProperty*) { throw 1; };
  EXPECT_THROW(manager.engine.readProperty(*manager.six), int);
  manager.mirror.onUpdated = nullptr;
  manager.engine.forget();
  manager.engine.receive("4F544E31 01 01 0001 | 10800006 01 0000"_hex);
  EXPECT_EQ(manager.engine.sent(), Datagrams{"4F544E31 01 03 0001 00 0000 | 10800006 01 0004 00000066"});
}

TEST(ReadingClient, AReadOfAPropertyOutsideAnyRegisteredObjectAsksItsBareIdAndFailsOnItsReply) {
  Manager manager;
  Number loose(0x10800042, "loose", IFC_CARD_VAR_READ_WRITE, 7U);
  manager.engine.reply = [](std::string_view) { return "4F544E31 01 03 0001 00 0000 | 10800042 01 0004 00000001"_hex; };
  EXPECT_EQ(manager.engine.readProperty(loose), 0);
  EXPECT_EQ(manager.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 10800042 01 0004 00000007"});
  EXPECT_EQ(loose.value, 7U);
}

TEST(ReadingClient, HandleResponseLooksAtTheResultFirstAndRefusesEveryOtherAction) {
  Manager manager;
  const auto handle = [&](const std::string& digits) {
    const std::string bytes = bytesOf(digits);
    return manager.engine.handleResponse(static_cast<int>(bytes.size()), bytes.data());
  };
  for (const char* action : {"01", "02", "05"}) {
    SCOPED_TRACE(action);
    const LogCapture log(4);
    EXPECT_EQ(handle("4F544E31 01 " + std::string(action) + " 0001 00 0000 | 10800005 01 0004 00000001"), 0);
    EXPECT_EQ(handle("4F544E31 01 " + std::string(action) + " 0001 02 0000 | 10800005 01 0004 00000001"), 0);
    EXPECT_EQ(handle("4F544E31 01 " + std::string(action) + " 0001 09 0000"), 0);
    EXPECT_EQ(
        log.brief(),
        (Lines{"4 [WARNING] trelProtocolBase (handleResponse) - duplicate message reported by the receiver!",
               "3 [ERROR] trelProtocolBase (handleResponse) - the response has an error 9 : RESULT WRONG VALUE"}));
  }
  EXPECT_EQ(manager.five->value, 0x55U);
}

TEST(ReadingClient, AnObjectWithMoreThan150PropertiesIsDroppedAndSoAreSeveralTogether) {
  Manager manager;
  TrelTable table("table", 3, false, 75);
  for (unsigned int row = 0; row < 75; ++row)
    for (unsigned int column = 0; column < 2; ++column)
      ASSERT_TRUE(table.addProp(new Number(column, "cell", IFC_CARD_VAR_READ_WRITE, row), row));
  manager.engine.reply = [](std::string_view) { return "4F544E31 01 04 0001 00 0000"_hex; };
  EXPECT_EQ(manager.engine.writeObject(table), 1);
  EXPECT_EQ(manager.engine.readObjects({&table, &manager.plain}), 0);
  ASSERT_EQ(manager.engine.messages.size(), 1U);
  EXPECT_EQ(manager.engine.messageIdCounter, 1);
}
