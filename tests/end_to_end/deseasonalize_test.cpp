// FnDeSeasonalize, and the frame that every export shares, through the shared library.
#include <cmath>
#include <vector>

#include "library.h"

namespace {

morv::Outcome DeSeasonalize(const std::vector<double> &x, int rows, int columns, int seasons) {
  morv::Arguments args;
  args.Matrix(x.data(), rows, columns).Integer(seasons);
  return TesselLibrary().Call("FnDeSeasonalize", args);
}

TEST(DeSeasonalize, CentresEachSeasonOfEachColumn) {
  // Column 0: seasons {1, 5} and {2}; column 1: the missing value spreads over its season only.
  const std::vector<double> x = {1, 7, 2, NAN, 5, 9};
  const morv::Outcome outcome = DeSeasonalize(x, 3, 2, 2);
  ASSERT_TRUE(outcome.Returned()) << outcome.message;
  const morv::MatrixView y = outcome.result.AsMatrix();
  ASSERT_EQ(y.rows, 3);
  ASSERT_EQ(y.columns, 2);
  EXPECT_EQ(y(0, 0), -2);
  EXPECT_EQ(y(1, 0), 0);
  EXPECT_EQ(y(2, 0), 2);
  EXPECT_EQ(y(0, 1), -1);
  EXPECT_TRUE(std::isnan(y(1, 1)));
  EXPECT_EQ(y(2, 1), 1);
  EXPECT_EQ(x[0], 1) << "the input is not changed";
}

TEST(DeSeasonalize, AsManySeasonsAsRowsGivesZeros) {
  for (int seasons : {3, 4, 2147483647}) {
    const morv::Outcome outcome = DeSeasonalize({1, 2, 3}, 3, 1, seasons);
    for (double cell : outcome.result.AsMatrix().Flat()) EXPECT_EQ(cell, 0);
  }
}

TEST(DeSeasonalize, UnusableSizesLeaveTheResultUntouched) {
  EXPECT_TRUE(DeSeasonalize({1, 2}, 2, 1, 1).Untouched());
  EXPECT_TRUE(DeSeasonalize({1, 2}, 2, 1, 0).Untouched());
  EXPECT_TRUE(DeSeasonalize({}, 0, 0, 2).Untouched());
}

TEST(Frame, ARefusedArgumentIsNamed) {
  morv::Arguments args;
  args.Integer(3).Integer(2);
  morv::Outcome outcome = TesselLibrary().Call("FnDeSeasonalize", args);
  EXPECT_EQ(outcome.status, morv::Outcome::Status::Refused);
  EXPECT_EQ(outcome.argument, 1);
  EXPECT_EQ(outcome.message, "FnDeSeasonalize: argument 1 must be a matrix, it is an integer");

  morv::Arguments tooFew;
  const double cell = 1;
  tooFew.Matrix(&cell, 1, 1);
  outcome = TesselLibrary().Call("FnDeSeasonalize", tooFew);
  EXPECT_EQ(outcome.message, "FnDeSeasonalize: argument 2 must be an integer, it is absent");
  EXPECT_EQ(TesselLibrary().Call("FnNone", tooFew).status, morv::Outcome::Status::NotFound);
}

}  // namespace
