// Rank-revealing least squares, by residuals in extended precision and certified regressions.
#include "linalg/qr.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "../support/failing_allocation.h"
#include "factor_support.h"

namespace {

struct Fit {
  OwnedMatrix b, inverse, moments, y;
  int code;
};

// wanted: bit 0 for the coefficients, 1 for the inverse, 2 for the moments
Fit FitOf(const OwnedMatrix &x, int k, int t, const OwnedMatrix &y, int m, int wanted = 7) {
  Fit fit{OwnedMatrix(m, k), OwnedMatrix(k, k), OwnedMatrix(k, k), OwnedMatrix::Clone(y.get(), m, t), 0};
  const OwnedMatrix work = OwnedMatrix::Clone(x.get(), k, t);
  fit.code = tessel::MatOlsQr(work.get(), k, t, fit.y.get(), m, wanted & 1 ? fit.b.get() : nullptr,
                              wanted & 2 ? fit.inverse.get() : nullptr, wanted & 4 ? fit.moments.get() : nullptr);
  return fit;
}

// The cells of a file under tests/data, without its heading, as rows of `columns`.
OwnedMatrix Data(const std::string &name, int rows, int columns) {
  std::ifstream file(std::string(TESSEL_SOURCE_DIR) + "/tests/data/" + name);
  std::string heading;
  std::getline(file, heading);
  return MatrixOf(rows, columns, [&](int, int) {
    double cell = 0;
    file >> cell;
    file.ignore();
    return cell;
  });
}

// certified: coefficients and standard errors by NIST (Statistical Reference Datasets), which tools/factor_references
// confirms in 60-digit arithmetic.
void ExpectCertified(const OwnedMatrix &x, int k, int t, const OwnedMatrix &y, double residualDeviation,
                     const OwnedMatrix &certified, double bound) {
  const Fit fit = FitOf(x, k, t, y, 1);
  ASSERT_EQ(fit.code, tessel::QrFullRank);
  double error[2] = {};
  for (int j = 0; j < k; ++j) {
    error[0] = std::max(error[0], std::fabs(fit.b[0][j] / certified[0][j] - 1));
    error[1] = std::max(error[1], std::fabs(residualDeviation * std::sqrt(fit.inverse[j][j]) / certified[1][j] - 1));
  }
  std::cout << "digits: coefficients " << -std::log10(error[0]) << ", errors " << -std::log10(error[1]) << "\n";
  EXPECT_LE(std::max(error[0], error[1]), bound);
}

}  // namespace

TEST(MatOlsQr, Longley) {
  const OwnedMatrix data = Data("longley.csv", 16, 8);
  ExpectCertified(MatrixOf(7, 16, [&](int i, int j) { return i == 0 ? 1 : data[j][i + 1]; }), 7, 16,
                  MatrixOf(1, 16, [&](int, int j) { return data[j][1]; }), 304.854073561965,
                  Matrix({{-3482258.63459582, 15.0618722713733, -0.358191792925910E-01, -2.02022980381683,
                           -1.03322686717359, -0.511041056535807E-01, 1829.15146461355},
                          {890420.383607373, 84.9149257747669, 0.334910077722432E-01, 0.488399681651699,
                           0.214274163161675, 0.226073200069370, 455.478499142212}}),
                  1e-10);
}

// A polynomial of degree 10 in 82 points. With the powers scaled by powers of 2 to one size the problem, of condition
// 5e9, is solved. The raw powers, whose norms are 1e9 apart, are declared deficient: dropped ones get zeros.
TEST(MatOlsQr, Filippelli) {
  const OwnedMatrix data = Data("filippelli.csv", 82, 2);
  const OwnedMatrix y = MatrixOf(1, 82, [&](int, int j) { return data[j][0]; });
  const OwnedMatrix x = MatrixOf(11, 82, [&](int i, int j) { return std::pow(data[j][1], i); });
  const OwnedMatrix certified = Matrix(
      {{-1467.48961422980, -2772.17959193342, -2316.37108160893, -1127.97394098372, -354.478233703349,
        -75.1242017393757, -10.8753180355343, -1.06221498588947, -0.670191154593408E-01, -0.246781078275479E-02,
        -0.402962525080404E-04},
       {298.084530995537, 559.779865474950, 466.477572127796, 227.204274477751, 71.6478660875927, 15.2897178747400,
        2.23691159816033, 0.221624321934227, 0.142363763154724E-01, 0.535617408889821E-03, 0.896632837373868E-05}});
  ExpectCertified(MatrixOf(11, 82, [&](int i, int j) { return std::ldexp(x[i][j], -3 * i); }), 11, 82, y,
                  0.334801051324544E-02,
                  MatrixOf(2, 11, [&](int i, int j) { return std::ldexp(certified[i][j], 3 * j); }), 1e-7);
  const Fit fit = FitOf(x, 11, 82, y, 1);
  EXPECT_EQ(fit.code, tessel::QrRankDeficientIll);
  int dropped = 0;
  for (int i = 0; i < 11; ++i) {
    dropped += fit.b[0][i] == 0;
    EXPECT_EQ(std::count(fit.inverse[i], fit.inverse[i] + 11, 0.0) == 11, fit.b[0][i] == 0) << i;
  }
  EXPECT_TRUE(dropped > 0 && dropped < 11) << dropped;
}

