// The reply to a real request: the transport fills replyBuffer with the input.
//
// Input: one byte of flags, then the reply.
//   bits 0 to 4  the first of the three variables that are asked for
//   bit 5        the header is made that of a good answer to a read
//   bit 6        a write instead of a read       bit 7  no hooks for unknown OIDs

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/datagramMutator.h"
#include "support/fuzzCard.h"
#include "support/fuzzInput.h"
#include "support/promise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned int flags = input.u8();
  const bool write = (flags & 64U) != 0;
  CardBehaviour behaviour;
  behaviour.servesOldStyle = (flags & 128U) == 0;
  std::string reply = input.rest();
  if ((flags & 32U) != 0) {
    reply.resize(std::max<std::size_t>(reply.size(), 11));
    reply.replace(0, 11, "4F544E31 01 03 0001 00 0000"_hex);
  }

  const std::unique_ptr<FuzzCard> card = makeCard(behaviour);
  CardModel model(behaviour);
  std::vector<TrelProperty*> asked;
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < 3; ++i) {
    places.push_back(((flags & 31U) + i) % card->properties().size());
    asked.push_back(card->properties()[places.back()]);
  }
  card->onRequest = [&reply](std::string& buffer) {
    buffer = reply;
    return true;
  };

  const std::string request = "4F544E31 01"_hex + bigEndian(write ? 2 : 1, 1) + bigEndian(1, 2) + model.tlvs(places);
  const Handled handled = card->run([&] { return write ? card->writePropertys(asked) : card->readPropertys(asked); });
  PROMISE(card->requests == std::deque<std::string>{request}, "a client operation sends one request");
  mustBe(handled, model.handle(reply));
  PROMISE(card->snapshot() == model.snapshot(), "a reply stores what the rules say");
  PROMISE(card->replyBuffer == reply, "a reply is not cleared");
  card->mustAnswerTheNextRead();
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  return mutateDatagram({data, size, maxSize, seed}, 1);
}
