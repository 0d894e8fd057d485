// The inner loops of the factorisations.
#include "linalg/row_kernels.h"

#include <algorithm>

#include "linalg/four.h"
#include "linalg/micro_kernel.h"

namespace tessel {
namespace {

// Where fewer rows remain than are taken at once, the last one stands in for the missing: its sums are formed twice.

[[gnu::always_inline]] inline void DotFourBody(const double *const *rows, int count, int at, const double *y, int n,
                                               const double *partial, std::int64_t step, double sums[4]) {
  const double *x[4];
  Four s[4];
  constexpr double none[4] = {};
  const double *before = partial != nullptr ? partial : none;
  for (int r = 0; r < 4; ++r) {
    const int row = std::min(r, count - 1);
    x[r] = rows[row] + at;
    s[r] = At(before + (partial != nullptr ? row * step : 0)).v;
  }
  const int whole = partial != nullptr || n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int r = 0; r < 4; ++r) s[r] += At(x[r] + k).v * At(y + k).v;
  // From here on one element stands for one row.
  const Four low01 = __builtin_shufflevector(s[0], s[1], 0, 4, 1, 5);
  const Four low23 = __builtin_shufflevector(s[2], s[3], 0, 4, 1, 5);
  const Four high01 = __builtin_shufflevector(s[0], s[1], 2, 6, 3, 7);
  const Four high23 = __builtin_shufflevector(s[2], s[3], 2, 6, 3, 7);
  Four first = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
  const Four second = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
  const Four third = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
  const Four fourth = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
  for (int k = whole; k < n; ++k) first += Four{x[0][k], x[1][k], x[2][k], x[3][k]} * y[k];
  At(sums).v = third + second + fourth + first;
}

// Elements per pass of AccumulateBody: four rows of a and the rows of b then stay in the first two caches.
constexpr int kPassLength = 512;

[[gnu::always_inline]] inline void AccumulateTile(const PartialSums &sums, const double *const *a, int aCount,
                                                  const double *const *b, int bCount, int i, int j, int from, int to) {
  const double *x[4];
  const double *y[2];
  double *cell[2][4];
  Four s[2][4];
  for (int q = 0; q < 2; ++q) {
    y[q] = b[std::min(j + q, bCount - 1)];
    for (int r = 0; r < 4; ++r) {
      x[r] = a[std::min(i + r, aCount - 1)];
      cell[q][r] = sums.At(std::min(i + r, aCount - 1), std::min(j + q, bCount - 1));
      s[q][r] = from > 0 ? At(cell[q][r]).v : Four{};
    }
  }
  for (int k = from; k < to; k += 4) {
    const Four y0 = At(y[0] + k).v;
    const Four y1 = At(y[1] + k).v;
    for (int r = 0; r < 4; ++r) {
      const Four xr = At(x[r] + k).v;
      s[0][r] += xr * y0;
      s[1][r] += xr * y1;
    }
  }
  for (int q = 0; q < 2; ++q)
    for (int r = 0; r < 4; ++r) At(cell[q][r]).v = s[q][r];
}

[[gnu::always_inline]] inline void AccumulateBody(const PartialSums &sums, const double *const *a, int aCount,
                                                  const double *const *b, int bCount, int n) {
  for (int k = 0; k < n; k += kPassLength)
    for (int i = 0; i < aCount; i += 4)
      for (int j = 0; j < bCount; j += 2)
        AccumulateTile(sums, a, aCount, b, bCount, i, j, k, std::min(k + kPassLength, n));
}

[[gnu::always_inline]] inline void AddScaledAndDotGroup(double *const *rows, int count, int at, const double *scales,
                                                        const double *v, const double *w, int n, double *sums) {
  double *x[4];
  double scale[4];
  Four s[4];
  for (Four &sum : s) sum = Four{};
  for (int r = 0; r < count; ++r) {
    x[r] = rows[r] + at;
    scale[r] = scales[r];
  }
  const int whole = n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4) {
    const Four vk = At(v + k).v;
    const Four wk = At(w + k).v;
    for (int r = 0; r < count; ++r) {
      const Four cell = At(x[r] + k).v + scale[r] * vk;
      At(x[r] + k).v = cell;
      s[r] += cell * wk;
    }
  }
  for (int r = 0; r < count; ++r) {
    double first = s[r][0];
    for (int k = whole; k < n; ++k) first += (x[r][k] += scale[r] * v[k]) * w[k];
    sums[r] = s[r][2] + s[r][1] + s[r][3] + first;
  }
}

[[gnu::always_inline]] inline void AddScaledAndDotBody(double *const *rows, int count, int at, const double *scales,
                                                       const double *v, const double *w, int n, double *sums) {
  int r = 0;
  for (; r + 4 <= count; r += 4) AddScaledAndDotGroup(rows + r, 4, at, scales + r, v, w, n, sums + r);
  for (; r + 2 <= count; r += 2) AddScaledAndDotGroup(rows + r, 2, at, scales + r, v, w, n, sums + r);
  for (; r < count; ++r) AddScaledAndDotGroup(rows + r, 1, at, scales + r, v, w, n, sums + r);
}

