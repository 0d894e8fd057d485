// Roots of real polynomials through the eigenvalues of a Hessenberg matrix, and two operations on complex numbers.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// All n roots of z^n + coef[0] z^(n-1) + ... + coef[n-1] = 0, as eigenvalues of the companion matrix.
//
// coef, re, im: n doubles each; root i is re[i] + im[i] i. Roots stand where the iteration found them: their order has
// no meaning, but a complex pair is adjacent, the root with the positive imaginary part first. A multiple root of
// order p is found to about the p-th root of the working precision.
//
// 0 on success; 1 when the iteration fails, with re and im partly set; 2 when a vector is null, n is below 1 or there
// is no work memory, with nothing set. Takes one n x n work matrix.
int PolyRoots(const double *coef, double *re, double *im, int n);

// All eigenvalues of a real upper Hessenberg matrix by Francis' double-shift QR iteration with deflation (Martin,
// Peters and Wilkinson 1970, Numerische Mathematik 14, 219-231; EISPACK's hqr).
//
// h: n x n, destroyed; cells below the subdiagonal are not looked at. Rows outside low..high are taken as triangular:
// their diagonal cells are eigenvalues already. maxIter limits the iterations spent on each eigenvalue or pair.
// info: the total number of iterations, or, when the limit was reached or the matrix is no longer finite, minus the
// index of the row at which the iteration stopped; eigenvalues above that row are set then.
void HessenbergEigenvalues(RowMatrix h, double *re, double *im, int n, int low, int high, int maxIter, int *info);

// (ar + ai i) / (br + bi i) without needless overflow (Smith 1962, CACM 5, 435). 1; or 0, with nothing stored, when the
// divisor is exactly 0.
int ComplexDivide(double ar, double ai, double br, double bi, double *outRe, double *outIm);

// sqrt(x^2 + y^2) without overflow of the squares.
double Hypot(double x, double y);

}  // namespace tessel
