// Models of one linear index b = x'theta: the pass over the observations that binary probit and the count models share.
//
// A model says what one observation contributes as a function of its index, its outcome and, where it has one, a shape
// parameter that stands in theta behind the k coefficients.
#pragma once

#include "limdep/likelihood.h"

namespace tessel {

struct CountModel;

struct IndexSample {
  int observations = 0;            // T
  RowMatrix y = nullptr;           // T x 1, truncated to integers
  RowMatrix x = nullptr;           // T x k
  int regressors = 0;              // k, at least 1
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
  // The terms at index b and outcome y. Fitted values are stored or added where `fitted` is given.
  IndexTerms (*terms)(const IndexModel &model, double b, int y, double *fitted) = nullptr;

  bool derivatives = true;             // wanted at all; set by IndexLikelihood
  bool fittedByObservation = false;    // fitted values are one row for each observation, else one row for all
  bool shaped = false;                 // theta_k is the shape parameter
  bool informationFromScores = false;  // the information matrix is the outer product of the scores
  const CountModel *count = nullptr;   // of the count models
};

// The likelihood of the model at theta (k elements, k + 1 with a shape parameter). Without memory for the sums of the
// outer product alone, a count model gives the missing value; in probit that output is zero and all others are as
// usual.
double IndexLikelihood(IndexModel model, const IndexSample &sample, const double *theta, const LikelihoodOutputs &out);

}  // namespace tessel
