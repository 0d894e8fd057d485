// The built-in functions of whole columns and of the calendar, through the exports.
#include <numbers>

#include "workspace.h"

namespace {

const std::vector<double> w = {7, 2.1, 3.4, 3.9, 5.2, 4.4, 6.8, 8.1, 7.3, 7.9, 9.6, 8.2, 10.4, 9.1, 11.3, 4},
                          x = {7, NA, 3.4, 3.9, 5.2, 4.4, NA, NA, 7.3, 7.9, 9.6, NA, 10.4, 9.1, NA, 4};
constexpr int kFirst = 1, kLast = 14;

struct Columns {
  std::vector<double> y, e, f;
};

// Runs y = CODE over a range, with the columns e and f that hold 77 in it.
Columns Evaluate(const std::string &code, int first = kFirst, int last = kLast, bool succeeds = true) {
  Algebra algebra({"w", "x"}, {w, x}, "e = 77; f = 77; y = " + code + ";");
  EXPECT_EQ(algebra.error, "") << code;
  EXPECT_EQ(algebra.Run({}, first, last), succeeds) << code;
  return {algebra.Get("y", first, last), algebra.Get("e", first, last), algebra.Get("f", first, last)};
}

struct SeriesCase {
  const char *code;
  std::vector<double> e;
};

// Printed by tools/columns_reference.py: statsmodels 0.13.5, numpy and scipy, and plain transcriptions of the search.
TEST(AlgebraColumns, AgreeWithStatsmodelsAndDenseAlgebra) {
  const SeriesCase cases[] = {
      {"acf(w, e, f)",
       {1, 0.64779696022, 0.55272912832, 0.32343273022, 0.21801523614, -0.041893334971, -0.13920159749, -0.19197601753,
        -0.29554762223, -0.42027650094, -0.31977164919, -0.37074245213, -0.2546179945, -0.20794688589}},
      {"acf(x, e, f)",
       {1, 0.54172636103, 0.4276504298, 0.31088825215, 0.015938395415, -0.15723495702, -0.1678008596, -0.36712034384,
        -0.37249283668, -0.25286532951, -0.33864613181, -0.14004297994, 0, 0}},
      {"pacf(w, e, f)",
       {1, 0.64779696022, 0.22932047939, -0.18381190337, -0.029159699005, -0.28988492104, -0.07639801826,
        0.097629733251, -0.19775914806, -0.25365132438, 0.20928358192, -0.20930042906, 0.10033987014, 0.09521037801}},
      {"periodogram(w, e, f)",
       {0, 4.5320693078, 1.1110919754, 0.38646428839, 0.83389165318, 0.061197208992, 0.54010712571, 1.2060534223,
        0.54010712571, 0.061197208992, 0.83389165318, 0.38646428839, 1.1110919754, 4.5320693078}},
      {"smooth_hp(w, 0, e)",
       {2.8053483414, 3.4536893002, 4.1015894163, 4.7485742911, 5.3940435328, 6.0376788905, 6.6785408361, 7.3161662924,
        7.9509805938, 8.5833989712, 9.2138047923, 9.8432168005, 10.472020111, 11.10094783}},
      {"smooth_hp(w, 5.5, e)",
       {2.2851933256, 3.1493200071, 3.9797751749, 4.7884654957, 5.572793059, 6.4049844098, 7.1440309913, 7.7207452631,
        8.2397522319, 8.7291777655, 9.1553745987, 9.6430267819, 10.143113893, 10.744247003}},
      {"smooth_hp(x, 5.5, e)",
       {77, 3.5555059524, 4.0293154762, 4.4748511905, 4.840327381, 77, 77, 77, 77, 77, 77, 77, 77, 77}},
      {"smooth_np(w, -3, e)",
       {2.9818181818, 3.4866666667, 3.8971428571, 4.6914285714, 5.5885714286, 6.3914285714, 7.0628571429, 7.8771428571,
        8.2228571429, 8.6771428571, 9.1085714286, 9.6142857143, 9.8833333333, 10.295454545}},
      {"smooth_np(x, -2, e)",
       {3.4, 3.6142857143, 4.14, 4.57, 4.7428571429, 4.4, 7.3, 7.5571428571, 8.23, 8.8714285714, 10, 9.8428571429,
        9.6571428571, 9.1}},
      {"smooth_np(w, 0, e)",
       {3.4624680699, 3.8007498662, 4.2786675999, 4.8652913842, 5.5537266667, 6.2945240886, 6.9933543405, 7.6162190937,
        8.2070414302, 8.6854231419, 9.0831657567, 9.4190893672, 9.709981085, 9.9252559034}},
      {"smooth_np(w, 4.6, e)",
       {2.8078801031, 3.307888984, 4.020728409, 4.6296357955, 5.472255615, 6.4314121323, 7.2700446857, 7.7971757353,
        8.226492012, 8.673507988, 9.1958082887, 9.4797955549, 10.029274299, 10.32850278}},
      {"smooth_np(x, 0.3, e)", {NA, 3.4, 3.9, 5.2, 4.4, NA, NA, 7.3, 7.9, 9.6, NA, 10.4, 9.1, NA}},
      {"smooth_sp(w, -2.5, e)",
       {2.2669810308, 3.1447221449, 3.9726893704, 4.7643369552, 5.5597980418, 6.4332167574, 7.2029541702, 7.7676633992,
        8.2584844408, 8.7177511442, 9.119840538, 9.5891743474, 10.117755121, 10.784632538}},
      {"smooth_sp(x, -2.5, e)",
       {2.8545599303, 3.4215611325, 3.9871249259, 4.5382559379, 5.0814043444, 5.7482501195, 6.5328816835, 7.3839604998,
        8.2445506657, 9.012356767, 9.5267820613, 9.7609646236, 9.7698211031, 9.7340228424}},
      {"smooth_sp(w, 0, e)",
       {2.6624835805, 3.3676591851, 4.0697650988, 4.765694527, 5.4521456014, 6.1262896977, 6.7824507392, 7.4176712349,
        8.0343443054, 8.6355174248, 9.2245222406, 9.8071691264, 10.386935096, 10.967352142}},
      {"smooth_sp(x, 0, e)",
       {2.7872395833, 3.4208333333, 4.0544270833, 4.6880208333, 5.3216145833, 5.9552083333, 6.5888020833, 7.2223958333,
        7.8559895833, 8.4895833333, 9.1231770833, 9.7567708333, 10.390364583, 11.023958333}},
      {"smooth_sp(x, 4, e)",
       {2.8560788692, 3.4227314696, 3.9878325786, 4.537629901, 5.0780490538, 5.7435769505, 6.5287936898, 7.3820004774,
        8.2459017393, 9.0172059447, 9.5323668872, 9.7633393312, 9.7653095044, 9.7218702973}},
  };
  for (const SeriesCase &c : cases) {
    const Columns columns = Evaluate(c.code);
    ExpectSeries(columns.e, c.e, c.code, 1e-9);
    ExpectSeries(columns.y, columns.e, c.code);
  }
}

TEST(AlgebraColumns, QuantilesAgreeWithScipy) {
  for (const char *code :
       {"abs(quann(0.975)/(1.95996398454) - 1) < 1.0e-8", "abs(quanchi(0.05, 3.5)/(0.5200687108448) - 1) < 1.0e-8",
        "abs(quant(0.05, 7.9)/(-1.894578605061) - 1) < 1.0e-8",
        "abs(quanf(0.95, 4.5, 7)/(4.038979532213) - 1) < 1.0e-8"})
    EXPECT_EQ(Evaluate(code).y[0], 1) << code;
  for (const char *code : {"quanchi(0.5, 0)", "quant(0.5, 0.5)", "quanf(0.5, 1, 0)", "quanf(0.5, -1, 1)"})
    EXPECT_TRUE(std::isnan(Evaluate(code, 2, 3, false).y[0])) << code;
}

TEST(AlgebraColumns, SecondDestinations) {
  std::vector<double> lags, frequencies;
  for (int k = 0; k < 14; ++k) {
    lags.push_back(k);
    frequencies.push_back(std::numbers::pi * k / 7);
  }
  ExpectSeries(Evaluate("acf(w, e, f)").f, lags, "acf");
  ExpectSeries(Evaluate("pacf(w, e, f)").f, lags, "pacf");
  ExpectSeries(Evaluate("periodogram(w, e, f)").f, frequencies, "periodogram", 1e-15);
  EXPECT_EQ(Evaluate("periodogram(w, e, f)").f[7], std::numbers::pi);
  // The source, or the first destination, may serve as the second one.
  for (const std::string name : {"acf", "pacf", "periodogram"}) {
    Algebra algebra({"w", "g"}, {w, w}, "y = " + name + "(w, e, w); " + name + "(g, u, v); " + name + "(g, z, z);");
    ASSERT_TRUE(algebra.Run());
    ExpectSeries(algebra.Get("e"), algebra.Get("u"), name);
    ExpectSeries(algebra.Get("w"), algebra.Get("v"), name);
    ExpectSeries(algebra.Get("z"), algebra.Get("v"), name);
  }
}

// Too short, empty and constant series.
TEST(AlgebraColumns, ShortAndEmptyRanges) {
  const struct {
    const char *code;
    int first, last;
    std::vector<double> e;
  } cases[] = {
      {"acf(w, e, f)", 3, 3, {1}},
      {"pacf(w, e, f)", 3, 3, {1}},
      {"periodogram(w, e, f)", 3, 3, {0}},
      {"pacf(w, e, f)", 3, 4, {1, -0.5}},
      {"acf(x, e, f)", 6, 7, {1, 0}},
      {"pacf(x, e, f)", 6, 7, {1, 0}},
      {"periodogram(x, e, f)", 6, 9, {0, NA, NA, NA}},
      {"smooth_hp(w, 0, e)", 3, 4, {77, 77}},
      {"smooth_np(w, 0, e)", 3, 4, {77, 77}},
      {"smooth_sp(w, 0, e)", 3, 4, {77, 77}},
      {"smooth_hp(x, 0, e)", 6, 8, {77, 77, 77}},
      {"smooth_sp(x, 0, e)", 5, 8, {77, 77, 77, 77}},
      {"smooth_np(x, -1, e)", 5, 8, {4.4, NA, NA, 7.3}},
      {"smooth_np(x, 2, e)", 6, 7, {77, 77}},
      {"sort(x)*0 + (e == 77)", 6, 7, {77, 77}},
  };
  for (const auto &c : cases) ExpectSeries(Evaluate(c.code, c.first, c.last).e, c.e, c.code, 1e-15);
  Algebra algebra({"x"}, {{NA, NA, NA, NA}}, "smooth_np(x, 0, a); smooth_np(x, 3, a); smooth_sp(x, 0, a); sort(x);");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("a"), {NA, NA, NA, NA}, "all missing");
}

