// What a byte-array property does with a block that it holds. No operation ever gives it one, so each test puts a block
// into the object itself: the reference lies behind the base, the length behind the reference.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "support/allocationFailure.h"
#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr bool IS_64_BIT = sizeof(void*) == 8;
constexpr bool IS_LITTLE_ENDIAN = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
constexpr std::size_t REFERENCE_AT = sizeof(TrelProperty);
constexpr std::size_t LENGTH_AT = sizeof(TrelProperty) + sizeof(void*);

// A property that holds a block of exactly the bytes given. The destructor of the property leaves its block, so the one
// that it holds at the end is released here.
class Holding {
 public:
  explicit Holding(std::string_view bytes, bool eventable = true)
      : property(0x10800005, "blob", IFC_CARD_VAR_READ_WRITE, eventable) {
    // One byte at least, because a block of none may be null.
    void* const block = std::malloc(bytes.empty() ? 1 : bytes.size());
    std::memcpy(block, bytes.data(), bytes.size());
    poke(property, REFERENCE_AT, block);
    poke(property, LENGTH_AT, static_cast<unsigned int>(bytes.size()));
  }
  ~Holding() { std::free(block()); }
  Holding(const Holding&) = delete;
  Holding& operator=(const Holding&) = delete;

  void* block() const { return peek<void*>(property, REFERENCE_AT); }
  // The length field and, behind it, the held bytes; "none" without a block.
  std::string state() {
    const auto length = peek<unsigned int>(property, LENGTH_AT);
    const std::string head = std::to_string(length) + ": ";
    if (block() == nullptr) return head + "none";
    return head + asText(std::string_view(static_cast<const char*>(block()), length));
  }
  void set(std::string_view bytes) {
    ExactBlock data(bytes);
    property.set(reinterpret_cast<unsigned char*>(data.data()), static_cast<unsigned int>(data.size()));
  }

  ArrayProperty property;
};

// ----- get -------------------------------------------------------------------------------------------------------------

TEST(ArrayPropertyWithBlock, GetReportsTheLengthAndCopiesThatManyBytes) {
  Holding held("01 00 FE 41"_hex);
  ExactBlock out(4);
  unsigned int length = 0;  // not the room in the target: it is only written
  held.property.get(reinterpret_cast<unsigned char*>(out.data()), &length);
  EXPECT_EQ(length, 4U);
  EXPECT_EQ(asText(out.view()), "01 00 FE 41");
  EXPECT_EQ(held.property.length(), 4);
  EXPECT_EQ(held.state(), "4: 01 00 FE 41");
}

TEST(ArrayPropertyWithBlock, GetWithoutATargetReportsTheLengthAlone) {
  Holding held("01 02 03"_hex);
  unsigned int length = 0;
  held.property.get(nullptr, &length);
  EXPECT_EQ(length, 3U);
}

TEST(ArrayPropertyWithBlock, IsNotDefaultAndSetToDefaultLeavesTheBlock) {
  Holding held("00 00"_hex);
  EXPECT_FALSE(held.property.isDefault());
  held.property.setToDefault();
  EXPECT_EQ(held.state(), "2: 00 00");
  EXPECT_FALSE(held.property.eventPending);
}

// ----- set -------------------------------------------------------------------------------------------------------------

TEST(ArrayPropertyWithBlock, SetReplacesBlockAndLength) {
  Holding held("01 02 03"_hex);
  held.set("AA BB CC DD EE"_hex);
  EXPECT_EQ(held.state(), "5: AA BB CC DD EE");
  EXPECT_EQ(held.property.length(), 5);
  held.set("7F"_hex);
  EXPECT_EQ(held.state(), "1: 7F");
}

TEST(ArrayPropertyWithBlock, SetOfNothingReleasesTheBlockForGood) {
  Holding held("01 02 03"_hex);
  held.set("");
  EXPECT_EQ(held.state(), "0: none");
  EXPECT_FALSE(held.property.eventPending);
  held.set("AA BB"_hex);
  EXPECT_EQ(held.state(), "0: none");
}

TEST(ArrayPropertyWithBlock, SetWithoutDataHoldsThatManyZerosAndRaisesNoEvent) {
  Holding held("01 02 03"_hex);
  held.property.set(nullptr, 5);
  EXPECT_EQ(held.state(), "5: 00 00 00 00 00");
  EXPECT_FALSE(held.property.eventPending);
}

