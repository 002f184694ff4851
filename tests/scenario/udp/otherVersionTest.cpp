// Two ends of different protocol versions, each of which answers the other's datagrams with an error: it comes to an end.

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "trelUdp/trelUdp.h"
#include "unit/trelUdp/plainSocket.h"
#include "unit/trelUdp/socketFaults.h"

namespace {

constexpr unsigned long long SECOND = 1000000000;

// An end of version 2 that answers everything of version 1 with an error of version 2.
class OtherVersion {
 public:
  // The action that its error answers bear; 0: the one that version 1 has for them.
  explicit OtherVersion(unsigned char errorAction) : errorAction_(errorAction) {}

  void send(std::string_view bytes, const TrelUdp& to) { socket_.send(bytes, to.port()); }
  unsigned short port() const { return socket_.port(); }

  // False: there was nothing to answer.
  bool answerOne() {
    const std::string received = socket_.receive();
    if (received == "nothing") return false;
    // "4F544E31 01 04 0001 ..."
    EXPECT_EQ(received.substr(0, 11), "4F544E31 01");
    ++answers;
    const bool asked = received.substr(12, 2) == "01";
    std::string error = "4F544E31 02 00 0001 01 0000"_hex;
    error[5] = static_cast<char>(errorAction_ != 0 ? errorAction_ : asked ? 3 : 4);
    socket_.reply(error);
    return true;
  }

  unsigned int answers = 0;

 private:
  PlainSocket socket_;
  const unsigned char errorAction_;
};

// Whom it asks answers before the reply is awaited: the clock stands.
class Asker : public TrelUdp {
 public:
  explicit Asker(OtherVersion& other) : other_(other) {}
  void datagramPassed(const TrelUdpDatagram& datagram) override {
    if (datagram.fate == TREL_UDP_SENT) other_.answerOne();
  }

 private:
  OtherVersion& other_;
};

class UdpOtherVersion : public testing::Test {
 protected:
  // Lets the two talk until both are silent, but not for ever.
  void talk(OtherVersion& other) {
    unsigned int rounds = 0;
    bool spoken = true;
    while (spoken && ++rounds < 1000) {
      spoken = us.handleDatagrams() > 0;
      while (other.answerOne()) {
        spoken = true;
      }
    }
    EXPECT_FALSE(spoken) << "they talk on and on";
  }

  StoppedClock clock;
  TrelUdp us;
};

}  // namespace

TEST_F(UdpOtherVersion, ThatAnswersWithAResponseGetsNoFurtherAnswer) {
  ASSERT_TRUE(us.open());
  OtherVersion other(0);
  other.send("4F544E31 02 01 0001"_hex, us);
  talk(other);
  EXPECT_EQ(us.counters().responsesSent, 1U);
  EXPECT_EQ(us.counters().dropped[TREL_UDP_DROP_UNAWAITED_REPLY], 1U);
}

TEST_F(UdpOtherVersion, ThatAnswersWithWhatLooksLikeARequestIsAnsweredFourTimes) {
  ASSERT_TRUE(us.open());
  OtherVersion other(2);
  other.send("4F544E31 02 01 0001"_hex, us);
  talk(other);
  EXPECT_EQ(us.counters().responsesSent, 4U);
  EXPECT_EQ(us.counters().dropped[TREL_UDP_DROP_VERSION], 1U);

  clock.advance(SECOND);
  other.send("4F544E31 02 01 0001"_hex, us);
  talk(other);
  EXPECT_EQ(us.counters().responsesSent, 5U) << "one more a second later";
}

TEST_F(UdpOtherVersion, ThatAnswersWithAnUnknownActionIsAnsweredFourTimesHoweverManyAreOnTheirWay) {
  ASSERT_TRUE(us.open());
  OtherVersion other(0x83);
  for (int i = 0; i < 10; ++i) {
    other.send("4F544E31 02 01 0001"_hex, us);
  }
  talk(other);
  EXPECT_EQ(us.counters().responsesSent, 4U);
  EXPECT_EQ(us.counters().dropped[TREL_UDP_DROP_VERSION] + us.counters().dropped[TREL_UDP_DROP_ACTION], 10U);
}

TEST_F(UdpOtherVersion, ThatIsAskedEndsTheRequestAndGetsNoAnswerToItsAnswer) {
  OtherVersion other(0);
  Asker asker(other);
  ASSERT_TRUE(asker.open());
  ASSERT_TRUE(asker.setPeer("127.0.0.1", other.port()));
  TypeProperty<unsigned int> value(1, "value", IFC_CARD_VAR_READ_WRITE, 0U);
  EXPECT_EQ(asker.readProperty(value), 0);
  EXPECT_EQ(asker.lastResult().outcome, TREL_UDP_UNUSABLE_REPLY);
  EXPECT_EQ(asker.handleDatagrams(), 0);
  EXPECT_FALSE(other.answerOne());
  EXPECT_EQ(other.answers, 1U);
}
