// The nine regression exports: references and limits.
#include <random>

#include "cases.h"

namespace {

// Early ends leave the result untouched; FnRalsFunc has stored a missing value.
bool GaveUp(const CaseRun &run) {
  return run.outcome.Untouched() || (run.outcome.function == "FnRalsFunc" && run.ReturnsMissing());
}

// The error of an expected cell, relative to the value or the floor; 0 for a missing value where one is expected.
double Error(const morv::Value &value, const std::vector<std::string> &words) {
  const int row = std::stoi(words.at(2)), column = std::stoi(words.at(3));
  const double expected = std::stod(words.at(4)), floor = words.size() > 5 ? std::stod(words[5]) : 0;
  if (value.Tag() == MORV_MATRIX && (row >= value.AsMatrix().rows || column >= value.AsMatrix().columns))
    return INFINITY;
  const double actual = value.Tag() == MORV_MATRIX ? value.AsMatrix()(row, column) : value.AsDouble();
  if (std::isnan(expected) || actual == expected) return std::isnan(expected) == std::isnan(actual) ? 0 : INFINITY;
  const double error = std::fabs(actual - expected) / std::max(std::fabs(expected), floor);
  return std::isnan(error) ? INFINITY : error;
}

// 40-digit recomputations on every sub-sample, other packages' values, closed forms, certified values.
TEST(RegressionExports, EqualTheReferences) {
  for (const char *file : {"regression_references.txt", "regression_cases.txt"})
    for (const Case &c : ReadCases(file)) {
      const CaseRun run = Call(c.name, c.arguments);
      for (const std::vector<std::string> &words : c.expected) {
        const morv::Value &value = run.ValueAt(words.at(1) == "rtn" ? -1 : std::stoi(words[1]));
        const std::string line = c.name + " " + words[1] + " " + words.at(2) + " " + words.at(3);
        if (words[0] == "size") {
          EXPECT_TRUE(value.AsMatrix().rows == std::stoi(words[2]) && value.AsMatrix().columns == std::stoi(words[3]))
              << line;
        } else {
          EXPECT_LE(Error(value, words), c.bound) << line;
        }
      }
    }
}

// The moments' sums take their terms in the order of the observations and of the lags, to the bit, whatever the size.
TEST(RegressionExports, MomentSumsKeepTheirOrder) {
  constexpr std::size_t T = 40, lags = 3;
  std::mt19937 random(6);
  for (std::size_t m = 1; m <= 9; ++m) {
    std::vector<double> a(T * m), sum(m * m), one(T, 1.0);
    for (double &cell : a) cell = static_cast<double>(random()) / 2e9 - 1;
    for (std::size_t t = 0; t < T; ++t)
      for (std::size_t l = 0; l <= std::min(t, lags); ++l)
        for (std::size_t i = 0; i < m * m; ++i) {
          const double *g = &a[t * m], *r = g - l * m, weight = 1 - static_cast<double>(l) / (lags + 1);
          const std::size_t p = i / m, q = i % m;
          sum[i] += l == 0 ? g[p] * g[q] : weight * (g[p] * r[q] + g[q] * r[p]);
        }
    morv::Arguments args;
    args.Matrix(a.data(), T, static_cast<int>(m)).Column(one).Integer(1);
    EXPECT_EQ(morv::Call("FnGLScovariance", FnGLScovariance, args).result.Numbers(), sum) << m;
  }
}

TEST(RegressionExports, GiveUpQuietlyOutsideTheLimits) {
  for (const Case &sound : ReadCases("regression_cases.txt")) {
    EXPECT_TRUE(Call(sound.name, sound.arguments).outcome.Returned()) << sound.name;
    for (std::size_t i = 0; i < sound.unfit.size(); ++i) {
      std::vector<Argument> arguments = sound.arguments;
      arguments[sound.unfit[i].first] = sound.unfit[i].second;
      const CaseRun run = Call(sound.name, arguments);
      EXPECT_TRUE(GaveUp(run) && run.WroteNothing()) << sound.name << " unfit " << i;
    }
  }
}

}  // namespace
