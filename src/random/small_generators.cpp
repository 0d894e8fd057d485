// The generators of one, two and four words.
#include "random/small_generators.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "random/fill.h"

namespace tessel {

namespace {

using Word = std::uint32_t;

// Whether a seed asks for the default state: nothing given, or a zero first word.
bool WantsDefault(const int *words, int count) {
  return words == nullptr || count == 0 || (count > 0 && words[0] == 0);
}

// ---- Park and Miller: x' = 48271 x mod (2^31 - 1), x from 1 to 2^31 - 2.

constexpr Word kLcgModulus = 2147483647;
constexpr Word kLcgDefault = 198195252;
Word lcgState = kLcgDefault;

// ---- Marsaglia: stream k steps x' = a (x mod 2^16) + floor(x / 2^16), that is x / 2^16 modulo a 2^16 - 1.

struct Stream {
  std::uint64_t multiplier;
  Word start;
};
constexpr Stream kStreams[] = {{36969, 362436069}, {18000, 521288629}};
Word streamState[] = {kStreams[0].start, kStreams[1].start};

void StreamStep(int k) {
  const Word x = streamState[k];
  streamState[k] = static_cast<Word>(kStreams[k].multiplier * (x & 65535) + (x >> 16));
}

// A multiple of the modulus stays one for ever.
void StreamSeed(int k, int word) {
  const auto x = static_cast<Word>(word);
  streamState[k] = x % (kStreams[k].multiplier * 65536 - 1) == 0 ? kStreams[k].start : x;
}

// ---- L'Ecuyer: four linear feedback shift registers of 31, 29, 28 and 25 bits, the high ones of their words.

struct Register {
  int q, s, shift;  // feedback tap, bits a step, word shift
  Word mask;        // the register's bits
  Word start;
};
constexpr Register kRegisters[] = {{6, 18, 13, 4294967294, 112},
                                   {2, 2, 27, 4294967288, 1118},
                                   {13, 7, 21, 4294967280, 11126},
                                   {3, 13, 12, 4294967168, 111238}};
constexpr int kRegisterCount = std::size(kRegisters);
Word registerState[] = {kRegisters[0].start, kRegisters[1].start, kRegisters[2].start, kRegisters[3].start};

// The smallest word that has a bit inside the register.
constexpr Word SmallestWord(const Register &r) { return ~r.mask + 1; }

bool FillsRegisters(const int *words) {
  for (int k = 0; k < kRegisterCount; ++k)
    if (static_cast<Word>(words[k]) < SmallestWord(kRegisters[k])) return false;
  return true;
}

}  // namespace

double LcgUniform() {
  lcgState = static_cast<Word>(std::uint64_t{48271} * lcgState % kLcgModulus);
  return lcgState * 4.656612875245797e-10;
}

void LcgSetSeed(const int *words, int) {
  const std::int64_t word = words != nullptr ? words[0] : 0;
  const std::int64_t x = (word + 2 * std::int64_t{kLcgModulus}) % kLcgModulus;
  lcgState = x == 0 ? kLcgDefault : static_cast<Word>(x);
}

int LcgGetSeed(int *words, int count) {
  CopyState(&lcgState, 1, words, count);
  return 1;
}

double Mwc60Uniform() {
  StreamStep(0);
  StreamStep(1);
  const Word draw = (streamState[0] << 16) + (streamState[1] & 65535);
  return draw * 2.32830643708e-10;
}

void Mwc60SetSeed(const int *words, int count) {
  const bool wantsDefault = WantsDefault(words, count);
  if (!wantsDefault && count != 1 && count != 2) return;
  for (int k = 0; k < 2; ++k) StreamSeed(k, wantsDefault ? 0 : words[count == 2 ? k : 0]);
}

int Mwc60GetSeed(int *words, int count) {
  CopyState(streamState, 2, words, count);
  return 2;
}

double LfsrUniform() {
  Word draw = 0;
  for (int k = 0; k < kRegisterCount; ++k) {
    const Register &r = kRegisters[k];
    Word &z = registerState[k];
    z = ((z & r.mask) << r.s) ^ (((z << r.q) ^ z) >> r.shift);
    draw ^= z;
  }
  return draw * 2.3283064365387e-10;
}

void LfsrSetSeed(const int *words, int count) {
  const bool wantsDefault = WantsDefault(words, count);
  if (!wantsDefault && count != 1 && !(count == kRegisterCount && FillsRegisters(words))) return;
  constexpr Word floor = SmallestWord(kRegisters[kRegisterCount - 1]);
  for (int k = 0; k < kRegisterCount; ++k) {
    if (wantsDefault) {
      registerState[k] = kRegisters[k].start;
    } else if (count == 1) {
      registerState[k] = std::max(static_cast<Word>(words[0]), floor);
    } else {
      registerState[k] = static_cast<Word>(words[k]);
    }
  }
}

int LfsrGetSeed(int *words, int count) {
  CopyState(registerState, kRegisterCount, words, count);
  return kRegisterCount;
}

}  // namespace tessel
