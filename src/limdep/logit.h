// Multinomial and conditional logit.
//
// Outcome j of J has the probability p_j = exp(eta_j) / (sum of exp(eta_l) over all outcomes l), with
//   eta_j = offset_j + x'beta_j + (sum over m of z_mj gamma_m),   beta_0 = 0.
// x holds k regressors of the observation, and z holds n characteristics of each outcome. theta is beta_1, ...,
// beta_(J-1), gamma: (J-1) k + n parameters.
//
// McFadden, D. (1974), Conditional logit analysis of qualitative choice behavior, in: Frontiers in Econometrics.
// Maddala, G.S. (1983), Limited-Dependent and Qualitative Variables in Econometrics, section 2.
#pragma once

#include "limdep/likelihood.h"

namespace tessel {

struct LogitSample {
  int observations = 0;            // T
  int outcomes = 0;                // J, at least 1
  RowMatrix y = nullptr;           // T x 1, the outcome; or T x J, the count of each outcome
  bool counts = false;             // which of the two
  RowMatrix x = nullptr;           // T x k
  int regressors = 0;              // k
  RowMatrix z = nullptr;           // T x nJ: the J outcomes of one characteristic stand side by side
  int characteristics = 0;         // n
  RowMatrix offset = nullptr;      // T x J, or null for none
  const double *weight = nullptr;  // T, or null for 1 everywhere

  int FirstGamma() const { return (outcomes - 1) * regressors; }
};

// The probabilities of the J outcomes of observation t.
void LogitProbabilities(const LogitSample &sample, const double *theta, int t, double *p);

// The likelihood at theta. Outcomes must be in range. Fitted values are the probabilities, T x J. The log-likelihood of
// counts has no multinomial constant. The information matrix is minus the Hessian; computing it leaves every row of z
// less the probability-weighted mean of its characteristic, which changes no later result. Without memory for the sums
// of the outer product alone, that output is zero and all others are as usual.
double LogitLikelihood(const LogitSample &sample, const double *theta, const LikelihoodOutputs &out);

// Derivatives of the probabilities p (J) with respect to the regressors, at given p: row i < k of column j holds
// p_j (beta_ji - sum over l of p_l beta_li), row k + m, m < n, holds p_j (1 - p_j) gamma_m, that of the outcome's own
// characteristic. out: at least k + n rows of J columns.
void LogitProbDerivatives(const double *theta, int regressors, int outcomes, int characteristics, const double *p,
                          RowMatrix out);

}  // namespace tessel
