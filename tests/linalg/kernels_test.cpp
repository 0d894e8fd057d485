// The dispatch of vector kernels, and sums over observations in their stated order.
#include <map>

#include "core/heap.h"
#include "linalg/cross_products.h"
#include "linalg/lagged_products.h"
#include "linalg/lu.h"
#include "linalg/products.h"
#include "linalg/qr.h"
#include "linalg/row_kernels.h"
#include "linalg/sum_kernels.h"
#include "linalg/symmetric.h"
#include "matrices.h"

namespace tessel {
namespace {

// Each cell is a sum in the order of the observations, on either side of the blocks of eight; each weight has a sum of
// its own.
TEST(CrossProducts, SumsInTheOrderOfTheObservations) {
  for (int n : {1, 2, 3, 4, 5, 8, 11})
    for (int T : {1, 7, 8, 9, 37})
      WithEachMicroKernel([&](const char *name) {
        const TestMatrix x = Random(T, n, 3), w = Random(T, 2, 4);
        CrossProducts sums(2, n);
        for (int t = 0; t < T; ++t) sums.Add(x[t], w[t]);
        std::vector<double> cells;
        for (int s : {0, 1}) {
          const TestMatrix whole(n, n), lower(n, n);
          sums.Store(s, lower, false);
          sums.Store(s, whole, true);
          const TestMatrix expected(n, n, [&](int i, int j) {
            double sum = 0.0;
            for (int t = 0; t < T; ++t) sum += w[t][s] * x[t][std::max(i, j)] * x[t][std::min(i, j)];
            return sum;
          });
          ExpectNear(whole, expected, 0.0, name);
          ExpectNear(lower, {n, n, [&](int i, int j) { return i < j ? TestMatrix::kFill : expected[i][j]; }}, 0.0,
                     name);
          cells.insert(cells.end(), whole.cells.begin(), whole.cells.end());
        }
        return cells;
      });
}

TEST(CrossProducts, MemoryAndNoSums) {
  EXPECT_FALSE(CrossProducts());
  for (int fail = 1; fail <= 4; ++fail) {
    HeapFailAt(fail);
    EXPECT_FALSE(CrossProducts(1, 3)) << fail;
    EXPECT_FALSE(HeapFailPending());
  }
  HeapFailAt(0);
}

TEST(AddLaggedProducts, TermsInTheOrderOfTheLags) {
  for (int n : {1, 2, 3, 4, 5, 8, 9})
    for (int lags : {0, 1, 4})
      WithEachMicroKernel([&](const char *name) {
        constexpr int width = 12;
        const TestMatrix past(
            lags + 1, width, [&, r = Random(lags + 1, width, 5)](int i, int j) { return j < n ? r[i][j] : 0; }, 0);
        const TestMatrix before(n, n, [r = Random(n, n, 6)](int i, int j) { return r[i][j]; });
        std::vector<const double *> rows;
        std::vector<double> weights;
        for (int l = 0; l <= lags; ++l) {
          rows.push_back(past[l]);
          weights.push_back(1.0 / (l + 3));
        }
        const TestMatrix sums(width, width, {}, 0);
        Copy(sums.View().Block(0, n, 0, n), before);
        AddLaggedProducts({rows.data(), weights.data(), lags}, sums.View().Block(0, n, 0, n));
        std::vector<double> cells;
        for (int p = 0; p < n; ++p)
          for (int q = 0; q <= p; ++q) {
            const double *g = past[0];
            double sum = before[p][q] + g[p] * g[q];
            for (int l = 1; l <= lags; ++l)
              sum += weights[static_cast<std::size_t>(l)] * (g[p] * past[l][q] + g[q] * past[l][p]);
            EXPECT_EQ(sums[p][q], sum) << name << " " << n << " " << lags;
            cells.push_back(sums[p][q]);
          }
        return cells;
      });
}

// Forcing a set reaches every kernel: with one that counts the calls and passes them on to the baseline, the library's
// routines call each.
std::map<std::string, int> calls;

const MicroKernel &Baseline() { return MicroKernels().front(); }

RowKernels CountedRowKernels() {
  return {.dotFour =
              [](const ConstMatrix &rows, const double *y, const double *partial, std::int64_t step, double *sums) {
                ++calls["dotFour"];
                Baseline().rows->dotFour(rows, y, partial, step, sums);
              },
          .accumulate =
              [](const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b) {
                ++calls["accumulate"];
                Baseline().rows->accumulate(sums, a, b);
              },
          .addScaledAndDot =
              [](const Matrix &rows, const double *scales, const double *v, const double *w, double *sums) {
                ++calls["addScaledAndDot"];
                Baseline().rows->addScaledAndDot(rows, scales, v, w, sums);
              },
          .addScaled =
              [](double *x, double scale, const double *v, int n) {
                ++calls["addScaled"];
                Baseline().rows->addScaled(x, scale, v, n);
              },
          .solveLower =
              [](const ConstMatrix &l, bool hasDiagonal, StripRow *x) {
                ++calls["solveLower"];
                Baseline().rows->solveLower(l, hasDiagonal, x);
              },
          .solveUpper =
              [](const ConstMatrix &u, StripRow *x) {
                ++calls["solveUpper"];
                Baseline().rows->solveUpper(u, x);
              }};
}

SumKernels CountedSumKernels() {
  return {.addWeighted =
              [](const WeightedVectors &block, double *scaled, const Matrix &sums) {
                ++calls["addWeighted"];
                Baseline().sums->addWeighted(block, scaled, sums);
              },
          .addLagged =
              [](const LaggedVectors &vectors, const Matrix &sums) {
                ++calls["addLagged"];
                Baseline().sums->addLagged(vectors, sums);
              }};
}

MicroKernel Counted(const RowKernels *rows, const SumKernels *sums) {
  MicroKernel set = Baseline();
  set.dot = [](const double *x, const double *y, int n) {
    ++calls["dot"];
    return Baseline().dot(x, y, n);
  };
  set.dots = [](const double *const *x, const double *y, int n, double *out) {
    ++calls["dots"];
    Baseline().dots(x, y, n, out);
  };
  set.lanes = [](const double *const *x, const double *y, int n, double(*lanes)[kLaneRows]) {
    ++calls["lanes"];
    Baseline().lanes(x, y, n, lanes);
  };
  set.packRows = [](const double *cells, std::int64_t stride, int depth, double *panel) {
    ++calls["packRows"];
    Baseline().packRows(cells, stride, depth, panel);
  };
  set.packColumns = [](const double *cells, std::int64_t stride, int depth, double *panel) {
    ++calls["packColumns"];
    Baseline().packColumns(cells, stride, depth, panel);
  };
  set.block.full = [](const double *const *a, int step, const double *b, int depth, double *const *c, bool add) {
    ++calls["block"];
    Baseline().block.full(a, step, b, depth, c, add);
  };
  set.exactBlock.full = [](const double *const *a, int step, const double *b, int depth, double *const *c, bool add) {
    ++calls["exactBlock"];
    Baseline().exactBlock.full(a, step, b, depth, c, add);
  };
  set.rows = rows;
  set.sums = sums;
  return set;
}

TEST(ForceMicroKernel, ReachesEveryKernel) {
  const RowKernels rows = CountedRowKernels();
  const SumKernels sums = CountedSumKernels();
  const MicroKernel set = Counted(&rows, &sums);
  ForceMicroKernel(&set);
  const TestMatrix a = Random(70, 70), small = Random(8, 8), out(70, 70), smallOut(8, 8), y = Random(1, 70);
  MatMul(a, a, out);
  MatMulBt(small, small, smallOut);
  KernelMultiply(out, a, a, Transposed::A);
  EXPECT_EQ(MatInvert(TestMatrix(a)), Status::Ok);
  EXPECT_EQ(MatInvertSpd(out), Status::Ok);
  EXPECT_EQ(MatOlsQr(TestMatrix(a), y, {}).status, Status::Ok);
  CrossProducts products(1, 3);
  products.Add(a[0], a[1]);
  products.Store(0, smallOut, true);
  const double *past[] = {a[0]};
  AddLaggedProducts({past, nullptr, 0}, out.View().Block(0, 4, 0, 4));
  ForceMicroKernel(nullptr);
  for (const char *kernel :
       {"dot", "dots", "lanes", "packRows", "packColumns", "block", "exactBlock", "dotFour", "accumulate",
        "addScaledAndDot", "addScaled", "solveLower", "solveUpper", "addWeighted", "addLagged"})
    EXPECT_GT(calls[kernel], 0) << kernel;
}

// The machine's own set is its widest.
TEST(CurrentMicroKernel, WidestThatTheMachineSupports) {
  const MicroKernel *widest = nullptr;
  for (const MicroKernel &kernel : MicroKernels())
    if (kernel.supported()) widest = &kernel;
  EXPECT_EQ(&CurrentMicroKernel(), widest);
}

}  // namespace
}  // namespace tessel
