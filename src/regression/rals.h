// Least squares with autoregressive errors: y = x'beta + u, u(t) = sum over l of rho(l) u(t - lagFirst - l) + e(t), for
// consecutive lags (Sargan 1964; Hendry and Srba 1977).
#pragma once

#include "core/row_matrix.h"

namespace tessel {

struct RalsModel {
  const double *theta = nullptr;  // k regression coefficients, then lagCount autoregressive ones in ascending lag order
  RowMatrix y = nullptr;          // one column
  RowMatrix x = nullptr;          // k columns
  int k = 0;
  int lagFirst = 1;  // at least 1 when there are lags
  int lagCount = 0;
  int first = 0;  // sample; the errors of the observations before `start` enter as lags only
  int start = 0;  // first + lagLast
  int last = 0;

  int ParameterCount() const { return k + lagCount; }
};

// The sum of squared innovations from `start` on. `residuals` (one cell an observation up to `last`) receives the
// innovations, and u before `start`.
// gradient: of the objective, ParameterCount() x 1; matrix: twice the sum of the outer products of the innovations'
// derivatives, which is the Hessian without its second derivatives. Each null where not wanted; both are zero when work
// memory fails.
double RalsObjective(const RalsModel &model, double *residuals, RowMatrix gradient, RowMatrix matrix);

// Innovations of the last `horizon` observations, in `errors`, and in `scales` the square roots of 1 + d' parCov d, d
// the innovation's derivative and parCov the parameters' covariance in units of the error variance (upper triangle
// read; 0 for a value at or below 0). Both are horizon x 1. start + horizon <= last + 1. Returns the explained sum of
// squares of a regression of the errors on d over the whole sample, g'(D'D)^-1 g; 0 when D'D is singular, or, with both
// outputs missing, when work memory fails; missing when the inversion alone finds none.
double RalsForecast(const RalsModel &model, int horizon, RowMatrix parCov, RowMatrix errors, RowMatrix scales);

}  // namespace tessel
