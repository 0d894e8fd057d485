// Specification tests and fractional autocovariances, called as a user calls them.
#include <cmath>
#include <cstring>

#include "support/reference_cases.h"

namespace {

bool Untouched(const CaseRun &run, std::size_t output) {
  return run.outputs[output].Tag() == MORV_INTEGER && run.outputs[output].AsInteger() == -77;
}

Argument Row(std::vector<double> values) {
  const auto n = static_cast<int>(values.size());
  return Mat(n > 0 ? 1 : 0, n, std::move(values));
}

// Integrals of the spectral density in 30 digits; exact restrictions in 50; projection matrices in 40, statsmodels'
// F tests.
TEST(Diagnostics, ReferenceCases) {
  for (const ReferenceCase &c : ReadReferenceCases("diagnostics_reference.txt")) {
    SCOPED_TRACE(c.function + " " + c.name);
    const CaseRun run = Call(c.function, c.arguments);
    for (const Expected &expected : c.expected) ExpectValues(run, expected);
  }
}

// ---- FnComfac

struct ComfacCase {
  const char *name;
  int status;
  std::vector<double> identity, lag, exclusion, coefficients;
  double scale = 1;
};

// Variable 7 is the dependent one; the covariance matrix is the identity.
CaseRun Comfac(const ComfacCase &c) {
  const auto k = static_cast<int>(c.coefficients.size());
  std::vector<double> identity(static_cast<std::size_t>(k * k));
  for (int i = 0; i < k; ++i) identity[static_cast<std::size_t>(i * k + i)] = 1;
  return Call("FnComfac", {Row(c.identity), Row(c.lag), Row(c.exclusion), Row(c.coefficients), Mat(k, k, identity),
                           Double(c.scale), Int(7), Out(), Out()});
}

TEST(Comfac, Statuses) {
  const double inf = INFINITY;
  const ComfacCase cases[] = {
      {"a lag is absent", 1, {7, 7, 1, 1}, {0, 1, 0, 2}, {0, 0, 0, 0}, {0.5, 1, 1}},
      {"a term occurs twice", 1, {7, 7, 1, 1, 1}, {0, 1, 0, 1, 1}, {0, 0, 0, 0, 0}, {0.5, 1, 1, 1}},
      {"twice in one, absent in the other", 1, {7, 7, 7, 1, 1}, {0, 2, 2, 0, 1}, {0, 0, 0, 0, 0}, {0.5, 1, 1, 1}},
      {"the dependent variable twice", 1, {7, 7, 7, 1, 1}, {0, 0, 1, 0, 1}, {0, 0, 0, 0, 0}, {0.5, 1, 1, 1}},
      {"no dependent variable at lag 0", 1, {7, 1, 1}, {1, 0, 1}, {0, 0, 0}, {0.5, 1}},
      {"no dependent variable", 1, {1, 1}, {0, 1}, {0, 0}, {0.5}},
      {"excluded in part", 1, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 1}, {0.5, 1, 1}},
      {"a lead", 1, {7, 7, 1, 1}, {0, 1, 0, -1}, {0, 0, 0, 0}, {0.5, 1, 1}},
      {"the largest lag", 1, {7, 7, 1, 1}, {0, 1, 0, inf}, {0, 0, 0, 0}, {0.5, 1, 1}},
      {"a static regressor", 2, {7, 7, 1}, {0, 1, 0}, {0, 0, 0}, {0.5, 1}},
      {"no lags", 2, {7}, {0}, {0}, {}},
      {"no regressor left", 3, {7, 7, 1}, {0, 1, 0}, {1, 1, 1}, {0.5, 1}},
      {"no covariance", 4, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 0}, {0.5, 1, 1}, 0},
      {"a negative scale", 4, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 0}, {0.5, 1, 1}, -1},
      {"a missing coefficient", 4, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 0}, {NAN, 1, 1}},
      {"a leading coefficient of 0", 4, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 0}, {0.5, 0, 1}},
      {"in one restriction of two",
       4,
       {7, 7, 1, 1, 2, 2, 2},
       {0, 1, 0, 1, 0, 1, 2},
       {0, 0, 0, 0, 0, 0, 0},
       {0, 1, 0, 0, 0, 1}},
  };
  for (const ComfacCase &c : cases) {
    const CaseRun run = Comfac(c);
    EXPECT_EQ(run.At(-1)[0], c.status) << c.name;
    for (const std::size_t output : {7U, 8U}) {
      ASSERT_TRUE(run.Wrote(output)) << c.name;
      EXPECT_EQ(run.outputs[output].AsMatrix().rows, 1) << c.name;
      EXPECT_EQ(run.outputs[output].AsMatrix().columns, 0) << c.name;
    }
  }
}

