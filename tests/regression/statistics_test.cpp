// The single statistics: constancy, RALS, jackknife and autocorrelation-consistent covariances, seasonal R^2,
// selections.
#include <complex>

#include "reference.h"
#include "regression/seasonal_rsq.h"

namespace {

struct Equation {
  morv::Value y, x, e, xxInv;
  double rss = 0;
};

// Consumption growth on a constant, income growth and its own lag, with its least squares residuals.
Equation GrowthEquation() {
  const std::vector<double> c = Growth("realcons"), i = Growth("realdpi");
  Equation q = {FromColumns({{c, 1}}, 201), FromColumns({{std::vector<double>(203, 1.0)}, {i, 1}, {c}}, 201),
                morv::Value::Matrix(201, 1), morv::Value::Matrix(3, 3)};
  const morv::MatrixView y = q.y.AsMatrix(), x = q.x.AsMatrix();
  const WideFit fit(y, x, x, 0, 200);
  for (int t = 0; t < 201; ++t) {
    q.e.AsMatrix()(t, 0) = D(fit.Residual(y, x, t, 0));
    q.rss += std::pow(q.e.AsMatrix()(t, 0), 2);
  }
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) q.xxInv.AsMatrix()(i, j) = D(fit.inverse(i, j));
  return q;
}

// R's strucchange (single statistics) and statsmodels' breaks_hansen (joint statistic).
TEST(InstabilityTest, AgreesWithPublishedStatistics) {
  const Equation q = GrowthEquation();
  morv::Value statistics;
  morv::Arguments args;
  args.Borrow(q.x).Borrow(q.e).Double(q.rss).Output(statistics);
  const morv::Outcome joint = morv::Call("FnInstabilityTest", FnInstabilityTest, args);
  Worst worst;
  for (const auto &[i, value] : Published("hansen")) worst.Add(statistics.AsMatrix()(0, i), value);
  worst.Add(joint.result.AsDouble(), Published("hansen_joint").at(0));
  EXPECT_LT(worst.error, 1e-10);

  // One observation: singular, and both statistics are 1.
  const double one = 1, e = 2;
  morv::Arguments single;
  single.Matrix(&one, 1, 1).Matrix(&e, 1, 1).Double(1).Output(statistics);
  EXPECT_EQ(morv::Call("FnInstabilityTest", FnInstabilityTest, single).result.AsDouble(), -1);
  EXPECT_EQ(statistics.AsMatrix()(0, 0), 1);
  EXPECT_EQ(statistics.AsMatrix()(0, 1), 1);
}

// (T - 1) / T times the outer products of the deviations of the leave-one-out coefficients from their mean.
TEST(JackknifeHCSE, EqualsLeaveOneOutRegressions) {
  const Equation q = GrowthEquation();
  morv::Arguments args;
  args.Borrow(q.x).Borrow(q.e).Borrow(q.xxInv);
  const morv::Outcome outcome = morv::Call("FnJackknifeHCSE", FnJackknifeHCSE, args);
  WideMatrix beta(201, 3), mean(1, 3);
  for (int left = 0; left < 201; ++left) {
    morv::Value y = q.y.Clone(), x = q.x.Clone();
    y.AsMatrix()(left, 0) = 0;
    for (int i = 0; i < 3; ++i) x.AsMatrix()(left, i) = 0;
    const WideFit fit(y.AsMatrix(), x.AsMatrix(), x.AsMatrix(), 0, 200);
    for (int i = 0; i < 3; ++i) beta(left, i) = fit.beta(i, 0), mean(0, i) += fit.beta(i, 0) / 201;
  }
  Worst worst;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      Wide sum = 0;
      for (int t = 0; t < 201; ++t) sum += (beta(t, i) - mean(0, i)) * (beta(t, j) - mean(0, j));
      worst.Add(outcome.result.AsMatrix()(i, j), sum * 200 / 201, 1e-6);
    }
  EXPECT_LT(worst.error, 1e-11);

  const double dummy[] = {0, 1, 0}, e[] = {1, 0, 1}, inverse = 1;
  morv::Arguments leverage;
  leverage.Matrix(dummy, 3, 1).Matrix(e, 3, 1).Matrix(&inverse, 1, 1);
  EXPECT_EQ(morv::Call("FnJackknifeHCSE", FnJackknifeHCSE, leverage).result.AsMatrix().rows, 0) << "a leverage of 1";
}

