// Traffic of every kind, printed: every datagram that an engine sends and every line that it writes to the system log.
//
// The C library can fill each block that it hands out, and each that it takes back, with a pattern; this program fills the
// stack below each call with the byte that is its first argument. Run with two patterns, it prints the same twice, unless
// something that goes out was never written. With `plantedHeap` or `plantedStack` as second argument it sends such bytes on
// purpose. Only the content of a byte array is undefined by itself; here it holds no value, so it goes out as zeros.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/logCapture.h"
#include "support/recordingEngine.h"
#include "trel/trelProtocolBase.h"

namespace {

constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;

// Of no use to the compiler, which would otherwise leave out what nobody writes or reads.
void keep(void* bytes) { asm volatile("" : : "r"(bytes) : "memory"); }

// Fills the part of the stack on which the calls that follow will lie.
[[gnu::noinline]] void paintStack(unsigned char pattern) {
  unsigned char below[32768];
  std::memset(below, pattern, sizeof below);
  keep(below);
}

class ShortText : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override { return value.size() < 12; }
};

// Every kind of property, each eventable.
class Kinds : public TrelScalar {
 public:
  Kinds() : TrelScalar("kinds", 2, true) {
    addProp(new TypeProperty<unsigned long long>(1, "u64", RW, 0x0102030405060708ULL, true), 0);
    addProp(new TypeProperty<unsigned int>(2, "u32", RW, 0x01020304U, true), 0);
    addProp(new TypeProperty<unsigned short>(3, "u16", RW, static_cast<unsigned short>(0x0102), true), 0);
    addProp(new TypeProperty<unsigned char>(4, "u8", RW, static_cast<unsigned char>(0xFE), true), 0);
    addProp(new TypeProperty<long long>(5, "i64", RW, -2LL, true), 0);
    addProp(new TypeProperty<int>(6, "i32", RW, -3, true), 0);
    addProp(new TypeProperty<short>(7, "i16", RW, static_cast<short>(-4), true), 0);
    addProp(new TypeProperty<signed char>(8, "i8", RW, static_cast<signed char>(-5), true), 0);
    addProp(new TypeProperty<bool>(9, "bool", RW, true, true), 0);
    addProp(new StringProperty(10, "string", RW, "a text that is longer than fifteen characters", new ShortText, true),
            0);
    addProp(new MacAddressProperty(11, "mac", RW, std::string("00:1a:2B:3c:4D:5e"), true), 0);
    addProp(new IpAddressProperty(12, "ip", RW, std::string("10.0.0.1"), true), 0);
    addProp(new UnixTimeProperty(13, "time", RW, 0x12345678LL, true), 0);
    addProp(new ArrayProperty(14, "array", RW, true), 0);
    addProp(new TypeProperty<unsigned int>(15, "readOnly", IFC_CARD_VAR_READ_ONLY, 7U, true), 0);
    addProp(new TypeProperty<int>(16, "ranged", RW, 5, new RangeCheckValue<int>(-10, 10), true), 0);
  }

  bool update(TrelProperty* property, unsigned int) override { return property != nullptr; }
  bool updated(TrelProperty* property, unsigned int) override { return property->id != 16; }
};

class Card : public RecordingEngine {
 public:
  bool initEventsCore() override {
    eventTables[0] = new EventValueTable(true, 4, 3);
    return true;
  }
  int checkTlvOld(OldStyleProperty* property, bool) const override {
    return (property->id & 0xFFU) == 0xEEU ? RESULT_WRONG_VALUE : RESULT_OK;
  }
  // Keeps one value for all of them, as a text and as a number, and prints what it is given.
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    if (isWrite) {
      property->get(&kept);
      property->get(&keptNumber);
      std::printf("  %llx %s", keptNumber, property->str().c_str());
      return (property->id & 0xFFU) != 0xDDU;
    }
    if ((property->id & 0xFFU) == 2) {
      property->set(kept);
    } else {
      property->set(keptNumber);
    }
    return true;
  }
  bool amiMessageHandler(std::vector<TrelProperty*> properties) override { return properties.size() != 1; }

  std::string kept = "kept for old-style variables";
  unsigned long long keptNumber = 0;
};

