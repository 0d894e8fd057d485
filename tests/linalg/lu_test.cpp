// The general inverse, by residuals in extended precision and closed forms.
#include "linalg/lu.h"

#include <gtest/gtest.h>

#include <limits>

#include "../support/failing_allocation.h"
#include "factor_support.h"
#include "linalg/dot_product.h"
#include "linalg/row_kernels.h"

using tessel::KernelInvertGeneral;
using tessel::MatInvert;

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// Crout elimination by columns, each element one inner product.
std::vector<int> FactorPlainly(RowMatrix lu, int n) {
  std::vector<int> piv;
  std::vector<double> column(static_cast<std::size_t>(n));
  const auto reduced = [&](int i, int j, int k) {
    for (int r = 0; r < k; ++r) column[static_cast<std::size_t>(r)] = lu[r][j];
    return lu[i][j] - tessel::DotProduct(lu[i], column.data(), k);
  };
  for (int j = 0; j < n; ++j) {
    for (int i = j; i < n; ++i) lu[i][j] = reduced(i, j, j);
    int p = j;
    for (int i = j; i < n; ++i)
      if (std::fabs(lu[i][j]) > std::fabs(lu[p][j])) p = i;
    std::swap_ranges(lu[j], lu[j] + n, lu[p]);
    piv.push_back(p);
    for (int i = j + 1; i < n; ++i) lu[i][j] /= lu[j][j];
    for (int c = j + 1; c < n; ++c) lu[j][c] = reduced(j, c, j);
  }
  return piv;
}

}  // namespace

// Both products with the inverse give the identity to the precision of the inversion, below and above the block size.
TEST(MatInvert, ResidualsOfBothProducts) {
  std::vector<OwnedMatrix> matrices;
  std::vector<int> sizes;
  const auto add = [&](OwnedMatrix m, int n) {
    matrices.push_back(std::move(m));
    sizes.push_back(n);
  };
  for (int n : {1, 2, 3, 5, 8, 30, 33, 63, 64, 65, 97, 128, 130, 201}) add(RandomMatrix(n, n), n);
  for (int n : {4, 7, 9}) add(Hilbert(n), n);
  add(Vandermonde(8, 8), 8);
  // A graded matrix under a reversed identity, so that every step interchanges.
  add(MatrixOf(100, 100, [](int i, int j) { return i + j == 99 ? 1e3 : std::ldexp(1.0, -(i + j) / 8); }), 100);
  for (std::size_t c = 0; c < sizes.size(); ++c) {
    const int n = sizes[c];
    const OwnedMatrix inverse = OwnedMatrix::Clone(matrices[c].get(), n, n);
    ASSERT_EQ(MatInvert(inverse.get(), n), 0) << n;
    const double condition = Norm(matrices[c].get(), n, n) * Norm(inverse.get(), n, n);
    EXPECT_LE(ProductResidual(matrices[c].get(), inverse.get(), nullptr, n, n, n), n * kEpsilon * condition) << n;
    EXPECT_LE(ProductResidual(inverse.get(), matrices[c].get(), nullptr, n, n, n), n * kEpsilon * condition) << n;
  }
}

// The inverse of the Hilbert matrix has integer cells (Choi 1983, American Mathematical Monthly 90, 301-312).
TEST(MatInvert, InverseOfHilbertMatrix) {
  const OwnedMatrix a = Hilbert(4);
  ASSERT_EQ(MatInvert(a.get(), 4), 0);
  const OwnedMatrix exact =
      Matrix({{16, -120, 240, -140}, {-120, 1200, -2700, 1680}, {240, -2700, 6480, -4200}, {-140, 1680, -4200, 2800}});
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(a[i][j], exact[i][j], 1e-11 * std::fabs(exact[i][j]));
}

