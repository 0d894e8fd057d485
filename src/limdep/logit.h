// Multinomial and conditional logit.
//
// Outcome j of J has the probability p_j = exp(eta_j) / (sum of exp(eta_l) over all outcomes l), with
//   eta_j = offset_j + x'beta_j + (sum over m of z_mj gamma_m),   beta_0 = 0.
// x holds k regressors of the observation, and z holds n characteristics of each outcome. theta is beta_1, ...,
// beta_(J-1), gamma: (J-1) k + n parameters.
//
// With w the weight, N the number of cases (1 where one outcome was observed, else the sum of the counts), r_j the
// count of outcome j less N p_j, and z~_mj = z_mj - (sum over l of p_l z_ml), an observation adds
//   to the log-likelihood   w (sum over j of count_j log p_j),
//   to the score            beta_j: w r_j x;   gamma_m: w (sum over j of r_j z_mj),
//   to the information      beta_j, beta_l: w N p_j (1{j = l} - p_l) x x';   gamma_m, beta_j: w N p_j z~_mj x';
//                           gamma_m, gamma_m2: w N (sum over j of p_j z~_mj z~_m2j).
// The information matrix is minus the Hessian; it depends on what was observed through N alone.
//
// McFadden, D. (1974), Conditional logit analysis of qualitative choice behavior, in: Zarembka, P. (ed.), Frontiers in
// Econometrics, Academic Press, 105-142.
// Maddala, G.S. (1983), Limited-Dependent and Qualitative Variables in Econometrics, Cambridge University Press,
// chapters 2 and 3.
#pragma once

#include "limdep/likelihood.h"

namespace tessel {

struct LogitShape {
  int outcomes = 0;         // J
  int regressors = 0;       // k
  int characteristics = 0;  // n

  std::int64_t FirstGamma() const { return std::int64_t{outcomes - 1} * regressors; }  // its place in theta
  std::int64_t ParameterCount() const { return FirstGamma() + characteristics; }
};

struct LogitSample {
  int outcomes = 0;                // J, at least 1
  ConstMatrix y;                   // T x 1, the outcome, truncated to an integer from 0 to J - 1; or the counts, T x J
  bool counts = false;             // whether y holds counts
  ConstMatrix x;                   // T x k, or none
  ConstMatrix z;                   // T x nJ, or none: the J outcomes of one characteristic stand side by side
  ConstMatrix offset;              // T x J, or none
  std::span<const double> weight;  // T, or empty for 1 everywhere

  // y, z and offset may have further columns, which are not read.
  LogitShape Shape() const { return {outcomes, x.columns, z.columns / outcomes}; }
};

// The probabilities of the J outcomes of observation t, each kept between 2^-104 and 1. They are missing where every
// eta_j lies so far below 0 that exp(eta_j) is 0 for all outcomes.
void LogitProbabilities(const LogitSample &sample, std::span<const double> theta, int t, std::span<double> p);

// The likelihood at theta. Fitted values are the probabilities, T x J. The log-likelihood of counts has no multinomial
// constant. Where the information matrix is wanted, `centred` (of the shape of z, or none) receives z~: z itself may be
// given, since z~ in the place of z changes no result. Without it the work memory is one row of z.
//
// NoMemory: nothing is filled; or, when the sums of the outer product alone found none, the outer product is zero and
// all else is computed, the log-likelihood too.
Likelihood LogitLikelihood(const LogitSample &sample, std::span<const double> theta, const LikelihoodOutputs &out,
                           Matrix centred = {});

// Derivatives of the probabilities p (J elements) with respect to the k regressors and n characteristics, at given p.
// Row i < k of column j of `out` becomes p_j (beta_ji - sum over l of p_l beta_li), row k + m becomes p_j (1 - p_j)
// gamma_m, the derivative with respect to the outcome's own characteristic m. out: k + n x J, from which n is read.
void LogitProbDerivatives(std::span<const double> theta, int regressors, std::span<const double> p, Matrix out);

}  // namespace tessel