// X, its rows permuted, times the product of the reflections is L, and that product is orthogonal.
TEST(KernelQrPivot, ReproducesTheMatrix) {
  const auto check = [](const OwnedMatrix &x, int k, int t) {
    std::vector<int> pivot(static_cast<std::size_t>(k));
    const OwnedMatrix beta(1, k), f = OwnedMatrix::Clone(x.get(), k, t), q(t, t);
    ASSERT_EQ(tessel::KernelQrPivot(f.get(), k, t, pivot.data(), beta[0]), 1);
    const OwnedMatrix l = MatrixOf(k, t, [&](int i, int j) { return j <= i ? f[i][j] : 0; });
    tessel::MatIdentity(q.get(), t);
    for (int i = 0; i < std::min(k, t); ++i) {
      std::swap_ranges(x[i], x[i] + t, x[pivot[static_cast<std::size_t>(i)]]);
      EXPECT_LE(std::fabs(l[i][i]), std::fabs(l[std::max(i - 1, 0)][std::max(i - 1, 0)]) * (1 + 1e-7)) << i;
      f[i][i] = 1;
      tessel::HouseholderApplyRows(q.get(), t, t, f[i], 0, i, beta[0][i]);
    }
    EXPECT_LE(ProductResidual(x.get(), q.get(), l.get(), k, t, t), 1e-15 * (k + t) * Largest(x.get(), k, t));
    EXPECT_LE(ProductResidual(q.get(), Transposed(q, t, t).get(), nullptr, t, t, t), 1e-15 * (k + t));
  };
  check(RandomMatrix(1, 9), 1, 9);
  check(RandomMatrix(23, 40), 23, 40);
  check(RandomMatrix(7, 3), 7, 3);
  check(MatrixOf(12, 12, [](int i, int j) { return 1.0 / (i + j + 1); }), 12, 12);            // Hilbert
  check(MatrixOf(10, 30, [](int i, int j) { return std::pow((j + 1) / 30.0, i); }), 10, 30);  // Vandermonde
  // One cell only changes its sign; without pivoting the first row of zeros ends the factorisation.
  double beta[3];
  const OwnedMatrix one = Matrix({{3}}), zero = Matrix({{3, 0, 0, 4}, {0, 0, 0, 0}, {1, 5, 6, 2}});
  EXPECT_TRUE(tessel::KernelQrPivot(one.get(), 1, 1, nullptr, beta) == 1 && beta[0] == -2 && one[0][0] == -3);
  EXPECT_EQ(tessel::KernelQrPivot(zero.get(), 3, 4, nullptr, beta), 1);
  const OwnedMatrix left = Matrix({{-5, 0, 0, 0.5}, {0, 0, 0, 0}, {-2.2, 5, 0, 0.4}});
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(zero[0][i], left[0][i], 1e-14) << i;
}

