#include "allocation/planted/trelPlanted.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace {

std::unique_ptr<std::string> kept;

// Longer than what a string holds in itself.
std::unique_ptr<std::string> text() { return std::make_unique<std::string>(100, 'x'); }

}  // namespace

void plantedGood() { text(); }

void plantedLosesItsFirstBlock() {
  auto* const first = new unsigned int[25];
  const auto second = std::make_unique<unsigned int[]>(25);
  second[0] = 1;
  delete[] first;
}

void plantedUsesWhatIsNotThere() {
  auto* const first = static_cast<char*>(std::malloc(100));
  if (first == nullptr) return;
  auto* const second = static_cast<volatile char*>(std::calloc(100, 1));
  second[50] = 'x';
  std::free(const_cast<char*>(second));
  std::free(first);
}

void plantedThrowsWhereNothingMayBeThrown() noexcept { text(); }

void plantedKeepsABlock() { kept = text(); }
