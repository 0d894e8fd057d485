// FnRivEst.
#include "regression/riv.h"
#include "reference.h"

namespace {

enum { kBeta, kInverseDiag, kStandardised, kInnovation, kRss, kResidual, kCount };

struct Paths {
  morv::Outcome outcome;
  std::vector<morv::Value> paths{kCount};
  double At(int path, int row, int t) const { return paths[static_cast<std::size_t>(path)].AsMatrix()(row, t); }
};

Paths Riv(const morv::Value &z, int nEndog, int k, int m, int t1, int t2, int nInit) {
  Paths run;
  morv::Arguments args;
  args.Borrow(z).Integer(nEndog).Integer(k).Integer(m).Integer(t1).Integer(t2).Integer(nInit);
  for (morv::Value &path : run.paths) args.Output(path);
  run.outcome = morv::Call("FnRivEst", FnRivEst, args);
  return run;
}

// Consumption growth on income growth (endogenous), a constant and its own lag. Instruments: lagged income growth and
// bill rate, and the investment's lag.
morv::Value Data(int m) {
  const std::vector<double> c = Growth("realcons"), i = Growth("realdpi"), v = Growth("realinv");
  std::vector<Column> rows = {
      {c, 1}, {i, 1}, {std::vector<double>(203, 1.0)}, {c}, {i}, {ReadColumns("us_macro.csv")["tbilrate"], 1}, {v}};
  rows.resize(static_cast<std::size_t>(4 + m));
  return Transposed(FromColumns(rows, 201));
}

// Every statistic at every step, against two-stage least squares recomputed in quadruple precision on every sub-sample;
// m = 1 is just identified, and without endogenous regressors it is least squares.
TEST(RivEst, PathsEqualTwoStageLeastSquaresOnEverySubSample) {
  struct {
    int nEndog, k, m, t1, nInit;
  } cases[] = {{2, 3, 3, 0, 12}, {2, 3, 1, 5, 30}, {1, 3, 1, 0, 10}};
  for (const auto &[nEndog, k, m, t1, nInit] : cases) {
    const morv::Value z = Data(m), columns = Transposed(z);
    const int t2 = 200, rows = z.AsMatrix().rows;
    const auto part = [&](int first, int count) {
      morv::Value block = morv::Value::Matrix(201, count);
      for (int t = 0; t <= t2; ++t)
        for (int j = 0; j < count; ++j) block.AsMatrix()(t, j) = columns.AsMatrix()(t, first + j);
      return block;
    };
    const morv::Value yBlock = part(0, 1), xBlock = part(1, k), wBlock = part(nEndog, rows - nEndog);
    const morv::MatrixView y = yBlock.AsMatrix(), x = xBlock.AsMatrix(), w = wBlock.AsMatrix();
    const Paths run = Riv(z, nEndog, k, m, t1, t2, nInit);
    ASSERT_EQ(run.outcome.result.AsInteger(), 1);
    Worst worst;
    for (int t = t1 + nInit - 1; t <= t2; ++t) {
      const WideFit fit(y, x, w, t1, t);
      Wide rss = 0;
      for (int u = t1; u <= t; ++u) rss += fit.Residual(y, x, u, 0) * fit.Residual(y, x, u, 0);
      for (int i = 0; i < k; ++i) {
        worst.Add(run.At(kBeta, i, t), fit.beta(i, 0), 0.01);
        worst.Add(run.At(kInverseDiag, i, t), fit.inverse(i, i));
      }
      worst.Add(run.At(kRss, 0, t), rss);
      worst.Add(run.At(kResidual, 0, t), fit.Residual(y, x, t, 0), 0.1);
      if (t == t2) continue;
      const Wide innovation = fit.Residual(y, x, t + 1, 0);
      worst.Add(run.At(kInnovation, 0, t + 1), innovation, 0.1);
      worst.Add(run.At(kStandardised, 0, t + 1), innovation / std::sqrt(D(fit.Scale(x, t + 1))), 0.1);
    }
    EXPECT_LT(worst.error, 1e-9) << nEndog << " " << m;
    const int first = t1 + nInit - 1;
    EXPECT_TRUE(std::isnan(run.At(kBeta, 0, first - 1)) && std::isnan(run.At(kInnovation, 0, first)));
  }
}

// statsmodels' IV2SLS over the whole sample; its order is constant, lag, income.
TEST(RivEst, EndsAtThePublishedTwoStageEstimate) {
  const Paths run = Riv(Data(2), 2, 3, 2, 0, 200, 20);
  Worst worst;
  for (const auto &[i, value] : Published("two_stage")) worst.Add(run.At(kBeta, (i + 1) % 3, 200), value);
  EXPECT_LT(worst.error, 1e-10);
}

TEST(RivEst, SamplesWithoutAnEstimateLeaveEveryCellMissing) {
  for (const auto &[nInit, expected] :
       std::map<int, int>{{202, 1}, {2147483647, 1}, {3, 0}, {0, 0}, {-2147483647, 0}}) {
    const Paths run = Riv(Data(2), 2, 3, 2, 0, 200, nInit);
    EXPECT_EQ(run.outcome.result.AsInteger(), expected) << nInit;
    for (const morv::Value &path : run.paths)
      for (double cell : path.AsMatrix().Flat()) ASSERT_TRUE(std::isnan(cell)) << nInit;
  }
  const Paths allEndogenous = Riv(Data(2), 4, 3, 2, 0, 200, 20);
  EXPECT_EQ(allEndogenous.outcome.result.AsInteger(), 0) << "no exogenous regressor";
  EXPECT_TRUE(std::isnan(allEndogenous.At(kBeta, 0, 200)));
}

// An instrument's outlier where the endogenous regressor is 0 leaves nothing of the fitted regressor.
TEST(RivEst, ASingularStepEndsTheRunAndTheStepsBeforeItStay) {
  morv::Value z = morv::Value::Matrix(4, 70);
  for (int t = 0; t < 70; ++t) {
    const double x = t == 60 ? 0 : 1 - 2 * (t % 2);
    const double rows[] = {3 * x + 1, x, 1, t == 60 ? 1e12 : x};
    for (int i = 0; i < 4; ++i) z.AsMatrix()(i, t) = rows[i];
  }
  const Paths run = Riv(z, 2, 2, 1, 0, 69, 10);
  EXPECT_EQ(run.outcome.result.AsInteger(), 0);
  EXPECT_NEAR(run.At(kBeta, 0, 59), 3, 1e-12);
  EXPECT_TRUE(std::isnan(run.At(kBeta, 0, 60)));
}

TEST(PartitionedInverse, InvertsTheWholeFromItsParts) {
  // [4 1 2; 1 3 0; 2 0 5] with its first two rows already inverted; its inverse is adj / 43.
  const double inverse[3][3] = {{15, -5, -6}, {-5, 16, 2}, {-6, 2, 11}};
  double cells[3][3] = {{3 / 11.0, -1 / 11.0, NAN}, {-1 / 11.0, 4 / 11.0, NAN}, {2, 0, 5}};
  double *rows[] = {cells[0], cells[1], cells[2]};
  ASSERT_EQ(tessel::PartitionedInverse(rows, 2, 0), 1);
  EXPECT_EQ(cells[0][0], 3 / 11.0) << "an empty second block changes nothing";
  ASSERT_EQ(tessel::PartitionedInverse(rows, 2, 1), 1);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(cells[i][j], inverse[i][j] / 43, 1e-15) << i << j;
  cells[2][0] = 4, cells[2][1] = 0, cells[2][2] = -100;
  EXPECT_EQ(tessel::PartitionedInverse(rows, 2, 1), 0) << "the complement is negative";
}

}  // namespace
