// A manager reads and writes the variables of a card: both ends, and every byte between them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scenario/linkedEngines.h"
#include "support/logCapture.h"

TEST(ReadWrite, AReadBringsTheCardsValueIntoTheMirror) {
  Line line;
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.mirror.counter->value, 42U);
  EXPECT_EQ(line.mirror.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(line.onCard.chassis.calls, Calls{});
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 01 0001 | 10800005 01 0004 00000000",
                                   "card: 4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A"}));
}

TEST(ReadWrite, AWriteTakesTheMirrorsValueToTheCard) {
  Line line;
  line.mirror.counter->set(7U);
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.onCard.counter->value, 7U);
  EXPECT_EQ(line.onCard.chassis.calls, Calls{"counter row 0"});
  EXPECT_EQ(line.mirror.chassis.calls, Calls{});
  EXPECT_EQ(line.traffic,
            (Traffic{"manager: 4F544E31 01 02 0001 | 10800005 01 0004 00000007", "card: 4F544E31 01 04 0001 00 0000"}));
}

TEST(ReadWrite, AWholeObjectIsReadInOneRequest) {
  Line line;
  line.onCard.temperature[1]->set(static_cast<short>(-5));
  line.onCard.temperature[3]->set(static_cast<short>(1000));
  EXPECT_EQ(line.manager.readObject(line.mirror.sensors), 1);
  EXPECT_EQ(line.mirror.temperature[1]->value, -5);
  EXPECT_EQ(line.mirror.temperature[3]->value, 1000);
  EXPECT_EQ(line.mirror.sensors.calls,
            (Calls{"temperature row 0", "temperature row 1", "temperature row 2", "temperature row 3"}));
  EXPECT_EQ(line.traffic,
            (Traffic{"manager: 4F544E31 01 01 0001 | 40C04000 06 0002 0000 | 40C04001 06 0002 0000 | "
                     "40C04002 06 0002 0000 | 40C04003 06 0002 0000",
                     "card: 4F544E31 01 03 0001 00 0000 | 40C04000 06 0002 0000 | 40C04001 06 0002 FFFB | "
                     "40C04002 06 0002 0000 | 40C04003 06 0002 03E8"}));
}

TEST(ReadWrite, AReadAsksByOidAloneSoATextOfAnotherLengthComesBack) {
  Line line;
  line.onCard.label->set(std::string("main controller"));
  EXPECT_EQ(line.manager.readProperty(*line.mirror.label), 1);
  EXPECT_EQ(line.mirror.labelText(), "main controller");
  EXPECT_EQ(line.traffic,
            (Traffic{"manager: 4F544E31 01 01 0001 | 10800007 09 0004 6E6F6E65",
                     "card: 4F544E31 01 03 0001 00 0000 | 10800007 09 000F 6D61696E20636F6E74726F6C6C6572"}));
}

TEST(ReadWrite, SeveralObjectsAreWrittenInOneRequest) {
  Line line;
  TrelScalar extra("extra", 2, false);
  extra.addProp(new TypeProperty<bool>(1, "on", IFC_CARD_VAR_READ_WRITE, true), 0);
  TrelScalar extraOnCard("extra", 2, false);
  auto* on = new TypeProperty<bool>(1, "on", IFC_CARD_VAR_READ_WRITE, false);
  extraOnCard.addProp(on, 0);
  line.card.registerObject(&extraOnCard);
  line.mirror.temperature[0]->set(static_cast<short>(3));
  EXPECT_EQ(line.manager.writeObjects({&extra, &line.mirror.sensors}), 1);
  EXPECT_EQ(on->value, 1);
  EXPECT_EQ(line.onCard.temperature[0]->value, 3);
  EXPECT_EQ(line.traffic, (Traffic{"manager: 4F544E31 01 02 0001 | 01000001 08 0001 01 | 40C04000 06 0002 0003 | "
                                   "40C04001 06 0002 0000 | 40C04002 06 0002 0000 | 40C04003 06 0002 0000",
                                   "card: 4F544E31 01 04 0001 00 0000"}));
}

TEST(ReadWrite, TheCardsUpdateHookSamplesTheValueThatIsAnswered) {
  class Sampling : public TrelScalar {
   public:
    using TrelScalar::TrelScalar;
    bool update(TrelProperty* property, unsigned int) override {
      property->set(++samples);
      return true;
    }
    unsigned int samples = 100;
  };
  std::vector<std::string> traffic;
  LinkedEngine card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  Sampling onCard("sampled", 1, true);
  onCard.addProp(new TypeProperty<unsigned int>(5, "p", IFC_CARD_VAR_READ_ONLY, 0U), 0);
  TrelScalar mirror("sampled", 1, true);
  auto* copy = new TypeProperty<unsigned int>(5, "p", IFC_CARD_VAR_READ_ONLY, 0U);
  mirror.addProp(copy, 0);
  card.registerObject(&onCard);
  manager.registerObject(&mirror);
  EXPECT_EQ(manager.readProperty(*copy), 1);
  EXPECT_EQ(copy->value, 101U);
  EXPECT_EQ(manager.readProperty(*copy), 1);
  EXPECT_EQ(copy->value, 102U);
}

