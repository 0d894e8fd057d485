// Rank-revealing least squares, by residuals in extended precision and certified regressions.
#include "linalg/qr.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "../support/failing_allocation.h"
#include "factor_support.h"

using tessel::KernelQrPivot;
using tessel::MatOlsQr;

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

struct Fit {
  int code;
  OwnedMatrix b, inverse, moments, y;
};

Fit FitOf(const OwnedMatrix &x, int k, int t, const OwnedMatrix &y, int m) {
  Fit fit{0, OwnedMatrix(m, k), OwnedMatrix(k, k), OwnedMatrix(k, k), OwnedMatrix::Clone(y.get(), m, t)};
  const OwnedMatrix work = OwnedMatrix::Clone(x.get(), k, t);
  fit.code = MatOlsQr(work.get(), k, t, fit.y.get(), m, fit.b.get(), fit.inverse.get(), fit.moments.get());
  return fit;
}

// X - P L Q, each row of L taken back through the reflections, relative to the rows of X.
double FactorResidual(RowMatrix x, RowMatrix factored, int k, int t, const int *pivot, const double *beta) {
  std::vector<int> order(static_cast<std::size_t>(k));
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
  for (std::size_t i = 0; i < order.size() && pivot != nullptr; ++i)
    std::swap(order[i], order[static_cast<std::size_t>(pivot[i])]);
  double worst = 0;
  for (int r = 0; r < k; ++r) {
    std::vector<long double> row(static_cast<std::size_t>(t));
    std::copy_n(factored[r], std::min(r + 1, t), row.begin());
    for (int i = std::min({k, t, r + 1}) - 1; i >= 0; --i) {
      const auto v = [&](int j) -> long double { return j == i ? 1 : factored[i][j]; };
      long double s = 0;
      for (int j = i; j < t; ++j) s += v(j) * row[static_cast<std::size_t>(j)];
      for (int j = i; j < t; ++j) row[static_cast<std::size_t>(j)] += beta[i] * s * v(j);
    }
    double norm = 0, error = 0;
    for (int j = 0; j < t; ++j) {
      const double cell = x[order[static_cast<std::size_t>(r)]][j];
      norm = std::hypot(norm, cell);
      error = std::hypot(error, static_cast<double>(row[static_cast<std::size_t>(j)] - cell));
    }
    worst = std::max(worst, error / norm);
  }
  return worst;
}

// The columns of a file under tests/data as rows.
std::vector<std::vector<double>> Columns(const std::string &name) {
  std::ifstream file(std::string(TESSEL_SOURCE_DIR) + "/tests/data/" + name);
  std::vector<std::vector<double>> columns;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::stringstream cells(line);
    std::string cell;
    for (std::size_t j = 0; std::getline(cells, cell, ','); ++j) {
      if (columns.size() <= j) columns.emplace_back();
      columns[j].push_back(std::stod(cell));
    }
  }
  return columns;
}

double Digits(double value, double certified) {
  const double error = std::fabs(value - certified) / std::fabs(certified);
  return error == 0 ? 15 : std::min(15.0, -std::log10(error));
}

// The lowest number of digits in which the coefficients and their standard errors agree with NIST's certified values
// (Statistical Reference Datasets), which tools/factor_references confirms in 60-digit arithmetic.
void ExpectCertified(const OwnedMatrix &x, int k, int t, const OwnedMatrix &y, double residualDeviation,
                     const std::vector<double> &coefficients, const std::vector<double> &errors, double digits) {
  const Fit fit = FitOf(x, k, t, y, 1);
  ASSERT_EQ(fit.code, tessel::QrFullRank);
  double coefficientDigits = 15, errorDigits = 15;
  for (int j = 0; j < k; ++j) {
    const auto at = static_cast<std::size_t>(j);
    coefficientDigits = std::min(coefficientDigits, Digits(fit.b[0][j], coefficients[at]));
    errorDigits = std::min(errorDigits, Digits(residualDeviation * std::sqrt(fit.inverse[j][j]), errors[at]));
  }
  std::cout << "coefficients: " << coefficientDigits << " digits, standard errors: " << errorDigits << " digits\n";
  EXPECT_GE(coefficientDigits, digits);
  EXPECT_GE(errorDigits, digits);
}

}  // namespace

