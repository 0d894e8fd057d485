// Updates of inverses, fits and sums over a growing sample. Variables stand in rows and observations in columns unless
// told otherwise; all sums run in ascending order.
#pragma once

#include <span>

#include "core/matrix.h"

namespace tessel {

// The inverse of a moment matrix after one more observation x, by the formula of Sherman and Morrison (1950,
// "Adjustment of an inverse matrix corresponding to a change in one element of a given matrix", Annals of Mathematical
// Statistics 21, 124-127):
//   (M + x x')^-1 = M^-1 - gain gain' / q,  gain = M^-1 x,  q = 1 + x' gain.
// inverse: d x d, symmetric. x: the first d rows of `rows` in one column. gain: d cells, written. Returns q. With a q
// at or below 0 rounding had made the inverse before the update indefinite: the new inverse and q are then undefined.
double InverseRankOneUpdate(Matrix inverse, ConstMatrix rows, int column, std::span<double> gain);

// out = s v for s symmetric. v, out: s.rows cells, apart from each other.
void SymmetricTimes(ConstMatrix s, std::span<const double> v, std::span<double> out);

// out[t] = y[t] - (x[0][t] beta[0] + ... + x[k-1][t] beta[k-1]) for x of k rows and each t below its columns.
void LinearResiduals(const double *y, ConstMatrix x, std::span<const double> beta, double *out);

// The squares of the values added one after the other.
double AscendingSumOfSquares(std::span<const double> x);

// The lower triangle of m gains v v'. MirrorLower completes such a sum.
void AddOuterLower(Matrix m, std::span<const double> v);

}  // namespace tessel