TEST(AlgebraColumns, HostileSmoothingParameters) {
  const double mean = 97.7 / 14;
  const std::vector<double> untouched(14, 77), means(14, mean), ws(w.begin() + 1, w.begin() + 15);
  ExpectSeries(Evaluate("smooth_np(w, -1.0e300, e)").e, means, "flat kernel", 1e-13);
  ExpectSeries(Evaluate("smooth_np(w, -exp(1000), e)").e, means, "flat kernel", 1e-13);
  ExpectSeries(Evaluate("smooth_np(w, -0.5, e)").e, ws, "a window of one cell", 1e-15);
  ExpectSeries(Evaluate("smooth_hp(w, 1.0e-15, e)").e, ws, "no smoothing", 1e-12);
  ExpectSeries(Evaluate("smooth_sp(w, -1.0e-8, e)").e, ws, "no smoothing", 1e-6);
  ExpectSeries(Evaluate("smooth_hp(w, -5, e)").e, Evaluate("smooth_hp(w, 1600, e)").e, "usual lambda");
  ExpectSeries(Evaluate("smooth_sp(w, -1.0e-11, e)").e, Evaluate("smooth_sp(w, -1600, e)").e, "automatic lambda");
  ExpectSeries(Evaluate("smooth_sp(x, 1.0e-11, e)").e, Evaluate("smooth_sp(x, 0, e)").e, "automatic start");
  for (const char *code : {"smooth_np(w, exp(1000), e)", "smooth_sp(w, exp(1000), e)", "smooth_sp(w, -exp(1000), e)",
                           "smooth_np(w, MISSING, e)", "smooth_sp(w, MISSING, e)", "smooth_hp(w, MISSING, e)"})
    ExpectSeries(Evaluate(code).e, untouched, code);
  // The line through the observations, from numpy.polyfit(range(14), w[1:15], 1).
  const Columns line = Evaluate("smooth_sp(w, -1.0e14, e)");
  EXPECT_NEAR(line.e[0], 2.83142857143, 1e-8);
  EXPECT_NEAR(line.e[13] - line.e[0], 13 * 0.638021978022, 1e-8);
  for (const char *code : {"smooth_np(w, 1.0e300, e)", "smooth_sp(w, 1.0e300, e)", "smooth_np(w, 1000, e)"})
    for (double v : Evaluate(code).e) EXPECT_TRUE(v > 2 && v < 12) << code;
  EXPECT_TRUE(std::isnan(Evaluate("smooth_hp(w, 1.0e308, e)").e[3]));
}

