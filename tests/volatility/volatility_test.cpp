// Variance and regime recursions, called as a user calls them.
#include <cmath>
#include <functional>

#include "core/heap.h"
#include "support/reference_cases.h"
#include "volatility/garch.h"
#include "volatility/markov.h"

namespace {

std::vector<Argument> Garch(Argument y, Argument c, Argument coefficients, int p, int q) {
  return {y, c, coefficients, Int(p), Int(q), Int(0), Double(0), Double(0), Double(0), Out(), Out()};
}

std::vector<Argument> Egarch(Argument y, Argument c, Argument a, Argument b) {
  return {y, c, Double(0), Double(0), Double(0), a, b, Int(0), Double(0), Out(), Out()};
}

// Variance paths recursed in 50 digits, beyond the bound on the log-variance too; regimes summed over every path, and
// those of statsmodels; the smoother's recursion in 50 digits where its bounds hold.
TEST(Volatility, ReferenceCases) { ExpectReferenceCases("volatility_reference.txt"); }

TEST(Volatility, UnusableSizesLeaveTheOutputsAlone) {
  const Argument y = Mat(2, 1, {1, 2}), none = Mat(0, 0, {}), three = Mat(1, 3, {0, 0.3, 0.2});
  const std::vector<std::vector<Argument>> garch = {Garch(Mat(0, 1, {}), y, three, 1, 1),
                                                    Garch(y, Mat(1, 1, {1}), three, 1, 1),
                                                    Garch(y, y, three, 2, 1),
                                                    Garch(y, y, Mat(1, 2, {0, 0.3}), 1, 1),
                                                    Garch(y, y, three, -1, 1),
                                                    Garch(y, y, three, 1, -1),
                                                    Garch(Mat(1, 2, {1, 2}), y, three, 1, 1)};
  const std::vector<std::vector<Argument>> egarch = {Egarch(y, Mat(1, 1, {1}), none, none),
                                                     Egarch(y, y, Mat(0, 2, {}), none)};
  for (const auto &[name, calls] : {std::pair{"FnGarchVar", garch}, {"FnEgarchVar", egarch}})
    for (const auto &arguments : calls) {
      const CaseRun run = Call(name, arguments);
      ExpectGivesUp(run);
      EXPECT_EQ(run.At(-1)[0], 0) << name;
    }

  const CaseRun empty = Call("FnEgarchVar", Egarch(none, none, none, three));
  EXPECT_EQ(empty.At(-1)[0], 1);
  EXPECT_TRUE(empty.At(9).empty());
  EXPECT_TRUE(empty.At(10).empty());
  const CaseRun smoother = Call("FnSmoothMS", {Mat(0, 1, {}), Mat(1, 1, {1}), Out(), Out()});
  EXPECT_TRUE(smoother.outcome.Untouched());
  ExpectGivesUp(smoother);
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

// A leverage of 0 switches its term off: it does not multiply a square that has overflowed.
TEST(Garch, NoLeverageNoTerm) {
  const CaseRun run = Call("FnGarchVar", Garch(Mat(2, 1, {-1e200, 1}), Mat(2, 1, {3, 4}), Mat(1, 1, {9}), 0, 0));
  EXPECT_EQ(run.At(9), (std::vector<double>{3, 4}));
}

// What the headers state for exhausted memory.
TEST(Volatility, ExhaustedMemory) {
  const auto withoutMemory = [](const std::string &name, const std::vector<Argument> &arguments) {
    tessel::HeapFailAt(1);
    CaseRun run = Call(name, arguments);
    EXPECT_EQ(tessel::HeapFailPending(), false) << name;
    tessel::HeapFailAt(0);
    return run;
  };
  const Argument y = Mat(2, 1, {1, 2}), row = Mat(1, 3, {0, 0.3, 0.2}), five = Mat(1, 5, {0.2, 0.2, 0.2, 0.2, 0.2});
  const CaseRun garch = withoutMemory("FnGarchVar", Garch(y, y, row, 1, 1));
  EXPECT_EQ(garch.At(-1)[0], 0);
  EXPECT_TRUE(garch.WroteNothing());
  const CaseRun egarch = withoutMemory("FnEgarchVar", Egarch(y, y, row, row));
  EXPECT_EQ(egarch.At(-1)[0], 1);
  for (int position : {9, 10}) EXPECT_EQ(egarch.At(position), (std::vector<double>{0, 0}));
  const Argument p = Mat(5, 5, std::vector<double>(25, 0.2));
  for (const auto &[run, first] : {std::pair{withoutMemory("FnFilterMS", {five, p, five, Out(), Out()}), 3},
                                   {withoutMemory("FnSmoothMS", {five, p, Out(), Out()}), 2}}) {
    EXPECT_EQ(run.At(-1)[0], 1);
    for (int position : {first, first + 1})
      for (const double cell : run.At(position)) EXPECT_TRUE(std::isnan(cell)) << position;
  }

  const std::vector<double> cells(25, 0.2), one = {1.0};
  std::vector<double> to(25), more(25);
  const std::span<double> vector(to.data(), 1);
  const tessel::ConstMatrix rows(cells.data(), 5, 5), line(cells.data(), 1, 5);
  const std::function<tessel::Status()> workers[] = {
      [&] {
        return tessel::EgarchVariances({}, {one, one}, {vector, vector});
      },
      [&] {
        return tessel::MarkovFilter(line, rows, {cells.data(), 5}, vector, {});
      },
      [&] {
        return tessel::MarkovSmoother(line, rows, {to.data(), 1, 5}, {more.data(), 5, 5});
      }};
  for (const auto &worker : workers) {
    tessel::HeapFailAt(1);
    EXPECT_EQ(worker(), tessel::Status::NoMemory);
    EXPECT_EQ(to, std::vector<double>(25)) << "nothing is filled";
    EXPECT_EQ(worker(), tessel::Status::Ok);
    std::fill(to.begin(), to.end(), 0.0);
  }
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

// Where no regime is ever left and the filter had no opinion, the smoother carries the last row back: within bounds.
TEST(Regimes, BoundsOfSmoothedProbabilities) {
  const CaseRun run = Call("FnSmoothMS", {Mat(2, 3, {1, 1, 1, 1e-100, 1.1e-100, 1.5}),
                                          Mat(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}), Out(), Out()});
  EXPECT_EQ(run.At(2), (std::vector<double>{0, 1.1e-100, 1, 1e-100, 1.1e-100, 1.5}));
}

}  // namespace
