// Roots of real polynomials through the eigenvalues of a Hessenberg matrix, and two operations on complex numbers.
#pragma once

#include <optional>
#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct Complex {
  double re = 0;
  double im = 0;
};

// All n roots of z^n + c[0] z^(n-1) + ... + c[n-1] = 0 for n coefficients c, as eigenvalues of the companion matrix.
//
// Roots stand where the iteration found them: their order has no meaning, but a complex pair is adjacent, the root with
// the positive imaginary part first. A multiple root of order p is found to about the p-th root of the working
// precision. Takes one n x n work matrix.
//   NotConverged   the iteration failed; the roots are partly set
//   NoMemory       nothing is set
//   Invalid        no coefficients, or not as many roots; nothing is set
Status PolyRoots(std::span<const double> coefficients, std::span<Complex> roots);

// Rows low..high, both included.
struct RowRange {
  int low, high;
};

struct EigenvalueResult {
  Status status = Status::Ok;  // or NotConverged
  int iterations = 0;          // in all
  int stoppedAt = -1;          // NotConverged: the row at which it stopped; the values of the rows after it are set
};

// All eigenvalues of a real upper Hessenberg matrix (n x n, destroyed) by Francis' double-shift QR iteration with
// deflation (Martin, Peters and Wilkinson 1970, "The QR algorithm for real Hessenberg matrices", Numerische Mathematik
// 14, 219-231; EISPACK's hqr).
//
// Cells below the subdiagonal are not looked at. Rows outside the range are taken as triangular: their diagonal cells
// are eigenvalues already. NotConverged when maxIter iterations were spent on an eigenvalue or pair, or the matrix is
// no longer finite.
EigenvalueResult HessenbergEigenvalues(Matrix h, RowRange range, int maxIter, std::span<Complex> values);

// a / b without needless overflow (Smith 1962, "Algorithm 116: Complex division", Communications of the ACM 5, 435).
// Empty when the divisor is exactly 0.
std::optional<Complex> ComplexDivide(Complex a, Complex b);

// sqrt(x^2 + y^2) without overflow of the squares.
double Hypot(double x, double y);

}  // namespace tessel