TEST(Comfac, GivesUpQuietly) {
  const Argument three = Row({7, 7, 1}), square = Mat(2, 2, {1, 0, 0, 1});
  const std::vector<Argument> sound = {three, three, three, Row({1, 1}), square, Double(1), Int(7), Out(), Out()};
  const std::pair<std::size_t, Argument> unfit[] = {{0, Row({})},    {1, Row({0, 1})},       {2, Row({0, 1})},
                                                    {3, Row({0.5})}, {4, Mat(1, 2, {1, 0})}, {4, Mat(2, 1, {1, 0})}};
  EXPECT_TRUE(Call("FnComfac", sound).Wrote(7));
  for (const auto &[position, argument] : unfit) {
    std::vector<Argument> arguments = sound;
    arguments[position] = argument;
    const CaseRun run = Call("FnComfac", arguments);
    EXPECT_EQ(run.At(-1)[0], -1) << position;
    EXPECT_TRUE(run.WroteNothing()) << position;
  }
}

// y = a1 y_1 + b0 x + b1 x_1: the restriction a1 b0 + b1 = 0 (with the sign of c0 = -1) has the gradient (b0, a1, 1).
TEST(Comfac, FirstOrderInClosedForm) {
  const double a1 = 0.6, b0 = 1.2, b1 = -0.5, scale = 0.01;
  const CaseRun run = Comfac({"", 0, {1, 7, 1, 7}, {0, 1, 1, 0}, {0, 0, 0, 0}, {a1, b0, b1}, scale});
  const double g = a1 * b0 + b1;
  EXPECT_NEAR(run.At(7)[0], g * g / (scale * (b0 * b0 + a1 * a1 + 1)), 1e-9);
  EXPECT_EQ(run.At(8), std::vector<double>{1});
}

// Identities, lags and flags are whole numbers after truncation; 1 alone excludes a term.
TEST(Comfac, TermsAreTruncated) {
  const std::vector<double> coefficients = {0.6, 1.2, -0.5};
  const ComfacCase plain = {"", 0, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 0, 0}, coefficients};
  const double statistic = Comfac(plain).At(7)[0];
  for (const double flag : {0.9, -1.0, 2.0})
    EXPECT_EQ(Comfac({"", 0, {7.9, 7.1, 1.5, 1.9}, {0.5, 1.9, -0.9, 1.1}, {0, 0, flag, flag}, coefficients}).At(7),
              std::vector<double>{statistic})
        << flag;
  EXPECT_EQ(Comfac({"", 3, {7, 7, 1, 1}, {0, 1, 0, 1}, {0, 0, 1.9, 1}, coefficients}).At(-1)[0], 3);
}

// ---- FnEncompassing

// Model 1 explains by rows 1 and 2, model 2 by rows 1 and 3.
std::vector<Argument> Models() {
  return {Mat(3, 6, {1, 3, 2, 5, 4, 6, 1, 1, 1, 1, 1, 1, 0, 1, 2, 4, 3, 5}),
          Int(1),
          Int(2),
          Int(0),
          Mat(3, 6, {1, 3, 2, 5, 4, 6, 1, 1, 1, 1, 1, 1, 2, 0, 1, 5, 1, 4}),
          Int(1),
          Int(2),
          Int(0),
          Out(),
          Out(),
          Out()};
}

