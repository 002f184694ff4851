// Messages: header, hooks of the kinds, sizing, checking and applying TLVs.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/recordingEngine.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"
#include "trel/trelmsg.h"

namespace {

using Lines = std::vector<std::string>;
using Calls = std::vector<std::string>;

// A property of no kind whose results are what the test says.
class PlainProperty : public TrelProperty {
 public:
  explicit PlainProperty(unsigned int propertyId, int bytes = 1)
      : TrelProperty(propertyId, "plain", IFC_CARD_VAR_READ_WRITE, false), valueLength(bytes), written(bytes + 7) {}
  bool isDefault() override { return false; }
  int serialize(char* buf, int size) override {
    offered.push_back(size);
    if (written > 0) buf[0] = static_cast<char>(id);
    return written;
  }
  int deserialize(const char* tlv) override {
    received.push_back(tlv);
    return consumed;
  }
  int length() override { return valueLength; }
  int getType() override { return type; }
  bool validValue(const char*, int) override {
    ++valueChecks;
    return valid;
  }
  std::string str() const override { return ""; }

  int valueLength;
  int written;
  int consumed = 8;
  int type = 3;
  bool valid = true;
  int valueChecks = 0;
  std::vector<int> offered;
  std::vector<const char*> received;
};

class OldStyleEngine : public RecordingEngine {
 public:
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    calls.push_back("handle " + std::to_string(property->id) + (isWrite ? " write" : " read"));
    if (onHandle) onHandle(*property);
    return handles;
  }
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    calls.push_back("check " + std::to_string(property->id) + (isWrite ? " write" : " read"));
    return checked;
  }
  mutable Calls calls;
  std::function<void(OldStyleProperty&)> onHandle;
  bool handles = true;
  int checked = 0;
};

class WatchedScalar : public TrelScalar {
 public:
  WatchedScalar(const char* objectName, unsigned int group, Calls& list)
      : TrelScalar(objectName, group, false), calls(list) {}
  bool updated(TrelProperty* property, unsigned int row) override {
    calls.push_back(name + " " + std::to_string(property->id) + "/" + std::to_string(row) + " " + seen());
    return accepts;
  }
  std::function<std::string()> seen = [] { return std::string(); };
  bool accepts = true;
  Calls& calls;
};

class ChattyMessage : public TRELRequest {
 public:
  explicit ChattyMessage(int answer) : TRELRequest("10.0.0.9"), result(answer) {}
  int serializeSpecific(char* buf, int len) const override {
    seenBuffer = buf;
    seenLength = len;
    return result;
  }
  int deserializeSpecific(const char* buf, int len) override {
    seenBuffer = buf;
    seenLength = len;
    return result;
  }
  int result;
  mutable const char* seenBuffer = nullptr;
  mutable int seenLength = 0;
};

OldStyleProperty* oldStyle(std::string record) {
  return new OldStyleProperty(reinterpret_cast<trel_tlv*>(record.data()), false);
}

TypeProperty<unsigned int>* number(unsigned int id, IfcCardVarAccessType access = IFC_CARD_VAR_READ_WRITE) {
  return new TypeProperty<unsigned int>(id, "number", access, 0U);
}

}  // namespace

TEST(ReadingMessage, ConstructionGivesEachKindItsHeader) {
  const TRELMessage plain("");
  const TRELRequest request("1.2.3.4");
  const TRELResponse response("1.2.3.5");
  const TRELAmi ami("1.2.3.6");
  struct Case {
    const TRELMessage* message;
    unsigned int kind;
    int headerLen;
    const char* sender;
  };
  const Case cases[] = {
      {&plain, 0, 0, ""}, {&request, 0, 8, "1.2.3.4"}, {&response, 1, 11, "1.2.3.5"}, {&ami, 2, 16, "1.2.3.6"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.headerLen);
    EXPECT_EQ(one.message->msgKind, one.kind);
    EXPECT_EQ(one.message->headerLen, one.headerLen);
    EXPECT_EQ(one.message->sender, one.sender);
    EXPECT_EQ(one.message->magicNbr, 0x4F544E31U);
    EXPECT_EQ(one.message->protVersion, 1U);
    EXPECT_EQ(one.message->action, 0U);
    EXPECT_EQ(one.message->msgId, 0U);
    EXPECT_EQ(one.message->buffer, nullptr);
    EXPECT_EQ(one.message->bufferLen, 0);
    EXPECT_TRUE(one.message->properties.empty());
    EXPECT_EQ(one.message->countTlvs(77), 0);
    EXPECT_EQ(one.message->sizeOfTlvs(), 0);
  }
  EXPECT_EQ(response.result, 0);
  EXPECT_EQ(response.errorTlvIndex, 0U);
  EXPECT_EQ(ami.timeSec, 0U);
  EXPECT_EQ(ami.timeUsec, 0U);
}

TEST(ReadingMessage, MembersLieInTheListedOrder) {
  const TRELMessage m("");
  const char* const places[] = {
      reinterpret_cast<const char*>(&m.msgKind),     reinterpret_cast<const char*>(&m.headerLen),
      reinterpret_cast<const char*>(&m.buffer),      reinterpret_cast<const char*>(&m.bufferLen),
      reinterpret_cast<const char*>(&m.properties),  reinterpret_cast<const char*>(&m.magicNbr),
      reinterpret_cast<const char*>(&m.protVersion), reinterpret_cast<const char*>(&m.action),
      reinterpret_cast<const char*>(&m.msgId),       reinterpret_cast<const char*>(&m.sender)};
  for (std::size_t i = 1; i < 10; ++i)
    EXPECT_LT(places[i - 1], places[i]) << i;
}

