// The header of a message: its start values, and what a received one is refused for.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "messageTestSupport.h"
#include "support/fakeProperty.h"

namespace {

using Lines = std::vector<std::string>;

void expectFresh(const TRELMessage& message, unsigned int kind, int headerLen) {
  EXPECT_EQ(message.msgKind, kind);
  EXPECT_EQ(message.headerLen, headerLen);
  EXPECT_EQ(message.buffer, nullptr);
  EXPECT_EQ(message.bufferLen, 0);
  EXPECT_TRUE(message.properties.empty());
  EXPECT_EQ(message.magicNbr, 0x4F544E31U);
  EXPECT_EQ(message.protVersion, 1U);
  EXPECT_EQ(message.action, 0U);
  EXPECT_EQ(message.msgId, 0U);
  EXPECT_EQ(message.sender, "10.0.0.1");
}

int deserialized(TRELMessage& message, const std::string& bytes) {
  const ExactBlock block(bytes);
  return message.deserialize(block.data(), block.length());
}

int resultOf(const std::string& bytes) {
  TRELMessage message("");
  return deserialized(message, bytes);
}

// A kind of its own, whose hook answers what a test wants.
class HookedMessage : public TRELMessage {
 public:
  HookedMessage() : TRELMessage("") {}
  int deserializeSpecific(const char* buf, int len) override {
    ++calls;
    hookBuffer = buf;
    hookLength = len;
    return hookResult;
  }
  int hookResult = 0;
  int calls = 0;
  const char* hookBuffer = nullptr;
  int hookLength = 0;
};

}  // namespace

TEST(MessageConstruction, APlainMessageHasNoKindAndNoHeaderLength) { expectFresh(TRELMessage("10.0.0.1"), 0, 0); }
TEST(MessageConstruction, ARequestHasKindZeroAndEightBytesOfHeader) { expectFresh(TRELRequest("10.0.0.1"), 0, 8); }
TEST(MessageConstruction, AResponseHasKindOneAndElevenBytesOfHeader) {
  const TRELResponse response("10.0.0.1");
  expectFresh(response, 1, 11);
  EXPECT_EQ(response.result, RESULT_OK);
  EXPECT_EQ(response.errorTlvIndex, 0U);
}
TEST(MessageConstruction, AnAmiHasKindTwoAndSixteenBytesOfHeader) {
  const TRELAmi ami("10.0.0.1");
  expectFresh(ami, 2, 16);
  EXPECT_EQ(ami.timeSec, 0U);
  EXPECT_EQ(ami.timeUsec, 0U);
}
TEST(MessageConstruction, TheSenderMayBeEmpty) {
  EXPECT_EQ(TRELMessage("").sender, "");
  EXPECT_EQ(TRELRequest("").sender, "");
  EXPECT_EQ(TRELResponse("").sender, "");
  EXPECT_EQ(TRELAmi("").sender, "");
}

TEST(MessageConstants, AreTheProtocolsNumbers) {
  EXPECT_EQ(TREL_MAGIC_NBR, 0x4F544E31U);
  EXPECT_EQ(TREL_PROT_VERSION, 1);
  EXPECT_EQ(TREL_ACTION_READ, 1);
  EXPECT_EQ(TREL_ACTION_WRITE, 2);
  EXPECT_EQ(TREL_ACTION_READ_RESPONSE, 3);
  EXPECT_EQ(TREL_ACTION_WRITE_RESPONSE, 4);
  EXPECT_EQ(TREL_ACTION_AMI, 5);
  EXPECT_EQ(TREL_HEADER_LEN, 8);
  EXPECT_EQ(TREL_RESPONSE_HEADER_LEN, 11);
  EXPECT_EQ(TREL_AMI_HEADER_LEN, 16);
  EXPECT_EQ(TREL_KIND_REQUEST, 0U);
  EXPECT_EQ(TREL_KIND_RESPONSE, 1U);
  EXPECT_EQ(TREL_KIND_AMI, 2U);
  EXPECT_EQ(TREL_MAX_READ_RESPONSE_LEN, 1200);
  EXPECT_EQ(TREL_MAX_REQUEST_TLVS, 150);
}

