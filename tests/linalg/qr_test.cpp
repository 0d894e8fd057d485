// Rank-revealing least squares, by residuals in extended precision and a certified regression.
#include "linalg/qr.h"

#include <fstream>

#include "../support/failing_allocation.h"
#include "core/missing.h"
#include "linalg/householder.h"
#include "matrices.h"

namespace tessel {
namespace {

struct Fit {
  TestMatrix b, inverse, moments, y;
  QrResult result;
};

// wanted: bit 0 for the coefficients, 1 for the inverse, 2 for the moments
Fit FitOf(const TestMatrix &x, const TestMatrix &y, int wanted = 7) {
  const int k = x.rows, m = y.rows;
  Fit fit{TestMatrix(m, k), TestMatrix(k, k), TestMatrix(k, k), y, {}};
  const Matrix none;
  fit.result = MatOlsQr(TestMatrix(x), fit.y,
                        {.b = wanted & 1 ? fit.b.View() : none,
                         .xtxInv = wanted & 2 ? fit.inverse.View() : none,
                         .xtx = wanted & 4 ? fit.moments.View() : none});
  return fit;
}

// A polynomial of degree 10 in 82 points. With the powers scaled by powers of 2 to one size the problem, of condition
// 5e9, is solved. The raw powers, whose norms are 1e9 apart, are declared deficient: dropped ones get zeros.
// Coefficients and standard errors by NIST (Statistical Reference Datasets), which tools/factor_references confirms in
// 60-digit arithmetic.
TEST(MatOlsQr, Filippelli) {
  std::ifstream file(TESSEL_SOURCE_DIR "/tests/data/filippelli.csv");
  file.ignore(99, '\n');  // the heading
  const TestMatrix data(82, 2, [&, cell = 0.0](int, int) mutable {
    file >> cell;
    file.ignore();
    return cell;
  });
  const TestMatrix y(1, 82, [&](int, int j) { return data[j][0]; });
  const TestMatrix x(11, 82, [&](int i, int j) { return std::pow(data[j][1], i); });
  const double certified[][11] = {
      {-1467.48961422980, -2772.17959193342, -2316.37108160893, -1127.97394098372, -354.478233703349, -75.1242017393757,
       -10.8753180355343, -1.06221498588947, -0.670191154593408E-01, -0.246781078275479E-02, -0.402962525080404E-04},
      {298.084530995537, 559.779865474950, 466.477572127796, 227.204274477751, 71.6478660875927, 15.2897178747400,
       2.23691159816033, 0.221624321934227, 0.142363763154724E-01, 0.535617408889821E-03, 0.896632837373868E-05}};
  const Fit scaled = FitOf({11, 82, [&](int i, int j) { return std::ldexp(x[i][j], -3 * i); }}, y), raw = FitOf(x, y);
  EXPECT_EQ(scaled.result.code, QrFullRank);
  EXPECT_EQ(raw.result.code, QrRankDeficientIll);
  EXPECT_TRUE(std::count(raw.b[0], raw.b[0] + 11, 0.0) % 11 > 0);
  for (int j = 0; j < 11; ++j) {
    const double error = 0.334801051324544E-02 * std::sqrt(scaled.inverse[j][j]);
    EXPECT_NEAR(std::ldexp(scaled.b[0][j], -3 * j) / certified[0][j], 1, 1e-7);
    EXPECT_NEAR(std::ldexp(error, -3 * j) / certified[1][j], 1, 1e-7);
    EXPECT_EQ(std::count(raw.inverse[j], raw.inverse[j] + 11, 0.0) == 11, raw.b[0][j] == 0);
  }
}

// A tail of zeros makes the reflection change the sign; |(2, 3, 6)| = 7, and the image goes away from the first cell's
// sign; without pivoting the first row of zeros ends the factorisation.
TEST(KernelQrPivot, ReflectionsAndSmallFactors) {
  double beta[3] = {-7, 0, 0};
  EXPECT_EQ(HouseholderVector({}), 0);
  EXPECT_EQ(HouseholderVector(beta), -2);
  EXPECT_EQ(beta[0], 1);
  for (double sign : {1.0, -1.0}) {
    const TestMatrix row = {{9, sign * 2, 3, 6}}, v = row;
    HouseholderApplyRows(row.View().Columns(1, 3), v[0] + 1, HouseholderVector({v[0] + 1, 3}));
    ExpectNear(row, {{9, -7 * sign, 0, 0}}, 1e-14, "image");
  }
  const TestMatrix zeroFirst = {{0, 3, 4}}, vector = zeroFirst;  // a 0 counts as positive
  const double scale = HouseholderVector({vector[0], 3});
  HouseholderApplyRows(zeroFirst, vector[0], scale);
  ExpectNear(zeroFirst, {{-5, 0, 0}}, 1e-14, "image");
  const TestMatrix one = {{3}}, zero = {{3, 0, 0, 4}, {0, 0, 0, 0}, {1, 5, 6, 2}};
  EXPECT_EQ(KernelQrPivot(one, {}, beta), Status::Ok);
  EXPECT_EQ(beta[0], -2);
  EXPECT_EQ(one[0][0], -3);
  EXPECT_EQ(KernelQrPivot(zero, {}, beta), Status::Ok);
  ExpectNear(zero, {{-5, 0, 0, 0.5}, {0, 0, 0, 0}, {-2.2, 5, 0, 0.4}}, 1e-14, "zero row");
}

// Coefficients follow by hand: y = 2 x1 + 3 x2 on orthogonal x1 and x2, and one further regressor.
TEST(MatOlsQr, RankCodes) {
  const struct {
    int code;
    TestMatrix x, b;
  } cases[] = {
      {1, {{1, 1, 1, 0}, {1, -1, 0, 0}}, {{2, 3}}},
      {-1, {{1, -1, 0, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}, {{3, 2, 0}}},
      {-1, {{1, 1, 1, 0}, {2, 2, 2, 0}, {1, -1, 0, 0}}, {{0, 1, 3}}},
      {-2, {{0, 0, 0, 0}, {1, 1, 1, 0}, {1, -1, 0, 0}}, {{0, 2, 3}}},
      {-1, {{0, 0, 0, 0}, {0, 0, 0, 0}}, {{0, 0}}},
      {2, {{1e7, 1e7, 1e7, 0}, {1, -1, 0, 0}}, {{2e-7, 3}}},
      {-2, {{1e13, 1e13, 1e13, 0}, {1, -1, 0, 0}}, {{2e-13, 0}}},
      {-1, {{MissingValue(), 1, 1, 1}, {1, 1, 1, 0}, {1, -1, 0, 0}}, {{0, 2, 3}}},
      {1, {{8, 0, 0, 0}, {0, 4, 0, 0}, {0, 0, 2, 0}, {0, 0, 0, 1}, {0, 0, 0, 0.5}}, {{0.625, -0.25, 1, 0, 0}}}};
  for (const auto &[code, x, b] : cases) {
    const Fit fit = FitOf(x, {{5, -1, 2, 0}});
    EXPECT_EQ(fit.result.code, code) << x[0][0];
    for (int i = 0; i < x.rows; ++i) {
      EXPECT_NEAR(fit.b[0][i], b[0][i], 1e-14 * std::fabs(b[0][i])) << x[0][0];
      EXPECT_TRUE(fit.inverse[i][i] != 0 || b[0][i] == 0) << x[0][0];
    }
    EXPECT_TRUE(IsMissing(x[0][0]) || Residual(x, T(x), fit.moments) <= 1e-14 * Largest(x) * Largest(x)) << x[0][0];
  }
  EXPECT_EQ(MatOlsQr({nullptr, 0, 4}, {}, {}).code, QrRankDeficient);
}

// The rows after the first have 1 in its place and d beside it, so that the update of their norms subtracts 1 from
// 1 + d d, whose digits end at 2^-52. What comes out below 100 * 2^-52 is formed anew and tells the two apart; what is
// 100 * 2^-52 is not, and of the equal norms the earlier row comes first.
TEST(KernelQrPivot, NormsLostToCancellationAreFormedAnew) {
  const struct {
    double first, second;  // d d in units of 2^-52
    int chosen;
  } cases[] = {{98.6, 99.4, 2}, {99.4, 98.6, 1}, {99.6, 100.4, 1}, {1e-9, 1e-7, 2}};
  for (const auto &[first, second, chosen] : cases) {
    const double d1 = std::sqrt(std::ldexp(first, -52)), d2 = std::sqrt(std::ldexp(second, -52));
    const TestMatrix x = {{2, 0, 0}, {1, d1, 0}, {1, 0, d2}};
    int pivot[3];
    double beta[3];
    EXPECT_EQ(KernelQrPivot(x, pivot, beta), Status::Ok);
    EXPECT_EQ(pivot[0], 0);
    EXPECT_EQ(pivot[1], chosen) << first;
    EXPECT_NEAR(std::fabs(x[1][1]) / (chosen == 2 ? d2 : d1), 1, 1e-12);
  }
}

// Rows too small for the rank are exchanged all the same, and the moments are those of the rows as they came.
TEST(MatOlsQr, MomentsBeyondTheRank) {
  const TestMatrix x = {{1, 0, 0, 0}, {0, 1e-15, 0, 0}, {0, 0, 1e-14, 0}};
  const Fit fit = FitOf(x, {{1, 1, 1, 1}});
  EXPECT_EQ(fit.result.rank, 1);
  EXPECT_EQ(fit.result.code, QrRankDeficientIll);
  ExpectNear(fit.moments, Mul(x, T(x)), 1e-40, "X X'");
}

// Either side of both tolerances, on factors given directly: the second row of L, rank and code.
TEST(QrRank, ToleranceEdges) {
  const double tolerance = MatTolerance(), root = std::sqrt(tolerance);
  const double cases[][4] = {{0, tolerance, 1, -2},
                             {0, std::nextafter(tolerance, 1), 2, 2},
                             {1, tolerance, 1, -1},
                             {std::ldexp(5, -25), std::ldexp(15, -25), 2, 2},  // squared norm 250 / 2^50, the tolerance
                             {0, -root * (1 - 1e-9), 2, 2},
                             {0, -root * (1 + 1e-9), 2, 1}};
  for (const auto &c : cases) {
    const QrRankResult found = QrRank(TestMatrix{{1, 9}, {c[0], c[1]}});
    EXPECT_EQ(found.code, c[3]) << c[1];
    EXPECT_EQ(found.rank, c[2]) << c[1];
  }
}

// Outputs in the order of the input, whatever the pivoting; each of them the same whether or not others are wanted, and
// at every vector width.
TEST(MatOlsQr, OutputsAreConsistentAndIndependent) {
  const TestMatrix noise = Random(13, 57), y = Random(6, 57, 5);
  const TestMatrix x(13, 57, [&](int i, int j) { return noise[i][j] * (1 + i % 5); });
  WithEachMicroKernel([&](const char *name) {
    const Fit fit = FitOf(x, y);
    EXPECT_EQ(fit.result.code, 1);
    EXPECT_LE(Residual(x, T(x), fit.moments), 1e-11) << name;
    EXPECT_LE(Residual(fit.moments, fit.inverse, Identity(13)), 1e-13);
    EXPECT_LE(Largest(Mul(Mul(fit.b, x, &y), T(x))), 1e-12);  // residuals are orthogonal to the regressors
    std::vector<double> cells;
    for (int wanted = 0; wanted <= 7; ++wanted) {
      const Fit part = FitOf(x, y, wanted);
      EXPECT_EQ(part.y.cells, fit.y.cells) << wanted;
      EXPECT_TRUE(!(wanted & 1) || part.b.cells == fit.b.cells) << wanted;
      EXPECT_TRUE(!(wanted & 2) || part.inverse.cells == fit.inverse.cells) << wanted;
      EXPECT_TRUE(!(wanted & 4) || part.moments.cells == fit.moments.cells) << wanted;
      for (const TestMatrix *m : {&part.y, &part.b, &part.inverse, &part.moments})
        cells.insert(cells.end(), m->cells.begin(), m->cells.end());
    }
    return cells;
  });
  int failed = 0;
  ForEachFailingAllocation([&](bool) { failed += FitOf(x, y).result.status == Status::NoMemory; });
  EXPECT_EQ(failed, 4);  // the interchanges, the scales, and two blocks of the factorisation
}

}  // namespace
}  // namespace tessel
