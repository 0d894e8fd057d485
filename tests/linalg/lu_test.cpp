// The general inverse, by residuals in extended precision.
#include "linalg/lu.h"

#include "../support/failing_allocation.h"
#include "linalg/dot_product.h"
#include "matrices.h"

namespace tessel {
namespace {

// Both products with the inverse give the identity as nearly as the size of the cells allows: random matrices on both
// sides of each block size, ill-conditioned ones, and a graded one where every step interchanges rows.
TEST(MatInvert, ResidualsOfBothProducts) {
  std::vector<TestMatrix> matrices = {
      Hilbert(4), Hilbert(9), TestMatrix(9, 9, [](int i, int j) { return std::pow((j + 1.0) / 9, i); }),  // Vandermonde
      TestMatrix(100, 100, [](int i, int j) { return i + j == 99 ? 1e3 : std::ldexp(1.0, -(i + j) / 8); })};
  for (int n : {1, 2, 3, 5, 30, 33, 64, 65, 97, 128, 130, 201}) matrices.push_back(Random(n, n));
  for (const TestMatrix &a : matrices)
    WithEachMicroKernel([&](const char *name) {
      const TestMatrix inverse = a;
      EXPECT_EQ(MatInvert(inverse), Status::Ok) << a.rows;
      const double bound = 1e-15 * a.rows * Largest(a) * Largest(inverse);
      EXPECT_LE(Residual(a, inverse, Identity(a.rows)), bound) << name << a.rows;
      EXPECT_LE(Residual(inverse, a, Identity(a.rows)), bound) << name << a.rows;
      return a.rows <= 64 ? inverse.cells : std::vector<double>();
    });
}

TEST(KernelInvertGeneral, StatusDeterminantAndTolerance) {
  const double tolerance = MatTolerance();
  const struct {
    TestMatrix a;
    Status status;
    double determinant;
    int sign;
  } cases[] = {
      {{{0, 1}, {1, 0}}, Status::Ok, 1, -1},
      {{{2, 0}, {0, -3}}, Status::Ok, 6, -1},
      {{{0, 0, 5}, {-1, 0, 0}, {0, -2, 0}}, Status::Ok, 10, 1},
      {{{1, 2, 3}, {4, 5, 6}, {1, 2, 3}}, Status::Singular, std::exp(1), 0},
      {{{1, 0}, {0, tolerance}}, Status::Singular, std::exp(1), 0},
      {{{1, 0}, {0, std::nextafter(tolerance, 1)}}, Status::Ok, tolerance, 1},
      {{{1e3, 0}, {0, -1e-12}}, Status::Ok, 1e-9, -2},
      {{{1e12, 0}, {0, 1e-13}}, Status::Singular, std::exp(1), 0},
      {{{1, 3}, {0, 4 * tolerance}}, Status::Ok, 4 * tolerance, 2},  // at the scaled tolerance
  };
  for (const auto &c : cases) {
    LogDeterminant found = {77, 77};
    EXPECT_EQ(MatInvert(c.a, &found), c.status) << c.determinant;
    EXPECT_NEAR(found.value, std::log(c.determinant), 1e-13) << c.determinant;
    EXPECT_EQ(found.sign, c.sign) << c.determinant;
  }
  LogDeterminant none = {77, 77};
  EXPECT_EQ(MatInvert({nullptr, 3, 3}, &none), Status::Invalid);
  EXPECT_EQ(none.value, 1);
  EXPECT_EQ(none.sign, 0);
  EXPECT_EQ(MatInvert(cases[0].a.View().Block(0, 0, 0, 0)), Status::Invalid);
  const int piv[] = {0, 1};
  const LogDeterminant zero = LuLogDet(TestMatrix{{1, 2}, {3, 0}}, piv, 0);
  EXPECT_EQ(zero.sign, 0);
  EXPECT_EQ(zero.value, 1);
}

// Panels change the order of the work but not of any sum, and neither do a mirror and the vector width. Against Crout
// elimination with one inner product for each element.
TEST(LuFactor, SameBitsAsOneInnerProductPerElement) {
  for (int n : {4, 31, 33, 70, 550}) {
    const TestMatrix expected = Random(n, n), u(n, n);  // row j of u: column j of U
    std::vector<int> pivots;
    for (int j = 0; j < n; ++j) {
      int p = j;
      for (int i = j; i < n; ++i) {
        expected[i][j] -= DotProduct(expected[i], u[j], j);
        if (std::fabs(expected[i][j]) > std::fabs(expected[p][j])) p = i;
      }
      pivots.push_back(p);
      std::swap_ranges(expected[j], expected[j] + n, expected[p]);
      for (int i = j + 1; i < n; ++i) expected[i][j] /= expected[j][j];
      for (int c = j + 1; c < n; ++c) u[c][j] = expected[j][c] -= DotProduct(expected[j], u[c], j);
    }
    WithEachMicroKernel([&](const char *name) {
      for (const Matrix mirror : {Matrix(), u.View()}) {
        const TestMatrix lu = Random(n, n);
        std::vector<int> piv(pivots.size());
        EXPECT_EQ(LuFactor(lu, piv, mirror), Status::Ok);
        EXPECT_EQ(piv, pivots) << name << n;
        EXPECT_EQ(lu.cells, expected.cells) << name << n;
      }
      return expected.cells;
    });
  }
  int piv[50];
  EXPECT_EQ(LuFactor(TestMatrix{{1, 2}, {-1, 2}}, piv, {}), Status::Ok);
  EXPECT_EQ(piv[0], 0);  // the first of equals
  const TestMatrix singular(50, 50, [](int i, int j) { return std::cos((i + 1) * (j == 40 ? 3 : j)); });
  const TestMatrix mirror(50, 50);
  EXPECT_EQ(LuFactor(singular, piv, mirror), Status::Singular);
  EXPECT_NE(singular[39][39], 0);
  for (int i = 40; i < 50; ++i) {
    EXPECT_EQ(piv[i], i);
    EXPECT_EQ(singular[i][i], 0);
    EXPECT_EQ(mirror[i][i], 0);
  }
}

// Up to 64 rows the inverse is one inner product for each element too: column i of the inverse of L U solves for the
// unit vector e(i), from its 1 on; then the interchanges are undone.
TEST(LuInverse, SameBitsAsOneInnerProductPerElement) {
  for (int n : {5, 30, 64}) {
    const TestMatrix lu = Random(n, n), expected(n, n);
    std::vector<int> piv(static_cast<std::size_t>(n));
    ASSERT_EQ(LuFactor(lu, piv, {}), Status::Ok);
    for (int i = 0; i < n; ++i) {
      std::vector<double> x(static_cast<std::size_t>(n), 0.0);
      double *cells = x.data();
      cells[i] = 1;
      for (int j = i + 1; j < n; ++j) cells[j] = -DotProduct(lu[j] + i, cells + i, j - i);
      for (int q = n - 1; q >= 0; --q)
        cells[q] = (cells[q] - DotProduct(lu[q] + q + 1, cells + q + 1, n - 1 - q)) / lu[q][q];
      for (int r = 0; r < n; ++r) expected[r][i] = cells[r];
    }
    for (int i = n - 1; i >= 0; --i)
      for (int r = 0; r < n; ++r) std::swap(expected[r][i], expected[r][piv[static_cast<std::size_t>(i)]]);
    WithEachMicroKernel([&](const char *name) {
      const TestMatrix inverse(n, n);
      LuInverse(lu, lu, piv, inverse);
      ExpectNear(inverse, expected, 0.0, name);
      return inverse.cells;
    });
  }
}

// One matrix holds both triangles, so that reading the other one would show.
TEST(TriangularSolve, EachFormAndSize) {
  for (int n : {1, 4, 64, 65, 150})
    for (int m : {1, 8, 17}) {
      const TestMatrix b = Random(n, m), a(n, n, [](int i, int j) { return i == j ? 2 : std::sin(i + 3 * j) / 9; });
      const TestMatrix lower(n, n, [&](int i, int j) { return (i >= j) * a[i][j]; });
      const TestMatrix unit(n, n, [&](int i, int j) { return (i > j) * a[i][j] + (i == j); });
      const TestMatrix upper(n, n, [&](int i, int j) { return (i <= j) * a[i][j]; });
      for (const TestMatrix *triangle : {&lower, &unit, &upper}) {
        const TestMatrix x = b;
        const ConstMatrix factor = a, none;
        TriangularSolve(triangle == &upper ? none : factor, triangle == &upper ? factor : none, x, triangle == &lower,
                        false);
        EXPECT_LE(Residual(*triangle, x, b), 2e-15 * n * Largest(x)) << n << " " << m;
      }
    }
  // A diagonal cell of 0 gives 0, in either triangle.
  const TestMatrix zero = {{2, 0, 0}, {1, 0, 0}, {1, 5, 4}}, b = {{4}, {9}, {8}};
  TriangularSolve(zero, zero, b, true, false);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(b[i][0], (std::vector<double>{1, 0, 0.375})[static_cast<std::size_t>(i)]) << i;
}

// Without memory for its copy or its sums the inverse fails; without memory for block products it does not.
TEST(MatInvert, ExhaustedMemory) {
  const int n = 130;
  const TestMatrix input = Random(n, n);
  int failed = 0;
  ForEachFailingAllocation([&](bool) {
    const TestMatrix a = input;
    const Status status = MatInvert(a);
    failed += status == Status::NoMemory;
    EXPECT_TRUE(Failed(status) ? a.cells == input.cells : Residual(input, a, Identity(n)) < 1e-11);
  });
  EXPECT_EQ(failed, 3);  // the interchanges, the copy, the sums
}

}  // namespace
}  // namespace tessel
