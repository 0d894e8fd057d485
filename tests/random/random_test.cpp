// Generators and variates against exact sequences and their distributions.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "random/generators.h"
#include "random/variates.h"
#include "random/ziggurat_tables.h"
#include "reference.h"
#include "special/distributions.h"

namespace {

using namespace tessel;

constinit Generators untouched;

// Default states, with that generator selected.
Generators Select(const char *name) {
  Generators generators;
  EXPECT_EQ(RanSelect(generators, name), Status::Ok) << name;
  return generators;
}

struct Variate {
  std::function<double(Generators &)> draw;
  std::function<double(double)> cdf;
  double mean, variance;
};

double NormalByErfc(double x) { return std::erfc(-x / std::sqrt(2.0)) / 2; }

Variate FindVariate(const std::string &call, double n, double m) {
  const int df = static_cast<int>(n);
  if (call == "ranu()") return {RanUniform, [](double x) { return x; }, 0.5, 1.0 / 12};
  if (call == "rann()") return {RanNormal, NormalByErfc, 0, 1};
  if (call[3] == 'c')
    return {[=](Generators &g) { return ChiVariate(g, n); }, [=](double x) { return 1 - ChiTail(x, n); }, n, 2 * n};
  if (call[3] == 't')
    return {[=](Generators &g) { return StudentVariate(g, df); }, [=](double x) { return StudentCdf(x, df); }, 0,
            n / (n - 2)};
  const double mean = m / (m - 2), variance = 2 * mean * mean * (n + m - 2) / (n * (m - 4));
  return {[=](Generators &g) { return FVariate(g, n, m); }, [=](double x) { return FCdf(x, n, m); }, mean, variance};
}

std::vector<double> Draws(Generators &generators, const std::function<double(Generators &)> &draw, std::size_t count) {
  std::vector<double> draws(count);
  std::generate(draws.begin(), draws.end(), [&] { return draw(generators); });
  return draws;
}

// A million draws: the Kolmogorov-Smirnov distance at the level 0.001, mean and variance within 4.5 standard errors.
void ExpectDistribution(Generators &generators, const Variate &variate, const std::string &what) {
  constexpr int n = 1000000;
  std::vector<double> draws = Draws(generators, variate.draw, n);
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
    Generators generators = Select(s.generator);
    if (s.seed != -1) RanSetSeed(generators, {&s.seed, 1});
    const std::string what = s.generator + (" " + std::string(s.call));
    const Variate variate = FindVariate(s.call, s.n, s.m);
    const std::vector<double> draws = Draws(generators, variate.draw, kSequenceLength);
    const auto [least, greatest] = std::minmax_element(draws.begin(), draws.end());
    const double tolerance = s.call[3] == 'u' ? 0 : 1e-11;
    for (const auto &[draw, expected] :
         {std::pair(draws[0], s.first), std::pair(draws[1], s.second), std::pair(draws.back(), s.last),
          std::pair(*least, s.least), std::pair(*greatest, s.greatest)})
      EXPECT_NEAR(draw, expected, tolerance * std::fabs(expected)) << what;
    EXPECT_EQ(RanUniform(generators), s.next) << what;
    ExpectDistribution(generators, variate, what);
  }
  const auto standardised = [](Generators &g) { return (ChiVariate(g, 1e20) / 1e20 - 1) * std::sqrt(0.5e20); };
  ExpectDistribution(untouched, {standardised, NormalByErfc, 0, 1}, "huge");
}

// The 10000th value of the multiplier 48271 from seed 1 (ISO C++, minstd_rand), and the millionth of the MWC in
// Marsaglia's test of 1999, behind 1000256 draws of another generator on the same streams.
TEST(Random, PublishedStates) {
  unsigned z = 0, w = 0;
  const auto run = [&](const char *name, std::vector<int> words, std::size_t steps) {
    Generators generators = Select(name);
    RanSetSeed(generators, words);
    Draws(generators, RanUniform, steps);
    RanGetSeed(generators, words);
    z = static_cast<unsigned>(words[0]), w = static_cast<unsigned>(words.back());
  };
  run("PM", {1}, 10000);
  EXPECT_EQ(z, 399268537U);
  run("MWC60", {12345, 65435}, 2000256);
  EXPECT_EQ((z << 16) + w, 904977562U);
}

// Every name, and that only the two forms of MWC8222 have steps as integers: 2^32 (uniform - 1/2), but for the shift
// inside the interval.
TEST(Random, Selection) {
  const std::vector<std::vector<const char *>> names = {{"PM", "LCG31"},
                                                        {"GM", "MWC60"},
                                                        {"LE", "LFSR113"},
                                                        {"MWC_32", "MWC8222", "MWC32"},
                                                        {"default", "MWC_52", "MWC8222_52", "MWC52"}};
  for (std::size_t k = 0; k < names.size(); ++k)
    for (const char *name : names[k]) {
      Generators generators = Select(name);
      EXPECT_EQ(RanUniform(generators), kSequences[k].first) << name;
      EXPECT_EQ(generators.table->raw != nullptr, k >= 3) << name;
    }
  Generators one = Select("MWC_32"), other = one;
  for (int i = 0; i < 1000; ++i) EXPECT_NEAR(one.table->raw(one), (RanUniform(other) - 0.5) * 0x1p32, 1);
  EXPECT_EQ(RanSelect(one, ""), Status::Ok);
  EXPECT_EQ(RanSelect(one, nullptr), Status::Ok);
  EXPECT_EQ(RanSelect(one, "MWC_52 "), Status::Invalid);
  EXPECT_EQ(one.table->raw(one), other.table->raw(other)) << "still MWC_32, where it was";
}

