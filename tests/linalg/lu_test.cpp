// The general inverse, by residuals in extended precision.
#include "linalg/lu.h"

#include <gtest/gtest.h>

#include "../support/failing_allocation.h"
#include "factor_support.h"
#include "linalg/dot_product.h"
#include "linalg/micro_kernel.h"
#include "linalg/row_kernels.h"

using tessel::MatInvert;

// Both products with the inverse give the identity as nearly as the size of the cells allows: random matrices on both
// sides of each block size, ill-conditioned ones, and a graded one where every step interchanges rows.
TEST(MatInvert, ResidualsOfBothProducts) {
  const auto check = [](const OwnedMatrix &a, int n) {
    const OwnedMatrix inverse = OwnedMatrix::Clone(a.get(), n, n);
    ASSERT_EQ(MatInvert(inverse.get(), n), 0) << n;
    const double bound = 1e-15 * n * Largest(a.get(), n, n) * Largest(inverse.get(), n, n);
    EXPECT_LE(ProductResidual(a.get(), inverse.get(), nullptr, n, n, n), bound) << n;
    EXPECT_LE(ProductResidual(inverse.get(), a.get(), nullptr, n, n, n), bound) << n;
  };
  for (int n : {1, 2, 3, 5, 30, 33, 64, 65, 97, 128, 130, 201}) check(RandomMatrix(n, n), n);
  for (int n : {4, 9}) {
    check(MatrixOf(n, n, [](int i, int j) { return 1.0 / (i + j + 1); }), n);            // Hilbert
    check(MatrixOf(n, n, [=](int i, int j) { return std::pow((j + 1.0) / n, i); }), n);  // Vandermonde
  }
  check(MatrixOf(100, 100, [](int i, int j) { return i + j == 99 ? 1e3 : std::ldexp(1.0, -(i + j) / 8); }), 100);
}

TEST(KernelInvertGeneral, StatusDeterminantAndTolerance) {
  const double tolerance = tessel::MatTolerance();
  const struct {
    OwnedMatrix a;
    int n, status;
    double determinant;
    int sign;
  } cases[] = {
      {Matrix({{0, 1}, {1, 0}}), 2, 0, 1, -1},
      {Matrix({{2, 0}, {0, -3}}), 2, 0, 6, -1},
      {Matrix({{0, 0, 5}, {-1, 0, 0}, {0, -2, 0}}), 3, 0, 10, 1},
      {Matrix({{1, 2, 3}, {4, 5, 6}, {1, 2, 3}}), 3, 1, std::exp(1), 0},
      {Matrix({{1, 0}, {0, tolerance}}), 2, 1, std::exp(1), 0},
      {Matrix({{1, 0}, {0, std::nextafter(tolerance, 1)}}), 2, 0, tolerance, 1},
      {Matrix({{1e3, 0}, {0, -1e-12}}), 2, 0, 1e-9, -2},
      {Matrix({{1e-12, 0}, {0, 1e-13}}), 2, 1, std::exp(1), 0},
      {Matrix({{1e12, 0}, {0, 1e-13}}), 2, 1, std::exp(1), 0},
      {Matrix({{1, 3}, {0, 4 * tolerance}}), 2, 0, 4 * tolerance, 2},  // at the scaled tolerance
  };
  double logDet = 77;
  for (const auto &c : cases) {
    int sign = 77;
    EXPECT_EQ(tessel::KernelInvertGeneral(c.a.get(), c.n, &logDet, &sign), c.status) << c.determinant;
    EXPECT_NEAR(logDet, std::log(c.determinant), 1e-13) << c.determinant;
    EXPECT_EQ(sign, c.sign) << c.determinant;
  }
  EXPECT_EQ(MatInvert(nullptr, 3), 1);
  EXPECT_EQ(MatInvert(cases[0].a.get(), 0), 1);
  const int piv[] = {0, 1};
  EXPECT_EQ(tessel::LuLogDet(Matrix({{1, 2}, {3, 0}}).get(), 2, piv, 0, &logDet), 0);
  EXPECT_EQ(logDet, 1);
}

