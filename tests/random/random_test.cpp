// Generators and variates against exact sequences and their distributions.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "random/ran_table.h"
#include "random/variates.h"
#include "reference.h"
#include "special/distributions.h"

namespace {

using namespace tessel;

struct Variate {
  std::function<double()> draw;
  std::function<double(double)> cdf;
  double mean, variance;
};

double NormalByErfc(double x) { return std::erfc(-x / std::sqrt(2.0)) / 2; }

Variate FindVariate(const std::string &call, double n, double m) {
  const int df = static_cast<int>(n);
  if (call == "ranu()") return {ranTable.uniform, [](double x) { return x; }, 0.5, 1.0 / 12};
  if (call == "rann()") return {ranTable.normal, NormalByErfc, 0, 1};
  if (call[3] == 'c') return {[=] { return ChiVariate(n); }, [=](double x) { return 1 - ChiTail(x, n); }, n, 2 * n};
  if (call[3] == 't')
    return {[=] { return StudentVariate(df); }, [=](double x) { return StudentCdf(x, df); }, 0, n / (n - 2)};
  const double mean = m / (m - 2), variance = 2 * mean * mean * (n + m - 2) / (n * (m - 4));
  return {[=] { return FVariate(n, m); }, [=](double x) { return FCdf(x, n, m); }, mean, variance};
}

// A million draws: the Kolmogorov-Smirnov distance at the level 0.001, mean and variance within 4.5 standard errors.
void ExpectDistribution(const Variate &variate, const std::string &what) {
  constexpr int n = 1000000;
  std::vector<double> draws(n);
  std::generate(draws.begin(), draws.end(), variate.draw);
  std::sort(draws.begin(), draws.end());
  double distance = 0, sum = 0, excess = 0, fourth = 0, rank = 0;
  for (const double x : draws) {
    const double p = variate.cdf(x) * n, d = x - variate.mean, e = d * d - variate.variance;
    distance = std::max({distance, p - rank, rank + 1 - p});
    sum += d, excess += e, fourth += e * e, rank += 1;
  }
  EXPECT_LT(distance / std::sqrt(n), 1.95) << what;
  EXPECT_LT(std::fabs(sum), 4.5 * std::sqrt(n * variate.variance)) << what;
  EXPECT_LT(std::fabs(excess), 4.5 * std::sqrt(fourth)) << what;
}

// Sequences of exact integer arithmetic, printed by tools/random_reference.py; distributions of the draws behind them.
TEST(Random, SequencesAndDistributions) {
  for (const Sequence &s : kSequences) {
    RanInit();
    RanSelect(s.generator);
    if (s.seed != -1) RanSetSeed(&s.seed, 1);
    const std::string what = s.generator + (" " + std::string(s.call));
    const Variate variate = FindVariate(s.call, s.n, s.m);
    std::vector<double> draws(kSequenceLength);
    std::generate(draws.begin(), draws.end(), variate.draw);
    const double tolerance = s.call[3] == 'u' ? 0 : 1e-11;
    EXPECT_NEAR(draws[0], s.first, tolerance * std::fabs(s.first)) << what;
    EXPECT_NEAR(draws[1], s.second, tolerance * std::fabs(s.second)) << what;
    EXPECT_NEAR(draws.back(), s.last, tolerance * std::fabs(s.last)) << what;
    EXPECT_EQ(ranTable.uniform(), s.next) << what;
    ExpectDistribution(variate, what);
  }
  ExpectDistribution({[] { return (ChiVariate(1e20) / 1e20 - 1) * std::sqrt(0.5e20); }, NormalByErfc, 0, 1}, "huge");
}

// The 10000th value of the multiplier 48271 from seed 1 (ISO C++, minstd_rand), and the millionth of the MWC in
// Marsaglia's test of 1999, behind 1000256 draws of another generator on the same streams.
TEST(Random, PublishedStates) {
  unsigned z = 0, w = 0;
  const auto run = [&](const char *generator, std::vector<int> words, int steps) {
    RanSelect(generator);
    RanSetSeed(words.data(), 2);
    for (int i = 0; i < steps; ++i) ranTable.uniform();
    RanGetSeed(words.data(), 2);
    z = static_cast<unsigned>(words[0]), w = static_cast<unsigned>(words[1]);
  };
  run("PM", {1, 0}, 10000);
  EXPECT_EQ(z, 399268537U);
  run("MWC60", {12345, 65435}, 2000256);
  EXPECT_EQ((z << 16) + w, 904977562U);
}

// Also from a state in which a second normal of the polar method waits, which the seed discards.
TEST(Random, FillsAndRestoredStatesContinueTheSequence) {
  RanInit();
  for (const char *generator : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {
    RanSelect(generator);
    for (const auto &fill : {ranTable.fillUniform, ranTable.fillNormal}) {
      const auto draw = fill == ranTable.fillUniform ? ranTable.uniform : ranTable.normal;
      std::vector<int> state(258);
      std::vector<double> scalar(1501), cells(1500);
      const int count = RanGetSeed(state.data(), 258);
      std::generate(scalar.begin(), scalar.end(), draw);
      RanSetSeed(state.data(), count);
      EXPECT_EQ(draw(), scalar[0]) << generator;
      double *rows[] = {&cells[1000], &cells[500], &cells[0]};  // reordered
      EXPECT_EQ(fill(nullptr, 2, 2), nullptr);
      for (const int size : {0, INT_MIN}) EXPECT_EQ(fill(rows, size, 5), fill(rows, 3, size));
      fill(rows, 3, 500);
      for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::equal(rows[i], rows[i] + 500, &scalar[1] + 500 * i)) << generator;
    }
  }
}

// Seeds that restore the default, that are altered, and that change nothing: the first word of the state afterwards,
// which was 777 before. An unknown name changes nothing.
TEST(Random, SeedRules) {
  const struct {
    const char *generator;
    int words[4], count, first;
  } cases[] = {// clang-format off
      {"PM", {-1}, 1, 2147483646}, {"PM", {0}, 1, 198195252}, {"PM", {INT_MAX}, 1, 198195252}, {"PM", {7}, 258, 7},
      {"GM", {9}, 0, 362436069}, {"GM", {0, 9}, 2, 362436069}, {"GM", {-1872166913}, 1, 362436069},
      {"GM", {9}, -3, 777}, {"GM", {9, 9, 9}, 3, 777}, {"LE", {5}, 1, 128}, {"LE", {-5}, 1, -5}, {"LE", {9}, 0, 112},
      {"LE", {2, 8, 16, 128}, 4, 2}, {"LE", {2, 8, 16, 127}, 4, 777}, {"LE", {9}, INT_MIN, 777},
      // the congruential generator from 0, and from the word that it takes to 0
      {"MWC_52", {9}, -1, 1013904223}, {"MWC_32", {634785765}, 1, 1013904223}, {"MWC_52", {9, 8}, 2, 9}};
  // clang-format on
  for (const auto &c : cases) {
    int word = 777;
    RanSelect(c.generator);
    RanSetSeed(&word, 1);
    RanSetSeed(c.words, c.count);
    RanSelect("MWC_52 ");
    EXPECT_EQ(RanGetSeed(&word, -1), RanGetSeed(nullptr, INT_MAX));
    EXPECT_EQ(word, 777) << "nothing is copied";
    RanGetSeed(&word, 1);
    EXPECT_EQ(word, c.first) << c.generator << " " << c.words[0] << " x " << c.count;
  }
}

// Impossible parameters give the missing value and draw nothing; extreme ones end, with the limit of the distribution.
TEST(Random, ImpossibleAndExtremeParameters) {
  RanInit();
  for (const double bad : {0.0, -1.0, -HUGE_VAL, HUGE_VAL, std::nan("")})
    for (const double x : {GammaVariate(bad, 1), GammaVariate(2, bad), FVariate(bad, 2), FVariate(2, bad),
                           StudentVariate(0), StudentVariate(INT_MIN)})
      EXPECT_TRUE(std::isnan(x)) << bad << " gives " << x;
  EXPECT_EQ(ranTable.uniform(), kSequences[4].first);
  for (int i = 0; i < 1000; ++i) {
    for (const double df : {1e14, 1e18, 1e33, 1e308}) EXPECT_NEAR(ChiVariate(df) / df, 1, 1e-6) << df;
    for (const double shape : {std::nextafter(1, 0), std::nextafter(1, 2)}) EXPECT_GT(GammaVariate(shape, 1), 0);
    for (const double df : {1e-300, 1e-20}) EXPECT_EQ(ChiVariate(df), 0) << df;
    EXPECT_NEAR(FVariate(1e200, 1e300), 1, 1e-15);
    EXPECT_LT(std::fabs(StudentVariate(INT_MAX)), 6);
  }
}

}  // namespace
