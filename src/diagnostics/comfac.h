// COMFAC: Wald tests of common factors in the lag polynomials of a single equation.
//
// An autoregressive distributed lag model
//   a(L) y_t = b_1(L) x_1t + ... + b_q(L) x_qt + e_t
// whose m = q + 1 polynomials share r factors, c(L) say, is an equation with shorter lags and an autoregressive error
// of order r: a = c a*, b_i = c b_i*, a*(L) y_t = sum of b_i*(L) x_it + u_t, c(L) u_t = e_t. For each r from the
// smallest order of a polynomial down to 1 the r (m - 1) restrictions g(b) = 0 on the coefficients b are tested by
//   W = g(b)' (G (c V) G')^-1 g(b),  G = dg / db',
// V the coefficients' covariance matrix up to the factor c: asymptotically chi-squared with r (m - 1) degrees of
// freedom when the factors are common.
//
// g is found by Euclid's algorithm for many polynomials, with the denominators cleared: for two polynomials its cells
// are subresultants. G is found by central differences (core/central_difference.h), which leaves the statistics with
// 2e-9 of their value at worst, as measured against 40-digit ones.
//
// Literature: Sargan, J. D. (1964), "Wages and prices in the United Kingdom: a study in econometric methodology", in
// Hart, P. E., Mills, G. and Whitaker, J. K. (eds), "Econometric Analysis for National Economic Planning". Sargan, J.
// D. (1980), "Some tests of dynamic specification for a single equation", Econometrica 48, 879-897. Hendry, D. F. and
// Mizon, G. E. (1978), "Serial correlation as a convenient simplification, not a nuisance: a comment on a study of the
// demand for money by the Bank of England", Economic Journal 88, 549-563.
#pragma once

#include <span>

#include "core/heap.h"
#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// The terms of the equation, in any order; identities, lags and flags have one cell a term, at most 2^30, and are
// truncated to integers. The coefficients and their covariance matrix have one row fewer than there are terms, and
// their order: all terms of the dependent variable but the one at lag 0, in the order of the list, and then those of
// the other variables. Cells, rows and columns beyond those are not read.
struct ComfacEquation {
  std::span<const double> identity;
  std::span<const double> lag;
  std::span<const double> exclusion;  // 1: the term stays out; not looked at for the dependent variable
  std::span<const double> coefficients;
  ConstMatrix covariance;
  double scale = 1;  // c, of the covariance matrix
  int dependent = 0;
};

// The first test is for the largest r, the smallest order of a polynomial; the last is for r = 1.
struct ComfacResult {
  int count = 0;                  // tests; 0 with any status but Ok
  OwnedBlock<double> statistics;  // W
  OwnedBlock<double> degrees;     // r (m - 1)
};

//   Incomplete    a lag below a variable's largest one, or the dependent variable at lag 0, is absent or excluded, or a
//                 term occurs twice
//   OrderZero     a variable has lag 0 alone
//   TooFew        fewer than two variables
//   NoStatistic   G V G' cannot be inverted, or a statistic is negative or missing
//   NoMemory
Status ComfacTest(const ComfacEquation &equation, ComfacResult *result);

}  // namespace tessel
