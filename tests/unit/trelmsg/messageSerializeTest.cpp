// A message on its way out: header, TLVs in list order, the bytes of its kind.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "messageTestSupport.h"
#include "support/fakeProperty.h"

namespace {

using Lines = std::vector<std::string>;

// Serializes into a block of exactly headerLen + sizeOfTlvs() bytes.
std::string datagramOf(const TRELMessage& message) {
  LogCapture log;
  ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
  EXPECT_TRUE(message.serialize(block.data(), block.length()));
  EXPECT_EQ(log.brief(), Lines{});
  return asDatagram(block.view());
}

// A kind of its own: eight bytes of header, and a hook that answers what a test wants.
class HookedMessage : public TRELMessage {
 public:
  HookedMessage() : TRELMessage("", TREL_KIND_REQUEST, 8) {}
  int serializeSpecific(char* buf, int len) const override {
    hookBuffer = buf;
    hookLength = len;
    seen = asText(std::string_view(buf, static_cast<std::size_t>(len)));
    return hookResult;
  }
  int hookResult = 1;
  mutable char* hookBuffer = nullptr;
  mutable int hookLength = 0;
  mutable std::string seen;  // what had been written when the hook was asked
};

}  // namespace

TEST(MessageSerialize, ARequestWithoutPropertiesIsItsHeader) {
  TRELRequest message("10.0.0.1");
  message.action = 1;
  message.msgId = 0xF107;
  EXPECT_EQ(message.sizeOfTlvs(), 0);
  EXPECT_EQ(datagramOf(message), "4F544E31 01 01 F107");
}

TEST(MessageSerialize, AResponseCarriesResultAndIndex) {
  TRELResponse message("10.0.0.1");
  message.action = 4;
  message.msgId = 7;
  message.result = RESULT_CANNOT_EXEC;
  message.errorTlvIndex = 3;
  EXPECT_EQ(datagramOf(message), "4F544E31 01 04 0007 0C 0003");
}

TEST(MessageSerialize, AnAmiCarriesItsTime) {
  TRELAmi message("10.0.0.1");
  message.action = 5;
  message.msgId = 7;
  message.timeSec = 0x01020304U;
  message.timeUsec = 500000;
  EXPECT_EQ(datagramOf(message), "4F544E31 01 05 0007 01020304 0007A120");
}

TEST(MessageSerialize, WritesTheHeaderFieldsAsTheyAre) {
  TRELRequest message("");
  message.magicNbr = 0xDEADBEEFU;
  message.protVersion = 9;
  message.action = 200;
  message.msgId = 0x0102;
  ExactBlock block(8);
  EXPECT_TRUE(message.serialize(block.data(), 8));
  EXPECT_EQ(asText(block.view()), "DE AD BE EF 09 C8 01 02");
}

TEST(MessageSerialize, WritesTheTlvsInListOrderRightBehindTheHeader) {
  FakeProperty first("10800005 01 0004 0000002A"_hex);
  FakeProperty empty("10800006 09 0000"_hex);
  FakeProperty third("10800007 09 0003 616263"_hex);
  TRELRequest request("");
  request.action = 2;
  request.msgId = 7;
  TRELResponse response("");
  response.action = 3;
  response.msgId = 7;
  TRELAmi ami("");
  ami.action = 5;
  ami.msgId = 7;
  for (TRELMessage* message :
       {static_cast<TRELMessage*>(&request), static_cast<TRELMessage*>(&response), static_cast<TRELMessage*>(&ami)}) {
    message->addProperty(&third);
    message->addProperty(&first);
    message->addProperty(&empty);
  }
  EXPECT_EQ(datagramOf(request),
            "4F544E31 01 02 0007 | 10800007 09 0003 616263 | 10800005 01 0004 0000002A | 10800006 09 0000");
  EXPECT_EQ(datagramOf(response),
            "4F544E31 01 03 0007 00 0000 | 10800007 09 0003 616263 | 10800005 01 0004 0000002A | 10800006 09 0000");
  EXPECT_EQ(datagramOf(ami),
            "4F544E31 01 05 0007 00000000 00000000 | 10800007 09 0003 616263 | 10800005 01 0004 0000002A | 10800006 09 "
            "0000");
}

TEST(MessageSerialize, WritesTheValuesThatRealPropertiesHaveNow) {
  TrelScalar scalar("scalar", 1, true);
  auto* number = new TypeProperty<unsigned int>(5, "number", IFC_CARD_VAR_READ_WRITE, 1);
  ASSERT_TRUE(scalar.addProp(number, 0));
  TRELRequest message("");
  message.action = 2;
  message.msgId = 7;
  message.addProperty(number);
  number->set(42U);
  EXPECT_EQ(datagramOf(message), "4F544E31 01 02 0007 | 10800005 01 0004 0000002A");
}

