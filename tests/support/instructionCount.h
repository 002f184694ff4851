// Instructions of a piece of work, counted one by one: a cost that is the same on a busy machine and on an idle one.

#ifndef TESTS_SUPPORT_INSTRUCTIONCOUNT_H
#define TESTS_SUPPORT_INSTRUCTIONCOUNT_H

#include <cstddef>
#include <functional>

// False where no process may be stepped through, as under an emulator, and in sanitized builds, whose counts tell nothing.
bool canCountInstructions();

// Does `work` in a process of its own, once unwatched and then step by step; how many instructions the second time took,
// the kernel's left out. The caller's own state stays as it was. For counts that are compared with each other: how many there
// are depends on the compiler, and a few hundred of what surrounds the work are among them. Some microseconds each.
std::size_t instructionsOf(const std::function<void()>& work);

#endif
