// Eigenvalues and eigenvectors of real symmetric matrices.
//
// Householder reflections reduce A to a tridiagonal matrix, which QL steps with implicit shifts make diagonal. Every
// computed eigenvalue is within a small multiple of epsilon n |A| of a true one, whatever its own size: those of a
// matrix with a unit diagonal are good to about 1e-15 n. (Martin, R.S., Reinsch, C. and Wilkinson, J.H. (1968),
// Householder's tridiagonalization of a symmetric matrix, Numerische Mathematik 11, 181-195; Dubrulle, A., Martin, R.S.
// and Wilkinson, J.H. (1968), The implicit QL algorithm, Numerische Mathematik 12, 377-383.)
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// A = sum over i of values[i] w_i w_i'. The n x n matrix `a`, of which the lower triangle with the diagonal is read,
// becomes the eigenvectors: row i is w_i, of length 1. `values` (n cells) are the eigenvalues, from the lowest to the
// highest. `work` has n cells. Takes no memory.
//   Invalid        sizes that do not fit
//   NotFinite      a cell that is read is missing or infinite, or so large that the steps overflow
//   NotConverged   an eigenvalue took more than 60 QL steps
// With a failure the outputs hold nothing of use.
Status EigenSymmetric(Matrix a, std::span<double> values, std::span<double> work);

}  // namespace tessel
