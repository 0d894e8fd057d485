// Least squares by Householder reflections with row pivoting, for regressors of any rank.
//
// Variables stand in rows and observations in columns, so that every reflection runs along contiguous memory. The
// factorisation writes the k x t regressor matrix X, its rows permuted, as L Q: L lower triangular with falling
// diagonal, Q orthogonal. A reflection is H = I + beta v v' with v(0) = 1 and beta = -2 / v'v. (Businger and Golub
// 1965, Numerische Mathematik 7, 269-276; Golub and Van Loan, Matrix Computations, 5.4.)
//
// After KernelQrPivot row i of X holds L(i, j) in its cells j <= i and reflection i without its leading 1 beyond them;
// beta[i] is the reflection's scale, and row i was exchanged with row pivot[i] at step i.
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// What QrRank and MatOlsQr say of X. All but QrNoMemory leave the outputs valid.
enum QrCode : int {
  QrNoMemory = 0,          // work memory ran out: no output is valid
  QrFullRank = 1,          // full rank, well conditioned
  QrFullRankIll = 2,       // full rank, but the smallest squared row norm of L <= MatTolerance() times the largest
  QrRankDeficient = -1,    // rank below min(k, t); also rank 0: X is zero or has no cells
  QrRankDeficientIll = -2  // rank below min(k, t), and the norms apart as for QrFullRankIll
};

// Least squares of each row of y (m x t) on the rows of x (k x t). Both are destroyed: y becomes Y Q'.
//   b        m x k coefficients, row r for dependent variable r
//   xtxInv   k x k inverse of X X'
//   xtx      k x k moment matrix X X', rebuilt from the factor
// Outputs are in the order of the rows of x; any may be null. Dropped variables get zeros in b and in the rows and
// columns of xtxInv; xtx is complete whatever the rank. The rank is decided by the absolute MatTolerance() (see
// QrRank), so it depends on the units of x. A regressor with a missing value is dropped as well.
// Returns a QrCode. Takes k integers and 3k + 2t doubles of work memory.
int MatOlsQr(RowMatrix x, int k, int t, RowMatrix y, int m, RowMatrix b, RowMatrix xtxInv, RowMatrix xtx);

// Factorises x (k x t) in place. The row of largest remaining norm comes first, the earlier of equal ones; a null pivot
// takes the rows as they are. Stops early when the chosen row has nothing left; the diagonal cells from there on are 0.
// 1, or 0 when there is no work memory.
int KernelQrPivot(RowMatrix x, int k, int t, int *pivot, double *beta);

// The rank of a factorised matrix: the number of leading diagonal cells of L above MatTolerance() times the square root
// of the largest squared row norm of L. Returns the QrCode.
int QrRank(RowMatrix x, int k, int t, int *rank);

// Applies the first `rank` reflections to the rows of y and forms the outputs of MatOlsQr that are not null. pivot is
// null where the factorisation had none.
void QrSolve(RowMatrix x, int k, int t, const int *pivot, int rank, const double *beta, RowMatrix y, int m, RowMatrix b,
             RowMatrix xtxInv, RowMatrix xtx);

// Makes x (n doubles) the vector v of the reflection that maps it on its first cell. Returns beta; -2 with a tail of
// zeros, so that the reflection flips the sign of the first cell; 0 for n of 0.
double HouseholderVector(double *x, int n);

// Applies the reflection of v and beta to columns i..t-1 of the rows from `first` to count-1. v is indexed like the
// rows: its leading 1 stands in v[i].
void HouseholderApplyRows(RowMatrix rows, int count, int t, const double *v, int first, int i, double beta);

}  // namespace tessel
