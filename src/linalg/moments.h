// Moment matrices, quadratic forms and small operations on matrices.
//
// Row tables may be the host's. No matrix has a size below 0; sizes of 0 do nothing except where told.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// out (n x n) = X W' X' for X of n x m and a symmetric W of m x m; with W null, X X' as KernelMultiply gives it. Only
// the lower triangle is computed, and mirrored. Returns out; null, with out unchanged, when out is null or the same as
// X or W, when a size is 0 with W given, and when work memory cannot be had.
RowMatrix MatSandwich(RowMatrix x, int n, RowMatrix w, int m, RowMatrix out);

// out (m x m) = X' W X for X of n x m and W of n x n, which is read in full though only the lower triangle of the
// result is computed, and mirrored; with W null, X'X. Returns out; null when out is null or the same as X or W.
RowMatrix MatCrossWeighted(RowMatrix x, int n, RowMatrix w, int m, RowMatrix out);

// out (n x n)[i][j] = the sum over k from c0 to c1, both included, of X[i][k] X[j][k]. Returns out.
RowMatrix MatCrossRows(RowMatrix x, int n, int c0, int c1, RowMatrix out);

// out (n x m)[i][j] = the sum over k from c0 to c1, both included, of X[i][k] Y[j][k]. Returns out.
RowMatrix MatCrossRows2(RowMatrix x, int n, int c0, int c1, RowMatrix y, int m, RowMatrix out);

// S (n x n, symmetric, of which the upper triangle is read) becomes the lower triangle of S B', mirrored: what S B' is
// where that product is symmetric. Returns S.
RowMatrix MatSymMulBt(RowMatrix s, RowMatrix b, int n);

// The sum of the diagonal.
double MatTrace(RowMatrix a, int n);

// out = A + alpha B, cell by cell; out may be A. Returns out.
RowMatrix MatAddScaled(RowMatrix a, int rows, int columns, RowMatrix b, double alpha, RowMatrix out);

// v' S v for column c of X, v[i] = X[i][c], and a symmetric S of n x n of which the upper triangle is read.
double QuadFormColumn(int c, RowMatrix x, RowMatrix s, int n);

// The same for row r of X, v[i] = X[r][i]. A v[i] of exactly 0 skips row i of S, whatever that holds.
double QuadFormRow(int r, RowMatrix x, RowMatrix s, int n);

// A (n x n) becomes its transpose. Returns A.
RowMatrix MatTransposeInPlace(RowMatrix a, int n);

}  // namespace tessel
