// The Algebra language through the exports: statements, operators, indices, conditions, messages. Expected values
// follow from the language's rules by hand.
#include <bit>
#include <cstdint>
#include <limits>

#include "workspace.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

struct LanguageCase {
  const char *code;
  std::vector<double> y;  // over x = 1, NA, 0, 4
};

TEST(AlgebraLanguage, ExpressionsAndStatements) {
  const LanguageCase cases[] = {
      // precedence and grouping
      {"y = -2^2;", {-4, -4, -4, -4}},
      {"y = 2^3^2;", {64, 64, 64, 64}},
      {"y = 2^(-1);", {0.5, 0.5, 0.5, 0.5}},
      {"y = (8) - 2 - 1 + 2*3/4;", {6.5, 6.5, 6.5, 6.5}},
      {"y = !0 == 1;", {1, 1, 1, 1}},
      {"y = 1 || 0 && 0;", {1, 1, 1, 1}},
      {"y = 1 < 2 == 2 > 1;", {1, 1, 1, 1}},
      {"y = - - + x;", {1, NA, 0, 4}},
      // missing values
      {"y = x + 1;", {2, NA, 1, 5}},
      {"y = x^0;", {1, NA, 1, 1}},
      {"y = x < 2;", {1, 0, 1, 0}},
      {"y = x >= 0;", {1, 0, 1, 1}},
      {"y = x == MISSING;", {0, 1, 0, 0}},
      {"y = x != MISSING;", {1, 0, 1, 1}},
      {"y = x && 1;", {1, 1, 0, 1}},
      {"y = x || 0;", {1, 1, 0, 1}},
      {"y = !x;", {0, NA, 1, 0}},
      {"y = -x == MISSING;", {0, 1, 0, 0}},
      {"y = 1/x;", {1, NA, kInf, 0.25}},
      {"y = x/x;", {1, NA, NA, 1}},
      {"y = (0-1)^0.5;", {NA, NA, NA, NA}},
      // conditions: a missing condition is not zero
      {"y = x ? 5 : 6;", {5, 5, 6, 5}},
      {"y = 7; y = x > 0 ? 5;", {5, 7, 7, 5}},
      {"y = (x > 0) ? x + 1 : x - 1;", {2, NA, -1, 5}},
      {"y = 0; y[-1] = x == 0 ? 9 : 1;", {1, 9, 1, 0}},
      // offsets: reads reach over the sample, writes stay in the range, and a statement sees its own earlier stores
      {"y = x[-1];", {NA, 1, NA, 0}},
      {"y = x[1];", {NA, 0, 4, NA}},
      {"y = x[0];", {1, NA, 0, 4}},
      {"y = x[trend() - 2];", {NA, NA, 4, NA}},
      {"y = 1; y = y[-1] + 1;", {NA, NA, NA, NA}},
      {"y = 1; y = y[-1] != MISSING ? y[-1] + 1;", {1, 2, 3, 4}},
      {"y = 3; y = y[1] + 1;", {4, 4, 4, NA}},
      {"y = 0; y[1] = trend();", {0, 1, 2, 3}},
      {"y = 0; y[MISSING] = 1; y[1.0e300] = 1; y[-1.0e300] = 1;", {0, 0, 0, 0}},
      {"y = x[1.0e300];", {NA, NA, NA, NA}},
      {"y = x[MISSING];", {NA, NA, NA, NA}},
      {"y = x[1.9];", {NA, 0, 4, NA}},
      // calendar positions (quarters from 2000(3)); with period 0 the first number is the observation
      {"y = x[2000(4)];", {NA, NA, NA, NA}},
      {"y = x[2001(2)];", {4, 4, 4, 4}},
      {"y = x[3(0)];", {4, 4, 4, 4}},
      {"y = x[4(0)];", {NA, NA, NA, NA}},
      {"y = x[-1(0)];", {NA, NA, NA, NA}},
      {"y = x[2001(MISSING)];", {NA, NA, NA, NA}},
      {"y = 0; y[2001(1)] = 8; y[MISSING(2)] = 9; y[1(0)] = 7;", {0, 7, 8, 0}},
      // dates and times in place of subtractions
      {"y = 2000-1-1;", {2451545, 2451545, 2451545, 2451545}},
      {"y = 2000-1-1 12:00:00;", {2451545.5, 2451545.5, 2451545.5, 2451545.5}},
      {"y = 6:00:00;", {0.25, 0.25, 0.25, 0.25}},
      {"y = 5 - 3;", {2, 2, 2, 2}},
      {"y = 1.5-3-1;", {-2.5, -2.5, -2.5, -2.5}},
      {"y = 1.0 - 0.5 - 0.25;", {0.25, 0.25, 0.25, 0.25}},
      {"y = 5 -\n3-1;", {1, 1, 1, 1}},
      {"y = x ? 1 : 2;", {1, 1, 2, 1}},
      {"y = 10 - 3 - x;", {6, NA, 7, 3}},
      // names
      {"\"a b\" = x; y = \"a b\" + 1;", {2, NA, 1, 5}},
      {"log = 3; y = log + log(1);", {3, 3, 3, 3}},
      {"y = NOBS + FREQUENCY + TRUE - FALSE;", {9, 9, 9, 9}},
      {"y = PI;", {M_PI, M_PI, M_PI, M_PI}},
      {"y = 1; } y = z z;", {1, 1, 1, 1}},
      {";;y = 2;;", {2, 2, 2, 2}},
      {"x; y = 1; log(x);", {1, 1, 1, 1}},
      // a deleted variable serves the code before it, and is gone for the code behind it
      {"a = x + 1; y = a; delete(a, nothing);", {2, NA, 1, 5}},
      {"a = 1; b = a; delete(a); a = 2; y = 10*a + b;", {21, 21, 21, 21}},
  };
  for (const LanguageCase &c : cases) {
    Algebra algebra({"x"}, {{1, NA, 0, 4}}, c.code, false, {2000, 3, 4, false});
    ASSERT_EQ(algebra.error, "") << c.code;
    EXPECT_TRUE(algebra.Run()) << c.code;
    ExpectSeries(algebra.Get("y"), c.y, c.code);
  }
}