TEST(KernelInvertGeneral, StatusDeterminantAndTolerance) {
  const double tolerance = tessel::MatTolerance();
  const struct {
    const char *what;
    OwnedMatrix a;
    int n, status;
    double logDet;
    int sign;
  } cases[] = {
      {"interchange", Matrix({{0, 1}, {1, 0}}), 2, 0, 0, -1},
      {"negative", Matrix({{2, 0}, {0, -3}}), 2, 0, std::log(6), -1},
      {"two negatives, two interchanges", Matrix({{0, 0, 5}, {-1, 0, 0}, {0, -2, 0}}), 3, 0, std::log(10), 1},
      {"equal rows", Matrix({{1, 2, 3}, {4, 5, 6}, {1, 2, 3}}), 3, 1, 1, 0},
      {"zero", Matrix({{0, 0}, {0, 0}}), 2, 1, 1, 0},
      {"pivot at the tolerance", Matrix({{1, 0}, {0, tolerance}}), 2, 1, 1, 0},
      {"pivot just above", Matrix({{1, 0}, {0, std::nextafter(tolerance, 1)}}), 2, 0, std::log(tolerance), 1},
      {"pivot 1e-12", Matrix({{1e3, 0}, {0, -1e-12}}), 2, 0, std::log(1e-9), -2},
      {"pivot 1e-13, small matrix", Matrix({{1e-12, 0}, {0, 1e-13}}), 2, 1, 1, 0},
      {"pivot 1e-13, large matrix", Matrix({{1e12, 0}, {0, 1e-13}}), 2, 1, 1, 0},
      {"smallest at the scaled tolerance", Matrix({{1, 3}, {0, 4 * tolerance}}), 2, 0, std::log(4 * tolerance), 2},
  };
  for (const auto &c : cases) {
    double logDet = 77;
    int sign = 77;
    EXPECT_EQ(KernelInvertGeneral(c.a.get(), c.n, &logDet, &sign), c.status) << c.what;
    EXPECT_NEAR(logDet, c.logDet, 1e-14 * std::fabs(c.logDet)) << c.what;
    EXPECT_EQ(sign, c.sign) << c.what;
  }
  EXPECT_EQ(MatInvert(nullptr, 3), 1);
  EXPECT_EQ(MatInvert(cases[0].a.get(), 0), 1);
  double logDet = 77;
  const int piv[] = {0, 1};
  EXPECT_EQ(tessel::LuLogDet(Matrix({{1, 2}, {3, 0}}).get(), 2, piv, 0, &logDet), 0);
  EXPECT_EQ(logDet, 1);
  EXPECT_EQ(tessel::LuLogDet(nullptr, 0, piv, 0, &logDet), 1);
  EXPECT_EQ(logDet, 0);
}

