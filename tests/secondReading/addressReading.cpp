// MAC addresses, IPv4 addresses and times.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr IfcCardVarAccessType WRITABLE = static_cast<IfcCardVarAccessType>(0);
constexpr bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

std::string sent(TrelProperty& property, std::size_t room) {
  ExactBlock block(room);
  const int written = property.serialize(block.data(), block.length());
  if (written == -1) return block.view() == std::string(room, '\xA5') ? "-1" : "-1, but written to";
  return std::to_string(written) + ": " + asText(block.view());
}

int receive(TrelProperty& property, std::string_view tlv) {
  const ExactBlock block(tlv);
  return property.deserialize(block.data());
}

void set(MacAddressProperty& property, std::string_view bytes) {
  ExactBlock block(bytes);
  property.set(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
}

std::string bytesOf(MacAddressProperty& property) {
  ExactBlock out(std::size_t{6});
  property.get(reinterpret_cast<unsigned char*>(out.data()));
  return asText(out.view());
}

std::string padded(const std::string& text, std::size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

template <typename Kind, typename Value>
void expectSpaceIsAsked(Value def, int width) {
  Kind property(1, "p", WRITABLE, def, true);
  EXPECT_EQ(property.length(), width);
  LogCapture log;
  EXPECT_EQ(sent(property, static_cast<std::size_t>(width + 6)), "-1");
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (serialize) - [p] serializing buffer has not enough space left"});
  log.clear();
  EXPECT_EQ(sent(property, static_cast<std::size_t>(width + 7)).substr(0, 4), std::to_string(width + 7) + ": ");
  EXPECT_EQ(log.lines().size(), 0U);
  for (const int size : {0, -1, INT_MIN})
    EXPECT_EQ(property.serialize(nullptr, size), -1) << size;
  EXPECT_TRUE(property.isDefault());
  EXPECT_TRUE(property.eventable);
  EXPECT_FALSE(property.eventPending);
}

}  // namespace

TEST(ReadingAddress, EachKindHasItsCodeItsLengthAndItsSpace) {
  unsigned char mac[6] = {1, 2, 3, 4, 5, 6};
  expectSpaceIsAsked<MacAddressProperty>(mac, 6);
  expectSpaceIsAsked<IpAddressProperty>(1U, 4);
  expectSpaceIsAsked<UnixTimeProperty>(1LL, 8);
  EXPECT_EQ(MacAddressProperty(1, "p", WRITABLE, mac, false).getType(), 13);
  EXPECT_EQ(IpAddressProperty(1, "p", WRITABLE, 1U, false).getType(), 10);
  EXPECT_EQ(UnixTimeProperty(1, "p", WRITABLE, 1, false).getType(), 11);
}

TEST(ReadingAddress, FieldsFollowTheBase) {
  unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
  MacAddressProperty mac(1, "p", WRITABLE, bytes, false);
  set(mac, "\x11\x12\x13\x14\x15\x16");
  std::string both;
  for (std::size_t i = 0; i < 12; ++i)
    both += peek<char>(mac, sizeof(TrelProperty) + i);
  EXPECT_EQ(asText(both), "11 12 13 14 15 16 01 02 03 04 05 06");
  IpAddressProperty ip(1, "p", WRITABLE, 0x0A000001U, false);
  ip.set(0x0A000002U);
  EXPECT_EQ(peek<unsigned int>(ip, sizeof(TrelProperty)), 0x0A000002U);
  EXPECT_EQ(peek<unsigned int>(ip, sizeof(TrelProperty) + 4), 0x0A000001U);
}

TEST(ReadingAddress, MacDefaultFromBytesCopiesSixAndNullIsZeros) {
  const ExactBlock six("0102030405FF"_hex);
  MacAddressProperty property(1, "p", WRITABLE,
                              const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(six.data())), false);
  EXPECT_EQ(bytesOf(property), "01 02 03 04 05 FF");
  LogCapture log;
  MacAddressProperty zeros(1, "p", WRITABLE, static_cast<unsigned char*>(nullptr), false);
  EXPECT_EQ(bytesOf(zeros), "00 00 00 00 00 00");
  EXPECT_TRUE(zeros.isDefault());
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingAddress, MacDefaultFromTextTakesSixHexadecimalFields) {
  const struct {
    std::string text;
    const char* bytes;
    bool line;
  } rows[] = {
      {"00:1a:2B:3c:4D:5e", "00 1A 2B 3C 4D 5E", false},
      {"1ff:2:3:4:5:6", "FF 02 03 04 05 06", false},
      {"1:2:3:4:5:fffff6", "01 02 03 04 05 F6", false},
      {"0x1:0X2:3:4:5:6", "01 02 03 04 05 06", false},  // what the conversion takes
      {" 1: 2:3:4:5:6", "01 02 03 04 05 06", false},
      {"1:2:3:4:5:6:7", "01 02 03 04 05 06", false},
      {"1:2:3:4:5:6zz", "01 02 03 04 05 06", false},
      {std::string("1:2:3:4:5:6\0:9", 14), "01 02 03 04 05 06", false},
      {"", "00 00 00 00 00 00", false},
      {"00:1a:2B", "00 00 00 00 00 00", true},
      {"1:2:3:4:5:", "00 00 00 00 00 00", true},
      {"1:2:3:4:5", "00 00 00 00 00 00", true},
      {"xyz", "00 00 00 00 00 00", true},
      {"01-02-03-04-05-06", "00 00 00 00 00 00", true},
      {"1 :2:3:4:5:6", "00 00 00 00 00 00", true},
      {" ", "00 00 00 00 00 00", true},
      {"%s%n", "00 00 00 00 00 00", true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    LogCapture log;
    MacAddressProperty property(1, "uplink", WRITABLE, row.text, true);
    EXPECT_EQ(bytesOf(property), row.bytes);
    EXPECT_TRUE(property.isDefault());
    EXPECT_EQ(log.brief(),
              row.line ? Lines{"3 [ERROR] trelProperty (MacAddressProperty) - [uplink] Invalid default value (" +
                               row.text + "). Default set to 0.\n"}
                       : Lines{});
    unsigned char other[6] = {9, 9, 9, 9, 9, 9};
    property.set(other, 6);
    property.setToDefault();
    EXPECT_EQ(bytesOf(property), row.bytes);
  }
}

TEST(ReadingAddress, MacReportsARepeatedAddressAndNotAChangedOne) {
  MacAddressProperty property(1, "p", WRITABLE, std::string("1:2:3:4:5:6"), true);
  set(property, "\x01\x02\x03\x04\x05\x06");
  EXPECT_TRUE(property.sendEvent());
  set(property, "\x01\x02\x03\x04\x05\x07");
  EXPECT_FALSE(property.sendEvent());
  EXPECT_EQ(bytesOf(property), "01 02 03 04 05 07");
  EXPECT_FALSE(property.isDefault());
  set(property, "\x01\x02\x03\x04\x05\x07");
  EXPECT_TRUE(property.sendEvent());
  property.setToDefault();
  EXPECT_FALSE(property.sendEvent());
  property.eventable = false;
  set(property, "\x01\x02\x03\x04\x05\x06");
  EXPECT_FALSE(property.sendEvent());
}

TEST(ReadingAddress, MacTakesNoMoreThanSixBytesAndReadsNoMoreThanItIsGiven) {
  MacAddressProperty property(1, "p", WRITABLE, std::string("1:2:3:4:5:6"), true);
  set(property, "\x01\x02\x03\x04\x05\x06\x07\x08");
  EXPECT_TRUE(property.sendEvent());  // the first six are equal
  EXPECT_EQ(bytesOf(property), "01 02 03 04 05 06");
  set(property, "\x11\x12\x13\x14\x15\x16\x17\x18");
  EXPECT_EQ(bytesOf(property), "11 12 13 14 15 16");
  property.setToDefault();  // the default behind the value was not written to
  EXPECT_EQ(bytesOf(property), "01 02 03 04 05 06");
  set(property, "\x01\x02\x03");  // 1 2 3 0 0 0 differs
  EXPECT_FALSE(property.sendEvent());
  set(property, "\x21\x22");
  EXPECT_EQ(bytesOf(property), "21 22 03 04 05 06");
  EXPECT_FALSE(property.sendEvent());
  set(property, std::string_view("\x07\0\0\0\0\0", 6));
  EXPECT_FALSE(property.sendEvent());
  set(property, "\x07");  // 7 0 0 0 0 0 is what is held
  EXPECT_TRUE(property.sendEvent());
  property.set(nullptr, 0);
  EXPECT_FALSE(property.sendEvent());
  EXPECT_EQ(bytesOf(property), "07 00 00 00 00 00");
  unsigned char huge[6] = {1, 1, 1, 1, 1, 1};
  property.set(huge, 0xFFFFFFFFU);
  EXPECT_EQ(bytesOf(property), "01 01 01 01 01 01");
}

TEST(ReadingAddress, MacTravelsAsStoredAndIsReadInSixBytes) {
  MacAddressProperty property(0x10800005U, "p", WRITABLE, std::string("1:2:3:4:5:6"), true);
  EXPECT_EQ(sent(property, 13), "13: 10 80 00 05 0D 00 06 01 02 03 04 05 06");
  EXPECT_EQ(receive(property, "FFFFFFFF 09 0002 111213141516"_hex), 9);
  EXPECT_EQ(bytesOf(property), "11 12 13 14 15 16");
  EXPECT_EQ(receive(property, "00000001 0D FFFF 212223242526"_hex), 65542);
  EXPECT_EQ(bytesOf(property), "21 22 23 24 25 26");
  EXPECT_EQ(receive(property, "00000001 0D 0006 212223242526"_hex), 13);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.checkBuffer("\x10\x80\0\5\x0D\0\6......", true), 0);
  EXPECT_EQ(property.checkBuffer("\x10\x80\0\5\x0D\0\7.......", true), 8);
}

