// What the likelihood evaluators share: what they return, what they fill, and the bound on probabilities.
//
// An evaluator makes one pass over the observations t = 0, ..., T-1 at given parameters theta. For each observation it
//   1. forms the linear indices, and from them the probabilities or the mean;
//   2. adds the log-likelihood l_t of what was observed to the total;
//   3. adds the score contribution g_t, the derivative of l_t with respect to theta, to the score;
//   4. adds minus the matrix of second derivatives of l_t (or its expectation) to the information matrix, and g_t g_t'
//      to the outer product.
// Outputs that are not wanted are not computed. Evaluators keep no state: any number of threads may call them, each
// with outputs of its own.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/missing.h"
#include "core/status.h"

namespace tessel {

// What an evaluator returns. NoMemory means that not all outputs were computed: the log-likelihood is missing and no
// output is filled, or, where an evaluator says so, the outer product alone is absent.
struct [[nodiscard]] Likelihood {
  Status status = Status::NoMemory;
  double logLik = MissingValue();
};

// Where the results of a pass go. An output without cells is not wanted. nP is the number of elements of theta, which
// may exceed the parameters of the model: the derivatives with respect to the elements behind them are 0.
struct LikelihoodOutputs {
  std::span<double> score;   // nP
  Matrix information;        // nP x nP
  Matrix fitted;             // probabilities or frequencies, in the shape that the model states
  std::span<double> logLik;  // T: l_t of each observation
  Matrix outerProduct;       // nP x nP

  bool WantDerivatives() const { return !score.empty() || information || outerProduct; }
};

// Sets score, information and outer product to zero, where they are wanted.
void ZeroDerivatives(const LikelihoodOutputs &out);

// Whether the first column of y, truncated to integers, lies between 0 and `highest` in all rows. A missing value does
// not. What the evaluators ask of outcomes and counts.
bool OutcomesWithin(ConstMatrix y, int highest);

// A fitted probability, brought into the range from 2^-104 to 1 so that its logarithm stays finite. A missing value
// stays.
inline double BoundProbability(double p) {
  constexpr double lowest = 0x1p-104;
  return p < lowest ? lowest : p > 1.0 ? 1.0 : p;
}

// The linear index x'beta over n elements, from the first product to the last. Regressors are few: this order takes no
// longer than the four partial sums of DotProduct.
inline double LinearIndex(const double *x, const double *beta, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[i] * beta[i];
  return sum;
}

// sum += c x over n elements, which must not overlap.
inline void AddMultiple(double *__restrict sum, double c, const double *__restrict x, int n) {
  for (int i = 0; i < n; ++i) sum[i] += c * x[i];
}

}  // namespace tessel