TEST(AlgebraLanguage, RangesBoundWritesAndNotReads) {
  Algebra algebra({"x"}, {{10, 11, 12, 13, 14}}, "y = x[-1]; z = x[1]; z[1] = 5; w = y[1];");
  ASSERT_TRUE(algebra.Run({}, 1, 3));
  ExpectSeries(algebra.Get("y"), {NA, 10, 11, 12, NA}, "y");
  ExpectSeries(algebra.Get("z"), {NA, 12, 5, 5, NA}, "z");
  ExpectSeries(algebra.Get("w"), {NA, 11, 12, NA, NA}, "w");
  ASSERT_TRUE(algebra.Run({}, 4, 2)) << "an empty range runs at its first observation";
  ExpectSeries(algebra.Get("y"), {NA, 10, 11, 12, 13}, "y");
  Algebra dlog({"x"}, {{1, 1, 1, 1}}, "y = dlog(x);");
  ASSERT_TRUE(dlog.Run({}, 2, 1) && dlog.Run({}, 3, 1));
  ExpectSeries(dlog.Get("y"), {NA, NA, 0, NA}, "only the observation before has to lie in the run");
}

// The same statements over enough observations to run in blocks, against the same statements one observation at a time.
TEST(AlgebraLanguage, BlocksGiveTheSameBitsAsSingleObservations) {
  std::vector<double> x, z;
  for (int t = 0; t < 700; ++t) {
    x.push_back(t % 11 == 3 ? NA : std::sin(t) * 3);
    z.push_back(t % 7 == 0 ? 0.0 : std::cos(3.0 * t));
  }
  const std::string code =
      "a = log(x) - 0.5*x[-1] + 0.25*(z > 0); b = x/z - a[300]^2; c = !x || z != MISSING && a <= b;"
      "d = max(x, z) == x; e = x[trend()/2]; f = abs(x[z]) - -z; g = lag(a, 2)*lag(g, 1); g = f >= x[1000];";
  std::vector<std::vector<double>> whole, single;
  Algebra algebra({"x", "z"}, {x, z}, code);
  ASSERT_EQ(algebra.error, "");
  algebra.Run();
  for (const char *name : {"a", "b", "c", "d", "e", "f", "g"}) whole.push_back(algebra.Get(name));
  // Statement by statement, observation by observation.
  std::string sofar;
  Algebra again({"x", "z"}, {x, z}, code);
  for (int t = 0; t < 700; ++t) again.Run({}, t, t);
  // Leads see a complete column only after everything has run once.
  for (int t = 0; t < 700; ++t) again.Run({}, t, t);
  for (const char *name : {"a", "b", "c", "d", "e", "f", "g"}) single.push_back(again.Get(name));
  for (std::size_t i = 0; i < whole.size(); ++i) ExpectSeries(single[i], whole[i], std::string(1, char('a' + i)));
}

