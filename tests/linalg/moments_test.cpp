// Moment matrices and quadratic forms, against their definitions in extended precision.
#include "linalg/moments.h"

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/products.h"
#include "matrices.h"

namespace tessel {
namespace {

TEST(Moments, SandwichAndItsRefusals) {
  for (int n : {1, 15, 16, 17, 48})
    for (int m : {1, 5, 70}) {
      TestMatrix x = Random(n, m, 3), w = Mirrored(Random(m, m, 4)), out(n, n);
      ASSERT_EQ(MatSandwich(x, w, out), Status::Ok);
      ExpectNear(out, Mul(Mul(x, w), T(x)), 1e-14 * m * m, "X W X'");
      ExpectNear(out, Mirrored(out), 0.0, "symmetry");
      ASSERT_EQ(MatSandwich(x, {}, out), Status::Ok);
      ExpectNear(out, Mul(x, T(x)), 1e-14 * m, "X X'");
    }
  TestMatrix x = Random(2, 2, 1), out(2, 2);
  for (const Matrix refused : {Matrix(), x.View()}) {
    EXPECT_EQ(MatSandwich(x, {}, refused), Status::Invalid);
    EXPECT_EQ(MatSandwich(out, x, refused), Status::Invalid);
    EXPECT_EQ(MatCrossWeighted(x, {}, refused), Status::Invalid);
    EXPECT_EQ(MatCrossWeighted(out, x, refused), Status::Invalid);
  }
  EXPECT_EQ(MatSandwich(x.View().Columns(0, 0), x, out), Status::Invalid);
  HeapFailAt(1);
  EXPECT_EQ(MatSandwich(x, x, out), Status::NoMemory);
  HeapFailAt(0);
  ExpectNear(out, TestMatrix(2, 2), 0.0, "unchanged");
}

// To the bit: products of 16 rows at a time, and of one row each for the rest, whose sums have another order.
TEST(Moments, SandwichByBlocksOfRows) {
  for (int n : {15, 16, 17, 35}) {
    const TestMatrix x = Random(n, 30, 3), w = Mirrored(Random(30, 30, 4)), out(n, n), expected(n, n);
    ASSERT_EQ(MatSandwich(x, w, out), Status::Ok);
    for (int i = 0, rows = 0; i < n; i += rows) {
      rows = i + 16 <= n ? 16 : 1;
      const TestMatrix xw(rows, 30);
      MatMulBt(x.View().Rows(i, rows), w, xw);
      MatMulBt(xw, x.View().Rows(0, i + rows), expected.View().Block(i, rows, 0, i + rows));
    }
    ExpectNear(out, Mirrored(expected), 0.0, std::to_string(n));
  }
}

TEST(Moments, CrossWeighted) {
  for (int m : {1, 3, 64, 65, 130})
    for (int n : {1, 4, 7, 30}) {
      TestMatrix x = Random(n, m, 3), w = Random(n, n, 4), out(m, m);  // W not symmetric: all of it counts
      ASSERT_EQ(MatCrossWeighted(x, w, out), Status::Ok);
      ExpectNear(out, Mirrored(Mul(T(x), Mul(w, x))), 1e-14 * n * n, "X' W X");
      ASSERT_EQ(MatCrossWeighted(x, {}, out), Status::Ok);
      ExpectNear(out, Mul(T(x), x), 1e-14 * n, "X' X");
    }
}

TEST(Moments, RowsOverARange) {
  TestMatrix x = Random(11, 40, 3), y = Random(9, 40, 4), own(11, 11), cross(11, 9);
  for (const auto &[c0, c1] : {std::pair{0, 39}, {3, 3}, {5, 28}, {6, 5}}) {
    const auto range = [c0 = c0, c1 = c1](const TestMatrix &m) {
      return TestMatrix(m.rows, c1 - c0 + 1, [&](int i, int j) { return m[i][c0 + j]; });
    };
    MatCrossRows(x, c0, c1, own);
    ExpectNear(own, Mul(range(x), T(range(x))), 1e-13, "own rows");
    MatCrossRows2(x, y, c0, c1, cross);
    ExpectNear(cross, Mul(range(x), T(range(y))), 1e-13, "two sets of rows");
  }
}

TEST(Moments, SymmetricArgumentsReadTheUpperTriangleOnly) {
  for (int n : {1, 2, 9, 30}) {
    const TestMatrix s = Mirrored(Random(n, n, 7));
    TestMatrix b = Random(n, n, 5);
    TestMatrix upper(n, n, [&](int i, int j) { return j < i ? MissingValue() : s[i][j]; });
    EXPECT_NEAR(QuadFormColumn(n / 2, b, upper), Mul(Mul(T(b), s), b)[n / 2][n / 2], 1e-13 * n);
    EXPECT_NEAR(QuadFormRow(n / 2, b, upper), Mul(Mul(b, s), T(b))[n / 2][n / 2], 1e-13 * n);
    MatSymMulBt(upper, b);
    ExpectNear(upper, Mirrored(Mul(s, T(b))), 1e-14 * n, "S B'");
  }
}

TEST(Moments, ZerosSkipRowsOfTheQuadraticForm) {
  const TestMatrix x = {{0, 2, 1}, {0, 0, 0}};
  const TestMatrix s(3, 3, [](int i, int j) { return i == 0 ? MissingValue() : i + j; });
  EXPECT_EQ(QuadFormRow(0, x, s), 2.0 * 4 + 2 * 3.0 * 2 + 4.0);
  EXPECT_EQ(QuadFormRow(1, x, s), 0.0);
}

TEST(Moments, CellByCell) {
  const TestMatrix a = {{0, 1, 2}, {3, 4, 5}}, b = {{0, 10, 20}, {30, 40, 50}}, out(2, 3);
  MatAddScaled(a, b, -0.5, out);
  ExpectNear(out, {{0, -4, -8}, {-12, -16, -20}}, 0, "to another matrix");
  MatAddScaled(out, b, 1.0, out);
  ExpectNear(out, {{0, 6, 12}, {18, 24, 30}}, 0, "in place");
  EXPECT_EQ(MatTrace(out.View().Columns(0, 2)), 24.0);
  MatTransposeInPlace(out.View().Columns(0, 2));
  ExpectNear(out, {{0, 18, 12}, {6, 24, 30}}, 0, "transposed");
}

}  // namespace
}  // namespace tessel