TEST(ReadingAddress, MacIsOneLineOfTwoDigitFields) {
  MacAddressProperty property(7, "uplink", WRITABLE, std::string("0:1a:2B:3c:4D:5e"), true);
  set(property, "\x01\x02\x03\xF4\x05\x06");
  EXPECT_EQ(property.str(),
            "  7 |                                   uplink :    01 02 03 f4 05 06  (def = 00 1a 2b 3c 4d 5e )\n");
  MacAddressProperty big(4294967295U, "n", WRITABLE, std::string(), false);
  EXPECT_EQ(big.str(), "4294967295 | " + padded("n", 40) + " :    00 00 00 00 00 00  (def = 00 00 00 00 00 00 )\n");
}

TEST(ReadingAddress, IpGivenAsANumberGoesOutInDottedOrderAndAsATextInMemoryOrder) {
  IpAddressProperty number(0x10800005U, "p", WRITABLE, 0x0A000001U, false);
  EXPECT_EQ(sent(number, 11), "11: 10 80 00 05 0A 00 04 0A 00 00 01");
  IpAddressProperty text(0x10800005U, "p", WRITABLE, std::string("10.0.0.1"), false);
  EXPECT_EQ(sent(text, 11),
            littleEndian ? "11: 10 80 00 05 0A 00 04 01 00 00 0A" : "11: 10 80 00 05 0A 00 04 0A 00 00 01");
  unsigned int out = 0;
  text.get(&out);
  EXPECT_EQ(out, littleEndian ? 0x0100000AU : 0x0A000001U);
  EXPECT_TRUE(text.isDefault());
}