TEST(AlgebraColumns, SourceAndDestinationMustDiffer) {
  for (const char *code : {"acf(w, w, e)", "pacf(w, w, e)", "periodogram(w, w, e)", "smooth_hp(w, 0, w)",
                           "smooth_np(w, 0, w)", "smooth_sp(w, 0, w)", "_sortby(w, w)"}) {
    Algebra algebra({"w", "e"}, {w, x}, std::string("y = ") + code + ";");
    EXPECT_FALSE(algebra.Run());
    ExpectSeries(algebra.Get("y"), std::vector<double>(16, NA), code);
    ExpectSeries(algebra.Get("w"), w, code);
    ExpectSeries(algebra.Get("e"), x, code);
  }
}

TEST(AlgebraColumns, Sorting) {
  const std::vector<double> k = {3, NA, 1, 2, -5, NA, 0}, v = {1, 2, 3, 4, 5, 6, 7};
  Algebra stretch({"k"}, {k}, "y = sort(k);");
  ASSERT_TRUE(stretch.Run({}, 1, 4));
  ExpectSeries(stretch.Get("k"), {3, NA, -5, 1, 2, NA, 0}, "k");
  ExpectSeries(stretch.Get("y"), {NA, NA, -5, 1, 2, NA, NA}, "y");
  Algebra by({"k", "v"}, {k, v}, "y = _sortby(k, v);");
  ASSERT_TRUE(by.Run({}, 1, 6));
  ExpectSeries(by.Get("y"), {NA, NA, 1, 2, -5, NA, 0}, "outside observation 0");
  ASSERT_TRUE(by.Run({}, 0, 2));
  ExpectSeries(by.Get("k"), {NA, NA, -5, 0, 1, 2, 3}, "k");
  ExpectSeries(by.Get("v"), {2, 6, 5, 7, 3, 4, 1}, "v");
  ExpectSeries(by.Get("y"), {NA, NA, -5, 2, -5, NA, 0}, "y");
  // Rows stay together, with the dates and the program's own variables among them.
  Algebra all({"date", "k", "v"}, {v, k, v}, "u = v*10; _sortallby(k); d = date();", false, {1, 1, 1, true});
  ASSERT_TRUE(all.Run());
  for (const char *name : {"date", "v", "d"}) ExpectSeries(all.Get(name), {2, 6, 5, 7, 3, 4, 1}, name);
  ExpectSeries(all.Get("u"), {20, 60, 50, 70, 30, 40, 10}, "u");
}

