// Random numbers: five generators, of which an object of type Generators holds the states and selects one.
//
// Everything that a draw reads or writes is in the object that it is given. Two threads may draw at once, each from its
// own object. A default-constructed object holds the default state of every generator and selects MWC_52; it may be
// constinit. A copy continues the sequence by itself.
//
// clang-format off
//   names                    words  uniform                    generator
//   PM, LCG31                1      31 bits, in (0,1)          multiplier 48271 modulo 2^31 - 1. Park and Miller,
//                                                              Random number generators: good ones are hard to find,
//                                                              Communications of the ACM 31 (1988), 1192-1201; the
//                                                              multiplier: the same with Stockmeyer, 36 (1993), 105-110
//   GM, MWC60                2      32 bits, in [0,1)          two multiply-with-carry streams of 16 bits. Marsaglia,
//                                                              Random numbers for C: the end?, sci.stat.math (1999)
//   LE, LFSR113              4      32 bits, in [0,1)          combined Tausworthe. L'Ecuyer, Tables of maximally
//                                                              equidistributed combined LFSR generators, Mathematics of
//                                                              Computation 68 (1999), 261-269
//   MWC_32, MWC8222, MWC32   258    32 bits, in (0,1)          multiply-with-carry of lag 256. Marsaglia, Seeds for
//                                                              random number generators, Communications of the ACM 46
//                                                              (2003), 90-93
//   MWC_52, MWC8222_52,      258    52 bits, in (0,1), of two  the same generator, with the same state
//   MWC52, default                  steps
// clang-format on
//
// Seeds. No words at all restore the default state of the selected generator. Otherwise:
//   PM     one word; more are ignored. A negative word is raised by 2^31 - 1. The recurrence takes states from 1 to
//          2^31 - 2: a word of 0, 2^31 - 1 or -(2^31 - 1) is replaced by the default.
//   GM     one word for both streams, or two; a first word of 0 is the default; other counts change nothing. A multiple
//          of 2422800383 in the first stream, or of 1179647999 in the second, would never change and is replaced by the
//          default of that stream.
//   LE     one word for all components, raised to 128 (as unsigned) where it is smaller, or four, taken only when they
//          are at least 2, 8, 16 and 128; a first word of 0 is the default; other counts change nothing.
//   MWC8222  one word s: the 256 words come from the congruential generator s -> 1664525 s + 1013904223 modulo 2^32
//          (Knuth and Lewis) without its zeros; the default is s = 0. From 2 words on: the first 256 words, in place of
//          as many of the state; with 258 the index and the carry too, otherwise these take their defaults.
// RanGetSeed copies the first words of the state, as many as there is room for, and returns how many the state has; of
// MWC8222, index and carry come together. A state that was copied in full and set again continues the sequence.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct Generators;

// One generator: its operations on the states.
struct RanTable {
  double (*uniform)(Generators &);
  int (*raw)(Generators &);        // one step, as an integer; null for PM, GM and LE
  double (*normal)(Generators &);  // see normals.h
  void (*fillUniform)(Generators &, Matrix);
  void (*fillNormal)(Generators &, Matrix);
  void (*setSeed)(Generators &, std::span<const int>);
  int (*getSeed)(const Generators &, std::span<int>);
};
extern const RanTable kMwc52;

inline constexpr int kMwcLag = 256;

// The words of MWC8222 for a seed.
constexpr std::array<std::uint32_t, kMwcLag> MwcWords(std::uint32_t seed) {
  std::array<std::uint32_t, kMwcLag> words{};
  for (std::size_t filled = 0; filled < words.size();) {
    seed = 1664525 * seed + 1013904223;
    if (seed != 0) words[filled++] = seed;
  }
  return words;
}

// MWC8222, in both of its forms.
struct MwcState {
  std::array<std::uint32_t, kMwcLag> q = MwcWords(0);
  std::uint32_t index = kMwcLag - 1;  // of the word that the last step wrote
  std::uint32_t carry = 362436;
};

struct Generators {
  const RanTable *table = &kMwc52;  // the selected generator
  MwcState mwc;
  std::uint32_t lcg = 198195252;                                        // PM
  std::array<std::uint32_t, 2> streams = {362436069, 521288629};        // GM
  std::array<std::uint32_t, 4> registers = {112, 1118, 11126, 111238};  // LE
  bool normalCached = false;                                            // whether a polar normal waits
  double cachedNormal = 0;
};

// Selects the generator of that name; its state is where it was left. Names compare exactly. An unknown name (Invalid)
// only discards a cached normal; a null or empty one does nothing.
Status RanSelect(Generators &generators, const char *name);

// Set and copy the state of the selected generator. Seeding discards a cached normal.
void RanSetSeed(Generators &generators, std::span<const int> words);
int RanGetSeed(const Generators &generators, std::span<int> words);

inline double RanUniform(Generators &generators) { return generators.table->uniform(generators); }
inline double RanNormal(Generators &generators) { return generators.table->normal(generators); }

// Fill a matrix, row by row, with the numbers of as many single calls. A matrix without cells draws nothing.
inline void RanFillUniform(Generators &generators, Matrix m) { generators.table->fillUniform(generators, m); }
inline void RanFillNormal(Generators &generators, Matrix m) { generators.table->fillNormal(generators, m); }

}  // namespace tessel
