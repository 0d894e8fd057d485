// Steps that the estimators of this folder share.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// Recursions over a growing sample; variables stand in rows and observations in columns.

// The inverse of a moment matrix after one more observation (Sherman and Morrison 1950):
//   inverse -= gain gain' / q,  gain = inverse x,  q = 1 + x' gain,
// for x the first d rows of `rows` in one column. inverse: d x d, symmetric. gain: d, holds inverse x afterwards.
// Returns q, computed with the inverse before the update. A q at or below 0 means that the inverse had lost its
// definiteness to rounding; its cells have then no use.
double InverseRankOneUpdate(RowMatrix rows, RowMatrix inverse, int d, int column, double *gain);

// out = s v for s symmetric, d x d; every sum runs in ascending order. out: d, apart from v.
void SymmetricTimes(RowMatrix s, int d, const double *v, double *out);

// out[t - first] = y[t] - (x[0][t] beta[0] + ... + x[k-1][t] beta[k-1]) for t from first to last.
void LinearResiduals(const double *y, RowMatrix x, int k, const double *beta, int first, int last, double *out);

// The sum of squares of n values, in ascending order.
double SumOfSquares(const double *x, int n);

// The lower triangle of m, n x n, gains v v'. MirrorLower completes such a sum.
void AddOuterLower(RowMatrix m, const double *v, int n);

}  // namespace tessel
