// Replies that end too early: nothing outside the datagram is read, what was whole is applied, the rest is a failure.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "support/watchedObject.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Small = TypeProperty<unsigned short>;

struct Manager {
  Manager() {
    chassis.addProp(counter, 0);
    chassis.addProp(level, 0);
    chassis.addProp(label, 0);
    engine.registerObject(&chassis);
  }
  std::string text() const {
    std::string value;
    label->get(&value);
    return value;
  }

  WatchedScalar chassis{"chassis", 1, true};
  Number* counter = new Number(5, "counter", IFC_CARD_VAR_READ_WRITE, 0U);
  Small* level = new Small(6, "level", IFC_CARD_VAR_READ_WRITE, 0);
  StringProperty* label = new StringProperty(7, "label", IFC_CARD_VAR_READ_WRITE, "-");
  RecordingEngine engine;
};

// 11 bytes of header, then TLVs that end at 22, 31 and 41.
std::string threeValues() {
  return "4F544E31 01 03 0001 00 0000 | 10800005 01 0004 01020304 | 10800006 02 0002 0506 | "
         "10800007 09 0003 616263"_hex;
}

}  // namespace

TEST(ClientReplyBounds, EveryTruncationOfAReadReplyAppliesItsWholeTlvsAndNoMore) {
  for (std::size_t size = 0; size <= 41; ++size) {
    SCOPED_TRACE(size);
    Manager manager;
    LogCapture log(3);
    const bool endsWithATlv = size == 11 || size == 22 || size == 31 || size == 41;
    EXPECT_EQ(manager.engine.receive(threeValues().substr(0, size)), endsWithATlv ? 1 : 0);
    EXPECT_EQ(manager.counter->value, size >= 22 ? 0x01020304U : 0U);
    EXPECT_EQ(manager.level->value, size >= 31 ? 0x0506 : 0);
    EXPECT_EQ(manager.text(), size == 41 ? "abc" : "-");
    Calls calls;
    if (size >= 22) calls.push_back("counter row 0");
    if (size >= 31) calls.push_back("level row 0");
    if (size == 41) calls.push_back("label row 0");
    EXPECT_EQ(manager.chassis.calls, calls);
    EXPECT_EQ(log.brief().size(), endsWithATlv ? 0U : 1U);
  }
}

TEST(ClientReplyBounds, AShortResponseIsRefusedBeforeItsResultIsLookedAt) {
  for (const char* action : {"03", "04"}) {
    SCOPED_TRACE(action);
    const std::string header = std::string("4F544E31 01 ") + action + " 0001 09 0000";
    const std::string bytes = operator""_hex(header.data(), header.size());
    for (std::size_t size = 8; size < 11; ++size) {
      SCOPED_TRACE(size);
      Manager manager;
      LogCapture log(4);
      EXPECT_EQ(manager.engine.receive(bytes.substr(0, size)), 0);
      EXPECT_EQ(linesOf(log, "handleResponse").size(), 1U);
      EXPECT_EQ(log.brief(3).size(), 1U);
      EXPECT_EQ(log.count("the response has an error"), 0U);
    }
  }
}

TEST(ClientReplyBounds, HandleResponseItselfRefusesEveryLengthBelowItsHeader) {
  const std::string bytes = "4F544E31 01 04 0001 00 0000"_hex;
  for (int length = -1; length < 11; ++length) {
    SCOPED_TRACE(length);
    Manager manager;
    const ExactBlock block(bytes.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length)));
    LogCapture log(3);
    EXPECT_EQ(manager.engine.handleResponse(length, block.data()), 0);
    EXPECT_EQ(log.brief().size(), 1U);
  }
  Manager manager;
  const ExactBlock whole(bytes);
  EXPECT_EQ(manager.engine.handleResponse(whole.length(), whole.data()), 1);
}

TEST(ClientReplyBounds, AShortResponseIsSilentAtTheThresholdOfErrors) {
  Manager manager;
  LogCapture log(2);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 00"_hex), 0);
  EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00"_hex), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientReplyBounds, ALengthThatReachesBehindTheDatagramEndsTheWalk) {
  struct Case {
    const char* rule;
    std::string cut;
  };
  const Case cases[] = {
      {"a number, one byte too long", "10800005 01 0004 010203"_hex},
      {"a text, one byte too long", "10800007 09 0004 616263"_hex},
      {"a text of 65535", "10800007 09 FFFF 61"_hex},
      {"a text of 32768", "10800007 09 8000"_hex},
      {"an unknown OID of 65535", "10800063 09 FFFF 61"_hex},
      {"a wrong type as well", "10800005 09 0004 010203"_hex},
      {"a wrong length as well", "10800005 01 FFFF 01020304"_hex},
      {"a head of 6 bytes", "10800005 01 00"_hex},
      {"an OID alone", "10800005"_hex},
      {"one byte", "10"_hex},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    Manager manager;
    LogCapture log(3);
    EXPECT_EQ(manager.engine.receive("4F544E31 01 03 0001 00 0000 | 10800006 02 0002 0506"_hex + c.cut), 0);
    EXPECT_EQ(manager.level->value, 0x0506);
    EXPECT_EQ(manager.counter->value, 0U);
    EXPECT_EQ(manager.text(), "-");
    EXPECT_EQ(manager.chassis.calls, Calls{"level row 0"});
    EXPECT_GE(linesOf(log, "handleResponse").size(), 1U);
  }
}

TEST(ClientReplyBounds, AReplyToARequestIsHeldToTheSameBounds) {
  const std::size_t ends[] = {11, 22, 31, 41};
  for (const std::size_t end : ends) {
    SCOPED_TRACE(end);
    Manager manager;
    manager.engine.reply = [end](std::string_view) { return threeValues().substr(0, end); };
    EXPECT_EQ(manager.engine.readObject(manager.chassis), 1);
    manager.engine.reply = [end](std::string_view) { return threeValues().substr(0, end - 1); };
    EXPECT_EQ(manager.engine.readObject(manager.chassis), 0);
  }
}

TEST(ClientReplyBounds, AnEmptyReplyIsToSmallForAHeader) {
  Manager manager;
  manager.engine.reply = [](std::string_view) { return std::string(); };
  LogCapture log(3);
  EXPECT_EQ(manager.engine.readProperty(*manager.counter), 0);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelProtocolBase (handleTrelMsg) - "
                               "received message is to small for even a message header!"});
}

TEST(ClientReplyBounds, AReplyOf65507BytesIsWalkedToItsEnd) {
  // The largest UDP datagram: 11 bytes, 7276 values of 9 bytes, and 12 bytes of a text.
  std::string bytes = "4F544E31 01 03 0001 00 0000"_hex;
  for (int i = 0; i < 7276; ++i)
    bytes += "10800006 02 0002 002A"_hex;
  bytes += "10800007 09 0005 68656C6C6F"_hex;
  ASSERT_EQ(bytes.size(), 65507U);
  Manager manager;
  EXPECT_EQ(manager.engine.receive(bytes), 1);
  EXPECT_EQ(manager.text(), "hello");
  EXPECT_EQ(manager.chassis.calls.size(), 7277U);
}
