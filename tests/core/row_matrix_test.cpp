// RowMatrix, the missing value, the integer conversion and the heap gate.
#include "core/row_matrix.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/heap.h"

namespace tessel {
namespace {

TEST(RowMatrix, EmptyShapes) {
  EXPECT_EQ(MatAlloc(0, 5), nullptr);
  MatFree(nullptr);
  RowMatrix m = MatAlloc(3, 0);
  ASSERT_NE(m, nullptr);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(m[i], nullptr);
  MatFree(m);
  EXPECT_EQ(MatAlloc(std::int64_t{1} << 40, std::int64_t{1} << 40), nullptr);
  EXPECT_EQ(HeapLiveBlocks(), 0);
}

TEST(RowMatrix, RowsAreOneBlockAndSurviveSwaps) {
  RowMatrix m = MatAlloc(3, 4);
  EXPECT_EQ(m[1], m[0] + 4);
  EXPECT_EQ(m[2], m[0] + 8);
  std::swap(m[0], m[2]);
  MatFree(m);
  EXPECT_EQ(HeapLiveBlocks(), 0);
}

TEST(RowMatrix, CopyAndClone) {
  OwnedRows a(2, 2), b(2, 2);
  MatIdentity(a.get(), 2);
  MatFillMissing(b.get(), 2, 2);
  EXPECT_EQ(MatCopy(b.get(), a.get(), 0, 2), b.get());
  EXPECT_TRUE(IsMissing(b[1][1]));
  EXPECT_EQ(MatCopy(nullptr, a.get(), 2, 2), nullptr);
  EXPECT_EQ(MatClone(nullptr, 2, 2), nullptr);
  OwnedRows c = OwnedRows::Clone(a.get(), 2, 2);
  EXPECT_EQ(std::memcmp(a[0], c[0], 4 * sizeof(double)), 0);
}

TEST(RowMatrix, FailingAllocationsLeaveNothing) {
  for (int n = 1; n <= 2; ++n) {
    HeapFailAt(n);
    EXPECT_EQ(MatAlloc(2, 2), nullptr);
  }
  const char *texts[] = {"a", nullptr, "b"};
  for (int n = 1; n <= 3; ++n) {
    HeapFailAt(n);
    EXPECT_EQ(TextTableClone(texts, 3), nullptr);
  }
  HeapFailAt(0);
  char **copy = TextTableClone(texts, 3);
  EXPECT_STREQ(copy[2], "b");
  EXPECT_EQ(copy[1], nullptr);
  BlockTableFree(reinterpret_cast<void **>(copy), 3);
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