TEST(ReadingMessage, HeaderChecksAnswerAndLeaveTheirLines) {
  TRELRequest message("");
  {
    LogCapture log;
    EXPECT_TRUE(message.checkMagicNbr());
    EXPECT_TRUE(message.checkProtVersion());
    for (unsigned char action = 1; action <= 5; ++action) {
      message.action = action;
      EXPECT_TRUE(message.checkAction());
    }
    EXPECT_EQ(log.brief(), Lines{});
  }
  LogCapture log;
  message.magicNbr = 0x314E544F;
  EXPECT_FALSE(message.checkMagicNbr());
  message.magicNbr = 0;
  EXPECT_FALSE(message.checkMagicNbr());
  message.protVersion = 2;
  EXPECT_FALSE(message.checkProtVersion());
  message.protVersion = 0;
  EXPECT_FALSE(message.checkProtVersion());
  message.action = 0;
  EXPECT_FALSE(message.checkAction());
  message.action = 6;
  EXPECT_FALSE(message.checkAction());
  message.action = 255;
  EXPECT_FALSE(message.checkAction());
  EXPECT_EQ(log.brief(),
            (Lines{"4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)",
                   "4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0 (should be 0x4f544e31)",
                   "3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0x2 (should be 0x1)",
                   "3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0 (should be 0x1)",
                   "3 [ERROR] trelmsg (checkAction) - Invalid value 0 for action field",
                   "3 [ERROR] trelmsg (checkAction) - Invalid value 6 for action field",
                   "3 [ERROR] trelmsg (checkAction) - Invalid value 255 for action field"}));
  EXPECT_EQ(log.lines()[0].format, "[WARNING] %s:%d (%s) - Invalid magic nbr %#x (should be %#x)");
  log.clear();
  log.setLevel(3);
  EXPECT_FALSE(message.checkMagicNbr());
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(4);
  EXPECT_FALSE(message.checkMagicNbr());
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST(ReadingMessage, DeserializeTakesAllFieldsThenJudgesMagicVersionAndActionInThisOrder) {
  struct Case {
    std::string bytes;
    int result;
    const char* function;
  };
  const Case cases[] = {{"4F544E31 01 01 8001"_hex, 0, ""},
                        {"4F544E31 01 05 8001"_hex, 0, ""},
                        {"314E544F 01 01 8001"_hex, 13, "checkMagicNbr"},
                        {"314E544F 02 09 8001"_hex, 13, "checkMagicNbr"},
                        {"4F544E31 02 09 8001"_hex, 1, "checkProtVersion"},
                        {"4F544E31 01 09 8001"_hex, 4, "checkAction"},
                        {"4F544E31 01 00 8001"_hex, 4, "checkAction"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(asText(one.bytes));
    LogCapture log;
    const ExactBlock block(one.bytes);
    TRELMessage message("");
    EXPECT_EQ(message.deserialize(block.data(), block.length()), one.result);
    EXPECT_EQ(message.buffer, block.data());
    EXPECT_EQ(message.bufferLen, 8);
    EXPECT_EQ(message.protVersion, static_cast<unsigned char>(one.bytes[4]));
    EXPECT_EQ(message.action, static_cast<unsigned char>(one.bytes[5]));
    EXPECT_EQ(message.msgId, 0x8001U);
    EXPECT_EQ(message.magicNbr, one.result == 13 ? 0x314E544FU : 0x4F544E31U);
    ASSERT_EQ(log.lines().size(), one.result == 0 ? 0U : 1U);
    if (one.result != 0) {
      EXPECT_EQ(log.lines()[0].function, one.function);
    }
  }
  // Also with a length that is told too short: it is not compared, only kept.
  TRELResponse response("");
  const ExactBlock whole("4F544E31 01 04 0102 C8 FFFE"_hex);
  EXPECT_EQ(response.deserialize(whole.data(), -5), 0);
  EXPECT_EQ(response.bufferLen, -5);
  EXPECT_EQ(response.result, 200);
  EXPECT_EQ(response.errorTlvIndex, 0xFFFEU);
  TRELAmi ami("");
  const ExactBlock amiBytes("4F544E31 01 05 0102 F1020304 8007A120"_hex);
  EXPECT_EQ(ami.deserialize(amiBytes.data(), amiBytes.length()), 0);
  EXPECT_EQ(ami.timeSec, 0xF1020304U);
  EXPECT_EQ(ami.timeUsec, 0x8007A120U);
}

TEST(ReadingMessage, DeserializeAnswersWhatTheKindAnswersAndAsksItOnlyForAGoodHeader) {
  ChattyMessage message(42);
  const ExactBlock good("4F544E31 01 03 0102"_hex);
  EXPECT_EQ(message.deserialize(good.data(), good.length()), 42);
  EXPECT_EQ(message.seenBuffer, good.data());
  EXPECT_EQ(message.seenLength, 8);
  message.seenBuffer = nullptr;
  const ExactBlock bad("4F544E31 01 06 0102"_hex);
  EXPECT_EQ(message.deserialize(bad.data(), bad.length()), 4);
  EXPECT_EQ(message.seenBuffer, nullptr);
}

TEST(ReadingMessage, KindHooksWriteAndReadTheirOwnBytesOnly) {
  ExactBlock block(16, 0xA5);
  TRELRequest request("");
  TRELMessage plain("");
  EXPECT_EQ(request.serializeSpecific(block.data(), 16), 1);
  EXPECT_EQ(plain.serializeSpecific(block.data(), 16), 1);
  EXPECT_EQ(request.deserializeSpecific(block.data(), 16), 0);
  EXPECT_EQ(plain.deserializeSpecific(block.data(), 16), 0);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5");
  TRELResponse response("");
  response.result = RESULT_CANNOT_EXEC;
  response.errorTlvIndex = 3;
  EXPECT_EQ(response.serializeSpecific(block.data(), 0), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 0C 00 03 A5 A5 A5 A5 A5");
  response.result = static_cast<TrelResult>(0x1234);
  response.errorTlvIndex = 0xFEDC;
  EXPECT_EQ(response.serializeSpecific(block.data(), 16), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 34 FE DC A5 A5 A5 A5 A5");
  EXPECT_EQ(response.deserializeSpecific(block.data(), 16), 0);
  EXPECT_EQ(response.result, 0x34);
  EXPECT_EQ(response.errorTlvIndex, 0xFEDCU);
  TRELAmi ami("");
  ami.timeSec = 0x01020304;
  ami.timeUsec = 500000;
  EXPECT_EQ(ami.serializeSpecific(block.data(), 16), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 01 02 03 04 00 07 A1 20");
  TRELAmi other("");
  EXPECT_EQ(other.deserializeSpecific(block.data(), 16), 0);
  EXPECT_EQ(other.timeSec, 0x01020304U);
  EXPECT_EQ(other.timeUsec, 500000U);
}

TEST(ReadingMessage, SizesAreSumsOverTheList) {
  TRELRequest message("");
  PlainProperty one(1, 1);
  PlainProperty empty(2, 0);
  EXPECT_TRUE(message.addProperty(&one));
  EXPECT_TRUE(message.addProperty(&empty));
  EXPECT_TRUE(message.addProperty(&one));
  EXPECT_EQ(message.countTlvs(0), 3);
  EXPECT_EQ(message.countTlvs(-1), 3);
  EXPECT_EQ(message.sizeOfTlvs(), 23);
  one.valueLength = 100;
  EXPECT_EQ(message.sizeOfTlvs(), 221);
  TRELRequest many("");
  for (int i = 0; i < 1000; ++i)
    EXPECT_TRUE(many.addProperty(nullptr));
  EXPECT_EQ(many.countTlvs(0), 1000);
  EXPECT_EQ(many.properties[999], nullptr);
}

TEST(ReadingMessage, SerializeIntoTooSmallABufferWritesNothing) {
  TRELResponse message("");
  PlainProperty property(1, 1);
  message.addProperty(&property);
  LogCapture log;
  ExactBlock block(18, 0xA5);
  EXPECT_FALSE(message.serialize(block.data(), 18));
  EXPECT_FALSE(message.serialize(block.data(), 0));
  EXPECT_FALSE(message.serialize(block.data(), -1));
  EXPECT_EQ(block.view(), std::string(18, '\xA5'));
  EXPECT_TRUE(property.offered.empty());
  EXPECT_EQ(log.brief(), (Lines(3, "3 [ERROR] trelmsg (serialize) - trying to serialize in a too small buffer!")));
  log.clear();
  ExactBlock exact(19, 0xA5);
  EXPECT_TRUE(message.serialize(exact.data(), 19));
  EXPECT_EQ(property.offered, (std::vector<int>{8}));
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingMessage, SerializeWritesHeaderThenEachTlvWithTheSpaceLeftThenTheKindsBytes) {
  TRELResponse message("");
  message.action = 3;
  message.msgId = 0xABCD;
  message.magicNbr = 0x01020304;
  message.protVersion = 9;
  message.result = RESULT_LOST_MSG;
  message.errorTlvIndex = 0x0102;
  TrelScalar scalar("s", 1, false);
  auto* value = number(5);
  value->set(0xF0000001U);
  ASSERT_TRUE(scalar.addProp(value, 0));
  PlainProperty plain(0x77, 2);
  message.addProperty(value);
  message.addProperty(&plain);
  message.addProperty(value);
  ExactBlock block(45, 0xA5);
  EXPECT_TRUE(message.serialize(block.data(), 45));
  EXPECT_EQ(asText(block.view()),
            asText("01020304 09 03 ABCD 03 0102 | 00800005 01 0004 F0000001 | 77 A5A5A5A5A5A5A5A5 | "
                   "00800005 01 0004 F0000001 | A5A5A5"_hex));
  EXPECT_EQ(plain.offered, (std::vector<int>{23}));
  TRELRequest bare("");
  bare.action = 1;
  bare.msgId = 1;
  ExactBlock eight(8, 0xA5);
  EXPECT_TRUE(bare.serialize(eight.data(), 8));
  EXPECT_EQ(asText(eight.view()), "4F 54 4E 31 01 01 00 01");
}

TEST(ReadingMessage, SerializeStopsAtAPropertyThatWritesAnotherLength) {
  struct Case {
    int written;
    const char* text;
  };
  const Case cases[] = {{-1, "buffer got to small!"},
                        {7, "serialize return wrong length!"},
                        {9, "serialize return wrong length!"},
                        {0, "serialize return wrong length!"},
                        {-2, "serialize return wrong length!"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.written);
    LogCapture log;
    TRELResponse message("");
    message.action = 3;
    message.result = RESULT_CANNOT_EXEC;
    PlainProperty first(0x11, 1);
    PlainProperty bad(0x22, 1);
    PlainProperty third(0x33, 1);
    bad.written = one.written;
    message.addProperty(&first);
    message.addProperty(&bad);
    message.addProperty(&third);
    ExactBlock block(35, 0xA5);
    EXPECT_FALSE(message.serialize(block.data(), 35));
    EXPECT_EQ(log.brief(), Lines{std::string("3 [ERROR] trelmsg (serialize) - ") + one.text});
    EXPECT_TRUE(third.offered.empty());
    EXPECT_EQ(asText(block.view().substr(0, 12)), "4F 54 4E 31 01 03 00 00 A5 A5 A5 11");
  }
}

TEST(ReadingMessage, SerializeAnswersWhatTheKindAnswers) {
  const int answers[] = {0, 1, 2, -1};
  for (const int answer : answers) {
    ChattyMessage message(answer);
    ExactBlock block(9, 0xA5);
    EXPECT_EQ(message.serialize(block.data(), 9), answer != 0);
    EXPECT_EQ(message.seenBuffer, block.data());
    EXPECT_EQ(message.seenLength, 9);
  }
}

TEST(ReadingMessage, CheckOfAReadLooksAtTheOidsFormOnly) {
  TrelScalar scalar("s", 1, false);
  auto* property = new PlainProperty(5);
  property->valid = false;
  auto* readOnly = number(6, IFC_CARD_VAR_READ_ONLY);
  ASSERT_TRUE(scalar.addProp(property, 0));
  ASSERT_TRUE(scalar.addProp(readOnly, 0));
  // Another OID than the property's, another type, another length: a read does not mind.
  const ExactBlock datagram("4F544E31 01 01 0001 | 40000000 09 0002 4142 | 00800006 01 0000"_hex);
  const int actions[] = {1, 3, 5, 0};
  for (const int action : actions) {
    LogCapture log;
    TRELRequest message("");
    ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
    message.action = static_cast<unsigned char>(action);
    message.addProperty(property);
    message.addProperty(readOnly);
    int index = 99;
    EXPECT_EQ(message.checkTlvs(index, nullptr), 0);
    EXPECT_EQ(index, 99);
    EXPECT_EQ(property->valueChecks, 0);
    EXPECT_EQ(log.brief(), Lines{});
  }
  TRELRequest empty("");
  int index = 99;
  EXPECT_EQ(empty.checkTlvs(index, nullptr), 0);
  EXPECT_EQ(index, 99);
}

TEST(ReadingMessage, CheckRefusesAnOidThatDoesNotDecodeBeforeTheBufferIsChecked) {
  TrelScalar scalar("s", 1, false);
  auto* property = number(5);
  ASSERT_TRUE(scalar.addProp(property, 0));
  const unsigned char actions[] = {1, 2};
  for (const unsigned char action : actions) {
    LogCapture log;
    TRELRequest message("");
    const ExactBlock datagram("4F544E31 01 01 0001 | 00800005 01 0004 00000001 | 92000005 09 0000"_hex);
    ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
    message.action = action;
    message.addProperty(property);
    message.addProperty(property);
    int index = 99;
    EXPECT_EQ(message.checkTlvs(index, nullptr), 7);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(log.brief(3), (Lines{"3 [ERROR] trelObjectId (TrelObjectId) - Invalid oid 0x92000005",
                                   "3 [ERROR] trelmsg (checkTlvs) - RESULT WRONG OID in OID 0x92000005"}));
  }
}

TEST(ReadingMessage, CheckOfAWriteAsksTheProperty) {
  TrelScalar scalar("s", 1, false);
  auto* good = number(5);
  auto* readOnly = number(6, IFC_CARD_VAR_READ_ONLY);
  auto* picky = new PlainProperty(7);
  picky->valid = false;
  ASSERT_TRUE(scalar.addProp(good, 0));
  ASSERT_TRUE(scalar.addProp(readOnly, 0));
  ASSERT_TRUE(scalar.addProp(picky, 0));
  struct Case {
    std::string tlv;
    TrelProperty* property;
    int result;
    const char* line;
  };
  const Case cases[] = {
      {"00800005 01 0004 00000001"_hex, good, 0, ""},
      {"00800006 01 0004 00000001"_hex, good, 7, "RESULT WRONG OID in OID 0x800006"},
      {"00800005 02 0004 00000001"_hex, good, 6, "RESULT WRONG TYPE in OID 0x800005"},
      {"00800005 01 0003 000001"_hex, good, 8, "RESULT WRONG LEN in OID 0x800005"},
      {"00800006 01 0004 00000001"_hex, readOnly, 10, "RESULT READ ONLY in OID 0x800006"},
      {"00800007 03 0001 01"_hex, picky, 9, "RESULT WRONG VALUE in OID 0x800007"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.line);
    LogCapture log;
    TRELRequest message("");
    const ExactBlock datagram("4F544E31 01 02 0001 | 00800005 01 0004 00000001"_hex + one.tlv);
    ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
    message.addProperty(good);
    message.addProperty(one.property);
    int index = 99;
    RecordingEngine engine;
    EXPECT_EQ(message.checkTlvs(index, &engine), one.result);
    EXPECT_EQ(index, one.result == 0 ? 99 : 1);
    if (one.result == 0) {
      EXPECT_EQ(log.brief(3), Lines{});
    } else {
      EXPECT_EQ(log.brief(3).back(), std::string("3 [ERROR] trelmsg (checkTlvs) - ") + one.line);
    }
    unsigned int value = 9;
    good->get(&value);
    EXPECT_EQ(value, 0U);
  }
}

TEST(ReadingMessage, CheckOfAnOldStyleTlvIsTheEngines) {
  const ExactBlock datagram("4F544E31 01 02 0001 | 00000063 09 0003 616263 | 80000064 01 0004 00000001"_hex);
  OldStyleProperty* const first = oldStyle("00000063 09 0003 616263"_hex);
  OldStyleProperty* const second = oldStyle("80000064 01 0004 00000001"_hex);
  const auto check = [&](TrelProtocolBase* engine, int& index, unsigned char action) {
    TRELRequest message("");
    message.deserialize(datagram.data(), datagram.length());
    message.action = action;
    message.addProperty(first);
    message.addProperty(second);
    return message.checkTlvs(index, engine);
  };
  LogCapture log;
  int index = 99;
  EXPECT_EQ(check(nullptr, index, 2), 0);
  EXPECT_EQ(index, 99);
  RecordingEngine plain;
  EXPECT_EQ(check(&plain, index, 1), 5);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(log.brief(3), Lines{"3 [ERROR] trelmsg (checkTlvs) - RESULT GENERAL ERROR in OID 0x63"});
  OldStyleEngine engine;
  index = 99;
  log.clear();
  EXPECT_EQ(check(&engine, index, 2), 0);
  EXPECT_EQ(check(&engine, index, 1), 0);
  EXPECT_EQ(check(&engine, index, 4), 0);
  EXPECT_EQ(engine.calls, (Calls{"check 99 write", "check 2147483748 write", "check 99 read", "check 2147483748 read",
                                 "check 99 read", "check 2147483748 read"}));
  EXPECT_EQ(index, 99);
  EXPECT_EQ(log.brief(3), Lines{});
  delete first;
  delete second;
}

TEST(ReadingMessage, CheckNamesEveryResultByItsText) {
  const char* const texts[] = {"RESULT OK",
                               "RESULT PROTOCOL VERSION_MISMATCH",
                               "RESULT DUPLICATE MSG",
                               "RESULT LOST MSG",
                               "RESULT INVALID ACTION",
                               "RESULT GENERAL ERROR",
                               "RESULT WRONG TYPE",
                               "RESULT WRONG OID",
                               "RESULT WRONG LEN",
                               "RESULT WRONG VALUE",
                               "RESULT READ ONLY",
                               "RESULT TOO LONG",
                               "RESULT CANNOT EXEC",
                               "RESULT WRONG MAGIC",
                               "RESULT NOT RECEIVED",
                               "RESULT NOT SEND",
                               "",
                               "",
                               "unknown"};
  const ExactBlock datagram("4F544E31 01 01 0001 | 00000000 09 0000"_hex);
  OldStyleProperty* const property = oldStyle("00000000 09 0000"_hex);
  OldStyleEngine engine;
  const int codes[] = {1,  2,  3,  4,  5,  6,  7,  8,   9,   10,    11,         12,
                       13, 14, 15, 16, 17, 18, 19, 255, 256, 65536, 0x7FFFFFFF, -1};
  for (const int code : codes) {
    SCOPED_TRACE(code);
    engine.checked = code;
    TRELRequest message("");
    ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
    message.addProperty(property);
    LogCapture log;
    int index = 99;
    EXPECT_EQ(message.checkTlvs(index, &engine), code);
    EXPECT_EQ(index, 0);
    const std::string text = code >= 0 && code < 18 ? texts[code] : "unknown";
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (checkTlvs) - " + text + " in OID 0"});
  }
  delete property;
}

TEST(ReadingMessage, CheckOfAPropertyOfNoObjectThatIsNotOldStyleCountsAsNotOverridden) {
  PlainProperty property(1);
  const ExactBlock datagram("4F544E31 01 02 0001 | 00000001 03 0001 07"_hex);
  OldStyleEngine engine;
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(&property);
  int index = 99;
  EXPECT_EQ(message.checkTlvs(index, nullptr), 0);
  EXPECT_EQ(message.checkTlvs(index, &engine), 5);
  EXPECT_EQ(index, 0);
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  EXPECT_FALSE(message.deserializeTlvs(nullptr));
  EXPECT_TRUE(engine.calls.empty());
  EXPECT_TRUE(property.received.empty());
}

TEST(ReadingMessage, OldStylePropertyThatAnObjectOwnsIsTheObjects) {
  Calls calls;
  WatchedScalar scalar("own", 1, calls);
  OldStyleProperty* const property = oldStyle("00800005 09 0003 616263"_hex);
  property->id = 5;
  ASSERT_TRUE(scalar.addProp(property, 0));
  OldStyleEngine engine;
  const ExactBlock datagram("4F544E31 01 02 0001 | 00800005 09 0002 7879"_hex);
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(property);
  int index = 99;
  EXPECT_EQ(message.checkTlvs(index, &engine), 0);
  EXPECT_TRUE(message.deserializeTlvs(&engine));
  EXPECT_TRUE(engine.calls.empty());
  std::string text;
  property->get(&text);
  EXPECT_EQ(text, "xy");
  EXPECT_EQ(calls.size(), 1U);
}

TEST(ReadingMessage, ApplyStoresEveryValueBeforeTheFirstUpdatedIsCalled) {
  Calls calls;
  WatchedScalar one("one", 1, calls);
  WatchedScalar two("two", 2, calls);
  auto* a = number(5);
  auto* b = number(6);
  auto* readOnly = number(7, IFC_CARD_VAR_READ_ONLY);
  ASSERT_TRUE(one.addProp(a, 0));
  ASSERT_TRUE(two.addProp(b, 0));
  ASSERT_TRUE(one.addProp(readOnly, 0));
  one.seen = two.seen = [&] { return std::to_string(a->value) + "," + std::to_string(b->value); };
  one.accepts = false;
  a->row = 12;  // the property's row is what the hook gets
  LogCapture log;
  TRELRequest message("");
  const ExactBlock datagram(
      "4F544E31 01 02 0001 | 00800005 01 0004 00000001 | 01000006 01 0004 00000002 | 00800007 01 0004 00000003 | "
      "01000006 01 0004 00000004"_hex);
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(a);
  message.addProperty(b);
  message.addProperty(readOnly);
  message.addProperty(b);
  EXPECT_FALSE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(calls, (Calls{"one 5/12 1,4", "two 6/0 1,4", "one 7/0 1,4", "two 6/0 1,4"}));
  EXPECT_EQ(readOnly->value, 3U);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelmsg (deserializeTlvs) - one: Property number updated call failed",
                                "7 [DEBUG2] trelmsg (deserializeTlvs) - two: Property number updated",
                                "3 [ERROR] trelmsg (deserializeTlvs) - one: Property number updated call failed",
                                "7 [DEBUG2] trelmsg (deserializeTlvs) - two: Property number updated"}));
  calls.clear();
  log.clear();
  log.setLevel(7);
  one.accepts = true;
  EXPECT_TRUE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(calls.size(), 4U);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ReadingMessage, ApplyOfAnObjectWithoutTheHookLeavesTheLineToo) {
  TrelTable table("tab", 3, false, 8);
  auto* property = number(2);
  ASSERT_TRUE(table.addProp(property, 7));
  LogCapture log;
  TRELResponse message("");
  const ExactBlock datagram("4F544E31 01 03 0001 00 0000 | 40C08007 01 0004 0000002A"_hex);
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(property);
  EXPECT_TRUE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(property->value, 42U);
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - tab: Property number updated"});
  TRELRequest empty("");
  EXPECT_TRUE(empty.deserializeTlvs(nullptr));
}

TEST(ReadingMessage, ApplyGoesOnByWhatThePropertyConsumed) {
  TrelScalar scalar("s", 1, false);
  auto* first = new PlainProperty(1);
  auto* second = new PlainProperty(2);
  ASSERT_TRUE(scalar.addProp(first, 0));
  ASSERT_TRUE(scalar.addProp(second, 0));
  first->consumed = 10;
  TRELAmi message("");
  const ExactBlock datagram(
      "4F544E31 01 05 0001 00000000 00000000 | 00800001 03 0001 07 FFFF | 00800002 03 0001 07"_hex);
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(first);
  message.addProperty(second);
  EXPECT_TRUE(message.deserializeTlvs(nullptr));
  ASSERT_EQ(first->received.size(), 1U);
  ASSERT_EQ(second->received.size(), 1U);
  EXPECT_EQ(first->received[0], datagram.data() + 16);
  EXPECT_EQ(second->received[0], datagram.data() + 26);
  // A step beyond the datagram ends the walk.
  first->consumed = 30000;
  EXPECT_FALSE(message.deserializeTlvs(nullptr));
  first->consumed = -1000;
  EXPECT_FALSE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(second->received.size(), 1U);
}

TEST(ReadingMessage, ApplyHandsOldStyleToTheEngineAndStopsWhereItRefuses) {
  Calls calls;
  WatchedScalar scalar("s", 1, calls);
  auto* before = number(5);
  auto* after = number(6);
  ASSERT_TRUE(scalar.addProp(before, 0));
  ASSERT_TRUE(scalar.addProp(after, 0));
  OldStyleProperty* const middle = oldStyle("00000063 09 0003 616263"_hex);
  const ExactBlock datagram(
      "4F544E31 01 02 0001 | 00800005 01 0004 00000001 | 00000063 09 0003 616263 | 00800006 01 0004 00000002"_hex);
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(before);
  message.addProperty(middle);
  message.addProperty(after);

  RecordingEngine plain;
  EXPECT_FALSE(message.deserializeTlvs(&plain));
  EXPECT_EQ(before->value, 1U);
  EXPECT_EQ(after->value, 0U);
  EXPECT_TRUE(calls.empty());
  before->value = 0;
  EXPECT_FALSE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(before->value, 1U);

  OldStyleEngine engine;
  engine.handles = false;
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  EXPECT_EQ(engine.calls, (Calls{"handle 99 write"}));
  EXPECT_EQ(after->value, 0U);
  EXPECT_TRUE(calls.empty());

  engine.handles = true;
  EXPECT_TRUE(message.deserializeTlvs(&engine));
  EXPECT_EQ(after->value, 2U);
  EXPECT_EQ(calls, (Calls{"s 5/0 ", "s 6/0 "}));

  // The walk goes on at the length that the hook left: one byte less, and the next TLV is read one byte too early, with a
  // length that leads out of the datagram.
  engine.onHandle = [](OldStyleProperty& property) { property.set(std::string("ab")); };
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  // A longer one leads out of the datagram.
  engine.onHandle = [](OldStyleProperty& property) { property.set(std::string("abcd")); };
  after->value = 77;
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  EXPECT_EQ(after->value, 77U);
  engine.onHandle = [](OldStyleProperty& property) { property.set(std::string(40000, 'x')); };
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  EXPECT_EQ(after->value, 77U);
  delete middle;
}

TEST(ReadingMessage, ApplyReadsTheNextTlvWhereTheHooksLengthLeads) {
  TrelScalar scalar("s", 1, false);
  auto* after = number(6);
  ASSERT_TRUE(scalar.addProp(after, 0));
  OldStyleProperty* const first = oldStyle("00000063 09 0003 616263"_hex);
  // Two bytes stand between the value and the TLV that follows it.
  const ExactBlock datagram("4F544E31 01 02 0001 | 00000063 09 0003 616263 FFFF | 00800006 01 0004 00000002"_hex);
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(first);
  message.addProperty(after);
  OldStyleEngine engine;
  engine.onHandle = [](OldStyleProperty& property) { property.set(std::string("abcde")); };
  EXPECT_TRUE(message.deserializeTlvs(&engine));
  EXPECT_EQ(after->value, 2U);
  engine.onHandle = [](OldStyleProperty& property) { property.set(std::string("abc")); };
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  delete first;
}

TEST(ReadingMessage, LengthsInTheWalkAreSixteenBitsWithoutASign) {
  Calls calls;
  WatchedScalar scalar("s", 1, calls);
  auto* text = new StringProperty(5, "text", IFC_CARD_VAR_READ_WRITE, std::string());
  auto* after = number(6);
  ASSERT_TRUE(scalar.addProp(text, 0));
  ASSERT_TRUE(scalar.addProp(after, 0));
  OldStyleProperty* const old = oldStyle("00000063 0C FFFF"_hex + std::string(65535, 'o'));
  const ExactBlock datagram("4F544E31 01 02 0001 | 00800005 09 8001"_hex + std::string(32769, 't') +
                            "00000063 0C FFFF"_hex + std::string(65535, 'o') + "00800006 01 0004 00000002"_hex);
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(text);
  message.addProperty(old);
  message.addProperty(after);
  OldStyleEngine engine;
  int index = 99;
  EXPECT_EQ(message.checkTlvs(index, &engine), 0);
  EXPECT_EQ(index, 99);
  EXPECT_TRUE(message.deserializeTlvs(&engine));
  EXPECT_EQ(after->value, 2U);
  std::string value;
  text->get(&value);
  EXPECT_EQ(value, std::string(32769, 't'));
  EXPECT_EQ(calls.size(), 2U);
  TRELRequest answer("");
  answer.addProperty(text);
  answer.addProperty(old);
  EXPECT_EQ(answer.sizeOfTlvs(), 32769 + 65535 + 14);
  delete old;
}

TEST(ReadingMessage, TlvsStartAtTheHeaderLengthOfTheMessage) {
  TrelScalar scalar("s", 1, false);
  auto* property = number(5);
  ASSERT_TRUE(scalar.addProp(property, 0));
  TRELAmi ami("");
  const ExactBlock datagram("4F544E31 01 05 0001 01020304 05060708 | 00800005 01 0004 00000007"_hex);
  ASSERT_EQ(ami.deserialize(datagram.data(), datagram.length()), 0);
  ami.action = 2;
  ami.addProperty(property);
  int index = 99;
  EXPECT_EQ(ami.checkTlvs(index, nullptr), 0);
  EXPECT_TRUE(ami.deserializeTlvs(nullptr));
  EXPECT_EQ(property->value, 7U);
  ami.headerLen = 18;
  ExactBlock out(29, 0xA5);
  EXPECT_TRUE(ami.serialize(out.data(), 29));
  EXPECT_EQ(asText(out.view()), asText("4F544E31 01 02 0001 01020304 05060708 A5A5 | 00800005 01 0004 00000007"_hex));
}

TEST(ReadingMessage, HooksThatOnlyCallTheirBaseAreOverriddenAndAnswerAsTheBase) {
  class ForwardingEngine : public RecordingEngine {
   public:
    bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
      ++handled;
      return RecordingEngine::handleTrelMsgOld(property, isWrite);
    }
    int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
      ++checks;
      return RecordingEngine::checkTlvOld(property, isWrite);
    }
    int handled = 0;
    mutable int checks = 0;
  };
  class QuietEngine : public ForwardingEngine {};
  QuietEngine engine;
  OldStyleProperty* const old = oldStyle("00000063 09 0000"_hex);
  const ExactBlock datagram("4F544E31 01 02 0001 | 00000063 09 0000"_hex);
  TRELRequest message("");
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(old);
  int index = 99;
  EXPECT_EQ(message.checkTlvs(index, &engine), 5);
  EXPECT_EQ(index, 0);
  EXPECT_FALSE(message.deserializeTlvs(&engine));
  EXPECT_EQ(engine.checks, 1);
  EXPECT_EQ(engine.handled, 1);
  delete old;
}

