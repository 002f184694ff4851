// What a client operation sends: the request of each operation, its limits and its trace lines.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/logSelection.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

using Number = TypeProperty<unsigned int>;
using Flag = TypeProperty<bool>;

// Good answers to any request.
const std::string GOOD_READ = "4F544E31 01 03 0001 00 0000"_hex;
const std::string GOOD_WRITE = "4F544E31 01 04 0001 00 0000"_hex;

// An application with a common scalar of group 1 and a table 3 of two rows.
struct Client {
  Client() {
    // Not in the order of their ids: a row lists its properties by id.
    chassis.addProp(counter, 0);
    chassis.addProp(label, 0);
    chassis.addProp(flag, 0);
    for (unsigned int row = 0; row < 2; ++row) {
      sensors.addProp(new TypeProperty<unsigned short>(2, "high", IFC_CARD_VAR_READ_WRITE, 0x0203), row);
      sensors.addProp(new TypeProperty<signed char>(1, "low", IFC_CARD_VAR_READ_WRITE, -1), row);
    }
    engine.registerObject(&chassis);
    engine.registerObject(&sensors);
    engine.reply = [](std::string_view request) { return request[5] == 1 ? GOOD_READ : GOOD_WRITE; };
  }

  TrelScalar chassis{"chassis", 1, true};
  TrelTable sensors{"sensors", 3, false, 2};
  Number* counter = new Number(9, "counter", IFC_CARD_VAR_READ_WRITE, 42U);
  StringProperty* label = new StringProperty(2, "label", IFC_CARD_VAR_READ_ONLY, "ab");
  Flag* flag = new Flag(5, "flag", IFC_CARD_VAR_READ_WRITE, true);
  RecordingEngine engine;
};

// One of the eight operations, on the client's objects.
struct Operation {
  const char* name;
  std::function<int(Client&)> call;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"readObject", [](Client& c) { return c.engine.readObject(c.chassis); }},
      {"readObjects",
       [](Client& c) {
         return c.engine.readObjects({&c.sensors, &c.chassis});
       }},
      {"readProperty", [](Client& c) { return c.engine.readProperty(*c.counter); }},
      {"readPropertys",
       [](Client& c) {
         return c.engine.readPropertys({c.counter, c.label});
       }},
      {"writeObject", [](Client& c) { return c.engine.writeObject(c.chassis); }},
      {"writeObjects",
       [](Client& c) {
         return c.engine.writeObjects({&c.sensors, &c.chassis});
       }},
      {"writeProperty", [](Client& c) { return c.engine.writeProperty(*c.counter); }},
      {"writePropertys",
       [](Client& c) {
         return c.engine.writePropertys({c.counter, c.label});
       }},
  };
  return all;
}

// As many properties as asked for, of one table column each row.
struct ManyProperties {
  explicit ManyProperties(unsigned int count) : table("many", 7, false, count) {
    for (unsigned int row = 0; row < count; ++row)
      table.addProp(new TypeProperty<unsigned char>(1, "p", IFC_CARD_VAR_READ_WRITE, 0), row);
  }
  TrelTable table;
};

Lines refusalLines(const std::string& count) {
  return {
      "3 [ERROR] trelProtocolBase (sendRequest) - invalid nr of tlvs [" + count + "] should be lower then 150",
      "3 [ERROR] trelProtocolBase (sendRequest) - Message is dropped, enable debug lvl 1 to see objects dropped !!!"};
}

}  // namespace

// ----- what each operation sends -----

TEST(ClientRequest, ReadObjectAsksForEveryPropertyOfTheObjectInItsOrder) {
  Client client;
  EXPECT_EQ(client.engine.readObject(client.chassis), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 10800002 09 0002 6162 | 10800005 08 0001 01 | "
                                            "10800009 01 0004 0000002A"});
}

TEST(ClientRequest, ReadObjectOfATableGoesRowByRow) {
  Client client;
  EXPECT_EQ(client.engine.readObject(client.sensors), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 40C04000 07 0001 FF | 40C08000 02 0002 0203 | "
                                            "40C04001 07 0001 FF | 40C08001 02 0002 0203"});
}

