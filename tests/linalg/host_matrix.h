// Matrices for the kernel's tests: a row table over memory with a gap after each row, as a host may hand over, and
// reference products in extended precision.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "linalg/micro_kernel.h"

namespace tessel {

struct HostMatrix {
  static constexpr double kFill = -777.25;  // every cell and gap at first

  HostMatrix(int r, int c, int gap = 2, const std::function<double(int i, int j)> &cell = {})
      : rows(r), columns(c), cells(static_cast<std::size_t>(r) * static_cast<std::size_t>(c + gap), kFill) {
    for (int i = 0; i < r; ++i) table.push_back(cells.data() + static_cast<std::ptrdiff_t>(i) * (c + gap));
    for (int i = 0; cell && i < r; ++i)
      for (int j = 0; j < c; ++j) table[static_cast<std::size_t>(i)][j] = cell(i, j);
  }
  HostMatrix(HostMatrix &&) = default;
  HostMatrix &operator=(HostMatrix &&) = default;

  double **Rows() { return table.data(); }
  double *operator[](int i) const { return table[static_cast<std::size_t>(i)]; }

  int rows, columns;
  std::vector<double> cells;
  std::vector<double *> table;
};

inline HostMatrix Random(int rows, int columns, unsigned seed, int gap = 2) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  return {rows, columns, gap, [&](int, int) { return normal(random); }};
}

inline HostMatrix T(const HostMatrix &a) {
  return {a.columns, a.rows, 1, [&](int i, int j) { return a[j][i]; }};
}

inline HostMatrix Mul(const HostMatrix &a, const HostMatrix &b) {
  return {a.rows, b.columns, 1, [&](int i, int j) {
            long double sum = 0.0;
            for (int k = 0; k < a.columns; ++k) sum += static_cast<long double>(a[i][k]) * b[k][j];
            return static_cast<double>(sum);
          }};
}

// The symmetric matrix of a lower triangle.
inline HostMatrix Mirrored(const HostMatrix &a) {
  return {a.rows, a.rows, 1, [&](int i, int j) { return a[std::max(i, j)][std::min(i, j)]; }};
}

// Cells within the tolerance, and gaps as they were.
inline void ExpectNear(const HostMatrix &actual, const HostMatrix &expected, double tolerance,
                       const std::string &what) {
  const std::size_t stride = actual.cells.size() / static_cast<std::size_t>(actual.rows);
  for (int i = 0; i < actual.rows; ++i) {
    for (int j = 0; j < actual.columns; ++j)
      ASSERT_NEAR(actual[i][j], expected[i][j], tolerance) << what << " at " << i << "," << j;
    for (std::size_t j = static_cast<std::size_t>(actual.columns); j < stride; ++j)
      ASSERT_EQ(actual[i][j], HostMatrix::kFill) << what << ": written past row " << i;
  }
}

// Runs `test` with each set of micro-kernels that this machine supports forced in turn.
inline void WithEachMicroKernel(const std::function<void(const char *name)> &test) {
  for (const MicroKernel &kernel : MicroKernels()) {
    if (!kernel.supported()) continue;
    ForceMicroKernel(&kernel);
    test(kernel.name);
  }
  ForceMicroKernel(nullptr);
}

}  // namespace tessel
