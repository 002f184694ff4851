// The check of a received request, before anything is applied.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "messageTestSupport.h"
#include "support/fakeProperty.h"
#include "support/logSelection.h"

namespace {

using Number = TypeProperty<unsigned int>;
using OldStyle = std::unique_ptr<OldStyleProperty>;

constexpr int UNTOUCHED = -99;

// The common scalar group 1 with a few variables.
class CheckTlvs : public testing::Test {
 protected:
  CheckTlvs() : scalar("scalar", 1, true) {
    number = new Number(5, "number", IFC_CARD_VAR_READ_WRITE, 1, new RangeCheckValue<unsigned int>(0, 100));
    readOnly = new Number(6, "readOnly", IFC_CARD_VAR_READ_ONLY, 1);
    text = new StringProperty(7, "text", IFC_CARD_VAR_READ_WRITE, "");
    scalar.addProp(number, 0);
    scalar.addProp(readOnly, 0);
    scalar.addProp(text, 0);
  }

  // The scalar owns them.
  TrelScalar scalar;
  Number* number;
  Number* readOnly;
  StringProperty* text;
  OldStyleEngine engine;
};

// Checks one TLV against a property and looks at result and index.
int checkOne(const std::string& bytes, TrelProperty* property, TrelProtocolBase* engine) {
  ReceivedRequest received(bytes);
  received.message.addProperty(property);
  int index = UNTOUCHED;
  const int result = received.message.checkTlvs(index, engine);
  EXPECT_EQ(index, result == 0 ? UNTOUCHED : 0);
  return result;
}

}  // namespace

TEST_F(CheckTlvs, WithoutPropertiesPasses) {
  ReceivedRequest received("4F544E31 01 02 0007"_hex);
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 0);
  EXPECT_EQ(received.message.checkTlvs(index, nullptr), 0);
  EXPECT_EQ(index, UNTOUCHED);
}

TEST_F(CheckTlvs, AWellFormedWritePassesAndLeavesIndexAndValue) {
  LogCapture log(7);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0004 0000002A"_hex, number, &engine), 0);
  EXPECT_EQ(number->value, 1U);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{});
}

TEST_F(CheckTlvs, AReadDoesNotAskCheckBuffer) {
  LogCapture log;
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 01 0000"_hex, number, &engine), 0);           // another length
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 09 0001 2A"_hex, number, &engine), 0);        // another type
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800006 01 0000"_hex, number, &engine), 0);           // another variable
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800006 01 0000"_hex, readOnly, &engine), 0);         // may be read
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 01 0004 FFFFFFFF"_hex, number, &engine), 0);  // out of range
  EXPECT_EQ(log.brief(), Lines{});
}

TEST_F(CheckTlvs, AWriteAsksCheckBuffer) {
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, number, &engine), 7);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 05 0004 0000002A"_hex, number, &engine), 6);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0002 002A"_hex, number, &engine), 8);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, readOnly, &engine), 10);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0004 00000065"_hex, number, &engine), 9);
  EXPECT_EQ(number->value, 1U);
  EXPECT_EQ(readOnly->value, 1U);
}

TEST_F(CheckTlvs, OnlyAWriteRequestAsksCheckBuffer) {
  const std::string actions = "01 03 04 05"_hex;
  for (const char action : actions) {
    SCOPED_TRACE(static_cast<int>(action));
    EXPECT_EQ(checkOne("4F544E31 01"_hex + action + "0007 | 10800005 09 0001 2A"_hex, number, &engine), 0);
  }
}

TEST_F(CheckTlvs, EveryRefusalNamesItsTextAndTheOid) {
  LogCapture log;
  checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, number, &engine);
  checkOne("4F544E31 01 02 0007 | 10800005 05 0004 0000002A"_hex, number, &engine);
  checkOne("4F544E31 01 02 0007 | 10800005 01 0002 002A"_hex, number, &engine);
  checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, readOnly, &engine);
  checkOne("4F544E31 01 02 0007 | 10800005 01 0004 00000065"_hex, number, &engine);
  EXPECT_EQ(linesOf(log, "checkTlvs"), (Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x10800006",
                                              "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG TYPE in OID 0x10800005",
                                              "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG LEN in OID 0x10800005",
                                              "3 [ERROR] trelmsg (checkTlvs) - RESULT READ ONLY in OID 0x10800006",
                                              "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG VALUE in OID 0x10800005"}));
}

