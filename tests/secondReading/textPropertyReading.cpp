// Texts and byte arrays.

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "trel/trelObjects.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr IfcCardVarAccessType WRITABLE = static_cast<IfcCardVarAccessType>(0);
constexpr bool littleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
const Lines noSpace = {"3 [ERROR] trelProperty (serialize) - [p] serializing buffer has not enough space left"};

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

int check(TrelProperty& property, std::string_view tlv) {
  const ExactBlock block(tlv);
  return property.checkBuffer(block.data(), true);
}

std::string textOf(TrelProperty& property) {
  std::string out = "(untouched)";
  property.get(&out);
  return out;
}

class Keeping : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override {
    kept.push_back(value);
    return verdict;
  }
  std::vector<std::string> kept;
  bool verdict = true;
};

class OtherForm : public StringProperty {
 public:
  using StringProperty::StringProperty;
  int length() override { return announced; }
  int getType() override { return 12; }
  int announced = 2;
};

std::string padded(const std::string& text, std::size_t width) {
  return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

// The public interface never lets an array hold a block: this puts one there.
void hold(ArrayProperty& property, std::string_view bytes) {
  auto* const block = static_cast<unsigned char*>(std::malloc(bytes.empty() ? 1 : bytes.size()));
  ASSERT_NE(block, nullptr);
  if (!bytes.empty()) std::memcpy(block, bytes.data(), bytes.size());
  poke(property, sizeof(TrelProperty), block);
  poke(property, sizeof(TrelProperty) + sizeof block, static_cast<unsigned int>(bytes.size()));
}

unsigned char* held(const ArrayProperty& property) { return peek<unsigned char*>(property, sizeof(TrelProperty)); }

std::string heldText(ArrayProperty& property) {
  unsigned int length = 77;
  property.get(nullptr, &length);
  if (held(property) == nullptr) return "none, length " + std::to_string(length);
  return asText(std::string_view(reinterpret_cast<const char*>(held(property)), length));
}

}  // namespace

