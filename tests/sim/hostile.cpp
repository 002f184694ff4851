#include "sim/hostile.h"

#include "sim/wire.h"

namespace sim {

namespace {

// The dice are thrown in one argument of a call at most: compilers differ in which argument they evaluate first.

std::string anyTlv(const std::vector<Variable>& variables, Dice& dice) {
  if (dice.oneIn(4)) {
    const unsigned int oid = OLD_STYLE_BASE + dice.below(OLD_STYLE_COUNT + 1);
    if (isOldStyleText(oid)) return tlv(oid, TREL_TYPE_STRING, dice.bytes(dice.below(20)));
    const std::string value = dice.bytes(4);
    const unsigned int type = dice.oneIn(8) ? dice.below(16) : static_cast<unsigned int>(TREL_TYPE_UINT32);
    return tlv(oid, type, value);
  }
  const Variable& variable = variables[dice.below(variables.size())];
  unsigned int oid = variable.oid;
  if (dice.oneIn(20)) oid ^= 1U << dice.below(32);
  const unsigned int type = dice.oneIn(20) ? dice.below(16) : static_cast<unsigned int>(variable.kind->type);
  std::string value = anyValue(*variable.kind, dice);
  if (variable.kind->type == TREL_TYPE_STRING && dice.oneIn(20)) value = dice.bytes(300);
  if (dice.oneIn(20)) value += dice.bytes(1 + dice.below(3));
  return tlv(oid, type, value);
}

std::string oldStyleRequest(const std::vector<Variable>& variables, Dice& dice) {
  const unsigned int msgId = dice.below(65536);
  std::string bytes = header(1 + dice.below(2), msgId);
  for (unsigned int tlvs = 1 + dice.below(4); tlvs > 0; --tlvs) {
    const unsigned int oid = OLD_STYLE_BASE + dice.below(OLD_STYLE_COUNT - 1);
    if (isOldStyleText(oid)) {
      bytes += tlv(oid, TREL_TYPE_STRING, dice.bytes(dice.below(20)));
    } else {
      bytes += tlv(oid, TREL_TYPE_UINT32, dice.bytes(4));
    }
  }
  const Variable& variable = variables[0];
  if (dice.oneIn(2)) bytes += tlv(variable.oid, variable.kind->type, dice.bytes(variable.value.size()));
  return bytes;
}

std::string nearlyGood(const std::vector<Variable>& variables, Dice& dice) {
  const unsigned int action = dice.oneIn(4) ? 3 + dice.below(3) : 1 + dice.below(2);
  std::string bytes = header(action, dice.oneIn(2) ? dice.below(65536) : dice.below(8));
  if (action == READ_RESPONSE || action == WRITE_RESPONSE)
    bytes += big(dice.oneIn(3) ? dice.below(20) : 0, 1) + std::string(2, '\0');
  if (action == AMI) bytes += dice.bytes(8);
  for (unsigned int tlvs = dice.oneIn(20) ? 150 : dice.below(5); tlvs > 0; --tlvs)
    bytes += anyTlv(variables, dice);
  return bytes;
}

void spoil(std::string& bytes, Dice& dice) {
  for (unsigned int places = dice.below(4); places > 0 && !bytes.empty(); --places) {
    const std::size_t place = dice.below(bytes.size());
    switch (dice.below(3)) {
      case 0:
        bytes[place] = dice.bytes(1)[0];
        break;
      case 1:
        bytes.insert(place, dice.bytes(1 + dice.below(3)));
        break;
      default:
        bytes.erase(place, 1 + dice.below(8));
    }
  }
  if (dice.oneIn(3)) bytes.resize(dice.below(bytes.size() + 1));
}

}  // namespace

std::string hostileSender(Dice& dice) {
  static const char* const senders[] = {"10.0.0.1",  "10.0.0.2",    "10.0.0.11", "10.0.0.12", "10.0.0.66", "10.0.0.67",
                                        "10.0.0.68", "010.0.0.001", "abc",       "1.2.3.4 ",  "300.1.1.1", "null",
                                        ""};
  return senders[dice.below(sizeof senders / sizeof senders[0])];
}

std::string hostileDatagram(const std::vector<Variable>& variables, Dice& dice) {
  if (dice.oneIn(15)) return dice.bytes(dice.below(40));
  if (dice.oneIn(15)) {
    const std::string rest = dice.bytes(dice.below(60));
    const unsigned int action = dice.below(8);
    const unsigned int version = dice.oneIn(4) ? 2 : 1;
    return big(MAGIC, 4) + big(version, 1) + big(action, 1) + rest;
  }
  if (dice.oneIn(6)) return oldStyleRequest(variables, dice);
  std::string bytes = nearlyGood(variables, dice);
  if (dice.oneIn(2)) spoil(bytes, dice);
  return bytes;
}

}  // namespace sim