// Results that are no number, from arithmetic and from functions, in blocks and one observation at a time: all of them
// are the one missing value, so that files and comparisons of bits agree on every machine.
TEST(AlgebraLanguage, OneBitPatternForEveryMissingResult) {
  const std::string code =
      "a = acos(2) + 0; b = sin(1/x); c = fmod(x, 0); d = 0*(1/x); e = stock(z, 0, 1/x - 1/x); f = cum(z);"
      "ewma(z, 0.5, 0.5, g); ewmc0(x, x, 1, h); acf(z, i, l); pacf(z, j, l); periodogram(z, k, l);"
      "smooth_hp(z, 0, m); smooth_np(z, -2, n); smooth_sp(z, -1, o);";
  for (const int count : {5, 300}) {
    const auto n = static_cast<std::size_t>(count);
    std::vector<double> x(n, 0.0), z(n, kInf);
    z[1] = -kInf;
    Algebra algebra({"x", "z"}, {x, z}, code);
    ASSERT_EQ(algebra.error, "");
    algebra.Run();
    for (const char *name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "m", "n", "o"})
      EXPECT_EQ(std::bit_cast<std::uint64_t>(algebra.Get(name).back()), 0x7FF8000000000000U) << name << " of " << count;
  }
}

// The sign of a zero among the arguments is an argument of its own: 1/stock tells them apart.
TEST(AlgebraLanguage, SignedZerosInBlocks) {
  std::vector<double> x(40, -0.0), start(40, 0.0), expected(40, kInf);
  for (std::size_t t = 5; t < 40; t += 2) start[t] = -0.0, expected[t] = -kInf;
  Algebra algebra({"x", "start"}, {x, start}, "y = 1/stock(x, 0, start);");
  ASSERT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("y"), expected, "y");
}

struct MessageCase {
  const char *code;
  const char *message;
};

