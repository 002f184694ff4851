// What the kinds of messages add to the header, and where classes keep their members and operations.

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "messageTestSupport.h"
#include "support/classLayout.h"

TEST(RequestHook, WritesNothingAndReturnsOne) {
  const TRELRequest message("");
  ExactBlock block(8);
  EXPECT_EQ(message.serializeSpecific(block.data(), 8), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5");
}

TEST(RequestHook, ReadsNothingAndReturnsZero) {
  TRELRequest message("");
  EXPECT_EQ(message.deserializeSpecific(nullptr, 0), 0);
}

TEST(PlainMessageHook, WritesNothingAndReturnsOne) {
  const TRELMessage message("");
  ExactBlock block(8);
  EXPECT_EQ(message.serializeSpecific(block.data(), 8), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5");
}

TEST(PlainMessageHook, ReadsNothingAndReturnsZero) {
  TRELMessage message("");
  EXPECT_EQ(message.deserializeSpecific(nullptr, 0), 0);
}

TEST(ResponseHook, WritesResultAndIndexBehindTheCommonHeader) {
  TRELResponse message("");
  message.result = RESULT_CANNOT_EXEC;
  message.errorTlvIndex = 3;
  ExactBlock block(12);
  EXPECT_EQ(message.serializeSpecific(block.data(), 11), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 0C 00 03 A5");
}

TEST(ResponseHook, WritesTheIndexBigEndian) {
  TRELResponse message("");
  message.errorTlvIndex = 0xF102;
  ExactBlock block(11);
  EXPECT_EQ(message.serializeSpecific(block.data(), 11), 1);
  EXPECT_EQ(asText(block.view().substr(8)), "00 F1 02");
}

TEST(ResponseHook, WritesTheLowByteOfAnyResult) {
  TRELResponse message("");
  message.result = static_cast<TrelResult>(17);
  ExactBlock block(11);
  message.serializeSpecific(block.data(), 11);
  EXPECT_EQ(asText(block.view().substr(8)), "11 00 00");
  message.result = static_cast<TrelResult>(0x1FE);
  message.serializeSpecific(block.data(), 11);
  EXPECT_EQ(asText(block.view().substr(8)), "FE 00 00");
}

TEST(ResponseHook, ReadsResultAndIndexBack) {
  TRELResponse message("");
  const ExactBlock block("4F544E31 01 03 0007 0C F102"_hex);
  EXPECT_EQ(message.deserializeSpecific(block.data(), block.length()), 0);
  EXPECT_EQ(message.result, RESULT_CANNOT_EXEC);
  EXPECT_EQ(message.errorTlvIndex, 0xF102U);
}

TEST(ResponseHook, HoldsAnyResultThatArrivesUnsigned) {
  TRELResponse message("");
  const ExactBlock block("4F544E31 01 03 0007 FF 0000"_hex);
  EXPECT_EQ(message.deserialize(block.data(), block.length()), 0);
  EXPECT_EQ(static_cast<int>(message.result), 255);
}

TEST(AmiHook, WritesSecondsAndMicrosecondsBehindTheCommonHeader) {
  TRELAmi message("");
  message.timeSec = 0x01020304U;
  message.timeUsec = 500000;
  ExactBlock block(17);
  EXPECT_EQ(message.serializeSpecific(block.data(), 16), 1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 01 02 03 04 00 07 A1 20 A5");
}

TEST(AmiHook, ReadsSecondsAndMicrosecondsBack) {
  TRELAmi message("");
  const ExactBlock block("4F544E31 01 05 0007 F1020304 0007A120"_hex);
  EXPECT_EQ(message.deserializeSpecific(block.data(), block.length()), 0);
  EXPECT_EQ(message.timeSec, 0xF1020304U);
  EXPECT_EQ(message.timeUsec, 500000U);
}

TEST(KindHooks, AreReachedThroughTheCommonBase) {
  TRELResponse response("");
  TRELMessage& message = response;
  const ExactBlock block("4F544E31 01 03 0007 0C 0003"_hex);
  EXPECT_EQ(message.deserialize(block.data(), block.length()), 0);
  EXPECT_EQ(response.result, RESULT_CANNOT_EXEC);
  EXPECT_EQ(response.errorTlvIndex, 3U);
}

TEST(MessageLayout, MembersOfAMessageLieInTheirOrder) {
  const TRELMessage message("");
  MemberPlaces expected(sizeof(void*));  // behind the reference to the virtual table
  EXPECT_EQ(placeIn(message, message.msgKind), expected.next<unsigned int>());
  EXPECT_EQ(placeIn(message, message.headerLen), expected.next<int>());
  EXPECT_EQ(placeIn(message, message.buffer), expected.next<const char*>());
  EXPECT_EQ(placeIn(message, message.bufferLen), expected.next<int>());
  EXPECT_EQ(placeIn(message, message.properties), expected.next<std::vector<TrelProperty*>>());
  EXPECT_EQ(placeIn(message, message.magicNbr), expected.next<unsigned int>());
  EXPECT_EQ(placeIn(message, message.protVersion), expected.next<unsigned char>());
  EXPECT_EQ(placeIn(message, message.action), expected.next<unsigned char>());
  EXPECT_EQ(placeIn(message, message.msgId), expected.next<unsigned short>());
  EXPECT_EQ(placeIn(message, message.sender), expected.next<std::string>());
  EXPECT_EQ(sizeof(TRELMessage), expected.sizeOf(alignof(TRELMessage)));
}

TEST(MessageLayout, PlacesOfAMessageOn64And32Bit) {
  const TRELMessage message("");
  const bool is64Bit = sizeof(void*) == 8;
  EXPECT_EQ(placeIn(message, message.msgKind), is64Bit ? 8U : 4U);
  EXPECT_EQ(placeIn(message, message.headerLen), is64Bit ? 12U : 8U);
  EXPECT_EQ(placeIn(message, message.buffer), is64Bit ? 16U : 12U);
  EXPECT_EQ(placeIn(message, message.bufferLen), is64Bit ? 24U : 16U);
  EXPECT_EQ(placeIn(message, message.properties), is64Bit ? 32U : 20U);
  EXPECT_EQ(placeIn(message, message.magicNbr), is64Bit ? 56U : 32U);
  EXPECT_EQ(placeIn(message, message.protVersion), is64Bit ? 60U : 36U);
  EXPECT_EQ(placeIn(message, message.action), is64Bit ? 61U : 37U);
  EXPECT_EQ(placeIn(message, message.msgId), is64Bit ? 62U : 38U);
  EXPECT_EQ(placeIn(message, message.sender), is64Bit ? 64U : 40U);
}

TEST(MessageLayout, ARequestAddsNothing) { EXPECT_EQ(sizeof(TRELRequest), sizeof(TRELMessage)); }

TEST(MessageLayout, AResponseAddsResultAndIndexBehindTheMessage) {
  const TRELResponse response("");
  MemberPlaces expected(sizeof(TRELMessage));
  EXPECT_EQ(placeIn(response, response.result), expected.next<TrelResult>());
  EXPECT_EQ(placeIn(response, response.errorTlvIndex), expected.next<unsigned short>());
  EXPECT_EQ(sizeof(TRELResponse), expected.sizeOf(alignof(TRELMessage)));
}

TEST(MessageLayout, AnAmiAddsSecondsAndMicrosecondsBehindTheMessage) {
  const TRELAmi ami("");
  MemberPlaces expected(sizeof(TRELMessage));
  EXPECT_EQ(placeIn(ami, ami.timeSec), expected.next<unsigned int>());
  EXPECT_EQ(placeIn(ami, ami.timeUsec), expected.next<unsigned int>());
  EXPECT_EQ(sizeof(TRELAmi), expected.sizeOf(alignof(TRELMessage)));
}

TEST(MessageLayout, MembersHaveTheirWidths) {
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::msgKind), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::headerLen), int>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::buffer), const char*>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::bufferLen), int>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::properties), std::vector<TrelProperty*>>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::magicNbr), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::protVersion), unsigned char>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::action), unsigned char>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::msgId), unsigned short>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELMessage::sender), std::string>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELResponse::result), TrelResult>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELResponse::errorTlvIndex), unsigned short>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELAmi::timeSec), unsigned int>));
  EXPECT_TRUE((std::is_same_v<decltype(TRELAmi::timeUsec), unsigned int>));
}

