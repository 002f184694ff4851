// Datagrams of several senders, client operations and event scans, while hooks refuse, change lengths, call the engine again
// and throw, and memory runs out.
//
// Input: one byte of flags (bit 0: no answer to header errors), one byte n, a script of n bytes, then records of an operation
// and a datagram. The script decides what the hooks do, one byte after the other; behind its end they do nothing. Of an
// operation:
//   bits 0 to 2  what is done: see step()
//   bits 3 to 5  the sender, or how much of it
//   bit 6        the transport reports failure   bit 7  memory runs out on the way

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/bytes.h"
#include "support/datagramMutator.h"
#include "support/exactBlock.h"
#include "support/fuzzCard.h"
#include "support/fuzzInput.h"
#include "support/operatorNew.h"
#include "support/promise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

constexpr std::size_t DEEPEST = 3;        // calls inside calls
constexpr std::size_t MOST_RECORDS = 64;  // of an input: reports that send themselves grow with their number

class Traffic {
 public:
  Traffic(const CardBehaviour& behaviour, const std::string& script, std::vector<FuzzRecord> records)
      : scriptBytes_(script), records_(std::move(records)), card_(behaviour) {
    card_.onUpdate = [this](TrelProperty* property) { return onUpdate(property); };
    card_.onUpdated = [this](TrelProperty*) { return disturb() != 'f'; };
    card_.whileSending = [this] { disturb(); };
    card_.onRequest = [this](std::string& reply) { return giveReply(reply); };
    card_.onOldStyleCheck = [this](OldStyleProperty* property) { return onOldStyleCheck(property); };
    card_.onOldStyle = [this](OldStyleProperty* property) { return onOldStyle(property); };
    card_.onEvents = [this] { return disturb() != 'f'; };
  }

  void run() {
    for (const FuzzRecord& record : records_) {
      try {
        step(record);
      } catch (const std::bad_alloc&) {
        PROMISE(card_.allocatorFails && card_.depth() == 0, "memory does not run out by itself");
      }
      card_.allocatorFails = false;
      // Whatever happened, the next good datagram is answered, with the hooks at rest.
      atRest_ = true;
      const int sendResult = card_.behaviour.sendResult;
      card_.mustAnswerTheNextRead();
      card_.behaviour.sendResult = sendResult;
      atRest_ = false;
    }
    atRest_ = true;
    card_.flush();
  }

 private:
  void step(const FuzzRecord& record) {
    const unsigned int much = record.operation >> 3U & 7U;
    card_.behaviour.sendResult = (record.operation & 64U) != 0 ? 0 : 1;
    std::optional<NewFailure> failure;
    card_.allocatorFails = (record.operation & 128U) != 0;
    if (card_.allocatorFails) failure.emplace(nextOfScript());
    switch (record.operation & 7U) {
      case 4:
        card_.run([this] { return card_.eventHandler(); });
        break;
      case 5:
        clientOperation(much);
        break;
      case 6:
        setValues(record.datagram);
        break;
      case 7:
        card_.run([&] {
          report(record.datagram, much);
          return 0;
        });
        break;
      default:
        receive(record.datagram, much);
    }
  }

  // A datagram, and what it may change: a request that is refused, a read and a header error change nothing. What a hook does
  // besides is the application's own.
  void receive(const std::string& datagram, unsigned int sender) {
    const bool judged = card_.depth() == 0 && !card_.allocatorFails;
    const std::string before = judged ? card_.snapshot() : std::string();
    const unsigned int disturbancesBefore = disturbances_;
    const Handled handled = card_.receive(datagram, senderOf(sender));
    if (handled.answers == 0) return;
    PROMISE(handled.answer.substr(0, 5) == "4F544E31 01"_hex, "an answer is of this protocol");
    PROMISE(handled.answer[5] == (datagram[5] == 1 ? 3 : 4), "an answer is of the kind that was asked for");
    PROMISE(handled.answer.substr(6, 2) == datagram.substr(6, 2), "an answer has the number of its request");
    const char result = handled.answer[8];
    const bool done = result == 0 || result == 2 || result == 3 || result == 16 || result == 17;
    PROMISE(done || handled.answer.size() == 11, "a refusal carries no values");
    if (!judged || disturbances_ != disturbancesBefore) return;
    const bool isWrite = datagram[4] == 1 && datagram[5] == 2;
    const bool begun = done || result == RESULT_CANNOT_EXEC;
    if (!isWrite || !begun) PROMISE(card_.snapshot() == before, "a refused request changes no property");
  }

  void clientOperation(unsigned int which) {
    card_.run([&] {
      TrelProperty& property = anyProperty();
      switch (which) {
        case 0:
          return card_.readObject(card_.scalar());
        case 1:
          return card_.readObjects(card_.allObjects());
        case 2:
          return card_.readProperty(property);
        case 3:
          return card_.readPropertys({&property, &property});
        case 4:
          return card_.writeObject(card_.table());
        case 5:
          return card_.writeObjects(card_.allObjects());
        case 6:
          return card_.writeProperty(property);
        default:
          return card_.writePropertys({&property, &property});
      }
    });
  }