TEST(MatOlsQr, Longley) {
  const auto columns = Columns("longley.csv");
  const OwnedMatrix x = MatrixOf(7, 16, [&](int i, int j) {
    return i == 0 ? 1 : columns[static_cast<std::size_t>(i) + 1][static_cast<std::size_t>(j)];
  });
  const OwnedMatrix y = MatrixOf(1, 16, [&](int, int j) { return columns[1][static_cast<std::size_t>(j)]; });
  ExpectCertified(x, 7, 16, y, 304.854073561965,
                  {-3482258.63459582, 15.0618722713733, -0.358191792925910E-01, -2.02022980381683, -1.03322686717359,
                   -0.511041056535807E-01, 1829.15146461355},
                  {890420.383607373, 84.9149257747669, 0.334910077722432E-01, 0.488399681651699, 0.214274163161675,
                   0.226073200069370, 455.478499142212},
                  9);
}

// A polynomial of degree 10 in 82 points. With the powers scaled by powers of 2 to one size the problem, of condition
// 5e9, is solved; the raw powers, whose norms are 1e9 apart, are declared deficient, and what is kept is still a least
// squares fit.
TEST(MatOlsQr, Filippelli) {
  const auto columns = Columns("filippelli.csv");
  const int k = 11, t = 82;
  const auto power = [&](int i, int j) { return std::pow(columns[1][static_cast<std::size_t>(j)], i); };
  const OwnedMatrix y = MatrixOf(1, t, [&](int, int j) { return columns[0][static_cast<std::size_t>(j)]; });
  std::vector<double> coefficients = {-1467.48961422980,      -2772.17959193342,     -2316.37108160893,
                                      -1127.97394098372,      -354.478233703349,     -75.1242017393757,
                                      -10.8753180355343,      -1.06221498588947,     -0.670191154593408E-01,
                                      -0.246781078275479E-02, -0.402962525080404E-04};
  std::vector<double> errors = {298.084530995537,      559.779865474950,      466.477572127796,     227.204274477751,
                                71.6478660875927,      15.2897178747400,      2.23691159816033,     0.221624321934227,
                                0.142363763154724E-01, 0.535617408889821E-03, 0.896632837373868E-05};
  for (std::size_t i = 0; i < 11; ++i) {
    coefficients[i] = std::ldexp(coefficients[i], static_cast<int>(3 * i));
    errors[i] = std::ldexp(errors[i], static_cast<int>(3 * i));
  }
  ExpectCertified(MatrixOf(k, t, [&](int i, int j) { return std::ldexp(power(i, j), -3 * i); }), k, t, y,
                  0.334801051324544E-02, coefficients, errors, 6);

  const OwnedMatrix x = MatrixOf(k, t, power);
  const Fit fit = FitOf(x, k, t, y, 1);
  EXPECT_EQ(fit.code, tessel::QrRankDeficientIll);
  int dropped = 0;
  for (int i = 0; i < k; ++i) {
    long double product = 0, size = 0;
    for (int j = 0; j < t; ++j) {
      long double residual = y[0][j];
      for (int q = 0; q < k; ++q) residual -= static_cast<long double>(fit.b[0][q]) * x[q][j];
      product += residual * x[i][j];
      size += std::fabs(y[0][j] * x[i][j]);
    }
    if (fit.b[0][i] != 0) {
      EXPECT_LE(std::fabs(product), 1e-10L * size) << i;
      continue;
    }
    ++dropped;
    EXPECT_EQ(std::count(fit.inverse[i], fit.inverse[i] + k, 0.0), k);
  }
  EXPECT_GT(dropped, 0);
}

TEST(KernelQrPivot, ReproducesTheMatrix) {
  const struct {
    OwnedMatrix x;
    int k, t;
  } cases[] = {{RandomMatrix(1, 1), 1, 1},     {RandomMatrix(1, 9), 1, 9},   {RandomMatrix(5, 5), 5, 5},
               {RandomMatrix(23, 40), 23, 40}, {RandomMatrix(7, 3), 7, 3},   {RandomMatrix(20, 1), 20, 1},
               {Hilbert(12), 12, 12},          {Vandermonde(10, 30), 10, 30}};
  for (const auto &c : cases) {
    std::vector<int> pivot(static_cast<std::size_t>(c.k));
    std::vector<double> beta(pivot.size());
    for (int *order : {pivot.data(), static_cast<int *>(nullptr)}) {
      const OwnedMatrix factored = OwnedMatrix::Clone(c.x.get(), c.k, c.t);
      ASSERT_EQ(KernelQrPivot(factored.get(), c.k, c.t, order, beta.data()), 1);
      EXPECT_LE(FactorResidual(c.x.get(), factored.get(), c.k, c.t, order, beta.data()), 8 * c.k * kEpsilon) << c.k;
      for (int i = 1; i < std::min(c.k, c.t) && order != nullptr; ++i)
        EXPECT_LE(std::fabs(factored[i][i]), std::fabs(factored[i - 1][i - 1]) * (1 + 1e-7)) << c.k << " " << i;
    }
  }
  // One cell only changes its sign; without pivoting the first row of zeros ends the factorisation.
  double beta[3];
  const OwnedMatrix one = Matrix({{3}}), zero = Matrix({{0, 0, 0}, {1, 2, 2}, {0, 1, 0}});
  EXPECT_EQ(KernelQrPivot(one.get(), 1, 1, nullptr, beta), 1);
  EXPECT_EQ(beta[0], -2);
  EXPECT_EQ(one[0][0], -3);
  EXPECT_EQ(KernelQrPivot(zero.get(), 3, 3, nullptr, beta), 1);
  EXPECT_TRUE(SameCells(zero.get(), Matrix({{0, 0, 0}, {1, 0, 2}, {0, 1, 0}}).get(), 3, 3));
}

