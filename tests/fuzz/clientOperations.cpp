// Client operations in a row, each with a reply of its own, an old one or none.
//
// Input: one byte of flags (bit 0: no hooks for unknown OIDs), then records of an operation and a reply. Of the operation:
//   bits 0 to 2  which of the eight
//   bits 3 to 5  how much it asks for: a place in the list of variables, or a number of objects or variables
//   bit 6        the transport fails             bit 7  the transport leaves the reply of before

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

namespace {

constexpr std::size_t SCALAR_VARIABLES = 19;  // the first ones; the table's follow
constexpr std::size_t TABLE_VARIABLES = 12;

// Of variables in a list, on both sides of the most that a request may name.
constexpr std::size_t COUNTS[8] = {0, 1, 2, 31, 149, 150, 151, 200};

std::vector<std::size_t> places(std::size_t first, std::size_t count) {
  std::vector<std::size_t> all;
  for (std::size_t i = 0; i < count; ++i)
    all.push_back(first + i);
  return all;
}

class Client {
 public:
  explicit Client(const CardBehaviour& behaviour) : card_(makeCard(behaviour)), model_(behaviour) {}

  void run(const FuzzRecord& record) {
    const bool fails = (record.operation & 64U) != 0;
    const bool leaves = (record.operation & 128U) != 0;
    card_->behaviour.sendResult = fails ? 0 : 1;
    card_->onRequest = [&](std::string& buffer) {
      buffer = record.datagram;
      return !leaves;
    };
    card_->requests.clear();

    asked_.clear();
    const unsigned int much = record.operation >> 3U & 7U;
    const Handled handled = card_->run([&] { return call(record.operation & 7U, much); });
    if (asked_.empty() || asked_.size() > 150) {
      PROMISE(card_->requests.empty(), "nothing is asked for, or too much: nothing is sent");
      mustBe(handled, {0, false, "", false});
      return;
    }
    ++lastId_;
    const std::string request = "4F544E31 01"_hex + bigEndian((record.operation & 4U) != 0 ? 2 : 1, 1) +
                                bigEndian(lastId_, 2) + model_.tlvs(asked_);
    PROMISE(card_->requests == std::deque<std::string>{request}, "a client operation sends one request");
    if (!leaves) reply_ = record.datagram;
    mustBe(handled, fails ? Expected() : model_.handle(reply_));
    PROMISE(card_->snapshot() == model_.snapshot(), "a reply stores what the rules say");
  }

  void end() { card_->mustAnswerTheNextRead(); }

 private:
  int call(unsigned int operation, std::size_t much) {
    const auto& all = card_->properties();
    std::vector<TrelObject*> objects;
    std::vector<TrelProperty*> listed;
    switch (operation & 3U) {
      case 0:
        asked_ = much < 4 ? places(0, SCALAR_VARIABLES) : places(SCALAR_VARIABLES, TABLE_VARIABLES);
        if (operation < 4) return much < 4 ? card_->readObject(card_->scalar()) : card_->readObject(card_->table());
        return much < 4 ? card_->writeObject(card_->scalar()) : card_->writeObject(card_->table());
      case 1:
        for (std::size_t i = 0; i < 2 * much; ++i) {
          objects.push_back(&card_->table());
          for (const std::size_t place : places(SCALAR_VARIABLES, TABLE_VARIABLES))
            asked_.push_back(place);
        }
        return operation < 4 ? card_->readObjects(objects) : card_->writeObjects(objects);
      case 2:
        asked_ = {much * 4};
        return operation < 4 ? card_->readProperty(*all[much * 4]) : card_->writeProperty(*all[much * 4]);
      default:
        for (std::size_t i = 0; i < COUNTS[much]; ++i) {
          asked_.push_back(i % all.size());
          listed.push_back(all[asked_.back()]);
        }
        return operation < 4 ? card_->readPropertys(listed) : card_->writePropertys(listed);
    }
  }

  std::unique_ptr<FuzzCard> card_;
  CardModel model_;
  std::vector<std::size_t> asked_;
  std::string reply_;
  std::uint64_t lastId_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  CardBehaviour behaviour;
  behaviour.servesOldStyle = !input.flag();
  Client client(behaviour);
  for (const FuzzRecord& record : recordsOf(input))
    client.run(record);
  client.end();
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  return mutateRecords({data, size, maxSize, seed}, 1);
}