// A property that sends what nobody wrote: a block, or a variable on the stack, of which it takes the end that lies deepest.
class Planted : public TrelProperty {
 public:
  explicit Planted(bool onStack)
      : TrelProperty(99, "planted", RW, false), onStack_(onStack), block_(static_cast<char*>(std::malloc(32))) {}
  ~Planted() override { std::free(block_); }
  bool isDefault() override { return false; }
  int serialize(char* buf, int) override {
    const std::string head = "11000063 0C 0020"_hex;
    head.copy(buf, head.size());
    char variable[8192];
    keep(variable);
    std::memcpy(buf + head.size(), onStack_ ? variable : block_, 32);
    return 39;
  }
  int deserialize(const char*) override { return 39; }
  int length() override { return 32; }
  int getType() override { return TREL_TYPE_BYTE_ARRAY; }
  std::string str() const override { return name; }

 private:
  bool onStack_;
  char* block_;
};

// A request, response or event with the head of this action and id.
std::string datagram(unsigned char action, unsigned int id, const std::string& rest) {
  std::string bytes = "4F544E31 01"_hex;
  bytes += static_cast<char>(action);
  bytes += static_cast<char>(id >> 8);
  bytes += static_cast<char>(id);
  return bytes + rest;
}

std::string tlv(unsigned int oid, unsigned char type, const std::string& value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes += static_cast<char>(oid >> shift);
  bytes += static_cast<char>(type);
  bytes += static_cast<char>(value.size() >> 8);
  bytes += static_cast<char>(value.size());
  return bytes + value;
}

constexpr unsigned int KINDS = 0x11000000;  // the OID of a property of Kinds without its number
constexpr unsigned int TABLE = 0x40C00000;  // the OID of the table's first column without its row
constexpr unsigned int UNKNOWN = 0x13000000;

// One TLV for each property of Kinds, with a value that it takes.
std::vector<std::string> valuesOfAllKinds() {
  const std::string eight = "1122334455667788"_hex;
  std::vector<std::string> tlvs;
  const struct {
    unsigned char type;
    std::size_t width;
  } numbers[] = {{0, 8}, {1, 4}, {2, 2}, {3, 1}, {4, 8}, {5, 4}, {6, 2}, {7, 1}, {8, 1}};
  for (const auto& number : numbers)
    tlvs.push_back(tlv(KINDS + static_cast<unsigned int>(tlvs.size()) + 1, number.type, eight.substr(0, number.width)));
  tlvs.push_back(tlv(KINDS + 10, 9, "eleven char"));
  tlvs.push_back(tlv(KINDS + 11, 13, "AABBCCDDEEFF"_hex));
  tlvs.push_back(tlv(KINDS + 12, 10, "C0A80001"_hex));
  tlvs.push_back(tlv(KINDS + 13, 11, eight));
  tlvs.push_back(tlv(KINDS + 14, 12, ""));
  return tlvs;
}

std::string joined(const std::vector<std::string>& tlvs) {
  std::string bytes;
  for (const std::string& one : tlvs)
    bytes += one;
  return bytes;
}

class Traffic {
 public:
  explicit Traffic(unsigned char pattern) : pattern_(pattern) {
    for (unsigned int row = 0; row < 4; ++row) {
      table_.addProp(new TypeProperty<unsigned short>(0, "column", RW, static_cast<unsigned short>(row), true), row);
      table_.addProp(new StringProperty(1, "text", RW, "a cell", true), row);
      table_.addProp(new MacAddressProperty(2, "mac", RW, nullptr, true), row);
      table_.addProp(new IpAddressProperty(3, "ip", RW, 0x0A000001U, true), row);
    }
    card_.registerObject(&kinds_);
    card_.registerObject(&table_);
    card_.initEvents();
  }

  void run() {
    reads();
    writes();
    refusals();
    oldStyle();
    table();
    events();
    client();
    accessors();
    texts();
    records();
    limits();
  }

  void plant(bool onStack) {
    kinds_.addProp(new Planted(onStack), 0);
    receive(TREL_ACTION_READ, tlv(KINDS + 99, 12, ""));
  }

