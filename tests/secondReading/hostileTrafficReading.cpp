// What no traffic may bring about. A fixed seed; every property kind; hooks that refuse, change lengths, call the engine again
// and throw.

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"
#include "trel/trelProtocolBase.h"

namespace {

// Not std::uniform_int_distribution: its numbers differ between standard libraries.
class Dice {
 public:
  explicit Dice(unsigned int seed) : engine_(seed) {}
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(engine_() % limit); }
  bool oneIn(unsigned int n) { return below(n) == 0; }
  std::string bytes(std::size_t n) {
    std::string all(n, '\0');
    for (char& c : all)
      c = static_cast<char>(below(256));
    return all;
  }

 private:
  std::mt19937 engine_;
};

std::string big(unsigned int value, unsigned int width) {
  std::string bytes;
  for (unsigned int i = width; i > 0; --i)
    bytes += static_cast<char>(static_cast<unsigned char>(value >> (8 * (i - 1))));
  return bytes;
}

unsigned int bigAt(const std::string& bytes, std::size_t place, std::size_t width) {
  unsigned int value = 0;
  for (std::size_t i = 0; i < width; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[place + i]);
  return value;
}

std::string tlvOf(TrelProperty& property) {
  ExactBlock block(static_cast<std::size_t>(7 + property.length()));
  EXPECT_EQ(property.serialize(block.data(), block.length()), block.length());
  return std::string(block.view());
}

class NoExclamation : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override { return value.find('!') == std::string::npos; }
};

// An application's own kind: its type on the wire is not that of its number, and it refuses odd values.
class Even : public TypeProperty<unsigned int> {
 public:
  using TypeProperty<unsigned int>::TypeProperty;
  int getType() override { return TREL_TYPE_IPV4ADDRESS; }
  bool validValue(const char* received, int len) override { return (received[len - 1] & 1) == 0; }
};

class Target;

template <typename Base>
class Trap : public Base {
 public:
  using Base::Base;
  bool update(TrelProperty* property, unsigned int row) override;
  bool updated(TrelProperty* property, unsigned int row) override;
  Target* target = nullptr;
};

class Target : public TrelProtocolBase {
 public:
  Target(unsigned int seed, bool answersHeaderErrors)
      : TrelProtocolBase(answersHeaderErrors), dice_(seed), answersHeaderErrors_(answersHeaderErrors) {
    fill();
  }

  // One hostile datagram, judged, and a good read behind it.
  void attack() {
    deliver(datagram(), false);
    if (testing::Test::HasFailure()) return;
    const unsigned int value = ++reads_;
    probe_->set(value);
    quiet_ = true;
    const Frame frame = deliver("4F544E31 01 01"_hex + big(reads_, 2) + "10800014 01 0000"_hex, false);
    quiet_ = false;
    ASSERT_EQ(frame.answer.size(), 22U);
    EXPECT_EQ(asText(frame.answer.substr(0, 8)), asText("4F544E31 01 03"_hex + big(reads_, 2)));
    const unsigned int result = bigAt(frame.answer, 8, 1);
    EXPECT_TRUE(result == 0 || result == 2 || result == 3 || result == 16 || result == 17) << result;
    EXPECT_EQ(asText(frame.answer.substr(9)), asText("0000 10800014 01 0004"_hex + big(value, 4)));
  }

  int sendMsg(TRELMessage& message) override {
    ExactBlock block(static_cast<std::size_t>(message.headerLen + message.sizeOfTlvs()));
    EXPECT_TRUE(message.serialize(block.data(), block.length()));
    const std::string bytes(block.view());
    if (message.msgKind == TREL_KIND_REQUEST) {
      if (!dice_.oneIn(4)) replyBuffer = datagram();
    } else if (message.msgKind == TREL_KIND_RESPONSE) {
      EXPECT_FALSE(frames_.empty());
      if (!frames_.empty()) {
        ++frames_.back().answers;
        frames_.back().answer = bytes;
      }
      if (message.action == 3) {
        EXPECT_LE(bytes.size(), 1200U);
        ++readAnswers;
      } else {
        EXPECT_EQ(bytes.size(), 11U);
      }
    }
    disturb();
    return static_cast<int>(dice_.below(3)) - 1;
  }