TEST_F(CheckTlvs, AnOidThatDoesNotDecodeIsRefusedInAReadToo) {
  LogCapture log;
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 80000000 01 0000"_hex, number, &engine), 7);
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 12000005 01 0000"_hex, number, &engine), 7);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x80000000",
                                "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x80000000",
                                "3 [ERROR] trelObjectId (TrelObjectId) - Failed to decode scalar oid 0x12000005",
                                "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x12000005"}));
}

TEST_F(CheckTlvs, AnOidThatDoesNotDecodeIsRefusedBeforeCheckBufferIsAsked) {
  LogCapture log;
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | C0000000 05 0001 2A"_hex, number, &engine), 7);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0xc0000000",
                                "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0xc0000000"}));
}

TEST_F(CheckTlvs, TheTlvsOidIsDecodedNotTheProperties) {
  // The common group 4 cannot be addressed, but its property can be named by another, usable OID.
  TrelScalar unreachable("unreachable", 4, true);
  auto* property = new Number(5, "number", IFC_CARD_VAR_READ_WRITE, 1);
  ASSERT_TRUE(unreachable.addProp(property, 0));
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 01 0000"_hex, property, &engine), 0);
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 12000005 01 0000"_hex, property, &engine), 7);
}

TEST_F(CheckTlvs, APropertyOfAnObjectIsNotTheOldStyleHooksBusiness) {
  engine.checkResult = RESULT_WRONG_VALUE;
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 01 0000"_hex, number, &engine), 0);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0004 0000002A"_hex, number, &engine), 0);
  EXPECT_TRUE(engine.checked.empty());
}

TEST_F(CheckTlvs, APropertyOfAnObjectNeedsNoEngine) {
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0004 0000002A"_hex, number, nullptr), 0);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0002 002A"_hex, number, nullptr), 8);
}

TEST_F(CheckTlvs, TheFirstFailureEndsTheWalkAndTellsItsPosition) {
  LogCapture log;
  ReceivedRequest received(
      "4F544E31 01 02 0007 | 10800005 01 0004 0000002A | 10800007 09 0003 616263 | 10800006 01 0004 0000002A | 10800005 05 0004 0000002A"_hex);
  for (TrelProperty* property : {static_cast<TrelProperty*>(number), static_cast<TrelProperty*>(text),
                                 static_cast<TrelProperty*>(readOnly), static_cast<TrelProperty*>(number)})
    received.message.addProperty(property);
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 10);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT READ ONLY in OID 0x10800006"});
}

TEST_F(CheckTlvs, TheWalkFollowsTheLengthsInTheDatagramNotThoseOfTheProperties) {
  // The text property is empty now, the TLV for it has three bytes; the read of a number carries none of its four.
  ReceivedRequest received("4F544E31 01 01 0007 | 10800007 09 0003 616263 | 10800005 01 0000 | 80000000 01 0000"_hex);
  received.message.addProperty(text);
  received.message.addProperty(number);
  received.message.addProperty(readOnly);
  LogCapture log;
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 7);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x80000000"});
}

TEST_F(CheckTlvs, TheWalkEndsWithThePropertiesNotWithTheDatagram) {
  ReceivedRequest received("4F544E31 01 01 0007 | 10800005 01 0000 | 80000000 01 0000"_hex);
  received.message.addProperty(number);
  received.message.bufferLen = 0;
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 0);
  EXPECT_EQ(index, UNTOUCHED);
}

TEST_F(CheckTlvs, TheTlvsStartBehindTheHeaderOfTheKind) {
  const ExactBlock block("4F544E31 01 05 0007 00000064 000003E8 | 80000000 01 0000"_hex);
  TRELAmi message("");
  ASSERT_EQ(message.deserialize(block.data(), block.length()), 0);
  message.addProperty(number);
  LogCapture log;
  int index = UNTOUCHED;
  EXPECT_EQ(message.checkTlvs(index, &engine), 7);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x80000000"});
}

// --- properties without an object ---