TEST(AlgebraColumns, CalendarOfASample) {
  const std::vector<double> none(8, NA);
  const SeriesCase cases[] = {
      {"year()", {2000, 2000, 2001, 2001, 2001, 2001, 2002, 2002}},
      {"month()", {7, 10, 1, 4, 7, 10, 1, 4}},
      {"day() + 10*hours() + 100*minutes() + 1000*seconds()", std::vector<double>(8, 1111)},
      {"date()", {0, 1, 2, 3, 4, 5, 6, 7}},
      {"time() + isdayofmonth(0, 1, 1) + iseaster(0)", std::vector<double>(8, 0)},
      {"dayofweek()", none},
      {"insample(2000, 4, 2001, 2)", {0, 1, 1, 1, 0, 0, 0, 0}},
      {"dummy(1, 1, 2000.9, 3.9)", {1, 0, 0, 0, 0, 0, 0, 0}},
      {"insample(-1.0e300, 1, 1.0e300, 1)", std::vector<double>(8, 1)},
      {"indates(2001, 2002)", {0, 0, 1, 1, 1, 1, 1, 0}},
      {"dummydates(2002, 2001)", std::vector<double>(8, 0)},
      {"makedate(2000, 1, 1) + maketime(12, 0, 0) + makedate(0, 1, 1)", std::vector<double>(8, 2451544.5)},
  };
  for (const SeriesCase &c : cases) {
    Algebra algebra({"x"}, {none}, std::string("y = ") + c.code + ";", false, {2000, 3, 4, false});
    ASSERT_TRUE(algebra.Run()) << c.code << algebra.error;
    ExpectSeries(algebra.Get("y"), c.e, c.code);
  }
}

