// What the engine's lines say where two numbers could be mixed up, an object that answers for an OID that is none, and nothing
// where a property is expected.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "requestCard.h"
#include "support/logCapture.h"
#include "support/logSelection.h"

namespace {

// Claims an OID with bit 31 set, which no object of the library's own kinds ever does.
class ClaimsNoOid : public TrelScalar {
 public:
  static constexpr unsigned int OID = 0x80000001U;

  ClaimsNoOid() : TrelScalar("claims", 1, false) { addProp(number, 0); }
  unsigned int getOID(unsigned int, unsigned int) override { return OID; }
  TrelProperty* getPropFromOID(unsigned int oid) override { return oid == OID ? number : nullptr; }

  Number* number = new Number(1, "number", IFC_CARD_VAR_READ_WRITE, 42U);
};

}  // namespace

TEST(SmallPrint, TheLineOfACutRequestNamesThePositionOfTheTlvThatIsCut) {
  Card card;
  LogCapture log(3);
  card.engine.receive("4F544E31 01 02 0007 | 10800005 01 0004 00000063 | 10800006 03 0001"_hex);
  EXPECT_EQ(card.engine.sent(), Datagrams{"4F544E31 01 04 0007 08 0001"});
  EXPECT_EQ(
      linesOf(log, "handleRequest"),
      Lines{
          "3 [ERROR] trelProtocolBase (handleRequest) - RESULT WRONG LEN in TLV 1, which the end of the datagram cuts "
          "off"});
}

TEST(SmallPrint, AnOidThatDoesNotDecodeIsRefusedWith7AlsoWhenAnObjectClaimsItAndItsValueIsCut) {
  RecordingEngine engine;
  ClaimsNoOid object;
  engine.registerObject(&object);
  engine.receive("4F544E31 01 02 0007 | 80000001 01 0004 000000"_hex);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 04 0007 07 0000"});
  EXPECT_EQ(object.number->value, 42U);
}

TEST(SmallPrint, TheInitialSampleIsToldAlsoWhenItIsTheNumberThatWasThere) {
  RecordingEngine engine;
  Number property(5, "p", IFC_CARD_VAR_READ_WRITE, 42U);
  unsigned long long last = 42;
  LogCapture log;
  EXPECT_FALSE(engine.checkForEvent(&last, &property, false, false));
  EXPECT_EQ(linesOf(log, "checkForEvent"),
            Lines{"7 [DEBUG2] trelProtocolBase (checkForEvent) - init event oid=0x00000005 len=4 42 ==> 42"});
}

TEST(SmallPrint, NoPropertyIsNotAddedToThePendingMessage) {
  RecordingEngine engine;
  Number property(5, "p", IFC_CARD_VAR_READ_WRITE, 42U);
  engine.addToAmi(nullptr, false);
  engine.addToAmi(&property, false);
  engine.addToAmi(nullptr, true);
  EXPECT_EQ(engine.sent(), Datagrams{"4F544E31 01 05 0001 00000000 00000000 | 00000005 01 0004 0000002A"});
}