TEST_F(CheckTlvs, AnOldStylePropertyIsTheOldStyleHooksBusiness) {
  ReceivedRequest write("4F544E31 01 02 0007 | 00000001 03 0001 2A"_hex);
  const OldStyle written(write.makeOldStyle(8));
  write.message.addProperty(written.get());
  int index = UNTOUCHED;
  EXPECT_EQ(write.message.checkTlvs(index, &engine), 0);
  ReceivedRequest read("4F544E31 01 01 0007 | 00000001 03 0001 2A"_hex);
  const OldStyle asked(read.makeOldStyle(8));
  read.message.addProperty(asked.get());
  EXPECT_EQ(read.message.checkTlvs(index, &engine), 0);
  EXPECT_EQ(index, UNTOUCHED);
  ASSERT_EQ(engine.checked.size(), 2U);
  EXPECT_EQ(engine.checked[0].property, written.get());
  EXPECT_TRUE(engine.checked[0].isWrite);
  EXPECT_EQ(engine.checked[1].property, asked.get());
  EXPECT_FALSE(engine.checked[1].isWrite);
}

TEST_F(CheckTlvs, OnlyAWriteRequestIsAWriteForTheOldStyleHook) {
  const std::string actions = "03 04 05"_hex;
  for (const char action : actions) {
    SCOPED_TRACE(static_cast<int>(action));
    ReceivedRequest received("4F544E31 01"_hex + action + "0007 | 00000001 03 0001 2A"_hex);
    const OldStyle property(received.makeOldStyle(8));
    received.message.addProperty(property.get());
    int index = UNTOUCHED;
    EXPECT_EQ(received.message.checkTlvs(index, &engine), 0);
    ASSERT_FALSE(engine.checked.empty());
    EXPECT_FALSE(engine.checked.back().isWrite);
  }
}

TEST_F(CheckTlvs, AnOldStylePropertyIsRefusedWithGeneralErrorWhenTheHookIsNotOverridden) {
  LogCapture log;
  RecordingEngine plain;
  const std::string requests[] = {"4F544E31 01 01 0007 | 10800005 01 0000 | 00000001 03 0000"_hex,
                                  "4F544E31 01 02 0007 | 10800005 01 0004 0000002A | 00000001 03 0001 2A"_hex};
  const std::size_t offsets[] = {15, 19};
  for (int i = 0; i < 2; ++i) {
    SCOPED_TRACE(i);
    ReceivedRequest received(requests[i]);
    const OldStyle property(received.makeOldStyle(offsets[i]));
    received.message.addProperty(number);
    received.message.addProperty(property.get());
    int index = UNTOUCHED;
    EXPECT_EQ(received.message.checkTlvs(index, &plain), 5);
    EXPECT_EQ(index, 1);
  }
  EXPECT_EQ(log.brief(3), Lines(2, "3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x1"));
}

TEST_F(CheckTlvs, AnOldStylePropertyIsNotCheckedWithoutAnEngine) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 00000001 03 0001 2A"_hex, property.get(), nullptr), 0);
}

