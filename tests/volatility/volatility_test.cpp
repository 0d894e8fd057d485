// Variance and regime recursions, called as a user calls them.
#include <cmath>

#include "support/reference_cases.h"

namespace {

std::vector<Argument> Garch(Argument y, Argument c, Argument coefficients, int p, int q) {
  return {y, c, coefficients, Int(p), Int(q), Int(0), Double(0), Double(0), Double(0), Out(), Out()};
}

std::vector<Argument> Egarch(Argument y, Argument c, Argument a, Argument b) {
  return {y, c, Double(0), Double(0), Double(0), a, b, Int(0), Double(0), Out(), Out()};
}

// Variance paths recursed in 50 digits; regimes summed over every path, and those of statsmodels.
TEST(Volatility, ReferenceCases) { ExpectReferenceCases("volatility_reference.txt", {{"FnFilterMS", 4}}); }

TEST(Volatility, UnusableSizesLeaveTheOutputsAlone) {
  const Argument y = Mat(2, 1, {1, 2}), none = Mat(0, 0, {}), three = Mat(1, 3, {0, 0.3, 0.2});
  const std::vector<std::vector<Argument>> garch = {Garch(Mat(0, 1, {}), y, three, 1, 1),
                                                    Garch(y, Mat(1, 1, {1}), three, 1, 1),
                                                    Garch(y, y, three, 2, 1),
                                                    Garch(y, y, three, -1, 1),
                                                    Garch(y, y, three, 1, -1),
                                                    Garch(Mat(1, 2, {1, 2}), y, three, 1, 1)};
  const std::vector<std::vector<Argument>> egarch = {Egarch(y, Mat(1, 1, {1}), none, none),
                                                     Egarch(y, y, Mat(0, 2, {}), none)};
  for (const auto &[name, calls] : {std::pair{"FnGarchVar", garch}, {"FnEgarchVar", egarch}})
    for (const auto &arguments : calls) {
      const CaseRun run = Call(name, arguments);
      EXPECT_TRUE(run.WroteNothing() && run.At(-1)[0] == 0) << name;
    }

  const CaseRun empty = Call("FnEgarchVar", Egarch(none, none, none, three));
  EXPECT_TRUE(empty.At(-1)[0] == 1 && empty.At(9).empty() && empty.At(10).empty());
  const CaseRun smoother = Call("FnSmoothMS", {Mat(0, 1, {}), Mat(1, 1, {1}), Out(), Out()});
  EXPECT_TRUE(smoother.outcome.Untouched() && smoother.WroteNothing());
  EXPECT_EQ(
      Call("FnFilterMS", {Mat(1, 2, {1, 1}), Mat(1, 2, {1, 1}), Mat(1, 2, {1, 1}), Out(), Out()}).outcome.argument, 2);
  EXPECT_EQ(Call("FnFilterMS", {Mat(1, 1, {1}), Mat(1, 1, {1}), Mat(1, 2, {1, 1}), Out(), Out()}).outcome.argument, 3);
  EXPECT_EQ(Call("FnSmoothMS", {Mat(1, 1, {1}), Mat(2, 1, {1, 1}), Out(), Out()}).outcome.argument, 2);
}

// A series shorter than the lag orders is all start: h_0 = c + 0.3 h0 + 0.2 h0 + 0.1 h0 with h0 = 4.
TEST(Garch, LagsLongerThanTheSeries) {
  const CaseRun run = Call("FnGarchVar", Garch(Mat(1, 1, {2}), Mat(1, 1, {1}), Mat(1, 5, {9, 0.3, 0.2, 0.1, 0}), 0, 3));
  EXPECT_DOUBLE_EQ(run.At(9)[0], 1 + 4 * 0.6);
}

TEST(Regimes, EdgesOfTheFilter) {
  const CaseRun single = Call("FnFilterMS", {Mat(2, 1, {3, 4}), Mat(1, 1, {1}), Mat(1, 1, {0.5}), Out(), Out()});
  EXPECT_EQ(single.At(3), (std::vector<double>{1.5, 4}));
  EXPECT_EQ(single.At(4), (std::vector<double>{1, 1}));
  const Argument p = Mat(2, 2, {0.9, 0.2, 0.1, 0.8}), prior = Mat(1, 2, {0.5, 0.5});
  const CaseRun impossible = Call("FnFilterMS", {Mat(3, 2, {1, -2, 0, 0, 1, 1}), p, prior, Out(), Out()});
  EXPECT_EQ(impossible.At(3)[0], 0.5) << "a negative density counts as 0";
  EXPECT_EQ(impossible.At(3)[1], 0);
  EXPECT_TRUE(std::isnan(impossible.At(3)[2]));
}

// Regime 1 cannot be reached from regime 0, where the chain is for certain.
TEST(Regimes, ARegimeOutOfReachStaysAtZero) {
  const CaseRun run = Call("FnSmoothMS", {Mat(2, 2, {1, 0, 1, 0}), Mat(2, 2, {1, 0.5, 0, 0.5}), Out(), Out()});
  EXPECT_EQ(run.At(2), (std::vector<double>{1, 0, 1, 0}));
  EXPECT_EQ(run.At(3), (std::vector<double>{1, 0, 0, 0}));
}

}  // namespace
