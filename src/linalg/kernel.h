// The kernel table: the one place through which the rest of the library reaches the heavy linear algebra.
//
// MatCholesky, MatInvertSpd, MatInvert, MatMul and MatMulBt stand in the headers of their routines, read an entry on
// each call and forward their arguments; MatOlsQr reads qrPivot. The kernel's routines call one another directly. Every
// routine works on views, keeps nothing between calls, and reports through its result.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct LogDeterminant;

// The kernel's one threshold, 1000 times the double precision epsilon. It is absolute: a pivot at or below it counts as
// zero, whatever the scale of the matrix.
constexpr double MatTolerance() { return 2.220446049250313e-13; }

// Which operand of a product is transposed.
enum class Transposed { None, A, B };

struct KernelTable {
  Status (*factorise)(Matrix a);                                   // KernelCholesky
  Status (*invertSpd)(Matrix a, double *logDet);                   // KernelInvertSpd
  Status (*invertGeneral)(Matrix a, LogDeterminant *determinant);  // KernelInvertGeneral
  void (*multiply)(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b, Transposed which);  // KernelMultiply
  double tolerance;                                                                                   // MatTolerance
  Status (*qrPivot)(Matrix x, std::span<int> pivot, std::span<double> beta);                          // KernelQrPivot
};

// Constant; to put another routine in an entry's place, change its line in kernel.cpp.
extern const KernelTable kernelTable;

}  // namespace tessel