TEST_F(CheckTlvs, TheOidOfAnOldStylePropertyIsNotDecoded) {
  ReceivedRequest received("4F544E31 01 02 0007 | 80000000 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  received.message.addProperty(property.get());
  LogCapture log(7);
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST_F(CheckTlvs, TheWalkStepsOverAnOldStyleTlvByItsLengthInTheDatagram) {
  ReceivedRequest received("4F544E31 01 02 0007 | 00000001 09 0003 616263 | 10800006 01 0004 0000002A"_hex);
  const OldStyle property(received.makeOldStyle(8));
  property->set(std::string("a longer text"));
  received.message.addProperty(property.get());
  received.message.addProperty(readOnly);
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 10);
  EXPECT_EQ(index, 1);
}

TEST_F(CheckTlvs, APropertyWithoutObjectThatIsNoOldStylePropertyIsRefusedWithoutAskingTheHook) {
  LogCapture log;
  FakeProperty stray("10800005 01 0004 0000002A"_hex);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800005 01 0004 0000002A"_hex, &stray, &engine), 5);
  EXPECT_EQ(checkOne("4F544E31 01 01 0007 | 10800005 01 0000"_hex, &stray, &engine), 5);
  EXPECT_TRUE(engine.checked.empty());
  EXPECT_EQ(log.brief(3), Lines(2, "3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x10800005"));
}

TEST_F(CheckTlvs, ChangesNoProperty) {
  ReceivedRequest received("4F544E31 01 02 0007 | 10800007 09 0003 616263 | 00000001 03 0001 2A"_hex);
  const OldStyle property(received.makeOldStyle(18));
  received.message.addProperty(text);
  received.message.addProperty(property.get());
  int index = UNTOUCHED;
  EXPECT_EQ(received.message.checkTlvs(index, &engine), 0);
  std::string value = "before";
  text->get(&value);
  EXPECT_EQ(value, "");
  EXPECT_TRUE(engine.handled.empty());
}

// --- the texts of result codes ---

TEST_F(CheckTlvs, EveryResultCodeHasItsText) {
  struct {
    int code;
    const char* line;
  } const cases[] = {
      {1, "3 [ERROR] trelmsg (checkTlvs) - RESULT PROTOCOL VERSION_MISMATCH in OID 0x1"},
      {2, "3 [ERROR] trelmsg (checkTlvs) - RESULT DUPLICATE MSG in OID 0x1"},
      {3, "3 [ERROR] trelmsg (checkTlvs) - RESULT LOST MSG in OID 0x1"},
      {4, "3 [ERROR] trelmsg (checkTlvs) - RESULT INVALID ACTION in OID 0x1"},
      {5, "3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x1"},
      {6, "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG TYPE in OID 0x1"},
      {7, "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x1"},
      {8, "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG LEN in OID 0x1"},
      {9, "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG VALUE in OID 0x1"},
      {10, "3 [ERROR] trelmsg (checkTlvs) - RESULT READ ONLY in OID 0x1"},
      {11, "3 [ERROR] trelmsg (checkTlvs) - RESULT TOO LONG in OID 0x1"},
      {12, "3 [ERROR] trelmsg (checkTlvs) - RESULT CANNOT EXEC in OID 0x1"},
      {13, "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG MAGIC in OID 0x1"},
      {14, "3 [ERROR] trelmsg (checkTlvs) - RESULT NOT RECEIVED in OID 0x1"},
      {15, "3 [ERROR] trelmsg (checkTlvs) - RESULT NOT SEND in OID 0x1"},
      {16, "3 [ERROR] trelmsg (checkTlvs) -  in OID 0x1"},  // 16 and 17 have rows, and the rows are empty
      {17, "3 [ERROR] trelmsg (checkTlvs) -  in OID 0x1"},
      {18, "3 [ERROR] trelmsg (checkTlvs) - unknown in OID 0x1"},
      {255, "3 [ERROR] trelmsg (checkTlvs) - unknown in OID 0x1"},
      {2147483647, "3 [ERROR] trelmsg (checkTlvs) - unknown in OID 0x1"},
      {-1, "3 [ERROR] trelmsg (checkTlvs) - unknown in OID 0x1"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.code);
    ReceivedRequest received("4F544E31 01 01 0007 | 00000001 03 0000"_hex);
    const OldStyle property(received.makeOldStyle(8));
    received.message.addProperty(property.get());
    engine.checkResult = each.code;
    LogCapture log;
    int index = UNTOUCHED;
    EXPECT_EQ(received.message.checkTlvs(index, &engine), each.code);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(log.brief(), Lines{each.line});
  }
}

TEST_F(CheckTlvs, TheLineAppearsAboveLevelTwoWithItsFormat) {
  LogCapture log(2);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, readOnly, &engine), 10);
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 10800006 01 0004 0000002A"_hex, readOnly, &engine), 10);
  ASSERT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT READ ONLY in OID 0x10800006"});
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - %s in OID %#x");
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelmsg.cpp");
}

TEST_F(CheckTlvs, TheOidOfTheLineIsTheTlvs) {
  LogCapture log;
  EXPECT_EQ(checkOne("4F544E31 01 02 0007 | 00000000 01 0004 0000002A"_hex, number, &engine), 7);
  EXPECT_EQ(linesOf(log, "checkTlvs"), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0"});
}
