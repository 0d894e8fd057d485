// Matrices for the tests of the factorisations, and residuals in extended precision.
#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <random>
#include <vector>

#include "host/row_matrix.h"

using tessel::OwnedMatrix;
using tessel::RowMatrix;

inline OwnedMatrix Matrix(std::initializer_list<std::initializer_list<double>> rows) {
  OwnedMatrix m(static_cast<int>(rows.size()), static_cast<int>(rows.begin()->size()));
  for (int i = 0; const auto &row : rows) std::copy(row.begin(), row.end(), m[i++]);
  return m;
}

template <class Cell>
OwnedMatrix MatrixOf(int rows, int columns, Cell cell) {
  OwnedMatrix m(rows, columns);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) m[i][j] = static_cast<double>(cell(i, j));
  return m;
}

inline OwnedMatrix RandomMatrix(int rows, int columns, unsigned seed = 1) {
  std::mt19937_64 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  return MatrixOf(rows, columns, [&](int, int) { return uniform(generator); });
}

// The largest absolute value in A B - C, for A of rows x inner and B of inner x columns; a null C is the identity.
inline double ProductResidual(RowMatrix a, RowMatrix b, RowMatrix c, int rows, int inner, int columns) {
  long double largest = 0;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) {
      long double sum = c == nullptr ? (i == j ? -1 : 0) : -c[i][j];
      for (int k = 0; k < inner; ++k) sum += static_cast<long double>(a[i][k]) * b[k][j];
      largest = std::max(largest, std::fabs(sum));
    }
  return static_cast<double>(largest);
}

inline double Largest(RowMatrix a, int rows, int columns) {
  double largest = 0;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) largest = std::max(largest, std::fabs(a[i][j]));
  return largest;
}

inline OwnedMatrix Transposed(const OwnedMatrix &a, int rows, int columns) {
  return MatrixOf(columns, rows, [&](int i, int j) { return a[j][i]; });
}

inline bool SameCells(RowMatrix a, RowMatrix b, int rows, int columns) {
  for (int i = 0; i < rows; ++i)
    if (!std::equal(a[i], a[i] + columns, b[i])) return false;
  return true;
}
