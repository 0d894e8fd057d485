// The built-in functions of whole columns and of the calendar, through the exports.
#include <numbers>

#include "workspace.h"

namespace {

const std::vector<double> w = {7, 2.1, 3.4, 3.9, 5.2, 4.4, 6.8, 8.1, 7.3, 7.9, 9.6, 4},
                          x = {7, NA, 3.4, 3.9, 5.2, 4.4, NA, NA, 7.3, 7.9, NA, 4}, ws(w.begin() + 1, w.end() - 1);

struct SeriesCase {
  const char *code;
  std::vector<double> values;
};

// Runs y = CODE over a range, with columns e and f that hold 77 in it: e, after looking whether y is the same.
std::vector<double> Evaluate(const std::string &code, int first = 1, int last = 10) {
  Algebra algebra({"w", "x"}, {w, x}, "e = 77; f = 77; y = " + code + ";");
  EXPECT_TRUE(algebra.Run({}, first, last)) << code << algebra.error;
  if (code.find("MISSING") == std::string::npos) ExpectSeries(algebra.Get("y"), algebra.Get("e"), code);
  return algebra.Get("e", first, last);
}

// Printed by tools/columns_reference.py: statsmodels 0.13.5, numpy and scipy, and plain transcriptions of the search.
TEST(AlgebraColumns, AgreeWithStatsmodelsAndDenseAlgebra) {
  const SeriesCase cases[] = {
      {"acf(x, e, f)",
       {1, 0.47621827, 0.097461336, 7.7751248e-17, -0.15844762, -0.18733586, -0.43770061, -0.29019551, 0, 0}},
      {"pacf(w, e, f)",
       {1, 0.58521462, 0.034948905, -0.029615153, -0.2280862, -0.40681045, 0.059663565, 0.0011464427, -0.017064916,
        -0.11150429}},
      {"periodogram(w, e, f)",
       {0, 2.4731536, 0.3262794, 0.83360862, 0.28535305, 0.55401836, 0.28535305, 0.83360862, 0.3262794, 2.4731536}},
      {"smooth_hp(w, 0, e)",
       {2.4019134, 3.1732754, 3.9444488, 4.7153866, 5.4860138, 6.2565587, 7.0265706, 7.7959385, 8.5652223, 9.3346719}},
      {"smooth_hp(x, 5.5, e)", {77, 3.555506, 4.0293155, 4.4748512, 4.8403274, 77, 77, 77, 77, 77}},
      {"smooth_np(x, -2, e)", {3.4, 3.6142857, 4.14, 4.57, 4.7428571, 4.4, 7.3, 7.5571429, 7.6428571, 7.9}},
      {"smooth_np(w, 0, e)",
       {3.3560572, 3.6554613, 4.1169682, 4.7798074, 5.5868866, 6.2964275, 7.0511412, 7.5895463, 8.0722217, 8.32795}},
      {"smooth_np(w, 4.6, e)",
       {2.5734746, 3.1864195, 4.1135805, 4.6393511, 5.2543222, 6.5063267, 7.5393511, 7.673766, 8.1936733, 8.9808409}},
      {"smooth_sp(x, -2.5, e)",
       {2.8703841, 3.4346728, 3.9966501, 4.5383149, 5.0576937, 5.6789729, 6.395066, 7.1550406, 7.9176279, 8.6790401}},
      {"smooth_sp(w, 0, e)",
       {2.4036364, 3.1739394, 3.9442424, 4.7145455, 5.4848485, 6.2551515, 7.0254545, 7.7957576, 8.5660606, 9.3363636}},
      {"smooth_sp(x, 4, e)",
       {2.7403946, 3.4120023, 4.0778734, 4.6243102, 4.8669704, 5.4139179, 6.2556092, 7.1593111, 7.9595327, 8.7313004}},
  };
  for (const SeriesCase &c : cases) ExpectSeries(Evaluate(c.code), c.values, c.code, 1e-7);
}

// The source, or the first destination, may serve as the second one, which takes the lags or frequencies.
TEST(AlgebraColumns, SecondDestinations) {
  for (const std::string name : {"acf", "pacf", "periodogram"}) {
    std::vector<double> positions;
    for (int k = 0; k < 12; ++k) positions.push_back(name == "periodogram" ? std::numbers::pi * (k / 6.0) : k);
    Algebra algebra({"w", "g"}, {w, w}, "y = " + name + "(w, e, w); " + name + "(g, u, v); " + name + "(g, z, z);");
    ASSERT_TRUE(algebra.Run());
    ExpectSeries(algebra.Get("e"), algebra.Get("u"), name);
    for (const char *second : {"w", "v", "z"}) ExpectSeries(algebra.Get(second), positions, name);
  }
}

TEST(AlgebraColumns, ShortAndEmptyRanges) {
  const struct {
    const char *code;
    int first, last;
    std::vector<double> e;
  } cases[] = {
      {"acf(w, e, f)", 3, 3, {1}},
      {"periodogram(w, e, f)", 3, 3, {0}},
      {"periodogram(x, e, f)", 6, 8, {0, NA, NA}},
      {"pacf(w, e, f)", 3, 4, {1, -0.5}},
      {"pacf(x, e, f)", 6, 7, {1, 0}},
      {"smooth_np(w, 0, e)", 3, 4, {77, 77}},
      {"smooth_sp(w, 0, e)", 3, 4, {77, 77}},
      {"smooth_hp(x, 0, e)", 6, 8, {77, 77, 77}},
      {"smooth_sp(x, 0, e)", 5, 8, {77, 77, 77, 77}},
      {"smooth_np(x, -1, e)", 5, 8, {4.4, NA, NA, 7.3}},
  };
  for (const auto &c : cases) ExpectSeries(Evaluate(c.code, c.first, c.last), c.e, c.code, 1e-15);
  Algebra algebra({"x"}, {{NA, NA, NA, NA}}, "smooth_np(x, 0, a); smooth_np(x, 3, a); smooth_sp(x, 0, a); sort(x);");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("a"), {NA, NA, NA, NA}, "all missing");
}

