// The triangular factor of a matrix with many rows, in one pass over them.
//
// The QR factorisation here differs from that of linalg, which serves regressions: the matrix is only read and stands
// with observations in rows, as Jacobians are made; what it keeps is small; and no variable is dropped, since what is
// negligible depends on the units of the parameters, which are not known yet.
#pragma once

#include "core/matrix.h"

namespace tessel {

// A = Q R and Q'b, for A of T x P.
struct TallFactor {
  int parameters = 0;
  // (P + 1) x (P + block). Row j holds column j of R in its cells 0..j and zeros up to cell P; row P holds the first P
  // cells of Q'b. The rest is work space.
  OwnedMatrix columns;
  double rest = 0.0;  // the sum of squares of the other cells of Q'b

  bool Reserve(int observations, int p);  // false when memory fails

  const double *Column(int j) const { return columns[j]; }
  const double *Rotated() const { return columns[parameters]; }
};

// Factors `a` (T x P) with the vector b of T cells, null for none. Rows enter in blocks of 64, each through one
// Householder reflection a column (Golub and Van Loan, Matrix Computations, 4th ed., 5.2 and 6.5). Columns whose part
// in a block is below 1e-145 in length count as zero there. A factor that is not finite shows in the diagonal of R.
void FactorTall(ConstMatrix a, const double *b, TallFactor *factor);

}  // namespace tessel
