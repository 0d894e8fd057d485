// FnRlsEst.
#include "reference.h"

namespace {

enum { kBeta, kInverseDiag, kStandardised, kInnovation, kRss, kResidual, kLogDet, kCount };

struct Paths {
  morv::Outcome outcome;
  std::vector<morv::Value> paths{kCount};
  double At(int path, int row, int t) const { return paths[static_cast<std::size_t>(path)].AsMatrix()(row, t); }
};

Paths Rls(const morv::MatrixView &y, const morv::MatrixView &x, int t1, int t2, int tExact = -1) {
  Paths run;
  morv::Arguments args;
  args.Matrix(y).Matrix(x).Integer(t1).Integer(t2).Integer(tExact);
  for (morv::Value &path : run.paths) args.Output(path);
  run.outcome = morv::Call("FnRlsEst", FnRlsEst, args);
  return run;
}

struct Equations {
  morv::Value y, x;
};

// Growth of consumption and income on a constant, both lagged, the lagged bill rate and three seasonal dummies.
Equations GrowthSystem() {
  const std::vector<double> c = Growth("realcons"), i = Growth("realdpi");
  std::vector<Column> x = {{std::vector<double>(203, 1.0)}, {c}, {i}, {ReadColumns("us_macro.csv")["tbilrate"], 1}};
  for (int season = 0; season < 3; ++season) {
    x.push_back({std::vector<double>(203)});
    for (int t = season; t < 203; t += 4) x.back().cells[static_cast<std::size_t>(t)] = 1;
  }
  return {FromColumns({{c, 1}, {i, 1}}, 201), FromColumns(x, 201)};
}

// Consumption growth on a constant, income growth and its own lag: the equation of regression_references.csv.
Equations GrowthEquation() {
  const std::vector<double> c = Growth("realcons"), i = Growth("realdpi");
  return {FromColumns({{c, 1}}, 201), FromColumns({{std::vector<double>(203, 1.0)}, {i, 1}, {c}}, 201)};
}

// The level of consumption on a constant and the level of income.
Equations LevelEquation() {
  const auto data = ReadColumns("us_macro.csv");
  return {FromColumns({{data.at("realcons")}}, 203),
          FromColumns({{std::vector<double>(203, 1.0)}, {data.at("realdpi")}}, 203)};
}

// Every statistic at every step, against least squares recomputed in quadruple precision on every sub-sample.
TEST(RlsEst, PathsEqualLeastSquaresOnEverySubSample) {
  struct {
    const char *name;
    Equations data;
    int t1, tExact;
    double bound;  // (X'X)^-1 X'y loses the square of the regressors' condition number
  } cases[] = {{"system", GrowthSystem(), 0, 77, 1e-12},
               {"equation", GrowthEquation(), 3, -1, 1e-12},
               {"level", LevelEquation(), 0, 9, 3e-9}};
  for (const auto &[name, data, t1, tExact, bound] : cases) {
    SCOPED_TRACE(name);
    const morv::MatrixView y = data.y.AsMatrix(), x = data.x.AsMatrix();
    const int n = y.columns, k = x.columns, t2 = y.rows - 1, size = t2 - t1 + 1;
    const Paths run = Rls(y, x, t1, t2, tExact);
    ASSERT_EQ(run.outcome.result.AsInteger(), 1);
    Worst worst[kCount];
    for (int t = t1 + k; t <= t2; ++t) {
      const WideFit before(y, x, x, t1, t - 1), fit(y, x, x, t1, t);
      const bool exact = (t - t1 - k) % 50 == 0 || t == tExact;
      const double scale = std::sqrt(D((exact ? fit : before).Scale(x, t)));
      WideMatrix cross(2, 2);
      cross(1, 1) = size;  // of the absent second equation
      for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) {
          cross(a, b) = 0;
          for (int u = t1; u <= t; ++u) cross(a, b) += fit.Residual(y, x, u, a) * fit.Residual(y, x, u, b);
        }
      for (int j = 0; j < n; ++j) {
        const double level = std::fabs(y(t, j));
        const Wide innovation = before.Residual(y, x, t, j);
        for (int i = 0; i < k; ++i) {
          const double se = std::sqrt(D(cross(j, j) * fit.inverse(i, i)) / (t - t1 + 1 - k));
          worst[kBeta].Add(run.At(kBeta, j * k + i, t), fit.beta(i, j), se);
        }
        worst[kInnovation].Add(run.At(kInnovation, j, t), innovation, level);
        worst[kStandardised].Add(run.At(kStandardised, j, t), innovation / scale, level / scale);
        worst[kResidual].Add(run.At(kResidual, j, t), fit.Residual(y, x, t, j), level);
        worst[kRss].Add(run.At(kRss, j, t), cross(j, j));
      }
      for (int i = 0; i < k; ++i) worst[kInverseDiag].Add(run.At(kInverseDiag, i, t), fit.inverse(i, i));
      const double det = D(cross(0, 0) * cross(1, 1) - cross(0, 1) * cross(1, 0)) / size / size;
      if (t - t1 - k + 1 < n)  // fewer residuals than equations
        EXPECT_TRUE(std::isnan(run.At(kLogDet, 0, t)));
      else
        worst[kLogDet].Add(run.At(kLogDet, 0, t), -0.5 * std::log(det), 1);
    }
    for (int path = 0; path < kCount; ++path) {
      EXPECT_LT(worst[path].error, bound) << "path " << path;
      for (int t = 0; t < t1 + k; ++t) EXPECT_TRUE(std::isnan(run.At(path, 0, t))) << "no step before t1 + k";
    }
  }
}