namespace {

// Adds one virtual operation: its slot is the first one behind those of the kind.
template <typename Kind>
class OneMore : public Kind {
 public:
  using Kind::Kind;
  virtual void oneMore() {}
};

// Slots 0 and 1 are the destructor's.
template <typename Kind>
void expectSlots() {
  EXPECT_TRUE(std::has_virtual_destructor_v<Kind>);
  EXPECT_EQ(virtualSlot(&Kind::serializeSpecific), 2U);
  EXPECT_EQ(virtualSlot(&Kind::deserializeSpecific), 3U);
  EXPECT_EQ(virtualSlot(&OneMore<Kind>::oneMore), 4U);
}

}  // namespace

TEST(MessageSlots, AreDestructorSerializeSpecificDeserializeSpecificInEveryKind) {
  expectSlots<TRELMessage>();
  expectSlots<TRELRequest>();
  expectSlots<TRELResponse>();
  expectSlots<TRELAmi>();
}

TEST(MessageSlots, TheFirstTwoBelongToTheDestructor) {
  class Counted : public TRELMessage {
   public:
    explicit Counted(int& count) : TRELMessage(""), count_(count) {}
    ~Counted() override { ++count_; }

   private:
    int& count_;
  };
  int destroyed = 0;
  auto* deleted = new Counted(destroyed);
  callSlot(deleted, 1);
  EXPECT_EQ(destroyed, 1);
  void* const place = ::operator new(sizeof(Counted));
  auto* destroyedInPlace = new (place) Counted(destroyed);
  callSlot(destroyedInPlace, 0);
  EXPECT_EQ(destroyed, 2);
  ::operator delete(place);
}
