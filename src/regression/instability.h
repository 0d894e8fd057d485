// Parameter constancy of a least squares regression (Hansen, B. E. 1992, "Testing for parameter instability in linear
// models", Journal of Policy Modeling 14, 517-533).
//
// The first-order conditions of the k coefficients and of the error variance are the scores
//   f(t, i) = x(t, i) e(t) for i below k,  f(t, k) = e(t)^2 - rss / T,
// which add up to 0 over the sample. With constant parameters their partial sums S(t) = f(1) + ... + f(t) stay near 0.
// The statistics of the single parameters, and of all k + 1 together, are
//   L_i = sum over t of S(t, i)^2 / (T V_ii),  L = sum over t of S(t)'V^-1 S(t) / T,  V = sum over t of f(t) f(t)'.
#pragma once

#include <span>

#include "core/heap.h"
#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct InstabilityResult {
  OwnedBlock<double> single;  // L_i: k coefficients, then the error variance
  double joint = 0;           // L
};

// x: T x k regressors, row t observation t. e: T least squares residuals. rss: their sum of squares.
//   NotPositive   V is singular: the single statistics are there, but no joint one
//   NoMemory      there are no statistics
Status InstabilityTest(ConstMatrix x, std::span<const double> e, double rss, InstabilityResult *result);

}  // namespace tessel
