// Symmetric eigenproblems: spectra in closed form, residuals and orthogonality, multiple eigenvalues, bad input.
#include "linalg/eigen_symmetric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

#include "core/missing.h"

namespace tessel {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

struct Eigen {
  Status status = Status::Ok;
  std::vector<double> values;
  OwnedMatrix rows;
};

// The upper triangle must not be read.
Eigen Solve(int n, const std::function<double(int, int)> &cell) {
  Eigen eigen{Status::Ok, std::vector<double>(static_cast<std::size_t>(n)), OwnedMatrix(n, n)};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) eigen.rows[i][j] = j <= i ? cell(i, j) : MissingValue();
  std::vector<double> work(static_cast<std::size_t>(n));
  eigen.status = EigenSymmetric(eigen.rows, eigen.values, work);
  return eigen;
}

// Row i times A is values[i] times row i, and the rows are orthonormal.
void ExpectDecomposes(const Eigen &eigen, const std::function<double(int, int)> &cell, double norm) {
  const int n = eigen.rows.View().rows;
  for (int i = 0; i < n; ++i) {
    const double *w = eigen.rows[i];
    for (int j = 0; j < n; ++j) {
      double product = 0.0, dot = 0.0;
      for (int k = 0; k < n; ++k) {
        product += w[k] * (k >= j ? cell(k, j) : cell(j, k));
        dot += w[k] * eigen.rows[j][k];
      }
      EXPECT_NEAR(product, eigen.values[static_cast<std::size_t>(i)] * w[j], 20 * n * kEpsilon * norm);
      EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 20 * n * kEpsilon);
    }
  }
}

// Rosser, J.B., Lanczos, C., Hestenes, M.R. and Karush, W. (1951), Separation of close eigenvalues of a real symmetric
// matrix, Journal of Research of the National Bureau of Standards 47: a double eigenvalue, three near each other, a 0
// and two of opposite sign, in closed form.
TEST(EigenSymmetric, Rosser) {
  constexpr double rosser[8][8] = {{611, 196, -192, 407, -8, -52, -49, 29}, {196, 899, 113, -192, -71, -43, -8, -44},
                                   {-192, 113, 899, 196, 61, 49, 8, 52},    {407, -192, 196, 611, 8, 44, 59, -23},
                                   {-8, -71, 61, 8, 411, -599, 208, 208},   {-52, -43, 49, 44, -599, 411, 208, 208},
                                   {-49, -8, 8, 59, 208, 208, 99, -911},    {29, -44, 52, -23, 208, 208, -911, 99}};
  const double far = 10 * std::sqrt(10405.0), near = 100 * std::sqrt(26.0);
  const double expected[] = {-far, 0, 510 - near, 1000, 1000, 510 + near, 1020, far};
  const auto cell = [&](int i, int j) { return rosser[i][j]; };
  const Eigen eigen = Solve(8, cell);
  ASSERT_EQ(eigen.status, Status::Ok);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(eigen.values[i], expected[i], 1e-11) << i;
  ExpectDecomposes(eigen, cell, far);
}

// Second differences: 2 - 2 cos(i pi / (n + 1)). Their inverse, min(i, j) (n + 1 - max(i, j)) / (n + 1), has the
// reciprocals and is full. Rows in another order, far from tridiagonal, have the same spectrum.
TEST(EigenSymmetric, SecondDifferences) {
  for (int n : {1, 2, 3, 10, 101}) {
    const auto place = [n](int i) { return n > 3 ? (37 * i + 5) % n : i; };
    const auto differences = [&](int i, int j) {
      const int apart = std::abs(place(i) - place(j));
      return apart == 0 ? 2.0 : apart == 1 ? -1.0 : 0.0;
    };
    const auto inverse = [&](int i, int j) {
      const int low = std::min(place(i), place(j)) + 1, high = std::max(place(i), place(j)) + 1;
      return static_cast<double>(low) * (n + 1 - high) / (n + 1);
    };
    const Eigen first = Solve(n, differences), second = Solve(n, inverse);
    const double largest = 1 / (2 - 2 * std::cos(std::numbers::pi / (n + 1)));
    for (int i = 0; i < n; ++i) {
      const double expected = 2 - 2 * std::cos((i + 1) * std::numbers::pi / (n + 1));
      EXPECT_NEAR(first.values[static_cast<std::size_t>(i)], expected, 10 * n * kEpsilon);
      EXPECT_NEAR(second.values[static_cast<std::size_t>(n - 1 - i)], 1 / expected, 10 * n * kEpsilon * largest);
    }
    ExpectDecomposes(first, differences, 4);
    ExpectDecomposes(second, inverse, largest);
  }
}

// Units, the identity, zeros, and a row that no other touches, at the ends of the range of doubles.
TEST(EigenSymmetric, ScalesAndMultipleEigenvalues) {
  for (double unit : {1e-300, 1.0, 1e300}) {
    const auto cell = [&](int i, int j) { return i == 3 || j == 3 ? 0.0 : (i == j ? 2.0 : 1.0) * unit; };
    const Eigen eigen = Solve(6, cell);
    ASSERT_EQ(eigen.status, Status::Ok);
    const double expected[] = {0, 1, 1, 1, 1, 6};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(eigen.values[i] / unit, expected[i], 1e-14) << unit << " " << i;
    EXPECT_NEAR(std::fabs(eigen.rows[0][3]), 1.0, 1e-14);
  }
  EXPECT_EQ(Solve(5, [](int, int) { return 0.0; }).values, std::vector<double>(5));
}

TEST(EigenSymmetric, BadInput) {
  EXPECT_EQ(Solve(0, [](int, int) { return 0.0; }).status, Status::Ok);
  for (double bad : {MissingValue(), PositiveInfinity()})
    EXPECT_EQ(Solve(3, [&](int i, int j) { return i == 2 && j == 1 ? bad : 1.0; }).status, Status::NotFinite);
  OwnedMatrix oblong(2, 3);
  double cells[3] = {};
  EXPECT_EQ(EigenSymmetric(oblong, {cells, 2}, {cells, 2}), Status::Invalid);
  EXPECT_EQ(EigenSymmetric(oblong.View().Columns(0, 2), {cells, 2}, {cells, 1}), Status::Invalid);
}

}  // namespace
}  // namespace tessel