TEST(Encompassing, Statuses) {
  struct Change {
    std::size_t position;
    Argument argument;
  };
  const std::vector<double> y = {1, 3, 2, 5, 4, 6}, x1 = Models()[0].matrix.values, x2 = Models()[4].matrix.values;
  const auto with = [](std::vector<double> cells, std::size_t from, const std::vector<double> &row) {
    std::copy(row.begin(), row.end(), cells.begin() + static_cast<std::ptrdiff_t>(from));
    return Mat(3, 6, std::move(cells));
  };
  const std::tuple<const char *, int, std::vector<Change>> cases[] = {
      {"sound", 0, {}},
      {"more regressors than instruments", 1, {{1, Int(2)}, {2, Int(1)}, {5, Int(2)}, {6, Int(1)}}},
      {"the same regressors", 2, {{4, Mat(3, 6, x1)}}},
      {"one within the other", 2, {{6, Int(1)}}},
      {"no regressor", 2, {{2, Int(0)}}},
      {"a repeated regressor", 3, {{0, with(x1, 12, {1, 1, 1, 1, 1, 1})}}},
      {"a regressor without variation or missing", 3, {{0, with(x1, 12, {0, 0, 0, 0, 0, 0})}}},
      {"a missing observation", 4, {{0, with(x1, 12, {0, 1, NAN, 4, 3, 5})}}},
      {"a missing dependent observation of one model", 4, {{4, with(x2, 0, {1, 3, NAN, 5, 4, 6})}}},
      {"a perfect fit", 4, {{0, with(x1, 12, y)}}},
  };
  for (const auto &[name, status, changes] : cases) {
    std::vector<Argument> arguments = Models();
    for (const Change &change : changes) arguments[change.position] = change.argument;
    const CaseRun run = Call("FnEncompassing", arguments);
    EXPECT_EQ(run.At(-1)[0], status) << name;
    ASSERT_EQ(run.At(8).size(), 11U) << name;
    for (const double x : run.At(8)) EXPECT_EQ(std::isnan(x), status != 0) << name;
    EXPECT_EQ(Untouched(run, 9), status != 0) << name;
    EXPECT_EQ(Untouched(run, 10), status != 0) << name;
  }
}

// A model of T observations: its rows and the counts of endogenous and exogenous variables and of other instruments.
struct Model {
  std::vector<std::vector<double>> rows;
  int endogenous, exogenous, instruments;
};

CaseRun Compare(const Model &first, const Model &second) {
  std::vector<Argument> arguments;
  for (const Model &model : {first, second}) {
    std::vector<double> cells;
    for (const auto &row : model.rows) cells.insert(cells.end(), row.begin(), row.end());
    arguments.push_back(Mat(static_cast<int>(model.rows.size()), static_cast<int>(model.rows[0].size()), cells));
    for (const int count : {model.endogenous, model.exogenous, model.instruments}) arguments.push_back(Int(count));
  }
  arguments.insert(arguments.end(), 3, Out());
  return Call("FnEncompassing", arguments);
}

