// Moment matrices and quadratic forms, against their definitions in extended precision.
#include "linalg/moments.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "host/heap.h"
#include "host_matrix.h"

namespace tessel {
namespace {

using Cell = std::function<double(int i, int j)>;

void ExpectCells(HostMatrix &out, int rows, int columns, double tolerance, const Cell &expected, const char *what) {
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) ASSERT_NEAR(out[i][j], expected(i, j), tolerance) << what << " " << i << "," << j;
  EXPECT_TRUE(out.GapsIntact()) << what;
}

HostMatrix Symmetric(int n) {
  HostMatrix s(n, n, 1);
  s.Random(7);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) s[i][j] = s[j][i];
  return s;
}

TEST(Moments, Sandwich) {
  for (int n : {1, 15, 16, 17, 33, 48})
    for (int m : {1, 5, 70}) {
      HostMatrix x(n, m, 2), out(n, n, 1), w = Symmetric(m);
      x.Random(3);
      ASSERT_EQ(MatSandwich(x.Rows(), n, w.Rows(), m, out.Rows()), out.Rows());
      ExpectCells(
          out, n, n, 1e-14 * m * m,
          [&](int i, int j) {
            EXPECT_EQ(out[i][j], out[j][i]);
            long double sum = 0.0;
            for (int r = 0; r < m; ++r)
              for (int c = 0; c < m; ++c) sum += static_cast<long double>(x[i][r]) * w[r][c] * x[j][c];
            return static_cast<double>(sum);
          },
          "X W X'");
      ASSERT_EQ(MatSandwich(x.Rows(), n, nullptr, m, out.Rows()), out.Rows());
      EXPECT_NEAR(out[n - 1][0], std::inner_product(x[0], x[0] + m, x[n - 1], 0.0), 1e-13);
    }
  HostMatrix x(2, 2), out(2, 2);
  EXPECT_EQ(MatSandwich(x.Rows(), 2, nullptr, 2, nullptr), nullptr);
  EXPECT_EQ(MatSandwich(x.Rows(), 2, x.Rows(), 2, x.Rows()), nullptr);
  EXPECT_EQ(MatSandwich(x.Rows(), 2, x.Rows(), 0, out.Rows()), nullptr);
  for (int fail : {1, 2}) {
    HeapFailAt(fail);
    EXPECT_EQ(MatSandwich(x.Rows(), 2, x.Rows(), 2, out.Rows()), nullptr);
  }
  HeapFailAt(0);
  EXPECT_EQ(out[0][0], HostMatrix::kFill);
}

TEST(Moments, CrossWeighted) {
  for (int m : {1, 3, 64, 65, 130})
    for (int n : {1, 4, 7, 30}) {
      HostMatrix x(n, m, 1), w(n, n, 2), out(m, m, 1);
      x.Random(3);
      w.Random(4);  // not symmetric: all of it counts
      ASSERT_EQ(MatCrossWeighted(x.Rows(), n, w.Rows(), m, out.Rows()), out.Rows());
      ExpectCells(
          out, m, m, 1e-13 * n * n,
          [&](int i, int j) {
            long double sum = 0.0;
            for (int r = 0; r < n; ++r)
              for (int c = 0; c < n; ++c)
                sum += static_cast<long double>(x[r][std::max(i, j)]) * w[r][c] * x[c][std::min(i, j)];
            return static_cast<double>(sum);
          },
          "X' W X");
      ASSERT_EQ(MatCrossWeighted(x.Rows(), n, nullptr, m, out.Rows()), out.Rows());
      long double sum = 0.0;
      for (int r = 0; r < n; ++r) sum += static_cast<long double>(x[r][0]) * x[r][m - 1];
      EXPECT_NEAR(out[0][m - 1], static_cast<double>(sum), 1e-13);
    }
  HostMatrix x(2, 2);
  EXPECT_EQ(MatCrossWeighted(x.Rows(), 2, nullptr, 2, nullptr), nullptr);
  EXPECT_EQ(MatCrossWeighted(x.Rows(), 2, x.Rows(), 2, x.Rows()), nullptr);
}