  // The application sets a property; most kinds refuse most of these.
  void setValues(const std::string& bytes) {
    if (bytes.size() < 5) return;
    TrelProperty& property =
        *card_.properties()[static_cast<std::size_t>(bigEndianAt(bytes, 0, 1)) % card_.properties().size()];
    const auto number = static_cast<unsigned int>(bigEndianAt(bytes, 1, 4));
    property.set(number);
    property.set(static_cast<unsigned short>(number));
    property.set(static_cast<int>(number));
    property.set(static_cast<unsigned long long>(number));
    property.set(static_cast<long long>(number));
    property.set((number & 1U) != 0);
    std::string text = bytes.substr(5);
    property.set(text);
    property.set(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
  }

  // Reports properties of the card, some of them made for that alone; 51 send themselves.
  void report(const std::string& bytes, unsigned int much) {
    for (unsigned int i = 0; i < much * 3; ++i) {
      TrelProperty& property = *card_.properties()[(i + bytes.size()) % card_.properties().size()];
      card_.addToAmi(&property, false);
      if (i % 5 == 4)
        card_.report(std::make_unique<StringProperty>(i, "note", IFC_CARD_VAR_READ_ONLY, bytes.substr(0, 20)));
    }
    unsigned long long last = 0;
    card_.checkForEvent(&last, &anyProperty(), true, false);
    if (bytes.size() % 2 == 1) card_.checkForEvent(nullptr, nullptr, false, true);
  }

  // ----- the script -----

  std::uint8_t nextOfScript() {
    if (scriptPlace_ >= scriptBytes_.size()) return 0;
    return static_cast<std::uint8_t>(scriptBytes_[scriptPlace_++]);
  }

  TrelProperty& anyProperty() { return *card_.properties()[nextOfScript() % card_.properties().size()]; }

  std::string anyDatagram() {
    return records_.empty() ? std::string() : records_[nextOfScript() % records_.size()].datagram;
  }

  // What a hook does besides; the letter tells it more.
  char disturb() {
    if (atRest_) return 0;
    const std::uint8_t what = nextOfScript();
    if (what == 0 || what == 'f') return static_cast<char>(what);
    if (card_.depth() > DEEPEST) return 0;
    ++disturbances_;
    switch (what % 8) {
      case 0:
        throw HookFailure();
      case 1:
        card_.run([this] { return card_.eventHandler(); });
        break;
      case 2:
        clientOperation(nextOfScript() % 8U);
        break;
      case 3: {
        const std::string datagram = anyDatagram();
        receive(datagram, nextOfScript());
        break;
      }
      case 4: {
        const std::string note = anyDatagram();
        card_.run([&] {
          report(note, nextOfScript() % 8U);
          return 0;
        });
        break;
      }
      default:
        break;
    }
    return static_cast<char>(what);
  }

  bool onUpdate(TrelProperty* property) {
    const char what = disturb();
    if (what == 's') property->set(static_cast<unsigned int>(nextOfScript()));
    return what != 'f';
  }

  bool giveReply(std::string& reply) {
    const std::uint8_t what = nextOfScript();
    if (what % 4 == 1) return false;  // the old reply stays
    reply = anyDatagram();
    return true;
  }

  int onOldStyleCheck(OldStyleProperty* property) {
    const std::uint8_t what = atRest_ ? 0 : nextOfScript();
    if (what % 5 == 1) changeLength(*property);
    return what >= 200 ? RESULT_GENERAL_ERROR + what % 7 : RESULT_OK;
  }

  bool onOldStyle(OldStyleProperty* property) {
    const char what = disturb();
    if (what % 5 == 2) changeLength(*property);
    return what != 'f';
  }

  void changeLength(OldStyleProperty& property) {
    ++disturbances_;
    std::string bytes = anyDatagram();
    const auto size = static_cast<unsigned int>(bytes.size());
    if (nextOfScript() % 3 == 0) {
      const unsigned int type = nextOfScript() % 16U;
      const ExactBlock record(bigEndian(property.id, 4) + bigEndian(type, 1) + bigEndian(size, 2) + bytes);
      property.deserialize(record.data());
    } else if (property.getType() == TREL_TYPE_STRING) {
      property.set(bytes);
    } else {
      property.set(reinterpret_cast<unsigned char*>(bytes.data()), size);  // refused but for bytes and addresses
    }
  }

  std::string scriptBytes_;
  std::vector<FuzzRecord> records_;
  std::size_t scriptPlace_ = 0;
  OldStyleFuzzCard card_;
  unsigned int disturbances_ = 0;
  bool atRest_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  prepareProcess();
  FuzzInput input(data, size);
  CardBehaviour behaviour;
  behaviour.answersHeaderErrors = !input.flag();
  const std::string script = input.bytes(input.u8());
  std::vector<FuzzRecord> records = recordsOf(input);
  records.resize(std::min(records.size(), MOST_RECORDS));
  Traffic(behaviour, script, std::move(records)).run();
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  const std::size_t script = size < 2 ? 0 : data[1];
  return mutateRecords({data, size, maxSize, seed}, 2 + script);
}
