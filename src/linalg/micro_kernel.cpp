// The arithmetic cores: a portable set in vectors of two, and sets for AVX2 and AVX-512.
#include "linalg/micro_kernel.h"

#include <atomic>
#include <cstddef>
#include <cstring>

#include "core/simd.h"
#include "linalg/row_kernels.h"
#include "linalg/sum_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tessel {

namespace {

// DotProduct's result from its four partial sums over the first n rounded down to a multiple of 4 elements.
double FinishDot(const double *s, const double *x, const double *y, int n) {
  double s0 = s[0];
  for (int k = n - n % 4; k < n; ++k) s0 += x[k] * y[k];
  return s[2] + s[1] + s[3] + s0;
}

template <int width>
void PackPanel(const double *cells, std::int64_t stride, int depth, double *panel) {
  for (int k = 0; k < depth; ++k, cells += stride, panel += width) std::memcpy(panel, cells, width * sizeof(double));
}

// Vectors of two: SSE2 on x86-64, NEON on arm64.
double DotPairs(const double *x, const double *y, int n) {
  Double2 s01 = {}, s23 = {};
  for (int k = 0; k < n - 3; k += 4) {
    s01 += At<Double2>(x + k).v * At<Double2>(y + k).v;
    s23 += At<Double2>(x + k + 2).v * At<Double2>(y + k + 2).v;
  }
  const double s[4] = {s01[0], s01[1], s23[0], s23[1]};
  return FinishDot(s, x, y, n);
}

void LanesPairs(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]) {
  constexpr int rows = 4;  // at once, for want of registers
  for (int first = 0; first < kLaneRows; first += rows) {
    Double2 s01[rows] = {}, s23[rows] = {};
    for (int k = 0; k < n; k += 4) {
      const Double2 y01 = At<Double2>(y + k).v, y23 = At<Double2>(y + k + 2).v;
#pragma GCC unroll 8
      for (int r = 0; r < rows; ++r) {
        s01[r] += At<Double2>(x[first + r] + k).v * y01;
        s23[r] += At<Double2>(x[first + r] + k + 2).v * y23;
      }
    }
    for (int r = 0; r < rows; ++r) {
      sums[0][first + r] = s01[r][0];
      sums[1][first + r] = s01[r][1];
      sums[2][first + r] = s23[r][0];
      sums[3][first + r] = s23[r][1];
    }
  }
}

void DotsPairs(const double *const *x, const double *y, int n, double *out) {
  for (int r = 0; r < kLaneRows; ++r) out[r] = DotPairs(x[r], y, n);
}

template <int pairs>
void BlockPairs(const double *const *a, int aStep, const double *b, int depth, double *const *c, bool add) {
  constexpr int rows = 4;
  Double2 s[rows][pairs] = {};
  const double *p[rows] = {a[0], a[1], a[2], a[3]};
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 4)
#pragma GCC unroll 8
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < pairs; ++j) s[i][j] += p[i][at] * At<Double2>(b + 2 * j).v;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < pairs; ++j) At<Double2>(c[i] + 2 * j).v = add ? At<Double2>(c[i] + 2 * j).v + s[i][j] : s[i][j];
}

bool Always() { return true; }

#if defined(__x86_64__)

[[gnu::target("avx2,fma")]] double DotAvx2(const double *x, const double *y, int n) {
  Double4 sum = {};
  for (int k = 0; k < n - 3; k += 4) sum += At<Double4>(x + k).v * At<Double4>(y + k).v;
  const double s[4] = {sum[0], sum[1], sum[2], sum[3]};
  return FinishDot(s, x, y, n);
}

// Lane p of sums r is sum p of row r; afterwards lane r of sums p.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline void Transpose(Double4 *s) {
  const Double4 even01 = __builtin_shufflevector(s[0], s[1], 0, 4, 2, 6);
  const Double4 odd01 = __builtin_shufflevector(s[0], s[1], 1, 5, 3, 7);
  const Double4 even23 = __builtin_shufflevector(s[2], s[3], 0, 4, 2, 6);
  const Double4 odd23 = __builtin_shufflevector(s[2], s[3], 1, 5, 3, 7);
  s[0] = __builtin_shufflevector(even01, even23, 0, 1, 4, 5);
  s[1] = __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5);
  s[2] = __builtin_shufflevector(even01, even23, 2, 3, 6, 7);
  s[3] = __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7);
}

// Sum p of rows 0..3 into s[p] and of rows 4..7 into s[4 + p], over n rounded down to a multiple of 4 elements.
[[gnu::target("avx2,fma"), gnu::always_inline]] inline void Accumulate(const double *const *x, const double *y, int n,
                                                                       Double4 *s) {
  Double4 sum[kLaneRows];
#pragma GCC unroll 8
  for (int r = 0; r < kLaneRows; ++r) sum[r] = Double4{};
  for (std::ptrdiff_t k = 0; k + 4 <= n; k += 4) {
    const Double4 v = At<Double4>(y + k).v;
#pragma GCC unroll 8
    for (int r = 0; r < kLaneRows; ++r) sum[r] += At<Double4>(x[r] + k).v * v;
  }
#pragma GCC unroll 8
  for (int r = 0; r < kLaneRows; ++r) s[r] = sum[r];
  Transpose(s);
  Transpose(s + 4);
}

[[gnu::target("avx2,fma")]] void LanesAvx2(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]) {
  Double4 s[kLaneRows];
  Accumulate(x, y, n, s);
  for (int p = 0; p < 4; ++p) {
    At<Double4>(sums[p]).v = s[p];
    At<Double4>(sums[p] + 4).v = s[4 + p];
  }
}

