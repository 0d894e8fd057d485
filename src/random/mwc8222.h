// MWC8222, Marsaglia's multiply-with-carry generator of lag 256, in its forms of 32 and 52 bits a draw. The manual is
// ran_table.h.
#pragma once

#include <cstdint>

#include "core/row_matrix.h"

namespace tessel {

double MwcUniform32();
double MwcUniform52();
int MwcRaw();
RowMatrix MwcFillUniform32(RowMatrix m, int rows, int columns);
RowMatrix MwcFillUniform52(RowMatrix m, int rows, int columns);
void MwcSetSeed(const int *words, int count);
int MwcGetSeed(int *words, int count);

// The rest is for the bulk forms, which keep index and carry in registers.

inline constexpr int kMwcLag = 256;

struct MwcState {
  std::uint32_t q[kMwcLag];
  std::uint32_t index;  // of the word that the last step wrote
  std::uint32_t carry;
};
extern MwcState mwcState;

// A local copy of index and carry. It must be stored before anything else draws, and loaded anew afterwards.
struct MwcCursor {
  std::uint32_t index = mwcState.index;
  std::uint32_t carry = mwcState.carry;

  void Load() { *this = MwcCursor(); }
  void Store() const {
    mwcState.index = index;
    mwcState.carry = carry;
  }

  // x_n = 809430660 x_(n-256) + c_(n-1) modulo 2^32, c_n the quotient.
  std::uint32_t Step() {
    index = (index + 1) % kMwcLag;
    const std::uint64_t t = std::uint64_t{809430660} * mwcState.q[index] + carry;
    carry = static_cast<std::uint32_t>(t >> 32);
    return mwcState.q[index] = static_cast<std::uint32_t>(t);
  }
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