TEST(AlgebraColumns, ExtremeSmoothingParameters) {
  const std::vector<double> untouched(10, 77), means(10, 5.87);
  std::vector<double> line;  // through the observations, from numpy.polyfit
  for (int t = 0; t < 10; ++t) line.push_back(2.40363636364 + t * 0.770303030303);
  const struct {
    const char *code;
    std::vector<double> e;
    double tolerance;
  } cases[] = {
      {"smooth_np(w, -1.0e300, e)", means, 1e-13},
      {"smooth_np(w, -exp(1000), e)", means, 1e-13},
      {"smooth_np(w, -0.5, e)", ws, 1e-15},  // a window of one cell
      {"smooth_sp(w, -1.0e-8, e)", ws, 1e-6},
      {"smooth_sp(w, -1.0e14, e)", line, 1e-9},
      {"smooth_hp(w, -5, e)", Evaluate("smooth_hp(w, 1600, e)"), 0},
      {"smooth_sp(w, -1.0e-11, e)", Evaluate("smooth_sp(w, -1600, e)"), 0},
      {"smooth_hp(w, 1.0e308, e)", std::vector<double>(10, NA), 0},
  };
  for (const auto &c : cases) ExpectSeries(Evaluate(c.code), c.e, c.code, c.tolerance);
  for (const char *code : {"smooth_np(w, exp(1000), e)", "smooth_sp(w, exp(1000), e)", "smooth_sp(w, -exp(1000), e)",
                           "smooth_np(w, MISSING, e)", "smooth_sp(w, MISSING, e)", "smooth_hp(w, MISSING, e)"})
    ExpectSeries(Evaluate(code), untouched, code);
  for (const char *code : {"smooth_np(w, 1.0e300, e)", "smooth_sp(w, 1.0e300, e)", "smooth_np(w, 1000, e)"})
    for (const double v : Evaluate(code)) {
      EXPECT_GT(v, 2) << code;
      EXPECT_LT(v, 10) << code;
    }
}

TEST(AlgebraColumns, FaultsWriteNothing) {
  for (const char *code : {"acf(w, w, e)", "pacf(w, w, e)", "periodogram(w, w, e)", "smooth_hp(w, 0, w)",
                           "smooth_np(w, 0, w)", "smooth_sp(w, 0, w)", "_sortby(w, w)", "quanchi(0.5, 0)",
                           "quant(0.5, 0.5)", "quanf(0.5, 1, 0)", "quanf(0.5, -1, 1)"}) {
    Algebra algebra({"w", "e"}, {w, x}, std::string("y = ") + code + ";");
    EXPECT_FALSE(algebra.Run());
    ExpectSeries(algebra.Get("y"), std::vector<double>(12, NA), code);
    ExpectSeries(algebra.Get("w"), w, code);
    ExpectSeries(algebra.Get("e"), x, code);
  }
}