TEST(MessageConstants, ResultCodesAreTheProtocolsNumbers) {
  EXPECT_EQ(RESULT_OK, 0);
  EXPECT_EQ(RESULT_PROTOCOL_VERSION_MISMATCH, 1);
  EXPECT_EQ(RESULT_DUPLICATE_MSG, 2);
  EXPECT_EQ(RESULT_LOST_MSG, 3);
  EXPECT_EQ(RESULT_INVALID_ACTION, 4);
  EXPECT_EQ(RESULT_GENERAL_ERROR, 5);
  EXPECT_EQ(RESULT_WRONG_TYPE, 6);
  EXPECT_EQ(RESULT_WRONG_OID, 7);
  EXPECT_EQ(RESULT_WRONG_LEN, 8);
  EXPECT_EQ(RESULT_WRONG_VALUE, 9);
  EXPECT_EQ(RESULT_READ_ONLY, 10);
  EXPECT_EQ(RESULT_TOO_LONG, 11);
  EXPECT_EQ(RESULT_CANNOT_EXEC, 12);
  EXPECT_EQ(RESULT_WRONG_MAGIC, 13);
  EXPECT_EQ(RESULT_NOT_RECEIVED, 14);
  EXPECT_EQ(RESULT_NOT_SEND, 15);
  EXPECT_EQ(sizeof(TrelResult), 4U);
}

// --- the checks ---

TEST(MessageChecks, AFreshMessagePassesMagicNumberAndVersion) {
  LogCapture log;
  const TRELMessage message("");
  EXPECT_TRUE(message.checkMagicNbr());
  EXPECT_TRUE(message.checkProtVersion());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MessageChecks, AForeignMagicNumberIsWarnedOf) {
  LogCapture log;
  TRELMessage message("");
  message.magicNbr = 0x314E544FU;
  EXPECT_FALSE(message.checkMagicNbr());
  EXPECT_EQ(log.brief(),
            Lines{"4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)"});
}

TEST(MessageChecks, AMagicNumberMustBeRightInEveryByte) {
  const unsigned int wrong[] = {0x4E544E31U, 0x4F554E31U, 0x4F544F31U, 0x4F544E30U, 0x4F544E32U, 0U};
  for (const unsigned int magicNbr : wrong) {
    SCOPED_TRACE(magicNbr);
    TRELMessage message("");
    message.magicNbr = magicNbr;
    EXPECT_FALSE(message.checkMagicNbr());
  }
}

TEST(MessageChecks, EveryVersionButOneIsAnError) {
  LogCapture log;
  TRELMessage message("");
  message.protVersion = 2;
  EXPECT_FALSE(message.checkProtVersion());
  message.protVersion = 255;
  EXPECT_FALSE(message.checkProtVersion());
  message.protVersion = 0;
  EXPECT_FALSE(message.checkProtVersion());
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0x2 (should be 0x1)",
                                "3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0xff (should be 0x1)",
                                "3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0 (should be 0x1)"}));
}

TEST(MessageChecks, ActionsOneToFiveAreValid) {
  LogCapture log;
  TRELMessage message("");
  for (unsigned char action = 1; action <= 5; ++action) {
    SCOPED_TRACE(static_cast<int>(action));
    message.action = action;
    EXPECT_TRUE(message.checkAction());
  }
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MessageChecks, EveryOtherActionIsAnError) {
  LogCapture log;
  TRELMessage message("");
  EXPECT_FALSE(message.checkAction());
  message.action = 6;
  EXPECT_FALSE(message.checkAction());
  message.action = 255;
  EXPECT_FALSE(message.checkAction());
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelmsg (checkAction) - Invalid value 0 for action field",
                                "3 [ERROR] trelmsg (checkAction) - Invalid value 6 for action field",
                                "3 [ERROR] trelmsg (checkAction) - Invalid value 255 for action field"}));
}

TEST(MessageChecks, LinesAppearAboveTheirLevelsAndWithTheirFormats) {
  TRELMessage message("");
  message.magicNbr = 0;
  message.protVersion = 0;
  LogCapture log(2);
  EXPECT_FALSE(message.checkMagicNbr());
  EXPECT_FALSE(message.checkProtVersion());
  EXPECT_FALSE(message.checkAction());
  EXPECT_EQ(log.brief(), Lines{});
  log.setLevel(3);  // errors, no warnings yet
  EXPECT_FALSE(message.checkMagicNbr());
  EXPECT_FALSE(message.checkProtVersion());
  EXPECT_FALSE(message.checkAction());
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0 (should be 0x1)",
                                "3 [ERROR] trelmsg (checkAction) - Invalid value 0 for action field"}));
  log.setLevel(4);
  EXPECT_FALSE(message.checkMagicNbr());
  ASSERT_EQ(log.lines().size(), 3U);
  EXPECT_EQ(log.lines()[0].format, "[ERROR] %s:%d (%s) - Invalid protocol version %#x (should be %#x)");
  EXPECT_EQ(log.lines()[1].format, "[ERROR] %s:%d (%s) - Invalid value %d for action field");
  EXPECT_EQ(log.lines()[2].format, "[WARNING] %s:%d (%s) - Invalid magic nbr %#x (should be %#x)");
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.file, "components/trel/trelmsg.cpp");
  }
}