// Each condition on its own; either order of the models.
TEST(Encompassing, EveryConditionAlone) {
  using Series = std::vector<double>;
  const Series y = {1, 3, 2, 5, 4, 6}, e = {0, 1, 2, 4, 3, 5}, f = {2, 0, 1, 5, 1, 4};
  const Series u = {1, 0, 2, 0, 3, 1}, v = {0, 3, 1, 1, 0, 2}, w = {2, 2, 0, 1, 5, 0};
  const Series one = {1, 1, 1, 1}, h2 = {1, -1, 1, -1}, h3 = {1, 1, -1, -1}, one5(5, 1.0), one3(3, 1.0);
  const Series y5 = {4, -8, 2, -7, 3}, y3 = {2, 4, 3};
  const std::tuple<const char *, int, Model, Model> cases[] = {
      {"few instruments come before the same regressors", 1, {{y, e, f, u}, 3, 0, 1}, {{y, e, f, u}, 3, 0, 1}},
      {"one model's instruments are the union", 2, {{y, e, u, v}, 2, 0, 2}, {{y, f, u}, 2, 0, 1}},
      {"one model's regressors are the union", 2, {{y, e, f, u, v}, 3, 0, 2}, {{y, e, u, w}, 2, 0, 2}},
      // P x = y for an endogenous x, so that q_1 = y'y, though y - x b_1 is not 0.
      {"q", 4, {{{1, 3, 1, 3}, {2, 4, 0, 2}, one}, 2, 0, 1}, {{{1, 3, 1, 3}, {1, 1, -1, 3}, h2}, 2, 0, 1}},
      // Orthogonal regressors but for the constant: what model 2 leaves of the fit of model 1 stays as it is on the way
      // back.
      {"c - d", 4, {{{7, 1, -1, -3}, one, h2}, 1, 2, 0}, {{{7, 1, -1, -3}, one, h3}, 1, 2, 0}},
      // y5 is a sum of the constant and the two regressors times 1, 3 and 1.
      {"s", 4, {{y5, one5, {0, -2, 0, 1, 3}}, 1, 2, 0}, {{y5, one5, {3, -2, 2, -3, 1}}, 1, 2, 0}},
      {"as many regressors as observations", 4, {{y3, one3, {-1, 2, 2}}, 1, 2, 0}, {{y3, one3, {1, 3, 0}}, 1, 2, 0}},
  };
  for (const auto &[name, status, first, second] : cases) {
    EXPECT_EQ(Compare(first, second).At(-1)[0], status) << name;
    EXPECT_EQ(Compare(second, first).At(-1)[0], status) << name;
  }
}

TEST(Encompassing, GivesUpQuietly) {
  const std::pair<std::size_t, Argument> unfit[] = {
      {0, Mat(0, 0, {})}, {4, Mat(0, 0, {})}, {0, Mat(3, 1, {1, 2, 3})}, {1, Int(0)},  {1, Int(2)},
      {2, Int(-1)},       {3, Int(1)},        {3, Int(2147483647)},      {5, Int(-1)}, {7, Int(-2147483647 - 1)}};
  for (const auto &[position, argument] : unfit) {
    std::vector<Argument> arguments = Models();
    arguments[position] = argument;
    const CaseRun run = Call("FnEncompassing", arguments);
    EXPECT_EQ(run.At(-1)[0], -1) << position;
    EXPECT_TRUE(run.WroteNothing()) << position;
    EXPECT_TRUE(Untouched(run, 10)) << position;
  }
}

// Exchanging the models exchanges the statistics; a row given twice, to both models, counts once.
TEST(Encompassing, ModelsTradePlaces) {
  const CaseRun run = Call("FnEncompassing", Models());
  std::vector<Argument> arguments = Models();
  std::swap(arguments[0], arguments[4]);
  const CaseRun traded = Call("FnEncompassing", arguments);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_NEAR(run.At(8)[i], traded.At(8)[i ^ 1], 1e-9) << i;
  EXPECT_EQ(run.At(9), (std::vector<double>{0, 1, 3}));
  EXPECT_EQ(run.At(10), std::vector<double>{3});
}

// y = c + d a + e with residuals e that are orthogonal to 1, a and b: to the model of 1 and a the regressor b of the
// other one adds nothing, and F is 0. Rounding leaves the joint model's fit below that of the model.
TEST(Encompassing, FIsNotBelowZero) {
  const std::vector<double> designs[][3] = {
      {{6, 7, 5, 8, 13, 12}, {2, 2, 2, 1, 3, 3}, {1, 3, 4, 3, 2, 4}},
      {{16, 8, 3, 13, 5, 6}, {5, 2, 1, 4, 1, 2}, {5, 1, 0, 3, 4, 5}},
      {{6, 13, 13, 10, 6, 14}, {1, 5, 5, 4, 3, 4}, {3, 4, 5, 3, 1, 1}},
  };
  const std::vector<double> one(6, 1.0);
  for (const auto &[y, a, b] : designs) {
    const CaseRun run = Compare({{y, one, a}, 1, 2, 0}, {{y, one, b}, 1, 2, 0});
    ASSERT_EQ(run.At(-1)[0], 0);
    EXPECT_EQ(run.At(8)[4], 0.0);
    EXPECT_GT(run.At(8)[5], 0.0);
  }
}

