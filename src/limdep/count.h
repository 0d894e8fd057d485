// Count models with mean mu = exp(x'beta): Poisson and negative binomial, each also truncated from above.
//
// The negative binomial has the shape a = mu^P / alpha and the variance mu + alpha mu^(2-P): P = 0 is the form often
// called NB2, P = 1 the one called NB1. Its parameters are the k coefficients beta and then log alpha. In a truncated
// model the counts 0, ..., L alone occur, with the probabilities of the full model divided by their sum; mu is then the
// mean before truncation. A count above L is not refused: its terms follow the formulas.
//
// With the residual r = y - E y, an observation adds
//   r x         to the score of a Poisson model, truncated or not (E y = mu without truncation),
//   Var(y) x x' to its information matrix, which is minus the Hessian (Var(y) = mu without truncation);
// count.cpp states the derivatives of the negative binomial.
//
// Cameron, A.C. and Trivedi, P.K. (1986), Econometric models based on count data: comparisons and applications of some
// estimators and tests, Journal of Applied Econometrics 1, 29-53.
// Winkelmann, R. (2008), Econometric Analysis of Count Data, 5th edition, Springer, sections 2.3 and 4.2.
#pragma once

#include "limdep/index_model.h"

namespace tessel {

struct CountModel {
  bool negativeBinomial = false;
  int truncation = 0;  // L, 0 for none
  double power = 0.0;  // P of the negative binomial

  // The elements of theta with k regressors.
  std::int64_t ParameterCount(int k) const { return std::int64_t{k} + (negativeBinomial ? 1 : 0); }
};

// The likelihood at theta: k elements, k + 1 for the negative binomial. Counts are not negative. Fitted values are the
// expected numbers of observations with the counts 0, 1, ...: one row, as many as it has columns, summed over the
// observations; those of a truncated model are not cut off above L. The information matrix is minus the Hessian for the
// Poisson models, the outer product of the scores for the negative binomial models. NoMemory as for IndexLikelihood.
Likelihood CountLikelihood(const CountModel &model, const IndexSample &sample, std::span<const double> theta,
                           const LikelihoodOutputs &out);

}  // namespace tessel
