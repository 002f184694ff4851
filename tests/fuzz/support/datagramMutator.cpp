#include "support/datagramMutator.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "support/fuzzCard.h"
#include "support/fuzzInput.h"

// The fuzzer's own mutations.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using Dice = std::minstd_rand;

std::size_t below(Dice& dice, std::size_t limit) { return dice() % limit; }

char anyByte(Dice& dice) { return static_cast<char>(static_cast<unsigned char>(below(dice, 256))); }

// A header and TLVs; what is no whole TLV stands in `tail`.
struct Pieces {
  std::string header;
  std::vector<std::string> tlvs;
  std::string tail;

  std::string joined() const {
    std::string all = header;
    for (const std::string& tlv : tlvs)
      all += tlv;
    return all + tail;
  }
};

Pieces piecesOf(const std::string& datagram) {
  std::size_t header = 8;
  if (datagram.size() > 5) {
    if (datagram[5] == 3 || datagram[5] == 4) header = 11;
    if (datagram[5] == 5) header = 16;
  }
  Pieces pieces;
  std::size_t place = std::min(header, datagram.size());
  pieces.header = datagram.substr(0, place);
  while (datagram.size() - place >= 7) {
    const std::size_t size = 7 + static_cast<std::size_t>(bigEndianAt(datagram, place + 5, 2));
    if (size > datagram.size() - place) break;
    pieces.tlvs.push_back(datagram.substr(place, size));
    place += size;
  }
  pieces.tail = datagram.substr(place);
  return pieces;
}

std::uint32_t anyOid(Dice& dice) {
  const auto& known = cardVariables();
  switch (below(dice, 8)) {
    case 0:
      return static_cast<std::uint32_t>(0x10800100U + below(dice, 16));  // of the card's group, and no variable of it
    case 1:
      return known[below(dice, known.size())].oid ^ 1U << below(dice, 32);
    case 2:
      return static_cast<std::uint32_t>(dice()) << 16U ^ static_cast<std::uint32_t>(dice());
    default:
      return known[below(dice, known.size())].oid;
  }
}

// A TLV of a variable of the card, with a value of its length; or of none.
std::string anyTlv(Dice& dice) {
  const auto& known = cardVariables();
  if (below(dice, 4) == 0) {
    const std::size_t size = below(dice, 12);
    std::string tlv = bigEndian(anyOid(dice), 4) + bigEndian(below(dice, 16), 1) + bigEndian(size, 2);
    for (std::size_t i = 0; i < size; ++i)
      tlv += anyByte(dice);
    return tlv;
  }
  const CardVariable& variable = known[below(dice, known.size())];
  std::string value = variable.value;
  if (variable.type == TREL_TYPE_STRING) value.resize(below(dice, 30) == 0 ? 300 : below(dice, 12), 'a');
  if (!value.empty()) value[below(dice, value.size())] = anyByte(dice);
  return bigEndian(variable.oid, 4) + bigEndian(variable.type, 1) + bigEndian(value.size(), 2) + value;
}

void mutateHeader(std::string& header, Dice& dice) {
  switch (below(dice, 4)) {
    case 0:  // another kind of message, whose own header bytes are then missing or too many
      if (header.size() > 5) header[5] = static_cast<char>(below(dice, 7));
      break;
    case 1:  // the whole header of a kind
      header = "OTN1" + std::string(1, '\1') + std::string(1, static_cast<char>(1 + below(dice, 5))) +
               std::string(1, anyByte(dice)) + std::string(1, anyByte(dice));
      if (header[5] == 3 || header[5] == 4) header += std::string(3, '\0');
      if (header[5] == 5) header += std::string(8, '\1');
      break;
    default:
      if (!header.empty()) header[below(dice, header.size())] = anyByte(dice);
  }
}

