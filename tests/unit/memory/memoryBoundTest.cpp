// What a peer can make the engine keep: after any number of datagrams it is bounded, and the bound has a number.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <memory>
#include <string>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "trel/trelProtocolBase.h"

namespace {

// The number that the documents state, for each engine.
constexpr std::size_t STATED_BOUND = sizeof(void*) == 8 ? 2U << 20 : 3U << 19;
// What the longest datagram that UDP could carry has room for.
constexpr std::size_t LONGEST_DATAGRAM = 65535;
// The C library counts the few freed blocks that it holds ready for the next caller as in use.
constexpr std::size_t FREE_BLOCKS_OF_THE_HEAP = 4096;

std::size_t heapInUse() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// Answers into a buffer of its own, so that whatever grows is the engine's.
class Card : public TrelProtocolBase {
 public:
  Card() {
    scalar.addProp(new TypeProperty<unsigned int>(5, "temperature", IFC_CARD_VAR_READ_WRITE, 42), 0);
    registerObject(&scalar);
  }
  int sendMsg(TRELMessage& message) override {
    answered += message.msgKind == TREL_KIND_RESPONSE ? 1 : 0;
    return message.serialize(buffer, sizeof buffer) ? 1 : 0;
  }
  bool amiMessageHandler(std::vector<TrelProperty*>) override { return true; }
  void receive(const ExactBlock& datagram) {
    handleTrelMsg(static_cast<int>(datagram.size()), datagram.data(), "10.0.0.1");
  }

  TrelScalar scalar{"scalar", 1, true};
  char buffer[1200] = {};
  int answered = 0;
};

// A card that knows old-style variables: it takes all of a request and refuses the last, or all.
class OldStyleCard : public Card {
 public:
  int checkTlvOld(OldStyleProperty*, bool) const override { return RESULT_OK; }
  bool handleTrelMsgOld(OldStyleProperty*, bool) override { return accepts; }
  bool accepts = true;
};

// As many of this TLV behind this header as fit in the longest datagram.
std::string filledWith(const std::string& header, const std::string& tlv) {
  std::string datagram = header;
  while (datagram.size() + tlv.size() <= LONGEST_DATAGRAM)
    datagram += tlv;
  return datagram;
}

// The datagrams that make the engine keep most: each kind, with as many variables as there can be.
std::vector<std::string> greediestDatagrams() {
  const std::string readHeader = "4F544E31 01 01 0007"_hex;
  const std::string writeHeader = "4F544E31 01 02 0007"_hex;
  const std::string responseHeader = "4F544E31 01 03 0007 00 0000"_hex;
  const std::string amiHeader = "4F544E31 01 05 0007 00000000 00000000"_hex;
  const std::string known = "10800005 01 0000"_hex;
  const std::string knownWithValue = "10800005 01 0004 0000002B"_hex;
  const std::string unknown = "02000001 09 0000"_hex;
  const std::string unknownWithValue = "02000001 09 0019 30313233343536373839303132333435363738393031323334"_hex;
  return {filledWith(readHeader, known),
          filledWith(readHeader, unknown),
          filledWith(readHeader, unknownWithValue),
          filledWith(writeHeader, knownWithValue),
          filledWith(writeHeader, unknown),
          filledWith(writeHeader, unknownWithValue),
          filledWith(readHeader, unknown) + "02"_hex,  // refused for its end, after all the others
          filledWith(readHeader, known + unknown),
          filledWith(responseHeader, knownWithValue),
          filledWith(amiHeader, knownWithValue)};
}

}  // namespace

TEST(MemoryBound, TheLongestDatagramNamesAtMost9361Variables) {
  const std::string longest = filledWith("4F544E31 01 01 0007"_hex, "02000001 09 0000"_hex);
  EXPECT_EQ((longest.size() - 8) / 7, 9361U);
}

TEST(MemoryBound, WhatAnyNumberOfDatagramsLeavesBehindStaysBelowTheStatedFigure) {
  // The blocks live as long as the test, so that what they take is not counted.
  std::vector<std::unique_ptr<ExactBlock>> datagrams;
  for (const std::string& bytes : greediestDatagrams())
    datagrams.push_back(std::make_unique<ExactBlock>(bytes));
  OldStyleCard card;
  const std::size_t before = heapInUse();
  std::size_t most = before;
  for (int round = 0; round < 4; ++round) {
    for (const bool accepts : {true, false}) {
      card.accepts = accepts;
      for (const auto& datagram : datagrams) {
        card.receive(*datagram);
        most = std::max(most, heapInUse());
      }
    }
  }
  EXPECT_GT(card.answered, 0);
  EXPECT_LT(most - before, STATED_BOUND);
  RecordProperty("bytes", std::to_string(most - before));
}

TEST(MemoryBound, ARefusedRequestOfUnknownVariablesKeepsTheMostAndTheNextOneKeepsNoMore) {
  Card card;  // without the old-style hooks, so every unknown variable is refused
  const ExactBlock refused(filledWith("4F544E31 01 01 0007"_hex, "02000001 09 0000"_hex));
  const std::size_t before = heapInUse();
  card.receive(refused);
  card.receive(refused);
  const std::size_t kept = heapInUse() - before;
  EXPECT_GT(kept, std::size_t{9361} * 100);  // the properties are alive: this is what the figure is about
  EXPECT_LT(kept, STATED_BOUND);
  for (int i = 0; i < 10; ++i)
    card.receive(refused);
  EXPECT_LT(heapInUse() - before, kept + FREE_BLOCKS_OF_THE_HEAP);

  card.receive(ExactBlock("4F544E31 01 01 0007 | 02000001 09 0000"_hex));
  EXPECT_LT(heapInUse() - before, kept / 4);  // the next refused request has taken their place
  EXPECT_EQ(card.answered, 13);
}
