// Fills that the likelihood evaluators share.
#include "limdep/likelihood.h"

#include <algorithm>

namespace tessel {

void ZeroDerivatives(const LikelihoodOutputs &out) {
  const int n = out.parameters;
  if (out.score != nullptr) std::fill_n(out.score, n, 0.0);
  if (out.information != nullptr) MatZero(out.information, n, n);
  if (out.outerProduct != nullptr) MatZero(out.outerProduct, n, n);
}

void MirrorLowerTriangle(RowMatrix m, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) m[j][i] = m[i][j];
}

}  // namespace tessel