  int checkTlvOld(OldStyleProperty* property, bool) const override {
    if (dice_.oneIn(6)) changeLength(*property);
    return dice_.oneIn(5) ? static_cast<int>(5 + dice_.below(5)) : 0;
  }

  bool handleTrelMsgOld(OldStyleProperty* property, bool) override {
    ++oldStyleCalls;
    if (dice_.oneIn(2)) changeLength(*property);
    disturb();
    return !dice_.oneIn(6);
  }

  bool amiMessageHandler(std::vector<TrelProperty*>) override {
    disturb();
    return dice_.oneIn(2);
  }

  bool onUpdate(TrelProperty* property) {
    if (!quiet_ && dice_.oneIn(12)) {
      property->set(dice_.below(1000));  // most kinds refuse it
      ++disturbances_;
    }
    disturb();
    return dice_.oneIn(2);
  }

  bool onUpdated() {
    disturb();
    return !dice_.oneIn(4);
  }

  // What the run must have reached, or it has shown nothing.
  unsigned int readAnswers = 0;
  unsigned int oldStyleCalls = 0;
  unsigned int refusedWrites = 0;
  unsigned int appliedWrites = 0;
  unsigned int nestedCalls = 0;
  unsigned int thrown = 0;

 private:
  struct Frame {
    int answers = 0;
    std::string answer;
  };

  void add(TrelObject& object, TrelProperty* property, unsigned int row) { ASSERT_TRUE(object.addProp(property, row)); }

  void fill() {
    const IfcCardVarAccessType rw = IFC_CARD_VAR_READ_WRITE;
    add(scalar_, new TypeProperty<unsigned long long>(0, "u64", rw, 1ULL, true), 0);
    add(scalar_, new TypeProperty<unsigned int>(1, "u32", rw, 1U, new RangeCheckValue<unsigned int>(0, 0x7FFFFFFFU)),
        0);
    add(scalar_, new TypeProperty<unsigned short>(2, "u16", rw, 1, true), 0);
    add(scalar_, new TypeProperty<unsigned char>(3, "u8", rw, 1, new RangeCheckValue<unsigned char>(0, 200)), 0);
    add(scalar_, new TypeProperty<long long>(4, "i64", rw, 1LL), 0);
    add(scalar_, new TypeProperty<int>(5, "i32", rw, 1, true), 0);
    add(scalar_, new TypeProperty<short>(6, "i16", rw, 1), 0);
    add(scalar_, new TypeProperty<signed char>(7, "i8", rw, 1), 0);
    add(scalar_, new TypeProperty<bool>(8, "flag", rw, true, true), 0);
    add(scalar_, new StringProperty(9, "text", rw, std::string("text"), &check_, true), 0);
    add(scalar_, new ArrayProperty(10, "bytes", rw, true), 0);
    unsigned char address[6] = {1, 2, 3, 4, 5, 6};
    add(scalar_, new MacAddressProperty(11, "mac", rw, address, true), 0);
    add(scalar_, new IpAddressProperty(12, "ip", rw, 0x0A000001U, true), 0);
    add(scalar_, new UnixTimeProperty(13, "time", rw, 1LL, true), 0);
    add(scalar_, new TypeProperty<unsigned int>(14, "fixed", IFC_CARD_VAR_READ_ONLY, 1U), 0);
    add(scalar_, new Even(15, "even", rw, 2U), 0);
    add(twin_, new TypeProperty<unsigned int>(0, "hidden", rw, 7U), 0);
    probe_ = new TypeProperty<unsigned int>(20, "probe", IFC_CARD_VAR_READ_ONLY, 7U);
    add(twin_, probe_, 0);
    for (unsigned int row = 0; row < 4; ++row) {
      add(table_, new TypeProperty<unsigned int>(0, "cell", rw, row, true), row);
      add(table_, new StringProperty(1, "label", rw, std::string("label")), row);
      add(table_, new MacAddressProperty(2, "port", rw, address, false), row);
    }
    scalar_.target = table_.target = this;
    registerObject(&scalar_);
    registerObject(&twin_);
    registerObject(&table_);
    for (TrelObject* object : objects)
      for (TrelProperty* property : object->getProperties())
        all_.push_back(property);
  }