// ---- FnFracSigma

std::vector<Argument> Process(std::vector<double> parameters, int p, int q, int n, double sigma2 = 1) {
  return {Row(std::move(parameters)), Int(p), Int(q), Double(sigma2), Int(n), Out()};
}

TEST(FracSigma, Statuses) {
  const std::tuple<const char *, int, std::vector<Argument>> cases[] = {
      {"d", 1, Process({5.01}, 0, 0, 3)},
      {"d, first", 1, Process({-5.01}, 0, 0, 3, 0)},
      {"the variance", 2, Process({0.3}, 0, 0, 3, 0.0001)},
      {"a unit root", 4, Process({0.3, 1}, 1, 0, 3)},
      {"nearly one", 4, Process({0.3, -0.9999}, 1, 0, 3)},
      {"complex roots on the circle", 4, Process({0.3, 0, -1}, 2, 0, 3)},
      {"no roots", 6, Process({0.3, NAN, 0.2, 0.1}, 3, 0, 3)},
      {"equal roots", 7, Process({0.3, 1, -0.25}, 2, 0, 3)},
      {"two roots of 0", 7, Process({0.3, 0, 0}, 2, 0, 3)},
      {"more columns than parameters", 0, Process({0.3, 0.5, 9}, 1, 0, 3)},
      {"d of 5", 0, Process({5}, 0, 0, 3)},
      {"roots of 1e-10 and 2e-10", 0, Process({0.3, 3e-10, -2e-20}, 2, 0, 3)},
      {"roots of 1e-12 and 2e-12", 7, Process({0.3, 3e-12, -2e-24}, 2, 0, 3)},
  };
  for (const auto &[name, status, arguments] : cases)
    EXPECT_EQ(Call("FnFracSigma", arguments).outcome.result.AsInteger(), status) << name;
}

TEST(FracSigma, UnusableSizes) {
  const CaseRun none = Call("FnFracSigma", Process({0.3}, 0, 0, 0));
  EXPECT_EQ(none.outcome.result.AsInteger(), 10);
  ASSERT_TRUE(none.Wrote(5));
  EXPECT_TRUE(none.At(5).empty());
  for (const auto &arguments : {Process({0.3}, 0, 0, -1), Process({0.3}, -1, 0, 2), Process({0.3, 1}, 2, -1, 2),
                                Process({0.3}, 0, -2147483647 - 1, 2)}) {
    const CaseRun run = Call("FnFracSigma", arguments);
    EXPECT_EQ(run.outcome.result.AsInteger(), 10);
    EXPECT_TRUE(run.WroteNothing());
  }
  std::vector<Argument> column = Process({0.3, 0.5}, 1, 0, 2);
  std::swap(column[0].matrix.rows, column[0].matrix.columns);
  for (const auto &arguments :
       {Process({}, 0, 0, 2), Process({0.3, 0.5}, 1, 1, 2), column, Process({0.3}, 2147483647, 2147483647, 2)})
    EXPECT_EQ(Call("FnFracSigma", arguments).outcome.argument, 1);
}

