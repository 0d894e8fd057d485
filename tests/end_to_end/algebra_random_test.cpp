// Random numbers of the Algebra language, through the exports.
#include <cstring>

#include "../random/reference.h"
#include "workspace.h"

namespace {

// Runs a program over 20 observations of x, which is missing at every second one, and gives y.
std::vector<double> Draw(const std::string &code, bool succeeds = true) {
  std::vector<double> x(20, 3.0);
  for (std::size_t t = 0; t < x.size(); t += 2) x[t] = NA;
  Algebra algebra({"x"}, {x}, code);
  EXPECT_EQ(algebra.error, "") << code;
  EXPECT_EQ(algebra.Run(), succeeds) << code;
  return algebra.Get("y");
}

std::vector<double> Part(const std::vector<double> &series, long from, long to) {
  return {series.begin() + from, series.begin() + to};
}

// Values of tools/random_reference.py. A sequence runs on across workspaces.
TEST(AlgebraRandom, SequencesFromASeed) {
  for (const Sequence &s : kSequences) {
    if (std::strcmp(s.generator, "MWC_52") != 0) continue;
    const std::string call = s.call, seed = std::to_string(s.seed != 0 ? s.seed : -1);
    const std::vector<double> y = Draw("s = ranseed(" + seed + "); y = " + call + ";");
    ExpectSeries(Part(y, 0, 2), {s.first, s.second}, call, 1e-11);
    for (int drawn = 20; drawn < 100; drawn += 20) Draw("y = " + call + ";");
    const std::vector<double> once = Draw("y = ranu();");
    Algebra algebra({"x"}, {std::vector<double>(100, 1)}, "s = ranseed(" + seed + "); z = " + call + "; y = ranu();");
    ASSERT_TRUE(algebra.Run());
    ExpectSeries(Part(algebra.Get("y"), 0, 20), once, call);
  }
}

// Statement by statement in the order of the observations, and both names of the normal on one stream.
TEST(AlgebraRandom, CallsShareOneStream) {
  const std::string seed = "s = ranseed(5); ";
  const std::vector<double> normals = Draw(seed + "y = rann();"), uniforms = Draw("y = ranu();");
  ExpectSeries(Draw(seed + "z = rannormal(); y = ranu();"), uniforms, "uniforms behind 20 normals");
  const std::vector<double> pairs = Draw(seed + "y = rann() + 1000*rannormal();");
  for (std::size_t t = 0; t < 10; ++t) EXPECT_EQ(pairs[t], normals[2 * t] + 1000 * normals[2 * t + 1]) << t;
  const std::vector<double> some = Draw(seed + "y = x != MISSING ? rann();");
  for (std::size_t t = 0; t < 10; ++t) EXPECT_EQ(some[2 * t + 1], normals[t]) << t;
}

TEST(AlgebraRandom, SeedsByHand) {
  const struct {
    const char *seed;
    double value, word;  // the word is one step of the congruential generator
  } cases[] = {{"5", 5, 1022226848},
               {"2.9", 2, 1017233273},
               {"-1", -1, 1013904223},
               {"-1.5", -1, 1013904223},
               {"1.0e300", 2147483647, -1135243950},
               {"exp(1000)", 2147483647, -1135243950},
               {"-1.0e300", -2147483648.0, -1133579425}};
  for (const auto &c : cases) {
    const std::string seed = c.seed;
    EXPECT_EQ(Draw("y = ranseed(" + seed + ");")[7], c.value) << seed;
    EXPECT_EQ(Draw("y = ranseed(0.9);")[7], c.word) << seed;
    const std::vector<double> y = Draw("y = ranu();");
    ExpectSeries(Draw("s = ranseed(" + seed + "); s = ranseed(0); y = ranu();"), y, seed + ": asking disturbs nothing");
  }
}

// Neither a fault nor a missing argument draws.
TEST(AlgebraRandom, ImpossibleDegreesOfFreedom) {
  const std::string seed = "s = ranseed(5); ";
  const std::vector<double> y = Draw(seed + "y = ranu();"), missing(20, NA);
  for (const std::string bad : {"ranchi(0)", "ranchi(-1)", "ranf(1, 0)", "ranf(-2, 1)", "rant(0.9)", "rant(-5)"}) {
    ExpectSeries(Draw(seed + "y = " + bad + ";", false), missing, bad);
    ExpectSeries(Draw("y = ranu();"), y, bad);
  }
  for (const std::string nothing : {"ranchi(MISSING)", "ranf(1, MISSING)", "ranchi(exp(1000))", "ranf(exp(1000), 1)"}) {
    ExpectSeries(Draw(seed + "y = " + nothing + ";"), missing, nothing);
    ExpectSeries(Draw("y = ranu();"), y, nothing);
  }
}

}  // namespace
