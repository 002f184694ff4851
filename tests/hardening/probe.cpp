// A library in which every hardening flag leaves a trace: a copy into an array whose room the compiler knows, a frame of many
// pages, and an address in read-only data that the loader has to fill in.

#include <cstring>

extern "C" int probe(const char* from, std::size_t count);

extern "C" const void* const probeAddress[] = {reinterpret_cast<const void*>(&probe)};

extern "C" int probe(const char* from, std::size_t count) {
  char block[64];
  std::memcpy(block, from, count);
  return block[count / 2];
}

extern "C" int probeLargeFrame(int (*use)(char* block));

extern "C" int probeLargeFrame(int (*use)(char* block)) {
  char block[100000];
  return use(block);
}

#ifdef USES_WHAT_IS_NOWHERE
extern "C" int probeNowhere();
extern "C" int probeUser();

extern "C" int probeUser() { return probeNowhere(); }
#endif
