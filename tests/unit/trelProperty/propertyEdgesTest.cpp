// Values at the edge of what a property can hold or write: a length below zero, one byte of an address, the smallest buffers.

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/allocationFailure.h"
#include "support/bytes.h"
#include "support/exactBlock.h"
#include "support/logCapture.h"
#include "support/objectBytes.h"
#include "support/oldStyleRecord.h"
#include "trel/trelProperty.h"

namespace {

using Lines = std::vector<std::string>;

constexpr IfcCardVarAccessType RW = IFC_CARD_VAR_READ_WRITE;

class TextOfLength : public StringProperty {
 public:
  explicit TextOfLength(int length) : StringProperty(0x10800005, "text", RW, "abc"), length_(length) {}
  int length() override { return length_; }

 private:
  int length_;
};

class NumberOfLength : public TypeProperty<unsigned int> {
 public:
  explicit NumberOfLength(int length) : TypeProperty<unsigned int>(0x10800005, "number", RW, 42U), length_(length) {}
  int length() override { return length_; }

 private:
  int length_;
};

void expectRefused(TrelProperty& property, int size) {
  LogCapture log(3);
  ExactBlock block(16);
  EXPECT_EQ(property.serialize(block.data(), size), -1);
  EXPECT_EQ(asText(block.view()), "A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5 A5");
  EXPECT_EQ(log.brief().size(), 1U);
}

// Bytes that malloc has handed out and not got back; 0 for ever under a sanitizer, which has an eye on this itself.
std::size_t bytesInUse() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

}  // namespace

TEST(PropertyEdges, ALengthBelowZeroFitsNoBuffer) {
  TextOfLength text(-1);
  NumberOfLength number(-1);
  for (const int size : {6, 7, 16}) {
    SCOPED_TRACE(size);
    expectRefused(text, size);
    expectRefused(number, size);
  }
}

TEST(PropertyEdges, ALengthOfZeroIsTheHeadAlone) {
  NumberOfLength number(0);
  LogCapture log(3);
  ExactBlock block(7);
  EXPECT_EQ(number.serialize(block.data(), 7), 7);
  EXPECT_EQ(asText(block.view()), "10 80 00 05 01 00 00");
  EXPECT_EQ(log.brief(), Lines{});
}

// The length field has 16 bits: 65541 is written as 5, and the bytes all follow.
TEST(PropertyEdges, ATextLongerThanTheLengthFieldIsWrittenWithTheLow16BitsOfItsLength) {
  const std::string characters(65541, 'x');
  StringProperty text(0x10800005, "text", RW, characters);
  ExactBlock block(7 + characters.size());
  EXPECT_EQ(text.serialize(block.data(), 7 + 65541), 7 + 65541);
  EXPECT_EQ(asText(block.view().substr(0, 8)), "10 80 00 05 09 00 05 78");
  EXPECT_EQ(block.view().substr(7), characters);
}

TEST(PropertyEdges, OneByteOfAMacAddressReplacesTheFirstAlone) {
  unsigned char start[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
  MacAddressProperty property(5, "mac", RW, start, false);
  unsigned char given[1] = {0x77};
  property.set(given, 1);
  ExactBlock held(6);
  property.get(reinterpret_cast<unsigned char*>(held.data()));
  EXPECT_EQ(asText(held.view()), "77 1A 2B 3C 4D 5E");
}

TEST(PropertyEdges, ABlockOfBytesThatAnotherReplacesIsGivenBack) {
  constexpr unsigned int LENGTH = 60000;
  std::string bytes(LENGTH, 'x');
  const std::string record = "10800005 0C EA60"_hex + bytes;
  ArrayProperty property(0x10800005, "blob", RW, false);
  poke(property, sizeof(TrelProperty), std::malloc(1));
  const std::size_t before = bytesInUse();
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(property.deserialize(record.data()), 7 + static_cast<int>(LENGTH));
  EXPECT_LT(bytesInUse(), before + std::size_t{10} * LENGTH);
  for (int i = 0; i < 100; ++i)
    property.set(reinterpret_cast<unsigned char*>(bytes.data()), LENGTH);
  EXPECT_LT(bytesInUse(), before + std::size_t{10} * LENGTH);
  std::free(peek<void*>(property, sizeof(TrelProperty)));
}

TEST(PropertyEdges, ABlockOfBytesThatIsReceivedIsAsLargeAsItsBytes) {
  const std::string record = "10800005 0C EA60"_hex + std::string(60000, 'x');
  ArrayProperty property(0x10800005, "blob", RW, false);
  poke(property, sizeof(TrelProperty), std::malloc(1));
  {
    const AllocationFailure failure(60001);
    EXPECT_EQ(property.deserialize(record.data()), 60007);
    EXPECT_EQ(failure.count(), 0U);
  }
  std::free(peek<void*>(property, sizeof(TrelProperty)));
}

TEST(PropertyEdges, AnOldStyleValueThatAnotherReplacesIsGivenBack) {
  constexpr unsigned int LENGTH = 60000;
  std::string bytes(LENGTH, 'x');
  const std::string record = "02000001 0C EA60"_hex + bytes;
  OldStyle property = oldStyleFromWire(record);
  const std::size_t before = bytesInUse();
  for (int i = 0; i < 100; ++i)
    property->set(reinterpret_cast<unsigned char*>(bytes.data()), LENGTH);
  EXPECT_LT(bytesInUse(), before + std::size_t{10} * LENGTH);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(property->deserialize(record.data()), 7 + static_cast<int>(LENGTH));
  EXPECT_LT(bytesInUse(), before + std::size_t{10} * LENGTH);
}

// Blocks below 8 bytes would be handed out: the request that fails is for 8 at least. No line is written meanwhile, which
// would ask for memory itself.
TEST(PropertyEdges, AnOldStyleValueOfOneByteHasABufferOf8) {
  const ExactBlock record("02000001 03 0001 07"_hex);
  OldStyle property = oldStyleFromWire("02000001 03 0000"_hex);
  unsigned int refused = 0;
  {
    AllocationFailure failure(8);
    property->deserialize(record.data());
    refused = failure.count();
  }
  EXPECT_EQ(refused, 1U);
  EXPECT_EQ(heldValue(*property), nullptr);
}
