// Recursive least squares of a system of equations with the same regressors.
//
// The sample grows one observation at a time from the first k. Most steps update the inverse moment matrix by one
// observation (Plackett 1950; Brown, Durbin and Evans 1975); every 50th step, the first one, one on request and every
// step whose predecessor was ill-conditioned factorise the whole sample so far (rank-revealing Householder QR), which
// stops the build-up of rounding and settles collinear regressors.
//
// The coefficients are always (X'X)^-1 X'y, so conditioning costs them twice the digits that it costs a QR solution:
// growth rates keep 12 digits, Longley's (1967) data 4 to 6.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// Output tables, each null where not wanted. Column t belongs to observation t of 0 to t2; cells of observations
// without a step are missing.
struct RlsPaths {
  RowMatrix beta = nullptr;          // n k rows; row j k + i: coefficient i of equation j
  RowMatrix inverseDiag = nullptr;   // k rows; diagonal of (X'X)^-1, missing for a regressor that was dropped
  RowMatrix standardised = nullptr;  // n rows; innovation over its scale
  RowMatrix innovation = nullptr;    // n rows; y less its prediction from the coefficients of the step before
  RowMatrix rss = nullptr;           // n rows; residual sum of squares
  RowMatrix residual = nullptr;      // n rows; y less its fit by the coefficients of the same step
  double *halfLogDet = nullptr;      // -log|residual cross-products / full sample size| / 2; missing when singular
};

// y: at least t2 + 1 rows of n, x: at least t2 + 1 rows of k, row t observation t. 0 <= t1 <= t2.
// The first step is at t1 + k. 1 when all steps ran. 0 when work memory failed or no step fits the range (the paths
// are then not written), when a factorisation found no memory, or when an innovation's variance factor fell to 0 or
// below on an exact step (the paths then hold the steps before).
// A missing value at observation t makes all coefficients from t on missing, and the run goes on.
int RlsEstimate(RowMatrix y, RowMatrix x, int t1, int t2, int tExact, int n, int k, const RlsPaths &paths);

}  // namespace tessel