// A polar normal waits for the next call; a seed and a selection discard it, also that of an unknown name.
TEST(Random, CachedNormal) {
  for (const char *name : {"PM", "unknown", "", static_cast<const char *>(nullptr)}) {
    Generators generators = Select("PM"), fresh = generators;
    RanNormal(generators);
    const bool kept = name == nullptr || *name == '\0';
    EXPECT_EQ(RanSelect(generators, name) == Status::Invalid, name != nullptr && std::string(name) == "unknown");
    RanNormal(fresh);
    if (!kept) {
      int state = 0;
      RanGetSeed(fresh, {&state, 1});
      RanSetSeed(fresh, {&state, 1});
    }
    EXPECT_EQ(RanNormal(generators), RanNormal(fresh));
  }
}

// Also from a state in which a second normal of the polar method waits, which the seed discards. The rows of a matrix
// may be apart.
TEST(Random, FillsAndRestoredStatesContinueTheSequence) {
  for (const char *name : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {
    Generators generators = Select(name);
    for (const auto &[draw, fill] : {std::pair(&RanUniform, &RanFillUniform), std::pair(&RanNormal, &RanFillNormal)}) {
      std::vector<int> state(258);
      state.resize(static_cast<std::size_t>(RanGetSeed(generators, state)));
      const std::vector<double> scalar = Draws(generators, draw, 1502);
      RanSetSeed(generators, state);
      EXPECT_EQ(draw(generators), scalar[0]) << name;
      OwnedMatrix m(3, 507);
      Fill(m, 9);
      for (const Matrix &empty : {Matrix(), m.View().Rows(0, 0), m.View().Columns(0, 0)}) fill(generators, empty);
      fill(generators, m.View().Columns(0, 500));
      for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::equal(m[i], m[i] + 500, &scalar[1] + 500 * i)) << name;
        EXPECT_EQ(m[i][500], 9) << name;
      }
      EXPECT_EQ(draw(generators), scalar[1501]) << name << " behind the fill";
    }
  }
}

// Seeds that restore the default, that are altered, and that change nothing: the first word of the state afterwards,
// which was 777 before.
TEST(Random, SeedRules) {
  const struct {
    const char *generator;
    std::vector<int> words;
    int first;
  } cases[] = {// clang-format off
      {"PM", {-1}, 2147483646}, {"PM", {0}, 198195252}, {"PM", {INT_MAX}, 198195252}, {"PM", {-INT_MAX}, 198195252},
      {"PM", {INT_MIN}, 2147483646}, {"PM", std::vector<int>(258, 7), 7}, {"PM", {}, 198195252},
      {"GM", {}, 362436069}, {"GM", {0, 9}, 362436069}, {"GM", {-1872166913}, 362436069}, {"GM", {9, 9, 9}, 777},
      {"LE", {5}, 128}, {"LE", {129}, 129}, {"LE", {-5}, -5}, {"LE", {}, 112}, {"LE", {0, 8, 16, 128}, 112},
      {"LE", {2, 8, 16, 128}, 2}, {"LE", {1, 8, 16, 128}, 777}, {"LE", {2, 7, 16, 128}, 777},
      {"LE", {2, 8, 15, 128}, 777}, {"LE", {2, 8, 16, 127}, 777}, {"LE", {2, 8}, 777}, {"LE", {2, 8, 16, 128, 9}, 777},
      // the congruential generator from 0, and from the word that it takes to 0
      {"MWC_52", {}, 1013904223}, {"MWC_32", {634785765}, 1013904223}, {"MWC_52", {9, 8}, 9}};
  // clang-format on
  for (const auto &c : cases) {
    int word = 777;
    Generators generators = Select(c.generator);
    RanSetSeed(generators, {&word, 1});
    RanSetSeed(generators, c.words);
    RanGetSeed(generators, {});
    RanGetSeed(generators, {&word, 1});
    EXPECT_EQ(word, c.first) << c.generator << " x " << c.words.size();
  }
}

