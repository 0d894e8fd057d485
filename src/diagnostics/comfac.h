// COMFAC: Wald tests of common factors in the lag polynomials of a single equation.
//
// An autoregressive distributed lag model a(L) y_t = b(L) x_t + ... whose polynomials share r factors is a static
// equation, or one with shorter lags, with an autoregressive error of order r. For each r from the smallest order of a
// polynomial down to 1 the restrictions are eliminated from the coefficients by Euclid's algorithm for many
// polynomials, with the denominators cleared: for two polynomials they are subresultants. Derivatives are central
// differences, which leaves the statistics with 2e-9 of their value at worst, as measured against 40-digit ones.
//
// Literature: Sargan (1964), in Econometric Analysis for National Economic Planning. Sargan (1980), Econometrica 48,
// 879-897. Hendry and Mizon (1978), Economic Journal 88, 549-563.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// The terms of the equation, in any order; identities, lags and flags are truncated to integers. The coefficients and
// their covariance matrix have one row fewer than there are terms, and their order: all terms of the dependent variable
// but the one at lag 0, in the order of the list, and then those of the other variables.
struct ComfacEquation {
  int terms = 0;
  const double *identity = nullptr;
  const double *lag = nullptr;
  const double *exclusion = nullptr;  // 1: the term stays out; not looked at for the dependent variable
  const double *coefficients = nullptr;
  RowMatrix covariance = nullptr;
  double scale = 1;  // of the covariance matrix
  int dependent = 0;
};

enum class ComfacStatus {
  NoMemory = -1,
  Success = 0,
  Incomplete = 1,   // a lag below a variable's largest one, or the dependent variable at lag 0, is absent or excluded,
                    // or a term occurs twice
  OrderZero = 2,    // a variable has lag 0 alone
  TooFew = 3,       // fewer than two variables
  NoStatistic = 4,  // a covariance matrix cannot be inverted, or a statistic is negative or missing
};

// statistics, degrees: room for `terms` cells; the first is for the largest r, the last of `count` for r = 1. With any
// status but Success count is 0 and the cells have no use.
ComfacStatus ComfacTest(const ComfacEquation &equation, double *statistics, double *degrees, int *count);

}  // namespace tessel
