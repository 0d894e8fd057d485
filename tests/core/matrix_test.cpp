// Views of matrices and their owner, the missing value, the conversion to integers.
#include "core/matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "core/missing.h"

namespace tessel {
namespace {

std::vector<double> Cells(ConstMatrix m) {
  std::vector<double> cells;
  for (int i = 0; i < m.rows; ++i) cells.insert(cells.end(), m[i], m[i] + m.columns);
  return cells;
}

// 0 1 2 3 / 10 11 12 13 / 20 21 22 23
std::vector<double> Numbered() {
  std::vector<double> cells;
  for (int i = 0; i < 12; ++i) cells.push_back(i / 4 * 10 + i % 4);
  return cells;
}

TEST(Matrix, PartsShareTheCells) {
  std::vector<double> cells = Numbered();
  const Matrix m(cells.data(), 3, 4);
  EXPECT_TRUE(m.Contiguous());
  EXPECT_EQ(Cells(m.Rows(1, 2)), (std::vector<double>{10, 11, 12, 13, 20, 21, 22, 23}));
  EXPECT_EQ(Cells(m.Columns(1, 2)), (std::vector<double>{1, 2, 11, 12, 21, 22}));
  const Matrix block = m.Block(1, 2, 2, 1);
  EXPECT_EQ(Cells(block), (std::vector<double>{12, 22}));
  EXPECT_FALSE(block.Contiguous());
  EXPECT_TRUE(block.Rows(1, 1).Contiguous()) << "a single row";
  EXPECT_EQ(block.Length(), 2);
  block[1][0] = 5;
  EXPECT_EQ(m[2][2], 5);

  const Matrix none, empty(cells.data(), 0, 4);
  EXPECT_FALSE(static_cast<bool>(none));
  EXPECT_TRUE(static_cast<bool>(empty)) << "a matrix without cells is one all the same";
  EXPECT_TRUE(none.Empty());
  EXPECT_TRUE(empty.Empty());
  EXPECT_TRUE(empty.Is(0, 4));
  EXPECT_EQ(m.Columns(0, 4), m);
  EXPECT_FALSE(m.Columns(0, 3) == m);
}

// Nothing beside the cells of a view is written.
TEST(Matrix, FillsKeepInsideTheView) {
  constexpr double kept = -1;
  std::vector<double> cells(20, kept);
  const Matrix m(cells.data(), 3, 3, 6);
  const auto expect = [&](const std::vector<double> &expected) {
    EXPECT_EQ(Cells(m), expected);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const bool beside = i % 6 > 2 || i > 14;
      EXPECT_EQ(cells[i] == kept, beside) << i;
    }
  };
  FillIdentity(m);
  expect({1, 0, 0, 0, 1, 0, 0, 0, 1});
  FillZero(m);
  FillIdentity(m.Columns(0, 2));
  expect({1, 0, 0, 0, 1, 0, 0, 0, 0});
  const std::vector<double> source = Numbered();
  Copy(m, ConstMatrix(source.data(), 3, 4).Columns(1, 3));
  expect({1, 2, 3, 11, 12, 13, 21, 22, 23});
  MirrorLower(m);
  expect({1, 11, 21, 11, 12, 22, 21, 22, 23});
  FillZero(m);
  expect(std::vector<double>(9, 0.0));
  FillMissing(m.Block(1, 1, 0, 3));
  for (int j = 0; j < 3; ++j) EXPECT_TRUE(IsMissing(m[1][j])) << j;
  EXPECT_EQ(m[0][2], 0);
  EXPECT_EQ(m[2][0], 0);
}

// Sizes within a block of the loops, at its edge and beyond, in a view with cells on both sides.
TEST(Matrix, TrianglesAreMirroredAndTransposed) {
  for (int n : {1, 2, 15, 16, 17, 50}) {
    std::vector<double> cells(static_cast<std::size_t>(n) * static_cast<std::size_t>(n + 3), -1.0);
    const Matrix m = Matrix(cells.data(), n, n + 3).Columns(2, n);
    const auto at = [](int i, int j) { return 1000.0 * i + j; };
    const auto becomes = [&](void (*change)(Matrix), auto expected) {
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) m[i][j] = at(i, j);
      change(m);
      for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) ASSERT_EQ(m[i][j], expected(i, j)) << n << ": " << i << "," << j;
        for (int j : {-2, -1, n}) ASSERT_EQ(m[i][j], -1.0) << "beside row " << i;
      }
    };
    becomes(MirrorLower, [&](int i, int j) { return at(std::max(i, j), std::min(i, j)); });
    becomes(MirrorUpper, [&](int i, int j) { return at(std::min(i, j), std::max(i, j)); });
    becomes(MatTransposeInPlace, [&](int i, int j) { return at(j, i); });
  }
}

TEST(Matrix, OwnersHoldEverySizeThatFits) {
  const auto blocks = HeapLiveBlocks();
  {
    const std::int64_t most = std::numeric_limits<int>::max();
    EXPECT_FALSE(OwnedMatrix(-1, 2));
    EXPECT_FALSE(OwnedMatrix(2, -1));
    EXPECT_FALSE(OwnedMatrix(0, -1));
    EXPECT_FALSE(OwnedMatrix(-1, 0));
    EXPECT_FALSE(OwnedMatrix(-2, -3));
    EXPECT_FALSE(OwnedMatrix(most + 1, 0));
    EXPECT_FALSE(OwnedMatrix(0, most + 1));
    EXPECT_FALSE(OwnedMatrix(most, most));
    EXPECT_FALSE(OwnedMatrix());
    const OwnedMatrix empty(0, 3);
    EXPECT_TRUE(empty);
    EXPECT_TRUE(empty.View().Is(0, 3));

    std::vector<double> cells = Numbered();
    const ConstMatrix part = ConstMatrix(cells.data(), 3, 4).Columns(1, 2);
    const OwnedMatrix copy = OwnedMatrix::Clone(part);
    EXPECT_EQ(Cells(copy), Cells(part));
    EXPECT_TRUE(copy.View().Contiguous());
    EXPECT_NE(copy.View().cells, part.cells);
    EXPECT_FALSE(OwnedMatrix::Clone({})) << "no source";
    HeapFailAt(1);
    EXPECT_FALSE(OwnedMatrix::Clone(part)) << "no memory";
  }
  EXPECT_EQ(HeapLiveBlocks(), blocks);
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