// Coefficients follow by hand: y = 2 x1 + 3 x2 on orthogonal x1 and x2, and one further regressor.
TEST(MatOlsQr, RankCodes) {
  const OwnedMatrix y = Matrix({{5, -1, 2, 0}});
  const struct {
    int k, code;
    OwnedMatrix x, b;
  } cases[] = {{2, 1, Matrix({{1, 1, 1, 0}, {1, -1, 0, 0}}), Matrix({{2, 3}})},
               {3, -1, Matrix({{1, -1, 0, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}), Matrix({{3, 2, 0}})},
               {3, -1, Matrix({{1, 1, 1, 0}, {2, 2, 2, 0}, {1, -1, 0, 0}}), Matrix({{0, 1, 3}})},
               {3, -2, Matrix({{0, 0, 0, 0}, {1, 1, 1, 0}, {1, -1, 0, 0}}), Matrix({{0, 2, 3}})},
               {2, -1, Matrix({{0, 0, 0, 0}, {0, 0, 0, 0}}), Matrix({{0, 0}})},
               {2, 2, Matrix({{1e7, 1e7, 1e7, 0}, {1, -1, 0, 0}}), Matrix({{2e-7, 3}})},
               {2, -2, Matrix({{1e13, 1e13, 1e13, 0}, {1, -1, 0, 0}}), Matrix({{2e-13, 0}})},
               {3, -1, Matrix({{tessel::MissingValue(), 1, 1, 1}, {1, 1, 1, 0}, {1, -1, 0, 0}}), Matrix({{0, 2, 3}})},
               {5, 1, Matrix({{8, 0, 0, 0}, {0, 4, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}, {0, 0, 0, 0.5}}),
                Matrix({{0.625, -0.25, 1, 0, 0}})}};
  for (const auto &c : cases) {
    const Fit fit = FitOf(c.x, c.k, 4, y, 1);
    EXPECT_EQ(fit.code, c.code) << c.x[0][0];
    for (int i = 0; i < c.k; ++i) {
      EXPECT_NEAR(fit.b[0][i], c.b[0][i], 1e-14 * std::fabs(c.b[0][i])) << c.x[0][0];
      EXPECT_TRUE(fit.inverse[i][i] != 0 || c.b[0][i] == 0) << c.x[0][0];
    }
    const double size = Largest(c.x.get(), c.k, 4);
    EXPECT_LE(ProductResidual(c.x.get(), Transposed(c.x, c.k, 4).get(), fit.moments.get(), c.k, 4, c.k),
              1e-14 * size * size);
  }
  EXPECT_EQ(tessel::MatOlsQr(nullptr, 0, 4, nullptr, 0, nullptr, nullptr, nullptr), tessel::QrRankDeficient);
}

// Either side of both tolerances, on factors given directly: the second row of L, rank and code.
TEST(QrRank, ToleranceEdges) {
  const double tolerance = tessel::MatTolerance(), root = std::sqrt(tolerance);
  const double cases[][4] = {{0, tolerance, 1, -2},
                             {0, std::nextafter(tolerance, 1), 2, 2},
                             {1, tolerance, 1, -1},
                             {0, -root * (1 - 1e-9), 2, 2},
                             {0, -root * (1 + 1e-9), 2, 1}};
  for (const auto &c : cases) {
    int rank = 9;
    EXPECT_EQ(tessel::QrRank(Matrix({{1, 9}, {c[0], c[1]}}).get(), 2, 2, &rank), c[3]) << c[1];
    EXPECT_EQ(rank, c[2]) << c[1];
  }
}

// Outputs in the order of the input, whatever the pivoting; each of them the same whether or not others are wanted.
TEST(MatOlsQr, OutputsAreConsistentAndIndependent) {
  const int k = 13, t = 57, m = 6;
  const OwnedMatrix noise = RandomMatrix(k, t), y = RandomMatrix(m, t, 5);
  const OwnedMatrix x = MatrixOf(k, t, [&](int i, int j) { return noise[i][j] * (1 + i % 5); });
  const OwnedMatrix xt = Transposed(x, k, t), zero = MatrixOf(m, k, [](int, int) { return 0; });
  const Fit fit = FitOf(x, k, t, y, m);
  EXPECT_EQ(fit.code, 1);
  EXPECT_LE(ProductResidual(x.get(), xt.get(), fit.moments.get(), k, t, k), 1e-12);
  EXPECT_LE(ProductResidual(fit.moments.get(), fit.inverse.get(), nullptr, k, k, k), 1e-13);
  const OwnedMatrix residuals = MatrixOf(m, t, [&](int i, int j) {
    long double sum = y[i][j];
    for (int q = 0; q < k; ++q) sum -= static_cast<long double>(fit.b[i][q]) * x[q][j];
    return sum;
  });
  EXPECT_LE(ProductResidual(residuals.get(), xt.get(), zero.get(), m, t, k), 1e-13);
  for (int wanted = 0; wanted < 7; ++wanted) {
    const Fit part = FitOf(x, k, t, y, m, wanted);
    EXPECT_TRUE(SameCells(part.y.get(), fit.y.get(), m, t)) << wanted;
    EXPECT_TRUE(!(wanted & 1) || SameCells(part.b.get(), fit.b.get(), m, k)) << wanted;
    EXPECT_TRUE(!(wanted & 2) || SameCells(part.inverse.get(), fit.inverse.get(), k, k)) << wanted;
    EXPECT_TRUE(!(wanted & 4) || SameCells(part.moments.get(), fit.moments.get(), k, k)) << wanted;
  }
  int failed = 0;
  const OwnedMatrix work = OwnedMatrix::Clone(x.get(), k, t);
  ForEachFailingAllocation([&](bool) {
    failed += tessel::MatOlsQr(work.get(), k, t, y.get(), m, nullptr, nullptr, nullptr) == tessel::QrNoMemory;
  });
  EXPECT_EQ(failed, 4);  // the interchanges, the scales, and two blocks of the factorisation
}

// |(2, 3, 6)| = 7, and the reflection moves the first cell away from its sign.
TEST(HouseholderVector, Reflections) {
  double flat[] = {-7, 0, 0};
  EXPECT_EQ(tessel::HouseholderVector(flat, 0), 0);
  EXPECT_EQ(tessel::HouseholderVector(flat + 1, 1), -2);
  flat[1] = 0;
  EXPECT_EQ(tessel::HouseholderVector(flat, 3), -2);
  EXPECT_TRUE(flat[0] == 1 && flat[1] == 0 && flat[2] == 0);
  for (double sign : {1.0, -1.0}) {
    const OwnedMatrix row = Matrix({{9, sign * 2, 3, 6}}), v = OwnedMatrix::Clone(row.get(), 1, 4);
    tessel::HouseholderApplyRows(row.get(), 1, 4, v[0], 0, 1, tessel::HouseholderVector(v[0] + 1, 3));
    const double image[] = {9, -7 * sign, 0, 0};
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(row[0][j], image[j], 1e-14);
  }
}
