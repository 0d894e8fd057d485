// Inner products and matrix products, against sums in extended precision.
#include "linalg/products.h"

#include <array>

#include "core/heap.h"
#include "linalg/dot_product.h"
#include "linalg/tiled_product.h"
#include "matrices.h"

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
  const TestMatrix m = Random(20, 90);
  WithEachMicroKernel([&](const char *name) {
    for (int n = -1; n <= 80; ++n) {
      EXPECT_EQ(DotProduct(m[0] + 1, m[1] + 2, n), InOrder(m[0] + 1, m[1] + 2, n)) << name << n;
      EXPECT_EQ(DotProduct(m[2], m[2], n), InOrder(m[2], m[2], n));
      double out[21] = {};
      const int count = n < 0 ? 0 : n % 20;
      DotProducts(m.Rows(), 5, count, m[3] + 1, n, out);
      for (int r = 0; r < count; ++r) EXPECT_EQ(out[r], InOrder(m[r] + 5, m[3] + 1, n)) << name << r;
      EXPECT_EQ(out[count], 0.0);
    }
    return m.cells;
  });
}

// transA, transB, B the same as A
constexpr bool kShapes[][3] = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 1}, {1, 0, 1}};

// Rows, columns, inner size: vectors, the smallest sizes, both sides of where tiling starts (K N = 128, M K = 196,
// K N = 12288), edges of register blocks and tiles, several tiles in each direction.
constexpr int kSizes[][3] = {{1, 1, 1},    {1, 1, 9},     {9, 1, 13},    {1, 9, 13},     {3, 2, 1},    {5, 7, 2},
                             {7, 9, 3},    {10, 10, 4},   {11, 5, 7},    {13, 7, 18},    {13, 8, 16},  {3, 1, 127},
                             {3, 1, 128},  {13, 1, 15},   {14, 2, 14},   {6, 95, 129},   {6, 96, 128}, {97, 97, 126},
                             {3, 3, 5000}, {97, 97, 127}, {25, 31, 300}, {101, 205, 140}};

TestMatrix Op(const TestMatrix &m, bool transpose) { return transpose ? T(m) : m; }

// In each set, with all memory and with each allocation failing in turn. The tolerance bounds the rounding of any order
// of additions, for normal cells. The untiled loop gives the same bits in every set: the smallest sizes, and those
// whose scratch is not on the stack.
TEST(KernelMultiply, EveryShapeSizeSetAndFailingAllocation) {
  for (const auto &[transA, transB, same] : kShapes)
    for (const auto &[m, n, k] : kSizes)
      for (int gap : {0, 3}) {
        const bool bIsTransposed = transB && !transA;
        const TestMatrix a = transA ? Random(k, m, 1, gap) : Random(m, k, 1, gap);
        const TestMatrix b = same ? T(a) : bIsTransposed ? Random(n, k, 2, gap) : Random(k, n, 2, gap);
        const TestMatrix &second = same ? a : b;
        const TestMatrix expected = Mul(Op(a, transA), same ? Op(a, !transA) : Op(b, bIsTransposed));
        const auto blocks = HeapLiveBlocks();
        WithEachMicroKernel([&, m = m, k = k, ta = transA, tb = transB, symmetric = same](const char *name) {
          std::vector<double> untiled;
          bool pending = false;
          for (int fail = 0; !pending; ++fail) {
            const TestMatrix out(m, expected.columns, {}, gap);
            HeapFailAt(fail);
            KernelMultiply(out.Rows(), a.Rows(), a.rows, a.columns, second.Rows(), second.rows, second.columns, ta, tb);
            pending = HeapFailPending();
            HeapFailAt(0);
            ExpectNear(out, expected, 2e-16 * (a.rows + a.columns - m + 4) * (a.rows + a.columns - m + 4),
                       name + std::to_string(4 * ta + 2 * tb + symmetric) + ", allocation " + std::to_string(fail));
            if (symmetric) ExpectNear(out, Mirrored(out), 0.0, "symmetry");
            EXPECT_EQ(HeapLiveBlocks(), blocks);
            if (fail == 1 && (k < 10 || m * expected.columns * k >= 232500)) untiled = out.cells;
          }
          return untiled;
        });
      }
}

// An inner size of 0, and sizes that leave the result alone; leading rows of one table against the whole of it, since
// the same pointer is not the same matrix; and a single column with reordered rows, which is no vector.
TEST(KernelMultiply, EmptyAliasedAndReordered) {
  const TestMatrix a = Random(20, 6), few(3, 20), empty(3, 2, {}, 0), kept(3, 2), out(1, 1);
  MatMul(a.Rows(), 3, 0, a.Rows(), 2, empty.Rows());
  for (double cell : empty.cells) EXPECT_TRUE(IsMissing(cell));
  for (const auto &[rA, cA, cB] : {std::array{0, 4, 2}, {3, 4, 0}, {-1, 4, 2}, {3, -1, 2}})
    KernelMultiply(kept.Rows(), a.Rows(), rA, cA, a.Rows(), cA, cB, false, false);
  ExpectNear(kept, TestMatrix(3, 2), 0.0, "kept");
  KernelMultiply(kept.Rows(), a.Rows(), 0, 3, few.Rows(), 0, 2, true, true);
  EXPECT_TRUE(IsMissing(kept[2][1]));
  MatMulBt(a.Rows(), 3, 6, a.Rows(), 20, few.Rows());
  ExpectNear(few, Mul(a, T(a)), 1e-14, "leading rows");
  const TestMatrix digits = {{1, 10, 100, 1000}};
  TestMatrix column(
      4, 1, [](int i, int) { return i + 1; }, 0);
  std::swap(column.table[2], column.table[3]);
  MatMul(digits.Rows(), 1, 4, column.Rows(), 1, out.Rows());
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
      {20, 3, 1536, true, false, 4, 3, 1536},           // the depth stays 3072, twice the inner size
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
