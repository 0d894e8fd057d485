// Inner products and matrix products, against sums in extended precision.
#include "linalg/products.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "host/heap.h"
#include "host_matrix.h"
#include "linalg/dot_product.h"
#include "linalg/tiled_product.h"

namespace tessel {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// The documented order of additions, spelled out.
double InOrder(const double *x, const double *y, int n) {
  double s[4] = {};
  const int whole = n > 4 ? n / 4 * 4 : 0;
  for (int k = 0; k < n; ++k) s[k < whole ? k % 4 : 0] += x[k] * y[k];
  return ((s[2] + s[1]) + s[3]) + s[0];
}

TEST(DotProduct, SameBitsInEverySetAndLength) {
  HostMatrix m(20, 90, 3);
  m.Random(1);
  WithEachMicroKernel([&](const MicroKernel &kernel) {
    for (int n = -1; n <= 80; ++n) {
      EXPECT_EQ(DotProduct(m[0] + 1, m[1] + 2, n), InOrder(m[0] + 1, m[1] + 2, n)) << kernel.name << n;
      EXPECT_EQ(DotProduct(m[2], m[2], n), InOrder(m[2], m[2], n));
      const int count = n % 20;
      double out[21];
      std::fill_n(out, 21, -1.0);
      DotProducts(m.Rows(), 5, count, m[3] + 1, n, out);
      for (int r = 0; r < count; ++r) EXPECT_EQ(out[r], InOrder(m[r] + 5, m[3] + 1, n)) << kernel.name << r;
      EXPECT_EQ(out[std::max(count, 0)], -1.0);
    }
  });
}

struct Shape {
  bool transA, transB, same;
};
constexpr Shape kShapes[] = {{false, false, false}, {false, true, false}, {true, false, false},
                             {true, true, false},   {false, true, true},  {true, false, true}};

// One product of the given sizes, in memory with a gap after each row. With `same`, rows is also columns.
struct Case {
  Case(const Shape &s, int rows, int columns, int inner, int gap = 2)
      : shape(s),
        m(rows),
        n(s.same ? rows : columns),
        k(inner),
        transB(s.transB && !s.transA),
        a(s.transA ? k : m, s.transA ? m : k, gap),
        b(transB ? n : k, transB ? k : n, gap),
        out(m, n, gap) {
    a.Random(1);
    b.Random(2);
  }
  void Multiply() {
    HostMatrix &second = shape.same ? a : b;
    const int rA = shape.transA ? k : m, cA = shape.transA ? m : k;
    KernelMultiply(out.Rows(), a.Rows(), rA, cA, second.Rows(),
                   shape.same ? rA
                   : transB   ? n
                              : k,
                   shape.same ? cA
                   : transB   ? k
                              : n,
                   shape.transA, shape.transB);
  }
  double A(int i, int q) { return shape.transA ? a[q][i] : a[i][q]; }
  double B(int q, int j) { return shape.same ? A(j, q) : transB ? b[j][q] : b[q][j]; }

  // Every cell within the bound of a sum of k products in any order; nothing written past a row; symmetry to the bit.
  void Check(const char *what) {
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) {
        long double sum = 0.0, size = 0.0;
        for (int q = 0; q < k; ++q) {
          sum += static_cast<long double>(A(i, q)) * B(q, j);
          size += std::fabs(static_cast<long double>(A(i, q)) * B(q, j));
        }
        ASSERT_LE(std::fabs(out[i][j] - sum), 0.5 * (k + 1) * kEpsilon * size)
            << what << " " << m << "x" << k << "x" << n << " flags " << shape.transA << shape.transB << shape.same
            << " at " << i << "," << j;
        if (shape.same) {
          ASSERT_EQ(out[i][j], out[j][i]);
        }
      }
    EXPECT_TRUE(out.GapsIntact()) << what;
  }

  Shape shape;
  int m, n, k;
  bool transB;
  HostMatrix a, b, out;
};

// Rows, columns, inner size: vectors, the smallest sizes, both sides of where tiling starts (K N = 128, M K = 196,
// K N = 12288), edges of register blocks and tiles, several tiles in each direction.
constexpr int kSizes[][3] = {{1, 1, 1},     {1, 1, 9},     {9, 1, 13},    {1, 9, 13},      {3, 2, 1},    {5, 7, 2},
                             {7, 9, 3},     {10, 10, 4},   {11, 5, 7},    {13, 7, 18},     {13, 8, 16},  {3, 1, 127},
                             {3, 1, 128},   {13, 1, 15},   {14, 2, 14},   {6, 95, 129},    {6, 96, 128}, {97, 97, 126},
                             {97, 97, 127}, {25, 31, 300}, {130, 99, 70}, {101, 205, 140}, {3, 3, 5000}, {300, 4, 33}};

