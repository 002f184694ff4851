// Requests of many senders in any order: the mark of each follows from five contexts and the last id of each, modelled here.
//
//   input   requests: a byte that says who asks and how the id is made, the address's text, the id
//   the byte   0x80: the address is 10.0.0.1 to 10.0.0.8 by the low three bits, else a text of as many bytes as the low six
//              bits say follows; 0x40: the request comes as a datagram, else checkMsgId is called;
//              with 0x80, 0x18: 0x00 the id follows, 0x08 the last id again, 0x10 the next one, 0x18 the one before
//
// The contexts are those of the process and are never given back, so the model lives as long as the process: what an input
// finds depends on those that ran before it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/exactBlock.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"
#include "support/recordingEngine.h"
#include "support/valueOracle.h"
#include "trel/trelmsg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace oracle;

constexpr unsigned int NO_CONTEXT = 16;
constexpr unsigned int BAD_ADDRESS = 17;

// Four decimal numbers of 0 to 255 without leading zeros, with dots between.
bool isAddress(std::string_view text) {
  for (int number = 1; number <= 4; ++number) {
    const std::size_t end = number < 4 ? text.find('.') : text.size();
    if (end == std::string_view::npos || end == 0 || end > 3) return false;
    const std::string_view digits = text.substr(0, end);
    if (digits.find_first_not_of("0123456789") != std::string_view::npos) return false;
    if (digits.size() > 1 && digits[0] == '0') return false;
    if (std::stoi(std::string(digits)) > 255) return false;
    text.remove_prefix(number < 4 ? end + 1 : end);
  }
  return true;
}

class Senders {
 public:
  unsigned int mark(const std::string& address, std::uint16_t id) {
    // The key is the whole text; the address in it ends at a zero byte.
    if (!address.empty() && !isAddress(address.substr(0, address.find('\0')))) return BAD_ADDRESS;
    Context* context = find(address);
    if (context == nullptr) {
      context = find("");  // free ones have no address; an empty address uses one and leaves it free
      if (context == nullptr) return NO_CONTEXT;
      context->address = address;
    }
    const std::uint16_t next = static_cast<std::uint16_t>(context->last + 1);
    const bool repeated = context->seen && context->last == id;
    const bool inSequence = !context->seen || next == id;
    context->seen = true;
    context->last = id;
    if (repeated) return RESULT_DUPLICATE_MSG;
    return inSequence ? RESULT_OK : RESULT_LOST_MSG;
  }

  std::uint16_t lastOf(const std::string& address) {
    const Context* context = find(address);
    return context != nullptr ? context->last : std::uint16_t{0};
  }

 private:
  struct Context {
    std::string address;
    bool seen = false;
    std::uint16_t last = 0;
  };
  Context* find(const std::string& address) {
    for (Context& context : contexts_) {
      if (context.address == address) return &context;
    }
    return nullptr;
  }

  std::array<Context, 5> contexts_;
};

Senders& senders() {
  static Senders all;
  return all;
}

unsigned int markOfDatagram(RecordingEngine& engine, const std::string& address, std::uint16_t id) {
  engine.forget();
  engine.receive("OTN1" + bigEndian(0x0101, 2) + bigEndian(id, 2), address.c_str());
  PROMISE(engine.messages.size() == 1, "a request has one answer");
  const std::string& answer = engine.messages[0].bytes;
  PROMISE(answer.size() == 11, "the answer to a request for nothing is a header");
  const unsigned int result = static_cast<unsigned char>(answer[8]);
  PROMISE(answer == "OTN1" + bigEndian(0x0103, 2) + bigEndian(id, 2) + bigEndian(result, 1) + bigEndian(0, 2),
          "it repeats the id and names no TLV");
  PROMISE(engine.messages[0].sender == address, "it goes to who asked");
  return result;
}

void request(RecordingEngine& engine, FuzzInput& input) {
  const unsigned int how = input.u8();
  const bool known = (how & 0x80U) != 0;
  const bool asDatagram = (how & 0x40U) != 0;
  std::string address = known ? "10.0.0." + std::to_string(1 + (how & 7U)) : input.bytes(how & 0x3FU);
  if (asDatagram) address = address.substr(0, address.find('\0'));  // it arrives as text that ends at a zero byte
  const std::uint16_t last = senders().lastOf(address);
  constexpr std::array<int, 4> STEP = {0, 0, 1, -1};
  const unsigned int made = known ? how >> 3 & 3U : 0;
  const std::uint16_t id = made == 0 ? input.u16() : static_cast<std::uint16_t>(last + STEP[made]);

  unsigned int result = 0;
  if (asDatagram) {
    result = markOfDatagram(engine, address, id);
  } else {
    TRELRequest message("10.0.0.9");  // the message's own address is not asked
    message.msgId = id;
    result = static_cast<unsigned int>(engine.checkMsgId(&message, address));
  }
  PROMISE(result == senders().mark(address, id), "the mark follows from the sender's context and its last id");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const LogCapture log(logLevel(size));
  RecordingEngine engine;
  while (!input.atEnd())
    request(engine, input);
  return 0;
}
