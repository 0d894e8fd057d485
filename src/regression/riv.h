// Recursive instrumental variables: two-stage least squares of one equation on a growing sample.
//
// The coefficients are computed afresh at every observation from running moments and two running inverses, through a
// partitioned inverse (Hendry and Neale 1987 describe the recursion). The inverses are updated by one observation at a
// time and computed anew at every 50th.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// z holds variables in rows and observations in columns: the dependent variable, b = nEndog - 1 endogenous regressors,
// a = k - b exogenous regressors, m additional instruments.
struct RivData {
  RowMatrix z = nullptr;
  int nEndog = 0;
  int k = 0;
  int m = 0;
};

// Output tables of t2 + 1 columns, each null where not wanted. Cells without a step are missing.
struct RivPaths {
  RowMatrix beta = nullptr;         // k rows; row i: coefficient of row i + 1 of z
  RowMatrix inverseDiag = nullptr;  // k rows; diagonal of the inverse moments of the fitted regressors, 0 if negative
  double *standardised = nullptr;   // innovation over its scale, at the observation that it predicts
  double *innovation = nullptr;     // y less its prediction from the step before, likewise
  double *rss = nullptr;            // sum of squared residuals of the actual regressors
  double *residual = nullptr;       // residual at the step's own observation
};

// Steps at t1 + nInit - 1, ..., t2. 0 <= t1 <= t2, 0 <= b <= k, m > 0. The paths are filled with missing values first.
// 1 when every step ran, or when the first would lie past t2. 0 when work memory failed, when a is 0, or when the
// moments of the instruments or of the fitted regressors are not positive definite at some step, as in a first sample
// that is too short; steps before that one stay in the paths. Where an inversion alone finds no memory, the steps that
// use the inverse are missing.
int RivEstimate(const RivData &data, int t1, int t2, int nInit, const RivPaths &paths);

// Inverse of the symmetric matrix [P^-1 C'; C D] in place, from P (a x a, top left), C (b x a, bottom left) and D
// (b x b, bottom right); the top right block is not read. An empty second block leaves the matrix as it is. 1, or 0
// when the complement D - C P C' is not positive definite or work memory failed.
int PartitionedInverse(RowMatrix matrix, int a, int b);

}  // namespace tessel
