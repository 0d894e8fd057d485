// The built-in functions of everyday data work, through the exports.
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

// Values of scipy 1.10.1, printed by tools/algebra_functions.py.
TEST(AlgebraFunctions, DistributionsAgreeWithScipy) {
  for (const char *code :
       {"abs(loggamma(4.5)/2.453736570842 - 1) < 1.0e-10", "abs(densn(-0.5)/0.3520653267643 - 1) < 1.0e-10",
        "abs(probn(-0.5)/0.308537538726 - 1) < 1.0e-10", "abs(tailn(-0.5)/0.691462461274 - 1) < 1.0e-10",
        "abs(denschi(4, 3.5)/0.123825040415 - 1) < 1.0e-10", "abs(tailchi(4, 3.5)/0.3327055956918 - 1) < 1.0e-10",
        "abs(denst(0.7, 5.9)/0.2867654575767 - 1) < 1.0e-10", "abs(tailt(0.7, 5.9)/0.2575744741574 - 1) < 1.0e-10",
        "abs(densf(0.7, 4.5, 7)/0.5853255430668 - 1) < 1.0e-10",
        "abs(tailf(0.7, 4.5, 7)/0.6294341213927 - 1) < 1.0e-10"})
    EXPECT_EQ(Evaluate(code, 3, 3)[3], 1) << code;
}

TEST(AlgebraFunctions, ValuesByHand) {
  for (const char *code : {"abs(-2) == 2",
                           "fabs(-0.5) == 0.5",
                           "ceil(-1.5) == -1",
                           "floor(-1.5) == -2",
                           "round(-1.5) == -1",
                           "round(2.5) == 3",
                           "fmod(-7.5, 2) == -1.5",
                           "max(2, 3) == 3",
                           "max(3, 2) == 3",
                           "min(2, 3) == 2",
                           "min(3, 2) == 2",
                           "max(2, MISSING) == MISSING",
                           "div(-7.9, 2.9) == -3",
                           "div(-2147483648, -1) == 2147483647",
                           "div(1, 0.9) == MISSING",
                           "log10(1000) == 3",
                           "log(exp(2)) == 2",
                           "log(0) == -exp(1000)",
                           "loggamma(0) == log(0)",
                           "exp(1000) > 1.7e308",
                           "sqrt(6.25) == 2.5",
                           "abs(sin(PI/6) - 0.5) < 1.0e-15",
                           "abs(cos(PI/3) - 0.5) < 1.0e-15",
                           "abs(tan(PI/4) - 1) < 1.0e-15",
                           "asin(1) == PI/2",
                           "acos(0) == PI/2",
                           "atan(1) == PI/4",
                           "acos(2) == MISSING"})
    EXPECT_EQ(Evaluate(code, 3, 3)[3], 1) << code;
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
  ExpectSeries(Evaluate("ewmc0(w, d, 0.5, e)", 2, 4), std::vector<double>(8, NA), "three observations");
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

// Over a long run the sums are carried from one observation to the next: the bits of single observations, each computed
// anew from the start of the run, by hand.
TEST(AlgebraFunctions, LongRunsOfStocksAndExtremes) {
  std::vector<double> x, rate;
  for (int t = 0; t < 1000; ++t) {
    x.push_back(t < 3 ? NA : std::sin(t * t));
    rate.push_back(t < 600 ? 0.1 : 0.2);
  }
  std::vector<double> cum(1000, NA), stock(1000, NA), peak(1000, NA);
  for (std::size_t t = 3; t < 1000; ++t) {
    cum[t] = 0;
    stock[t] = 5;
    peak[t] = x[t];
    for (std::size_t i = 3; i <= t; ++i) {
      cum[t] += x[i];
      stock[t] = (1 - rate[t]) * stock[t] + x[i];
      peak[t] = std::max(peak[t], x[i]);
    }
  }
  Algebra algebra({"x", "rate"}, {x, rate}, "a = cum(x); b = stock(x, rate, 5); c = peak(x) + 0;");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("a"), cum, "cum");
  ExpectSeries(algebra.Get("b"), stock, "stock");
  ExpectSeries(algebra.Get("c"), peak, "peak");
}

// A statement that overwrites the column it sums sees its own results: 1, 1 + 1, 1 + 2 + 1, ...
TEST(AlgebraFunctions, CumOfItsOwnTarget) {
  Algebra algebra({"y"}, {std::vector<double>(40, 1.0)}, "y = cum(y);");
  ASSERT_TRUE(algebra.Run());
  for (int t = 0; t < 40; ++t) EXPECT_EQ(algebra.Get("y", t, t)[0], std::ldexp(1, t));
}

}  // namespace
