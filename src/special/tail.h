// Which side of a distribution a probability is of.
#pragma once

namespace tessel {

enum class Tail {
  Lower,  // P(X <= x)
  Upper   // P(X > x)
};

}  // namespace tessel
