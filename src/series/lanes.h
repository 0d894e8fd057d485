// Many ordered sums at a time.
#pragma once

namespace tessel {

inline constexpr int kLanes = 64;

// sums[l] += sum over i < count of a[i] b[i + l], for every lane l, in the order of i. b holds count + kLanes cells.
// Each lane is a sum of its own, so the sums keep their order while the processor works on several of them at once. A
// product with a zero leaves its sum as it is.
inline void AddLaneProducts(const double *a, const double *b, int count, double *sums) {
  for (int i = 0; i < count; ++i)
    for (int l = 0; l < kLanes; ++l) sums[l] += a[i] * b[i + l];
}

}  // namespace tessel
