// Householder reflections, and the factorisation of a matrix by them with row pivoting.
//
// A reflection is H = I + beta v v' with v(0) = 1 and beta = -2 / v'v. The factorisation writes a k x t matrix X, its
// rows permuted, as L Q: L lower triangular with falling diagonal, Q orthogonal. (Businger and Golub 1965, "Linear
// least squares solutions by Householder transformations", Numerische Mathematik 7, 269-276; Golub and Van Loan,
// "Matrix Computations", 4th ed., 5.1 and 5.4.)
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// Makes x the vector v of the reflection that maps it on its first cell. Returns beta; -2 with a tail of zeros, so that
// the reflection flips the sign of the first cell; 0 for no elements.
double HouseholderVector(std::span<double> x);

// Applies the reflection of v and beta to every row. v has the rows' length, with its leading 1 in v[0].
void HouseholderApplyRows(Matrix rows, const double *v, double beta);

// Factorises x (k x t) in place. Row i then holds L(i, j) in its cells j <= i and the vector of reflection i without
// its leading 1 beyond them; beta[i] is the reflection's scale, and row i was exchanged with row pivot[i] at step i.
// The row of largest remaining norm comes first, the earlier of equal ones; an empty pivot takes the rows as they are.
// Stops early when the chosen row has nothing left; the diagonal cells from there on are 0. pivot and beta: k elements.
// Ok, or NoMemory with x unchanged. Takes 2 k + 2 t doubles of work memory.
Status KernelQrPivot(Matrix x, std::span<int> pivot, std::span<double> beta);

}  // namespace tessel
