// Covariances of least squares estimates that stay valid under heteroscedasticity or autocorrelation.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// The jackknife covariance (MacKinnon, J. G. and White, H. 1985, "Some heteroskedasticity-consistent covariance matrix
// estimators with improved finite sample properties", Journal of Econometrics 29, 305-325):
//   (T - 1) / T  xxInv (sum a(t)^2 x(t) x(t)' - s s' / T) xxInv,  a(t) = e(t) / (1 - h(t)),  s = sum a(t) x(t).
// x: T x k, row t observation t. e: T least squares residuals. xxInv: k x k, (X'X)^-1; its upper triangle gives the
// leverages h(t) = x(t)'(X'X)^-1 x(t). covariance: k x k, written.
//   NotPositive   an observation's 1 - h is not above 0; covariance has then no use
//   NoMemory
Status JackknifeCovariance(ConstMatrix x, std::span<const double> e, ConstMatrix xxInv, Matrix covariance);

// Sum over observations of g g', g = a(t) (x) b(t), the moments a(t, i) b(t, j) in the order i n + j. With
// autocovariances: plus their sum with its transpose, weighted by 1 - l / (L + 1), for the lags l up to L =
// BartlettLags(T) (Newey, W. K. and West, K. D. 1987, "A simple, positive semi-definite, heteroskedasticity and
// autocorrelation consistent covariance matrix", Econometrica 55, 703-708). Not divided by T.
// a: T x m, b: at least T rows of n, out: (m n) square, written; m n is an int. NoMemory leaves zeros.
Status MomentCovariance(ConstMatrix a, ConstMatrix b, bool autocovariances, Matrix out);

// 4 (T / 100)^x, truncated, with x the double nearest to 2/9, which is below 2/9: where the exact value is whole, as
// the 16 of T = 51200, the result is one less.
int BartlettLags(int observations);

}  // namespace tessel
