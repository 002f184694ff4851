// A library with faults, for the tests of what looks for them.

#ifndef TESTS_ALLOCATION_PLANTED_TRELPLANTED_H
#define TESTS_ALLOCATION_PLANTED_TRELPLANTED_H

// Each takes two blocks and gives both back; each but the first does something wrong when the second is refused.
void plantedGood();
void plantedLosesItsFirstBlock();
void plantedUsesWhatIsNotThere();
void plantedThrowsWhereNothingMayBeThrown() noexcept;

// Keeps one block in a place that everybody knows, for good.
void plantedKeepsABlock();

#endif