// Panels change the order of the work but not of any sum; a mirror changes nothing either. Against Crout elimination
// with one inner product for each element.
TEST(LuFactor, SameBitsAsOneInnerProductPerElement) {
  for (int n : {4, 31, 33, 70, 131}) {
    const OwnedMatrix a = RandomMatrix(n, n), bare = RandomMatrix(n, n), lu = RandomMatrix(n, n), mirror(n, n);
    std::vector<int> piv(static_cast<std::size_t>(n)), pivBare = piv;
    EXPECT_EQ(tessel::LuFactor(a.get(), n, piv.data(), nullptr, nullptr, mirror.get()), 0);
    EXPECT_EQ(tessel::LuFactor(bare.get(), n, pivBare.data(), nullptr, nullptr, nullptr), 0);
    const OwnedMatrix u(n, n);  // row j: column j of U
    for (int j = 0; j < n; ++j) {
      int p = j;
      for (int i = j; i < n; ++i) {
        lu[i][j] -= tessel::DotProduct(lu[i], u[j], j);
        if (std::fabs(lu[i][j]) > std::fabs(lu[p][j])) p = i;
      }
      EXPECT_TRUE(piv[static_cast<std::size_t>(j)] == p && pivBare[static_cast<std::size_t>(j)] == p);
      std::swap_ranges(lu[j], lu[j] + n, lu[p]);
      for (int i = j + 1; i < n; ++i) lu[i][j] /= lu[j][j];
      for (int c = j + 1; c < n; ++c) u[c][j] = lu[j][c] -= tessel::DotProduct(lu[j], u[c], j);
    }
    EXPECT_TRUE(SameCells(a.get(), lu.get(), n, n) && SameCells(bare.get(), lu.get(), n, n)) << n;
  }
  int piv[50];
  EXPECT_EQ(tessel::LuFactor(Matrix({{1, 2}, {-1, 2}}).get(), 2, piv, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(piv[0], 0);  // the first of equals
  const OwnedMatrix singular = MatrixOf(50, 50, [](int i, int j) { return std::cos((i + 1) * (j == 40 ? 3 : j)); });
  EXPECT_EQ(tessel::LuFactor(singular.get(), 50, piv, nullptr, nullptr, nullptr), 41);
  for (int i = 40; i < 50; ++i) EXPECT_TRUE(piv[i] == i && singular[i][i] == 0);
}

TEST(TriangularSolve, EachFormAndSize) {
  for (int n : {1, 4, 5, 64, 65, 150}) {
    for (int m : {1, 8, 17, n}) {
      // One matrix holds both triangles, so that reading the other one would show.
      const OwnedMatrix a = MatrixOf(n, n, [](int i, int j) { return i == j ? 2 : std::sin(i + 3 * j) / 9; });
      const OwnedMatrix lower = MatrixOf(n, n, [&](int i, int j) { return i >= j ? a[i][j] : 0; });
      const OwnedMatrix unit = MatrixOf(n, n, [&](int i, int j) { return i > j ? a[i][j] : i == j; });
      const OwnedMatrix upper = MatrixOf(n, n, [&](int i, int j) { return i <= j ? a[i][j] : 0; });
      const OwnedMatrix identity = MatrixOf(n, n, [](int i, int j) { return i == j; });
      const OwnedMatrix b = RandomMatrix(n, m);
      const auto residual = [&](const OwnedMatrix &triangle, bool below, bool diagonal, const OwnedMatrix &right) {
        const OwnedMatrix x = OwnedMatrix::Clone(right.get(), n, m);
        tessel::TriangularSolve(below ? a.get() : nullptr, below ? nullptr : a.get(), x.get(), n, m, diagonal,
                                right.get() == identity.get());
        return ProductResidual(triangle.get(), x.get(), right.get(), n, n, m) / Largest(x.get(), n, m);
      };
      EXPECT_LE(residual(lower, true, true, b), 1e-15 * n) << n << " " << m;
      EXPECT_LE(residual(unit, true, false, b), 1e-15 * n) << n << " " << m;
      EXPECT_LE(residual(upper, false, false, b), 1e-15 * n) << n << " " << m;
      EXPECT_TRUE(m != n || residual(lower, true, true, identity) <= 1e-15 * n) << n;
    }
  }
  // A diagonal cell of 0 gives 0, in either triangle.
  const OwnedMatrix zero = Matrix({{2, 0, 0}, {1, 0, 0}, {1, 5, 4}}), b = Matrix({{4}, {9}, {8}});
  tessel::TriangularSolve(zero.get(), zero.get(), b.get(), 3, 1, true, false);
  EXPECT_TRUE(SameCells(b.get(), Matrix({{1}, {0}, {0.375}}).get(), 3, 1));
}

// Without memory for its copy or its sums the inverse fails; without memory for block products it does not.
TEST(MatInvert, ExhaustedMemory) {
  const int n = 130;
  const OwnedMatrix input = RandomMatrix(n, n), a(n, n);
  int failed = 0;
  ForEachFailingAllocation([&](bool) {
    tessel::MatCopy(a.get(), input.get(), n, n);
    const int status = MatInvert(a.get(), n);
    failed += status;
    EXPECT_TRUE(status == 1 || ProductResidual(input.get(), a.get(), nullptr, n, n, n) < 1e-11);
    EXPECT_TRUE(status == 0 || failed > 3 || SameCells(a.get(), input.get(), n, n));
  });
  EXPECT_EQ(failed, 4);  // the interchanges, the copy's two blocks, the sums
}

// Every set gives the bits of the baseline's, and those of DotProduct.
TEST(RowKernels, SameBitsAtEveryVectorWidth) {
  const auto run = [](const tessel::RowKernels &kernels, const OwnedMatrix &a, int n) {
    double sums[4];
    for (int count = 1; count <= 4; ++count) {
      kernels.dotFour(a.get(), count, 3, a[8], n, nullptr, 0, sums);
      for (int r = 0; r < count; ++r) EXPECT_EQ(sums[r], tessel::DotProduct(a[r] + 3, a[8], n));
      kernels.dotFour(a.get(), count, 3, a[8], n, a[5], 4, a[9] + 4 * count);
    }
    kernels.addScaledAndDot(a.get(), 7, 2, a[8], a[9], a[10], n, a[11]);
    for (int r = 0; r < 7; ++r) EXPECT_EQ(a[11][r], tessel::DotProduct(a[r] + 2, a[10], n));
    kernels.addScaled(a[0], 0.3, a[1], n);
    const auto strip = reinterpret_cast<tessel::StripRow *>(a[40]);
    kernels.solveLower(a.get(), 5, n, true, strip);
    kernels.solveUpper(a.get(), 5, n, strip);
  };
  for (int n = 0; n < 40; ++n) {
    const OwnedMatrix first = RandomMatrix(48, 48, 3);
    for (const tessel::MicroKernel &set : tessel::MicroKernels()) {
      if (!set.supported()) continue;
      const OwnedMatrix a = RandomMatrix(48, 48, 3);
      tessel::ForceMicroKernel(&set);
      run(tessel::CurrentRowKernels(), a, n);
      if (&set == &tessel::MicroKernels().front()) tessel::MatCopy(first.get(), a.get(), 48, 48);
      EXPECT_TRUE(SameCells(first.get(), a.get(), 48, 48)) << set.name << " " << n;
    }
    tessel::ForceMicroKernel(nullptr);
  }
}
