// 64-bit results back into 32 bits.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tessel {

// The nearer end of the range for a value outside 32 bits.
inline int ClampToInt(std::int64_t x) {
  return static_cast<int>(
      std::clamp<std::int64_t>(x, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace tessel
