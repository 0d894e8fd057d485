// The inner loops of the factorisations, compiled for each vector width and chosen with the MicroKernel.
//
// Every sum is DotProduct's, to the bit: four partial sums by position modulo 4. So a result does not depend on the
// table that computed it; the tables differ in speed alone. Independent sums run side by side, which hides the latency
// of the additions that the fixed order imposes on each.
#pragma once

#include <cstdint>

#include "core/matrix.h"

namespace tessel {

// A strip of right-hand sides: row k holds the k-th unknown of eight systems.
inline constexpr int kStripWidth = 8;
using StripRow = double[kStripWidth];

// Partial sums of inner products: the four sums of row i against column j over the elements so far, whose number is a
// multiple of 4. No cells stand for no elements.
struct PartialSums {
  double *cells;
  int rows;  // the sets of one column lie side by side

  double *At(int i, int j) const {
    return cells == nullptr ? nullptr : cells + (static_cast<std::int64_t>(j) * rows + i) * 4;
  }
};

struct RowKernels {
  // sums[r] = the inner product of row r and y, for one to four rows. partial: null, or row 0's partial sums over the
  // elements before, with those of the next rows `step` doubles apart.
  void (*dotFour)(const ConstMatrix &rows, const double *y, const double *partial, std::int64_t step, double sums[4]);

  // sums (i, j) = the partial sums of row i of a and row j of b, whose length is a multiple of 4.
  void (*accumulate)(const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b);

  // For every row x: x += scales[r] * v, then sums[r] = the inner product of x and w, in one pass. `sums` may be
  // `scales`.
  void (*addScaledAndDot)(const Matrix &rows, const double *scales, const double *v, const double *w, double *sums);

  // x += scale * v over n elements.
  void (*addScaled)(double *x, double scale, const double *v, int n);

  // Solves L X = x in place for one strip. Without `hasDiagonal` the diagonal is 1 and not read; a diagonal cell of 0
  // gives 0.
  void (*solveLower)(const ConstMatrix &l, bool hasDiagonal, StripRow *x);

  // Solves U X = x in place for one strip; a diagonal cell of 0 gives 0.
  void (*solveUpper)(const ConstMatrix &u, StripRow *x);
};

extern const RowKernels kBaselineRowKernels;
extern const RowKernels kAvx2RowKernels;  // on x86-64 alone

}  // namespace tessel
