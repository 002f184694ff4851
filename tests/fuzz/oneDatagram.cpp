// One datagram of any sender into a card of every property kind.
//
// Input: one byte of flags, then the datagram.
//   bits 0 to 2  sender            bit 5  the transport reports failure
//   bit 3        no answer to header errors     bit 6  every log line is written
//   bit 4        no hooks for unknown OIDs      bit 7  `updated` of 10800002 fails

#include <memory>
#include <optional>
#include <string>

#include "support/datagramMutator.h"
#include "support/fuzzCard.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

// What a card keeps between datagrams does not grow with their number. The old-style properties of a refused request carry a
// number in their name, which may get one digit longer.
void mustNotGrow(FuzzCard& card, std::string_view datagram, const char* sender) {
  card.receive(datagram, sender);
  const std::size_t before = heapInUse();
  card.receive(datagram, sender);
  PROMISE(heapInUse() <= before + 4 * (datagram.size() / 7), "memory does not grow with the number of datagrams");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned int flags = input.u8();
  const char* const sender = senderOf(flags & 7U);
  CardBehaviour behaviour;
  behaviour.answersHeaderErrors = (flags & 8U) == 0;
  behaviour.servesOldStyle = (flags & 16U) == 0;
  behaviour.sendResult = (flags & 32U) == 0 ? 1 : 0;
  const bool logs = (flags & 64U) != 0;
  behaviour.refusesUpdated = (flags & 128U) != 0;
  const std::string datagram = input.rest();

  const std::unique_ptr<FuzzCard> card = makeCard(behaviour);
  CardModel model(behaviour);
  {
    std::optional<LogCapture> log;
    if (logs) log.emplace();
    mustBe(card->receive(datagram, sender), model.handle(datagram));
  }
  PROMISE(card->snapshot() == model.snapshot(), "the values are what the rules say");
  card->mustAnswerTheNextRead();
  if (!logs) mustNotGrow(*card, datagram, sender);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  return mutateDatagram({data, size, maxSize, seed}, 1);
}