  std::string snapshot() {
    std::string state;
    for (TrelProperty* property : all_)
      state += tlvOf(*property);
    return state;
  }

  // ----- what comes in -----

  std::string tlv() {
    if (dice_.oneIn(5)) {
      const std::size_t size = dice_.below(12);
      return big((dice_.oneIn(2) ? 0x10800100U : 0x40C0C000U) + dice_.below(8), 4) + big(dice_.below(16), 1) +
             big(static_cast<unsigned int>(size), 2) + dice_.bytes(size);
    }
    std::string bytes = tlvOf(*all_[dice_.below(static_cast<unsigned int>(all_.size()))]);
    if (bytes[4] == TREL_TYPE_STRING) {
      const unsigned int size = dice_.oneIn(20) ? 400 : dice_.below(20);
      return bytes.substr(0, 5) + big(size, 2) + dice_.bytes(size);
    }
    if (bytes[4] == TREL_TYPE_BYTE_ARRAY && dice_.oneIn(3)) return bytes.substr(0, 7);
    return bytes.substr(0, 7) + dice_.bytes(bytes.size() - 7);
  }

  std::string goodDatagram() {
    const unsigned int action = dice_.oneIn(4) ? 3 + dice_.below(3) : 1 + dice_.below(2);
    std::string bytes = "4F544E31 01"_hex + big(action, 1) + big(dice_.below(6), 2);
    if (action == 3 || action == 4) bytes += big(dice_.oneIn(3) ? dice_.below(20) : 0, 1) + "0000"_hex;
    if (action == 5) bytes += dice_.bytes(8);
    const unsigned int tlvs = dice_.oneIn(30) ? 120 : dice_.below(6);
    for (unsigned int i = 0; i < tlvs; ++i)
      bytes += tlv();
    return bytes;
  }

  std::string datagram() {
    if (dice_.oneIn(20)) return dice_.bytes(dice_.below(40));
    if (dice_.oneIn(20)) return "4F544E31 01"_hex + big(dice_.below(8), 1) + dice_.bytes(dice_.below(60));
    std::string bytes = goodDatagram();
    if (dice_.oneIn(3)) return bytes;
    for (unsigned int i = dice_.below(4); i > 0 && !bytes.empty(); --i) {
      const std::size_t place = dice_.oneIn(3) ? dice_.below(static_cast<unsigned int>(bytes.size()))
                                               : bytes.size() - 1 - bytes.size() * dice_.below(100) / 120;
      switch (dice_.below(4)) {
        case 0:
          bytes[place] = static_cast<char>(dice_.below(256));
          break;
        case 1:
          bytes[place] = static_cast<char>(bytes[place] ^ (1 << dice_.below(8)));
          break;
        case 2:
          bytes.insert(place, dice_.bytes(1 + dice_.below(3)));
          break;
        default:
          bytes.erase(place, 1 + dice_.below(8));
      }
    }
    if (dice_.oneIn(3)) bytes.resize(dice_.below(static_cast<unsigned int>(bytes.size()) + 1));
    return bytes;
  }

  // ----- what the application does meanwhile -----

