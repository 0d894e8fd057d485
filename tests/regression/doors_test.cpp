// The nine exports' doors: limits, arguments of every kind and size, exhausted memory.
#include <bit>
#include <limits>
#include <random>
#include <variant>

#include "reference.h"
#include "support/failing_allocation.h"

namespace {

constexpr int kMax = std::numeric_limits<int>::max(), kMin = std::numeric_limits<int>::min();

struct Shape {
  int rows, columns;
};
using Input = std::variant<Shape, int, double>;

// A sound call: its inputs, and after them so many outputs.
struct Export {
  const char *name;
  MorvFunction function;
  std::vector<Input> inputs;
  int outputs;
};

const std::vector<Export> &Exports() {
  static const std::vector<Export> table = {
      {"FnRlsEst", FnRlsEst, {Shape{70, 2}, Shape{70, 2}, 0, 69, -1}, 7},
      {"FnRivEst", FnRivEst, {Shape{6, 70}, 2, 3, 2, 0, 69, 10}, 6},
      {"FnInstabilityTest", FnInstabilityTest, {Shape{20, 2}, Shape{20, 1}, 1.0}, 1},
      {"FnRalsFunc", FnRalsFunc, {Shape{4, 1}, Shape{20, 1}, Shape{20, 2}, 1, 2}, 3},
      {"FnRalsForecast", FnRalsForecast, {Shape{4, 1}, Shape{20, 1}, Shape{20, 2}, 1, 2, 5, Shape{4, 4}}, 2},
      {"FnJackknifeHCSE", FnJackknifeHCSE, {Shape{20, 2}, Shape{20, 1}, Shape{2, 2}}, 0},
      {"FnGLScovariance", FnGLScovariance, {Shape{20, 2}, Shape{20, 3}, 1}, 0},
      {"FnSeasonalRsq", FnSeasonalRsq, {Shape{20, 1}, 4, 1.0}, 1},
      {"FnKroneckerSel", FnKroneckerSel, {Shape{2, 2}, Shape{3, 2}, Shape{1, 2}, Shape{2, 1}}, 0},
  };
  return table;
}

// One call; the matrices hold uniform numbers on (-0.4, 0.6), the same ones in every call.
struct Trial {
  std::vector<std::vector<double>> cells;
  std::vector<morv::Value> outputs;
  morv::Arguments args;
  morv::Outcome outcome;

  Trial(const Export &e, const std::vector<Input> &inputs) : outputs(static_cast<std::size_t>(e.outputs)) {
    std::mt19937 random(1);
    for (const Input &input : inputs) {
      if (const Shape *shape = std::get_if<Shape>(&input)) {
        cells.emplace_back(static_cast<std::size_t>(shape->rows * shape->columns));
        for (double &cell : cells.back()) cell = static_cast<double>(random()) / 4294967296.0 - 0.4;
        args.Matrix(cells.back().data(), shape->rows, shape->columns);
      } else if (const int *integer = std::get_if<int>(&input)) {
        args.Integer(*integer);
      } else {
        args.Double(std::get<double>(input));
      }
    }
    for (morv::Value &output : outputs) args.Output(output);
  }
  Trial &Call(const Export &e) {
    outcome = morv::Call(e.name, e.function, args);
    return *this;
  }
};

std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }

bool Missing(const morv::Outcome &outcome) {
  return outcome.result.Tag() == MORV_DOUBLE && std::isnan(outcome.result.AsDouble());
}

