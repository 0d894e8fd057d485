// The nine regression exports: references, limits, arguments of every kind and size, exhausted memory.
#include <tessel/tessel.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <random>

#include "cases.h"
#include "support/failing_allocation.h"

namespace {

const std::map<std::string, MorvFunction> kExports = {{"FnRlsEst", FnRlsEst},
                                                      {"FnRivEst", FnRivEst},
                                                      {"FnRalsFunc", FnRalsFunc},
                                                      {"FnRalsForecast", FnRalsForecast},
                                                      {"FnSeasonalRsq", FnSeasonalRsq},
                                                      {"FnInstabilityTest", FnInstabilityTest},
                                                      {"FnKroneckerSel", FnKroneckerSel},
                                                      {"FnJackknifeHCSE", FnJackknifeHCSE},
                                                      {"FnGLScovariance", FnGLScovariance}};

// A call, with what its outputs received.
struct Trial {
  std::vector<morv::Value> outputs;
  morv::Outcome outcome;

  Trial(const std::string &name, const std::vector<Argument> &arguments) : outputs(arguments.size()) {
    morv::Arguments args;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      const Argument &a = arguments[i];
      switch (a.kind) {
        case 'i': args.Integer(a.integer); break;
        case 'd': args.Double(a.number); break;
        case 'm': args.Matrix(a.cells.data(), a.rows, a.columns); break;
        case 'o': args.Output(outputs[i]); break;
        default: args.Decline();
      }
    }
    outcome = morv::Call(name, kExports.at(name), args);
  }
  const morv::Value &Target(const std::string &word) const {
    return word == "rtn" ? outcome.result : outputs.at(std::stoul(word));
  }
  // Early ends leave the result untouched; FnRalsFunc has stored a missing value.
  bool GaveUp() const {
    return outcome.Untouched() || (outcome.function == "FnRalsFunc" && std::isnan(outcome.result.AsDouble()));
  }
};

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
      const Trial trial(c.name, c.arguments);
      for (const std::vector<std::string> &words : c.expected) {
        const morv::Value &value = trial.Target(words.at(1));
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

// The sound call of each export.
std::map<std::string, Case> SoundCases() {
  std::map<std::string, Case> sound;
  for (const Case &c : ReadCases("regression_cases.txt")) sound.try_emplace(c.name, c);
  EXPECT_EQ(sound.size(), kExports.size());
  return sound;
}

TEST(RegressionExports, GiveUpQuietlyOutsideTheLimits) {
  for (const Case &sound : ReadCases("regression_cases.txt")) {
    EXPECT_TRUE(Trial(sound.name, sound.arguments).outcome.Returned()) << sound.name;
    for (std::size_t i = 0; i < sound.unfit.size(); ++i) {
      std::vector<Argument> arguments = sound.arguments;
      arguments[sound.unfit[i].first] = sound.unfit[i].second;
      const Trial trial(sound.name, arguments);
      EXPECT_TRUE(trial.GaveUp()) << sound.name << " unfit " << i;
      for (const morv::Value &output : trial.outputs)
        EXPECT_EQ(output.Tag(), MORV_INTEGER) << sound.name << " unfit " << i;
    }
  }
}

// Arguments of any size, value and tag: under the sanitizers nothing is read or written outside; inputs stay as they
// were, and nothing is kept.
TEST(RegressionExports, StayInsideTheirMemory) {
  std::mt19937 random(20);
  const auto below = [&](std::size_t n) { return static_cast<int>(random() % n); };
  const std::map<std::string, Case> cases = SoundCases();
  const auto blocks = tessel::HeapLiveBlocks();
  const auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x); };
  int returned = 0;
  for (int round = 0; round < 20000; ++round) {
    const Case &c = std::next(cases.begin(), below(cases.size()))->second;
    std::vector<Argument> arguments = c.arguments;
    for (Argument &a : arguments) {
      if (below(3) == 0) continue;
      if (below(30) == 0) a.kind = "idmo-"[below(5)];
      constexpr int highest = std::numeric_limits<int>::max();
      a.integer = below(20) == 0 && c.name != "FnSeasonalRsq" ? (below(2) ? highest - below(3) : below(3) - highest)
                                                              : below(below(4) == 0 ? 80 : 9) - 1;
      a.number = below(2) ? NAN : 1e300;
      if (a.kind != 'm') continue;
      a.rows = below(below(2) ? 8 : 80);
      a.columns = below(below(4) ? 8 : 20);
      a.cells.resize(static_cast<std::size_t>(a.rows * a.columns));
      a.cells.shrink_to_fit();
      for (double &cell : a.cells) cell = below(200) ? below(100) / 100.0 - 0.4 : a.number;
    }
    const std::vector<Argument> before = arguments;
    returned += Trial(c.name, arguments).outcome.Returned();
    for (std::size_t i = 0; i < before.size(); ++i)
      ASSERT_TRUE(std::ranges::equal(before[i].cells, arguments[i].cells, {}, bits, bits)) << c.name;
  }
  EXPECT_EQ(tessel::HeapLiveBlocks(), blocks);
  EXPECT_GT(returned, 5000) << "calls get past the doors";
}

std::vector<double> Cells(const morv::Value &v) {
  if (v.Tag() != MORV_MATRIX) return {v.AsDouble()};
  const std::span<double> flat = v.AsMatrix().Flat();
  return {flat.begin(), flat.end()};
}

// With an allocation failing, the result is the one of a sound run or the one that tells of the failure: none, 0, -1,
// missing, or a matrix that is empty or zero. Under a sound result every output cell is sound too, missing or zero.
TEST(RegressionExports, TellAndSurviveExhaustedMemory) {
  for (const auto &[name, sound] : SoundCases()) {
    const Trial whole(name, sound.arguments);
    ForEachFailingAllocation([&](bool failing) {
      const Trial trial(name, sound.arguments);
      if (failing && !trial.outcome.Returned()) return;
      const std::vector<double> result = Cells(trial.outcome.result);
      if (result != Cells(whole.outcome.result)) {
        const bool tells = std::ranges::all_of(result, [](double v) { return v == 0 || v == -1 || std::isnan(v); });
        EXPECT_TRUE(failing && tells) << name;
        return;
      }
      for (std::size_t i = 0; i < whole.outputs.size(); ++i) {
        const std::vector<double> cells = Cells(trial.outputs[i]), expected = Cells(whole.outputs[i]);
        ASSERT_EQ(cells.size(), expected.size()) << name;
        for (std::size_t c = 0; c < cells.size(); ++c)
          ASSERT_TRUE(cells[c] == expected[c] || std::isnan(cells[c]) || (failing && cells[c] == 0)) << name << i;
      }
    });
  }
}

}  // namespace