TEST(GLScovariance, EqualsTheDirectDoubleSum) {
  const Equation q = GrowthEquation();
  const morv::MatrixView x = q.x.AsMatrix(), e = q.e.AsMatrix();
  const auto call = [](const morv::Value &a, const morv::Value &b, int hac) {
    morv::Arguments args;
    args.Borrow(a).Borrow(b).Integer(hac);
    return morv::Call("FnGLScovariance", FnGLScovariance, args).result;
  };
  // Two columns of e, so that the order of the moments shows: g(2 i + j) = x(i) b(j).
  const morv::Value b = FromColumns({{{e.Flat().begin(), e.Flat().end()}}, {Growth("realinv")}}, 201);
  const auto g = [&](int t, int p) { return static_cast<Wide>(x(t, p / 2)) * b.AsMatrix()(t, p % 2); };
  for (const int lags : {0, 4}) {  // 4 (201 / 100)^(2/9) = 4.67
    const morv::Value result = call(q.x, b, lags);
    Worst worst;
    for (int p = 0; p < 6; ++p)
      for (int r = 0; r < 6; ++r) {
        Wide sum = 0;
        for (int t = 0; t < 201; ++t)
          for (int s = std::max(t - lags, 0); s <= std::min(t + lags, 200); ++s)
            sum += (1 - Wide(std::abs(t - s)) / (lags + 1)) * g(t, p) * g(s, r);
        worst.Add(result.AsMatrix()(p, r), sum, 1);
      }
    EXPECT_LT(worst.error, 1e-12);
  }
  const morv::Value hac = call(q.x, q.e, 1);  // statsmodels' S_hac_simple: the lower triangle
  for (int p = 0, cell = 0; p < 3; ++p)
    for (int r = 0; r <= p; ++r, ++cell) EXPECT_NEAR(hac.AsMatrix()(p, r), Published("hac").at(cell), 1e-9);
  // Two observations of 2 and 3: 4 + 9 + 6.
  EXPECT_EQ(call(FromColumns({{{2, 3}}}, 2), FromColumns({{{1, 1}}}, 2), 1).AsMatrix()(0, 0), 19);
  const morv::Value empty = call(morv::Value::Matrix(0, 2), morv::Value::Matrix(0, 1), 1);
  for (double cell : empty.AsMatrix().Flat()) EXPECT_EQ(cell, 0);
  EXPECT_EQ(empty.AsMatrix().rows, 2);
}

struct Rals {
  morv::Value theta, y, x;
  int lagFirst, lagLast;

  // The objective at theta, one parameter moved into the complex plane.
  std::complex<double> Objective(int moved, double step) const {
    const auto parameter = [&](int i) { return std::complex(theta.AsMatrix().Flat()[i], i == moved ? step : 0.0); };
    const auto u = [&](int t) {
      std::complex<double> residual = y.AsMatrix()(t, 0);
      for (int i = 0; i < 3; ++i) residual -= parameter(i) * x.AsMatrix()(t, i);
      return residual;
    };
    std::complex<double> sum = 0;
    for (int t = lagLast; t < 201; ++t) {
      std::complex<double> e = u(t);
      for (int l = lagFirst; l <= lagLast; ++l) e -= parameter(3 + l - lagFirst) * u(t - l);
      sum += e * e;
    }
    return sum;
  }
  morv::Arguments Arguments() const {
    morv::Arguments args;
    args.Borrow(theta).Borrow(y).Borrow(x).Integer(lagFirst).Integer(lagLast);
    return args;
  }
};