TEST(ReadingTextProperty, ConstructorsSetValueDefaultCheckAndFlag) {
  Keeping keeping;
  StringProperty one(7, "a", WRITABLE, "text");
  StringProperty two(7, "a", WRITABLE, "text", true);
  StringProperty three(7, "a", WRITABLE, "text", &keeping);
  StringProperty four(7, "a", WRITABLE, "text", &keeping, true);
  const struct {
    StringProperty& property;
    bool eventable;
    std::size_t asked;
  } rows[] = {{one, false, 0}, {two, true, 0}, {three, false, 1}, {four, true, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    keeping.kept.clear();
    EXPECT_EQ(row.property.eventable, row.eventable);
    EXPECT_FALSE(row.property.eventPending);
    EXPECT_EQ(row.property.row, 0U);
    EXPECT_EQ(row.property.object, nullptr);
    EXPECT_TRUE(row.property.isDefault());
    EXPECT_EQ(textOf(row.property), "text");
    EXPECT_EQ(row.property.length(), 4);
    EXPECT_EQ(row.property.getType(), 9);
    EXPECT_TRUE(row.property.validValue("x", 1));
    EXPECT_EQ(keeping.kept.size(), row.asked);
  }
}

TEST(ReadingTextProperty, SetterNeitherChecksNorRaisesTheEvent) {
  Keeping keeping;
  keeping.verdict = false;
  StringProperty property(1, "p", WRITABLE, "a", &keeping, true);
  property.set(std::string("b\0c", 3));
  EXPECT_EQ(textOf(property), std::string("b\0c", 3));
  EXPECT_EQ(property.length(), 3);
  EXPECT_FALSE(property.isDefault());
  EXPECT_EQ(receive(property, "00000001 09 0002 0041"_hex), 9);
  EXPECT_EQ(textOf(property), std::string("\0A", 2));
  EXPECT_FALSE(property.eventPending);
  EXPECT_TRUE(keeping.kept.empty());
  property.setToDefault();
  EXPECT_EQ(textOf(property), "a");
  EXPECT_TRUE(property.isDefault());
  EXPECT_FALSE(property.eventPending);
}

TEST(ReadingTextProperty, DefaultIsComparedByLengthAndBytes) {
  StringProperty empty(1, "p", WRITABLE, "");
  EXPECT_TRUE(empty.isDefault());
  empty.set(std::string(1, '\0'));
  EXPECT_FALSE(empty.isDefault());
  StringProperty zeros(1, "p", WRITABLE, std::string("a\0b", 3));
  zeros.set(std::string("a\0c", 3));
  EXPECT_FALSE(zeros.isDefault());
  zeros.set(std::string("a\0b", 3));
  EXPECT_TRUE(zeros.isDefault());
}

TEST(ReadingTextProperty, CheckGetsExactlyTheBytes) {
  Keeping keeping;
  StringProperty property(1, "p", WRITABLE, "", &keeping);
  const ExactBlock bytes(std::string_view("a\0b", 3));
  EXPECT_TRUE(property.validValue(bytes.data(), 3));
  EXPECT_TRUE(property.validValue(bytes.data(), 1));
  EXPECT_TRUE(property.validValue(bytes.data(), 0));
  EXPECT_EQ(keeping.kept, (Lines{std::string("a\0b", 3), "a", ""}));
  keeping.verdict = false;
  EXPECT_FALSE(property.validValue(bytes.data(), 3));

  StringProperty unchecked(1, "p", WRITABLE, "");
  EXPECT_TRUE(unchecked.validValue(nullptr, 0));
  EXPECT_TRUE(unchecked.validValue(nullptr, -1));
}

TEST(ReadingTextProperty, ReceivedTextIsScreenedByCheckBuffer) {
  Keeping keeping;
  keeping.verdict = false;
  StringProperty property(1, "p", WRITABLE, "default", &keeping);
  LogCapture log;
  EXPECT_EQ(check(property, "00000001 09 0002 4100"_hex), 9);
  EXPECT_EQ(keeping.kept, Lines{std::string("A\0", 2)});
  EXPECT_EQ(
      log.brief(),
      (Lines{"7 [DEBUG3] trelProperty (checkBuffer) - [p] we cannot know the size of a string when receiving, it is 2",
             "3 [ERROR] trelProperty (checkBuffer) - [p] checkbuffer invalid value detected, value has len 2"}));
  EXPECT_EQ(textOf(property), "default");
}

TEST(ReadingTextProperty, SerializesIntoExactlyItsSize) {
  StringProperty property(0x10800005U, "p", WRITABLE, std::string("a\0b", 3));
  LogCapture log;
  EXPECT_EQ(sent(property, 10), "10: 10 80 00 05 09 00 03 61 00 62");
  EXPECT_EQ(sent(property, 11), "10: 10 80 00 05 09 00 03 61 00 62 A5");  // no terminator
  EXPECT_EQ(log.lines().size(), 0U);
  EXPECT_EQ(sent(property, 9), "-1");
  EXPECT_EQ(log.brief(), noSpace);
  property.set(std::string());
  EXPECT_EQ(sent(property, 7), "7: 10 80 00 05 09 00 00");
  EXPECT_EQ(sent(property, 6), "-1");
  for (const int size : {0, -1, INT_MIN})
    EXPECT_EQ(property.serialize(nullptr, size), -1) << size;
}

TEST(ReadingTextProperty, LongTextGoesOutWholeWithSixteenBitsOfItsLength) {
  StringProperty property(1, "p", WRITABLE, std::string(65539, 'x'));
  EXPECT_EQ(property.length(), 65539);
  ExactBlock block(std::size_t{65546});
  EXPECT_EQ(property.serialize(block.data(), 65545), -1);
  EXPECT_EQ(property.serialize(block.data(), 65546), 65546);
  EXPECT_EQ(asText(block.view().substr(0, 8)), "00 00 00 01 09 00 03 78");
  EXPECT_EQ(block.view().back(), 'x');
}

TEST(ReadingTextProperty, LengthAndTypeGoThroughTheVirtualTable) {
  OtherForm shorter(1, "p", WRITABLE, "abcdef");
  EXPECT_EQ(sent(shorter, 8), "-1");
  EXPECT_EQ(sent(shorter, 9), "9: 00 00 00 01 0C 00 02 61 62");
  // Beyond the text stands nothing that nobody wrote.
  shorter.announced = 8;
  EXPECT_EQ(sent(shorter, 15), "15: 00 00 00 01 0C 00 08 61 62 63 64 65 66 00 00");
  shorter.announced = INT_MAX;
  EXPECT_EQ(sent(shorter, 15), "-1");
  shorter.announced = 0;
  EXPECT_EQ(sent(shorter, 7), "7: 00 00 00 01 0C 00 00");
}

TEST(ReadingTextProperty, DeserializeTakesTheLengthFieldAlone) {
  StringProperty property(1, "p", WRITABLE, "text", true);
  LogCapture log;
  EXPECT_EQ(receive(property, "FFFFFFFF 0C 0003 410042"_hex), 10);
  EXPECT_EQ(textOf(property), std::string("A\0B", 3));
  EXPECT_EQ(receive(property, "00000001 09 0000"_hex), 7);
  EXPECT_EQ(textOf(property), "");
  EXPECT_EQ(receive(property, "00000001 09 FFFF"_hex + std::string(65535, 'z')), 65542);
  EXPECT_EQ(property.length(), 65535);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingTextProperty, OneLineWithTheValueInTwenty) {
  StringProperty property(7, "name", WRITABLE, "def", true);
  property.set(std::string("val"));
  EXPECT_EQ(property.str(),
            "  7 |                                     name :                  val  (def = def, eventable)\n");
  StringProperty quiet(1234, "n", WRITABLE, "");
  quiet.set(std::string("a text of more than twenty characters"));
  EXPECT_EQ(quiet.str(), "1234 | " + padded("n", 40) + " : a text of more than twenty characters  (def = )\n");
  quiet.set(std::string("a\0b", 3));
  EXPECT_EQ(quiet.str(),
            "1234 | " + padded("n", 40) + " : " + std::string(17, ' ') + std::string("a\0b", 3) + "  (def = )\n");
}

TEST(ReadingBytes, FreshArrayHoldsNothing) {
  ArrayProperty property(7, "p", WRITABLE, true);
  EXPECT_TRUE(property.eventable);
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(property.length(), 0);
  EXPECT_EQ(property.getType(), 12);
  EXPECT_FALSE(property.isDefault());
  EXPECT_EQ(heldText(property), "none, length 0");
  EXPECT_EQ(sizeof(ArrayProperty), sizeof(TrelProperty) + 2 * sizeof(void*));
  EXPECT_EQ(property.str(), "  7 |                                        p : \n  \n");
}

TEST(ReadingBytes, SetWithoutAHeldValueIsNoChange) {
  ArrayProperty property(1, "p", WRITABLE, true);
  LogCapture log;
  unsigned char data[4] = {};
  property.set(data, 4);
  property.set(nullptr, 4);
  EXPECT_EQ(heldText(property), "none, length 0");
  EXPECT_FALSE(property.eventPending);
  EXPECT_FALSE(property.isDefault());
  property.setToDefault();
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingBytes, DeserializeWithoutAHeldValueTakesTheLengthAlone) {
  ArrayProperty property(1, "p", WRITABLE, true);
  LogCapture log;
  EXPECT_EQ(receive(property, "00000001 0C 0004 41424344"_hex), 11);
  EXPECT_EQ(heldText(property), "none, length 4");
  unsigned char out[4] = {1, 2, 3, 4};
  unsigned int length = 2;
  property.get(out, &length);
  EXPECT_EQ(length, 4U);
  EXPECT_EQ(asText(std::string_view(reinterpret_cast<char*>(out), 4)), "01 02 03 04");
  EXPECT_EQ(property.str(), "  1 | " + padded("p", 40) + " : \n  \n");
  EXPECT_EQ(receive(property, "00000001 0C FFFF"_hex), 65542);  // not one byte of the value is read
  EXPECT_EQ(heldText(property), "none, length 65535");
  unsigned char data[2] = {1, 2};
  property.set(data, 2);
  EXPECT_EQ(heldText(property), "none, length 65535");
  EXPECT_EQ(receive(property, "00000001 0C 0000"_hex), 7);
  EXPECT_EQ(heldText(property), "none, length 0");
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(log.lines().size(), 0U);
}

TEST(ReadingBytes, FreshArrayRefusesEveryLengthButZero) {
  ArrayProperty property(1, "p", WRITABLE, false);
  EXPECT_EQ(check(property, "00000001 0C 0001 41"_hex), 8);
  EXPECT_EQ(check(property, "00000001 0C 0000"_hex), 0);
  receive(property, "00000001 0C 0001 41"_hex);
  EXPECT_EQ(check(property, "00000001 0C 0001 41"_hex), 0);
  EXPECT_EQ(check(property, "00000001 0C 0000"_hex), 8);
}

TEST(ReadingBytes, SerializeWritesTheReferenceThenTheLengthThenZeros) {
  ArrayProperty property(0x10800005U, "p", WRITABLE, false);
  EXPECT_EQ(sent(property, 7), "7: 10 80 00 05 0C 00 00");
  LogCapture log;
  EXPECT_EQ(sent(property, 6), "-1");
  EXPECT_EQ(log.brief(), noSpace);
  receive(property, "00000001 0C 0014"_hex);
  EXPECT_EQ(sent(property, 26), "-1");
  const std::string reference = sizeof(void*) == 8 ? "00 00 00 00 00 00 00 00 " : "00 00 00 00 ";
  const std::string length = littleEndian ? "14 00 00 00" : "00 00 00 14";
  const std::string zeros = sizeof(void*) == 8 ? " 00 00 00 00 00 00 00 00" : " 00 00 00 00 00 00 00 00 00 00 00 00";
  EXPECT_EQ(sent(property, 27), "27: 10 80 00 05 0C 00 14 " + reference + length + zeros);
  receive(property, "00000001 0C 0003"_hex);
  EXPECT_EQ(sent(property, 10), "10: 10 80 00 05 0C 00 03 00 00 00");

  hold(property, "\x11\x22\x33");
  unsigned char* const block = held(property);
  ExactBlock out(std::size_t{10});
  EXPECT_EQ(property.serialize(out.data(), 10), 10);
  EXPECT_EQ(asText(out.view().substr(0, 7)), "10 80 00 05 0C 00 03");
  EXPECT_EQ(out.view().substr(7), std::string_view(reinterpret_cast<const char*>(&block), 3));  // not 11 22 33
  std::free(block);
  poke(property, sizeof(TrelProperty), static_cast<unsigned char*>(nullptr));
}

TEST(ReadingBytes, SerializeGoesThroughTheVirtualTable) {
  class Other : public ArrayProperty {
   public:
    using ArrayProperty::ArrayProperty;
    int length() override { return 30; }
    int getType() override { return 9; }
  } property(1, "p", WRITABLE, false);
  EXPECT_EQ(sent(property, 36), "-1");
  ExactBlock out(std::size_t{37});
  EXPECT_EQ(property.serialize(out.data(), 37), 37);
  EXPECT_EQ(out.view(), "00000001 09 001E"_hex + std::string(30, '\0'));  // length 0, no reference, zeros
}

TEST(ReadingBytes, GetStoresTheLengthAlwaysAndCopiesWhatIsHeld) {
  ArrayProperty property(1, "p", WRITABLE, false);
  hold(property, "\x11\x22\x33");
  unsigned int length = 0;
  property.get(nullptr, &length);
  EXPECT_EQ(length, 3U);
  unsigned char out[4] = {0, 0, 0, 0xA5};
  length = 1;  // the caller's count is not asked
  property.get(out, &length);
  EXPECT_EQ(length, 3U);
  EXPECT_EQ(asText(std::string_view(reinterpret_cast<char*>(out), 4)), "11 22 33 A5");
  EXPECT_EQ(property.length(), 3);
  EXPECT_FALSE(property.isDefault());
  EXPECT_EQ(property.str(), "  1 | " + padded("p", 40) + " : \n  \x11 \" 3 \n");
  std::free(held(property));
  poke(property, sizeof(TrelProperty), static_cast<unsigned char*>(nullptr));
}

TEST(ReadingBytes, SetOfAHeldArrayReplacesItAndReportsZerosAlone) {
  ArrayProperty property(1, "p", WRITABLE, true);
  unsigned char values[4] = {1, 0, 0, 0};
  unsigned char zeros[4] = {};
  hold(property, "\x11\x22");
  property.set(values, 4);
  EXPECT_EQ(heldText(property), "01 00 00 00");
  EXPECT_FALSE(property.eventPending);
  property.set(values, 4);  // the same again: compared with the zeroed block, not with the former value
  EXPECT_FALSE(property.sendEvent());
  property.set(zeros, 4);
  EXPECT_EQ(heldText(property), "00 00 00 00");
  EXPECT_TRUE(property.sendEvent());
  property.set(zeros, 4);
  EXPECT_TRUE(property.sendEvent());
  property.set(nullptr, 3);
  EXPECT_EQ(heldText(property), "00 00 00");
  EXPECT_FALSE(property.sendEvent());
  property.eventable = false;
  property.set(zeros, 4);
  EXPECT_FALSE(property.sendEvent());
  property.eventable = true;
  property.set(zeros, 0);
  EXPECT_EQ(heldText(property), "none, length 0");
  EXPECT_FALSE(property.sendEvent());
  property.set(values, 4);  // nothing is held any more
  EXPECT_EQ(heldText(property), "none, length 0");
}

TEST(ReadingBytes, DeserializeOfAHeldArrayReplacesIt) {
  ArrayProperty property(1, "p", WRITABLE, true);
  hold(property, "\x11\x22");
  EXPECT_EQ(receive(property, "FFFFFFFF 09 0003 000000"_hex), 10);
  EXPECT_EQ(heldText(property), "00 00 00");
  EXPECT_EQ(receive(property, "00000001 0C 0001 FF"_hex), 8);
  EXPECT_EQ(heldText(property), "FF");
  EXPECT_FALSE(property.eventPending);
  EXPECT_EQ(receive(property, "00000001 0C 0000"_hex), 7);
  EXPECT_EQ(heldText(property), "none, length 0");
}

TEST(ReadingBytes, DestructorReleasesOnlyTheBase) {
  auto property = std::make_unique<ArrayProperty>(1U, "p", WRITABLE, false);
  hold(*property, "\x11\x22");
  unsigned char* const block = held(*property);
  property.reset();
  EXPECT_EQ(block[1], 0x22);
  std::free(block);
}