TEST(ReadWrite, EveryKindOfPropertyTravelsBothWays) {
  static constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;
  // The same object on both ends; that of the manager starts with zeros.
  struct Kinds {
    explicit Kinds(bool onCard) {
      auto signedOf = [onCard](int value) { return onCard ? -value : 0; };
      add(new TypeProperty<unsigned long long>(1, "u64", RW, onCard ? 0x0102030405060708ULL : 0));
      add(new TypeProperty<unsigned int>(2, "u32", RW, onCard ? 0x01020304U : 0));
      add(new TypeProperty<unsigned short>(3, "u16", RW, onCard ? 0x0102 : 0));
      add(new TypeProperty<unsigned char>(4, "u8", RW, onCard ? 0xFE : 0));
      add(new TypeProperty<long long>(5, "i64", RW, signedOf(2)));
      add(new TypeProperty<int>(6, "i32", RW, signedOf(3)));
      add(new TypeProperty<short>(7, "i16", RW, static_cast<short>(signedOf(4))));
      add(new TypeProperty<signed char>(8, "i8", RW, static_cast<signed char>(signedOf(5))));
      add(new TypeProperty<bool>(9, "bool", RW, onCard));
      add(new StringProperty(10, "string", RW, onCard ? "xyz" : ""));
      add(new MacAddressProperty(11, "mac", RW, std::string(onCard ? "00:1a:2B:3c:4D:5e" : ""), false));
      add(new IpAddressProperty(12, "ip", RW, onCard ? 0x0A000001U : 0, false));
      add(new UnixTimeProperty(13, "time", RW, onCard ? 0x0000000012345678LL : 0, false));
      add(new ArrayProperty(14, "array", RW, false));
    }
    void add(TrelProperty* property) { object.addProp(property, 0); }
    TrelScalar object{"kinds", 31, false};
  };
  const std::string zeros =
      "0F800001 00 0008 0000000000000000 | 0F800002 01 0004 00000000 | 0F800003 02 0002 0000 | 0F800004 03 0001 00 | "
      "0F800005 04 0008 0000000000000000 | 0F800006 05 0004 00000000 | 0F800007 06 0002 0000 | 0F800008 07 0001 00 | "
      "0F800009 08 0001 00 | 0F80000A 09 0000 | 0F80000B 0D 0006 000000000000 | 0F80000C 0A 0004 00000000 | "
      "0F80000D 0B 0008 0000000000000000 | 0F80000E 0C 0000";
  const std::string values =
      "0F800001 00 0008 0102030405060708 | 0F800002 01 0004 01020304 | 0F800003 02 0002 0102 | 0F800004 03 0001 FE | "
      "0F800005 04 0008 FFFFFFFFFFFFFFFE | 0F800006 05 0004 FFFFFFFD | 0F800007 06 0002 FFFC | 0F800008 07 0001 FB | "
      "0F800009 08 0001 01 | 0F80000A 09 0003 78797A | 0F80000B 0D 0006 001A2B3C4D5E | 0F80000C 0A 0004 0A000001 | "
      "0F80000D 0B 0008 0000000012345678 | 0F80000E 0C 0000";
  std::vector<std::string> traffic;
  LinkedEngine card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  Kinds onCard(true);
  Kinds mirror(false);
  card.registerObject(&onCard.object);
  manager.registerObject(&mirror.object);
  EXPECT_EQ(manager.readObject(mirror.object), 1);
  onCard.object.getProp(2, 0)->set(0U);
  EXPECT_EQ(manager.writeObject(mirror.object), 1);  // the values that were just read
  EXPECT_EQ(manager.readObject(mirror.object), 1);
  EXPECT_EQ(traffic,
            (Traffic{"manager: 4F544E31 01 01 0001 | " + zeros, "card: 4F544E31 01 03 0001 00 0000 | " + values,
                     "manager: 4F544E31 01 02 0002 | " + values, "card: 4F544E31 01 04 0002 00 0000",
                     "manager: 4F544E31 01 01 0003 | " + values, "card: 4F544E31 01 03 0003 00 0000 | " + values}));
}