TEST(ReadingAddress, IpTextThatIsNoAddressIsZeroWithALine) {
  for (const char* const bad :
       {"", "10.0.0", "10.0.0.256", "10.0.0.1 ", " 10.0.0.1", "a.b.c.d", "::1", "10.0.0.1.2", "%s"}) {
    SCOPED_TRACE(bad);
    LogCapture log;
    IpAddressProperty property(1, "gw", WRITABLE, std::string(bad), true);
    unsigned int out = 5;
    property.get(&out);
    EXPECT_EQ(out, 0U);
    EXPECT_TRUE(property.isDefault());
    EXPECT_EQ(log.brief(),
              Lines{std::string("3 [ERROR] trelProperty (IpAddressProperty) - [gw] Invalid default value (") + bad +
                    "). Default set to 0.\n"});
    EXPECT_EQ(log.lines().at(0).format, "[ERROR] %s:%d (%s) - [%s] Invalid default value (%s). Default set to 0.\n");
    log.setLevel(2);
    log.clear();
    const IpAddressProperty silent(1, "gw", WRITABLE, std::string(bad), true);
    EXPECT_EQ(log.lines().size(), 0U);
  }
}

TEST(ReadingAddress, IpReportsAChangeAlone) {
  IpAddressProperty property(1, "p", WRITABLE, 0x0A000001U, true);
  property.set(0x0A000001U);
  EXPECT_FALSE(property.eventPending);
  property.set(0x0A000002U);
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.isDefault());
  property.setToDefault();
  EXPECT_FALSE(property.eventPending);
  EXPECT_TRUE(property.isDefault());
  property.eventable = false;
  property.set(3U);
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingAddress, IpIsReadBigEndianWhateverTheLengthField) {
  IpAddressProperty property(1, "p", WRITABLE, 0U, true);
  EXPECT_EQ(receive(property, "FFFFFFFF 09 0001 F0000001"_hex), 8);
  unsigned int out = 0;
  property.get(&out);
  EXPECT_EQ(out, 0xF0000001U);
  EXPECT_EQ(receive(property, "00000001 0A FFFF 0A0B0C0D"_hex), 65542);
  EXPECT_EQ(sent(property, 11), "11: 00 00 00 01 0A 00 04 0A 0B 0C 0D");
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingAddress, IpIsOneLineInHexadecimal) {
  IpAddressProperty property(7, "gateway", WRITABLE, 0x0A0000FEU, true);
  property.set(0xC0A80001U);
  EXPECT_EQ(property.str(), "  7 |                                  gateway :   c0a80001(def = a0000fe)\n");
  IpAddressProperty zero(10, "n", WRITABLE, 0U, false);
  EXPECT_EQ(zero.str(), " 10 | " + padded("n", 40) + " :          0(def = 0)\n");
}

