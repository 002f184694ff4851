// A library in which every hardening flag leaves a trace: a copy into an array whose room the compiler knows, and an address
// in read-only data that the loader has to fill in.

#include <cstring>

extern "C" int probe(const char* from, std::size_t count);

extern "C" const void* const probeAddress[] = {reinterpret_cast<const void*>(&probe)};

extern "C" int probe(const char* from, std::size_t count) {
  char block[64];
  std::memcpy(block, from, count);
  return block[count / 2];
}
