// Least squares by Householder reflections with row pivoting, for regressors of any rank.
//
// Variables stand in rows and observations in columns, so that every reflection runs along contiguous memory. The
// regressors are factorised by KernelQrPivot (householder.h), which the table of kernels holds.
#pragma once

#include <span>

#include "linalg/kernel.h"

namespace tessel {

// What QrRank and MatOlsQr say of X.
enum QrCode : int {
  QrNoMemory = 0,          // work memory ran out: no output is valid
  QrFullRank = 1,          // full rank, well conditioned
  QrFullRankIll = 2,       // full rank, but the smallest squared row norm of L <= MatTolerance() times the largest
  QrRankDeficient = -1,    // rank below min(k, t); also rank 0: X is zero or has no cells
  QrRankDeficientIll = -2  // rank below min(k, t), and the norms apart as for QrFullRankIll
};

// The rank of a factorised matrix.
struct QrRankResult {
  QrCode code = QrNoMemory;
  int rank = 0;
};

// Where results go, in the order of the rows of x; a null view is not wanted.
struct QrOutputs {
  Matrix b;       // m x k coefficients, row r for dependent variable r; zeros for dropped variables
  Matrix xtxInv;  // k x k inverse of X X'; zeros in the rows and columns of dropped variables
  Matrix xtx;     // k x k moment matrix X X', rebuilt from the factor; complete whatever the rank; t >= k
};

struct QrResult {
  Status status = Status::NoMemory;  // Ok, or NoMemory with no output valid and x and y of no use
  QrCode code = QrNoMemory;
  int rank = 0;
};

// Least squares of each row of y (m x t) on the rows of x (k x t). Both are destroyed: y becomes Y Q'. The rank is
// decided by the absolute MatTolerance() (see QrRank), so it depends on the units of x. A regressor with a missing
// value is dropped as well. Takes k integers and 3k + 2t doubles of work memory.
QrResult MatOlsQr(Matrix x, Matrix y, const QrOutputs &out);

// The number of leading diagonal cells of L above MatTolerance() times the square root of the largest squared row norm
// of L, and what it says of X.
QrRankResult QrRank(ConstMatrix x);

// A factorised matrix; pivot is empty where the factorisation had none.
struct QrFactor {
  Matrix x;
  std::span<const int> pivot;
  std::span<const double> beta;
  int rank = 0;
};

// Applies the first `rank` reflections to the rows of y and forms the outputs of MatOlsQr that are wanted. Destroys the
// factor.
void QrSolve(const QrFactor &factor, Matrix y, const QrOutputs &out);

}  // namespace tessel
