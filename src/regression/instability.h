// Parameter constancy of a least squares regression (Hansen, B. E. 1992, "Testing for parameter instability in linear
// models", Journal of Policy Modeling 14, 517-533).
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// Work of InstabilityTest: two (k + 1) square matrices and two vectors of k + 1.
struct InstabilityWork {
  RowMatrix scoreCross = nullptr;
  RowMatrix cumCross = nullptr;
  double *score = nullptr;
  double *cumScore = nullptr;
};

// x: T x k regressors, row t observation t. e: T least squares residuals. rss: their sum of squares.
// statistics: k + 1 cells, written: L_i for each coefficient, then for the error variance. L_i is the sum of the
// squared partial sums of score i over T times its sum of squares. Returns the joint statistic of all k + 1 parameters,
// or -1 when the scores' cross-products are singular; the single statistics are then still there.
double InstabilityTest(RowMatrix x, const double *e, double rss, int observations, int k, const InstabilityWork &work,
                       double *statistics);

}  // namespace tessel
