// The inverse of a general square matrix by LU factorisation with row interchanges.
//
// A pivot counts as zero when its absolute value is at or below MatTolerance(), an absolute number: rescale a matrix
// whose entries are all of that order. (Golub and Van Loan, Matrix Computations, 3.2-3.4.)
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// Inverts a (n x n) in place. 0; or 1 when a is singular, n is below 1 or there is no work memory. A singular matrix is
// left overwritten; without memory for the copy it is unchanged.
// logDet and signCode are given together or are both null. On success they receive the logarithm of the absolute
// determinant and LuLogDet's code; for a singular matrix 1.0 and 0.
int KernelInvertGeneral(RowMatrix a, int n, double *logDet, int *signCode);

// KernelInvertGeneral through the kernel table, without a determinant.
inline int MatInvert(RowMatrix a, int n) { return kernelTable.invertGeneral(a, n, nullptr, nullptr); }

// Factorises lu in place, rows interchanged: L, unit lower triangular, below the diagonal, and U. Row j was exchanged
// with row piv[j] at step j. The pivot is the first of the largest in absolute value.
// mirror: null, or an n x n matrix that receives U' below its diagonal and L' above it, so that inner products run
// along rows; without one LuFactor takes its own. logDet and signCode as for KernelInvertGeneral.
// Returns 0; -1 when there is no work memory; 1 + j when the pivot of step j failed: piv[i] = i and the diagonal is 0
// from there on, and the other cells have no use.
int LuFactor(RowMatrix lu, int n, int *piv, double *logDet, int *signCode, RowMatrix mirror);

// The sign of the determinant of a factorised matrix, 1 or -1, doubled when the smallest |u(i, i)| is at or below
// scaledTolerance; 0 when a diagonal cell of U is exactly 0. Stores the logarithm of the absolute determinant, or 1.0
// for code 0. The empty matrix has determinant 1.
int LuLogDet(RowMatrix lu, int n, const int *piv, double scaledTolerance, double *logDet);

// output (n x n) = the inverse of the matrix that was factorised into l and u, which may be one matrix.
void LuInverse(RowMatrix l, RowMatrix u, const int *piv, RowMatrix output, int n);

// Solves L U X = B in place for the m columns of b (n x m), or, with one of l and u null, the other's system. Without
// lowerHasDiagonal the diagonal of L is 1 and not read. A diagonal cell of exactly 0 gives 0 in its row of X.
// identityInput says that b is the identity (n = m), which halves the work of the forward solution.
// Above 64 rows the work is done in blocks of 64 by matrix products; without memory for them it is done all the same.
void TriangularSolve(RowMatrix l, RowMatrix u, RowMatrix b, int n, int m, bool lowerHasDiagonal, bool identityInput);

}  // namespace tessel