[[gnu::target("avx2,fma")]] void DotsAvx2(const double *const *x, const double *y, int n, double *out) {
  Double4 s[kLaneRows];
  Accumulate(x, y, n, s);
#pragma GCC unroll 2
  for (int half = 0; half < kLaneRows; half += 4) {
    const double *const *row = x + half;
    Double4 s0 = s[half];
    for (int k = n - n % 4; k < n; ++k) s0 += Double4{row[0][k], row[1][k], row[2][k], row[3][k]} * y[k];
    At<Double4>(out + half).v = s[half + 2] + s[half + 1] + s[half + 3] + s0;
  }
}

template <bool fused, int vectors>
[[gnu::target("avx2,fma")]] void BlockAvx2(const double *const *a, int aStep, const double *b, int depth,
                                           double *const *c, bool add) {
  constexpr int rows = 6;
  Double4 s[rows][vectors];
  const double *p[rows];
#pragma GCC unroll 8
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < vectors; ++j) s[i][j] = Double4{};
    p[i] = a[i];
    __builtin_prefetch(c[i]);
    __builtin_prefetch(c[i] + 7);
  }
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 8) {
    Double4 v[vectors];
    for (int j = 0; j < vectors; ++j) v[j] = At<Double4>(b + 4 * j).v;
#pragma GCC unroll 8
    for (int i = 0; i < rows; ++i) {
      const double x = p[i][at];
      for (int j = 0; j < vectors; ++j)
        s[i][j] = fused ? _mm256_fmadd_pd(_mm256_set1_pd(x), v[j], s[i][j]) : s[i][j] + x * v[j];
    }
  }
#pragma GCC unroll 8
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < vectors; ++j) {
      Anywhere<Double4> &cells = At<Double4>(c[i] + 4 * j);
      cells.v = add ? cells.v + s[i][j] : s[i][j];
    }
}

template <bool fused, int vectors>
[[gnu::target("avx512f,avx2,fma")]] void BlockAvx512(const double *const *a, int aStep, const double *b, int depth,
                                                     double *const *c, bool add) {
  constexpr int rows = 8;
  Double8 s[rows][vectors];
  const double *p[rows];
#pragma GCC unroll 8
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < vectors; ++j) s[i][j] = Double8{};
    p[i] = a[i];
  }
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 16) {
    Double8 v[vectors];
    for (int j = 0; j < vectors; ++j) v[j] = At<Double8>(b + 8 * j).v;
#pragma GCC unroll 8
    for (int i = 0; i < rows; ++i) {
      const double x = p[i][at];
      for (int j = 0; j < vectors; ++j)
        s[i][j] = fused ? _mm512_fmadd_pd(_mm512_set1_pd(x), v[j], s[i][j]) : s[i][j] + x * v[j];
    }
  }
#pragma GCC unroll 8
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < vectors; ++j) {
      Anywhere<Double8> &cells = At<Double8>(c[i] + 8 * j);
      cells.v = add ? cells.v + s[i][j] : s[i][j];
    }
}

bool HasAvx2() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }
bool HasAvx512() { return HasAvx2() && __builtin_cpu_supports("avx512f"); }

#endif

constexpr MicroKernel kMicroKernels[] = {
    {.name = "baseline",
     .supported = Always,
     .dot = DotPairs,
     .dots = DotsPairs,
     .lanes = LanesPairs,
     .packRows = PackPanel<4>,
     .packColumns = PackPanel<4>,
     .block = {BlockPairs<2>, BlockPairs<1>},
     .exactBlock = {BlockPairs<2>, BlockPairs<1>},
     .blockRows = 4,
     .blockColumns = 4,
     .rows = &kBaselineRowKernels,
     .sums = &kBaselineSumKernels},
#if defined(__x86_64__)
    {.name = "avx2",
     .supported = HasAvx2,
     .dot = DotAvx2,
     .dots = DotsAvx2,
     .lanes = LanesAvx2,
     .packRows = PackPanel<6>,
     .packColumns = PackPanel<8>,
     .block = {BlockAvx2<true, 2>, BlockAvx2<true, 1>},
     .exactBlock = {BlockAvx2<false, 2>, BlockAvx2<false, 1>},
     .blockRows = 6,
     .blockColumns = 8,
     .rows = &kAvx2RowKernels,
     .sums = &kAvx2SumKernels},
    {.name = "avx512",
     .supported = HasAvx512,
     .dot = DotAvx2,
     .dots = DotsAvx2,
     .lanes = LanesAvx2,
     .packRows = PackPanel<8>,
     .packColumns = PackPanel<16>,
     .block = {BlockAvx512<true, 2>, BlockAvx512<true, 1>},
     .exactBlock = {BlockAvx512<false, 2>, BlockAvx512<false, 1>},
     .blockRows = 8,
     .blockColumns = 16,
     .rows = &kAvx2RowKernels,
     .sums = &kAvx2SumKernels},
#endif
};

// The set in use: the baseline until the constructor below has asked the machine, which is before main.
constinit std::atomic<const MicroKernel *> current = kMicroKernels;

[[gnu::constructor]] void ChooseForMachine() {
#if defined(__x86_64__)
  __builtin_cpu_init();  // this may run before the compiler's own constructor has
#endif
  ForceMicroKernel(nullptr);
}

}  // namespace

std::span<const MicroKernel> MicroKernels() { return kMicroKernels; }

const MicroKernel &CurrentMicroKernel() { return *current.load(std::memory_order_relaxed); }

void ForceMicroKernel(const MicroKernel *kernel) {
  if (kernel == nullptr)
    for (const MicroKernel &candidate : kMicroKernels)
      if (candidate.supported()) kernel = &candidate;
  current.store(kernel, std::memory_order_relaxed);
}

}  // namespace tessel
