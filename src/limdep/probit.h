// Binary probit: outcome 1 has the probability p1 = Phi(x'theta), outcome 0 has p0 = 1 - p1.
//
// With phi the normal density at the index and y the outcome, an observation of weight w adds
//   w (y - p1) phi / (p0 p1) x  to the score, and  w phi^2 / (p0 p1) x x'  to the expected information matrix.
// Maddala, G.S. (1983), Limited-Dependent and Qualitative Variables in Econometrics, section 2.5.
#pragma once

#include "limdep/index_model.h"

namespace tessel {

// The likelihood at theta (k elements). Outcomes are 0 or 1. Fitted values are p0 and p1, T x 2. p0 is kept at or above
// 2^-104; p1 is not bounded, so a p1 of 0 makes the log-likelihood of y = 1 minus infinity.
double ProbitLikelihood(const IndexSample &sample, const double *theta, const LikelihoodOutputs &out);

}  // namespace tessel
