// A flag is kept as the byte that was received. Comparisons and the wire use the byte; whoever asks for a bool sees
// whether it is not zero.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

int receive(TrelProperty& property, std::string_view tlv) {
  const ExactBlock block(tlv);
  return property.deserialize(block.data());
}

std::string sent(TrelProperty& property) {
  ExactBlock block(8);
  EXPECT_EQ(property.serialize(block.data(), block.length()), 8);
  return asText(block.view());
}

class KeepsWhatItWasAsked : public TypeProperty<bool>::TypeValueCheck {
 public:
  explicit KeepsWhatItWasAsked(std::vector<bool>& askedAbout) : asked(askedAbout) {}
  bool checkValue(bool value) override {
    asked.push_back(value);
    return true;
  }
  std::vector<bool>& asked;
};

TEST(BoolProperty, ValueAndDefaultAreBytes) {
  static_assert(std::is_same_v<decltype(TypeProperty<bool>::value), unsigned char>);
  static_assert(std::is_same_v<decltype(TypeProperty<bool>::defaultValue), unsigned char>);
  const TypeProperty<bool> on(1, "flag", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(on.value, 1);
  EXPECT_EQ(on.defaultValue, 1);
  const TypeProperty<bool> off(1, "flag", IFC_CARD_VAR_READ_WRITE, false);
  EXPECT_EQ(off.value, 0);
  EXPECT_EQ(off.defaultValue, 0);
}

TEST(BoolProperty, TrueIsSentAsOneAndFalseAsZero) {
  TypeProperty<bool> property(0x10800005, "flag", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(sent(property), "10 80 00 05 08 00 01 01");
  property.set(false);
  EXPECT_EQ(sent(property), "10 80 00 05 08 00 01 00");
}

TEST(BoolProperty, ReceivedTwoIsKeptAsTwoAndDiffersFromADefaultOfTrue) {
  TypeProperty<bool> property(0x10800005, "flag", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(receive(property, "10800005 08 0001 02"_hex), 8);
  EXPECT_EQ(property.value, 2);
  EXPECT_FALSE(property.isDefault());
}

TEST(BoolProperty, ReceivedOneEqualsADefaultOfTrue) {
  TypeProperty<bool> property(0x10800005, "flag", IFC_CARD_VAR_READ_WRITE, true);
  EXPECT_EQ(receive(property, "10800005 08 0001 01"_hex), 8);
  EXPECT_TRUE(property.isDefault());
}

TEST(BoolProperty, EveryReceivedByteIsStoredAndSentUnchanged) {
  for (unsigned int byte = 0; byte <= 0xFF; ++byte) {
    SCOPED_TRACE(byte);
    TypeProperty<bool> property(0x10800005, "flag", IFC_CARD_VAR_READ_WRITE, false);
    const std::string tlv = "10800005 08 0001"_hex + static_cast<char>(static_cast<unsigned char>(byte));
    EXPECT_EQ(receive(property, tlv), 8);
    EXPECT_EQ(property.value, byte);
    EXPECT_EQ(sent(property), asText(tlv));
    EXPECT_EQ(property.isDefault(), byte == 0);
  }
}

TEST(BoolProperty, GetterSeesNotZero) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, false);
  bool read = true;
  property.get(&read);
  EXPECT_FALSE(read);
  receive(property, "00000001 08 0001 80"_hex);
  property.get(&read);
  EXPECT_TRUE(read);
  unsigned char stored = 0;
  static_assert(sizeof stored == sizeof read);
  std::memcpy(&stored, &read, sizeof stored);
  EXPECT_EQ(stored, 1) << "a bool that holds neither 0 nor 1 left the property";
}

TEST(BoolProperty, TextSeesNotZero) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, true);
  receive(property, "00000001 08 0001 02"_hex);
  EXPECT_EQ(property.str(), "  1 |                                     flag :                    1  (def = 1)\n");
  property.defaultValue = 3;
  property.value = 0;
  EXPECT_EQ(property.str(), "  1 |                                     flag :                    0  (def = 1)\n");
}

TEST(BoolProperty, CheckSeesNotZero) {
  std::vector<bool> asked;
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, true, new KeepsWhatItWasAsked(asked));
  for (const char byte : {'\x00', '\x01', '\x02', '\x7F', '\x80', '\xFF'})
    EXPECT_TRUE(property.validValue(&byte, 1));
  EXPECT_EQ(asked, (std::vector<bool>{false, true, true, true, true, true}));
}

TEST(BoolProperty, CheckOfAnApplicationRefusesAWrite) {
  class OnlyOff : public TypeProperty<bool>::TypeValueCheck {
   public:
    bool checkValue(bool value) override { return !value; }
  };
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, false, new OnlyOff);
  const ExactBlock two("00000001 08 0001 02"_hex);
  const ExactBlock zero("00000001 08 0001 00"_hex);
  EXPECT_EQ(property.checkBuffer(two.data(), true), 9);
  EXPECT_EQ(property.checkBuffer(zero.data(), true), 0);
}

TEST(BoolProperty, SettingTrueOverTwoIsAChange) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, true, true);
  receive(property, "00000001 08 0001 02"_hex);
  EXPECT_FALSE(property.eventPending);
  property.set(true);
  EXPECT_TRUE(property.eventPending);
  EXPECT_EQ(property.value, 1);
}

TEST(BoolProperty, SettingTrueOverOneIsNoChange) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, false, true);
  receive(property, "00000001 08 0001 01"_hex);
  property.set(true);
  EXPECT_FALSE(property.eventPending);
}

TEST(BoolProperty, ResetReplacesTwoByTheDefaultsByte) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, true);
  receive(property, "00000001 08 0001 02"_hex);
  property.setToDefault();
  EXPECT_EQ(property.value, 1);
  EXPECT_TRUE(property.isDefault());
}

TEST(BoolProperty, PlainNumberIsNoBool) {
  TypeProperty<bool> property(1, "flag", IFC_CARD_VAR_READ_WRITE, false);
  const LogCapture log;
  property.set(1);
  EXPECT_EQ(property.value, 0);
  EXPECT_EQ(log.brief(),
            Lines{"3 [ERROR] trelProperty (set) - [flag] Not implemented for int32_t (property 1, row 0)"});
}

}  // namespace