// Recursive residuals by R's strucchange and coefficients by statsmodels' RecursiveLS, for the same equation.
TEST(RlsEst, AgreesWithPublishedRecursions) {
  const Equations data = GrowthEquation();
  const Paths run = Rls(data.y.AsMatrix(), data.x.AsMatrix(), 0, 200);
  Worst worst;
  for (const auto &[t, value] : Published("recresid")) worst.Add(run.At(kStandardised, 0, t), value);
  for (int t : {60, 130, 200})
    for (const auto &[i, value] : Published("recursive_beta" + std::to_string(t)))
      worst.Add(run.At(kBeta, i, t), value);
  EXPECT_LT(worst.error, 1e-9);
}

// Longley's (1967) regressors have a condition number of 5e9. The certified coefficients are NIST's (StRD, "Longley"),
// which a 50-digit solution confirms.
TEST(RlsEst, LongleyEndsAtTheCertifiedCoefficients) {
  auto data = ReadColumns("longley.csv");
  std::vector<Column> x = {{std::vector<double>(16, 1.0)}};
  for (const char *name : {"GNPDEFL", "GNP", "UNEMP", "ARMED", "POP", "YEAR"}) x.push_back({data[name]});
  const Paths run = Rls(FromColumns({{data["TOTEMP"]}}, 16).AsMatrix(), FromColumns(x, 16).AsMatrix(), 0, 15);
  ASSERT_EQ(run.outcome.result.AsInteger(), 1);
  const double certified[] = {-3482258.63459582, 15.0618722713733,    -0.0358191792925910, -2.02022980381683,
                              -1.03322686717359, -0.0511041056535807, 1829.15146461355};
  Worst confirmed, worst;
  for (const auto &[i, value] : Published("longley")) {
    confirmed.Add(certified[i], value);
    worst.Add(run.At(kBeta, i, 15), value);
  }
  EXPECT_LT(confirmed.error, 1e-14);
  EXPECT_LT(worst.error, 2e-4) << "(X'X)^-1 X'y keeps four digits of the worst coefficient";
}

// Two identical regressors: every step is exact (standardised innovations say so), the dropped one has coefficient 0
// and no diagonal cell, and the fit is that of the regression without it.
TEST(RlsEst, CollinearRegressorsAreDroppedAndTheRunGoesOn) {
  const std::vector<double> c = Growth("realcons"), i = Growth("realdpi");
  const morv::Value y = FromColumns({{c}}, 80), one = FromColumns({{i}}, 80), two = FromColumns({{i}, {i}}, 80);
  const Paths run = Rls(y.AsMatrix(), two.AsMatrix(), 0, 79);
  ASSERT_EQ(run.outcome.result.AsInteger(), 1);
  const morv::MatrixView x = one.AsMatrix();
  for (int t = 2; t < 80; ++t) {
    const WideFit before(y.AsMatrix(), x, x, 0, t - 1), fit(y.AsMatrix(), x, x, 0, t);
    const int kept = run.At(kBeta, 0, t) != 0 ? 0 : 1;
    Worst worst;
    worst.Add(run.At(kBeta, kept, t), fit.beta(0, 0));
    worst.Add(run.At(kStandardised, 0, t), before.Residual(y.AsMatrix(), x, t, 0) / std::sqrt(D(fit.Scale(x, t))), 0.1);
    EXPECT_LT(worst.error, 1e-11) << t;
    EXPECT_EQ(run.At(kBeta, 1 - kept, t), 0) << t;
    EXPECT_TRUE(std::isnan(run.At(kInverseDiag, 1 - kept, t))) << t;
  }
}

TEST(RlsEst, AMissingValueSpreadsForwardOnly) {
  for (const bool inX : {false, true}) {
    const Equations clean = GrowthEquation(), data = GrowthEquation();
    (inX ? data.x : data.y).AsMatrix()(40, 0) = NAN;
    const Paths run = Rls(data.y.AsMatrix(), data.x.AsMatrix(), 0, 120);
    const Paths whole = Rls(clean.y.AsMatrix(), clean.x.AsMatrix(), 0, 120);
    EXPECT_EQ(run.outcome.result.AsInteger(), 1);
    for (int t = 3; t <= 120; ++t)
      for (int i = 0; i < 3; ++i) {
        if (t < 40)
          EXPECT_EQ(run.At(kBeta, i, t), whole.At(kBeta, i, t));
        else
          EXPECT_TRUE(std::isnan(run.At(kBeta, i, t))) << t;
      }
  }
}

// One step, an exact one, at the shortest range; none below it. Declined outputs do not change the others.
TEST(RlsEst, ShortRangesAndDeclinedOutputs) {
  const Equations data = GrowthEquation();
  EXPECT_EQ(Rls(data.y.AsMatrix(), data.x.AsMatrix(), 10, 12).outcome.result.AsInteger(), 0);
  const Paths one = Rls(data.y.AsMatrix(), data.x.AsMatrix(), 10, 13);
  EXPECT_EQ(one.outcome.result.AsInteger(), 1);
  EXPECT_FALSE(std::isnan(one.At(kBeta, 0, 13)));
  EXPECT_TRUE(std::isnan(one.At(kBeta, 0, 12)));

  const Paths all = Rls(data.y.AsMatrix(), data.x.AsMatrix(), 0, 99);
  morv::Value rss;
  morv::Arguments args;
  args.Matrix(data.y.AsMatrix()).Matrix(data.x.AsMatrix()).Integer(0).Integer(99).Integer(-1);
  for (int path = 0; path < kCount; ++path) path == kRss ? args.Output(rss) : args.Decline();
  ASSERT_TRUE(morv::Call("FnRlsEst", FnRlsEst, args).Returned());
  for (int t = 3; t < 100; ++t) EXPECT_EQ(rss.AsMatrix()(0, t), all.At(kRss, 0, t));
}

}  // namespace
