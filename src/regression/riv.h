// Recursive instrumental variables: two-stage least squares of one equation on a growing sample.
//
// The coefficients are computed afresh at every observation from running moments and two running inverses, through a
// partitioned inverse. The inverses are updated by one observation at a time and computed anew at every 50th.
// (Phillips, G. D. A. 1977, "Recursions for the two-stage least-squares estimators", Journal of Econometrics 6, 65-77,
// gives recursions for the coefficients themselves.)
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// z holds variables in rows and observations in columns: the dependent variable, b = nEndog - 1 endogenous regressors,
// a = k - b exogenous regressors, m additional instruments. Rows beyond those are not read.
struct RivData {
  ConstMatrix z;
  int nEndog = 0;
  int k = 0;
  int m = 0;
};

// Output tables of t2 + 1 columns, each null or empty where not wanted. Cells without a step are missing.
struct RivPaths {
  Matrix beta;                     // k rows; row i: coefficient of row i + 1 of z
  Matrix inverseDiag;              // k rows; diagonal of the inverse moments of the fitted regressors, 0 if negative
  std::span<double> standardised;  // innovation over its scale, at the observation that it predicts
  std::span<double> innovation;    // y less its prediction from the step before, likewise
  std::span<double> rss;           // sum of squared residuals of the actual regressors
  std::span<double> residual;      // residual at the step's own observation
};

// Steps at t1 + nInit - 1, ..., t2. 0 <= t1 <= t2, 0 <= b <= k, m > 0. The paths are filled with missing values first.
// Ok when every step ran, or when the first would lie past t2.
//   Invalid       a is 0
//   NotPositive   the moments of the instruments or of the fitted regressors are not positive definite at some step, as
//                 in a first sample that is too short; steps before that one stay in the paths
//   NoMemory      likewise
Status RivEstimate(const RivData &data, int t1, int t2, int nInit, const RivPaths &paths);

// The inverse of the symmetric matrix [P^-1 C'; C D] in place, from P (a x a, top left), C (b x a, bottom left) and D
// (b x b, bottom right); the top right block is not read. With S = D - C P C' it is
//   [P + P C' S^-1 C P, -P C' S^-1; -S^-1 C P, S^-1].
// b of 0 leaves the matrix as it is. NotPositive when S is not positive definite, or NoMemory; the matrix then has no
// use.
Status PartitionedInverse(Matrix matrix, int a);

}  // namespace tessel
