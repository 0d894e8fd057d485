// Random numbers of the Algebra language, through the exports.
#include "../random/reference.h"
#include "workspace.h"

namespace {

// Runs a program over observations of x, which is missing at every second one, and gives y.
std::vector<double> Draw(const std::string &code, bool succeeds = true, std::size_t observations = 20) {
  std::vector<double> x(observations, 3.0);
  for (std::size_t t = 0; t < x.size(); t += 2) x[t] = NA;
  Algebra algebra({"x"}, {x}, code);
  EXPECT_EQ(algebra.Run(), succeeds) << code;
  return algebra.Get("y");
}

// Values of tools/random_reference.py. A sequence runs on across workspaces.
TEST(AlgebraRandom, SequencesFromASeed) {
  for (const Sequence &s : kSequences) {
    if (std::string(s.generator) != "MWC_52") continue;
    const std::string code = "y = ranseed(" + std::to_string(s.seed) + "); y = " + s.call + ";";
    const std::vector<double> y = Draw(code, true, kSequenceLength);
    ExpectSeries({y[0], y[1], y.back()}, {s.first, s.second, s.last}, code, 1e-11);
    EXPECT_EQ(Draw("y = ranu();")[0], s.next) << code;
  }
}

// One number a call, in the order of the calls, and both names of the normal on one stream.
TEST(AlgebraRandom, CallsShareOneStream) {
  const std::string seed = "y = ranseed(5); ";
  const std::vector<double> normals = Draw(seed + "y = rann();"), pairs = Draw(seed + "y = rann() + 9*rannormal();"),
                            some = Draw(seed + "y = x != MISSING ? rann();");
  for (std::size_t t = 0; t < 10; ++t) {
    EXPECT_EQ(pairs[t], normals[2 * t] + 9 * normals[2 * t + 1]) << t;
    EXPECT_EQ(some[2 * t + 1], normals[t]) << t;
  }
}

// The value of ranseed, and the first word of the state: one step of the congruential generator, by hand.
TEST(AlgebraRandom, Seeds) {
  const std::pair<std::string, std::vector<double>> cases[] = {{"5", {5, 1022226848}},
                                                               {"2.9", {2, 1017233273}},
                                                               {"-1.5", {-1, 1013904223}},
                                                               {"1.0e300", {2147483647, -1135243950}},
                                                               {"-1.0e300", {-2147483648.0, -1133579425}}};
  for (const auto &[seed, values] : cases) {
    EXPECT_EQ(Draw("y = ranseed(" + seed + ");")[7], values[0]) << seed;
    EXPECT_EQ(Draw("y = ranseed(0.9);")[7], values[1]) << seed;
  }
}

// Neither a fault nor a missing or infinite argument draws.
TEST(AlgebraRandom, ImpossibleDegreesOfFreedom) {
  const auto expectNothing = [](const std::string &call, bool succeeds) {
    ExpectSeries(Draw("y = ranseed(-1); y = " + call + ";", succeeds), std::vector<double>(20, NA), call);
    EXPECT_EQ(Draw("y = ranu();")[0], kSequences[4].first) << call;
  };
  for (const char *bad : {"ranchi(0)", "ranchi(-1)", "ranf(1, 0)", "ranf(-2, 1)", "rant(0.9)", "rant(-5)"})
    expectNothing(bad, false);
  for (const char *call : {"ranchi(MISSING)", "ranf(1, MISSING)", "ranchi(exp(1000))", "ranf(exp(1000), 1)"})
    expectNothing(call, true);
}

}  // namespace
