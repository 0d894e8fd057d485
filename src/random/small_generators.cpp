// The generators of one, two and four words.
#include "random/small_generators.h"

#include <algorithm>
#include <cstdint>

#include "random/fill.h"

namespace tessel {

namespace {

using Word = std::uint32_t;

constexpr Generators kDefaults;

// Whether a seed asks for the default state: no words, or a zero first one.
bool WantsDefault(std::span<const int> words) { return words.empty() || words[0] == 0; }

// ---- Park and Miller: x' = 48271 x mod (2^31 - 1), x from 1 to 2^31 - 2.

constexpr Word kLcgModulus = 2147483647;

// ---- Marsaglia: stream k steps x' = a (x mod 2^16) + floor(x / 2^16), that is x / 2^16 modulo a 2^16 - 1.

constexpr std::uint64_t kMultipliers[] = {36969, 18000};

void StreamStep(Word &x, std::uint64_t multiplier) { x = static_cast<Word>(multiplier * (x & 65535) + (x >> 16)); }

// A multiple of the modulus never changes.
bool StandsStill(Word x, std::uint64_t multiplier) { return x % (multiplier * 65536 - 1) == 0; }

// ---- L'Ecuyer: four linear feedback shift registers of 31, 29, 28 and 25 bits, the high ones of their words.

struct Register {
  int q, s, shift;  // feedback tap, bits a step, word shift
  Word mask;        // the register's bits
};
constexpr Register kRegisters[] = {
    {6, 18, 13, 4294967294}, {2, 2, 27, 4294967288}, {13, 7, 21, 4294967280}, {3, 13, 12, 4294967168}};
constexpr std::size_t kRegisterCount = std::size(kRegisters);

// The smallest word that has a bit inside the register.
constexpr Word SmallestWord(const Register &r) { return ~r.mask + 1; }

bool FillsRegisters(std::span<const int> words) {
  for (std::size_t k = 0; k < kRegisterCount; ++k)
    if (static_cast<Word>(words[k]) < SmallestWord(kRegisters[k])) return false;
  return true;
}

}  // namespace

double LcgUniform(Generators &generators) {
  generators.lcg = static_cast<Word>(std::uint64_t{48271} * generators.lcg % kLcgModulus);
  return generators.lcg * 4.656612875245797e-10;
}

void LcgSetSeed(Generators &generators, std::span<const int> words) {
  const std::int64_t word = words.empty() ? 0 : words[0];
  const std::int64_t x = (word + 2 * std::int64_t{kLcgModulus}) % kLcgModulus;
  generators.lcg = x == 0 ? kDefaults.lcg : static_cast<Word>(x);
}

int LcgGetSeed(const Generators &generators, std::span<int> words) {
  CopyState({&generators.lcg, 1}, words);
  return 1;
}

double Mwc60Uniform(Generators &generators) {
  auto &[z, w] = generators.streams;
  StreamStep(z, kMultipliers[0]);
  StreamStep(w, kMultipliers[1]);
  const Word draw = (z << 16) + (w & 65535);
  return draw * 2.32830643708e-10;
}

void Mwc60SetSeed(Generators &generators, std::span<const int> words) {
  if (WantsDefault(words)) {
    generators.streams = kDefaults.streams;
  } else if (words.size() <= 2) {
    for (std::size_t k = 0; k < 2; ++k) {
      const auto x = static_cast<Word>(words[words.size() == 2 ? k : 0]);
      generators.streams[k] = StandsStill(x, kMultipliers[k]) ? kDefaults.streams[k] : x;
    }
  }
}

int Mwc60GetSeed(const Generators &generators, std::span<int> words) {
  CopyState(generators.streams, words);
  return 2;
}

double LfsrUniform(Generators &generators) {
  Word draw = 0;
  for (std::size_t k = 0; k < kRegisterCount; ++k) {
    const Register &r = kRegisters[k];
    Word &z = generators.registers[k];
    z = ((z & r.mask) << r.s) ^ (((z << r.q) ^ z) >> r.shift);
    draw ^= z;
  }
  return draw * 2.3283064365387e-10;
}

void LfsrSetSeed(Generators &generators, std::span<const int> words) {
  if (WantsDefault(words)) {
    generators.registers = kDefaults.registers;
  } else if (words.size() == 1) {
    generators.registers.fill(std::max(static_cast<Word>(words[0]), SmallestWord(kRegisters[kRegisterCount - 1])));
  } else if (words.size() == kRegisterCount && FillsRegisters(words)) {
    std::transform(words.begin(), words.end(), generators.registers.begin(),
                   [](int word) { return static_cast<Word>(word); });
  }
}

int LfsrGetSeed(const Generators &generators, std::span<int> words) {
  CopyState(generators.registers, words);
  return static_cast<int>(kRegisterCount);
}

}  // namespace tessel