TEST(ClientRequest, ReadObjectsTakesTheObjectsInVectorOrder) {
  Client client;
  EXPECT_EQ(client.engine.readObjects({&client.sensors, &client.chassis}), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 40C04000 07 0001 FF | 40C08000 02 0002 0203 | "
                                            "40C04001 07 0001 FF | 40C08001 02 0002 0203 | 10800002 09 0002 6162 | "
                                            "10800005 08 0001 01 | 10800009 01 0004 0000002A"});
}

TEST(ClientRequest, ReadPropertyAsksForTheOne) {
  Client client;
  EXPECT_EQ(client.engine.readProperty(*client.counter), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 10800009 01 0004 0000002A"});
}

TEST(ClientRequest, ReadPropertysKeepsTheOrderOfTheVectorAndItsRepetitions) {
  Client client;
  EXPECT_EQ(client.engine.readPropertys({client.counter, client.flag, client.counter}), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 10800009 01 0004 0000002A | 10800005 08 0001 01 | "
                                            "10800009 01 0004 0000002A"});
}

TEST(ClientRequest, WriteObjectSendsEveryPropertyOfTheObjectInItsOrder) {
  Client client;
  EXPECT_EQ(client.engine.writeObject(client.chassis), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800002 09 0002 6162 | 10800005 08 0001 01 | "
                                            "10800009 01 0004 0000002A"});
}

TEST(ClientRequest, WriteObjectsTakesTheObjectsInVectorOrder) {
  Client client;
  EXPECT_EQ(client.engine.writeObjects({&client.chassis, &client.sensors}), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800002 09 0002 6162 | 10800005 08 0001 01 | "
                                            "10800009 01 0004 0000002A | 40C04000 07 0001 FF | 40C08000 02 0002 0203 | "
                                            "40C04001 07 0001 FF | 40C08001 02 0002 0203"});
}

