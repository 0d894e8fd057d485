// Least squares with autoregressive errors:
//   y(t) = x(t)'beta + u(t),  u(t) = rho(0) u(t - p) + rho(1) u(t - p - 1) + ... + e(t),
// for consecutive lags from p on. The first observations serve as lags only.
//
// Literature: Sargan, J. D. (1964), "Wages and prices in the United Kingdom: a study in econometric methodology", in
// Hart, P. E., Mills, G. and Whitaker, J. K. (eds), "Econometric Analysis for National Economic Planning". Hendry,
// D. F. and Srba, F. (1977), "The properties of autoregressive instrumental variables estimators in dynamic systems",
// Econometrica 45, 969-990.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct RalsModel {
  std::span<const double> theta;  // a coefficient for each regressor, then rho
  std::span<const double> y;      // T observations
  ConstMatrix x;                  // T x k, k above 0
  int lagFirst = 1;               // p; at least 1 when there are lags
  int start = 0;                  // the first observation with an innovation: the largest lag; below T

  int ParameterCount() const { return static_cast<int>(theta.size()); }
  int LagCount() const { return ParameterCount() - x.columns; }
};

struct RalsOutputs {
  std::span<double> residuals;  // T: the innovations e, and u before `start`
  std::span<double> gradient;   // of the objective, one cell a parameter; empty where not wanted
  Matrix matrix;                // twice the sum over t of d d', d(t) minus the derivative of e(t) by the parameters:
                                // the Hessian without second derivatives; null where not wanted
};

// objective: the sum of squared innovations. NoMemory, which needs a derivative that is wanted: objective and residuals
// are there, gradient and matrix are zero.
Status RalsObjective(const RalsModel &model, const RalsOutputs &out, double *objective);

struct RalsForecasts {
  std::span<double> errors;  // innovations of the last observations, from `start` on at most
  std::span<double> scales;  // as many: sqrt(1 + d' parCov d); 0 for a value at or below 0
};

// parCov: the parameters' covariance matrix in units of the error variance, of which the upper triangle is read.
// explained: the explained sum of squares of a regression of the errors on d over the whole sample, g'(D'D)^-1 g for
// g the sum of e d over the forecast observations.
//   NotPositive   D'D is singular: no explained sum of squares; the forecasts are there
//   NoMemory      no explained sum of squares; the forecasts are missing
Status RalsForecast(const RalsModel &model, ConstMatrix parCov, const RalsForecasts &out, double *explained);

}  // namespace tessel