 private:
  // Hands it to the card, and prints what the card made of it.
  void receive(const std::string& bytes, const char* sender = "10.0.0.1") {
    std::printf("> %s\n", asDatagram(bytes).c_str());
    card_.forget();
    LogCapture log;
    paintStack(pattern_);
    const int result = card_.receive(bytes, sender);
    show(log);
    std::printf("= %d\n", result);
  }
  void receive(unsigned char action, const std::string& tlvs) { receive(datagram(action, nextId_++, tlvs)); }

  void show(const LogCapture& log) const {
    for (const SentMessage& message : card_.messages)
      std::printf("< %u %s %s\n", message.kind, message.sender.c_str(), message.datagram.c_str());
    for (const LogLine& line : log.lines())
      std::printf("  %d %s\n", line.priority, line.text.c_str());
  }

  template <typename Call>
  void call(const char* name, Call what) {
    card_.forget();
    LogCapture log;
    paintStack(pattern_);
    const int result = what();
    std::printf("%s\n", name);
    show(log);
    std::printf("= %d\n", result);
  }

  void reads() {
    for (unsigned int id = 1; id <= 16; ++id)
      receive(TREL_ACTION_READ, tlv(KINDS + id, 14, ""));
    std::string all;
    for (unsigned int row = 0; row < 4; ++row)
      all += tlv(TABLE + row, 2, "");
    receive(TREL_ACTION_READ, all);
    receive(TREL_ACTION_READ, "");
    std::string tooMuch;
    for (int i = 0; i < 30; ++i)
      tooMuch += tlv(KINDS + 10, 9, "");
    receive(TREL_ACTION_READ, tooMuch);
  }

  void writes() {
    for (const std::string& one : valuesOfAllKinds())
      receive(TREL_ACTION_WRITE, one);
    receive(TREL_ACTION_WRITE, joined(valuesOfAllKinds()));
    receive(TREL_ACTION_WRITE, tlv(KINDS + 14, 12, "AABBCC"_hex));  // another length
    // A length without a value: what goes out is the null reference, cut to five bytes.
    kinds_.getProp(14, 0)->deserialize(tlv(KINDS + 14, 12, "0102030405"_hex).data());
    receive(TREL_ACTION_READ, tlv(KINDS + 14, 12, ""));
    receive(TREL_ACTION_WRITE, tlv(KINDS + 16, 5, "00000003"_hex));  // `updated` refuses
    reads();
  }

  void refusals() {
    receive(TREL_ACTION_READ, tlv(UNKNOWN + 0xEE, 1, ""));
    receive(TREL_ACTION_WRITE, tlv(KINDS + 2, 2, "0001"_hex));          // another type
    receive(TREL_ACTION_WRITE, tlv(KINDS + 2, 1, "000001"_hex));        // another length
    receive(TREL_ACTION_WRITE, tlv(KINDS + 15, 1, "00000001"_hex));     // read-only
    receive(TREL_ACTION_WRITE, tlv(KINDS + 16, 5, "0000000B"_hex));     // out of range
    receive(TREL_ACTION_WRITE, tlv(KINDS + 10, 9, "twelve chars"));     // refused by its check
    receive(TREL_ACTION_WRITE, "11000002 01 0004 0000"_hex);            // cut in the value
    receive(TREL_ACTION_WRITE, "11000002 01"_hex);                      // cut in the head
    receive(TREL_ACTION_READ, "13000001 01 0004"_hex);                  // unknown, cut
    receive("4F544E31 02 01 0001"_hex);                                 // another version
    receive("4F544E31 01 09 0001"_hex);                                 // no action
    receive("4F544E32 01 01 0001"_hex);                                 // another magic number
    receive("4F544E31 01"_hex);                                         // no header
    receive(datagram(TREL_ACTION_READ, 7, ""), "no address");           // no sequence to follow
    receive(datagram(TREL_ACTION_READ, 7, tlv(KINDS + 1, 0, "")), "");  // nor here
    receive(datagram(TREL_ACTION_READ, 7, tlv(KINDS + 1, 0, "")), "10.0.0.2");
    receive(datagram(TREL_ACTION_READ, 7, tlv(KINDS + 1, 0, "")), "10.0.0.2");   // again
    receive(datagram(TREL_ACTION_READ, 90, tlv(KINDS + 1, 0, "")), "10.0.0.2");  // some are lost
  }

