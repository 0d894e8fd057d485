// The built-in functions of everyday data work, through the exports.
#include <climits>

#include "workspace.h"

namespace {

constexpr double kRelative = 1e-10;

const std::vector<double> x = {2, NA, 3, 1.5, 4, NA, 2.5, 5}, w = {1, 2, 4, 3, 5, 6, 8, 7},
                          d = {0.1, 0.2, 0.3, 0.1, 0.5, 0.25, 0.4, 0.1};

struct SeriesCase {
  const char *code;
  std::vector<double> y;
};

// Runs y = CODE over the observations first to last of x, w, d, with an empty column e.
std::vector<double> Evaluate(const std::string &code, int first, int last, bool succeeds = true) {
  Algebra algebra({"x", "w", "d"}, {x, w, d}, "e = MISSING; y = " + code + ";");
  EXPECT_EQ(algebra.error, "") << code;
  EXPECT_EQ(algebra.Run({}, first, last), succeeds) << code;
  return algebra.Get("y");
}

// Printed by tools/algebra_functions.py: pandas 1.5.3, numpy, statsmodels 0.13.5 (Holt) over a run of observations 1
// to 6.
TEST(AlgebraFunctions, ColumnsAgreeWithPandas) {
  const SeriesCase cases[] = {
      {"lag(x, 1)", {NA, 2, NA, 3, 1.5, 4, NA, NA}},
      {"lag(x, -2.9)", {NA, 1.5, 4, NA, 2.5, 5, NA, NA}},
      {"lead(x, 1)", {NA, 3, 1.5, 4, NA, 2.5, 5, NA}},
      {"diff(w, 2)", {NA, NA, 3, 1, 1, 3, 3, NA}},
      {"diff(x, 1)", {NA, NA, NA, -1.5, 2.5, NA, NA, NA}},
      {"dlog(w)",
       {NA, 0.6931471805599, 0.6931471805599, -0.2876820724518, 0.510825623766, 0.182321556794, 0.2876820724518, NA}},
      {"movingavg(w, 1, 1)", {NA, 2.333333333333, 3, 4, 4.666666666667, 6.333333333333, NA, NA}},
      {"movingavg(x, 1, 0)", {NA, NA, NA, 2.25, 2.75, NA, NA, NA}},
      {"movingavg(w, 3, -1)", {NA, NA, NA, 2.333333333333, 3, 4, 4.666666666667, NA}},
      {"movingSD(w, 2, 0, 3)",
       {NA, NA, 1.414213562373, 0.8164965809277, 1.290994448736, 2.081665999466, 3.55902608401, NA}},
      {"almon(w, 2, 1.5)",
       {NA, NA, 3.040747083676, 3.202605242176, 4.262364056465, 5.354160812246, 7.040747083676, NA}},
      {"cum(w)", {NA, 2, 6, 9, 14, 20, 28, NA}},
      {"cum(x)", {NA, NA, 3, 4.5, 8.5, NA, NA, NA}},
      {"stock(w, 0.25, 10)", {NA, 9.5, 11.125, 11.34375, 13.5078125, 16.130859375, 20.09814453125, NA}},
      {"stockv(w, d, 10)", {NA, 10, 11, 12.9, 11.45, 14.5875, 16.7525, NA}},
      {"stockv(x, d, -1)", {NA, NA, 2.3, 3.57, 5.785, NA, NA, NA}},
      {"peak(x)", {NA, NA, 3, 3, 4, NA, 4, NA}},
      {"trough(x)", {NA, NA, 3, 1.5, 1.5, NA, 1.5, NA}},
      {"mean(x)", {NA, 2.75, 2.75, 2.75, 2.75, 2.75, 2.75, NA}},
      {"variance(x)", {NA, 0.8125, 0.8125, 0.8125, 0.8125, 0.8125, 0.8125, NA}},
      {"ewma(w, 0.3, 0, e)", {NA, 2, 2.6, 2.72, 3.404, 4.1828, 5.32796, NA}},
      {"ewma(x, 0.3, 0, e)", {NA, NA, 3, 2.55, 2.985, 2.985, 2.8395, NA}},
      {"ewma(w, 0.3, 0.6, e)", {NA, 2, 4, 5.1, 6.092, 6.88984, 7.8881568, NA}},
      {"ewmc0(w, d, 0.7, e)", {NA, NA, NA, 0.9326443997627, 0.9618980134216, 0.915128042624, 0.9495749376824, NA}},
  };
  for (const SeriesCase &c : cases) ExpectSeries(Evaluate(c.code, 1, 6), c.y, c.code, kRelative);
}

struct ValueCase {
  const char *code;
  double y;
};

TEST(AlgebraFunctions, Values) {
  const ValueCase cases[] = {
      // scipy 1.10.1, printed by tools/algebra_functions.py
      {"loggamma(4.5)", 2.453736570842},
      {"densn(-0.5)", 0.3520653267643},
      {"probn(-0.5)", 0.308537538726},
      {"tailn(-0.5)", 0.691462461274},
      {"denschi(4, 3.5)", 0.123825040415},
      {"tailchi(4, 3.5)", 0.3327055956918},
      {"denst(0.7, 5.9)", 0.2867654575767},
      {"tailt(0.7, 5.9)", 0.2575744741574},
      {"densf(0.7, 4.5, 7)", 0.5853255430668},
      {"tailf(0.7, 4.5, 7)", 0.6294341213927},
      // by hand
      {"abs(-2) + fabs(-0.5)", 2.5},
      {"ceil(-1.5)", -1},
      {"floor(-1.5)", -2},
      {"round(-1.5)", -1},
      {"round(2.5)", 3},
      {"fmod(-7.5, 2)", -1.5},
      {"max(2, 3) - min(2, 3)", 1},
      {"max(2, MISSING)", NA},
      {"div(-7.9, 2.9)", -3},
      {"div(-2147483648, -1)", INT_MAX},
      {"div(1, 0.9)", NA},
      {"log10(1000) + log(exp(2))", 5},
      {"log(0) == -exp(1000)", 1},
      {"loggamma(0) == log(0)", 1},
      {"exp(1000) > 1.7e308", 1},
      {"sqrt(2)", M_SQRT2},
      {"sin(PI/6) + cos(PI/3) + tan(PI/4)", 2},
      {"asin(1) + acos(0) + atan(1)", 1.25 * M_PI},
      {"acos(2)", NA},
  };
  for (const ValueCase &c : cases)
    ExpectSeries(Evaluate(c.code, 3, 3), {NA, NA, NA, c.y, NA, NA, NA, NA}, c.code, kRelative);
}

TEST(AlgebraFunctions, FaultsFailTheRunAndGiveMissing) {
  for (const char *code : {"log(-1)", "log10(-1)", "loggamma(-1)", "dlog(d)*0 + sqrt(-1)", "denschi(1, 0)",
                           "tailf(1, 2, 0)", "densf(1, -1, 2)", "tailt(1, 0.9)", "denst(1, -5)", "ewma(x, 0.5, 0, x)",
                           "ewmc0(x, w, 0.5, w)", "ewmc0(x, w, 0.5, x)"})
    ExpectSeries(Evaluate(code, 2, 3, false), std::vector<double>(8, NA), code);
  Algebra algebra({"x"}, {{1, 0, -1, 2}}, "y = dlog(x);");
  EXPECT_TRUE(algebra.Run({}, 0, 1)) << "a zero alone is a warning";
  EXPECT_FALSE(algebra.Run({}, 0, 3));
  ExpectSeries(algebra.Get("y"), {NA, NA, NA, NA}, "dlog");
}

// Reads are bounded by the sample for lag, lead and diff, by the end of the run for the others.
TEST(AlgebraFunctions, BoundsAndHostileWindows) {
  const SeriesCase cases[] = {
      {"lead(w, 1)", {NA, NA, 3, 5, NA, NA, NA, NA}},
      {"movingavg(w, 0, 1)", {NA, NA, 3.5, NA, NA, NA, NA, NA}},
      {"movingavg(w, -1, 0)", {NA, NA, 0, 0, NA, NA, NA, NA}},
      {"movingavg(w, 0.5, 0.75)", {NA, NA, 4 / 2.25, 3 / 2.25, NA, NA, NA, NA}},
      {"almon(w, 0, 5)", {NA, NA, 4, 3, NA, NA, NA, NA}},
      {"trend() + 10*period() + 100*season()", {NA, NA, 113, 114, NA, NA, NA, NA}},
      // too few observations: nothing is written
      {"ewma(w, 0.5, 0.5, e)", {NA, NA, NA, NA, NA, NA, NA, NA}},
      {"ewmc0(w, d, 0.5, e)", {NA, NA, NA, NA, NA, NA, NA, NA}},
  };
  for (const SeriesCase &c : cases) ExpectSeries(Evaluate(c.code, 2, 3), c.y, c.code);
  // Far lags and leads are out of bounds; far behind themselves they leave a window empty, which has the value 0.
  for (const std::string code : {"lag(w, #)", "lead(w, #)", "diff(w, #)", "almon(w, #, 2)", "movingavg(w, #, 0)",
                                 "movingavg(w, #, #)", "movingSD(w, 0, #, 1)"}) {
    for (const std::string bound : {"1.0e300", "2147483647", "exp(1000)", "-1.0e300", "-2147483648"}) {
      std::string hostile = code;
      for (auto at = hostile.find('#'); at != std::string::npos; at = hostile.find('#')) hostile.replace(at, 1, bound);
      const double value = code[0] == 'm' && bound[0] == '-' ? 0 : NA;
      ExpectSeries(Evaluate(hostile, 2, 3), {NA, NA, value, value, NA, NA, NA, NA}, hostile);
    }
  }
}

// A gap is filled along the last line, and the count of gaps starts anew with the third value.
TEST(AlgebraFunctions, EwmaExtendsTheLineAcrossGaps) {
  Algebra algebra({"x"}, {{NA, 1, NA, 3, NA, NA, 8, NA}}, "z = ewma(x, 2, 1, e);");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("e"), {NA, 1, 1, 3, 7, 9, 8, 13}, "e");
  ExpectSeries(algebra.Get("z"), algebra.Get("e"), "z");
}

// A statement that overwrites the column it sums sees its own results: 1, 1 + 1, 1 + 2 + 1, ...
TEST(AlgebraFunctions, CumOfItsOwnTarget) {
  Algebra algebra({"y"}, {{1, 1, 1, 1, 1}}, "y = cum(y);");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("y"), {1, 2, 4, 8, 16}, "y");
}

}  // namespace
