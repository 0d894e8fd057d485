// What the likelihood evaluators share.
#include "limdep/likelihood.h"

#include <algorithm>

namespace tessel {

void ZeroDerivatives(const LikelihoodOutputs &out) {
  std::fill(out.score.begin(), out.score.end(), 0.0);
  FillZero(out.information);
  FillZero(out.outerProduct);
}

bool OutcomesWithin(ConstMatrix y, int highest) {
  for (int t = 0; t < y.rows; ++t)
    if (const int outcome = TruncateToInt(y[t][0]); outcome < 0 || outcome > highest) return false;
  return true;
}

}  // namespace tessel
