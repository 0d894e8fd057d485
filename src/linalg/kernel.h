// The kernel table: the one place through which the rest of the library reaches the heavy linear algebra.
//
// The wrappers (MatCholesky, MatInvertSpd, MatInvert, MatMul, MatOlsQr, ...) stand in the headers of their routines,
// read an entry on each call and forward their arguments. Code inside the kernel calls its own routines directly.
// Every routine works in place on RowMatrix values, keeps nothing between calls, and reports through its result.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

struct KernelTable {
  int (*factorise)(RowMatrix a, int n);                                      // KernelCholesky
  int (*invertSpd)(RowMatrix a, int n, double *logDet);                      // KernelInvertSpd
  int (*invertGeneral)(RowMatrix a, int n, double *logDet, int *signCode);   // KernelInvertGeneral
  void (*multiply)(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b,  // KernelMultiply
                   int rB, int cB, bool transA, bool transB);
  double tolerance;                                                     // see MatTolerance
  int (*qrPivot)(RowMatrix x, int k, int t, int *pivot, double *beta);  // KernelQrPivot
};

// Constant; to put another routine in an entry's place, change its line in kernel.cpp.
extern const KernelTable kernelTable;

// The kernel's one threshold, 1000 times the double precision epsilon. It is absolute: a pivot at or below it counts as
// zero, whatever the scale of the matrix.
inline double MatTolerance() { return kernelTable.tolerance; }

}  // namespace tessel