Rals RalsAt(int lagFirst, int lagLast) {
  const Equation q = GrowthEquation();
  std::vector<double> theta = {0.4, 0.3, 0.2};
  for (int l = lagFirst; l <= lagLast; ++l) theta.push_back(0.3 / l);
  return {morv::Value::Matrix(static_cast<int>(theta.size()), 1, theta), q.y.Clone(), q.x.Clone(), lagFirst, lagLast};
}

TEST(RalsFunc, ObjectiveAndGradientByComplexStep) {
  for (const auto &[lagFirst, lagLast] : {std::pair{1, 0}, {1, 2}, {4, 4}, {2, 5}}) {
    const Rals model = RalsAt(lagFirst, lagLast);
    morv::Value e, plain, gradient, matrix;
    morv::Arguments args = model.Arguments(), objectiveOnly = model.Arguments();
    args.Output(e).Output(gradient).Output(matrix);
    objectiveOnly.Output(plain).Decline().Decline();
    const double objective = morv::Call("FnRalsFunc", FnRalsFunc, args).result.AsDouble();
    Worst worst;
    worst.Add(objective, model.Objective(-1, 0).real());
    double squares = 0;
    for (int t = lagLast; t < 201; ++t) squares += std::pow(e.AsMatrix()(t, 0), 2);
    worst.Add(squares, objective);
    for (int i = 0; i < gradient.AsMatrix().rows; ++i)
      worst.Add(gradient.AsMatrix()(i, 0), model.Objective(i, 1e-100).imag() / 1e-100, 1);
    EXPECT_LT(worst.error, 1e-12) << lagFirst << " " << lagLast;
    EXPECT_EQ(morv::Call("FnRalsFunc", FnRalsFunc, objectiveOnly).result.AsDouble(), objective);

    // The Gauss-Newton matrix from the innovations' derivatives, by differences: they are linear in each parameter.
    const auto innovations = [&](int moved) {
      Rals shifted = {model.theta.Clone(), model.y.Clone(), model.x.Clone(), lagFirst, lagLast};
      shifted.theta.AsMatrix()(moved, 0) += 1;
      morv::Value out;
      morv::Arguments call = shifted.Arguments();
      call.Output(out).Decline().Decline();
      EXPECT_TRUE(morv::Call("FnRalsFunc", FnRalsFunc, call).Returned());
      return out;
    };
    for (int i = 0; i < gradient.AsMatrix().rows; ++i)
      for (int j = 0; j < gradient.AsMatrix().rows; ++j) {
        const morv::Value a = innovations(i), b = innovations(j);
        double sum = 0;
        for (int t = lagLast; t < 201; ++t)
          sum += 2 * (a.AsMatrix()(t, 0) - e.AsMatrix()(t, 0)) * (b.AsMatrix()(t, 0) - e.AsMatrix()(t, 0));
        EXPECT_NEAR(matrix.AsMatrix()(i, j), sum, 1e-10 * std::fabs(sum) + 1e-9);
      }
  }
}