TEST(MessageSerialize, GivesEachPropertyThePlaceBehindTheFormerOneAndTheSpaceThatIsLeft) {
  FakeProperty first("10800005 01 0004 0000002A"_hex);
  FakeProperty second("10800006 09 0003 616263"_hex);
  TRELResponse message("");
  message.addProperty(&first);
  message.addProperty(&second);
  ExactBlock block(100);
  ASSERT_TRUE(message.serialize(block.data(), block.length()));
  ASSERT_EQ(first.serializedTo.size(), 1U);
  EXPECT_EQ(first.serializedTo[0].start, block.data() + 11);
  EXPECT_EQ(first.serializedTo[0].size, 89);
  ASSERT_EQ(second.serializedTo.size(), 1U);
  EXPECT_EQ(second.serializedTo[0].start, block.data() + 22);
  EXPECT_EQ(second.serializedTo[0].size, 78);
}

TEST(MessageSerialize, LeavesWhatIsBehindTheMessage) {
  FakeProperty property("10800005 03 0001 2A"_hex);
  TRELRequest message("");
  message.action = 1;
  message.addProperty(&property);
  ExactBlock block(18);
  EXPECT_TRUE(message.serialize(block.data(), block.length()));
  EXPECT_EQ(asText(block.view()), "4F 54 4E 31 01 01 00 00 10 80 00 05 03 00 01 2A A5 A5");
}

TEST(MessageSerialize, SucceedsInABufferOfExactlyItsSize) {
  FakeProperty property("10800005 03 0001 2A"_hex);
  TRELRequest request("");
  request.addProperty(&property);
  ExactBlock forRequest(16);
  EXPECT_TRUE(request.serialize(forRequest.data(), 16));
  TRELResponse response("");
  response.addProperty(&property);
  ExactBlock forResponse(19);
  EXPECT_TRUE(response.serialize(forResponse.data(), 19));
  TRELAmi ami("");
  ami.addProperty(&property);
  ExactBlock forAmi(24);
  EXPECT_TRUE(ami.serialize(forAmi.data(), 24));
}

TEST(MessageSerialize, FailsInABufferOneByteShorterWithoutWriting) {
  LogCapture log;
  FakeProperty property("10800005 03 0001 2A"_hex);
  TRELResponse message("");
  message.addProperty(&property);
  ExactBlock block(18);
  EXPECT_FALSE(message.serialize(block.data(), 18));
  EXPECT_EQ(block.view(), std::string(18, '\xA5'));
  EXPECT_TRUE(property.serializedTo.empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (serialize) - trying to serialize in a too small buffer!"});
}

TEST(MessageSerialize, FailsInABufferShorterThanItsHeader) {
  LogCapture log;
  ExactBlock block(7);
  EXPECT_FALSE(TRELRequest("").serialize(block.data(), 7));
  EXPECT_FALSE(TRELRequest("").serialize(block.data(), 0));
  EXPECT_FALSE(TRELRequest("").serialize(block.data(), -1));
  EXPECT_FALSE(TRELRequest("").serialize(block.data(), INT_MIN));
  EXPECT_EQ(block.view(), std::string(7, '\xA5'));
  EXPECT_EQ(log.brief(), Lines(4, "3 [ERROR] trelmsg (serialize) - trying to serialize in a too small buffer!"));
}

TEST(MessageSerialize, FailsWhenAPropertyFindsNoSpace) {
  LogCapture log;
  FakeProperty refusing("10800005 03 0001 2A"_hex);
  refusing.serializeResult = -1;
  FakeProperty next("10800006 03 0001 2B"_hex);
  TRELRequest message("");
  message.addProperty(&refusing);
  message.addProperty(&next);
  ExactBlock block(24);
  EXPECT_FALSE(message.serialize(block.data(), block.length()));
  EXPECT_EQ(refusing.serializedTo.size(), 1U);
  EXPECT_TRUE(next.serializedTo.empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (serialize) - buffer got to small!"});
}

TEST(MessageSerialize, FailsWhenAPropertyReturnsAnotherLengthThanItAnnounced) {
  const int results[] = {0, 7, 9, 100, -2, INT_MAX};
  for (const int result : results) {
    SCOPED_TRACE(result);
    LogCapture log;
    FakeProperty lying("10800005 03 0001 2A"_hex);
    lying.serializeResult = result;
    FakeProperty next("10800006 03 0001 2B"_hex);
    TRELRequest message("");
    message.addProperty(&lying);
    message.addProperty(&next);
    ExactBlock block(24);
    EXPECT_FALSE(message.serialize(block.data(), block.length()));
    EXPECT_TRUE(next.serializedTo.empty());
    EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (serialize) - serialize return wrong length!"});
  }
}

TEST(MessageSerialize, FailsAtTheFirstPropertyThatFails) {
  LogCapture log;
  FakeProperty good("10800005 03 0001 2A"_hex);
  FakeProperty lying("10800006 03 0001 2B"_hex);
  lying.serializeResult = 7;
  FakeProperty refusing("10800007 03 0001 2C"_hex);
  refusing.serializeResult = -1;
  TRELRequest message("");
  message.addProperty(&good);
  message.addProperty(&lying);
  message.addProperty(&refusing);
  ExactBlock block(32);
  EXPECT_FALSE(message.serialize(block.data(), block.length()));
  EXPECT_EQ(good.serializedTo.size(), 1U);
  EXPECT_EQ(lying.serializedTo.size(), 1U);
  EXPECT_TRUE(refusing.serializedTo.empty());
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (serialize) - serialize return wrong length!"});
}

// An application's fault, and no reason to leave the buffer.
TEST(MessageSerialize, APropertyThatTakesBytesBackIsFollowed) {
  FakeProperty back("10800005 03 0001 2A"_hex);
  back.announcedLength = -9;
  back.serializeResult = -2;
  FakeProperty next("10800006 03 0001 2B"_hex);
  TRELResponse message("");
  message.action = TREL_ACTION_READ_RESPONSE;
  message.addProperty(&back);
  message.addProperty(&next);
  ExactBlock block(24);
  EXPECT_TRUE(message.serialize(block.data(), block.length()));
  EXPECT_EQ(next.serializedTo.at(0).start, block.data() + 11 - 2);
  EXPECT_EQ(next.serializedTo.at(0).size, 24 - 11 + 2);
}

TEST(MessageSerialize, LinesAppearAboveLevelTwoWithTheirFormats) {
  FakeProperty refusing("10800005 03 0001 2A"_hex);
  refusing.serializeResult = -1;
  FakeProperty lying("10800005 03 0001 2A"_hex);
  lying.serializeResult = 7;
  TRELRequest tooLong("");
  tooLong.addProperty(&lying);
  TRELRequest refused("");
  refused.addProperty(&refusing);
  TRELRequest lied("");
  lied.addProperty(&lying);
  ExactBlock block(16);
  LogCapture log(2);
  EXPECT_FALSE(tooLong.serialize(block.data(), 15));
  EXPECT_FALSE(refused.serialize(block.data(), 16));
  EXPECT_FALSE(lied.serialize(block.data(), 16));
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);
  EXPECT_FALSE(tooLong.serialize(block.data(), 15));
  EXPECT_FALSE(refused.serialize(block.data(), 16));
  EXPECT_FALSE(lied.serialize(block.data(), 16));
  ASSERT_EQ(log.lines().size(), 3U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - trying to serialize in a too small buffer!");
  EXPECT_EQ(log.lines()[1].format, "[ERROR] %s:%d (%s) - buffer got to small!");
  EXPECT_EQ(log.lines()[2].format, "[ERROR] %s:%d (%s) - serialize return wrong length!");
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.file, "components/trel/trelmsg.cpp");
    EXPECT_EQ(line.priority, 3);
  }
}

