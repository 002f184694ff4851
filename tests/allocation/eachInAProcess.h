// Every TEST of the program in a process of its own, as ctest runs them, without starting the program for each.
#ifndef TESTS_ALLOCATION_EACHINAPROCESS_H
#define TESTS_ALLOCATION_EACHINAPROCESS_H

// Forks for each TEST, before any of them has run, so that process-wide state is fresh in each. Shows one line for each, says
// which were skipped, and gives the output of those that fail, to which a sanitizer's finding at the end of the process counts.
// A TEST that takes more than ten minutes has failed. Returns the program's exit code.
int eachInAProcess();

#endif