// Words of the state behind the first: each stream of GM has its own default, and the words of MWC8222 are taken in
// their order, index modulo 256 and carry only when all 258 are given.
TEST(Random, SeedsOfSeveralWords) {
  Generators generators = Select("GM");
  std::vector<int> words = {9, 0}, state(258, -1);
  RanSetSeed(generators, words);
  EXPECT_EQ(RanGetSeed(generators, state), 2);
  EXPECT_EQ(std::vector(state.begin(), state.begin() + 3), (std::vector{9, 521288629, -1}));
  EXPECT_EQ(RanSelect(generators, "MWC_52"), Status::Ok);
  for (const std::size_t count : {257, 258, 300}) {
    words.assign(count, 0);
    for (std::size_t i = 0; i < count; ++i) words[i] = static_cast<int>(1000 + i);
    RanUniform(generators);
    RanSetSeed(generators, words);
    EXPECT_EQ(RanGetSeed(generators, state), 258);
    EXPECT_TRUE(std::equal(state.begin(), state.begin() + 256, words.begin())) << count;
    EXPECT_EQ(state[256], count < 258 ? 255 : 1256 % 256) << count;
    EXPECT_EQ(state[257], count < 258 ? 362436 : 1257) << count;
  }
  std::fill(state.begin(), state.end(), -1);
  RanGetSeed(generators, std::span(state).first(257));
  EXPECT_EQ(state[256], -1) << "index and carry come together";
}

// Impossible parameters give the missing value and draw nothing; extreme ones end, with the limit of the distribution.
TEST(Random, ImpossibleAndExtremeParameters) {
  Generators g;
  for (const double bad : {0.0, -1.0, -HUGE_VAL, HUGE_VAL, std::nan("")})
    for (const double x : {GammaVariate(g, bad, 1), GammaVariate(g, 2, bad), FVariate(g, bad, 2), FVariate(g, 2, bad),
                           StudentVariate(g, 0), StudentVariate(g, INT_MIN)})
      EXPECT_TRUE(std::isnan(x)) << bad << " gives " << x;
  EXPECT_EQ(RanUniform(g), kSequences[4].first);
  for (int i = 0; i < 1000; ++i) {
    for (const double df : {1e14, 1e18, 1e33, 1e308}) EXPECT_NEAR(ChiVariate(g, df) / df, 1, 1e-6) << df;
    for (const double shape : {std::nextafter(1, 0), std::nextafter(1, 2)}) EXPECT_GT(GammaVariate(g, shape, 1), 0);
    for (const double df : {1e-300, 1e-20}) EXPECT_EQ(ChiVariate(g, df), 0) << df;
    EXPECT_NEAR(FVariate(g, 1e200, 1e300), 1, 1e-15);
    EXPECT_LT(std::fabs(StudentVariate(g, INT_MAX)), 6);
  }
}

// Two threads, each with its own object, draw what they draw alone.
TEST(Random, ObjectsInThreadsAreIndependent) {
  const auto draw = [](const char *name, int seed, std::vector<double> &draws) {
    Generators generators = Select(name);
    RanSetSeed(generators, {&seed, 1});
    draws = Draws(
        generators, [](Generators &g) { return RanNormal(g) + FVariate(g, 3, 5); }, 100000);
  };
  for (const char *name : {"PM", "GM", "LE", "MWC_32", "MWC_52"}) {
    std::vector<double> alone[2], together[2];
    for (int k = 0; k < 2; ++k) draw(name, 100 + k, alone[k]);
    std::thread first(draw, name, 100, std::ref(together[0])), second(draw, name, 101, std::ref(together[1]));
    first.join(), second.join();
    for (int k = 0; k < 2; ++k) EXPECT_EQ(together[k], alone[k]) << name;
  }
}

// Rectangles 1 to 127 have the area v, and so has the base with the tail, r f(r) plus the integral of f beyond r; in
// extended precision. The last one closes the stack as nearly as the digits of r allow. Then the recursion in double
// precision, each function rounded once: the same bits.
TEST(Random, ZigguratTables) {
  using Wide = long double;
  const auto bell = [](Wide x) { return std::exp(-x * x / 2); };
  const Wide edge = kZigguratEdge, root2 = std::numbers::sqrt2_v<Wide>,
             tail = std::sqrt(std::numbers::pi_v<Wide>) / root2 * std::erfc(edge / root2);
  EXPECT_NEAR(static_cast<double>((edge * bell(edge) + tail) / kZigguratArea), 1, 1e-12);
  for (std::size_t i = 1; i < kZigguratCount; ++i)
    EXPECT_NEAR(static_cast<double>(kZigX[i] * (bell(kZigX[i + 1]) - bell(kZigX[i])) / kZigguratArea), 1,
                i == 127 ? 2e-9 : 1e-12)
        << i;

  const auto once = [](Wide x) { return static_cast<double>(x); };
  double f = once(std::exp(Wide{-0.5 * (kZigguratEdge * kZigguratEdge)}));
  EXPECT_EQ(kZigX[0], kZigguratArea / f);
  EXPECT_EQ(kZigX[1], 3.442619855899);
  EXPECT_EQ(kZigX[kZigguratCount], 0);
  for (std::size_t i = 2; i < kZigguratCount; ++i) {
    EXPECT_EQ(kZigX[i], std::sqrt(-2 * once(std::log(Wide{kZigguratArea / kZigX[i - 1] + f})))) << i;
    f = once(std::exp(Wide{-0.5 * (kZigX[i] * kZigX[i])}));
  }
  for (std::size_t i = 0; i < kZigguratCount; ++i) EXPECT_EQ(kZigRatio[i], kZigX[i + 1] / kZigX[i]) << i;
}

}  // namespace