TEST(KernelMultiply, EveryShapeAndSize) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : kSizes)
      for (int gap : {0, 3}) {
        Case c(shape, m, n, k, gap);
        WithEachMicroKernel([&](const MicroKernel &kernel) {
          c.Multiply();
          c.Check(kernel.name);
        });
      }
}

TEST(KernelMultiply, WithoutScratchTheSameToRounding) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : kSizes) {
      Case c(shape, m, n, k);
      const auto blocks = HeapLiveBlocks();
      bool pending = false;
      for (int fail = 1; !pending; ++fail) {
        HeapFailAt(fail);
        c.Multiply();
        pending = HeapFailPending();
        HeapFailAt(0);
        if (!pending) c.Check("failing");
        ASSERT_EQ(HeapLiveBlocks(), blocks);
      }
    }
}

TEST(KernelMultiply, UntiledBitsAreTheSameInEverySet) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : kSizes) {
      Case c(shape, m, n, k);
      std::vector<double> first;
      WithEachMicroKernel([&](const MicroKernel &kernel) {
        HeapFailAt(1);  // a tiled size takes the untiled form
        c.Multiply();
        HeapFailAt(0);
        if (first.empty()) first = c.out.Cells();
        EXPECT_EQ(first, c.out.Cells()) << kernel.name << " " << m << "x" << k << "x" << n;
      });
    }
}

TEST(KernelMultiply, EmptySizes) {
  HostMatrix a(3, 4), out(3, 2);
  MatMul(a.Rows(), 3, 0, a.Rows(), 2, out.Rows());
  for (double cell : out.Cells()) EXPECT_TRUE(IsMissing(cell));
  HostMatrix kept(3, 2);
  for (const auto &[rA, cA, cB] : {std::array{0, 4, 2}, {3, 4, 0}, {-1, 4, 2}, {3, -1, 2}})
    KernelMultiply(kept.Rows(), a.Rows(), rA, cA, a.Rows(), cA, cB, false, false);
  EXPECT_EQ(kept[2][1], HostMatrix::kFill);
}

// Leading rows of one table against the whole of it: the same pointer is not the same matrix.
TEST(KernelMultiply, SamePointerOtherSize) {
  HostMatrix a(20, 6, 1), few(3, 20, 1), all(20, 20);
  a.Random(5);
  MatMulBt(a.Rows(), 3, 6, a.Rows(), 20, few.Rows());
  MatMulBt(a.Rows(), 20, 6, a.Rows(), 20, all.Rows());
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 20; ++j) EXPECT_NEAR(few[i][j], all[i][j], 1e-14);
  EXPECT_TRUE(few.GapsIntact());
}

// A single column whose rows were reordered in the table is not read as a vector.
TEST(KernelMultiply, ColumnWithRowsOutOfOrder) {
  OwnedMatrix b(4, 1);
  for (int i = 0; i < 4; ++i) b[i][0] = i + 1;
  std::swap(b.get()[2], b.get()[3]);
  HostMatrix a(1, 4), out(1, 1);
  for (int i = 0; i < 4; ++i) a[0][i] = std::pow(10, i);
  MatMul(a.Rows(), 1, 4, b.get(), 1, out.Rows());
  EXPECT_EQ(out[0][0], 3421.0);
  KernelMultiply(out.Rows(), b.get(), 4, 1, b.get(), 4, 1, true, false);
  EXPECT_EQ(out[0][0], 30.0);
}

// The plan worked out by hand from the budget of 12288 cells.
TEST(PlanTiles, Numbers) {
  const struct {
    int m, n, k;
    bool transA, transB;
    TilePlan plan;
  } cases[] = {
      {1000, 1000, 1000, false, false, {1000, 96, 128}},  // 12288 / 96 = 128
      {1000, 1000, 1000, true, false, {96, 96, 128}},
      {5, 20, 50, false, false, {5, 20, 50}},      // 20 -> 40 -> 80 columns while half the depth is above 50
      {20, 3, 5000, true, false, {4, 3, 3072}},    // 4 columns, 12288 / 4 deep, 12288 / 3072 rows
      {30, 50, 1000, false, true, {30, 50, 236}},  // 52 columns, 236 deep
      {200, 2, 60, true, false, {200, 2, 60}},     // only M K is large enough
      {7, 96, 127, false, true, {7, 96, 127}},     // K N below 12288: one tile
  };
  for (const auto &c : cases) {
    const TilePlan plan = PlanTiles({nullptr, nullptr, nullptr, c.m, c.n, c.k, c.transA, c.transB, false});
    EXPECT_EQ(plan.rows, c.plan.rows) << c.m << " " << c.n << " " << c.k;
    EXPECT_EQ(plan.columns, c.plan.columns) << c.m << " " << c.n << " " << c.k;
    EXPECT_EQ(plan.inner, c.plan.inner) << c.m << " " << c.n << " " << c.k;
  }
}

}  // namespace
}  // namespace tessel
