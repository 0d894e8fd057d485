// Sums over observations of products of a vector with itself and with the vectors of earlier observations: what
// covariance matrices that allow for autocorrelation are made of.
#pragma once

#include "core/matrix.h"

namespace tessel {

// Vectors and rows of sums are padded to a multiple of this many cells.
inline constexpr int kLaggedPadding = 4;

// The vectors of an observation and of the `lags` before it (past[0], past[1], ...), and the lags' weights; weight[0]
// is not read.
struct LaggedVectors {
  const double *const *past;
  const double *weight;
  int lags;
};

// An observation's part in the lower triangle of the sums: cell (p, q) gains g(p) g(q), g = past[0], and then for each
// lag l, r = past[l], weight(l) (g(p) r(q) + g(q) r(p)). The terms of a cell are added in this order, none is fused.
// sums: n x n in a block of at least RoundUp(n, 2) rows, whose stride is a multiple of kLaggedPadding; cells beyond the
// triangle are written. Each vector has as many cells as a row of that block.
void AddLaggedProducts(const LaggedVectors &vectors, const Matrix &sums);

}  // namespace tessel
