// Not run as tests: each is run again with memory running out, and what is said of it is looked at.

#include <gtest/gtest.h>

#include <memory>
#include <new>

#include "allocation/planted/trelPlanted.h"

TEST(Planted, Good) { plantedGood(); }

TEST(Planted, LosesABlock) { plantedLosesItsFirstBlock(); }

TEST(Planted, UsesWhatIsNotThere) { plantedUsesWhatIsNotThere(); }

TEST(Planted, Terminates) { plantedThrowsWhereNothingMayBeThrown(); }

TEST(Planted, KeepsABlock) { plantedKeepsABlock(); }

// A block that the test loses, because the library throws, is none of the library's.
TEST(Planted, TheTestLosesItsOwn) {
  auto* const own = new unsigned int[25];
  plantedGood();
  delete[] own;
}
