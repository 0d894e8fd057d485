// The shape that all likelihood evaluators share.
//
// An evaluator makes one pass over the observations t = 0, ..., T-1 at given parameters theta. For each observation it
//   1. forms the linear indices, and from them the probabilities or the mean;
//   2. adds the log-likelihood l_t of what was observed to the total;
//   3. adds the derivatives of l_t with respect to the indices, times the regressors, to the score;
//   4. adds the cross products of the regressors, weighted with minus the second derivatives (or their expectation), to
//      the information matrix, and the cross products of the score contribution to the outer product.
// What is not wanted is not computed. The result is the log-likelihood, or the missing value when memory fails.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// Where the derivatives go; null for what is not wanted.
struct LikelihoodOutputs {
  int parameters = 0;                // nP, the length of theta and of the score
  double *score = nullptr;           // nP
  RowMatrix information = nullptr;   // nP x nP
  RowMatrix fitted = nullptr;        // as each model says
  double *logLik = nullptr;          // T, l_t of each observation
  RowMatrix outerProduct = nullptr;  // nP x nP

  bool WantDerivatives() const { return score != nullptr || information != nullptr || outerProduct != nullptr; }
};

// The probabilities of the discrete choice models are kept at or above 2^-104 and at or below 1. A missing value stays.
inline double BoundProbability(double p) {
  constexpr double lowest = 0x1p-104;
  return p < lowest ? lowest : p > 1.0 ? 1.0 : p;
}

// Sets score, information and outer product to zero, where they are wanted.
void ZeroDerivatives(const LikelihoodOutputs &out);

// Copies the lower triangle of an n x n matrix over the upper one.
void MirrorLowerTriangle(RowMatrix m, int n);

// The sum over i < n of x_i y_i, added up in order onto `start`.
inline double AddDotProduct(double start, const double *x, const double *y, int n) {
  for (int i = 0; i < n; ++i) start += x[i] * y[i];
  return start;
}

// sum += c x, for vectors of n elements.
inline void AddScaled(double *__restrict sum, double c, const double *__restrict x, int n) {
  for (int i = 0; i < n; ++i) sum[i] += c * x[i];
}

}  // namespace tessel
