// Factorisation and inverse of symmetric positive definite matrices.
//
// A matrix is an n x n RowMatrix of which only the lower triangle with the diagonal is read. A pivot at or below
// MatTolerance, which is absolute, counts as not positive definite; the matrix then holds nothing of use, and a caller
// that needs it factors a copy. After Golub and Van Loan, "Matrix Computations", 4th ed., 4.1-4.2.
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// The Cholesky factor in place: L lower triangular, zeros above, L L' the input. 0, or 1 when not positive definite.
// Blocks of 64 rows are used for n above 64, where work memory can be had; it cannot fail for lack of it.
int KernelCholesky(RowMatrix a, int n);

// The inverse in place, in full and exactly symmetric; `logDet`, unless null, receives the log determinant of the input
// on success. 0; 1 when not positive definite; 3 when the matrix or its first row is null. Where work memory cannot be
// had the result is 0 and every cell is the missing value. n below 1: 0 and a log determinant of 0.
int KernelInvertSpd(RowMatrix a, int n, double *logDet);

// KernelCholesky by way of the table. 1 on success, 0 on failure.
inline int MatCholesky(RowMatrix a, int n) { return kernelTable.factorise(a, n) == 0; }

// KernelInvertSpd by way of the table, without and with the log determinant. 0 on success.
inline int MatInvertSpd(RowMatrix a, int n) { return kernelTable.invertSpd(a, n, nullptr); }
inline int MatInvertSpdDet(RowMatrix a, int n, double *logDet) { return kernelTable.invertSpd(a, n, logDet); }

}  // namespace tessel
