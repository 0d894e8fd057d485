// The step of numerical derivatives.
#include "core/central_difference.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace tessel {
namespace {

// max((|v| + 1e-8) 1e-8, 5e-6) in decimal arithmetic.
TEST(CentralDifference, TheStepGrowsFrom500On) {
  const std::pair<double, double> steps[] = {
      {0, 5e-6}, {-1, 5e-6}, {499, 5e-6}, {501, 5.0100000001e-6}, {-2000, 2e-5 + 1e-16}, {1e9, 10 + 1e-16}};
  for (const auto &[v, step] : steps) EXPECT_DOUBLE_EQ(CentralStep(v), step) << v;
}

// (v + s)^3 - (v - s)^3 over 2 s is 3 v^2 + s^2.
TEST(CentralDifference, VisitsBothSidesAndPutsTheValueBack) {
  for (const double v : {0.0, 3.0, 1000.0}) {
    double x = v, difference = 0;
    std::vector<double> visited;
    const double width = EvaluateOnBothSides(&x, [&](int sign) {
      visited.push_back(x);
      difference += sign * x * x * x;
    });
    const double s = CentralStep(v);
    EXPECT_EQ(visited, (std::vector<double>{v + s, v - s}));
    EXPECT_EQ(x, v);
    EXPECT_EQ(width, 2 * s);
    EXPECT_NEAR(difference / width, 3 * v * v, 1e-10 * (1 + v * v * v)) << v;
  }
}

}  // namespace
}  // namespace tessel
