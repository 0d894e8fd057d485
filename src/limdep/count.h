// Count models with mean mu = exp(x'theta): Poisson and negative binomial, each also truncated from above.
//
// The negative binomial has the shape a = mu^P / alpha and the variance mu + alpha mu^(2-P): P = 0 is the form often
// called NB2, P = 1 the one called NB1. Its parameters are the k coefficients and then log alpha. In a truncated model
// the counts 0, ..., L alone occur, with the probabilities of the full model divided by their sum; mu is then the mean
// before truncation. A count above L is not refused: its terms follow the formulas.
//
// Cameron, A.C. and Trivedi, P.K. (1986), Econometric models based on count data, Journal of Applied Econometrics 1.
// Winkelmann, R. (2008), Econometric Analysis of Count Data, sections 2.3 and 4.2.
#pragma once

#include "limdep/index_model.h"

namespace tessel {

struct CountModel {
  bool negativeBinomial = false;
  int truncation = 0;  // L, 0 for none
  double power = 0.0;  // P of the negative binomial
  int cells = 0;       // how many frequencies are fitted

  // Set by CountLikelihood.
  double logDispersion = 0.0;      // log alpha
  double inverseDispersion = 0.0;  // 1 / alpha
};

// The likelihood at theta (k elements, k + 1 for the negative binomial). Counts are not negative. Fitted values are the
// expected numbers of observations with the counts 0, ..., cells - 1: one row, summed over the observations; those of a
// truncated model are not cut off above L. The information matrix is minus the Hessian for the Poisson models, the
// outer product of the scores for the negative binomial models.
double CountLikelihood(CountModel model, const IndexSample &sample, const double *theta, const LikelihoodOutputs &out);

}  // namespace tessel
