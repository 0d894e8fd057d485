// Moment matrices, quadratic forms and small operations on matrices.
//
// Sizes are those of the views; `out` has the size of its result.
#pragma once

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// out (n x n) = X W' X' for X of n x m and a symmetric W of m x m; without W (a null view), X X' as KernelMultiply
// gives it. Only the lower triangle is computed, and mirrored. Invalid, with out unchanged, when out is null or begins
// where X or W does, and when a size is 0 with W given; NoMemory, with out unchanged, when work memory cannot be had.
Status MatSandwich(ConstMatrix x, ConstMatrix w, Matrix out);

// out (m x m) = X' W X for X of n x m and W of n x n, which is read in full though only the lower triangle of the
// result is computed, and mirrored; without W (a null view), X'X. Invalid when out is null or begins where X or W does.
Status MatCrossWeighted(ConstMatrix x, ConstMatrix w, Matrix out);

// out (n x n)[i][j] = the sum over k from c0 to c1, both included, of X[i][k] X[j][k], for X of n rows.
void MatCrossRows(ConstMatrix x, int c0, int c1, Matrix out);

// out (n x m)[i][j] = the sum over k from c0 to c1, both included, of X[i][k] Y[j][k], for X of n rows and Y of m.
void MatCrossRows2(ConstMatrix x, ConstMatrix y, int c0, int c1, Matrix out);

// S (n x n, symmetric, of which the upper triangle is read) becomes the lower triangle of S B', mirrored: what S B' is
// where that product is symmetric.
void MatSymMulBt(Matrix s, ConstMatrix b);

// The sum of the diagonal of a square matrix.
double MatTrace(ConstMatrix a);

// out = A + alpha B, cell by cell; out may be A.
void MatAddScaled(ConstMatrix a, ConstMatrix b, double alpha, Matrix out);

// v' S v for column c of X, v[i] = X[i][c], and a symmetric S of which the upper triangle is read. The length of v is
// the size of S.
double QuadFormColumn(int c, const ConstMatrix &x, const ConstMatrix &s);

// The same for row r of X, v[i] = X[r][i]. A v[i] of exactly 0 skips row i of S, whatever that holds.
double QuadFormRow(int r, const ConstMatrix &x, const ConstMatrix &s);

}  // namespace tessel
