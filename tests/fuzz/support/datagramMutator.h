// Mutations that know what a datagram is, for LLVMFuzzerCustomMutator.

#ifndef TESTS_FUZZ_SUPPORT_DATAGRAMMUTATOR_H
#define TESTS_FUZZ_SUPPORT_DATAGRAMMUTATOR_H

#include <cstddef>
#include <cstdint>

// What a fuzzer hands to a mutator, as one.
struct MutatorInput {
  std::uint8_t* data;
  std::size_t size;
  std::size_t maxSize;  // the most that fits at `data`
  unsigned int seed;
};

// Mutates an input of `prefix` bytes and a datagram behind: the fields of its header, the OID, type and length of a TLV, whole
// TLVs, its end; or, one time in four, whatever the fuzzer's own mutations do to the whole input. Returns the new size.
//
//     return mutateDatagram({data, size, maxSize, seed}, 1);  // in LLVMFuzzerCustomMutator
std::size_t mutateDatagram(const MutatorInput& input, std::size_t prefix);

// The same for `prefix` bytes and records behind, each an operation (1 byte), a length (2 bytes, big-endian) and a datagram:
// one of the datagrams is mutated, or a record is dropped, doubled, exchanged with the next or gets another operation.
std::size_t mutateRecords(const MutatorInput& input, std::size_t prefix);

#endif
