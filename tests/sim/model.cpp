#include "sim/model.h"

#include <algorithm>

#include "sim/wire.h"

namespace sim {

Variable* NodeModel::find(unsigned int oid) {
  const auto found = byOid.find(oid & ~OID_IGNORED_BIT);
  return found != byOid.end() ? &variables[found->second] : nullptr;
}

// ----- old-style variables -----

bool isOldStyleText(unsigned int oid) { return oid - OLD_STYLE_BASE == 5 || oid - OLD_STYLE_BASE == 6; }

int oldStyleRefusal(unsigned int oid, unsigned int type, unsigned int length, bool isWrite) {
  if (oid < OLD_STYLE_BASE || oid >= OLD_STYLE_BASE + OLD_STYLE_COUNT) return RESULT_GENERAL_ERROR;
  if (oid == OLD_STYLE_BASE + 7) return RESULT_WRONG_VALUE;
  if (isOldStyleText(oid)) {
    if (type != TREL_TYPE_STRING) return RESULT_WRONG_TYPE;
    return length <= 100 ? RESULT_OK : RESULT_WRONG_LEN;
  }
  if (type != TREL_TYPE_UINT32) return RESULT_WRONG_TYPE;
  return length == 4 || (!isWrite && length == 0) ? RESULT_OK : RESULT_WRONG_LEN;
}

// ----- senders -----

// The key is the text. An empty one uses the first free context and leaves it free, so that the sender that claims it later
// inherits what was remembered.
int ProcessModel::sequence(const std::string& address, unsigned short id) {
  static const char* const noAddresses[] = {"abc", "1.2.3.4 ", "300.1.1.1", "010.0.0.001"};
  for (const char* text : noAddresses)
    if (address == text) return 17;
  const auto find = [this](const std::string& text) {
    return std::find_if(senders.begin(), senders.end(), [&](const Sender& sender) { return sender.address == text; });
  };
  auto sender = find(address);
  if (sender == senders.end()) {
    sender = find(std::string());
    if (sender == senders.end()) return 16;
    sender->address = address;
  }
  const unsigned short last = sender->lastId;
  sender->lastId = id;
  if (!sender->seen) {
    sender->seen = true;
    return RESULT_OK;
  }
  if (id == last) return RESULT_DUPLICATE_MSG;
  return id == static_cast<unsigned short>(last + 1) ? RESULT_OK : RESULT_LOST_MSG;
}

bool ProcessModel::hasContext(const std::string& address) const {
  return std::any_of(senders.begin(), senders.end(), [&](const Sender& sender) { return sender.address == address; });
}

// ----- the pending autonomous message -----

void Model::send(unsigned int node, std::vector<std::string>& sent) {
  if (process.waiting.empty()) return;  // nothing is sent and no id is used
  std::string bytes = header(AMI, ++nodes[node].lastId) + std::string(8, '\0');
  for (const ProcessModel::Waiting& entry : process.waiting) {
    if (!entry.owned.empty()) {
      bytes += entry.owned;
      continue;
    }
    const Variable& variable = nodes[entry.node].variables[entry.variable];
    bytes += tlv(variable.oid, variable.kind->type, variable.value);
  }
  sent.push_back(bytes);
}

// The 51st addition sends the message and leaves it filled.
void Model::addTo(unsigned int node, const ProcessModel::Waiting& entry, std::vector<std::string>& sent) {
  process.waiting.push_back(entry);
  if (++process.count <= 50) return;
  send(node, sent);
  process.count = 0;
}

std::vector<std::string> Model::add(unsigned int node, const ProcessModel::Waiting& entry) {
  std::vector<std::string> sent;
  addTo(node, entry, sent);
  return sent;
}

std::vector<std::string> Model::flush(unsigned int node) {
  std::vector<std::string> sent;
  if (process.count == 0) return sent;
  send(node, sent);
  process.count = 0;
  process.waiting.clear();
  return sent;
}

std::vector<std::string> Model::scan(unsigned int node, int& found) {
  std::vector<std::string> sent;
  found = 0;
  std::vector<Variable>& variables = nodes[node].variables;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    if (!variables[i].eventPending) continue;
    variables[i].eventPending = false;
    ProcessModel::Waiting entry;
    entry.node = node;
    entry.variable = i;
    addTo(node, entry, sent);
    ++found;
  }
  if (!process.firstScanDone) {
    process.firstScanDone = true;
    found = 0;
    return sent;
  }
  for (std::string& message : flush(node))
    sent.push_back(message);
  return sent;
}

void Model::forget(unsigned int node) {
  auto& waiting = process.waiting;
  waiting.erase(std::remove_if(waiting.begin(), waiting.end(),
                               [node](const ProcessModel::Waiting& entry) { return entry.node == node; }),
                waiting.end());
}

}  // namespace sim
