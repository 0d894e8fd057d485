// Binary probit: outcome 1 has the probability p1 = Phi(x'theta), outcome 0 has p0 = 1 - p1.
//
// With b = x'theta, phi the normal density at b, y the outcome and w the weight, an observation adds
//   w log p_y                      to the log-likelihood,
//   w (y - p1) phi / (p0 p1) x     to the score,
//   w phi^2 / (p0 p1) x x'         to the information matrix, the expectation of minus the Hessian.
//
// Maddala, G.S. (1983), Limited-Dependent and Qualitative Variables in Econometrics, Cambridge University Press,
// section 2.5.
#pragma once

#include "limdep/index_model.h"

namespace tessel {

// The likelihood at theta (k elements). Outcomes are 0 or 1. Fitted values are p0 and p1, T x 2. p0 is kept at or above
// 2^-104. p1 is not bounded: a p1 of 0 makes the log-likelihood of y = 1 minus infinity, and the derivatives infinite
// or missing. NoMemory as for IndexLikelihood.
Likelihood ProbitLikelihood(const IndexSample &sample, std::span<const double> theta, const LikelihoodOutputs &out);

}  // namespace tessel
