// Random numbers: the generators and the table through which one of them is current.
//
// One generator serves the whole process, with one state and no lock: MWC_52 from the start, until RanSelect names
// another. RanInit comes first; before it the 256 words of MWC8222 and the tables of its normals are zero.
//
//   names                    words  uniform                    generator
//   PM, LCG31                1      31 bits, in (0,1)          Park and Miller (1988, 1993), Communications of the ACM
//                                                              31 and 36: multiplier 48271
//   GM, MWC60                2      32 bits, in [0,1)          Marsaglia (1999): two 16-bit multiply-with-carry
//   LE, LFSR113              4      32 bits, in [0,1)          L'Ecuyer (1999), Mathematics of Computation 68: combined
//                                                              Tausworthe
//   MWC_32, MWC8222, MWC32   258    32 bits, in (0,1)          Marsaglia (2003), Communications of the ACM 46:
//                                                              multiply-with-carry of lag 256
//   MWC_52, MWC8222_52,      258    52 bits, in (0,1), of two  the same generator, with the same state
//   MWC52, default                  steps
//
// Seeds. `setSeed` with a null pointer restores the default state of its generator. Otherwise:
//   PM     one word, whatever the count: a negative one is raised by 2^31 - 1, 0 is the default. Words that the
//          recurrence would leave at 0 are the default too: it takes states from 1 to 2^31 - 2.
//   GM     one word for both streams, or two; a count or a first word of 0 is the default; other counts change nothing.
//          In place of a word whose stream would stand still (the multiples of 2422800383 and 1179647999) that stream
//          takes its default.
//   LE     one word for all components, raised to 128 (as unsigned) where it is smaller, or four, taken only when they
//          are at least 2, 8, 16 and 128; a count or a first word of 0 is the default; other counts change nothing.
//   MWC8222  one word: the 256 words come from the congruential generator s -> 1664525 s + 1013904223 (Knuth and Lewis)
//          without its zeros. From 2 words on: the first 256 words; with 258 the index and the carry too. A count below
//          1 is the seed 0.
// `getSeed` copies the first `count` words of the state, or none to a null pointer, and returns how many there are; of
// MWC8222 index and carry come together. A state that was copied in full and set again continues the sequence.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

struct RanTable {
  double (*uniform)();
  int (*raw)();        // one step, as an integer; null for PM, GM and LE
  double (*normal)();  // standard normal; see normals.h
  // Fill a matrix, row by row, with the numbers of as many single calls, and return it. A null matrix, and sizes below
  // 1, draw nothing.
  RowMatrix (*fillUniform)(RowMatrix m, int rows, int columns);
  RowMatrix (*fillNormal)(RowMatrix m, int rows, int columns);
  void (*setSeed)(const int *words, int count);
  int (*getSeed)(int *words, int count);
};

// The current generator.
extern RanTable ranTable;

// Gives all generators their default states, selects MWC_52 and builds the tables of the ziggurat.
void RanInit();

// Makes the generator of that name current; its state is where it was left. Names compare exactly; an unknown name only
// discards a cached normal, a null or empty one does nothing.
void RanSelect(const char *name);

// setSeed and getSeed of the current generator. A cached normal is discarded by seeding.
void RanSetSeed(const int *words, int count);
int RanGetSeed(int *words, int count);

}  // namespace tessel
