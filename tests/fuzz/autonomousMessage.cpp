// Autonomous messages: one is received, and what then changes by the application's hand is reported to a second engine.
//
// Input: one byte of flags, then the datagram, which is made an autonomous message of this version.
//   bit 0  no hook for autonomous messages       bit 1  the hook refuses        bit 2  every log line is written

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/datagramMutator.h"
#include "support/fuzzCard.h"
#include "support/fuzzInput.h"
#include "support/logCapture.h"
#include "support/promise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

// The application sets a variable to a value that is given as on the wire. Of the text and of the bytes nothing is reported,
// of a MAC address that it was set again, of all others that they changed.
bool setAndReports(TrelProperty& property, CardVariable& variable, const std::string& value) {
  const std::uint64_t number = value.size() <= 8 ? bigEndianAt(value, 0, static_cast<unsigned int>(value.size())) : 0;
  std::string bytes = value;
  const bool differs = value != variable.value;
  switch (variable.type) {
    case TREL_TYPE_UINT64:
      property.set(static_cast<unsigned long long>(number));
      break;
    case TREL_TYPE_UINT32:
    case TREL_TYPE_IPV4ADDRESS:
      property.set(static_cast<unsigned int>(number));
      break;
    case TREL_TYPE_UINT16:
      property.set(static_cast<unsigned short>(number));
      break;
    case TREL_TYPE_INT32:
      property.set(static_cast<int>(number));
      break;
    case TREL_TYPE_UNIX_TIME:
      property.set(static_cast<long long>(number));
      break;
    case TREL_TYPE_STRING:
      property.set(value);
      variable.value = value;
      return false;
    case TREL_TYPE_MAC_ADDRESS:
      property.set(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
      variable.value = value;
      return !differs;
    default:
      return false;
  }
  variable.value = value;
  return differs;
}

bool isEventable(std::size_t place) {
  switch (place) {
    case 0:   // u64
    case 2:   // u16
    case 5:   // i32
    case 9:   // text
    case 11:  // MAC address
    case 12:  // IPv4 address
    case 13:  // time
      return true;
    default:
      return place >= 19 && place < 31 && (place - 19) % 3 == 0;  // the table's first column
  }
}

// Sets what the TLVs name and returns the variables that must be reported, in their order.
std::vector<std::size_t> change(FuzzCard& card, CardModel& model, const std::string& tlvs) {
  std::vector<CardVariable>& variables = model.variables();
  std::vector<bool> reports(variables.size());
  for (std::size_t place = 0; tlvs.size() - place >= 7;) {
    const auto length = static_cast<std::size_t>(bigEndianAt(tlvs, place + 5, 2));
    if (tlvs.size() - place - 7 < length) break;
    const std::string value = tlvs.substr(place + 7, length);
    for (std::size_t i = 0; i < variables.size(); ++i) {
      const bool fits = variables[i].type == TREL_TYPE_STRING || variables[i].value.size() == length;
      if (!isEventable(i) || variables[i].oid != bigEndianAt(tlvs, place, 4) || !fits) continue;
      if (setAndReports(*card.properties()[i], variables[i], value)) reports[i] = true;
    }
    place += 7 + length;
  }
  std::vector<std::size_t> reported;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    if (reports[i]) reported.push_back(i);
  }
  return reported;
}

// A report with this number that tells these TLVs.
void mustTell(const std::string& report, unsigned int id, const std::string& tlvs) {
  PROMISE(report.size() >= 16 && report.substr(0, 8) == "4F544E31 01 05"_hex + bigEndian(id, 2),
          "a report has its header");
  PROMISE(bigEndianAt(report, 12, 4) < 1000000, "microseconds are less than a second");
  PROMISE(report.substr(16) == tlvs, "a report tells the values as they are");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const unsigned int flags = input.u8();
  CardBehaviour behaviour;
  behaviour.servesOldStyle = (flags & 1U) == 0;
  behaviour.acceptsEvents = (flags & 2U) == 0;
  std::string datagram = input.rest();
  datagram.resize(std::max<std::size_t>(datagram.size(), 8));
  datagram.replace(0, 6, "4F544E31 01 05"_hex);
  std::optional<LogCapture> log;
  if ((flags & 4U) != 0) log.emplace();

  const std::unique_ptr<FuzzCard> card = makeCard(behaviour);
  CardModel model(behaviour);
  mustBe(card->receive(datagram, "10.0.0.1"), model.handle(datagram));
  PROMISE(card->snapshot() == model.snapshot(), "the values that fit are stored, whoever may write them");

  const std::vector<std::size_t> reported =
      change(*card, model, datagram.substr(std::min<std::size_t>(datagram.size(), 16)));
  const Handled scan = card->run([&] { return card->eventHandler(); });
  mustBe(scan, {static_cast<int>(reported.size()), false, "", false});
  PROMISE(card->snapshot() == model.snapshot(), "a report changes nothing");
  PROMISE(card->events.size() == (reported.empty() ? 0 : 1),
          "what changed is reported in one message, nothing is not reported");
  if (!reported.empty()) {
    const std::string report = card->events[0];
    mustTell(report, 1, model.tlvs(reported));
    PROMISE(card->run([&] { return card->eventHandler(); }).returned == 0 && card->events.size() == 1,
            "a change is reported once");

    // In a heap block of its own at the other end.
    const std::unique_ptr<FuzzCard> manager = makeCard(behaviour);
    CardModel managersModel(behaviour);
    mustBe(manager->receive(report, nullptr), managersModel.handle(report));
    PROMISE(manager->snapshot() == managersModel.snapshot(), "a report arrives");
  }

  // What changes later is told alone, without what was told before.
  CardVariable& number = model.variables()[0];
  setAndReports(*card->properties()[0], number, bigEndian(bigEndianAt(number.value, 0, 8) + 1, 8));
  card->events.clear();
  card->run([&] { return card->eventHandler(); });
  PROMISE(card->events.size() == 1, "a change is reported in one message");
  mustTell(card->events[0], reported.empty() ? 1 : 2, model.tlvs({0}));
  card->mustAnswerTheNextRead();
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
  return mutateDatagram({data, size, maxSize, seed}, 1);
}
