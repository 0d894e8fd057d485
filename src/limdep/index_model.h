// Models of one linear index b = x'theta: the pass over the observations that binary probit and the count models share.
//
// A model says what one observation contributes as a function of its index, its outcome and, where it has one, a shape
// parameter that stands in theta behind the k coefficients.
#pragma once

#include "limdep/likelihood.h"

namespace tessel {

struct IndexSample {
  int observations = 0;  // T
  RowMatrix y = nullptr;  // T x 1, truncated to integers
  RowMatrix x = nullptr;  // T x k
  int regressors = 0;     // k, at least 1
  const double *weight = nullptr;  // T, or null for 1 everywhere
};

// The log-likelihood of one observation, its derivatives, and the weight of x x' in the information matrix.
struct IndexTerms {
  double logLik = 0.0;
  double dIndex = 0.0;
  double dShape = 0.0;
  double information = 0.0;
};

struct IndexModel {
  // The terms at index b and outcome y. What need not be computed: the derivatives unless `derivatives` is set, and the
  // fitted values unless `fitted` is given.
  IndexTerms (*terms)(const IndexModel &model, double b, int y, double *fitted) = nullptr;

  bool derivatives = false;               // set by IndexLikelihood
  bool shaped = false;                    // theta_k is a shape parameter
  bool outerProductInformation = false;   // the information matrix is the outer product of the scores
  bool fittedByObservation = false;       // fitted values: one row for each observation, or one row for all
  int truncation = 0;                     // count models: the largest count that can occur, 0 for none
  int cells = 0;                          // count models: frequencies of the counts 0 to cells - 1
  double power = 0.0, inverseDispersion = 0.0;  // negative binomial: P and 1 / alpha
};

// The likelihood of the model at theta. Without memory for the sums of the outer product alone, that output is zero and
// all others are as usual, unless the information matrix needs it.
double IndexLikelihood(IndexModel model, const IndexSample &sample, const double *theta, const LikelihoodOutputs &out);

}  // namespace tessel