// Panels change the order of the work but not of any sum; a mirror changes nothing either.
TEST(LuFactor, SameBitsAsOneInnerProductPerElement) {
  for (int n : {1, 4, 31, 32, 33, 70, 131}) {
    const OwnedMatrix a = RandomMatrix(n, n), plain = RandomMatrix(n, n), bare = RandomMatrix(n, n), mirror(n, n);
    std::vector<int> piv(static_cast<std::size_t>(n)), pivBare = piv;
    EXPECT_EQ(tessel::LuFactor(a.get(), n, piv.data(), nullptr, nullptr, mirror.get()), 0);
    EXPECT_EQ(tessel::LuFactor(bare.get(), n, pivBare.data(), nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(FactorPlainly(plain.get(), n), piv);
    EXPECT_EQ(pivBare, piv);
    EXPECT_TRUE(SameCells(a.get(), plain.get(), n, n)) << n;
    EXPECT_TRUE(SameCells(a.get(), bare.get(), n, n)) << n;
  }
}

// Step 40 finds its column dependent on the ones before.
TEST(LuFactor, SingularInALaterPanel) {
  const int n = 50;
  const OwnedMatrix a = RandomMatrix(n, n);
  for (int i = 0; i < n; ++i) a[i][40] = a[i][3];
  std::vector<int> piv(n);
  EXPECT_EQ(tessel::LuFactor(a.get(), n, piv.data(), nullptr, nullptr, nullptr), 41);
  for (int i = 40; i < n; ++i) {
    EXPECT_EQ(piv[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(a[i][i], 0);
  }
}

TEST(TriangularSolve, Residuals) {
  for (int n : {1, 2, 4, 5, 64, 65, 150}) {
    for (int m : {1, 7, 8, 17, n}) {
      // Well conditioned triangles; the unused one holds values that would show.
      const OwnedMatrix l = MatrixOf(n, n, [](int i, int j) {
        return i == j ? 2.0 : i > j ? std::sin(i + 3 * j) / 9 : 1e9;
      });
      const OwnedMatrix u = MatrixOf(n, n, [](int i, int j) {
        return i == j ? 3.0 : i < j ? std::cos(i - 2 * j) / 9 : 1e9;
      });
      const OwnedMatrix lower = MatrixOf(n, n, [&](int i, int j) { return i >= j ? l[i][j] : 0; });
      const OwnedMatrix unit = MatrixOf(n, n, [&](int i, int j) { return i == j ? 1 : lower[i][j]; });
      const OwnedMatrix upper = MatrixOf(n, n, [&](int i, int j) { return i <= j ? u[i][j] : 0; });
      const OwnedMatrix b = RandomMatrix(n, m);
      const OwnedMatrix x = OwnedMatrix::Clone(b.get(), n, m), y = OwnedMatrix::Clone(b.get(), n, m);
      tessel::TriangularSolve(l.get(), nullptr, x.get(), n, m, true, false);
      EXPECT_LE(ProductResidual(lower.get(), x.get(), b.get(), n, n, m), 1e-13 * m) << n << " " << m;
      tessel::MatCopy(x.get(), b.get(), n, m);
      tessel::TriangularSolve(l.get(), nullptr, x.get(), n, m, false, false);
      EXPECT_LE(ProductResidual(unit.get(), x.get(), b.get(), n, n, m), 1e-13 * m * Norm(x.get(), n, m))
          << n << " " << m;
      tessel::TriangularSolve(nullptr, u.get(), x.get(), n, m, false, false);
      tessel::TriangularSolve(l.get(), u.get(), y.get(), n, m, false, false);
      EXPECT_TRUE(SameCells(x.get(), y.get(), n, m)) << n << " " << m;
      if (m != n) continue;
      tessel::MatIdentity(x.get(), n);
      tessel::TriangularSolve(l.get(), nullptr, x.get(), n, n, true, true);
      EXPECT_LE(ProductResidual(lower.get(), x.get(), nullptr, n, n, n), 1e-13 * n) << n;
      for (int i = 0; i < n; ++i) EXPECT_EQ(std::count(x[i] + i + 1, x[i] + n, 0.0), n - 1 - i);
    }
  }
  // A diagonal cell of 0 gives 0, in either triangle.
  const OwnedMatrix zero = Matrix({{2, 0, 0}, {1, 0, 0}, {1, 5, 4}}), b = Matrix({{2}, {9}, {9}});
  tessel::TriangularSolve(zero.get(), nullptr, b.get(), 3, 1, true, false);
  EXPECT_TRUE(SameCells(b.get(), Matrix({{1}, {0}, {2}}).get(), 3, 1));
  const OwnedMatrix c = Matrix({{4}, {9}, {4}});
  tessel::TriangularSolve(nullptr, zero.get(), c.get(), 3, 1, false, false);
  EXPECT_TRUE(SameCells(c.get(), Matrix({{2}, {0}, {1}}).get(), 3, 1));
}

// Without memory for its copy or its sums the inverse fails; without memory for block products it does not.
TEST(MatInvert, ExhaustedMemory) {
  const int n = 130;
  const OwnedMatrix input = RandomMatrix(n, n), a(n, n);
  int failed = 0;
  ForEachFailingAllocation([&](bool) {
    tessel::MatCopy(a.get(), input.get(), n, n);
    if (MatInvert(a.get(), n) != 0) {
      ++failed;
    } else {
      EXPECT_LE(ProductResidual(input.get(), a.get(), nullptr, n, n, n), 1e-10);
    }
  });
  EXPECT_EQ(failed, 4);  // the interchanges, the copy's two blocks, the sums
  tessel::HeapFailAt(1);
  tessel::MatCopy(a.get(), input.get(), n, n);
  EXPECT_EQ(MatInvert(a.get(), n), 1);
  EXPECT_TRUE(SameCells(a.get(), input.get(), n, n));
}

// The table for the machine gives the bits of the baseline's, and those of DotProduct.
TEST(RowKernels, SameBitsAtEveryVectorWidth) {
  const tessel::RowKernels &wide = tessel::MachineRowKernels(), &plain = tessel::BaselineRowKernels();
  for (int n = 0; n < 40; ++n) {
    const OwnedMatrix rows = RandomMatrix(9, 48, 7), copy = OwnedMatrix::Clone(rows.get(), 9, 48);
    for (int count = 1; count <= 4; ++count) {
      double sums[2][4];
      wide.dotFour(rows.get(), count, 3, rows[8], n, nullptr, 0, sums[0]);
      for (int r = 0; r < count; ++r) EXPECT_EQ(sums[0][r], tessel::DotProduct(rows[r] + 3, rows[8], n));
      wide.dotFour(rows.get(), count, 3, rows[8], n, rows[5], 4, sums[0]);
      plain.dotFour(rows.get(), count, 3, rows[8], n, rows[5], 4, sums[1]);
      EXPECT_TRUE(std::equal(sums[0], sums[0] + count, sums[1]));
    }
    double sums[2][6];
    wide.addScaledAndDot(rows.get(), 6, 2, rows[8], rows[6], rows[7], n, sums[0]);
    plain.addScaledAndDot(copy.get(), 6, 2, copy[8], copy[6], copy[7], n, sums[1]);
    EXPECT_TRUE(std::equal(sums[0], sums[0] + 6, sums[1]));
    for (int r = 0; r < 6; ++r) EXPECT_EQ(sums[0][r], tessel::DotProduct(rows[r] + 2, rows[7], n));
    wide.addScaled(rows[0], 0.3, rows[1], n);
    plain.addScaled(copy[0], 0.3, copy[1], n);
    EXPECT_TRUE(SameCells(rows.get(), copy.get(), 9, 48)) << n;

    const OwnedMatrix triangle = RandomMatrix(48, 48, 3);
    tessel::StripRow x[2][48];
    for (auto &strip : x) std::copy_n(triangle[0], 48 * 8, strip[0]);
    for (int side = 0; side < 2; ++side) {
      const tessel::RowKernels &kernels = side == 0 ? wide : plain;
      kernels.solveLower(triangle.get(), 5, n, true, x[side]);
      kernels.solveUpper(triangle.get(), 5, n, x[side]);
    }
    EXPECT_TRUE(std::equal(x[0][0], x[0][0] + n * 8, x[1][0])) << n;
  }
}