// --- deserialize ---

TEST(MessageDeserialize, TakesTheHeaderInHostOrder) {
  LogCapture log;
  const ExactBlock block("4F544E31 01 02 F107"_hex);
  TRELMessage message("10.0.0.1");
  EXPECT_EQ(message.deserialize(block.data(), block.length()), 0);
  EXPECT_EQ(message.magicNbr, 0x4F544E31U);
  EXPECT_EQ(message.protVersion, 1U);
  EXPECT_EQ(message.action, 2U);
  EXPECT_EQ(message.msgId, 0xF107U);
  EXPECT_EQ(message.buffer, block.data());
  EXPECT_EQ(message.bufferLen, 8);
  EXPECT_EQ(message.sender, "10.0.0.1");
  EXPECT_TRUE(message.properties.empty());
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MessageDeserialize, AcceptsEveryAction) {
  LogCapture log;
  EXPECT_EQ(resultOf("4F544E31 01 01 0007"_hex), 0);
  EXPECT_EQ(resultOf("4F544E31 01 02 0007"_hex), 0);
  EXPECT_EQ(resultOf("4F544E31 01 03 0007"_hex), 0);
  EXPECT_EQ(resultOf("4F544E31 01 04 0007"_hex), 0);
  EXPECT_EQ(resultOf("4F544E31 01 05 0007"_hex), 0);
  EXPECT_EQ(log.brief(), Lines{});
}

TEST(MessageDeserialize, AMagicNumberInTheOtherByteOrderIsWrong) {
  LogCapture log;
  EXPECT_EQ(resultOf("314E544F 01 01 0007"_hex), 13);
  EXPECT_EQ(log.brief(),
            Lines{"4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)"});
}

TEST(MessageDeserialize, AWrongMagicNumberHidesVersionAndAction) {
  LogCapture log;
  EXPECT_EQ(resultOf("314E544F 02 09 0007"_hex), 13);
  EXPECT_EQ(log.brief(),
            Lines{"4 [WARNING] trelmsg (checkMagicNbr) - Invalid magic nbr 0x314e544f (should be 0x4f544e31)"});
}

TEST(MessageDeserialize, AWrongVersionHidesTheAction) {
  LogCapture log;
  EXPECT_EQ(resultOf("4F544E31 02 09 0007"_hex), 1);
  EXPECT_EQ(log.brief(), Lines{"3 [ERROR] trelmsg (checkProtVersion) - Invalid protocol version 0x2 (should be 0x1)"});
}

TEST(MessageDeserialize, AWrongActionIsToldLast) {
  LogCapture log;
  EXPECT_EQ(resultOf("4F544E31 01 00 0007"_hex), 4);
  EXPECT_EQ(resultOf("4F544E31 01 06 0007"_hex), 4);
  EXPECT_EQ(log.brief(), (Lines{"3 [ERROR] trelmsg (checkAction) - Invalid value 0 for action field",
                                "3 [ERROR] trelmsg (checkAction) - Invalid value 6 for action field"}));
}

TEST(MessageDeserialize, SetsAllFieldsAlsoWhenItRefuses) {
  const ExactBlock block("DEADBEEF 07 09 1234 AB"_hex);
  TRELMessage message("");
  EXPECT_EQ(message.deserialize(block.data(), block.length()), 13);
  EXPECT_EQ(message.magicNbr, 0xDEADBEEFU);
  EXPECT_EQ(message.protVersion, 7U);
  EXPECT_EQ(message.action, 9U);
  EXPECT_EQ(message.msgId, 0x1234U);
  EXPECT_EQ(message.buffer, block.data());
  EXPECT_EQ(message.bufferLen, 9);
}

TEST(MessageDeserialize, DoesNotCompareTheLengthWithTheHeader) {
  const ExactBlock block("4F544E31 01 01 0007"_hex);
  TRELRequest message("");
  EXPECT_EQ(message.deserialize(block.data(), 0), 0);
  EXPECT_EQ(message.msgId, 7U);
  EXPECT_EQ(message.bufferLen, 0);
}

TEST(MessageDeserialize, DoesNotLookAtTheTlvs) {
  TRELRequest message("");
  EXPECT_EQ(deserialized(message, "4F544E31 01 01 0007 | FFFFFFFF FF FFFF"_hex), 0);
  EXPECT_TRUE(message.properties.empty());
}

