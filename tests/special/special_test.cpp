// The special functions and distributions against 50-digit values, at their edges and at the joins of their branches.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <span>
#include <string>

#include "reference.h"
#include "special/distributions.h"
#include "special/gamma.h"
#include "special/normal.h"
#include "special/quantiles.h"

namespace {

using namespace tessel;
using enum Tail;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// An error passes when it is within `relative` of the value or within `absolute`.
struct Family {
  std::string name;
  std::span<const Reference> values;
  std::function<double(double, double, double)> function;
  double relative;
  double absolute;
};

int Whole(double x) { return static_cast<int>(x); }

const Family kFamilies[] = {
    // From 0.28 to 0.3 in |x|/sqrt(2) the lower branch ends with 1.1e-15.
    {"NormalTail", kNormalTail, [](double x, double, double) { return NormalTail(x, Upper); }, 1e-13, 1.1e-15},
    {"NormalUpperTail", std::span(kNormalTail).last(5), [](double x, double, double) { return NormalTail(x, Upper); },
     1e-13, 0},
    {"NormalFarTail", kNormalFarTail, [](double x, double, double) { return NormalTail(x, Upper); }, 1e-10, 0},
    {"NormalLower", kNormalTail, [](double x, double, double) { return 1 - NormalCdf(x); }, 0, 1.1e-15},
    {"LogGamma", kLogGamma, [](double x, double, double) { return LogGamma(x); }, 1e-15, 1e-14},
    {"Gamma", kGamma, [](double x, double, double) { return Gamma(x); }, 1e-15, 0},
    {"GammaBeyond", kGammaBeyond, [](double x, double, double) { return Gamma(x); }, 2e-13, 0},
    {"Polygamma", kPolygamma, [](double x, double n, double) { return Polygamma(x, Whole(n)); }, 1e-13, 1e-15},
    {"UpperGamma", kUpperGamma, [](double x, double p, double) { return IncompleteGamma(x, p, Upper); }, 1e-10, 1e-11},
    {"UpperGammaLarge", kUpperGammaLarge, [](double x, double p, double) { return IncompleteGamma(x, p, Upper); }, 5e-7,
     0},
    {"LowerGamma", kUpperGamma, [](double x, double p, double) { return 1 - IncompleteGamma(x, p, Lower); }, 1e-10,
     1e-11},
    {"ChiTail", kUpperGamma, [](double x, double p, double) { return ChiTail(2 * x, 2 * p); }, 1e-10, 1e-11},
    {"StudentTail", kStudentTail, [](double t, double n, double) { return StudentTail(t, Whole(n)); }, 1e-11, 1e-14},
    {"StudentCdf", kStudentTail, [](double t, double n, double) { return StudentCdf(-t, Whole(n)); }, 1e-11, 1e-14},
    {"FTail", kFTail, FTail, 1e-12, 1e-13},
    {"FTailMany", kFTailMany, FTail, 0, 2e-10},
    {"FCdf", kFTail, [](double x, double n, double m) { return 1 - FCdf(x, n, m); }, 1e-12, 1e-13},
    {"StudentDensity", kStudentDensity, [](double x, double n, double) { return StudentDensity(x, n); }, 1e-13, 0},
    {"ChiDensity", kChiDensity, [](double x, double n, double) { return ChiDensity(x, n); }, 1e-13, 0},
    {"FDensity", kFDensity, FDensity, 1e-12, 0},
    {"NormalQuantile", kNormalQuantile, [](double p, double, double) { return NormalQuantile(p); }, 1e-15, 1e-16},
    {"ChiQuantile", kChiQuantile, [](double p, double n, double) { return ChiQuantile(p, n); }, 1e-9, 0},
    {"StudentQuantile", kStudentQuantile, [](double p, double n, double) { return StudentQuantile(p, Whole(n)); },
     1e-10, 1e-10},
    {"FQuantile", kFQuantile, FQuantile, 1e-8, 0},
};

class Accuracy : public testing::TestWithParam<Family> {};

TEST_P(Accuracy, AgreesWith50Digits) {
  const Family &family = GetParam();
  for (const Reference &r : family.values) {
    const double tolerance = std::max(family.relative * std::fabs(r.value), family.absolute);
    EXPECT_NEAR(family.function(r.x, r.a, r.b), r.value, tolerance) << r.x << ", " << r.a << ", " << r.b;
  }
}

INSTANTIATE_TEST_SUITE_P(Special, Accuracy, testing::ValuesIn(kFamilies), [](const auto &i) { return i.param.name; });

TEST(Special, EdgesHaveTheirNamedResults) {
  constexpr double kHuge = std::numeric_limits<double>::max();
  // clang-format off
  struct {
    double result, expected;
  } const cases[] = {
      {LogGamma(-1), kNaN}, {LogGamma(-kInf), kNaN}, {LogGamma(0), kInf}, {LogGamma(1), 0}, {LogGamma(2), 0},
      {LogGamma(kInf), kInf}, {LogGamma(10), std::log(362880.0)}, {Gamma(0), kInf}, {Gamma(-1), kInf},
      {Gamma(-2147483648.0), kInf}, {Gamma(-3e9), kNaN}, {Gamma(-3e9 - 0.5), kNaN}, {Gamma(-1e-310), -kInf}, {Gamma(20), 121645100408832000.0},
      {Gamma(1e300), kInf}, {Polygamma(0, 1), 0}, {Polygamma(-1, 1), 0}, {Polygamma(1, -1), 0},
      {Polygamma(kInf, 2), 0}, {Polygamma(1e-300, 5), kInf}, {Polygamma(5, 2147483646), -kInf},
      {Polygamma(1e9, 2147483647), 0}, {BetaFraction(0, 1, 1), 0}, {BetaFraction(0.5, 0, 1), 0},
      {BetaFraction(0.5, 1, -1), 0}, {IncompleteGamma(0, 1, Lower), 0}, {IncompleteGamma(0, 1, Upper), 1},
      {IncompleteGamma(1, -1, Upper), 1}, {IncompleteGamma(2e11, 5, Lower), 1}, {IncompleteGamma(kInf, 5, Lower), 1}, {IncompleteGamma(707, 1, Upper), 0}, {IncompleteGamma(kInf, 2000, Upper), 0},
      {IncompleteGamma(1e5, 5, Upper), 0}, {IncompleteGamma(1e5, 5, Lower), 1}, {IncompleteGamma(1e-300, 5, Upper), 1},
      {ChiTail(0, 3), 1}, {NormalTail(0, Upper), 0.5}, {NormalTail(40, Upper), 0}, {NormalTail(36.35, Upper), 0}, {NormalTail(-40, Upper), 1},
      {NormalTail(-kInf, Lower), 0}, {NormalCdf(10), 1}, {NormalCdf(0), 0.5}, {NormalDensity(kInf), 0},
      {NormalDensity(1e200), 0}, {StudentTail(1, 0), 0}, {StudentTail(1, -5), 0}, {StudentTail(0, 5), 0.5},
      {StudentCdf(0, 5), 0.5}, {StudentTail(-kInf, 3), 1}, {StudentTail(-1e200, 4), 1}, {StudentTail(kInf, 4), 0},
      {StudentTail(-1e9, 2147483647), 1}, {StudentDensity(kInf, 3), 0}, {StudentDensity(1, 0), kNaN},
      {FTail(0, 1, 1), 1}, {FTail(kHuge, 1, 1), 0}, {FTail(1, 0, 1), 0}, {FCdf(-1, 1, 1), 0}, {FCdf(kHuge, 1, 1), 1},
      {FCdf(1, 1, 0), 0}, {FTail(1e-300, 3, 4), 1}, {FCdf(1e-300, 3, 4), 0}, {FTail(1e300, 1e9, 4), 0}, {FTail(1e308, 100, 1e9), 0},
      {FTail(1, 2e7, 2e7), 0.5}, {FDensity(0, 2, 2), 0}, {FDensity(kInf, 2, 2), 0}, {ChiDensity(0, 2), 0},
      {ChiDensity(kInf, 3), 0}, {NormalQuantile(0.5), 0}, {NormalQuantile(0), -kInf}, {NormalQuantile(1), kInf},
      {StudentQuantile(0, 3), -kInf}, {StudentQuantile(1, 3), kInf}, {StudentQuantile(0.5, 0), kNaN},
      {ChiQuantile(1e-11, 2), 0}, {ChiQuantile(0.5, 0), 0}, {ChiQuantile(1, 2), kInf},
      {ChiQuantile(2e-10, 0.5), 1e-10}, {FQuantile(1e-10, 2, 2), 0}, {FQuantile(1, 2, 2), kInf},
      {FQuantile(0.5, 0, 2), kNaN},
  };
  // clang-format on
  int row = 0;
  for (const auto &c : cases) {
    EXPECT_TRUE(c.result == c.expected || (std::isnan(c.result) && std::isnan(c.expected)))
        << "case " << row << ": " << c.result << " in place of " << c.expected;
    ++row;
  }
}

TEST(Special, AMissingValueComesOutMissing) {
  // clang-format off
  const double results[] = {
      LogGamma(kNaN), Gamma(kNaN), Polygamma(kNaN, 1), BetaFraction(kNaN, 1, 1), BetaFraction(0.5, 1, kNaN),
      IncompleteGamma(kNaN, 2, Lower), IncompleteGamma(3, kNaN, Upper), NormalTail(kNaN, Upper), NormalCdf(kNaN),
      NormalDensity(kNaN), StudentTail(kNaN, 2147483647), StudentCdf(kNaN, 3), StudentDensity(1, kNaN),
      ChiTail(kNaN, 3), ChiDensity(1, kNaN), FTail(kNaN, 2, 3), FTail(1, kNaN, 3), FCdf(1, 2, kNaN),
      FDensity(1, kNaN, 2), NormalQuantile(kNaN), ChiQuantile(kNaN, 0.1), ChiQuantile(0.5, kNaN),
      StudentQuantile(kNaN, 3), FQuantile(kNaN, 2, 2), FQuantile(0.5, 2, kNaN),
  };
  // clang-format on
  int row = 0;
  for (double result : results) EXPECT_TRUE(std::isnan(result)) << "case " << row++;
}

TEST(Special, BranchesJoin) {
  const double root2 = std::sqrt(2.0);
  struct {
    std::function<double(double)> function;
    double at, relative;
  } const joins[] = {
      {[](double x) { return NormalTail(x, Upper); }, 0.3 * root2, 5e-15},
      {[](double x) { return NormalTail(x, Upper); }, 2.2 * root2, 1e-13},
      {[](double x) { return NormalTail(x, Upper); }, 6.9 * root2, 1e-10},
      {[](double t) { return StudentTail(t, 7); }, 4, 1e-12},
      {[](double t) { return StudentTail(t, 800); }, 4, 1e-10},
      {[](double t) { return StudentTail(t, 2147483647); }, 4, 1e-7},
      {[](double v) { return StudentTail(2, static_cast<int>(v)); }, 1001, 1e-5},  // falls by 3e-6 per df
      {[](double x) { return IncompleteGamma(x, 60, Upper); }, 60, 1e-11},
      {[](double p) { return IncompleteGamma(990, p, Upper); }, 1000, 1e-5},
      {[](double m) { return FTail(2.5, 3, m); }, 1e8, 1e-8},
      {[](double n) { return FTail(2.5, n, 3); }, 1e8, 1e-8},
      {[](double m) { return FTail(1.0002, 1.1e7, m); }, 1e7, 1e-8},
      {LogGamma, 8.5, 1e-14},
      {LogGamma, 50, 1e-14},
      {Gamma, 20, 2e-13}};
  for (const auto &join : joins) {
    const double below = join.function(join.at * (1 - 1e-15));
    const double above = join.function(join.at * (1 + 1e-15));
    EXPECT_NEAR(above / below, 1, join.relative) << "at " << join.at;
  }
}

// Q(1, x) is exp(-x), down to the smallest value before 0. The fraction at one side of F may pass 1 by its rounding.
TEST(Special, ProbabilitiesEndAtZeroAndOne) {
  EXPECT_NEAR(IncompleteGamma(705, 1, Upper) / std::exp(-705), 1, 1e-12);
  const struct {
    double x, n, m;
  } cases[] = {{2.34515e+06, 366.756, 5.66969e-17}, {511.386, 1.48671e-16, 227.163}, {1.603e+07, 1043.87, 1.25702e-17}};
  for (const auto &[x, n, m] : cases)
    for (const double p : {FTail(x, n, m), FCdf(x, n, m)}) EXPECT_TRUE(p >= 0 && p <= 1) << p;
}

// The chi-squared limit is what a user expects of an F with "infinitely" many degrees of freedom in the denominator.
TEST(Special, FWithUnboundedDegreesOfFreedomIsChiSquared) {
  for (double m : {1e11, 1e16, 1e300}) {
    for (double x : {0.5, 2.0, 5.0}) {
      EXPECT_NEAR(FTail(x, 3, m), ChiTail(3 * x, 3), 1e-10);
      EXPECT_NEAR(FCdf(1 / x, m, 3), ChiTail(3 * x, 3), 1e-10);
    }
  }
}

TEST(Quantiles, UndoTheirTails) {
  for (double p : {1e-9, 1e-6, 0.001, 0.02, 0.37785315738826664, 0.5, 0.95, 1 - 1e-7, 1 - 1e-9}) {
    EXPECT_NEAR(NormalCdf(NormalQuantile(p)), p, 1e-15 + 1e-12 * p);
    for (double df : {1.0, 2.0, 9.0, 1500.0, 1e5}) {
      const double chi = ChiQuantile(p, df);
      EXPECT_TRUE(std::fabs(ChiTail(chi, df) - (1 - p)) < 1e-10 || chi == 1e-10) << p << ", " << df;
      EXPECT_NEAR(StudentCdf(StudentQuantile(p, Whole(df)), Whole(df)), p, 1e-10) << p << ", " << df;
      for (double m : {1.0, 4.0, 300.0, 1e8, 1e11, 1e30}) {
        const double x = FQuantile(p, df, m);
        const bool outOfReach = p < 1e-4 && std::isnan(x);
        EXPECT_TRUE(std::fabs(FCdf(x, df, m) - p) < 2e-9 || outOfReach) << p << ", " << df << ", " << m;
      }
    }
  }
  // The start of the F quantile is near it, with degrees of freedom below 1 too.
  for (double q : {0.3, 0.4, 0.7})
    for (double m : {0.5, 1.0, 4.0, 30.0})
      for (double n : {0.1, 1.0, 5.0})
        EXPECT_NEAR(FTail(*FQuantileStart(q, n, m), n, m), q, 0.15) << q << ", " << n << ", " << m;
  EXPECT_FALSE(FQuantileStart(0.5, 0, 1) || FQuantileStart(0.5, 1, -1) || FQuantileStart(1.1, 1, 1) ||
               FQuantileStart(-0.1, 1, 1));
  // The last step falls short of a rounding unit here: the answer is the point itself, not the bracket's middle.
  EXPECT_NEAR(FQuantile(0.37785315738826664, 1e8, 1e8), 0.9999377771, 1e-9);
}

// The exponential distribution with rate a.
double ExponentialCdf(double x, double a, double) { return x <= 0 ? 0 : 1 - std::exp(-a * x); }
double ExponentialDensity(double x, double a, double) { return x <= 0 ? 0 : a * std::exp(-a * x); }
double FlatCdf(double, double, double) { return 0.25; }
// Steps ten times too long.
double LowDensity(double x, double a, double) { return ExponentialDensity(x, a, 0) / 10; }
// 0.497 at its first point, 0.48 further right.
double FallingCdf(double x, double, double) { return x <= 1 ? 0.497 : 0.48; }
double OneDensity(double, double, double) { return 1; }
double CdfFrom0To50(double x, double a, double) {
  EXPECT_TRUE(x >= 0 && x <= 50) << x;
  return ExponentialCdf(x, a, 0);
}

TEST(SafeguardedNewton, SolvesInsideItsBracketOrGivesUp) {
  const NewtonProblem open = {.cdf = ExponentialCdf, .density = ExponentialDensity, .a = 2, .b = 0};
  NewtonProblem closed = open;
  closed.low = 0, closed.high = 50;
  for (double p : {0.001, 0.3, 0.9, 0.9999}) {
    for (double x0 : {-3.0, 1e-9, 0.4, 30.0, 80.0}) {
      EXPECT_NEAR(SafeguardedNewton(p, x0, closed), -std::log1p(-p) / 2, 1e-9) << p << ", " << x0;
    }
  }
  EXPECT_NEAR(SafeguardedNewton(0.3, 0.1, open), -std::log1p(-0.3) / 2, 1e-9);
  EXPECT_NEAR(SafeguardedNewton(0.3, -3, open), -std::log1p(-0.3) / 2, 1e-9) << "from where there is no slope";
  EXPECT_EQ(SafeguardedNewton(0, 1, closed), 0);
  EXPECT_EQ(SafeguardedNewton(1, 1, closed), 50);
  EXPECT_EQ(SafeguardedNewton(-1, 1, open), -kInf);
  closed.maxIter = 1;
  EXPECT_TRUE(std::isnan(SafeguardedNewton(0.9, 1e-9, closed))) << "one step from far away";
  closed.maxIter = 40, closed.cdf = CdfFrom0To50;
  for (double x0 : {-3.0, 80.0}) SafeguardedNewton(0.3, x0, closed);
  NewtonProblem flat = open;
  flat.low = 0, flat.cdf = FlatCdf;
  EXPECT_TRUE(std::isnan(SafeguardedNewton(0.5, 1, flat)));
}

// When the steps run out: the best point so far, if F there is within one per cent of p.
TEST(SafeguardedNewton, EndsWithTheBestPoint) {
  const auto at = [](double p) { return -std::log1p(-p) / 2; };
  NewtonProblem problem = {.cdf = ExponentialCdf, .density = ExponentialDensity, .a = 2, .b = 0, .maxIter = 1};
  EXPECT_NEAR(SafeguardedNewton(0.5, at(0.5 * 0.991), problem), at(0.5), 1e-4) << "one step further";
  EXPECT_TRUE(std::isnan(SafeguardedNewton(0.5, at(0.5 * 0.989), problem)));
  problem.maxIter = 2, problem.density = LowDensity;
  EXPECT_EQ(SafeguardedNewton(0.5, at(0.4975), problem), at(0.4975)) << "the second is worse";
  EXPECT_EQ(SafeguardedNewton(0.5, at(0.5025), problem), at(0.5025));
  problem.cdf = FallingCdf, problem.density = OneDensity;
  EXPECT_EQ(SafeguardedNewton(0.5, 1, problem), 1) << "an end gives way to a better one only";
}

}  // namespace
