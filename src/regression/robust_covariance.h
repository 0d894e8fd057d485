// Covariances of least squares estimates that stay valid under heteroscedasticity or autocorrelation.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// The jackknife covariance (MacKinnon, J. G. and White, H. 1985, "Some heteroskedasticity-consistent covariance matrix
// estimators with improved finite sample properties", Journal of Econometrics 29, 305-325):
//   (T - 1) / T  xxInv (sum a(t)^2 x(t) x(t)' - s s' / T) xxInv,  a(t) = e(t) / (1 - h(t)),  s = sum a(t) x(t).
// x: T x k, row t observation t. e: T least squares residuals. xxInv: k x k, (X'X)^-1; its upper triangle gives the
// leverages h. meat, result: k x k, written. 1, or 0 when some leverage is 1 or more.
int JackknifeCovariance(RowMatrix x, const double *e, RowMatrix xxInv, int observations, int k, RowMatrix meat,
                        RowMatrix result);

// Sum over observations of g g', g = a(t) (x) b(t), the moments a(t, i) b(t, j) in the order i n + j. With
// autocovariances: plus their sum with its transpose, weighted by 1 - l / (L + 1) for the lags l up to L (Bartlett;
// Newey and West 1987, Econometrica 55, 703-708), L = BartlettLags(T). Not divided by T. a: T x m, b: T x n, out: (m n)
// square, written; m n is an int. Zero without work memory.
void MomentCovariance(RowMatrix a, int m, RowMatrix b, int n, int observations, bool autocovariances, RowMatrix out);

// 4 (T / 100)^(2/9), truncated.
int BartlettLags(int observations);

}  // namespace tessel
