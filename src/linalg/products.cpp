// Dense matrix products.
#include "linalg/products.h"

namespace tessel {

void KernelMultiply(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int rB, int cB, bool transA, bool transB) {
  const int rows = transA ? cA : rA;
  const int inner = transA ? rA : cA;
  const int columns = transB && !transA ? rB : cB;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) {
      double sum = inner == 0 ? MissingValue() : 0.0;
      for (int k = 0; k < inner; ++k) sum += (transA ? a[k][i] : a[i][k]) * (transB && !transA ? b[j][k] : b[k][j]);
      out[i][j] = sum;
    }
}

}  // namespace tessel
