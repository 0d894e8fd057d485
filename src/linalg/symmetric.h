// Factorisation and inverse of symmetric positive definite matrices.
//
// Of a square matrix only the lower triangle with the diagonal is read. A pivot at or below MatTolerance, which is
// absolute, counts as not positive definite; the matrix then holds nothing of use, and a caller that needs it factors a
// copy. After Golub and Van Loan, "Matrix Computations", 4th ed., 4.1-4.2.
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// The Cholesky factor in place: L lower triangular, zeros above, L L' the input. Ok or NotPositive; Invalid for a null
// view with rows. Blocks of 64 rows are used for more than 64 rows, where work memory can be had; it cannot fail for
// lack of it.
Status KernelCholesky(Matrix a);

// The inverse in place, in full and exactly symmetric. `logDet`, unless null, receives the log determinant of the
// input with Ok and with NoMemory; no rows: Ok and 0.
//   NotPositive   a pivot failed; the cells have no use
//   NoMemory      n doubles of work memory could not be had: every cell is the missing value
//   Invalid       a null view
Status KernelInvertSpd(Matrix a, double *logDet);

// KernelCholesky and KernelInvertSpd by way of the table.
inline Status MatCholesky(Matrix a) { return kernelTable.factorise(a); }
inline Status MatInvertSpd(Matrix a, double *logDet = nullptr) { return kernelTable.invertSpd(a, logDet); }

}  // namespace tessel
