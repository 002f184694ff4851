// The buffer of a TLV's value: 8 bytes at least, so that a number of any width is read and written inside it.

#include <gtest/gtest.h>

#include "support/allocationFailure.h"
#include "support/exactBlock.h"
#include "tlvTestSupport.h"

// Blocks below 8 bytes would be handed out: the request that fails is for 8 at least. No line is written meanwhile, which
// would ask for memory itself.
TEST(TlvBuffer, AValueOfOneByteHasABufferOf8) {
  const ExactBlock record("10800005 03 0001 07"_hex);
  TRELTlv set;
  TRELTlv received;
  unsigned int refused = 0;
  {
    AllocationFailure failure(8);
    set.setValue(static_cast<unsigned char>(7));
    received.deserialize(record.data());
    refused = failure.count();
  }
  EXPECT_EQ(refused, 2U);
  EXPECT_EQ(set.val, nullptr);
  EXPECT_EQ(received.val, nullptr);
}

TEST(TlvBuffer, AValueOfOneByteHasNoLargerBuffer) {
  const ExactBlock record("10800005 03 0001 07"_hex);
  TRELTlv set;
  TRELTlv received;
  unsigned int refused = 1;
  {
    const AllocationFailure failure(9);
    set.setValue(static_cast<unsigned char>(7));
    received.deserialize(record.data());
    refused = failure.count();
  }
  EXPECT_EQ(refused, 0U);
}

TEST(TlvBuffer, ANumberAsksForItsOwnLengthWhateverTheRecordsLengthWas) {
  TRELTlv tlv;
  tlv.len = 40000;
  {
    const AllocationFailure failure(20000);
    tlv.setValue(7U);
    EXPECT_EQ(failure.count(), 0U);
  }
  EXPECT_EQ(tlv.len, 4U);
  EXPECT_EQ(tlv.getValueAsUInt32(), 7U);
}