TEST(ReadWrite, AnAddressGivenAsTextIsReversedOnLittleEndianHostsOnly) {
  std::vector<std::string> traffic;
  LinkedEngine card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  TrelScalar onCard("s", 1, true);
  onCard.addProp(new IpAddressProperty(1, "ip", IFC_CARD_VAR_READ_WRITE, std::string("10.0.0.1"), false), 0);
  TrelScalar mirror("s", 1, true);
  auto* copy = new IpAddressProperty(1, "ip", IFC_CARD_VAR_READ_WRITE, 0U, false);
  mirror.addProp(copy, 0);
  card.registerObject(&onCard);
  manager.registerObject(&mirror);
  EXPECT_EQ(manager.readProperty(*copy), 1);
  // Differs by byte order: the text's bytes are taken as the memory image of the number.
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  EXPECT_EQ(traffic[1], "card: 4F544E31 01 03 0001 00 0000 | 10800001 0A 0004 0100000A");
#else
  EXPECT_EQ(traffic[1], "card: 4F544E31 01 03 0001 00 0000 | 10800001 0A 0004 0A000001");
#endif
}

TEST(ReadWrite, TheBoolByte2IsKeptOnBothEnds) {
  std::vector<std::string> traffic;
  LinkedEngine card("card", "10.0.0.2");
  LinkedEngine manager("manager", "10.0.0.1");
  LinkedEngine::link(card, manager, traffic);
  TrelScalar onCard("s", 1, true);
  auto* flag = new TypeProperty<bool>(1, "flag", IFC_CARD_VAR_READ_WRITE, false);
  onCard.addProp(flag, 0);
  TrelScalar mirror("s", 1, true);
  auto* copy = new TypeProperty<bool>(1, "flag", IFC_CARD_VAR_READ_WRITE, false);
  mirror.addProp(copy, 0);
  card.registerObject(&onCard);
  manager.registerObject(&mirror);
  card.receive("4F544E31 01 02 0100 | 10800001 08 0001 02"_hex, "10.0.0.9");
  EXPECT_EQ(manager.readProperty(*copy), 1);
  EXPECT_EQ(copy->value, 2);
  EXPECT_EQ(traffic.back(), "card: 4F544E31 01 03 0001 00 0000 | 10800001 08 0001 02");
}

TEST(ReadWrite, ADatagramSentTwiceIsExecutedTwiceAndTheSecondAnswerIsMarked) {
  Line line;
  line.mirror.counter->set(7U);
  EXPECT_EQ(line.manager.writeProperty(*line.mirror.counter), 1);
  line.card.receive("4F544E31 01 02 0001 | 10800005 01 0004 00000008"_hex, "10.0.0.1");
  EXPECT_EQ(line.onCard.counter->value, 8U);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 04 0001 02 0000");
}

TEST(ReadWrite, ARequestThatWasLostOnTheLineIsReportedWithTheNextAnswerWhichIsApplied) {
  Line line;
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  line.manager.onTheLine = [](const std::string&) { return std::string(); };
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 0);
  line.manager.onTheLine = nullptr;
  line.onCard.counter->set(43U);
  LogCapture log(4);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.mirror.counter->value, 43U);
  EXPECT_EQ(line.traffic.back(), "card: 4F544E31 01 03 0003 03 0000 | 10800005 01 0004 0000002B");
  EXPECT_EQ(log.brief(4),
            (std::vector<std::string>{
                "4 [WARNING] trelProtocolBase (checkMsgId) - Messages with msgId in range 2 -> 3 were lost",
                "4 [WARNING] trelProtocolBase (handleResponse) - "
                "message where lost reported by the receiver!"}));
}

TEST(ReadWrite, TheCardMayReadFromTheManagerToo) {
  Line line;
  line.mirror.counter->set(5U);
  EXPECT_EQ(line.card.readProperty(*line.onCard.counter), 1);
  EXPECT_EQ(line.onCard.counter->value, 5U);
  EXPECT_EQ(line.traffic, (Traffic{"card: 4F544E31 01 01 0001 | 10800005 01 0004 0000002A",
                                   "manager: 4F544E31 01 03 0001 00 0000 | 10800005 01 0004 00000005"}));
}

TEST(ReadWrite, TwoManagersAreFollowedEachByItsOwnSequence) {
  Line line;
  LinkedEngine second("second", "10.0.0.3");
  second.registerObject(&line.mirror.chassis);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  LinkedEngine::link(line.card, second, line.traffic);
  EXPECT_EQ(second.readProperty(*line.mirror.counter), 1);
  LinkedEngine::link(line.card, line.manager, line.traffic);
  EXPECT_EQ(line.manager.readProperty(*line.mirror.counter), 1);
  ASSERT_EQ(line.traffic.size(), 8U);
  EXPECT_EQ(line.traffic[3], "card: 4F544E31 01 03 0002 00 0000 | 10800005 01 0004 0000002A");
  EXPECT_EQ(line.traffic[5], "card: 4F544E31 01 03 0001 00 0000 | 10800005 01 0004 0000002A");
  EXPECT_EQ(line.traffic[7], "card: 4F544E31 01 03 0003 00 0000 | 10800005 01 0004 0000002A");
}