// Coefficients follow by hand: y = 2 x1 + 3 x2 on orthogonal x1 and x2, and one further regressor.
TEST(MatOlsQr, RankCodes) {
  const double missing = tessel::MissingValue();
  const OwnedMatrix y = Matrix({{5, -1, 2, 0}});
  const struct {
    const char *what;
    OwnedMatrix x;
    int k, code;
    std::vector<double> b;
  } cases[] = {
      {"full rank", Matrix({{1, 1, 1, 0}, {1, -1, 0, 0}}), 2, 1, {2, 3}},
      {"the later of two equal rows is dropped", Matrix({{1, -1, 0, 0}, {1, 1, 1, 0}, {1, 1, 1, 0}}), 3, -1, {3, 2, 0}},
      {"the smaller multiple is dropped", Matrix({{1, 1, 1, 0}, {2, 2, 2, 0}, {1, -1, 0, 0}}), 3, -1, {0, 1, 3}},
      {"row of zeros", Matrix({{0, 0, 0, 0}, {1, 1, 1, 0}, {1, -1, 0, 0}}), 3, -2, {0, 2, 3}},
      {"zero matrix", Matrix({{0, 0, 0, 0}, {0, 0, 0, 0}}), 2, -1, {0, 0}},
      {"far apart in size", Matrix({{1e7, 1e7, 1e7, 0}, {1, -1, 0, 0}}), 2, 2, {2e-7, 3}},
      {"too far apart", Matrix({{1e13, 1e13, 1e13, 0}, {1, -1, 0, 0}}), 2, -2, {2e-13, 0}},
      {"missing value", Matrix({{missing, 1, 1, 1}, {1, 1, 1, 0}, {1, -1, 0, 0}}), 3, -1, {0, 2, 3}},
      {"five rows, four columns",
       Matrix({{1, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 8}, {0, 0, 0, 1}}),
       5,
       1,
       {5, -0.5, 0.5, 0, 0}},
  };
  for (const auto &c : cases) {
    const Fit fit = FitOf(c.x, c.k, 4, y, 1);
    EXPECT_EQ(fit.code, c.code) << c.what;
    for (int i = 0; i < c.k; ++i) {
      EXPECT_NEAR(fit.b[0][i], c.b[static_cast<std::size_t>(i)], 1e-14 * std::fabs(c.b[static_cast<std::size_t>(i)]))
          << c.what;
      const bool keeps = c.b[static_cast<std::size_t>(i)] != 0 || (c.k == 5 && i == 3);
      EXPECT_EQ(fit.inverse[i][i] != 0, keeps) << c.what << " " << i;
      for (int j = 0; j < c.k; ++j) {
        double moment = 0;
        for (int s = 0; s < 4; ++s) moment += c.x[i][s] * c.x[j][s];
        if (tessel::IsMissing(moment)) continue;
        EXPECT_NEAR(fit.moments[i][j], moment, 1e-13 * std::fabs(moment) + 1e-15) << c.what;
      }
    }
  }
  EXPECT_EQ(MatOlsQr(nullptr, 0, 4, nullptr, 0, nullptr, nullptr, nullptr), tessel::QrRankDeficient);
}

// Either side of both tolerances, on factors given directly.
TEST(QrRank, ToleranceEdges) {
  const double tolerance = tessel::MatTolerance(), root = std::sqrt(tolerance);
  const struct {
    double left, diagonal;
    int rank, code;
  } cases[] = {{0, tolerance, 1, -2},
               {0, std::nextafter(tolerance, 1), 2, 2},
               {1, tolerance, 1, -1},
               {0, -root * (1 - 1e-9), 2, 2},
               {0, -root * (1 + 1e-9), 2, 1}};
  for (const auto &c : cases) {
    int rank = 9;
    EXPECT_EQ(tessel::QrRank(Matrix({{1, 9}, {c.left, c.diagonal}}).get(), 2, 2, &rank), c.code) << c.diagonal;
    EXPECT_EQ(rank, c.rank) << c.diagonal;
  }
}