TEST(ArrayPropertyWithBlock, SetWithoutDataAndWithoutLengthReleasesTheBlock) {
  Holding held("01 02 03"_hex);
  held.property.set(nullptr, 0);
  EXPECT_EQ(held.state(), "0: none");
}

// The new bytes are compared with the freshly zeroed block and not with the value before.
TEST(ArrayPropertyWithBlock, AllZeroBytesRaiseTheEventWhateverWasHeldBefore) {
  Holding changed("01 02 03"_hex);
  changed.set("00 00 00 00"_hex);
  EXPECT_TRUE(changed.property.eventPending);
  EXPECT_EQ(changed.state(), "4: 00 00 00 00");
  Holding unchanged("00 00"_hex);
  unchanged.set("00 00"_hex);
  EXPECT_TRUE(unchanged.property.eventPending);
}

TEST(ArrayPropertyWithBlock, BytesThatAreNotAllZeroRaiseNoEventChangedOrNot) {
  Holding held("01 02 03"_hex);
  held.set("01 02 04"_hex);
  EXPECT_FALSE(held.property.eventPending);
  held.set("01 02 04"_hex);
  EXPECT_FALSE(held.property.eventPending);
  held.set("00 00 01"_hex);
  EXPECT_FALSE(held.property.eventPending);
  held.set("80 00 00"_hex);
  EXPECT_FALSE(held.property.eventPending);
}

TEST(ArrayPropertyWithBlock, NoEventIsRaisedOfAPropertyThatIsNotEventable) {
  Holding held("01 02 03"_hex, false);
  held.set("00 00 00"_hex);
  EXPECT_FALSE(held.property.eventPending);
  EXPECT_EQ(held.state(), "3: 00 00 00");
}

TEST(ArrayPropertyWithBlock, SetLeavesAPendingEventPending) {
  Holding held("01 02 03"_hex);
  held.property.eventPending = true;
  held.set("04 05 06"_hex);
  EXPECT_TRUE(held.property.eventPending);
}

TEST(ArrayPropertyWithBlock, SetTakesALengthOfMoreThanSixteenBits) {
  Holding held("01"_hex);
  held.set(std::string(70000, 'x'));
  EXPECT_EQ(held.property.length(), 70000);
  EXPECT_EQ(std::string(static_cast<const char*>(held.block()), 70000), std::string(70000, 'x'));
}