TEST(ReadingAddress, TimeReportsAChangeAlone) {
  UnixTimeProperty property(1, "p", WRITABLE, -1, true);
  property.set(-1LL);
  EXPECT_FALSE(property.eventPending);
  property.set(LLONG_MIN);
  EXPECT_TRUE(property.sendEvent());
  property.set(LLONG_MIN + (1LL << 32));  // differs in the upper half alone
  EXPECT_TRUE(property.sendEvent());
  EXPECT_FALSE(property.isDefault());
  property.setToDefault();
  EXPECT_TRUE(property.isDefault());
  EXPECT_FALSE(property.eventPending);
  property.eventable = false;
  property.set(3LL);
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingAddress, TimeTravelsInEightBytesBigEndian) {
  UnixTimeProperty property(0x10800005U, "p", WRITABLE, -2, true);
  EXPECT_EQ(sent(property, 15), "15: 10 80 00 05 0B 00 08 FF FF FF FF FF FF FF FE");
  EXPECT_EQ(sent(property, 14), "-1");
  EXPECT_EQ(receive(property, "FFFFFFFF 09 0001 8070605040302010"_hex), 8);
  long long out = 0;
  property.get(&out);
  EXPECT_EQ(out, -9191740941672636400LL);
  EXPECT_EQ(sent(property, 15), "15: 10 80 00 05 0B 00 08 80 70 60 50 40 30 20 10");
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingAddress, TimeIsOneLineInDecimal) {
  UnixTimeProperty property(7, "utc", WRITABLE, 0, true);
  property.set(LLONG_MIN);
  EXPECT_EQ(property.str(), "  7 |                                      utc : -9223372036854775808(def = 0)\n");
  UnixTimeProperty small(7, "utc", WRITABLE, -5, false);
  small.set(12LL);
  EXPECT_EQ(small.str(), "  7 | " + padded("utc", 40) + " : 12(def = -5)\n");
}

TEST(ReadingAddress, TypeCodeGoesThroughTheVirtualTable) {
  class OtherMac : public MacAddressProperty {
   public:
    using MacAddressProperty::MacAddressProperty;
    int getType() override { return 12; }
  } mac(1, "p", WRITABLE, std::string("1:2:3:4:5:6"), false);
  EXPECT_EQ(sent(mac, 13), "13: 00 00 00 01 0C 00 06 01 02 03 04 05 06");
  class OtherIp : public IpAddressProperty {
   public:
    using IpAddressProperty::IpAddressProperty;
    int getType() override { return 1; }
  } ip(1, "p", WRITABLE, 0x0A000001U, false);
  EXPECT_EQ(sent(ip, 11), "11: 00 00 00 01 01 00 04 0A 00 00 01");
  class OtherTime : public UnixTimeProperty {
   public:
    using UnixTimeProperty::UnixTimeProperty;
    int getType() override { return 4; }
  } time(1, "p", WRITABLE, 1, false);
  EXPECT_EQ(sent(time, 15), "15: 00 00 00 01 04 00 08 00 00 00 00 00 00 00 01");
}

TEST(ReadingAddress, LengthGoesThroughTheVirtualTableAndStaysInsideTheBuffer) {
  class Short : public MacAddressProperty {
   public:
    using MacAddressProperty::MacAddressProperty;
    int length() override { return announced; }
    int announced = 2;
  } mac(1, "p", WRITABLE, std::string("1:2:3:4:5:6"), false);
  EXPECT_EQ(sent(mac, 8), "-1");
  EXPECT_EQ(sent(mac, 9), "9: 00 00 00 01 0D 00 02 01 02");
  mac.announced = 20;
  EXPECT_EQ(sent(mac, 26), "-1");
  EXPECT_EQ(sent(mac, 27), "27: 00 00 00 01 0D 00 14 01 02 03 04 05 06 00 00 00 00 00 00 00 00 00 00 00 00 00 00");

  class ShortIp : public IpAddressProperty {
   public:
    using IpAddressProperty::IpAddressProperty;
    int length() override { return 2; }
  } ip(1, "p", WRITABLE, 0x0A0B0C0DU, false);
  ExactBlock nine(std::size_t{9});
  EXPECT_EQ(ip.serialize(nine.data(), 9), 9);
  EXPECT_EQ(asText(nine.view().substr(0, 7)), "00 00 00 01 0A 00 02");
}