TEST(ReadingMessage, KindsAddTheirMembersAndTheVirtualSlotsLieInOrder) {
  const TRELResponse response("");
  const TRELAmi ami("");
  EXPECT_LT(reinterpret_cast<const char*>(&response.sender), reinterpret_cast<const char*>(&response.result));
  EXPECT_LT(reinterpret_cast<const char*>(&response.result), reinterpret_cast<const char*>(&response.errorTlvIndex));
  EXPECT_LT(reinterpret_cast<const char*>(&ami.timeSec), reinterpret_cast<const char*>(&ami.timeUsec));
  EXPECT_EQ(sizeof(response.result), 4U);
  static_assert(std::is_same_v<std::underlying_type_t<TrelResult>, int>);
  static_assert(std::is_same_v<decltype(&TRELMessage::checkTlvs), int (TRELMessage::*)(int&, TrelProtocolBase*) const>);
  static_assert(std::is_same_v<decltype(&TRELMessage::deserializeTlvs), bool (TRELMessage::*)(TrelProtocolBase*)>);
  static_assert(std::is_same_v<decltype(&TRELMessage::serialize), bool (TRELMessage::*)(char*, int) const>);
  static_assert(std::is_same_v<decltype(&TRELMessage::countTlvs), int (TRELMessage::*)(int) const>);
  EXPECT_EQ(sizeof(TRELRequest), sizeof(TRELMessage));
  // A pointer to a virtual member holds the slot's offset in its first word, on some machines with the lowest bit set.
  const auto slot = [](auto member) {
    std::ptrdiff_t word = 0;
    std::memcpy(&word, &member, sizeof(word));
    return (word & ~std::ptrdiff_t{1}) / static_cast<std::ptrdiff_t>(sizeof(void*));
  };
  EXPECT_EQ(slot(&TRELMessage::serializeSpecific), 2);
  EXPECT_EQ(slot(&TRELMessage::deserializeSpecific), 3);
}