TEST(AlgebraLanguage, ParseMessages) {
  const MessageCase cases[] = {
      {"y = z;", "Parse error: z Undeclared identifier on line 1"},
      {"\n\ny = x +\nnone(x);", "Parse error: none Not a function on line 4"},
      {"y = x\n;y = 1\ny = 2;", "Parse error: ; Missing on line 3"},
      {"y = log;", "Parse error: ( Missing on line 1"},
      {"y = log[1];", "Parse error: ( Missing on line 1"},
      {"y = trend;", "Parse error: ( Missing on line 1"},
      {"y = max(x);", "Parse error: , Missing on line 1"},
      {"y = max(x, x, x);", "Parse error: ) Missing on line 1"},
      {"y = (x;", "Parse error: ) Missing on line 1"},
      {"y = x[1;", "Parse error: ] Missing on line 1"},
      {"y[1] x;", "Parse error: = Missing on line 1"},
      {"(x);", "Parse error: ( Out of place on line 1"},
      {"1;", "Parse error: constant Out of place on line 1"},
      {"{ y = 1; }", "Parse error: { Out of place on line 1"},
      {"y = a^-1;", "Parse error: a Undeclared identifier on line 1"},
      {"y = x^-1;", "Parse error: - Out of place on line 1"},
      {"y = 1 + (x ? 1 : 2);", "Parse error: ) Missing on line 1"},
      {"y = x ", "Parse error: ; Missing on line 1"},
      {"y = ;", "Parse error: ; Out of place on line 1"},
      {"y = &&1;", "Parse error: && Out of place on line 1"},
      {"delete;", "Parse error: ( Missing on line 1"},
      {"delete(1);", "Parse error: identifier Missing on line 1"},
      {"delete(x); y = x;", "Parse error: x Undeclared identifier on line 1"},
      {"y = lag(1, 1);", "Parse error: identifier Argument must be variable name, found on line 1"},
      {"y = lag(x + 1, 1);", "Parse error: + Argument must be variable name, found on line 1"},
      {"y = lag(z, 1);", "Parse error: z Undeclared identifier on line 1"},
      {"y = lag(log, 1);", "Parse error: log Expected a variable, not a function on line 1"},
      {"y = &x;", "Parse error: constant Missing on line 1"},
      {"y = &500;", "Parse error:  Parameter buffer full on line 1"},
      {"y = 1e5;", "Scan error: 1e5 Unrecognized on line 1"},
      {"y = 1", "Scan error: Unexpected end of code on line 1"},
  };
  for (const MessageCase &c : cases) {
    testing::internal::CaptureStdout();
    {
      Algebra algebra({"x"}, {{1, 2}}, c.code);
      EXPECT_EQ(algebra.error, c.message);
    }
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string("\nError: ") + c.message + "\n") << c.code;
  }
}

TEST(AlgebraLanguage, NestingAndLengthEndInAMessage) {
  const auto error = [](const std::string &code) {
    testing::internal::CaptureStdout();
    const std::string message = Algebra({"x"}, {{1, 2}}, code).error;
    testing::internal::GetCapturedStdout();
    return message;
  };
  EXPECT_EQ(error("y = " + std::string(400, '(') + "x" + std::string(400, ')') + ";"), "");
  EXPECT_EQ(error("y = " + std::string(100000, '(') + "x;"), "Parse error:  Out of memory on line 1");
  EXPECT_EQ(error("y = " + std::string(100000, '+') + "x;"), "Parse error:  Out of memory on line 1");
  std::string sum = "y = x", text = "\"" + std::string(256, 'a') + "\" = 1;";
  for (int i = 0; i < 400; ++i) sum += "+(x";
  EXPECT_EQ(error(sum + ";"), "Parse error:  Code buffer full on line 1");
  EXPECT_EQ(error(text), "");
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "v" + std::to_string(i) + " = x + " + std::to_string(i) + ".5;\n";
  Algebra algebra({"x"}, {{1, 2}}, many);
  ASSERT_EQ(algebra.error, "");
  EXPECT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("v4999"), {5000.5, 5001.5}, "v4999");
}

TEST(AlgebraLanguage, FaultsAndWarnings) {
  const struct {
    const char *code;
    bool succeeds;
  } cases[] = {{"y = 1/0;", true},      {"y = log(0);", true},    {"y = exp(1000);", true},
               {"y = log(-1);", false}, {"y = sqrt(-1);", false}, {"y = tailchi(1, 0);", false}};
  for (const auto &c : cases) {
    Algebra algebra({"x"}, {{1, 2}}, c.code);
    EXPECT_EQ(algebra.Run(), c.succeeds) << c.code;
    EXPECT_EQ(algebra.message, c.succeeds ? "FnRunAlgebraNls: no result was stored" : "");
  }
}

}  // namespace
