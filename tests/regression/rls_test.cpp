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
  } cases[] = {
      {"system", GrowthSystem(), 0, 77}, {"equation", GrowthEquation(), 3, -1}, {"level", LevelEquation(), 0, 9}};
  for (const auto &[name, data, t1, tExact] : cases) {
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
        for (int i = 0; i < k; ++i) {const double se=std::sqrt(D(cross(j,j)*fit.inverse(i,i))/(t-t1+1-k)); if(std::fabs(run.At(kBeta,j*k+i,t)-D(fit.beta(i,j)))/std::max(se,std::fabs(D(fit.beta(i,j))))>1e-9) std::printf("%s %d %d %g %g\n",name,t,i,D(fit.beta(i,j)),se); worst[kBeta].Add(run.At(kBeta, j * k + i, t), fit.beta(i, j), se);}
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
      std::printf("%s %d %.2e\n", name, path, worst[path].error);
      EXPECT_LT(worst[path].error, 1e-9) << "path " << path;
      for (int t = 0; t < t1 + k; ++t) EXPECT_TRUE(std::isnan(run.At(path, 0, t))) << "no step before t1 + k";
    }
  }
}

}  // namespace