[[gnu::always_inline]] inline void AddScaledBody(double *x, double scale, const double *v, int n) {
  const int whole = n - n % 4;
  for (int k = 0; k < whole; k += 4) At(x + k).v += scale * At(v + k).v;
  for (int k = whole; k < n; ++k) x[k] += scale * v[k];
}

// target -= the inner products of the coefficients with the columns of the strip.
[[gnu::always_inline]] inline void SubtractDots(const double *coef, const StripRow *x, int n, double *target) {
  Four s[4][2];
  for (auto &sums : s) sums[0] = sums[1] = Four{};
  const int whole = n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int p = 0; p < 4; ++p)
      for (int h = 0; h < 2; ++h) s[p][h] += coef[k + p] * At(x[k + p] + 4 * h).v;
  for (int k = whole; k < n; ++k)
    for (int h = 0; h < 2; ++h) s[0][h] += coef[k] * At(x[k] + 4 * h).v;
  for (int h = 0; h < 2; ++h) At(target + 4 * h).v -= s[2][h] + s[1][h] + s[3][h] + s[0][h];
}

// Cells divided by d, or 0 where d is exactly 0.
[[gnu::always_inline]] inline void DivideRow(double *row, double d) {
  for (int c = 0; c < kStripWidth; ++c) row[c] = d == 0 ? 0 : row[c] / d;
}

[[gnu::always_inline]] inline void SolveLowerBody(const double *const *l, int at, int n, bool hasDiagonal,
                                                  StripRow *x) {
  for (int i = 0; i < n; ++i) {
    SubtractDots(l[i] + at, x, i, x[i]);
    if (hasDiagonal) DivideRow(x[i], l[i][at + i]);
  }
}

[[gnu::always_inline]] inline void SolveUpperBody(const double *const *u, int at, int n, StripRow *x) {
  for (int q = n - 1; q >= 0; --q) {
    SubtractDots(u[q] + at + q + 1, x + q + 1, n - 1 - q, x[q]);
    DivideRow(x[q], u[q][at + q]);
  }
}

namespace baseline {

void DotFour(const double *const *rows, int count, int at, const double *y, int n, const double *partial,
             std::int64_t step, double sums[4]) {
  DotFourBody(rows, count, at, y, n, partial, step, sums);
}
void Accumulate(const PartialSums &sums, const double *const *a, int aCount, const double *const *b, int bCount,
                int n) {
  AccumulateBody(sums, a, aCount, b, bCount, n);
}
void AddScaledAndDot(double *const *rows, int count, int at, const double *scales, const double *v, const double *w,
                     int n, double *sums) {
  AddScaledAndDotBody(rows, count, at, scales, v, w, n, sums);
}
void AddScaled(double *x, double scale, const double *v, int n) { AddScaledBody(x, scale, v, n); }
void SolveLower(const double *const *l, int at, int n, bool hasDiagonal, StripRow *x) {
  SolveLowerBody(l, at, n, hasDiagonal, x);
}
void SolveUpper(const double *const *u, int at, int n, StripRow *x) { SolveUpperBody(u, at, n, x); }

constexpr RowKernels table = {DotFour, Accumulate, AddScaledAndDot, AddScaled, SolveLower, SolveUpper};

}  // namespace baseline

#if defined(__x86_64__)
namespace avx2 {

[[gnu::target("avx2")]] void DotFour(const double *const *rows, int count, int at, const double *y, int n,
                                     const double *partial, std::int64_t step, double sums[4]) {
  DotFourBody(rows, count, at, y, n, partial, step, sums);
}
[[gnu::target("avx2")]] void Accumulate(const PartialSums &sums, const double *const *a, int aCount,
                                        const double *const *b, int bCount, int n) {
  AccumulateBody(sums, a, aCount, b, bCount, n);
}
[[gnu::target("avx2")]] void AddScaledAndDot(double *const *rows, int count, int at, const double *scales,
                                             const double *v, const double *w, int n, double *sums) {
  AddScaledAndDotBody(rows, count, at, scales, v, w, n, sums);
}
[[gnu::target("avx2")]] void AddScaled(double *x, double scale, const double *v, int n) {
  AddScaledBody(x, scale, v, n);
}
[[gnu::target("avx2")]] void SolveLower(const double *const *l, int at, int n, bool hasDiagonal, StripRow *x) {
  SolveLowerBody(l, at, n, hasDiagonal, x);
}
[[gnu::target("avx2")]] void SolveUpper(const double *const *u, int at, int n, StripRow *x) {
  SolveUpperBody(u, at, n, x);
}

constexpr RowKernels table = {DotFour, Accumulate, AddScaledAndDot, AddScaled, SolveLower, SolveUpper};

}  // namespace avx2
#endif

}  // namespace

const RowKernels &CurrentRowKernels() {
#if defined(__x86_64__)
  if (&CurrentMicroKernel() != &MicroKernels().front()) return avx2::table;  // the wider sets all have AVX2
#endif
  return baseline::table;
}

}  // namespace tessel
