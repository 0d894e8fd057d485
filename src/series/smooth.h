// Smoothers of a series against time: the trend of second differences, the kernel regression and the cubic smoothing
// spline.
//
// x and out hold n cells; out may not overlap x. The time of cell i is i + 1. All three give false, with nothing
// written, when memory fails; with fewer than 3 cells they write nothing.
//
// Literature: Hodrick and Prescott (1997), Journal of Money, Credit and Banking 29. Hastie and Tibshirani (1990),
// Generalized Additive Models, chapters 2 and 3. Green and Silverman (1994), Nonparametric Regression and Generalized
// Linear Models, chapter 2. Hutchinson and de Hoog (1985), Numerische Mathematik 47. Golub and Van Loan (1996), Matrix
// Computations, section 4.7.
#pragma once

namespace tessel {

// The trend g of the first unbroken stretch of values of x: the minimum of sum (x - g)^2 + lambda sum (second
// difference of g)^2. A lambda at or below 1e-20 means 1600. All other cells of out stay as they were, and all of them
// when the stretch is shorter than 3. A lambda above 2e307 gives missing values.
bool SmoothTrend(const double *x, int n, double lambda, double *out);

// Nadaraya-Watson regression with the Epanechnikov kernel over the cells that are not missing; missing where no such
// cell lies within the bandwidth. `alpha` chooses the bandwidth, see below; the automatic start is 0.75 sigma n^(-0.2),
// with sigma the standard deviation of 1 to n. Each fit takes time in proportion to n and the bandwidth.
bool SmoothKernel(const double *x, int n, double alpha, double *out);

// The natural cubic spline g that minimises sum (x - g)^2 + lambda times the integral of g''^2, the sum over the cells
// that are not missing; g continues as a straight line outside them. `alpha` chooses lambda, see below; the automatic
// start is 1600. Nothing is written with fewer than 3 values, or where the equations cannot be solved (a lambda above
// 1e307). Each fit takes time in proportion to n.
bool SmoothSpline(const double *x, int n, double alpha, double *out);

// How alpha chooses the smoothing parameter:
//   |alpha| <= 1e-20  the smallest score, searched from the automatic start
//   alpha > 0         floor(alpha + 0.5) equivalent degrees of freedom, searched from alpha; where that is 0, the
//                     smallest score
//   alpha < 0         the parameter is -alpha
// A parameter or start at or below 1e-10 is replaced by the automatic start. Of an infinite alpha nothing is written,
// but for the kernel with -infinity, which gives the mean.

// Solves the symmetric positive definite Toeplitz system of size m whose first row begins with the b elements of t and
// is 0 beyond, by the recursion of Levinson. `rhs` becomes the solution, `work` holds m doubles and work[0] becomes the
// logarithm of the determinant. 0; or 1, with rhs partly overwritten, when t[0] is not positive or a pivot is 0.
int ToeplitzSolve(const double *t, int b, int m, double *rhs, double *work);

}  // namespace tessel
