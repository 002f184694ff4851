// Not run as tests: each is run again with memory running out, and what is said of it is looked at.

#include <gtest/gtest.h>

#include <cstdlib>

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

// For --each-in-a-process: state is fresh, a failure is told with its output, and so is a fall; a TEST that is skipped has not
// passed, and what is lost at the end of its process is told by the sanitizer that looks for it.
namespace {
int ran = 0;
int* volatile lostBlock = nullptr;
bool planted() { return std::getenv("TREL_PLANTED") != nullptr; }
}  // namespace

TEST(PlantedProcess, First) { EXPECT_EQ(++ran, 1); }
TEST(PlantedProcess, Second) { EXPECT_EQ(++ran, 1); }
TEST(PlantedProcess, Fails) { EXPECT_FALSE(planted()) << "what went wrong"; }
TEST(PlantedProcess, Falls) {
  if (planted()) std::abort();
}
TEST(PlantedProcess, IsSkipped) {
  if (planted()) GTEST_SKIP();
}
TEST(PlantedProcess, Loses) {
  if (planted()) lostBlock = new int(1);
  lostBlock = nullptr;
}