// Few lags are the first ones of many; the parameters stay as they were.
TEST(FracSigma, ManyLagsAndFew) {
  const CaseRun many = Call("FnFracSigma", Process({0.3, 1.1, -0.6, 0.4}, 2, 1, 100000));
  for (const int n : {1, 2, 3, 5, 50}) {
    const std::vector<double> few = Call("FnFracSigma", Process({0.3, 1.1, -0.6, 0.4}, 2, 1, n)).At(5);
    ASSERT_EQ(few.size(), static_cast<std::size_t>(n));
    for (std::size_t k = 0; k < few.size(); ++k) EXPECT_NEAR(few[k], many.At(5)[k], 1e-12) << n << " " << k;
  }
  EXPECT_EQ(many.arguments[0].matrix.values, (std::vector<double>{0.3, 1.1, -0.6, 0.4}));
  // The autocovariances of long memory decline as k^(2d-1) f(0) 2 Gamma(1-2d) sin(pi d), to 1/k.
  const double f = 1.4 / 0.5, k = 99999;
  const double tail = f * f / M_PI * std::tgamma(0.4) * std::sin(0.3 * M_PI) * std::pow(k, -0.4);
  EXPECT_NEAR(many.At(5).back() / tail, 1, 1e-4);
}

// Fractional noise: gamma_k = Gamma(1-2d) Gamma(k+d) / (Gamma(d) Gamma(1-d) Gamma(k+1-d)) (Hosking 1981).
TEST(FracSigma, FractionalNoiseInClosedForm) {
  for (const double d : {-0.45, -0.1, 0.2, 0.49}) {
    const std::vector<double> noise = Call("FnFracSigma", Process({d}, 0, 0, 100, 2)).At(5);
    for (int k = 0; k < 100; ++k) {
      const double expected = 2 * std::tgamma(1 - 2 * d) / (std::tgamma(d) * std::tgamma(1 - d)) *
                              std::exp(std::lgamma(k + d) - std::lgamma(k + 1 - d)) * (k + d < 0 ? -1 : 1);
      EXPECT_NEAR(noise[static_cast<std::size_t>(k)], expected, 1e-12 * std::fabs(noise[0])) << d << " " << k;
    }
  }
}

// d of exactly 0 with an autoregressive part is told by values that are not finite (all but that at lag p).
TEST(FracSigma, WholeDegreesAreNotFinite) {
  const std::vector<double> autocov = Call("FnFracSigma", Process({0, 0.5}, 1, 0, 4)).At(5);
  for (const std::size_t k : {0U, 2U, 3U}) EXPECT_FALSE(std::isfinite(autocov[k])) << k;
}

// d = -5 is a moving average: (1 - L)^5.
TEST(FracSigma, DifferencesInClosedForm) {
  const std::vector<double> autocov = Call("FnFracSigma", Process({-5}, 0, 0, 8)).At(5);
  const double binomial[] = {252, -210, 120, -45, 10, -1, 0, 0};
  for (std::size_t k = 0; k < 8; ++k) EXPECT_NEAR(autocov[k], binomial[k], 1e-11) << k;
}

// Up to |d| = 1e-11 the process is its moving average, without memory beyond lag q; above it the memory shows.
TEST(FracSigma, NoMemoryAtAll) {
  EXPECT_EQ(Call("FnFracSigma", Process({9e-12, 0.5}, 0, 1, 4)).At(5), (std::vector<double>{1.25, 0.5, 0, 0}));
  const std::vector<double> some = Call("FnFracSigma", Process({2e-11}, 0, 0, 3)).At(5);
  EXPECT_NEAR(some[1], 2e-11, 1e-20);
  EXPECT_NEAR(some[2], 1e-11, 1e-20);
}

std::string Printed(const std::vector<Argument> &process) {
  testing::internal::CaptureStdout();
  Call("FnFracSigma", process);
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// The first term of the series below 1e-14 is, in 30 digits, number 9980 for a root of 0.997114761875 and number 10020
// for one of 0.99712642358. Each of two complex roots, of modulus 0.999, has a series of its own.
TEST(FracSigma, WarnsOfEachSeriesThatEndsEarly) {
  const std::string warning = "hyper: end of loop reached!\n";
  EXPECT_EQ(Printed(Process({0.3, 0.997114761875}, 1, 0, 4)), "");
  EXPECT_EQ(Printed(Process({0.3, 0.99712642358}, 1, 0, 4)), warning);
  EXPECT_EQ(Printed(Process({0.3, 0.5, -0.998001}, 2, 0, 4)), warning + warning);
}

}  // namespace
