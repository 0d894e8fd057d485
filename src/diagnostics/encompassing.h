// Encompassing tests of two non-nested single-equation models of one dependent variable y, each estimated by
// instrumental variables on the union W of the instruments of both.
//
// With P = W (W'W)^-1 W', model i has k_i regressors X_i, estimates b_i = (X_i'P X_i)^-1 X_i'P y and the residual
// variance s_i = |y - X_i b_i|^2 / (T - k_i). Let Q_i be the projection on the columns of P X_i, and
//   q_1 = y'Q_1 y,  c_1 = |Q_2 Q_1 y|^2,  d_1 = |Q_1 Q_2 Q_1 y|^2;
// b, s and q without a number belong to the joint model, which has the m regressors of both. The statistics of model 1
// are, with their distributions when it is right,
//   Sargan     (y'P y - q_1) / s_1                                           chi-squared, n - k_1 degrees of freedom
//   Cox        sqrt(T) / 2 log((y'y - q_2) / (y'y - c_1)) (y'y - c_1)
//                / sqrt((T - k_1) s_1 (c_1 - d_1))                           standard normal
//   F          (q - q_1) / ((m - k_1) s)                                     F(m - k_1, T - m)
//   contrast   (q_2 - c_1) / sqrt(4 s_1 (c_1 - d_1))                         standard normal
// for n instruments in W; those of model 2 exchange 1 and 2.
//
// Literature: Ericsson, N. R. (1983), "Asymptotic properties of instrumental variables statistics for testing
// non-nested hypotheses", Review of Economic Studies 50, 287-304 (the Cox statistic and the contrast). Cox, D. R.
// (1961), "Tests of separate families of hypotheses", Proceedings of the Fourth Berkeley Symposium on Mathematical
// Statistics and Probability 1, 105-123. Sargan, J. D. (1964), "Wages and prices in the United Kingdom: a study in
// econometric methodology", in Hart, P. E., Mills, G. and Whitaker, J. K. (eds), "Econometric Analysis for National
// Economic Planning". Mizon, G. E. and Richard, J.-F. (1986), "The encompassing principle and its application to
// testing non-nested hypotheses", Econometrica 54, 657-678.
#pragma once

#include "core/heap.h"
#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// A model: one variable a row, one observation a column. The rows hold the dependent variable, `endogenous` - 1
// endogenous regressors, `exogenous` exogenous ones, and `instruments` additional instruments; rows beyond them are not
// read.
struct IvModel {
  ConstMatrix rows;
  int endogenous = 1;  // the dependent variable included
  int exogenous = 0;
  int instruments = 0;

  ConstMatrix Dependent() const { return rows.Rows(0, 1); }
  ConstMatrix Regressors() const { return rows.Rows(1, endogenous + exogenous - 1); }
  ConstMatrix Instruments() const { return rows.Rows(endogenous, exogenous + instruments); }
};

constexpr int kEncompassingStatistics = 11;

// The cells, for model 1 and then model 2 in turn: Sargan (0, 1), Cox (2, 3), F (4, 5), the contrast (6, 7), the
// equation standard errors sqrt(s_i) (8, 9), and sqrt(s) of the joint model (10).
struct EncompassingResult {
  double statistics[kEncompassingStatistics] = {};
  int instruments = 0;    // n
  int regressors = 0;     // m
  OwnedBlock<int> index;  // of each instrument of W: its place among those of model 1 followed by model 2's
};

// Rows of the two models are one variable when all of their observations are equal; a row with a missing value is
// equal to none. Both models have the same T observations, at least 1. The result has a use with status Ok alone.
//   NotIdentified   n is below m
//   Nested          one model's instruments or regressors are the whole union
//   Singular        a moment matrix cannot be inverted
//   NotPositive     a variance, or the difference of two, is not above 0: s_i, s, y'y - q_i, y'y - c_i or c_i - d_i
//   NoMemory
Status Encompassing(const IvModel &first, const IvModel &second, EncompassingResult *result);

}  // namespace tessel