TEST(ClientRequest, WritePropertySendsTheOneWithItsCurrentValue) {
  Client client;
  client.counter->set(0x01020304U);
  EXPECT_EQ(client.engine.writeProperty(*client.counter), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800009 01 0004 01020304"});
}

TEST(ClientRequest, WritePropertysKeepsTheOrderOfTheVector) {
  Client client;
  EXPECT_EQ(client.engine.writePropertys({client.flag, client.counter}), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800005 08 0001 01 | 10800009 01 0004 0000002A"});
}

TEST(ClientRequest, AReadSendsTheWholeTlvsWithTheLocalValuesLikeAWrite) {
  Client client;
  client.counter->set(7U);
  client.engine.readProperty(*client.counter);
  client.engine.writeProperty(*client.counter);
  EXPECT_EQ(client.engine.sent(), (Datagrams{"4F544E31 01 01 0001 | 10800009 01 0004 00000007",
                                             "4F544E31 01 02 0002 | 10800009 01 0004 00000007"}));
}

TEST(ClientRequest, AReadOnlyPropertyIsSentInAWriteAsWellTheRefusalIsThePeersBusiness) {
  Client client;
  EXPECT_EQ(client.engine.writeProperty(*client.label), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800002 09 0002 6162"});
}

TEST(ClientRequest, APropertyOutsideAnyObjectIsAskedForByItsBareId) {
  Client client;
  Number loose(0x10800009, "loose", IFC_CARD_VAR_READ_WRITE, 1U);
  EXPECT_EQ(client.engine.readProperty(loose), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 01 0001 | 10800009 01 0004 00000001"});
}

TEST(ClientRequest, AnObjectNeedNotBeRegisteredToBeSent) {
  Client client;
  TrelScalar other("other", 2, false);
  other.addProp(new Number(3, "x", IFC_CARD_VAR_READ_WRITE, 5U), 0);
  EXPECT_EQ(client.engine.writeObject(other), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 01000003 01 0004 00000005"});
}

TEST(ClientRequest, TheRequestIsARequestWithoutASender) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    Client client;
    operation.call(client);
    ASSERT_EQ(client.engine.messages.size(), 1U);
    EXPECT_EQ(client.engine.messages[0].kind, 0U);
    EXPECT_EQ(client.engine.messages[0].sender, "");
    EXPECT_TRUE(client.engine.messages[0].whole);
  }
}

// ----- numbering -----

TEST(ClientRequest, EveryRequestTakesTheNextMessageId) {
  Client client;
  for (const Operation& operation : operations())
    operation.call(client);
  ASSERT_EQ(client.engine.messages.size(), 8U);
  for (std::size_t i = 0; i < 8; ++i) {
    SCOPED_TRACE(operations()[i].name);
    EXPECT_EQ(asText(client.engine.messages[i].bytes.substr(6, 2)), "00 0" + std::to_string(i + 1));
  }
}

TEST(ClientRequest, AnOverriddenNumberingIsHonoured) {
  class Renumbered : public RecordingEngine {
   public:
    unsigned short getNewMessageId() override { return 0xBEEF; }
  };
  Renumbered engine;
  Number loose(5, "loose", IFC_CARD_VAR_READ_WRITE, 1U);
  engine.readProperty(loose);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 01 BEEF | 00000005 01 0004 00000001"});
  EXPECT_EQ(engine.messageIdCounter, 0);
}

TEST(ClientRequest, SendRequestSetsActionAndMessageIdOfTheCallersRequest) {
  Client client;
  TRELRequest request("10.0.0.9");
  request.action = 5;
  request.msgId = 0x7777;
  request.addProperty(client.counter);
  EXPECT_EQ(client.engine.sendRequest(2, request), 1);
  EXPECT_EQ(client.engine.sent(), Datagrams{"4F544E31 01 02 0001 | 10800009 01 0004 0000002A"});
  EXPECT_EQ(request.action, 2);
  EXPECT_EQ(request.msgId, 1);
  EXPECT_EQ(request.properties, std::vector<TrelProperty*>{client.counter});
}

// ----- limits -----

TEST(ClientRequest, ReadPropertysOf151SendsNothingAndReturns0) {
  Client client;
  ManyProperties many(151);
  LogCapture log(3);
  EXPECT_EQ(client.engine.readPropertys(many.table.getProperties()), 0);
  EXPECT_TRUE(client.engine.messages.empty());
  EXPECT_EQ(log.brief(), refusalLines("151"));
}

TEST(ClientRequest, ReadPropertysOf150SendsOneRequestAlthoughTheTextSaysLowerThen150) {
  Client client;
  ManyProperties many(150);
  LogCapture log(3);
  EXPECT_EQ(client.engine.readPropertys(many.table.getProperties()), 1);
  ASSERT_EQ(client.engine.messages.size(), 1U);
  EXPECT_EQ(client.engine.messages[0].bytes.size(), 1208U);  // 8 and 150 times 8
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientRequest, The150AreCountedOverAllObjectsOfAList) {
  Client client;
  ManyProperties many(144);
  EXPECT_EQ(client.engine.readObjects({&many.table, &client.chassis, &client.chassis}), 1);  // 144 + 3 + 3
  EXPECT_EQ(client.engine.messages.size(), 1U);
  client.engine.forget();
  LogCapture log(3);
  EXPECT_EQ(client.engine.writeObjects({&many.table, &client.sensors, &client.chassis}), 0);  // 144 + 4 + 3
  EXPECT_EQ(client.engine.messages.size(), 0U);
  EXPECT_EQ(log.brief(), refusalLines("151"));
}

TEST(ClientRequest, ARequestMayBeLongerThanTheLimitOfAnAnswer) {
  Client client;
  TrelTable wide("wide", 7, false, 150);
  for (unsigned int row = 0; row < 150; ++row)
    wide.addProp(new TypeProperty<unsigned long long>(1, "p", IFC_CARD_VAR_READ_WRITE, 0), row);
  EXPECT_EQ(client.engine.writeObject(wide), 1);
  ASSERT_EQ(client.engine.messages.size(), 1U);
  EXPECT_EQ(client.engine.messages[0].bytes.size(), 2258U);  // 8 and 150 times 15
}

TEST(ClientRequest, EveryOperationWithMoreThan150PropertiesIsRefusedAndTakesNoMessageId) {
  ManyProperties many(151);
  const std::vector<TrelProperty*> list = many.table.getProperties();
  const std::vector<Operation> refused = {
      {"readObject", [&](Client& c) { return c.engine.readObject(many.table); }},
      {"readObjects", [&](Client& c) { return c.engine.readObjects({&many.table}); }},
      {"readPropertys", [&](Client& c) { return c.engine.readPropertys(list); }},
      {"writeObject", [&](Client& c) { return c.engine.writeObject(many.table); }},
      {"writeObjects", [&](Client& c) { return c.engine.writeObjects({&many.table}); }},
      {"writePropertys", [&](Client& c) { return c.engine.writePropertys(list); }},
  };
  for (const Operation& operation : refused) {
    SCOPED_TRACE(operation.name);
    Client client;
    LogCapture log(3);
    EXPECT_EQ(operation.call(client), 0);
    EXPECT_EQ(log.brief(), refusalLines("151"));
    EXPECT_TRUE(client.engine.messages.empty());
    EXPECT_EQ(client.engine.messageIdCounter, 0);
  }
}

TEST(ClientRequest, ReadObjectOfAnObjectWithoutPropertiesSendsNothingAndReturns0) {
  Client client;
  TrelScalar empty("empty", 2, false);
  LogCapture log(3);
  EXPECT_EQ(client.engine.readObject(empty), 0);
  EXPECT_TRUE(client.engine.messages.empty());
  EXPECT_EQ(log.brief(), refusalLines("0"));
}

TEST(ClientRequest, EveryOperationWithNothingToAskIsRefusedAndTakesNoMessageId) {
  TrelScalar empty("empty", 2, false);
  TrelTable norows("norows", 2, false, 0);
  const std::vector<Operation> refused = {
      {"readObject", [&](Client& c) { return c.engine.readObject(norows); }},
      {"readObjects, no object", [](Client& c) { return c.engine.readObjects({}); }},
      {"readObjects, empty objects",
       [&](Client& c) {
         return c.engine.readObjects({&empty, &norows});
       }},
      {"readPropertys", [](Client& c) { return c.engine.readPropertys({}); }},
      {"writeObject", [&](Client& c) { return c.engine.writeObject(empty); }},
      {"writeObjects, no object", [](Client& c) { return c.engine.writeObjects({}); }},
      {"writeObjects, empty objects",
       [&](Client& c) {
         return c.engine.writeObjects({&empty, &norows});
       }},
      {"writePropertys", [](Client& c) { return c.engine.writePropertys({}); }},
      {"sendRequest",
       [](Client& c) {
         TRELRequest request("");
         return c.engine.sendRequest(1, request);
       }},
  };
  for (const Operation& operation : refused) {
    SCOPED_TRACE(operation.name);
    Client client;
    client.engine.replyBuffer = GOOD_READ;  // an old reply is not taken for an answer
    LogCapture log(3);
    EXPECT_EQ(operation.call(client), 0);
    EXPECT_EQ(log.brief(), refusalLines("0"));
    EXPECT_TRUE(client.engine.messages.empty());
    EXPECT_EQ(client.engine.messageIdCounter, 0);
  }
}

TEST(ClientRequest, ARefusalIsSilentAtTheThresholdOfErrors) {
  Client client;
  LogCapture log(2);
  EXPECT_EQ(client.engine.readPropertys({}), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(ClientRequest, ARefusedRequestIsNotCountedInTheTrace) {
  Client client;
  LogCapture log;
  client.engine.readPropertys({});
  EXPECT_EQ(linesOf(log, "sendRequest"), refusalLines("0"));
}

// ----- the transport's word -----

TEST(ClientRequest, ATransportThatReports0EndsTheOperationWith0WithoutALine) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    Client client;
    client.engine.result = 0;  // its replyBuffer is filled all the same, and not looked at
    LogCapture log(7);
    EXPECT_EQ(operation.call(client), 0);
    EXPECT_EQ(client.engine.messages.size(), 1U);
    EXPECT_EQ(log.brief(), Lines{});
  }
}

TEST(ClientRequest, ARequestThatCouldNotBeSentHasTakenItsMessageId) {
  Client client;
  client.engine.result = 0;
  client.engine.readProperty(*client.counter);
  EXPECT_EQ(client.engine.messageIdCounter, 1);
}

TEST(ClientRequest, AnyOtherWordOfTheTransportIsSuccessAndTheResultIsThatOfTheReply) {
  for (const int word : {1, 2, 11, -1}) {
    SCOPED_TRACE(word);
    Client client;
    client.engine.result = word;
    EXPECT_EQ(client.engine.readProperty(*client.counter), 1);
    EXPECT_EQ(client.engine.writeProperty(*client.counter), 1);
    client.engine.reply = [](std::string_view) { return "4F544E31 01 04 0001 05 0000"_hex; };
    EXPECT_EQ(client.engine.writeProperty(*client.counter), 0);
  }
}

TEST(ClientRequest, EveryOperationReturnsTheResultOfItsReply) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    Client client;
    EXPECT_EQ(operation.call(client), 1);
    client.engine.reply = [](std::string_view request) {
      return request[5] == 1 ? "4F544E31 01 03 0001 09 0000"_hex : "4F544E31 01 04 0001 09 0000"_hex;
    };
    EXPECT_EQ(operation.call(client), 0);
  }
}

// ----- trace lines -----

TEST(ClientRequest, EveryOperationButReadObjectsTracesWhatItIsAskedFor) {
  struct Case {
    const char* function;
    Lines lines;
  };
  const Case cases[] = {
      {"readObject", {"7 [DEBUG3] trelProtocolBase (readObject) - read object chassis"}},
      {"readObjects", {}},
      {"readProperty", {"7 [DEBUG3] trelProtocolBase (readProperty) - reading property counter"}},
      {"readPropertys",
       {"7 [DEBUG3] trelProtocolBase (readPropertys) - reading list of propertys with length 2",
        "7 [DEBUG3] trelProtocolBase (readPropertys) - reading list of propertys adding counter",
        "7 [DEBUG3] trelProtocolBase (readPropertys) - reading list of propertys adding label"}},
      {"writeObject", {"7 [DEBUG3] trelProtocolBase (writeObject) - writing object chassis"}},
      {"writeObjects", {"7 [DEBUG3] trelProtocolBase (writeObjects) - writing list of objects with length 2"}},
      {"writeProperty", {"7 [DEBUG3] trelProtocolBase (writeProperty) - writing property counter"}},
      {"writePropertys",
       {"7 [DEBUG3] trelProtocolBase (writePropertys) - writing list of propertys with length 2",
        "7 [DEBUG3] trelProtocolBase (writePropertys) - writing list of propertys adding counter",
        "7 [DEBUG3] trelProtocolBase (writePropertys) - writing list of propertys adding label"}},
  };
  for (std::size_t i = 0; i < operations().size(); ++i) {
    SCOPED_TRACE(cases[i].function);
    Client client;
    LogCapture log(9);
    operations()[i].call(client);
    EXPECT_EQ(linesOf(log, cases[i].function), cases[i].lines);
  }
}

TEST(ClientRequest, TheOperationsTracesAreOfTheThirdDebugGrade) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    Client client;
    LogCapture log(8);
    operation.call(client);
    EXPECT_EQ(linesOf(log, operation.name), Lines{});
    EXPECT_EQ(linesOf(log, "sendRequest"), Lines{});
  }
}

TEST(ClientRequest, TheNumberOfTlvsIsTracedAfterTheOperationsOwnLine) {
  Client client;
  LogCapture log(9);
  client.engine.readObject(client.chassis);
  const Lines lines = log.brief();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[0], "7 [DEBUG3] trelProtocolBase (readObject) - read object chassis");
  EXPECT_EQ(lines[1], "7 [DEBUG3] trelProtocolBase (sendRequest) - Number of tlvs = 3");
}

TEST(ClientRequest, TheTracesOfAnOperationComeFromTheEnginesOwnSource) {
  Client client;
  LogCapture log(9);
  client.engine.readObject(client.chassis);
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0].file, "components/trel/trelProtocolBase.cpp");
  EXPECT_GT(log.lines()[0].line, 0);
  EXPECT_EQ(log.lines()[0].format, "[DEBUG3] %s:%d (%s) - read object %s");
}