// Every input that is replaced by one that does not fit ends the call with nothing allocated.
TEST(RegressionDoors, ArgumentsOutsideTheLimitsAreGivenUpQuietly) {
  const std::map<std::string, std::vector<std::pair<std::size_t, Input>>> unfit = {
      {"FnRlsEst", {{2, -1}, {2, kMin}, {2, 70}, {3, 70}, {3, kMax}, {3, -1}, {0, Shape{69, 2}}, {1, Shape{69, 2}}}},
      {"FnRivEst",
       {{0, Shape{5, 70}},
        {0, Shape{6, 69}},
        {1, 0},
        {1, 5},
        {1, kMax},
        {2, 0},
        {2, kMax},
        {3, 0},
        {3, kMax},
        {4, -1},
        {4, 70},
        {5, 70},
        {5, kMax},
        {5, kMin}}},
      {"FnInstabilityTest", {{0, Shape{0, 2}}, {0, Shape{20, 0}}, {1, Shape{19, 1}}, {0, Shape{21, 2}}}},
      {"FnRalsFunc",
       {{0, Shape{3, 1}},
        {0, Shape{5, 1}},
        {1, Shape{19, 1}},
        {1, Shape{20, 2}},
        {2, Shape{20, 0}},
        {3, 0},
        {3, kMin},
        {4, 20},
        {4, kMax},
        {3, 2}}},
      {"FnRalsForecast",
       {{0, Shape{5, 1}},
        {1, Shape{21, 1}},
        {3, -1},
        {4, kMax},
        {5, -1},
        {5, 19},
        {5, kMax},
        {5, kMin},
        {6, Shape{3, 4}},
        {6, Shape{4, 3}}}},
      {"FnJackknifeHCSE", {{0, Shape{0, 2}}, {0, Shape{21, 2}}, {1, Shape{19, 1}}, {2, Shape{1, 2}}, {2, Shape{2, 1}}}},
      {"FnGLScovariance", {{1, Shape{19, 3}}}},
      {"FnSeasonalRsq", {{0, Shape{20, 2}}, {0, Shape{0, 1}}, {1, 1}, {1, kMin}}},
      {"FnKroneckerSel", {{1, Shape{0, 2}}, {0, Shape{2, 0}}}},
  };
  for (const Export &e : Exports()) {
    EXPECT_TRUE(Trial(e, e.inputs).Call(e).outcome.Returned()) << e.name;
    for (const auto &[position, replacement] : unfit.at(e.name)) {
      std::vector<Input> inputs = e.inputs;
      inputs[position] = replacement;
      Trial run(e, inputs);
      run.Call(e);
      EXPECT_TRUE(run.outcome.Untouched() || (e.function == FnRalsFunc && Missing(run.outcome))) << e.name << position;
      for (const morv::Value &output : run.outputs) EXPECT_EQ(output.Tag(), MORV_INTEGER) << e.name << position;
    }
  }
}

// Arguments of any size and tag: under the sanitizers nothing is read or written outside, inputs stay as they were, and
// nothing is kept.
TEST(RegressionDoors, ArbitraryArgumentsStayInsideTheirMemory) {
  std::mt19937 random(20);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const auto libraryBlocks = tessel::HeapLiveBlocks();
  int returned = 0;
  for (int round = 0; round < 4000; ++round)
    for (const Export &e : Exports()) {
      std::vector<Input> inputs = e.inputs;
      for (Input &input : inputs) {
        if (below(3) == 0) continue;
        const int kind = below(20) == 0 ? below(3) : static_cast<int>(input.index());
        const int integers[] = {below(10) - 2, below(10), below(80), kMax - below(3), kMin + below(3)};
        const double doubles[] = {1.5, NAN, INFINITY, -1e300};
        if (kind == 0) input = Shape{below(2) == 0 ? below(8) : below(80), below(8)};
        if (kind == 1) input = integers[below(8) == 0 ? 3 + below(2) : below(3)];
        if (kind == 2) input = doubles[below(4)];
      }
      Trial run(e, inputs);
      const int spoilt = below(4);
      for (auto &block : run.cells)
        if (spoilt == 0 && !block.empty()) block[random() % block.size()] = below(2) == 0 ? NAN : 1e300;
      const auto before = run.cells;
      if (e.function == FnSeasonalRsq && inputs.size() > 1 && std::holds_alternative<int>(inputs[1]) &&
          std::get<int>(inputs[1]) > 1000)
        continue;  // an output of that many seasons
      run.Call(e);
      returned += run.outcome.Returned();
      for (std::size_t i = 0; i < before.size(); ++i)
        ASSERT_TRUE(std::ranges::equal(before[i], run.cells[i], {}, Bits, Bits)) << e.name;
    }
  EXPECT_EQ(tessel::HeapLiveBlocks(), libraryBlocks);
  EXPECT_GT(returned, 9000) << "most calls get past the door";
}

// With an allocation failing, the result is the one of a sound run or the one that tells of the failure.
TEST(RegressionDoors, ExhaustedMemoryIsToldAndReleased) {
  for (const Export &e : Exports()) {
    Trial sound(e, e.inputs);
    sound.Call(e);
    ForEachFailingAllocation([&](bool failing) {
      Trial run(e, e.inputs);
      run.Call(e);
      const morv::Value &result = run.outcome.result, &expected = sound.outcome.result;
      bool same = false, told = !run.outcome.Returned();
      if (!told && result.Tag() == MORV_MATRIX) {
        const std::span<double> a = result.AsMatrix().Flat(), b = expected.AsMatrix().Flat();
        same = std::equal(a.begin(), a.end(), b.begin(), b.end());
        told = std::all_of(a.begin(), a.end(), [](double cell) { return cell == 0; });
      } else if (!told) {
        same = result.AsDouble() == expected.AsDouble();
        told = Missing(run.outcome) || result.AsDouble() <= 0;
      }
      EXPECT_TRUE(same || (failing && told)) << e.name;
    });
  }
}

}  // namespace