  void changeLength(OldStyleProperty& property) const {
    const unsigned int size = dice_.oneIn(10) ? 1500 : dice_.below(30);
    std::string bytes = dice_.bytes(size);
    if (dice_.oneIn(3)) {
      const ExactBlock record(big(property.id, 4) + big(dice_.below(16), 1) + big(size, 2) + bytes);
      property.deserialize(record.data());
    } else if (property.getType() == TREL_TYPE_STRING) {
      property.set(bytes);
    } else {
      property.set(reinterpret_cast<unsigned char*>(bytes.data()), size);  // refused but for bytes and addresses
    }
  }

  void disturb() {
    if (quiet_ || frames_.size() > 3 || !dice_.oneIn(40)) return;
    ++disturbances_;
    switch (dice_.below(5)) {
      case 0:
        ++thrown;
        throw std::runtime_error("hook");
      case 1:
        eventHandler();
        break;
      case 2: {
        // A frame of its own: the peer's "reply" may be anything, a request too.
        frames_.push_back(Frame());
        try {
          TrelProperty* property = all_[dice_.below(static_cast<unsigned int>(all_.size()))];
          dice_.oneIn(2) ? readProperty(*property) : writeObject(table_);
        } catch (const std::runtime_error&) {
        }
        EXPECT_LE(frames_.back().answers, 1);
        frames_.pop_back();
        break;
      }
      default:
        ++nestedCalls;
        deliver(datagram(), true);
    }
  }

  // ----- the judgement -----

  int expectedAnswers(const std::string& bytes) const {
    if (bytes.size() < 8 || bytes.compare(0, 4, "OTN1") != 0) return 0;
    const unsigned int action = bigAt(bytes, 5, 1);
    if (bytes[4] != 1 || action < 1 || action > 5) return answersHeaderErrors_ ? 1 : 0;
    return action <= 2 ? 1 : 0;
  }

  const char* senderOf() {
    static const char* const senders[] = {nullptr,    "",         "10.0.0.1", "10.0.0.2", "10.0.0.3",
                                          "10.0.0.4", "10.0.0.5", "10.0.0.6", "abc",      "1.2.3.4 "};
    // The table fills up on the way, not at once.
    return senders[dice_.below(reads_ < 500 ? 3 : 10)];
  }

  // The last value of each known OID must be what its property holds now.
  void judgeAppliedWrite(const std::string& bytes) {
    std::vector<std::string> tlvs;
    for (std::size_t place = 8; place < bytes.size();) {
      ASSERT_LE(place + 7, bytes.size());
      const std::size_t size = 7 + bigAt(bytes, place + 5, 2);
      ASSERT_LE(place + size, bytes.size()) << asDatagram(bytes);
      tlvs.push_back(bytes.substr(place, size));
      place += size;
    }
    for (const std::string& each : tlvs)
      for (TrelObject* object : objects)
        if (object->isValidObjectId(bigAt(each, 0, 4)) == false && object == objects.back()) {
          return;  // old-style ones may shift what follows
        } else if (object->isValidObjectId(bigAt(each, 0, 4))) {
          break;
        }
    std::vector<std::string> seen;
    for (auto each = tlvs.rbegin(); each != tlvs.rend(); ++each) {
      const std::string oid = each->substr(0, 4);
      bool later = false;
      for (const std::string& other : seen)
        later = later || other == oid;
      if (later) continue;
      seen.push_back(oid);
      TrelProperty* property = nullptr;
      for (TrelObject* object : objects)
        if (property == nullptr) property = object->getPropFromOID(bigAt(oid, 0, 4));
      ASSERT_NE(property, nullptr);
      const std::size_t compared = property->getType() == TREL_TYPE_BYTE_ARRAY ? 7 : each->size();
      EXPECT_EQ(asText(tlvOf(*property).substr(0, compared)), asText(each->substr(0, compared)));
    }
    ++appliedWrites;
  }

