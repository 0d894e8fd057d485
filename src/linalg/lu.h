// The inverse of a general square matrix by LU factorisation with row interchanges.
//
// A pivot counts as zero when its absolute value is at or below MatTolerance(), an absolute number: rescale a matrix
// whose entries are all of that order. (Golub and Van Loan, "Matrix Computations", 4th ed., 3.2-3.4.)
#pragma once

#include <span>

#include "linalg/kernel.h"

namespace tessel {

// The determinant of a factorised matrix.
struct LogDeterminant {
  double value = 1.0;  // the logarithm of its absolute value; 1.0 where `sign` is 0
  int sign = 0;        // 1 or -1; 2 or -2 near singularity, see LuLogDet; 0 for a singular matrix
};

// Inverts a square matrix in place. `determinant`, unless null, receives the determinant of the input; value 1.0 and
// sign 0 where there is no inverse.
//   Singular   a pivot failed; the cells have no use
//   NoMemory   the matrix is unchanged
//   Invalid    no rows, or a null view
Status KernelInvertGeneral(Matrix a, LogDeterminant *determinant);

// KernelInvertGeneral by way of the table.
inline Status MatInvert(Matrix a, LogDeterminant *determinant = nullptr) {
  return kernelTable.invertGeneral(a, determinant);
}

// Factorises lu (n x n) in place, rows interchanged: L, unit lower triangular, below the diagonal, and U. Row j was
// exchanged with row piv[j] at step j. The pivot is the first of the largest in absolute value.
// mirror: an n x n matrix that receives U' below its diagonal and L' above it, so that inner products run along rows;
// without one (a null view) LuFactor takes its own. determinant: as for KernelInvertGeneral.
//   Singular   the pivot of step j failed: piv[i] = i and the diagonal is 0 from there on, other cells have no use
//   NoMemory   nothing is changed
Status LuFactor(Matrix lu, std::span<int> piv, Matrix mirror, LogDeterminant *determinant = nullptr);

// The determinant of a factorised matrix: its sign is doubled when the smallest |u(i, i)| is at or below
// scaledTolerance, and 0 when a diagonal cell of U is exactly 0. The empty matrix has determinant 1.
LogDeterminant LuLogDet(ConstMatrix lu, std::span<const int> piv, double scaledTolerance);

// output (n x n) = the inverse of the matrix that was factorised into l and u, which may be one matrix.
void LuInverse(ConstMatrix l, ConstMatrix u, std::span<const int> piv, Matrix output);

// Solves L U X = B in place for the m columns of b (n x m), or, with one of l and u null, the other's system. Without
// lowerHasDiagonal the diagonal of L is 1 and not read. A diagonal cell of exactly 0 gives 0 in its row of X.
// identityInput says that b is the identity (n = m), which halves the work of the forward solution.
// Above 64 rows the work is done in blocks of 64 by matrix products; without memory for them it is done all the same.
void TriangularSolve(ConstMatrix l, ConstMatrix u, Matrix b, bool lowerHasDiagonal, bool identityInput);

}  // namespace tessel