void mutateTlv(std::string& tlv, Dice& dice) {
  const auto length = static_cast<std::size_t>(bigEndianAt(tlv, 5, 2));
  const auto setLength = [&tlv](std::size_t value) { tlv.replace(5, 2, bigEndian(value, 2)); };
  switch (below(dice, 8)) {
    case 0:
      tlv.replace(0, 4, bigEndian(anyOid(dice), 4));
      break;
    case 1:
      tlv[4] = below(dice, 4) == 0 ? anyByte(dice) : static_cast<char>(below(dice, 16));
      break;
    case 2:  // a length that is not that of the value
      setLength(length + 1);
      break;
    case 3:
      setLength(length - 1);
      break;
    case 4:
      setLength(below(dice, 2) == 0 ? 0 : 0xFFFF);
      break;
    case 5: {  // a value of another length
      const std::size_t size = below(dice, 20);
      tlv.resize(7 + size, anyByte(dice));
      setLength(size);
      break;
    }
    default:
      if (tlv.size() > 7) tlv[7 + below(dice, tlv.size() - 7)] = anyByte(dice);
  }
}

std::string mutated(const std::string& datagram, Dice& dice) {
  Pieces pieces = piecesOf(datagram);
  auto& tlvs = pieces.tlvs;
  const std::size_t place = tlvs.empty() ? 0 : below(dice, tlvs.size());
  const auto at = tlvs.begin() + static_cast<std::ptrdiff_t>(place);
  const std::size_t choice = below(dice, 12);
  if (choice == 0) {
    mutateHeader(pieces.header, dice);
  } else if (choice == 1 || tlvs.empty()) {
    tlvs.insert(at, anyTlv(dice));
  } else if (choice == 2) {
    tlvs.erase(at);
  } else if (choice == 3) {
    tlvs.insert(at, tlvs[place]);
  } else if (choice == 4) {
    std::swap(tlvs[place], tlvs[below(dice, tlvs.size())]);
  } else if (choice == 5) {
    pieces.tail.clear();
  } else if (choice == 6) {
    std::string all = pieces.joined();
    all.resize(below(dice, all.size() + 1));
    return all;
  } else {
    mutateTlv(tlvs[place], dice);
  }
  return pieces.joined();
}

std::size_t store(const MutatorInput& input, std::string all) {
  all.resize(std::min(all.size(), input.maxSize));
  if (!all.empty()) std::memcpy(input.data, all.data(), all.size());
  return all.size();
}

}  // namespace

std::size_t mutateDatagram(const MutatorInput& input, std::size_t prefix) {
  Dice dice(input.seed + 1);
  if (input.size < prefix || below(dice, 4) == 0) return LLVMFuzzerMutate(input.data, input.size, input.maxSize);
  std::string all(reinterpret_cast<const char*>(input.data), input.size);
  do {
    all = all.substr(0, prefix) + mutated(all.substr(prefix), dice);
  } while (below(dice, 3) == 0);
  return store(input, all);
}

std::size_t mutateRecords(const MutatorInput& input, std::size_t prefix) {
  Dice dice(input.seed + 1);
  if (input.size < prefix || below(dice, 4) == 0) return LLVMFuzzerMutate(input.data, input.size, input.maxSize);
  const std::string start(reinterpret_cast<const char*>(input.data), prefix);
  FuzzInput left(input.data + prefix, input.size - prefix);
  std::vector<FuzzRecord> records = recordsOf(left);
  const std::size_t place = records.empty() ? 0 : below(dice, records.size());
  const auto at = records.begin() + static_cast<std::ptrdiff_t>(place);
  const std::size_t choice = below(dice, 12);
  if (records.empty() || choice == 0) {
    records.insert(at, {static_cast<std::uint8_t>(below(dice, 256)), mutated("", dice)});
  } else if (choice == 1) {
    records.erase(at);
  } else if (choice == 2) {
    records.insert(at, FuzzRecord(records[place]));
  } else if (choice == 3) {
    std::swap(records[place], records[below(dice, records.size())]);
  } else if (choice == 4) {
    records[place].operation = static_cast<std::uint8_t>(below(dice, 256));
  } else {
    records[place].datagram = mutated(records[place].datagram, dice);
  }

  std::string result = start;
  for (const FuzzRecord& record : records)
    result += bigEndian(record.operation, 1) + bigEndian(record.datagram.size(), 2) + record.datagram;
  return store(input, result);
}
