// Inner products and matrix products, against sums in extended precision.
#include "linalg/products.h"

#include <cmath>

#include "host/heap.h"
#include "host_matrix.h"
#include "linalg/dot_product.h"
#include "linalg/tiled_product.h"

namespace tessel {
namespace {

// The documented order of additions, spelled out.
double InOrder(const double *x, const double *y, int n) {
  double s[4] = {};
  const int whole = n > 4 ? n / 4 * 4 : 0;
  for (int k = 0; k < n; ++k) s[k < whole ? k % 4 : 0] += x[k] * y[k];
  return ((s[2] + s[1]) + s[3]) + s[0];
}

TEST(DotProduct, SameBitsInEverySetAndLength) {
  const HostMatrix m = Random(20, 90, 1);
  WithEachMicroKernel([&](const char *name) {
    for (int n = -1; n <= 80; ++n) {
      EXPECT_EQ(DotProduct(m[0] + 1, m[1] + 2, n), InOrder(m[0] + 1, m[1] + 2, n)) << name << n;
      EXPECT_EQ(DotProduct(m[2], m[2], n), InOrder(m[2], m[2], n));
      double out[21] = {};
      const int count = n < 0 ? 0 : n % 20;
      DotProducts(m.table.data(), 5, count, m[3] + 1, n, out);
      for (int r = 0; r < count; ++r) EXPECT_EQ(out[r], InOrder(m[r] + 5, m[3] + 1, n)) << name << r;
      EXPECT_EQ(out[count], 0.0);
    }
  });
}

struct Shape {
  bool transA, transB, same;
};
constexpr Shape kShapes[] = {{false, false, false}, {false, true, false}, {true, false, false},
                             {true, true, false},   {false, true, true},  {true, false, true}};

// Rows, columns, inner size: vectors, the smallest sizes, both sides of where tiling starts (K N = 128, M K = 196,
// K N = 12288), edges of register blocks and tiles, several tiles in each direction.
constexpr int kSizes[][3] = {{1, 1, 1},    {1, 1, 9},     {9, 1, 13},    {1, 9, 13},     {3, 2, 1},    {5, 7, 2},
                             {7, 9, 3},    {10, 10, 4},   {11, 5, 7},    {13, 7, 18},    {13, 8, 16},  {3, 1, 127},
                             {3, 1, 128},  {13, 1, 15},   {14, 2, 14},   {6, 95, 129},   {6, 96, 128}, {97, 97, 126},
                             {3, 3, 5000}, {97, 97, 127}, {25, 31, 300}, {101, 205, 140}};

// One product; with `same`, B is A, and `columns` is not looked at. The tolerance bounds the rounding of any order of
// additions, for normal cells.
struct Case {
  Case(const Shape &s, int rows, int columns, int inner, int gap)
      : shape(s),
        a(s.transA ? Random(inner, rows, 1, gap) : Random(rows, inner, 1, gap)),
        b(s.transB && !s.transA ? Random(columns, inner, 2, gap) : Random(inner, columns, 2, gap)),
        out(rows, s.same ? rows : columns, gap),
        tolerance(2e-16 * (inner + 4) * (inner + 4)),
        expected(Mul(Op(a, s.transA), s.same ? Op(a, !s.transA) : Op(b, s.transB && !s.transA))) {}
  static HostMatrix Op(const HostMatrix &m, bool transpose) { return transpose ? T(m) : T(T(m)); }
  void Multiply() {
    HostMatrix &second = shape.same ? a : b;
    KernelMultiply(out.Rows(), a.Rows(), a.rows, a.columns, second.Rows(), second.rows, second.columns, shape.transA,
                   shape.transB);
  }
  void Check(const std::string &what) const {
    ExpectNear(out, expected, tolerance, what + " " + std::to_string(4 * shape.transA + 2 * shape.transB + shape.same));
    if (shape.same) ExpectNear(out, Mirrored(out), 0.0, what + " symmetry");
  }

  Shape shape;
  HostMatrix a, b, out;
  double tolerance;
  HostMatrix expected;
};

TEST(KernelMultiply, EveryShapeSizeAndSet) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : kSizes)
      for (int gap : {0, 3}) {
        Case c(shape, m, n, k, gap);
        WithEachMicroKernel([&](const char *name) {
          c.Multiply();
          c.Check(name);
        });
      }
}

