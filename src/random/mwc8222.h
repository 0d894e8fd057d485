// MWC8222, Marsaglia's multiply-with-carry generator of lag 256, in its forms of 32 and 52 bits a draw. The manual is
// generators.h.
#pragma once

#include <cstdint>

#include "random/generators.h"

namespace tessel {

double MwcUniform32(Generators &generators);
double MwcUniform52(Generators &generators);
int MwcRaw(Generators &generators);
void MwcFillUniform32(Generators &generators, Matrix m);
void MwcFillUniform52(Generators &generators, Matrix m);
void MwcSetSeed(Generators &generators, std::span<const int> words);
int MwcGetSeed(const Generators &generators, std::span<int> words);

// The rest is for the bulk forms, which keep index and carry in registers.

// A local copy of index and carry. It must be stored before anything else draws, and loaded anew afterwards.
class MwcCursor {
 public:
  explicit MwcCursor(MwcState &state) : state_(state), index_(state.index), carry_(state.carry) {}

  void Load() {
    index_ = state_.index;
    carry_ = state_.carry;
  }
  void Store() const {
    state_.index = index_;
    state_.carry = carry_;
  }

  // x_n = 809430660 x_(n-256) + c_(n-1) modulo 2^32, c_n the quotient.
  std::uint32_t Step() {
    index_ = (index_ + 1) % kMwcLag;
    const std::uint64_t t = std::uint64_t{809430660} * state_.q[index_] + carry_;
    carry_ = static_cast<std::uint32_t>(t >> 32);
    return state_.q[index_] = static_cast<std::uint32_t>(t);
  }

 private:
  MwcState &state_;
  std::uint32_t index_;
  std::uint32_t carry_;
};

// A step's value as a uniform: 2^-32 times the signed value, and a half, moved inside the interval.
inline double MwcToUniform32(std::uint32_t x) {
  return static_cast<std::int32_t>(x) * 2.3283064365386963e-10 + 0.5000000001164153;
}

// Two steps' values as a uniform: the first gives the high 32 bits, the low 20 bits of the second the rest. Exact, from
// 2^-53 to 1 - 2^-53.
inline double MwcToUniform52(std::uint32_t x1, std::uint32_t x2) {
  const double high = static_cast<std::int32_t>(x1) * 2.3283064365386963e-10 + 0.5000000000000001;
  return static_cast<std::int32_t>(x2 & 1048575) * 2.220446049250313e-16 + high;
}

inline double MwcDraw52(MwcCursor &cursor) {
  const std::uint32_t x1 = cursor.Step();
  const std::uint32_t x2 = cursor.Step();
  return MwcToUniform52(x1, x2);
}

}  // namespace tessel