// The errors are FnRalsFunc's innovations. Without lags the derivatives are the regressors: the statistic is the
// explained sum of squares of the regression, over the whole sample, of a series that is 0 but for the last h errors.
TEST(RalsForecast, StatisticScalesAndErrors) {
  const int h = 12;
  const Rals model = RalsAt(1, 0);
  morv::Value errors, scales, e;
  const Equation q = GrowthEquation();
  morv::Arguments args = model.Arguments(), function = model.Arguments();
  args.Integer(h).Borrow(q.xxInv).Output(errors).Output(scales);
  const double statistic = morv::Call("FnRalsForecast", FnRalsForecast, args).result.AsDouble();
  function.Output(e).Decline().Decline();
  EXPECT_TRUE(morv::Call("FnRalsFunc", FnRalsFunc, function).Returned());
  const morv::MatrixView x = model.x.AsMatrix();
  const WideFit whole(model.y.AsMatrix(), x, x, 0, 200);
  Worst worst;
  for (int t = 201 - h; t < 201; ++t) {
    worst.Add(errors.AsMatrix()(t - 201 + h, 0), e.AsMatrix()(t, 0));
    worst.Add(scales.AsMatrix()(t - 201 + h, 0), std::sqrt(D(whole.Scale(x, t))));
  }
  for (int t = 0; t < 201 - h; ++t) e.AsMatrix()(t, 0) = 0;
  const WideFit fit(e.AsMatrix(), x, x, 0, 200);
  Wide explained = 0;
  for (int t = 0; t < 201; ++t) {
    const Wide fitted = e.AsMatrix()(t, 0) - fit.Residual(e.AsMatrix(), x, t, 0);
    explained += fitted * fitted;
  }
  worst.Add(statistic, explained);
  EXPECT_LT(worst.error, 1e-12);

  morv::Value nothing;
  const Rals lags = RalsAt(1, 2);
  morv::Arguments empty = lags.Arguments();
  const morv::Value cov = morv::Value::Matrix(5, 5, std::vector<double>(25));
  empty.Integer(0).Borrow(cov).Output(nothing).Output(scales);
  EXPECT_EQ(morv::Call("FnRalsForecast", FnRalsForecast, empty).result.AsDouble(), 0);
  EXPECT_EQ(nothing.AsMatrix().rows, 0);
}

TEST(SeasonalRsq, AgainstSeasonalMeansOfTheDifferences) {
  // Differences 1 3 2 | 5 7 4: means 3 5 3, squares 8 8 2.
  const double y[] = {0, 1, 4, 6, 11, 18, 22};
  const auto call = [&](int rows, int seasons, double rss, morv::Value &means) {
    morv::Arguments args;
    args.Matrix(y, rows, 1).Integer(seasons).Double(rss).Output(means);
    return morv::Call("FnSeasonalRsq", FnSeasonalRsq, args);
  };
  morv::Value means;
  for (double rss : {0.0, 9.0, 18.0}) EXPECT_EQ(call(7, 3, rss, means).result.AsDouble(), 1 - rss / 18);
  EXPECT_EQ(means.AsMatrix()(0, 1), 5);
  EXPECT_EQ(call(6, 3, 1, means).result.AsDouble(), -1);
  EXPECT_EQ(tessel::SeasonalRsq(y, 7, 1073741824, 1, nullptr), -1) << "twice the seasons pass the integers";
  EXPECT_TRUE(call(7, 1, 1, means).Untouched());
}

TEST(KroneckerSel, SelectsRowsAndColumnsOfTheProduct) {
  const double a[] = {1, 2, 3, 4, 5, 6}, b[] = {7, 8, 9, 10};  // 2 x 3 and 2 x 2
  const auto call = [&](std::vector<double> rows, std::vector<double> columns) {
    morv::Arguments args;
    args.Matrix(a, 2, 3).Matrix(b, 2, 2);
    args.Matrix(rows.data(), 1, static_cast<int>(rows.size()))
        .Matrix(columns.data(), static_cast<int>(columns.size()), 1);
    return morv::Call("FnKroneckerSel", FnKroneckerSel, args);
  };
  const double product[4][6] = {
      {7, 8, 14, 16, 21, 24}, {9, 10, 18, 20, 27, 30}, {28, 32, 35, 40, 42, 48}, {36, 40, 45, 50, 54, 60}};
  const morv::Outcome all = call({}, {}), some = call({1.9, 3, -0.5, 3}, {5, 0});
  const int rows[] = {1, 3, 0, 3}, columns[] = {5, 0};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 6; ++j) EXPECT_EQ(all.result.AsMatrix()(i, j), product[i][j]);
    for (int j = 0; j < 2; ++j) EXPECT_EQ(some.result.AsMatrix()(i, j), product[rows[i]][columns[j]]);
  }
  for (double outside : {-1.0, 4.0, 1e300, static_cast<double>(NAN)})
    EXPECT_TRUE(call({outside}, {}).Untouched()) << outside;
}

}  // namespace
