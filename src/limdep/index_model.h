// Models of one linear index b = x'beta: the pass over the observations that binary probit and the count models share.
//
// A model says what one observation contributes as a function of its index and its outcome. With d_t and s_t the
// derivatives of l_t with respect to the index and to the dispersion parameter, the score contribution is g_t = (d_t
// x_t, s_t), and the information matrix is the sum of v_t x_t x_t' with the weight v_t that the model gives, or the sum
// of g_t g_t'.
#pragma once

#include "limdep/likelihood.h"

namespace tessel {

struct CountDistribution;

// Observations of a model of one index.
struct IndexSample {
  ConstMatrix y;                   // T x 1, truncated to integers
  ConstMatrix x;                   // T x k, k at least 1
  std::span<const double> weight;  // T, or empty for 1 everywhere

  int Observations() const { return y.rows; }
  int Regressors() const { return x.columns; }
};

// What one observation of weight 1 contributes.
struct IndexTerms {
  double logLik = 0.0;       // l
  double dIndex = 0.0;       // the derivative of l with respect to the index
  double dDispersion = 0.0;  // the derivative of l with respect to the dispersion parameter
  double information = 0.0;  // the weight of x x' in the information matrix
};

struct IndexModel {
  // The terms at index b and outcome y. `fitted`, unless empty, is the row of fitted values: stored where each
  // observation has a row of its own, added to where all share one.
  IndexTerms (*terms)(const IndexModel &model, double b, int y, std::span<double> fitted) = nullptr;

  bool derivatives = true;                   // whether derivatives are wanted at all; set by IndexLikelihood
  bool fittedByObservation = false;          // fitted values are one row for each observation, else one row for all
  bool hasDispersion = false;                // theta holds a dispersion parameter behind the k coefficients
  bool informationFromScores = false;        // the information matrix is the outer product of the scores
  const CountDistribution *count = nullptr;  // what the terms of the count models read
};

// The likelihood of the model at theta (k elements, and one more with a dispersion parameter). NoMemory: nothing is
// filled; or, when the sums of the outer product alone found none, the outer product is zero and all else is computed,
// the log-likelihood too.
Likelihood IndexLikelihood(IndexModel model, const IndexSample &sample, std::span<const double> theta,
                           const LikelihoodOutputs &out);

}  // namespace tessel