TEST(ArrayPropertyWithBlock, SetWithoutMemoryLosesTheValueKeepsTheLengthAndWritesNoLine) {
  Holding held("01 02 03"_hex);
  ExactBlock data(20000, 0);
  LogCapture log;
  {
    const AllocationFailure failure(20000);
    held.property.set(reinterpret_cast<unsigned char*>(data.data()), 20000);
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(held.state(), "20000: none");
  EXPECT_FALSE(held.property.eventPending);
  EXPECT_EQ(log.brief(), Lines{});
  held.set("01 02"_hex);
  EXPECT_EQ(held.state(), "20000: none") << "without a block no value is taken any more";
}

// ----- deserialize -----------------------------------------------------------------------------------------------------

TEST(ArrayPropertyWithBlock, DeserializeReplacesBlockAndLength) {
  Holding held("01 02 03"_hex);
  const ExactBlock longer("10800005 0C 0005 AABBCCDDEE"_hex);
  EXPECT_EQ(held.property.deserialize(longer.data()), 12);
  EXPECT_EQ(held.state(), "5: AA BB CC DD EE");
  const ExactBlock shorter("10800005 0C 0001 7F"_hex);
  EXPECT_EQ(held.property.deserialize(shorter.data()), 8);
  EXPECT_EQ(held.state(), "1: 7F");
}

TEST(ArrayPropertyWithBlock, DeserializeOfALengthOfZeroReleasesTheBlock) {
  Holding held("01 02 03"_hex);
  const ExactBlock record("10800005 0C 0000"_hex);
  EXPECT_EQ(held.property.deserialize(record.data()), 7);
  EXPECT_EQ(held.state(), "0: none");
}

TEST(ArrayPropertyWithBlock, DeserializeRaisesNoEventNotEvenOfZeroBytes) {
  Holding held("01 02 03"_hex);
  const ExactBlock record("10800005 0C 0002 0000"_hex);
  EXPECT_EQ(held.property.deserialize(record.data()), 9);
  EXPECT_EQ(held.state(), "2: 00 00");
  EXPECT_FALSE(held.property.eventPending);
}

TEST(ArrayPropertyWithBlock, DeserializeTakesTheLongestValueThereIs) {
  Holding held("01"_hex);
  const ExactBlock record("10800005 0C FFFF"_hex + std::string(65535, 'y'));
  EXPECT_EQ(held.property.deserialize(record.data()), 65542);
  EXPECT_EQ(held.property.length(), 65535);
  EXPECT_EQ(std::string(static_cast<const char*>(held.block()), 65535), std::string(65535, 'y'));
}

TEST(ArrayPropertyWithBlock, DeserializeWithoutMemoryLosesTheValueKeepsTheLengthAndWritesNoLine) {
  Holding held("01 02 03"_hex);
  const ExactBlock record("10800005 0C 4E20"_hex + std::string(20000, 'y'));
  LogCapture log;
  {
    const AllocationFailure failure(20000);
    EXPECT_EQ(held.property.deserialize(record.data()), 20007);
    EXPECT_EQ(failure.count(), 1U);
  }
  EXPECT_EQ(held.state(), "20000: none");
  EXPECT_EQ(log.brief(), Lines{});
}

// ----- serialize: the reference itself is sent, not what it refers to ---------------------------------------------------

// A reference of known digits. It is never followed, and taken away before the property dies.
class HoldingNumber : public Holding {
 public:
  explicit HoldingNumber(unsigned int length) : Holding("00"_hex), former_(block()) {
    constexpr unsigned long long digits = IS_64_BIT ? 0x1122334455667788ULL : 0x11223344ULL;
    poke(property, REFERENCE_AT, static_cast<std::uintptr_t>(digits));
    poke(property, LENGTH_AT, length);
  }
  ~HoldingNumber() { poke(property, REFERENCE_AT, former_); }

 private:
  void* former_;
};

// Differs by byte order and by the width of a pointer.
TEST(ArrayPropertyWithBlock, AShortValueIsTheFirstBytesOfTheReference) {
  HoldingNumber held(3);
  ExactBlock block(10);
  EXPECT_EQ(held.property.serialize(block.data(), block.length()), 10);
  std::string expected;
  if (IS_64_BIT) {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 0003 887766"_hex : "10800005 0C 0003 112233"_hex;
  } else {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 0003 443322"_hex : "10800005 0C 0003 112233"_hex;
  }
  EXPECT_EQ(asText(block.view()), asText(expected));
}

// Differs by byte order and by the width of a pointer.
TEST(ArrayPropertyWithBlock, ALongValueIsTheReferenceTheLengthFieldAndZeros) {
  HoldingNumber held(15);
  ExactBlock block(22);
  EXPECT_EQ(held.property.serialize(block.data(), block.length()), 22);
  std::string expected;
  if (IS_64_BIT) {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 000F 8877665544332211 0F000000 000000"_hex
                                : "10800005 0C 000F 1122334455667788 0000000F 000000"_hex;
  } else {
    expected = IS_LITTLE_ENDIAN ? "10800005 0C 000F 44332211 0F000000 00000000000000"_hex
                                : "10800005 0C 000F 11223344 0000000F 00000000000000"_hex;
  }
  EXPECT_EQ(asText(block.view()), asText(expected));
}

TEST(ArrayPropertyWithBlock, SerializeLeavesTheBlock) {
  Holding held("41 42 43"_hex);
  ExactBlock block(10);
  EXPECT_EQ(held.property.serialize(block.data(), block.length()), 10);
  EXPECT_EQ(asText(block.view().substr(0, 7)), asText("10800005 0C 0003"_hex));
  EXPECT_EQ(held.state(), "3: 41 42 43");
}

// ----- text ------------------------------------------------------------------------------------------------------------

TEST(ArrayPropertyWithBlock, StrWritesEachByteAsTheCharacterThatItIs) {
  Holding held("41 7A 31 00 E9"_hex);
  held.property.id = 7;
  EXPECT_EQ(asText(held.property.str()),
            asText("  7 |                                     blob : \n  A z 1 " + "00 20 E9 20 0A"_hex));
}

// ----- end -------------------------------------------------------------------------------------------------------------

TEST(ArrayPropertyWithBlock, TheDestructorLeavesTheBlock) {
  auto* const property = new ArrayProperty(1, "blob", IFC_CARD_VAR_READ_WRITE, false);
  auto* const block = static_cast<char*>(std::malloc(3));
  std::memcpy(block, "abc", 3);
  poke(*property, REFERENCE_AT, block);
  poke(*property, LENGTH_AT, 3U);
  delete property;
  EXPECT_EQ(std::string(block, 3), "abc");
  std::free(block);
}

}  // namespace