  Frame deliver(const std::string& bytes, bool nested) {
    const std::string before = nested ? std::string() : snapshot();
    const unsigned int disturbancesBefore = disturbances_;
    frames_.push_back(Frame());
    const std::size_t depth = frames_.size();
    bool interrupted = false;
    try {
      const ExactBlock block(bytes);
      handleTrelMsg(block.length(), block.data(), senderOf());
    } catch (const std::runtime_error&) {
      interrupted = true;
    }
    EXPECT_EQ(frames_.size(), depth);
    const Frame frame = frames_.back();
    frames_.pop_back();
    const int expected = expectedAnswers(bytes);
    if (interrupted) {
      EXPECT_LE(frame.answers, expected);
    } else {
      EXPECT_EQ(frame.answers, expected) << asDatagram(bytes);
    }
    if (frame.answer.size() >= 11) {
      EXPECT_EQ(asText(frame.answer.substr(6, 2)), asText(bytes.substr(6, 2)));
      EXPECT_EQ(frame.answer[5], bytes[5] == 1 ? 3 : 4);
      const unsigned int result = bigAt(frame.answer, 8, 1);
      const bool applied = result == 0 || result == 2 || result == 3 || result == 16 || result == 17;
      const bool request = bytes[4] == 1 && (bytes[5] == 1 || bytes[5] == 2);
      if (request && bytes[5] == 2 && !nested && disturbances_ == disturbancesBefore && !interrupted) {
        if (applied) {
          judgeAppliedWrite(bytes);
        } else if (result != 12) {
          ++refusedWrites;
          EXPECT_EQ(asText(snapshot()), asText(before)) << asDatagram(bytes);
        }
      }
      if (!applied) {
        EXPECT_EQ(frame.answer.size(), 11U);
      }
      // A read and a header error change nothing either.
      if (!nested && disturbances_ == disturbancesBefore && (!request || bytes[5] == 1)) {
        EXPECT_TRUE(snapshot() == before) << asDatagram(bytes);
      }
    }
    return frame;
  }

  mutable Dice dice_;
  bool answersHeaderErrors_;
  NoExclamation check_;
  Trap<TrelScalar> scalar_{"scalar", 1, true};
  TrelScalar twin_{"twin", 1, true};
  Trap<TrelTable> table_{"table", 3, false, 4};
  TypeProperty<unsigned int>* probe_ = nullptr;
  std::vector<TrelProperty*> all_;
  std::vector<Frame> frames_;
  bool quiet_ = false;
  unsigned int reads_ = 0;
  unsigned int disturbances_ = 0;
};

template <typename Base>
bool Trap<Base>::update(TrelProperty* property, unsigned int) {
  return target->onUpdate(property);
}

template <typename Base>
bool Trap<Base>::updated(TrelProperty*, unsigned int) {
  return target->onUpdated();
}

void run(unsigned int seed, bool answersHeaderErrors, unsigned int datagrams, unsigned int expectedOfEach) {
  Target target(seed, answersHeaderErrors);
  for (unsigned int i = 0; i < datagrams && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE("datagram " + std::to_string(i) + " of seed " + std::to_string(seed));
    target.attack();
  }
  if (expectedOfEach == 0) return;
  EXPECT_GT(target.readAnswers, expectedOfEach);
  EXPECT_GT(target.oldStyleCalls, expectedOfEach);
  EXPECT_GT(target.refusedWrites, expectedOfEach);
  EXPECT_GT(target.appliedWrites, expectedOfEach);
  EXPECT_GT(target.nestedCalls, expectedOfEach);
  EXPECT_GT(target.thrown, expectedOfEach / 2);
}

}  // namespace

TEST(ReadingHostileTraffic, NeitherAnswersTooMuchNorChangesWhatItRefusesNorStopsServing) {
  run(20240501, true, 20000, 500);
}

TEST(ReadingHostileTraffic, TheSameWithoutAnswersToHeaderErrors) { run(7, false, 10000, 250); }

TEST(ReadingHostileTraffic, TheSameWhileEveryLineIsWritten) {
  for (unsigned int seed = 100; seed < 110; ++seed) {
    const LogCapture log;
    run(seed, true, 150, 0);
  }
}