TEST(Moments, RowsOverARange) {
  const int n = 11, m = 9;
  HostMatrix x(n, 40, 1), y(m, 40, 2), own(n, n, 1), cross(n, m, 1);
  x.Random(3);
  y.Random(4);
  for (const auto &[c0, c1] : {std::pair{0, 39}, {3, 3}, {5, 28}, {6, 5}}) {
    const auto sum = [c0 = c0, c1 = c1](const double *a, const double *b) {
      long double total = 0.0;
      for (int k = c0; k <= c1; ++k) total += static_cast<long double>(a[k]) * b[k];
      return static_cast<double>(total);
    };
    ASSERT_EQ(MatCrossRows(x.Rows(), n, c0, c1, own.Rows()), own.Rows());
    ExpectCells(
        own, n, n, 1e-13, [&](int i, int j) { return sum(x[i], x[j]); }, "own rows");
    ASSERT_EQ(MatCrossRows2(x.Rows(), n, c0, c1, y.Rows(), m, cross.Rows()), cross.Rows());
    ExpectCells(
        cross, n, m, 1e-13, [&](int i, int j) { return sum(x[i], y[j]); }, "two sets of rows");
  }
}

TEST(Moments, SymmetricArgumentsReadTheUpperTriangleOnly) {
  for (int n : {1, 2, 9, 30}) {
    HostMatrix s = Symmetric(n), upper(n, n, 1), b(n, n, 3);
    b.Random(5);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) upper[i][j] = j < i ? MissingValue() : s[i][j];
    const auto form = [&](const std::function<double(int)> &v) {
      long double sum = 0.0;
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) sum += static_cast<long double>(v(i)) * s[i][j] * v(j);
      return static_cast<double>(sum);
    };
    EXPECT_NEAR(QuadFormColumn(n / 2, b.Rows(), upper.Rows(), n), form([&](int i) { return b[i][n / 2]; }), 1e-12 * n);
    EXPECT_NEAR(QuadFormRow(n / 2, b.Rows(), upper.Rows(), n), form([&](int i) { return b[n / 2][i]; }), 1e-12 * n);
    ASSERT_EQ(MatSymMulBt(upper.Rows(), b.Rows(), n), upper.Rows());
    ExpectCells(
        upper, n, n, 1e-13 * n,
        [&](int i, int j) {
          long double sum = 0.0;
          for (int k = 0; k < n; ++k) sum += static_cast<long double>(s[std::max(i, j)][k]) * b[std::min(i, j)][k];
          return static_cast<double>(sum);
        },
        "S B'");
  }
}

TEST(Moments, ZerosSkipRowsOfTheQuadraticForm) {
  HostMatrix x(1, 3), s(3, 3);
  MatFillMissing(s.Rows(), 3, 3);
  x[0][0] = x[0][1] = 0.0;
  x[0][2] = -0.0;
  EXPECT_EQ(QuadFormRow(0, x.Rows(), s.Rows(), 3), 0.0);
  s[1][1] = 2.0;
  s[1][2] = 0.5;
  s[2][2] = 3.0;
  x[0][1] = 2.0;
  x[0][2] = 1.0;
  EXPECT_EQ(QuadFormRow(0, x.Rows(), s.Rows(), 3), 2.0 * 4 + 2 * 0.5 * 2 + 3.0);
}

TEST(Moments, CellByCell) {
  HostMatrix a(2, 3, 1), b(2, 3, 2), out(2, 3);
  for (int i = 0; i < 6; ++i) {
    a[i / 3][i % 3] = i;
    b[i / 3][i % 3] = 10.0 * i;
  }
  MatAddScaled(a.Rows(), 2, 3, b.Rows(), -0.5, out.Rows());
  EXPECT_EQ(out.Cells(), (std::vector<double>{0, -4, -8, -12, -16, -20}));
  MatAddScaled(out.Rows(), 2, 3, b.Rows(), 1.0, out.Rows());
  EXPECT_EQ(out.Cells(), (std::vector<double>{0, 6, 12, 18, 24, 30}));
  EXPECT_EQ(MatTrace(out.Rows(), 2), 24.0);
  EXPECT_EQ(MatTrace(out.Rows(), 0), 0.0);
  EXPECT_EQ(MatTransposeInPlace(out.Rows(), 2)[0][1], 18.0);
  EXPECT_EQ(out[1][0], 6.0);
}

}  // namespace
}  // namespace tessel
