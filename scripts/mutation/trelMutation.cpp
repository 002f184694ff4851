// The one copy of the switch in a process: a shared library of its own, so that library and test program ask the same.
#include "trelMutation.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr unsigned int MUTANTS = 1U << 16U;
unsigned char unrecorded[MUTANTS];

}  // namespace

unsigned int trelMutantActive = 0;
unsigned char* trelMutantReached = unrecorded;

// Before anything of the program runs. The bytes are mapped, not written at the end: a process that crashes or leaves by
// _exit has recorded what it reached.
__attribute__((constructor)) static void readEnvironment() {
  if (const char* number = std::getenv("TREL_MUTANT")) {
    trelMutantActive = static_cast<unsigned int>(std::strtoul(number, nullptr, 10));
  }
  const char* path = std::getenv("TREL_MUTANTS_REACHED");
  if (path == nullptr) return;
  const int file = open(path, O_RDWR | O_CREAT, 0644);
  if (file < 0 || ftruncate(file, MUTANTS) != 0) _exit(125);
  void* mapped = mmap(nullptr, MUTANTS, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped == MAP_FAILED) _exit(125);
  trelMutantReached = static_cast<unsigned char*>(mapped);
}