TEST(AlgebraColumns, Sorting) {
  const std::vector<double> k = {3, NA, 1, 2, -5, NA, 0}, v = {1, 2, 3, 4, 5, 6, 7}, order = {2, 6, 5, 7, 3, 4, 1};
  Algebra stretch({"k"}, {k}, "y = sort(k);");
  ASSERT_TRUE(stretch.Run({}, 1, 4));
  ExpectSeries(stretch.Get("k"), {3, NA, -5, 1, 2, NA, 0}, "k");
  ExpectSeries(stretch.Get("y"), {NA, NA, -5, 1, 2, NA, NA}, "y");
  Algebra by({"k", "v"}, {k, v}, "y = _sortby(k, v);");
  ASSERT_TRUE(by.Run({}, 1, 6));
  ExpectSeries(by.Get("v"), v, "outside observation 0");
  ASSERT_TRUE(by.Run({}, 0, 2));
  ExpectSeries(by.Get("k"), {NA, NA, -5, 0, 1, 2, 3}, "k");
  ExpectSeries(by.Get("v"), order, "v");
  // Rows stay together, with the dates and the program's own variables among them.
  Algebra all({"date", "k"}, {v, k}, "u = date(); _sortallby(k); d = date();", false, {1, 1, 1, true});
  ASSERT_TRUE(all.Run());
  for (const char *name : {"date", "u", "d"}) ExpectSeries(all.Get(name), order, name);
}

// Over a quarterly sample, and over dates with a missing one: Easter of 2024 was 31 March.
TEST(AlgebraColumns, Calendar) {
  constexpr double easter = 2460401;
  const std::vector<double> dates = {2440587.75, easter - 1, easter, easter + 1.5, easter + 31, NA, 2488069.99999};
  const std::vector<double> ones(7, 1);
  const struct {
    bool dated;
    const char *code;
    std::vector<double> values;
  } cases[] = {
      {false, "100*year() + month()", {200007, 200010, 200101, 200104, 200107, 200110, 200201}},
      {false, "day()*hours()*minutes()*seconds()", ones},
      {false, "date() + time() + isdayofmonth(0, 1, 1) + iseaster(0)", {0, 1, 2, 3, 4, 5, 6}},
      {false, "dayofweek()", std::vector<double>(7, NA)},
      {false, "insample(2000, 4, 2001, 2) + 2*dummy(1, 1, 2000.9, 3.9)", {2, 1, 1, 1, 0, 0, 0}},
      {false, "insample(-1.0e300, 1, 1.0e300, 1)", ones},
      {false, "indates(2001, 2001.9) + dummydates(2002, 2001)", {0, 0, 1, 0, 0, 0, 0}},
      {false, "makedate(2000, 1, 1) + maketime(12, 0, 0) + makedate(0, 1, 1)", std::vector<double>(7, 2451544.5)},
      // scipy.stats.norm.ppf, chi2.ppf, t.ppf and f.ppf
      {false,
       "abs(quann(0.975)/1.95996398454 - 1) < 1.0e-8 && abs(quanchi(0.05, 3.5)/0.5200687108448 - 1) < 1.0e-8 && "
       "abs(quant(0.05, 7.9)/1.894578605061 + 1) < 1.0e-8 && abs(quanf(0.95, 4.5, 7)/4.038979532213 - 1) < 1.0e-8",
       ones},
      {true, "date()", {2440587, easter - 1, easter, easter + 1, easter + 31, NA, 2488069}},
      {true, "10000*hours() + 100*minutes() + seconds() + (time() >= 0.5)", {180001, 0, 0, 120001, 0, NA, 235960}},
      {true, "10000*year() + 100*month() + day()", {19691231, 20240330, 20240331, 20240401, 20240501, NA, 20991231}},
      {true, "dayofweek()", {4, 7, 1, 2, 4, NA, 5}},
      {true, "iseaster(0) + 2*iseaster(1.9) + 4*iseaster(31) + 8*iseaster(-1)", {0, 8, 1, 2, 0, 0, 0}},
      {true, "isdayofmonth(0, 1, -1) + 2*isdayofmonth(4, 2, 1) + 4*isdayofmonth(5, 2, 6)", {0, 0, 1, 2, 0, 0, 0}},
      {true, "indates(makedate(2024, 3, 31), makedate(2024, 4, 1)) + dummydates(1, 1.0e300)", {1, 1, 2, 1, 1, 1, 1}},
      {true, "indates(makedate(2024, 3, 31), makedate(2024, 4, 2)) + dummydates(1, 2)", {0, 0, 1, 1, 0, 0, 0}},
  };
  for (const auto &[dated, code, values] : cases) {
    Algebra algebra({"date"}, {dates}, std::string("y = ") + code + ";", false, {2000, 3, 4, dated});
    ASSERT_TRUE(algebra.Run()) << code << algebra.error;
    ExpectSeries(algebra.Get("y"), values, code);
  }
}

}  // namespace
