// Vectors of doubles, in the compilers' portable notation.
//
// Arithmetic on a vector is arithmetic on each of its cells. Where the machine's vectors are shorter the compiler
// splits an operation; arrays of sums then no longer fit the registers, so that a loop that holds many of them is
// written in Double2 where the machine code is the baseline's.
#pragma once

#include <cstring>

namespace tessel {

using Double2 [[gnu::vector_size(16)]] = double;
using Double4 [[gnu::vector_size(32)]] = double;
using Double8 [[gnu::vector_size(64)]] = double;

// A vector at any address. A packed member is what every compiler takes for unaligned memory: a reference to a vector
// type of small alignment may lose that alignment on its way through a function.
template <class Vector>
struct [[gnu::packed, gnu::may_alias]] Anywhere {
  Vector v;
};

// The cells from p on, for reading and writing: At<Double4>(p).v.
template <class Vector>
[[gnu::always_inline]] inline const Anywhere<Vector> &At(const double *p) {
  return *reinterpret_cast<const Anywhere<Vector> *>(p);
}
template <class Vector>
[[gnu::always_inline]] inline Anywhere<Vector> &At(double *p) {
  return *reinterpret_cast<Anywhere<Vector> *>(p);
}

// Copies n cells, for a small n.
inline void CopyFew(const double *from, int n, double *to) {
  for (; n >= 4; n -= 4, from += 4, to += 4) std::memcpy(to, from, 4 * sizeof(double));
  if ((n & 2) != 0) std::memcpy(to, from, 2 * sizeof(double));
  if ((n & 1) != 0) to[n - 1] = from[n - 1];
}

}  // namespace tessel
