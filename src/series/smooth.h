// Smoothers of a series against time: the trend of second differences, kernel regression and the cubic smoothing
// spline.
//
// x holds the series, missing cells included, and out, which is as long and does not overlap it, takes the fit. The
// time of cell i is i + 1. All three report
//   Invalid   the lengths of x and out differ, or alpha is no number or infinite (but see SmoothKernel)
//   TooFew    fewer than 3 cells, or 3 values where values are counted
//   NoMemory
// with nothing written.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

// The trend g of the first unbroken run of values of x:
//   min over g of sum_t (x_t - g_t)^2 + lambda sum_t (g_(t+1) - 2 g_t + g_(t-1))^2.
// A lambda at or below 1e-20 means 1600. All other cells of out stay as they were, and all of them when the run is
// shorter than 3 (TooFew). A lambda above 2e307 gives missing values.
// Literature: Hodrick and Prescott, Postwar U.S. business cycles: an empirical investigation, Journal of Money, Credit
// and Banking 29 (1997), 1-16. Golub and Van Loan, Matrix Computations (1996), section 4.7, for the equations.
Status SmoothTrend(std::span<const double> x, double lambda, std::span<double> out);

// Nadaraya-Watson regression with the Epanechnikov kernel K(u) = 0.75 (1 - u^2), |u| <= 1:
//   g_i = sum_j K((i - j) / h) x_j / sum_j K((i - j) / h)
// over the cells j that are not missing; missing where no such cell lies within the bandwidth h. The trace of the
// smoother matrix is the sum over the same cells of 0.75 / sum_j K((i - j) / h). `alpha` chooses h, see below; the
// automatic start is 0.75 s n^(-0.2), with s = sqrt((n^2 - 1) / 12) the standard deviation of 1 to n. An alpha of
// -infinity gives the mean. Each fit takes time in proportion to n and h.
// Literature: Hastie and Tibshirani, Generalized Additive Models (1990), chapter 2.
Status SmoothKernel(std::span<const double> x, double alpha, std::span<double> out);

// The natural cubic spline g:
//   min over g of sum_i (x_i - g(i))^2 + lambda integral g''(t)^2 dt,
// the sum over the cells that are not missing; g continues as a straight line outside them. `alpha` chooses lambda, see
// below; the automatic start is 1600. TooFew for fewer than 3 values; Singular, with nothing written, where the
// equations cannot be solved (a lambda above 1e307). Each fit takes time in proportion to n.
// Literature: Reinsch, Smoothing by spline functions, Numerische Mathematik 10 (1967), 177-183. Green and Silverman,
// Nonparametric Regression and Generalized Linear Models (1994), chapter 2. Hutchinson and de Hoog, Smoothing noisy
// data with spline functions, Numerische Mathematik 47 (1985), 99-106, for the trace.
Status SmoothSpline(std::span<const double> x, double alpha, std::span<double> out);

// How alpha chooses the smoothing parameter:
//   |alpha| <= 1e-20  the smallest score, searched from the automatic start
//   alpha > 0         floor(alpha + 0.5) equivalent degrees of freedom, the trace T of the smoother matrix, searched
//                     from alpha; where that is 0, the smallest score
//   alpha < 0         the parameter is -alpha
// A parameter or start at or below 1e-10 is replaced by the automatic start.
//
// The score is generalised cross-validation with the degrees of freedom of the residuals in place of n - T:
//   c RSS / (c - q)^2,   q = 1.25 T - 0.5;   the largest double where q >= c,
// for c observations and the residual sum of squares RSS; q approximates tr(2 S - S S') of a smoother matrix S.
// Literature: Craven and Wahba, Smoothing noisy data with spline functions, Numerische Mathematik 31 (1979), 377-403.
// Hastie and Tibshirani (1990), sections 3.4 and 3.5.

// Solves the symmetric positive definite Toeplitz system T y = rhs by the recursion of Levinson; the first row of T
// begins with t and is 0 beyond. rhs becomes the solution. Singular, with rhs partly overwritten, when t[0] is not
// positive or a pivot is 0; NoMemory, with rhs as it was.
struct ToeplitzSolution {
  Status status;
  double logDeterminant;  // of T; 0 without a solution
};
[[nodiscard]] ToeplitzSolution ToeplitzSolve(std::span<const double> t, std::span<double> rhs);

}  // namespace tessel