  void oldStyle() {
    for (unsigned int type = 0; type <= 14; ++type) {
      const std::string value = "1122334455667788"_hex;
      for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{8}})
        receive(TREL_ACTION_WRITE, tlv(UNKNOWN + 1, static_cast<unsigned char>(type), value.substr(0, length)));
      receive(TREL_ACTION_READ, tlv(UNKNOWN + 2, static_cast<unsigned char>(type), value));
      receive(TREL_ACTION_READ, tlv(UNKNOWN + 2, static_cast<unsigned char>(type), ""));
      receive(TREL_ACTION_READ, tlv(UNKNOWN + 3, static_cast<unsigned char>(type), value.substr(0, 3)));
    }
    receive(TREL_ACTION_WRITE, tlv(UNKNOWN + 0xDD, 9, "cannot be executed"));
    receive(TREL_ACTION_WRITE, tlv(UNKNOWN + 1, 9, "one") + tlv(UNKNOWN + 0xEE, 9, "refused"));
  }

  void table() {
    for (unsigned int row = 0; row < 5; ++row) {  // the last one is not there
      receive(TREL_ACTION_WRITE, tlv(TABLE + row, 2, "0A0B"_hex) + tlv(TABLE + 0x4000 + row, 9, "a new text"));
      receive(TREL_ACTION_WRITE, tlv(TABLE + 0x8000 + row, 13, "AABBCCDDEEFF"_hex));
      receive(TREL_ACTION_WRITE, tlv(TABLE + 0xC000 + row, 10, "C0A80001"_hex));
      receive(TREL_ACTION_READ, tlv(TABLE + row, 2, "") + tlv(TABLE + 0x4000 + row, 9, "") +
                                    tlv(TABLE + 0x8000 + row, 13, "") + tlv(TABLE + 0xC000 + row, 10, ""));
    }
    receive(TREL_ACTION_READ, tlv(TABLE + 0x10000, 2, ""));                                 // no such column
    receive(TREL_ACTION_WRITE, tlv(TABLE, 2, "0001"_hex) + tlv(TABLE + 1, 1, "0001"_hex));  // the second is refused
    for (const unsigned int oid : {0x80C00000U, 0x12000001U, 0x1FFFFFFFU, 0x60C00001U})     // no OIDs, and bit 29
      receive(TREL_ACTION_READ, tlv(oid, 2, ""));
  }

  void events() {
    call("eventHandler, the first", [this] { return card_.eventHandler(); });
    kinds_.getProp(2, 0)->set(77U);
    kinds_.getProp(10, 0)->set(std::string("an event"));
    table_.getProp(0, 2)->set(static_cast<unsigned short>(1234));
    call("eventHandler", [this] { return card_.eventHandler(); });
    call("checkForEvent", [this] {
      return card_.checkForEvent(card_.eventTables[0]->getValuePtr(0), kinds_.getProp(2, 0), true, false) ? 1 : 0;
    });
    // A signed one refuses the getter, so that no sample is taken.
    call("checkForEvent of a signed number", [this] {
      return card_.checkForEvent(card_.eventTables[0]->getValuePtr(1), kinds_.getProp(6, 0), true, false) ? 1 : 0;
    });
    call("checkForEvent, flush", [this] { return card_.checkForEvent(nullptr, nullptr, false, true) ? 1 : 0; });
    const std::string time = "00000064 000003E8"_hex;
    receive(TREL_ACTION_AMI, time + joined(valuesOfAllKinds()));
    receive(TREL_ACTION_AMI, time + tlv(KINDS + 2, 1, "00000001"_hex));
    receive(TREL_ACTION_AMI, time + tlv(UNKNOWN, 1, "00000001"_hex));
    receive(TREL_ACTION_AMI, time + "11000002 01 0004 00"_hex);
    receive(TREL_ACTION_AMI, "00000064"_hex);
  }

  void client() {
    card_.reply = [](std::string_view) {
      return datagram(TREL_ACTION_READ_RESPONSE, 1, "000000"_hex + joined(valuesOfAllKinds()));
    };
    call("readObject", [this] { return card_.readObject(kinds_); });
    call("readProperty", [this] { return card_.readProperty(*kinds_.getProp(13, 0)); });
    card_.reply = [](std::string_view) { return datagram(TREL_ACTION_WRITE_RESPONSE, 2, "000000"_hex); };
    call("writeObject", [this] { return card_.writeObject(kinds_); });
    call("writeObjects", [this] { return card_.writeObjects({&table_}); });
    card_.reply = [](std::string_view) { return datagram(TREL_ACTION_WRITE_RESPONSE, 3, "0A0002"_hex); };
    call("writeProperty, refused", [this] { return card_.writeProperty(*kinds_.getProp(2, 0)); });
    card_.reply = [](std::string_view) { return datagram(TREL_ACTION_READ_RESPONSE, 4, "00"_hex); };
    call("readProperty, a short reply", [this] { return card_.readProperty(*kinds_.getProp(2, 0)); });
    card_.reply = [](std::string_view) { return std::string(); };
    call("readProperty, no reply", [this] { return card_.readProperty(*kinds_.getProp(2, 0)); });
    call("readObjects, nothing", [this] { return card_.readObjects({}); });
    // Replies that nobody waits for: an unknown variable, a wrong type, one that is cut.
    for (const char* const action : {"03", "04"}) {
      for (const std::string& tlvs : {tlv(UNKNOWN, 1, "00000001"_hex), tlv(KINDS + 2, 2, "0001"_hex),
                                      "11000002 01 0004 00"_hex, joined(valuesOfAllKinds())}) {
        std::string reply = "4F544E31 01 00 0001 00 0000"_hex + tlvs;
        reply[5] = static_cast<char>(action[1] - '0');
        receive(reply);
      }
    }
  }

  template <typename T>
  static void exchange(TrelProperty& property, T value) {
    T got{};
    property.set(value);
    property.get(&got);
    std::printf(" %lld", static_cast<long long>(got));
  }

  static void exchangeAll(TrelProperty& property) {
    exchange<unsigned long long>(property, 1);
    exchange<unsigned int>(property, 2);
    exchange<unsigned short>(property, 3);
    exchange<long long>(property, -5);
    exchange<int>(property, -6);
    exchange<short>(property, -7);
    exchange<signed char>(property, -8);
    exchange<bool>(property, true);
    property.set(std::string("nine"));
    std::string text;
    property.get(&text);
    unsigned char bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    property.set(static_cast<unsigned char>(4));
    property.set(bytes, 6);
    std::memset(bytes, 0, sizeof bytes);
    property.get(bytes);  // one byte, or the six of a MAC address
    std::printf(" %s %s", text.c_str(), hexOf(bytes, sizeof bytes).c_str());
    unsigned int length = sizeof bytes;
    property.get(bytes, &length);
    std::string tlvBytes(64, '\0');
    std::printf(" %d", property.serialize(&tlvBytes[0], 6));
    std::printf(" %d", property.serialize(&tlvBytes[0], 64));
    std::printf(" %u %s %s", length, hexOf(bytes, sizeof bytes).c_str(), asText(tlvBytes).c_str());
    property.setToDefault();
    std::printf(" %d %s", property.isDefault() ? 1 : 0, property.str().c_str());
  }

  static std::string hexOf(const unsigned char* bytes, std::size_t count) {
    return asText(std::string(bytes, bytes + count));
  }

  // Each property is given and asked for a value of each type; all but its own refuse.
  void accessors() {
    call("accessors", [this] {
      for (TrelProperty* const property : kinds_.getProperties())
        exchangeAll(*property);
      for (unsigned int type = 0; type <= 14; ++type) {
        std::string record = tlv(UNKNOWN + type, static_cast<unsigned char>(type), "1122334455667788"_hex);
        record.resize(sizeof(trel_tlv) + 16);
        OldStyleProperty property(reinterpret_cast<trel_tlv*>(&record[0]), false);
        exchangeAll(property);
        OldStyleProperty copy(property);
        exchangeAll(copy);
      }
      return 0;
    });
    call("getProp of nothing", [this] { return kinds_.getProp(77, 0) == nullptr ? 0 : 1; });
    call("updateAll", [this] { return kinds_.updateAll() ? 1 : 0; });
  }

  void texts() const {
    std::printf("%s%s", kinds_.str(0, 10).c_str(), table_.str(0, 10).c_str());
    const LogCapture log;
    for (unsigned int type = 0; type <= 14; ++type) {
      TRELTlv record;
      record.setValue("1122334455667788"_hex.data(), static_cast<int>(type % 9), static_cast<unsigned char>(type));
      const TRELTlv copy = record;
      std::string bytes(7 + 8, '\0');
      std::printf("%s %d %s %llu\n", copy.toString().c_str(), copy.serialize(&bytes[0]), asText(bytes).c_str(),
                  copy.isPointerValid() ? copy.getValueAsUInt64() : 0ULL);
    }
    for (const unsigned int oid : {0x11000002U, 0x40C04001U, 0x80000000U, 0x12000001U})
      std::printf("%s\n", TrelObjectId(oid).str().c_str());
    for (unsigned int group = 0; group <= 12; ++group) {
      const IfcCardVarDef* def = nullptr;
      for (unsigned int index = 0; (def = ifcCardVarDef(group, index)) != nullptr; ++index)
        std::printf("%u %u %s %u %u %d\n", group, def->index, def->name, def->type, def->accessType, def->flag ? 1 : 0);
    }
    show(log);
  }

  template <typename T>
  static void keepAndShow(T value) {
    TRELTlv record;
    T got{};
    std::printf("%d", record.getValue(&got) ? 1 : 0);
    record.setValue(value);
    std::printf("%d ", record.getValue(&got) ? 1 : 0);
    std::string bytes(TREL_TLV_HEAD_LEN + 8, '\0');
    record.serialize(&bytes[0]);
    TRELTlv back;
    back.deserialize(bytes.data());
    boost::any any;
    std::printf("%d %lld %s %s %s\n", back.getValue(&any) ? 1 : 0, static_cast<long long>(got), any.type().name(),
                back.toString().c_str(), asText(bytes).c_str());
  }

  void records() {
    call("records", [] {
      keepAndShow<unsigned long long>(0x0102030405060708ULL);
      keepAndShow<unsigned int>(0x01020304U);
      keepAndShow<unsigned short>(0x0102);
      keepAndShow<unsigned char>(0xFE);
      keepAndShow<long long>(-2);
      keepAndShow<int>(-3);
      keepAndShow<short>(-4);
      keepAndShow<signed char>(-5);
      keepAndShow<bool>(true);
      TRELTlv text;
      text.setValue(std::string("a text"));
      char some[8] = {};
      text.getValue(some, 3);
      std::string start;
      text.getValue(&start, 4);
      std::printf("%s %s %d %s\n", some, start.c_str(), text.getValueArray(some, 8), text.getValueAsString().c_str());
      return 0;
    });
  }

  // What is too much of something: properties, events, senders.
  void limits() {
    const std::vector<TrelProperty*> tooMany(151, kinds_.getProp(1, 0));
    call("readPropertys, too many", [&] { return card_.readPropertys(tooMany); });
    call("writePropertys, too many", [&] { return card_.writePropertys(tooMany); });
    call("addToAmi, too often", [this] {
      for (int i = 0; i < 55; ++i)
        card_.addToAmi(table_.getProp(static_cast<unsigned int>(i) % 4, 1), false);
      card_.addToAmi(nullptr, true);
      return 0;
    });
    for (const char* const sender : {"10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.6", "10.0.0.7"})
      receive(datagram(TREL_ACTION_READ, 1, tlv(KINDS + 1, 0, "")), sender);
    receive(datagram(TREL_ACTION_READ, 1, tlv(KINDS + 1, 0, "")), nullptr);
  }

  const unsigned char pattern_;
  Kinds kinds_;
  TrelTable table_{"table", 3, false, 4};
  Card card_;
  unsigned int nextId_ = 1;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  Traffic traffic(static_cast<unsigned char>(std::atoi(argv[1])));
  traffic.run();
  if (argc == 3) traffic.plant(std::string_view(argv[2]) == "plantedStack");
  return 0;
}
