// The missing value and the conversion of doubles to integers.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>

namespace tessel {

inline constexpr std::uint64_t kMissingBits = 0x7FF8000000000000;
inline constexpr std::uint64_t kInfinityBits = 0x7FF0000000000000;

// The one marker of a missing number: the positive quiet NaN.
inline double MissingValue() { return std::bit_cast<double>(kMissingBits); }
inline void SetMissing(double *target) { *target = MissingValue(); }

// 1 for any NaN of either sign, else 0; decided on the bits, so it holds under every compiler flag.
inline int IsMissing(double x) { return (std::bit_cast<std::uint64_t>(x) & ~(1ULL << 63)) > kInfinityBits; }

inline double PositiveInfinity() { return std::bit_cast<double>(kInfinityBits); }

// The missing value as the Algebra functions fetch it.
inline double AlgebraMissing() { return MissingValue(); }

// A double as a 32-bit integer: toward zero inside the range, the nearer end of the range outside it, and the lowest
// integer for a missing value.
inline int TruncateToInt(double x) {
  constexpr int lowest = std::numeric_limits<int>::min();
  constexpr int highest = std::numeric_limits<int>::max();
  if (x > lowest && x < highest) return static_cast<int>(x);
  return x >= highest ? highest : lowest;
}

}  // namespace tessel
