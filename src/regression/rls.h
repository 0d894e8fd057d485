// Recursive least squares of a system of equations with the same regressors.
//
// The sample grows one observation at a time from the first k. Most steps update the inverse moment matrix by one
// observation (Plackett, R. L. 1950, "Some theorems in least squares", Biometrika 37, 149-157; Brown, R. L., Durbin, J.
// and Evans, J. M. 1975, "Techniques for testing the constancy of regression relationships over time", Journal of the
// Royal Statistical Society B 37, 149-192); every 50th step, the first one, one on request and every step whose
// predecessor was ill-conditioned factorise the whole sample so far (rank-revealing Householder QR), which stops the
// build-up of rounding and settles collinear regressors.
//
// Accuracy. The coefficients are always (X'X)^-1 X'y, so conditioning costs them twice the digits that it costs a QR
// solution, and rank-one steps carry the rounding of the first, shortest samples along. Growth rates keep 12 digits.
// Equations in levels or log levels, whose regressors are nearly collinear, lose most of theirs in the first steps.
// Measured against 50-digit arithmetic:
//   log US consumption, quarterly, on a constant, its own lag, log income, its lag and a trend: up to the second
//     scheduled factorisation coefficients are off by 1e-4 of their value, at worst by 7e-3, and the residual sum of
//     squares by 1e-5; from there on by 2e-5 and 2e-7 at most
//   Longley's (1967) data: coefficients by 1e-6 to 1e-4 in the full sample, and the residual sum of squares by 2e-6
// A factorisation at the observation of interest (tExact) brings 8 digits of the first equation back there. So do
// differences in place of levels everywhere.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// Output tables, each null or empty where not wanted. Column t belongs to observation t of 0 to t2; cells of
// observations without a step are missing.
struct RlsPaths {
  Matrix beta;                   // n k rows; row j k + i: coefficient i of equation j
  Matrix inverseDiag;            // k rows; diagonal of (X'X)^-1, missing for a regressor that was dropped
  Matrix standardised;           // n rows; innovation over its scale
  Matrix innovation;             // n rows; y less its prediction from the coefficients of the step before
  Matrix rss;                    // n rows; residual sum of squares
  Matrix residual;               // n rows; y less its fit by the coefficients of the same step
  std::span<double> halfLogDet;  // -log|residual cross-products / full sample size| / 2; missing when singular
};

// y: at least t2 + 1 rows of n, x: at least t2 + 1 rows of k, row t observation t. 0 <= t1 <= t2. The first step is at
// t1 + k. A missing value at observation t makes all coefficients from t on missing, and the run goes on.
//   Invalid       no step fits the range, or n or k is 0; the paths are not written
//   NotPositive   an innovation's variance factor fell to 0 or below on an exact step; the paths hold the steps before
//   NoMemory      the paths are not written, or hold the steps before a factorisation that found none
Status RlsEstimate(ConstMatrix y, ConstMatrix x, int t1, int t2, int tExact, const RlsPaths &paths);

}  // namespace tessel
