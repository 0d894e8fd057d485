// Dense matrix products.
//
// All products of the library go through KernelMultiply. Outputs must not alias an input. Row tables may be the host's,
// with any distance between rows.
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// The product of A (stored rA x cA) and B (stored rB x cB), chosen by the flags:
//   transA          out (cA x cB) = A'B; transB is not looked at
//   neither         out (rA x cB) = A B
//   transB          out (rA x rB) = A B'
// An inner size of 0 fills `out` with the missing value; any other size below 1 leaves it unchanged. A product of a
// matrix with itself (the same row table and sizes) comes out exactly symmetric. It cannot fail: where work memory for
// the tiled form cannot be had, the untiled one gives the same result to rounding.
void KernelMultiply(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int rB, int cB, bool transA, bool transB);

// out (rA x cB) = A B. Returns out.
inline RowMatrix MatMul(RowMatrix a, int rA, int cA, RowMatrix b, int cB, RowMatrix out) {
  kernelTable.multiply(out, a, rA, cA, b, cA, cB, false, false);
  return out;
}

// out (rA x rB) = A B', with B stored rB x cA. Returns out.
inline RowMatrix MatMulBt(RowMatrix a, int rA, int cA, RowMatrix b, int rB, RowMatrix out) {
  kernelTable.multiply(out, a, rA, cA, b, rB, cA, false, true);
  return out;
}

}  // namespace tessel
