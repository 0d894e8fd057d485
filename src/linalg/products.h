// Dense matrix products.
//
// All products of the library go through KernelMultiply. Outputs must not alias an input.
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// The product of A (stored rA x cA) and B (stored rB x cB):
//   Transposed::None        out (rA x cB) = A B, cA = rB
//   Transposed::A           out (cA x cB) = A'B, rA = rB
//   Transposed::B           out (rA x rB) = A B', cA = cB
// An inner size of 0 fills `out` with the missing value; any other size of 0 leaves it unchanged. A product A'A or A A'
// of a matrix with itself (the same view twice) comes out exactly symmetric. It cannot fail: where work memory for the
// tiled form cannot be had, the untiled one gives the same result to rounding.
void KernelMultiply(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b, Transposed which);

// out = A B.
inline void MatMul(const ConstMatrix &a, const ConstMatrix &b, const Matrix &out) {
  kernelTable.multiply(out, a, b, Transposed::None);
}

// out = A B'.
inline void MatMulBt(const ConstMatrix &a, const ConstMatrix &b, const Matrix &out) {
  kernelTable.multiply(out, a, b, Transposed::B);
}

}  // namespace tessel