TEST(MessageDeserialize, KeepsThePropertiesThatAreListed) {
  FakeProperty property("10800005 01 0000"_hex);
  TRELRequest message("");
  message.addProperty(&property);
  EXPECT_EQ(deserialized(message, "4F544E31 01 01 0007"_hex), 0);
  EXPECT_EQ(message.properties, std::vector<TrelProperty*>{&property});
}

TEST(MessageDeserialize, ReadsNoMoreThanTheHeaderOfItsKind) {
  TRELRequest request("");
  EXPECT_EQ(deserialized(request, "4F544E31 01 01 0007"_hex), 0);
  TRELResponse response("");
  EXPECT_EQ(deserialized(response, "4F544E31 01 03 0007 0C 0003"_hex), 0);
  TRELAmi ami("");
  EXPECT_EQ(deserialized(ami, "4F544E31 01 05 0007 01020304 0007A120"_hex), 0);
}

TEST(MessageDeserialize, AsksTheHookOfItsKindLastAndReturnsItsResult) {
  const ExactBlock block("4F544E31 01 01 0007 AB"_hex);
  HookedMessage message;
  message.hookResult = 12;
  EXPECT_EQ(message.deserialize(block.data(), block.length()), 12);
  EXPECT_EQ(message.calls, 1);
  EXPECT_EQ(message.hookBuffer, block.data());
  EXPECT_EQ(message.hookLength, 9);
}

TEST(MessageDeserialize, DoesNotAskTheHookAfterAHeaderError) {
  HookedMessage message;
  EXPECT_EQ(deserialized(message, "314E544F 01 01 0007"_hex), 13);
  EXPECT_EQ(deserialized(message, "4F544E31 02 01 0007"_hex), 1);
  EXPECT_EQ(deserialized(message, "4F544E31 01 06 0007"_hex), 4);
  EXPECT_EQ(message.calls, 0);
}

// --- the list of properties ---

TEST(MessageProperties, AreAppendedInOrderWithoutAnyCheck) {
  FakeProperty first("10800005 01 0000"_hex);
  FakeProperty second("10800006 01 0000"_hex);
  TRELRequest message("");
  EXPECT_TRUE(message.addProperty(&second));
  EXPECT_TRUE(message.addProperty(&first));
  EXPECT_TRUE(message.addProperty(nullptr));
  EXPECT_TRUE(message.addProperty(&first));
  EXPECT_EQ(message.properties, (std::vector<TrelProperty*>{&second, &first, nullptr, &first}));
}

TEST(MessageProperties, AreCountedWhateverTheArgument) {
  FakeProperty property("10800005 01 0000"_hex);
  TRELRequest message("");
  EXPECT_EQ(message.countTlvs(0), 0);
  EXPECT_EQ(message.countTlvs(7), 0);
  message.addProperty(&property);
  message.addProperty(nullptr);
  EXPECT_EQ(message.countTlvs(0), 2);
  EXPECT_EQ(message.countTlvs(-1), 2);
  EXPECT_EQ(message.countTlvs(INT_MAX), 2);
}

TEST(MessageProperties, MayBeMoreThanARequestMayCarry) {
  FakeProperty property("10800005 01 0000"_hex);
  TRELRequest message("");
  for (int i = 0; i < 200; ++i)
    EXPECT_TRUE(message.addProperty(&property));
  EXPECT_EQ(message.countTlvs(0), 200);
  EXPECT_EQ(message.sizeOfTlvs(), 1400);
}

TEST(MessageProperties, TakeTheirLengthAndSevenBytesEach) {
  FakeProperty none("10800005 09 0000"_hex);
  FakeProperty three("10800006 09 0003 616263"_hex);
  TRELRequest message("");
  EXPECT_EQ(message.sizeOfTlvs(), 0);
  message.addProperty(&none);
  EXPECT_EQ(message.sizeOfTlvs(), 7);
  message.addProperty(&three);
  EXPECT_EQ(message.sizeOfTlvs(), 17);
  three.announcedLength = 1000;
  EXPECT_EQ(message.sizeOfTlvs(), 1014);
}

TEST(MessageProperties, BelongToWhoMadeThem) {
  unsigned int deletions = 0;
  FakeProperty property("10800005 01 0000"_hex);
  property.deletions = &deletions;
  {
    TRELRequest message("");
    message.addProperty(&property);
  }
  EXPECT_EQ(deletions, 0U);
}
