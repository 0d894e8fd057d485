// Generators and variates against exact sequences and their distributions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "random/normals.h"
#include "random/ran_table.h"
#include "random/variates.h"
#include "reference.h"
#include "special/distributions.h"

namespace {

using namespace tessel;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const char *const kGenerators[] = {"PM", "GM", "LE", "MWC_32", "MWC_52"};

// Draw and distribution function of a call, and where they exist mean, variance and kurtosis.
struct Variate {
  std::string call;
  double (*draw)();
  double (*cdf)(double);
  double mean = 0, variance = 0, kurtosis = 0;
};

double NormalCdfByErfc(double x) { return std::erfc(-x / std::sqrt(2.0)) / 2; }

template <int kTenths>
Variate Chi() {
  constexpr double df = kTenths / 10.0;
  return {"ranchi(" + std::to_string(df),
          [] { return ChiVariate(df); },
          [](double x) { return 1 - ChiTail(x, df); },
          df,
          2 * df,
          3 + 12 / df};
}

const Variate kUniform = {"ranu", [] { return ranTable.uniform(); }, [](double x) { return x; }, 0.5, 1.0 / 12, 1.8};
const Variate kNormal = {"rann", [] { return ranTable.normal(); }, NormalCdfByErfc, 0, 1, 3};
const Variate kVariates[] = {
    kUniform,
    kNormal,
    Chi<3>(),
    Chi<10>(),
    Chi<20>(),
    Chi<30>(),
    Chi<60>(),
    Chi<2505>(),
    {"rant(5)", [] { return StudentVariate(5); }, [](double x) { return StudentCdf(x, 5); }, 0, 5.0 / 3, 9},
    {"rant(1)", [] { return StudentVariate(1); }, [](double x) { return 0.5 + std::atan(x) / M_PI; }},
    {"ranf(3, 7.5)", [] { return FVariate(3, 7.5); }, [](double x) { return FCdf(x, 3, 7.5); }},
    {"ranf(4, 20)", [] { return FVariate(4, 20); }, [](double x) { return FCdf(x, 4, 20); }, 10.0 / 9,
     800 * 22 / (4 * 324 * 16.0), 3 + 12 * (4 * 78 * 22 + 16 * 324) / (4 * 14 * 12 * 22.0)},
    // so many degrees of freedom that the draw is normal
    {"huge", [] { return (ChiVariate(1e20) / 1e20 - 1) * std::sqrt(0.5e20); }, NormalCdfByErfc, 0, 1, 3},
};

const Variate &FindVariate(const std::string &call) {
  const auto starts = [&](const Variate &v) {
    return call.substr(0, call.find(')')) == v.call.substr(0, call.find(')'));
  };
  const auto *found = std::find_if(std::begin(kVariates), std::end(kVariates), starts);
  EXPECT_NE(found, std::end(kVariates)) << call;
  return *found;
}

// Values of exact integer arithmetic, printed by tools/random_reference.py.
TEST(Random, SequencesOfEveryGeneratorAndVariate) {
  for (const Sequence &s : kSequences) {
    RanInit();
    RanSelect(s.generator);
    if (s.seed != 0) RanSetSeed(&s.seed, 1);
    const std::string call = s.call, what = s.generator + (" " + call);
    const auto draw = FindVariate(call.substr(0, call.find("()"))).draw;
    const double tolerance = call == "ranu()" ? 0 : 1e-11;
    std::vector<double> draws(kSequenceLength);
    std::generate(draws.begin(), draws.end(), draw);
    EXPECT_NEAR(draws[0], s.first, tolerance * std::fabs(s.first)) << what;
    EXPECT_NEAR(draws[1], s.second, tolerance * std::fabs(s.second)) << what;
    EXPECT_NEAR(draws.back(), s.last, tolerance * std::fabs(s.last)) << what;
    EXPECT_EQ(ranTable.uniform(), s.next) << what;
  }
}

// The 10000th value of the multiplier 48271 from seed 1 (ISO C++, minstd_rand), and the millionth of the MWC in
// Marsaglia's test of 1999, behind 1000256 draws of another generator on the same streams.
TEST(Random, PublishedStates) {
  int words[2] = {1};
  RanSelect("PM");
  RanSetSeed(words, 1);
  for (int i = 0; i < 10000; ++i) ranTable.uniform();
  RanGetSeed(words, 1);
  EXPECT_EQ(words[0], 399268537);
  const int seeds[] = {12345, 65435};
  RanSelect("MWC60");
  RanSetSeed(seeds, 2);
  for (int i = 0; i < 2000256; ++i) ranTable.uniform();
  RanGetSeed(words, 2);
  EXPECT_EQ((static_cast<unsigned>(words[0]) << 16) + static_cast<unsigned>(words[1]), 904977562U);
}

TEST(Random, FillsAndRestoredStatesContinueTheSequence) {
  RanInit();
  for (const char *generator : kGenerators) {
    RanSelect(generator);
    for (const auto &fill : {ranTable.fillUniform, ranTable.fillNormal}) {
      const auto draw = fill == ranTable.fillUniform ? ranTable.uniform : ranTable.normal;
      std::vector<int> state(258), again(258);
      std::vector<double> scalar(1501), cells(1500);
      const int count = RanGetSeed(state.data(), 258);
      std::generate(scalar.begin(), scalar.end(), draw);
      RanSetSeed(state.data(), count);
      EXPECT_EQ(draw(), scalar[0]) << generator;
      double *rows[] = {&cells[1000], &cells[500], &cells[0]};  // reordered
      EXPECT_EQ(fill(rows, 3, 500), rows);
      for (int i = 0; i < 1500; ++i)
        ASSERT_EQ(rows[i / 500][i % 500], scalar[1 + static_cast<unsigned>(i)]) << generator;
      EXPECT_EQ(fill(nullptr, 2, 2), nullptr);
      RanSetSeed(state.data(), count);
      for (const int size : {0, -1, INT_MIN}) EXPECT_EQ(fill(rows, size, 5), rows) << fill(rows, 3, size);
      RanGetSeed(again.data(), count);
      EXPECT_EQ(state, again) << generator << ": empty fills draw nothing";
    }
  }
}

// Seeds that restore the default, that are altered, and that change nothing; the first word of the state afterwards.
TEST(Random, SeedRules) {
  const struct {
    const char *generator;
    std::vector<int> words;
    int count, first;
  } cases[] = {{"PM", {-1}, 1, 2147483646},
               {"PM", {0}, 1, 198195252},
               {"PM", {INT_MAX}, 1, 198195252},
               {"PM", {-INT_MAX}, 1, 198195252},
               {"PM", {INT_MIN}, 1, 2147483646},
               {"PM", {7}, 258, 7},
               {"GM", {9}, 0, 362436069},
               {"GM", {0, 9}, 2, 362436069},
               {"GM", {-1872166913}, 1, 362436069},
               {"GM", {9}, 1, 9},
               {"GM", {9}, -3, 77},
               {"GM", {9, 9, 9}, 3, 77},
               {"LE", {5}, 1, 128},
               {"LE", {-5}, 1, -5},
               {"LE", {9}, 0, 112},
               {"LE", {2, 8, 16, 128}, 4, 2},
               {"LE", {2, 8, 16, 127}, 4, 128},
               {"LE", {1, 8, 16, 128}, 4, 128},
               {"LE", {9}, INT_MIN, 128},
               // the congruential generator from 0 and 5, and from the word that it takes to 0 and on to its constant
               {"MWC_52", {9}, 0, 1013904223},
               {"MWC_52", {9}, -1, 1013904223},
               {"MWC_52", {5}, 1, 1022226848},
               {"MWC_32", {634785765}, 1, 1013904223},
               {"MWC_52", {9, 8}, 2, 9}};
  for (const auto &c : cases) {
    RanInit();
    RanSelect(c.generator);
    const int known = 77;
    RanSetSeed(&known, 1);
    RanSetSeed(c.words.data(), c.count);
    int first = 0;
    RanGetSeed(&first, 1);
    EXPECT_EQ(first, c.first) << c.generator << " " << c.words[0] << " x " << c.count;
  }
  int room[2] = {3, 3};
  for (const int count : {0, -1, INT_MIN}) EXPECT_EQ(RanGetSeed(room, count), 258);
  EXPECT_EQ(RanGetSeed(nullptr, 258), 258);
  EXPECT_EQ(room[0], 3);
}

TEST(Random, SelectionAndTheCachedNormal) {
  RanInit();
  RanSelect("LE");
  const RanTable selected = ranTable;
  const double first = ranTable.normal();
  for (const char *name : {static_cast<const char *>(nullptr), ""}) RanSelect(name);
  const double second = ranTable.normal();
  RanSetSeed(nullptr, 0);
  EXPECT_EQ(ranTable.normal(), first) << "seeding discards the second of the pair";
  EXPECT_EQ(ranTable.normal(), second);
  ranTable.normal();
  RanSelect("LE ");
  EXPECT_EQ(ranTable.uniform, selected.uniform);
  EXPECT_EQ(ranTable.raw, nullptr);
  const double third = ranTable.normal();
  RanSetSeed(nullptr, 0);
  for (int i = 0; i < 4; ++i) EXPECT_NE(ranTable.normal(), third) << "an unknown name discards it too";
  RanSelect("default");
  EXPECT_NE(ranTable.raw, nullptr);
}

// A million draws: the Kolmogorov-Smirnov distance at the level 0.001, mean and variance within 4.5 standard errors.
void ExpectDistribution(const Variate &variate, const std::string &what) {
  constexpr int n = 1000000;
  std::vector<double> draws(n);
  std::generate(draws.begin(), draws.end(), variate.draw);
  std::sort(draws.begin(), draws.end());
  double distance = 0;
  for (int i = 0; i < n; ++i) {
    const double p = variate.cdf(draws[static_cast<unsigned>(i)]) * n;
    distance = std::max({distance, p - i, i + 1 - p});
  }
  EXPECT_LT(distance / std::sqrt(n), 1.95) << what;
  if (variate.kurtosis == 0) return;
  double sum = 0, squares = 0;
  for (const double x : draws) sum += x - variate.mean, squares += (x - variate.mean) * (x - variate.mean);
  EXPECT_LT(std::fabs(sum), 4.5 * std::sqrt(n * variate.variance)) << what;
  EXPECT_LT(std::fabs(squares / variate.variance - n), 4.5 * std::sqrt(n * (variate.kurtosis - 1))) << what;
}

TEST(Random, DistributionsOfAMillionDraws) {
  RanInit();
  for (const char *generator : kGenerators) {
    RanSelect(generator);
    for (const Variate &variate : {kUniform, kNormal}) ExpectDistribution(variate, generator + (" " + variate.call));
  }
  for (const Variate &variate : kVariates) ExpectDistribution(variate, variate.call);
}

// Impossible parameters give the missing value and draw nothing; extreme ones end, with the limit of the distribution.
TEST(Random, ImpossibleAndExtremeParameters) {
  RanInit();
  int before[258], after[258];
  RanGetSeed(before, 258);
  for (const double bad : {0.0, -1.0, -kInf, kInf, kNaN})
    for (const double value :
         {GammaVariate(bad, 1), GammaVariate(2, bad), ChiVariate(bad), FVariate(bad, 2), FVariate(2, bad)})
      EXPECT_TRUE(std::isnan(value)) << bad << " gives " << value;
  for (const int bad : {0, -1, INT_MIN}) EXPECT_TRUE(std::isnan(StudentVariate(bad))) << bad;
  RanGetSeed(after, 258);
  EXPECT_TRUE(std::equal(before, before + 258, after));

  const double largest = std::numeric_limits<double>::max();
  for (int i = 0; i < 1000; ++i) {
    for (const double df : {1e14, 1e18, 1e33, 1e200, largest / 4}) EXPECT_NEAR(ChiVariate(df) / df, 1, 1e-6) << df;
    EXPECT_NEAR(FVariate(1e200, 1e300), 1, 1e-15);
    EXPECT_GT(GammaVariate(std::nextafter(1, 2), 1), 0);
    EXPECT_GT(GammaVariate(std::nextafter(1, 0), 1), 0);
    for (const double df : {1e-300, 1e-20}) EXPECT_EQ(ChiVariate(df), 0) << df;
    EXPECT_LT(std::fabs(StudentVariate(INT_MAX)), 6);
  }
}

}  // namespace