// Easter of 2024 was 31 March; the last date but one is missing.
TEST(AlgebraColumns, CalendarOfDates) {
  const double easter = 2460401;
  const std::vector<double> dates = {2440587.75, easter - 1, easter, easter + 1.5, easter + 31, NA, 2488069.99999};
  const SeriesCase cases[] = {
      {"date()", {2440587, easter - 1, easter, easter + 1, easter + 31, NA, 2488069}},
      {"time() >= 0.5", {1, 0, 0, 1, 0, 0, 1}},
      {"10000*year() + 100*month() + day()", {19691231, 20240330, 20240331, 20240401, 20240501, NA, 20991231}},
      {"10000*hours() + 100*minutes() + seconds()", {180000, 0, 0, 120000, 0, NA, 235959}},
      {"dayofweek()", {4, 7, 1, 2, 4, NA, 5}},
      {"iseaster(0) + 2*iseaster(1.9) + 4*iseaster(31) + 8*iseaster(-1)", {0, 8, 1, 2, 0, 0, 0}},
      {"isdayofmonth(0, 1, -1) + 2*isdayofmonth(4, 2, 1) + 4*isdayofmonth(5, 2, 6)", {0, 0, 1, 2, 0, 0, 0}},
      {"indates(makedate(2024, 3, 31), makedate(2024, 4, 1))", {0, 0, 1, 0, 0, 0, 0}},
      {"indates(makedate(2024, 3, 31), makedate(2024, 4, 2))", {0, 0, 1, 1, 0, 0, 0}},
      {"dummydates(-1.0e300, 1.0e300)", std::vector<double>(7, 1)},
      {"dummydates(1, 2)", std::vector<double>(7, 0)},
  };
  for (const SeriesCase &c : cases) {
    Algebra algebra({"date"}, {dates}, std::string("y = ") + c.code + ";", false, {1, 1, 1, true});
    ASSERT_TRUE(algebra.Run()) << c.code << algebra.error;
    ExpectSeries(algebra.Get("y"), c.e, c.code);
  }
}

}  // namespace