// Outputs in the order of the input, whatever the pivoting; each of them the same whether or not others are wanted.
TEST(MatOlsQr, OutputsAreConsistentAndIndependent) {
  const int k = 13, t = 57, m = 6;
  const OwnedMatrix x =
      MatrixOf(k, t, [&, noise = RandomMatrix(k, t)](int i, int j) { return noise[i][j] * (1 + i % 5); });
  const OwnedMatrix y = RandomMatrix(m, t, 5);
  const Fit fit = FitOf(x, k, t, y, m);
  ASSERT_EQ(fit.code, 1);
  const OwnedMatrix xt = MatrixOf(t, k, [&](int i, int j) { return x[j][i]; });
  const OwnedMatrix yxt = MatrixOf(m, k, [&](int i, int j) {
    long double sum = 0;
    for (int s = 0; s < t; ++s) sum += static_cast<long double>(y[i][s]) * x[j][s];
    return static_cast<double>(sum);
  });
  const double scale = Norm(fit.moments.get(), k, k);
  EXPECT_LE(ProductResidual(x.get(), xt.get(), fit.moments.get(), k, t, k), 1e-14 * scale);
  EXPECT_LE(ProductResidual(fit.moments.get(), fit.inverse.get(), nullptr, k, k, k), 1e-13);
  EXPECT_LE(ProductResidual(fit.b.get(), fit.moments.get(), yxt.get(), m, k, k), 1e-13 * scale);
  for (int wanted = 0; wanted < 8; ++wanted) {
    const OwnedMatrix work = OwnedMatrix::Clone(x.get(), k, t), rotated = OwnedMatrix::Clone(y.get(), m, t);
    const OwnedMatrix b(m, k), inverse(k, k), moments(k, k);
    MatOlsQr(work.get(), k, t, rotated.get(), m, wanted & 1 ? b.get() : nullptr, wanted & 2 ? inverse.get() : nullptr,
             wanted & 4 ? moments.get() : nullptr);
    EXPECT_TRUE(SameCells(rotated.get(), fit.y.get(), m, t));
    EXPECT_TRUE(!(wanted & 1) || SameCells(b.get(), fit.b.get(), m, k));
    EXPECT_TRUE(!(wanted & 2) || SameCells(inverse.get(), fit.inverse.get(), k, k));
    EXPECT_TRUE(!(wanted & 4) || SameCells(moments.get(), fit.moments.get(), k, k));
  }
}

TEST(MatOlsQr, ExhaustedMemory) {
  const OwnedMatrix x = RandomMatrix(3, 8), y = RandomMatrix(1, 8), b(1, 3);
  int failed = 0;
  ForEachFailingAllocation(
      [&](bool) { failed += MatOlsQr(x.get(), 3, 8, y.get(), 1, b.get(), nullptr, nullptr) == tessel::QrNoMemory; });
  EXPECT_EQ(failed, 4);  // the interchanges, the scales, and two vectors of the factorisation
}

TEST(HouseholderVector, Reflections) {
  double none[] = {7}, single[] = {7}, flat[] = {-7, 0, 0};
  EXPECT_EQ(tessel::HouseholderVector(none, 0), 0);
  EXPECT_EQ(none[0], 7);
  EXPECT_EQ(tessel::HouseholderVector(single, 1), -2);
  EXPECT_EQ(tessel::HouseholderVector(flat, 3), -2);
  EXPECT_EQ(flat[0] + flat[1] + flat[2], 1);
  for (double sign : {1.0, -1.0}) {  // |(2, 3, 6)| = 7, and the reflection moves the first cell away from its sign
    const OwnedMatrix row = Matrix({{9, sign * 2, 3, 6}}), v = OwnedMatrix::Clone(row.get(), 1, 4);
    const double beta = tessel::HouseholderVector(v[0] + 1, 3);
    tessel::HouseholderApplyRows(row.get(), 1, 4, v[0], 0, 1, beta);
    EXPECT_EQ(row[0][0], 9);
    EXPECT_NEAR(row[0][1], -7 * sign, 1e-14);
    EXPECT_NEAR(std::fabs(row[0][2]) + std::fabs(row[0][3]), 0, 1e-14);
  }
}
