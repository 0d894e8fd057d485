// The frame of the exports: how arguments read, and what outputs and results become.
#include "frame.h"

#include <gtest/gtest.h>
#include <morv/host.h>
#include <morv/host.hpp>

#include <vector>

namespace tessel {
namespace {

MorvValue MatrixRecord(double **table, int rows, int columns) { return MorvMatrixValue(table, rows, columns); }

// A view of a matrix never has a negative size, nor cells where there are none.
TEST(Frame, MatricesReadAsViews) {
  double cells[] = {1, 2, 3, 4, 5, 6};
  double *table[] = {cells, cells + 3};
  MorvValue args[] = {MatrixRecord(table, 2, 3),   MatrixRecord(table, -2, 3), MatrixRecord(table, 2, -3),
                      MatrixRecord(nullptr, 2, 3), MatrixRecord(table, 2, 0),  MorvIntegerValue(7)};
  const ConstMatrix m = MatrixAt(args, 0);
  EXPECT_EQ(m.cells, cells);
  EXPECT_EQ(m.stride, 3);
  EXPECT_TRUE(m.Is(2, 3));
  EXPECT_EQ(m[1][2], 6);
  const struct { int position, rows, columns; } empty[] = {{1, 0, 3}, {2, 2, 0}, {3, 0, 0}, {4, 2, 0}};
  for (const auto &e : empty) {
    const ConstMatrix none = MatrixAt(args, e.position);
    EXPECT_TRUE(none.Is(e.rows, e.columns)) << e.position << ": " << none.rows << " x " << none.columns;
    EXPECT_EQ(none.cells, nullptr) << e.position;
    EXPECT_EQ(none.Length(), 0) << e.position;
  }
  EXPECT_EQ(ConstMatrix(OptionalMatrixAt(args, 0)).cells, cells);
  args[0].type |= 32;
  EXPECT_EQ(ConstMatrix(OptionalMatrixAt(args, 0)).cells, cells) << "only the low bits of the type are the tag";
  args[0].type = MORV_ARRAY;
  EXPECT_EQ(ConstMatrix(OptionalMatrixAt(args, 0)), ConstMatrix()) << "whatever else it holds";
}

// What an output says of itself: asked for and there, declined, or without memory.
TEST(Frame, OutputsTellWhetherTheyAreThere) {
  const long blocks = morv::LiveBlocks();
  MorvValue target = MorvIntegerValue(7), noTarget = MorvOutputValue(nullptr);
  MorvValue args[] = {MorvOutputValue(&target), MorvIntegerValue(0), noTarget};
  const Output there = OptionalOutputAt(args, 0, 2, 3);
  EXPECT_TRUE(there.wanted);
  EXPECT_FALSE(there.failed);
  EXPECT_TRUE(there.Is(2, 3));
  EXPECT_EQ(there.cells, static_cast<double **>(target.data)[0]);

  const Output declined = OptionalOutputAt(args, 1, 2, 3);
  EXPECT_FALSE(declined.wanted);
  EXPECT_FALSE(declined.failed);
  EXPECT_FALSE(static_cast<bool>(declined));

  const Output empty = OutputAt(args, 0, 0, 3);
  EXPECT_TRUE(empty.wanted);
  EXPECT_FALSE(empty.failed);
  EXPECT_TRUE(empty.Is(0, 3));

  morv::FailAllocationAt(1);
  const Output failed = OutputAt(args, 0, 2, 3);
  EXPECT_TRUE(failed.wanted);
  EXPECT_TRUE(failed.failed);
  EXPECT_TRUE(failed.Is(0, 0));
  EXPECT_EQ(failed.cells, nullptr);
  EXPECT_TRUE(Output(OutputAt(args, 2, 2, 3)).failed) << "an output reference to nothing";
  MorvFreeByValue(&target);
  EXPECT_EQ(morv::LiveBlocks(), blocks);
}

TEST(Frame, ResultsHaveTheirTag) {
  double cells[] = {1, 2};
  double *table[] = {cells, cells + 1};
  MorvValue args[] = {MorvIntegerValue(0), MatrixRecord(table, 2, 1)};
  MorvValue rtn = MorvDoubleValue(0.5);
  ReturnIntegerField(&rtn, 3);
  EXPECT_EQ(rtn.type, MORV_DOUBLE) << "the field alone";
  ReturnInteger(&rtn, 4);
  EXPECT_EQ(rtn.type, MORV_INTEGER);
  EXPECT_EQ(rtn.value.integer, 4);
  ReturnDouble(&rtn, 0.25);
  EXPECT_EQ(rtn.type, MORV_DOUBLE);
  EXPECT_EQ(rtn.value.number, 0.25);

  const Output copy = CopyResult(&rtn, args, 1);
  EXPECT_TRUE(HasTag(&rtn, MORV_MATRIX));
  EXPECT_TRUE(copy.Is(2, 1));
  EXPECT_NE(copy.cells, cells);
  EXPECT_EQ(copy[1][0], 2);
  morv::FailAllocationAt(1);
  EXPECT_TRUE(CopyResult(&rtn, args, 1).failed);
  const Output result = MatrixResult(&rtn, 1, 2);
  EXPECT_TRUE(HasTag(&rtn, MORV_MATRIX));
  EXPECT_TRUE(result.Is(1, 2));
  MorvFreeByValue(&rtn);
}

}  // namespace
}  // namespace tessel
