// The arithmetic cores of the kernel, one set for each vector width.
//
// The framework around them (shapes, tiles, packing, factorisations) knows nothing of vector widths. The set is chosen
// before main for the machine at hand. All but `block` give the same bits in every set.
#pragma once

#include <cstdint>
#include <span>

namespace tessel {

struct RowKernels;
struct SumKernels;

inline constexpr int kLaneRows = 8;  // rows that `dots` and `lanes` take at once

// Bounds on the register block of every set.
inline constexpr int kMaxBlockRows = 8;
inline constexpr int kMaxBlockColumns = 16;

// A register block: c[i][j] = (or, with `add`, +=) the sum over k below depth of a[i][k aStep] b[k blockColumns + j],
// for i below blockRows and j below blockColumns, or half of that. An aStep of 1 reads rows, one of blockRows an
// interleaved panel.
using BlockFunction = void (*)(const double *const *a, int aStep, const double *b, int depth, double *const *c,
                               bool add);
struct Blocks {
  BlockFunction full, half;
};

using PackFunction = void (*)(const double *cells, std::int64_t stride, int depth, double *panel);

struct MicroKernel {
  const char *name;
  bool (*supported)();

  // The inner product for n above 4, in DotProduct's order.
  double (*dot)(const double *x, const double *y, int n);

  // The same for eight rows x[r] against one y.
  void (*dots)(const double *const *x, const double *y, int n, double *out);

  // The partial sums of `dots`: sums[p][r] is the sum of x[r][k] y[k] over the k = p, p + 4, p + 8, ... below n, in
  // that order. n is a multiple of 4.
  void (*lanes)(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]);

  // Copy the first `width` cells of each of `depth` rows, which are `stride` doubles apart, side by side; for the
  // widths blockRows and blockColumns.
  PackFunction packRows, packColumns;

  // The register blocks. `block` may fuse; `exactBlock` adds one rounded product after the other.
  Blocks block, exactBlock;
  int blockRows;
  int blockColumns;

  const RowKernels *rows;  // of the factorisations
  const SumKernels *sums;  // of sums over observations
};

// All sets, from the narrowest to the widest.
std::span<const MicroKernel> MicroKernels();

// The current set.
const MicroKernel &CurrentMicroKernel();

// Test hook: makes a set that the machine supports current; null goes back to the machine's own.
void ForceMicroKernel(const MicroKernel *kernel);

}  // namespace tessel