TEST(MessageSerialize, AsksTheHookOfItsKindAfterTheTlvs) {
  FakeProperty property("10800005 03 0001 2A"_hex);
  HookedMessage message;
  message.addProperty(&property);
  ExactBlock block(16);
  EXPECT_TRUE(message.serialize(block.data(), 16));
  EXPECT_EQ(message.hookBuffer, block.data());
  EXPECT_EQ(message.hookLength, 16);
  EXPECT_EQ(message.seen, "4F 54 4E 31 01 00 00 00 10 80 00 05 03 00 01 2A");
}

TEST(MessageSerialize, ReturnsWhatTheHookOfItsKindReturns) {
  HookedMessage message;
  ExactBlock block(8);
  message.hookResult = 0;
  EXPECT_FALSE(message.serialize(block.data(), 8));
  message.hookResult = 2;
  EXPECT_TRUE(message.serialize(block.data(), 8));
}

TEST(MessageSerialize, DoesNotAskTheHookAfterAFailure) {
  FakeProperty refusing("10800005 03 0001 2A"_hex);
  refusing.serializeResult = -1;
  HookedMessage message;
  message.addProperty(&refusing);
  ExactBlock block(16);
  EXPECT_FALSE(message.serialize(block.data(), 16));
  EXPECT_FALSE(message.serialize(block.data(), 15));
  EXPECT_EQ(message.hookBuffer, nullptr);
}

TEST(MessageSerialize, APlainMessageHasItsTlvsAtTheVeryStart) {
  // It has no header length: a message of no kind is for reading headers. What it writes first is overwritten.
  FakeProperty property("10800005 09 0003 616263"_hex);
  TRELMessage message("");
  message.addProperty(&property);
  ExactBlock block(10);
  EXPECT_TRUE(message.serialize(block.data(), 10));
  EXPECT_EQ(asText(block.view()), "10 80 00 05 09 00 03 61 62 63");
}

TEST(MessageSerialize, APlainMessageIsNotWrittenIntoLessThanTheCommonHeader) {
  ExactBlock block(7);
  EXPECT_FALSE(TRELMessage("").serialize(block.data(), 7));
  EXPECT_FALSE(TRELMessage("").serialize(block.data(), 0));
  EXPECT_EQ(block.view(), std::string(7, '\xA5'));
}

TEST(MessageSerialize, BringsBackWhatWasReceived) {
  const ExactBlock received("4F544E31 01 03 0007 11 F102"_hex);
  TRELResponse message("");
  EXPECT_EQ(message.deserialize(received.data(), received.length()), 0);
  EXPECT_EQ(datagramOf(message), "4F544E31 01 03 0007 11 F102");
}
