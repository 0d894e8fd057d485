// Inner products and matrix products, against sums in extended precision.
#include "linalg/products.h"

#include <array>

#include "core/heap.h"
#include "core/missing.h"
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
      DotProducts(m.View().Block(0, count, 5, std::max(n, 0)), m[3] + 1, out);
      for (int r = 0; r < count; ++r) EXPECT_EQ(out[r], InOrder(m[r] + 5, m[3] + 1, n)) << name << r;
      EXPECT_EQ(out[count], 0.0);
    }
    return m.cells;
  });
}

// The operand that is transposed, and whether B is the same as A.
constexpr struct {
  Transposed which;
  bool same;
} kShapes[] = {{Transposed::None, false},
               {Transposed::B, false},
               {Transposed::A, false},
               {Transposed::B, true},
               {Transposed::A, true}};

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
  for (const auto &[which, same] : kShapes)
    for (const auto &[m, n, k] : kSizes)
      for (int gap : {0, 3}) {
        const bool transA = which == Transposed::A, transB = which == Transposed::B;
        const TestMatrix a = transA ? Random(k, m, 1, gap) : Random(m, k, 1, gap);
        const TestMatrix b = same ? T(a) : transB ? Random(n, k, 2, gap) : Random(k, n, 2, gap);
        const TestMatrix &second = same ? a : b;
        const TestMatrix expected = Mul(Op(a, transA), same ? Op(a, !transA) : Op(b, transB));
        const auto blocks = HeapLiveBlocks();
        WithEachMicroKernel([&, m = m, k = k, which = which, symmetric = same](const char *name) {
          std::vector<double> untiled;
          bool pending = false;
          for (int fail = 0; !pending; ++fail) {
            const TestMatrix out(m, expected.columns, {}, gap);
            HeapFailAt(fail);
            KernelMultiply(out, a, second, which);
            pending = HeapFailPending();
            HeapFailAt(0);
            ExpectNear(out, expected, 2e-16 * (a.rows + a.columns - m + 4) * (a.rows + a.columns - m + 4),
                       name + std::to_string(2 * static_cast<int>(which) + symmetric) + ", allocation " +
                           std::to_string(fail));
            if (symmetric) ExpectNear(out, Mirrored(out), 0.0, "symmetry");
            EXPECT_EQ(HeapLiveBlocks(), blocks);
            if (fail == 1 && (k < 10 || m * expected.columns * k >= 232500)) untiled = out.cells;
          }
          return untiled;
        });
      }
}

// An inner size of 0, and sizes that leave the result alone; leading rows of a matrix against the whole of it, since
// the same first cell is not the same matrix; and a column of a matrix, which is no vector.
TEST(KernelMultiply, EmptyAliasedAndStrided) {
  const TestMatrix a = Random(20, 6), few(3, 20), empty(3, 2, {}, 0), kept(3, 2), out(1, 1);
  const Matrix view = a;
  MatMul(view.Block(0, 3, 0, 0), view.Block(0, 0, 0, 2), empty);
  for (double cell : empty.cells) EXPECT_TRUE(IsMissing(cell));
  MatMul(view.Block(0, 0, 0, 4), view.Block(0, 4, 0, 2), kept.View().Rows(0, 0));
  MatMul(view.Block(0, 3, 0, 4), view.Block(0, 4, 0, 0), kept.View().Columns(0, 0));
  ExpectNear(kept, TestMatrix(3, 2), 0.0, "kept");
  KernelMultiply(kept, view.Block(0, 0, 0, 3), view.Block(0, 0, 0, 2), Transposed::A);
  EXPECT_TRUE(IsMissing(kept[2][1]));
  MatMulBt(view.Rows(0, 3), view, few);
  ExpectNear(few, Mul(a, T(a)), 1e-14, "leading rows");
  const TestMatrix digits = {{1, 10, 100, 1000}}, columns(4, 2, [](int i, int j) { return j == 1 ? i + 1 : 77; });
  MatMul(digits, columns.View().Columns(1, 1), out);
  EXPECT_EQ(out[0][0], 4321.0);
}

TEST(PlanTiles, NumbersWorkedOutByHand) {
  const struct {
    int m, n, k;
    Transposed which;
    int rows, columns, inner;
  } cases[] = {
      {1000, 1000, 1000, Transposed::None, 1000, 96, 128},  // 12288 / 96 deep
      {1000, 1000, 1000, Transposed::A, 96, 96, 128},       // 12288 / 128 rows
      {20, 3, 1536, Transposed::A, 4, 3, 1536},             // the depth stays 3072, twice the inner size
      {20, 3, 5000, Transposed::A, 4, 3, 3072},             // 4 columns, 12288 / 4 deep, 12288 / 3072 rows
      {30, 50, 1000, Transposed::B, 30, 50, 236},           // 52 columns, 12288 / 52 deep
      {200, 2, 60, Transposed::A, 200, 2, 60},              // only M K is large enough
      {7, 96, 127, Transposed::B, 7, 96, 127},              // K N below 12288: one tile
  };
  for (const auto &c : cases) {
    const bool transA = c.which == Transposed::A, transB = c.which == Transposed::B;
    const ConstMatrix a(nullptr, transA ? c.k : c.m, transA ? c.m : c.k);
    const ConstMatrix b(nullptr, transB ? c.n : c.k, transB ? c.k : c.n);
    const TilePlan plan = PlanTiles({Matrix(nullptr, c.m, c.n), a, b, c.which, false});
    EXPECT_EQ((std::array{plan.rows, plan.columns, plan.inner}), (std::array{c.rows, c.columns, c.inner})) << c.n;
  }
}

}  // namespace
}  // namespace tessel
