// Matrices for the kernel's tests, with a gap after each row as a view may have, and reference products in extended
// precision.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "core/matrix.h"
#include "linalg/micro_kernel.h"

namespace tessel {

struct TestMatrix {
  static constexpr double kFill = -777.25;  // every cell and gap at first

  TestMatrix(int r, int c, const std::function<double(int i, int j)> &cell = {}, int g = 2)
      : rows(r), columns(c), gap(g), cells(static_cast<std::size_t>(r) * static_cast<std::size_t>(c + g), kFill) {
    for (int i = 0; cell && i < r; ++i)
      for (int j = 0; j < c; ++j) (*this)[i][j] = cell(i, j);
  }
  TestMatrix(std::initializer_list<std::vector<double>> m)
      : TestMatrix(static_cast<int>(m.size()), static_cast<int>(m.begin()->size()),
                   [&](int i, int j) { return m.begin()[i][static_cast<std::size_t>(j)]; }) {}
  TestMatrix(const TestMatrix &other) : TestMatrix(other.rows, other.columns, {}, other.gap) { cells = other.cells; }
  TestMatrix(TestMatrix &&) = default;
  TestMatrix &operator=(TestMatrix &&) = default;

  Matrix View() const { return {const_cast<double *>(cells.data()), rows, columns, columns + gap}; }
  operator Matrix() const { return View(); }
  operator ConstMatrix() const { return View(); }
  double *operator[](int i) const { return View()[i]; }

  int rows, columns, gap;
  std::vector<double> cells;
};

inline TestMatrix Random(int rows, int columns, unsigned seed = 1, int gap = 2) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  return {rows, columns, [&](int, int) { return normal(random); }, gap};
}

inline TestMatrix Identity(int n) {
  return {n, n, [](int i, int j) { return i == j; }};
}

inline TestMatrix T(const TestMatrix &a) {
  return {a.columns, a.rows, [&](int i, int j) { return a[j][i]; }};
}

// The symmetric matrix of a lower triangle.
inline TestMatrix Mirrored(const TestMatrix &a) {
  return {a.rows, a.rows, [&](int i, int j) { return a[std::max(i, j)][std::min(i, j)]; }};
}

inline TestMatrix Hilbert(int n) {
  return {n, n, [](int i, int j) { return 1.0 / (i + j + 1); }};
}

// A B, less C where it is given.
inline TestMatrix Mul(const TestMatrix &a, const TestMatrix &b, const TestMatrix *c = nullptr) {
  return {a.rows, b.columns, [&](int i, int j) {
            long double sum = c == nullptr ? 0 : -(*c)[i][j];
            for (int k = 0; k < a.columns; ++k) sum += static_cast<long double>(a[i][k]) * b[k][j];
            return static_cast<double>(sum);
          }};
}

// Infinite where a cell is missing.
inline double Largest(const TestMatrix &a) {
  double largest = 0;
  for (int i = 0; i < a.rows; ++i)
    for (int j = 0; j < a.columns; ++j)
      largest = std::max(largest, std::isnan(a[i][j]) ? HUGE_VAL : std::fabs(a[i][j]));
  return largest;
}

// The largest absolute cell of A B - C.
inline double Residual(const TestMatrix &a, const TestMatrix &b, const TestMatrix &c) { return Largest(Mul(a, b, &c)); }

// Cells within the tolerance, and gaps as they were.
inline void ExpectNear(const TestMatrix &actual, const TestMatrix &expected, double tolerance,
                       const std::string &what) {
  for (int i = 0; i < actual.rows; ++i) {
    for (int j = 0; j < actual.columns; ++j)
      ASSERT_NEAR(actual[i][j], expected[i][j], tolerance) << what << " at " << i << "," << j;
    for (int j = actual.columns; j < actual.columns + actual.gap; ++j)
      ASSERT_EQ(actual[i][j], TestMatrix::kFill) << what << ": written past row " << i;
  }
}

// Runs `test` with each set of micro-kernels that this machine supports forced in turn. The cells that it returns must
// be the same in all.
inline void WithEachMicroKernel(const std::function<std::vector<double>(const char *name)> &test) {
  std::vector<double> first;
  for (const MicroKernel &kernel : MicroKernels()) {
    if (!kernel.supported()) continue;
    ForceMicroKernel(&kernel);
    const std::vector<double> cells = test(kernel.name);
    if (&kernel == &MicroKernels().front()) first = cells;
    EXPECT_EQ(first, cells) << kernel.name;
  }
  ForceMicroKernel(nullptr);
}

}  // namespace tessel