TEST(KernelMultiply, WithoutScratchTheSameToRounding) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : kSizes) {
      Case c(shape, m, n, k, 1);
      const auto blocks = HeapLiveBlocks();
      bool pending = false;
      for (int fail = 1; !pending; ++fail) {
        HeapFailAt(fail);
        c.Multiply();
        pending = HeapFailPending();
        HeapFailAt(0);
        c.Check("allocation " + std::to_string(fail));
        ASSERT_EQ(HeapLiveBlocks(), blocks);
      }
    }
}

// Sizes that are not tiled, or whose scratch is made to fail.
TEST(KernelMultiply, UntiledBitsAreTheSameInEverySet) {
  for (const Shape &shape : kShapes)
    for (const auto &[m, n, k] : {std::array{3, 5, 7}, {13, 7, 9}, {25, 31, 300}, {97, 97, 127}}) {
      Case c(shape, m, n, k, 1);
      std::vector<double> first;
      WithEachMicroKernel([&](const char *name) {
        HeapFailAt(1);
        c.Multiply();
        HeapFailAt(0);
        if (first.empty()) first = c.out.cells;
        EXPECT_EQ(first, c.out.cells) << name << " " << m;
      });
    }
}

TEST(KernelMultiply, EmptySizes) {
  HostMatrix a(3, 4), out(3, 2, 0), kept(3, 2);
  MatMul(a.Rows(), 3, 0, a.Rows(), 2, out.Rows());
  for (double cell : out.cells) EXPECT_TRUE(IsMissing(cell));
  for (const auto &[rA, cA, cB] : {std::array{0, 4, 2}, {3, 4, 0}, {-1, 4, 2}, {3, -1, 2}})
    KernelMultiply(kept.Rows(), a.Rows(), rA, cA, a.Rows(), cA, cB, false, false);
  ExpectNear(kept, HostMatrix(3, 2), 0.0, "kept");
}

// Leading rows of one table against the whole of it: the same pointer is not the same matrix.
TEST(KernelMultiply, SamePointerOtherSize) {
  HostMatrix a = Random(20, 6, 5), few(3, 20);
  MatMulBt(a.Rows(), 3, 6, a.Rows(), 20, few.Rows());
  ExpectNear(few, Mul(a, T(a)), 1e-14, "leading rows");
}

// A single column whose rows were reordered in the table is not read as a vector.
TEST(KernelMultiply, ColumnWithRowsOutOfOrder) {
  HostMatrix b(4, 1, 0, [](int i, int) { return i + 1; }), a(1, 4, 0, [](int, int j) { return std::pow(10, j); });
  HostMatrix out(1, 1);
  std::swap(b.table[2], b.table[3]);
  MatMul(a.Rows(), 1, 4, b.Rows(), 1, out.Rows());
  EXPECT_EQ(out[0][0], 3421.0);
}

TEST(PlanTiles, NumbersWorkedOutByHand) {
  const struct {
    int m, n, k;
    bool transA, transB;
    int rows, columns, inner;
  } cases[] = {
      {1000, 1000, 1000, false, false, 1000, 96, 128},  // 12288 / 96 deep
      {1000, 1000, 1000, true, false, 96, 96, 128},     // 12288 / 128 rows
      {5, 20, 50, false, false, 5, 20, 50},             // 20 -> 40 -> 80 columns while half the depth is above 50
      {20, 3, 5000, true, false, 4, 3, 3072},           // 4 columns, 12288 / 4 deep, 12288 / 3072 rows
      {30, 50, 1000, false, true, 30, 50, 236},         // 52 columns, 12288 / 52 deep
      {200, 2, 60, true, false, 200, 2, 60},            // only M K is large enough
      {7, 96, 127, false, true, 7, 96, 127},            // K N below 12288: one tile
  };
  for (const auto &c : cases) {
    const TilePlan plan = PlanTiles({nullptr, nullptr, nullptr, c.m, c.n, c.k, c.transA, c.transB, false});
    EXPECT_EQ((std::array{plan.rows, plan.columns, plan.inner}), (std::array{c.rows, c.columns, c.inner})) << c.n;
  }
}

}  // namespace
}  // namespace tessel
