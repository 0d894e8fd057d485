// FnDeSeasonalize with every allocation failing in turn.
#include "support/failing_allocation.h"

#include <tessel/tessel.h>

namespace {

TEST(FailingAllocation, DeSeasonalizeGivesNothingRatherThanHalf) {
  const double x[] = {1, 2, 3, 4};
  ForEachFailingAllocation([&](bool failing) {
    morv::Arguments args;
    args.Matrix(x, 4, 1).Integer(2);
    const morv::Outcome outcome = morv::Call("FnDeSeasonalize", FnDeSeasonalize, args);
    if (outcome.Returned() && outcome.result.AsMatrix().rows > 0) {
      EXPECT_EQ(outcome.result.AsMatrix()(0, 0), -1);
    } else {
      EXPECT_TRUE(failing);
    }
  });
}

}  // namespace