TEST(ReadingMessage, NamesAreArgumentsOfALineNeverItsFormat) {
  TrelScalar scalar("%s%n", 1, false);
  auto* property = new TypeProperty<unsigned int>(5, "%d%s", IFC_CARD_VAR_READ_WRITE, 0U);
  ASSERT_TRUE(scalar.addProp(property, 0));
  TRELRequest message("");
  const ExactBlock datagram("4F544E31 01 02 0001 | 00800005 01 0004 00000001"_hex);
  ASSERT_EQ(message.deserialize(datagram.data(), datagram.length()), 0);
  message.addProperty(property);
  LogCapture log(8);
  EXPECT_TRUE(message.deserializeTlvs(nullptr));
  EXPECT_EQ(log.brief(), Lines{"7 [DEBUG2] trelmsg (deserializeTlvs) - %s%n: Property %d%s updated"});
}

TEST(ReadingMessage, MessagesMayLieAtAnyAddress) {
  TrelScalar scalar("s", 1, false);
  auto* property = new TypeProperty<unsigned long long>(5, "wide", IFC_CARD_VAR_READ_WRITE, 0ULL);
  ASSERT_TRUE(scalar.addProp(property, 0));
  const std::string bytes = "4F544E31 01 05 8001 01020304 05060708 | 00800005 00 0008 8102030405060708"_hex;
  for (std::size_t shift = 0; shift < 8; ++shift) {
    SCOPED_TRACE(shift);
    const ExactBlock in(std::string(shift, '-') + bytes);
    TRELAmi ami("");
    ASSERT_EQ(ami.deserialize(in.data() + shift, static_cast<int>(bytes.size())), 0);
    ami.addProperty(property);
    int index = 99;
    property->value = 0;
    ami.action = 2;
    EXPECT_EQ(ami.checkTlvs(index, nullptr), 0);
    EXPECT_TRUE(ami.deserializeTlvs(nullptr));
    EXPECT_EQ(property->value, 0x8102030405060708ULL);
    EXPECT_EQ(ami.timeUsec, 0x05060708U);
    ami.action = 5;
    ExactBlock out(shift + bytes.size(), 0xA5);
    EXPECT_TRUE(ami.serialize(out.data() + shift, static_cast<int>(bytes.size())));
    EXPECT_EQ(asText(out.view().substr(shift)), asText(bytes));
    TRELTlv tlv;
    EXPECT_EQ(tlv.deserialize(in.data() + shift + 16), 15);
    EXPECT_EQ(tlv.getValueAsUInt64(), 0x8102030405060708ULL);
  }
}

TEST(ReadingMessage, DestructionLeavesThePropertiesAlone) {
  PlainProperty property(1);
  {
    TRELRequest message("1.2.3.4");
    message.addProperty(&property);
  }
  TRELMessage* const message = new TRELAmi("");
  message->addProperty(&property);
  delete message;
  EXPECT_EQ(property.id, 1U);
}
