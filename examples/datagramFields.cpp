#include "datagramFields.h"

#include "chassis.h"
#include "trel/trelmsg.h"
#include "valueText.h"

namespace {

// Walks through the datagram and never past its end: what is not there is told, once, and nothing follows it.
class FieldWriter {
 public:
  explicit FieldWriter(const std::string& datagram) : datagram_(datagram) {}

  bool atEnd() const { return cut_ || at_ == datagram_.size(); }
  const std::vector<std::string>& lines() const { return lines_; }

  // The next bytes; empty when there are fewer.
  std::string take(std::size_t count) {
    if (cut_ || count > datagram_.size() - at_) {
      if (!cut_) lines_.push_back("(the datagram ends here)");
      cut_ = true;
      return "";
    }
    start_ = at_;
    at_ += count;
    return datagram_.substr(start_, count);
  }

  // The line of the bytes that were taken last.
  void name(const std::string& field, const std::string& meaning) {
    if (cut_) return;
    std::string bytes;
    for (std::size_t i = start_; i < at_; ++i)
      bytes += hexText(datagram_.substr(i, 1)) + " ";
    lines_.push_back(right(std::to_string(start_), 4) + "   " + left(bytes, 13) + " " + left(field, 18) + meaning);
  }

 private:
  const std::string& datagram_;
  std::size_t start_ = 0;
  std::size_t at_ = 0;
  bool cut_ = false;
  std::vector<std::string> lines_;
};

// Every number on the wire is big-endian.
unsigned int number(const std::string& bytes) {
  unsigned int value = 0;
  for (const char byte : bytes)
    value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

std::string actionText(unsigned int action) {
  static const char* const names[] = {"read request", "write request", "response to a read", "response to a write"};
  return action >= 1 && action <= 4 ? names[action - 1] : "none of a request or response";
}

std::string oidText(unsigned int oid, const std::vector<TrelObject*>& objects) {
  const TrelObjectId fields(oid);
  std::string text = (fields.isTable ? "table " : "scalar ") + std::to_string(fields.id);
  text += (fields.isTable ? ", column " : ", variable ") + std::to_string(fields.subId);
  if (fields.isTable) text += ", row " + std::to_string(fields.row);
  for (TrelObject* object : objects) {
    TrelProperty* property = object->getPropFromOID(oid);
    if (property != nullptr) return text + ": " + property->name;
  }
  return text;
}

// The kinds that the demo shows as bytes.
std::string wireValueText(unsigned int type, const std::string& bytes) {
  switch (type) {
    case TREL_TYPE_UINT32:
    case TREL_TYPE_UINT16:
    case TREL_TYPE_UINT8:
      return std::to_string(number(bytes));
    case TREL_TYPE_IPV4ADDRESS:
      return chassis::dotted(number(bytes));
    default:
      return "";
  }
}

void nameHeader(FieldWriter& out, unsigned int& action) {
  out.take(4);
  out.name("magic number", "the same in every message");
  out.name("protocol version", std::to_string(number(out.take(1))));
  action = number(out.take(1));
  out.name("action", std::to_string(action) + ", " + actionText(action));
  out.name("message id", std::to_string(number(out.take(2))));
  if (action != TREL_ACTION_READ_RESPONSE && action != TREL_ACTION_WRITE_RESPONSE) return;
  const unsigned int result = number(out.take(1));
  out.name("result", std::to_string(result) + (result == RESULT_OK ? ", RESULT OK" : ""));
  out.name("error TLV index", std::to_string(number(out.take(2))));
}

void nameTlv(FieldWriter& out, unsigned int action, const std::vector<TrelObject*>& objects) {
  const unsigned int oid = number(out.take(4));
  out.name("OID", oidText(oid, objects));
  const unsigned int type = number(out.take(1));
  out.name("  type", std::to_string(type) + ", " + typeText(static_cast<int>(type)));
  const unsigned int length = number(out.take(2));
  out.name("  value length", std::to_string(length));
  if (length == 0) return;
  const std::string value = out.take(length);
  out.name("  value", action == TREL_ACTION_READ ? "means nothing in a read" : wireValueText(type, value));
}

}  // namespace

std::vector<std::string> datagramFields(const std::string& datagram, const std::vector<TrelObject*>& objects) {
  FieldWriter out(datagram);
  unsigned int action = 0;
  nameHeader(out, action);
  while (!out.atEnd())
    nameTlv(out, action, objects);
  return out.lines();
}
