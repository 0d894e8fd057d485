// Matrices and their views, the missing value, the integer conversion and the heap gate.
#include "core/matrix.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "core/heap.h"
#include "core/missing.h"

namespace tessel {
namespace {

TEST(Matrix, ShapesWithoutCellsExistAndImpossibleOnesDoNot) {
  for (const auto &[rows, columns] : {std::pair{0, 5}, {3, 0}, {0, 0}}) {
    const OwnedMatrix m(rows, columns);
    ASSERT_TRUE(m) << rows << " x " << columns;
    EXPECT_EQ(m.View().rows, rows);
    EXPECT_EQ(m.View().columns, columns);
    EXPECT_TRUE(m.View().Empty());
  }
  EXPECT_FALSE(OwnedMatrix(std::int64_t{1} << 40, 1));
  EXPECT_FALSE(OwnedMatrix(std::numeric_limits<int>::max(), std::numeric_limits<int>::max()));
  EXPECT_FALSE(OwnedMatrix(-1, 2));
  EXPECT_FALSE(OwnedMatrix::Clone(ConstMatrix{}));
  EXPECT_EQ(HeapLiveBlocks(), 0);
}

TEST(Matrix, ViewsOfPartsShareTheCells) {
  const OwnedMatrix m(4, 5);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 5; ++j) m[i][j] = 10 * i + j;
  const Matrix block = m.View().Block(1, 2, 3, 2);
  EXPECT_EQ(block[1][1], 24);
  EXPECT_FALSE(block.Contiguous());
  EXPECT_TRUE(m.View().Rows(1, 2).Contiguous());
  EXPECT_EQ(m.View().Rows(2, 2).Columns(1, 3)[1][2], 33);
  FillZero(block);
  EXPECT_EQ(m[1][2], 12);
  EXPECT_EQ(m[1][3] + m[2][4], 0);
  EXPECT_EQ(m[3][3], 33);
  const OwnedMatrix copy = OwnedMatrix::Clone(m.View().Block(2, 2, 0, 4));
  EXPECT_TRUE(copy.View().Contiguous());
  EXPECT_EQ(copy[1][3], 33);
  EXPECT_EQ(copy[0][3], 0);
}

TEST(Matrix, FillsAndTheMirror) {
  const OwnedMatrix m(3, 3);
  FillIdentity(m);
  EXPECT_EQ(m[2][2], 1);
  EXPECT_EQ(m[2][1], 0);
  m[2][0] = 7;
  MirrorLower(m);
  EXPECT_EQ(m[0][2], 7);
  FillMissing(m);
  EXPECT_TRUE(IsMissing(m[1][1]));
}

TEST(Matrix, AFailingAllocationLeavesNothing) {
  HeapFailAt(1);
  EXPECT_FALSE(OwnedMatrix(2, 2));
  HeapFailAt(0);
  EXPECT_EQ(HeapLiveBlocks(), 0);
}

TEST(Missing, EveryNanAndNothingElse) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(MissingValue()), 0x7FF8000000000000U);
  EXPECT_TRUE(IsMissing(-std::numeric_limits<double>::quiet_NaN()));
  EXPECT_TRUE(IsMissing(std::bit_cast<double>(0xFFF0000000000001U)));
  for (double x : {HUGE_VAL, -HUGE_VAL, -9999.99, 0.0, -0.0}) EXPECT_FALSE(IsMissing(x)) << x;
}

TEST(TruncateToInt, EveryDoubleHasAResult) {
  constexpr int lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();
  EXPECT_EQ(TruncateToInt(2.9), 2);
  EXPECT_EQ(TruncateToInt(-2.9), -2);
  EXPECT_EQ(TruncateToInt(2147483647.5), highest);
  EXPECT_EQ(TruncateToInt(-2147483648.5), lowest);
  EXPECT_EQ(TruncateToInt(-2147483647.5), -2147483647);
  EXPECT_EQ(TruncateToInt(1e300), highest);
  EXPECT_EQ(TruncateToInt(-HUGE_VAL), lowest);
  EXPECT_EQ(TruncateToInt(MissingValue()), lowest);
}

}  // namespace
}  // namespace tessel
