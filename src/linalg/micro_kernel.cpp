// The arithmetic cores: a portable set in vectors of two, and sets for AVX2 and AVX-512.
#include "linalg/micro_kernel.h"

#include <cstddef>
#include <cstring>

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

// Vectors of two: SSE2 on x86-64, NEON on arm64.
using Pair = double __attribute__((vector_size(16)));

Pair LoadPair(const double *p) {
  Pair v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

void StorePair(double *p, Pair v) { std::memcpy(p, &v, sizeof v); }

double DotPairs(const double *x, const double *y, int n) {
  Pair s01 = {}, s23 = {};
  for (int k = 0; k + 4 <= n; k += 4) {
    s01 += LoadPair(x + k) * LoadPair(y + k);
    s23 += LoadPair(x + k + 2) * LoadPair(y + k + 2);
  }
  const double s[4] = {s01[0], s01[1], s23[0], s23[1]};
  return FinishDot(s, x, y, n);
}

void LanesPairs(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]) {
  constexpr int rows = 4;  // at once, for want of registers
  for (int first = 0; first < kLaneRows; first += rows) {
    Pair s01[rows] = {}, s23[rows] = {};
    for (int k = 0; k < n; k += 4) {
      const Pair y01 = LoadPair(y + k), y23 = LoadPair(y + k + 2);
      for (int r = 0; r < rows; ++r) {
        s01[r] += LoadPair(x[first + r] + k) * y01;
        s23[r] += LoadPair(x[first + r] + k + 2) * y23;
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

void BlockPairs(const double *const *a, int aStep, const double *b, int depth, double *const *c, bool add) {
  constexpr int rows = 4, pairs = 2;
  Pair s[rows][pairs] = {};
  const double *p[rows] = {a[0], a[1], a[2], a[3]};
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 2 * pairs)
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < pairs; ++j) s[i][j] += p[i][at] * LoadPair(b + 2 * j);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < pairs; ++j) StorePair(c[i] + 2 * j, add ? LoadPair(c[i] + 2 * j) + s[i][j] : s[i][j]);
}

bool Always() { return true; }

#if defined(__x86_64__)

[[gnu::target("avx2,fma")]] double DotAvx2(const double *x, const double *y, int n) {
  __m256d sum = _mm256_setzero_pd();
  for (int k = 0; k + 4 <= n; k += 4)
    sum = _mm256_add_pd(sum, _mm256_mul_pd(_mm256_loadu_pd(x + k), _mm256_loadu_pd(y + k)));
  alignas(32) double s[4];
  _mm256_store_pd(s, sum);
  return FinishDot(s, x, y, n);
}

// sums[p][0..3] = lane p of s[0..3].
[[gnu::target("avx2,fma")]] void StoreTransposed(const __m256d *s, double (*sums)[kLaneRows], int first) {
  const __m256d even01 = _mm256_unpacklo_pd(s[0], s[1]), odd01 = _mm256_unpackhi_pd(s[0], s[1]);
  const __m256d even23 = _mm256_unpacklo_pd(s[2], s[3]), odd23 = _mm256_unpackhi_pd(s[2], s[3]);
  _mm256_storeu_pd(sums[0] + first, _mm256_permute2f128_pd(even01, even23, 0x20));
  _mm256_storeu_pd(sums[1] + first, _mm256_permute2f128_pd(odd01, odd23, 0x20));
  _mm256_storeu_pd(sums[2] + first, _mm256_permute2f128_pd(even01, even23, 0x31));
  _mm256_storeu_pd(sums[3] + first, _mm256_permute2f128_pd(odd01, odd23, 0x31));
}

[[gnu::target("avx2,fma")]] void LanesAvx2(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]) {
  __m256d s[kLaneRows];
  const double *row[kLaneRows];
  for (int r = 0; r < kLaneRows; ++r) {
    s[r] = _mm256_setzero_pd();
    row[r] = x[r];
  }
  for (std::ptrdiff_t k = 0; k < n; k += 4) {
    const __m256d v = _mm256_loadu_pd(y + k);
    for (int r = 0; r < kLaneRows; ++r) s[r] = _mm256_add_pd(s[r], _mm256_mul_pd(_mm256_loadu_pd(row[r] + k), v));
  }
  StoreTransposed(s, sums, 0);
  StoreTransposed(s + 4, sums, 4);
}

[[gnu::target("avx2,fma")]] void BlockAvx2(const double *const *a, int aStep, const double *b, int depth,
                                           double *const *c, bool add) {
  constexpr int rows = 6;
  __m256d s[rows][2];
  const double *p[rows];
  for (int i = 0; i < rows; ++i) {
    s[i][0] = s[i][1] = _mm256_setzero_pd();
    p[i] = a[i];
  }
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 8) {
    const __m256d b0 = _mm256_loadu_pd(b), b1 = _mm256_loadu_pd(b + 4);
    for (int i = 0; i < rows; ++i) {
      const __m256d v = _mm256_broadcast_sd(p[i] + at);
      s[i][0] = _mm256_fmadd_pd(v, b0, s[i][0]);
      s[i][1] = _mm256_fmadd_pd(v, b1, s[i][1]);
    }
  }
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < 2; ++j) {
      double *cell = c[i] + 4 * j;
      _mm256_storeu_pd(cell, add ? _mm256_add_pd(_mm256_loadu_pd(cell), s[i][j]) : s[i][j]);
    }
}

[[gnu::target("avx512f,avx2,fma")]] void BlockAvx512(const double *const *a, int aStep, const double *b, int depth,
                                                     double *const *c, bool add) {
  constexpr int rows = 8;
  __m512d s[rows][2];
  const double *p[rows];
  for (int i = 0; i < rows; ++i) {
    s[i][0] = s[i][1] = _mm512_setzero_pd();
    p[i] = a[i];
  }
  for (std::ptrdiff_t k = 0, at = 0; k < depth; ++k, at += aStep, b += 16) {
    const __m512d b0 = _mm512_loadu_pd(b), b1 = _mm512_loadu_pd(b + 8);
    for (int i = 0; i < rows; ++i) {
      const __m512d v = _mm512_set1_pd(p[i][at]);
      s[i][0] = _mm512_fmadd_pd(v, b0, s[i][0]);
      s[i][1] = _mm512_fmadd_pd(v, b1, s[i][1]);
    }
  }
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < 2; ++j) {
      double *cell = c[i] + 8 * j;
      _mm512_storeu_pd(cell, add ? _mm512_add_pd(_mm512_loadu_pd(cell), s[i][j]) : s[i][j]);
    }
}

bool HasAvx2() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }
bool HasAvx512() { return HasAvx2() && __builtin_cpu_supports("avx512f"); }

#endif

constexpr MicroKernel kMicroKernels[] = {
    {"baseline", Always, DotPairs, LanesPairs, BlockPairs, 4, 4},
#if defined(__x86_64__)
    {"avx2", HasAvx2, DotAvx2, LanesAvx2, BlockAvx2, 6, 8},
    {"avx512", HasAvx512, DotAvx2, LanesAvx2, BlockAvx512, 8, 16},
#endif
};

constinit const MicroKernel *current = nullptr;

}  // namespace

std::span<const MicroKernel> MicroKernels() { return kMicroKernels; }

const MicroKernel &CurrentMicroKernel() {
  if (current == nullptr)
    for (const MicroKernel &kernel : kMicroKernels)
      if (kernel.supported()) current = &kernel;
  return *current;
}

void ForceMicroKernel(const MicroKernel *kernel) { current = kernel; }

}  // namespace tessel
