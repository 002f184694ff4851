// Included in front of every source of a mutated build: which mutant is switched on, and which ones the program reaches.
#ifndef TREL_MUTATION_H
#define TREL_MUTATION_H

extern "C" {
extern unsigned int trelMutantActive;     // the number in TREL_MUTANT; 0: none, the program is the original
extern unsigned char* trelMutantReached;  // one byte a mutant; the file that TREL_MUTANTS_REACHED names
}

static inline __attribute__((unused)) bool trelMutant(unsigned int number) {
  trelMutantReached[number] = 1;
  return number == trelMutantActive;
}

#endif
