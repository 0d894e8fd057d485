// The inner loops of the factorisations.
#include "linalg/row_kernels.h"

#include <algorithm>

#include "core/simd.h"

namespace tessel {
namespace {

// Short groups repeat their last row, whose sums are then formed more than once.

[[gnu::always_inline]] inline void DotFourBody(const ConstMatrix &rows, const double *y, const double *partial,
                                               std::int64_t step, double sums[4]) {
  const int n = rows.columns;
  const double *x[4];
  Double4 s[4];
  constexpr double none[4] = {};
  const double *before = partial != nullptr ? partial : none;
  for (int r = 0; r < 4; ++r) {
    const int row = std::min(r, rows.rows - 1);
    x[r] = rows[row];
    s[r] = At<Double4>(before + (partial != nullptr ? row * step : 0)).v;
  }
  const int whole = partial != nullptr || n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int r = 0; r < 4; ++r) s[r] += At<Double4>(x[r] + k).v * At<Double4>(y + k).v;
  // From here on one element stands for one row.
  const Double4 low01 = __builtin_shufflevector(s[0], s[1], 0, 4, 1, 5);
  const Double4 low23 = __builtin_shufflevector(s[2], s[3], 0, 4, 1, 5);
  const Double4 high01 = __builtin_shufflevector(s[0], s[1], 2, 6, 3, 7);
  const Double4 high23 = __builtin_shufflevector(s[2], s[3], 2, 6, 3, 7);
  Double4 first = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
  const Double4 second = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
  const Double4 third = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
  const Double4 fourth = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
  for (int k = whole; k < n; ++k) first += Double4{x[0][k], x[1][k], x[2][k], x[3][k]} * y[k];
  At<Double4>(sums).v = third + second + fourth + first;
}

// Elements per pass of AccumulateBody: four rows of a and the rows of b then stay in the first two caches.
constexpr int kPassLength = 512;

[[gnu::always_inline]] inline void AccumulateTile(const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b,
                                                  int i, int j, bool first) {
  const int aLast = a.rows - 1, bLast = b.rows - 1;
  const double *x[4];
  const double *y[2];
  double *cell[2][4];
  Double4 s[2][4];
  for (int q = 0; q < 2; ++q) {
    y[q] = b[std::min(j + q, bLast)];
    for (int r = 0; r < 4; ++r) {
      x[r] = a[std::min(i + r, aLast)];
      cell[q][r] = sums.At(std::min(i + r, aLast), std::min(j + q, bLast));
      s[q][r] = first ? Double4{} : At<Double4>(cell[q][r]).v;
    }
  }
  for (int k = 0; k < a.columns; k += 4) {
    const Double4 y0 = At<Double4>(y[0] + k).v;
    const Double4 y1 = At<Double4>(y[1] + k).v;
    for (int r = 0; r < 4; ++r) {
      const Double4 xr = At<Double4>(x[r] + k).v;
      s[0][r] += xr * y0;
      s[1][r] += xr * y1;
    }
  }
  for (int q = 0; q < 2; ++q)
    for (int r = 0; r < 4; ++r) At<Double4>(cell[q][r]).v = s[q][r];
}

[[gnu::always_inline]] inline void AccumulateBody(const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b) {
  for (int k = 0; k < a.columns; k += kPassLength) {
    const int length = std::min(kPassLength, a.columns - k);
    for (int i = 0; i < a.rows; i += 4)
      for (int j = 0; j < b.rows; j += 2)
        AccumulateTile(sums, a.Columns(k, length), b.Columns(k, length), i, j, k == 0);
  }
}

[[gnu::always_inline]] inline void AddScaledAndDotGroup(const Matrix &rows, int count, const double *scales,
                                                        const double *v, const double *w, double *sums) {
  const int n = rows.columns;
  double *x[4];
  double scale[4];
  Double4 s[4];
  for (Double4 &sum : s) sum = Double4{};
  for (int r = 0; r < count; ++r) {
    x[r] = rows[r];
    scale[r] = scales[r];
  }
  const int whole = n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4) {
    const Double4 vk = At<Double4>(v + k).v;
    const Double4 wk = At<Double4>(w + k).v;
    for (int r = 0; r < count; ++r) {
      const Double4 cell = At<Double4>(x[r] + k).v + scale[r] * vk;
      At<Double4>(x[r] + k).v = cell;
      s[r] += cell * wk;
    }
  }
  for (int r = 0; r < count; ++r) {
    double first = s[r][0];
    for (int k = whole; k < n; ++k) first += (x[r][k] += scale[r] * v[k]) * w[k];
    sums[r] = s[r][2] + s[r][1] + s[r][3] + first;
  }
}

[[gnu::always_inline]] inline void AddScaledAndDotBody(const Matrix &rows, const double *scales, const double *v,
                                                       const double *w, double *sums) {
  const int count = rows.rows;
  int r = 0;
  for (; r + 4 <= count; r += 4) AddScaledAndDotGroup(rows.Rows(r, 4), 4, scales + r, v, w, sums + r);
  for (; r + 2 <= count; r += 2) AddScaledAndDotGroup(rows.Rows(r, 2), 2, scales + r, v, w, sums + r);
  for (; r < count; ++r) AddScaledAndDotGroup(rows.Rows(r, 1), 1, scales + r, v, w, sums + r);
}

[[gnu::always_inline]] inline void AddScaledBody(double *x, double scale, const double *v, int n) {
  const int whole = n - n % 4;
  for (int k = 0; k < whole; k += 4) At<Double4>(x + k).v += scale * At<Double4>(v + k).v;
  for (int k = whole; k < n; ++k) x[k] += scale * v[k];
}

// target -= the inner products of the coefficients with the columns of the strip.
[[gnu::always_inline]] inline void SubtractDots(const double *coef, const StripRow *x, int n, double *target) {
  Double4 s[4][2];
  for (auto &sums : s) sums[0] = sums[1] = Double4{};
  const int whole = n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int p = 0; p < 4; ++p)
      for (int h = 0; h < 2; ++h) s[p][h] += coef[k + p] * At<Double4>(x[k + p] + 4 * h).v;
  for (int k = whole; k < n; ++k)
    for (int h = 0; h < 2; ++h) s[0][h] += coef[k] * At<Double4>(x[k] + 4 * h).v;
  for (int h = 0; h < 2; ++h) At<Double4>(target + 4 * h).v -= s[2][h] + s[1][h] + s[3][h] + s[0][h];
}

// Cells divided by d, or 0 where d is exactly 0.
[[gnu::always_inline]] inline void DivideRow(double *row, double d) {
  for (int c = 0; c < kStripWidth; ++c) row[c] = d == 0 ? 0 : row[c] / d;
}

[[gnu::always_inline]] inline void SolveLowerBody(const ConstMatrix &l, bool hasDiagonal, StripRow *x) {
  for (int i = 0; i < l.rows; ++i) {
    SubtractDots(l[i], x, i, x[i]);
    if (hasDiagonal) DivideRow(x[i], l[i][i]);
  }
}

[[gnu::always_inline]] inline void SolveUpperBody(const ConstMatrix &u, StripRow *x) {
  for (int q = u.rows - 1; q >= 0; --q) {
    SubtractDots(u[q] + q + 1, x + q + 1, u.rows - 1 - q, x[q]);
    DivideRow(x[q], u[q][q]);
  }
}

namespace baseline {

void DotFour(const ConstMatrix &rows, const double *y, const double *partial, std::int64_t step, double sums[4]) {
  DotFourBody(rows, y, partial, step, sums);
}
void Accumulate(const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b) { AccumulateBody(sums, a, b); }
void AddScaledAndDot(const Matrix &rows, const double *scales, const double *v, const double *w, double *sums) {
  AddScaledAndDotBody(rows, scales, v, w, sums);
}
void AddScaled(double *x, double scale, const double *v, int n) { AddScaledBody(x, scale, v, n); }
void SolveLower(const ConstMatrix &l, bool hasDiagonal, StripRow *x) { SolveLowerBody(l, hasDiagonal, x); }
void SolveUpper(const ConstMatrix &u, StripRow *x) { SolveUpperBody(u, x); }

}  // namespace baseline

#if defined(__x86_64__)
namespace avx2 {

[[gnu::target("avx2")]] void DotFour(const ConstMatrix &rows, const double *y, const double *partial, std::int64_t step,
                                     double sums[4]) {
  DotFourBody(rows, y, partial, step, sums);
}
[[gnu::target("avx2")]] void Accumulate(const PartialSums &sums, const ConstMatrix &a, const ConstMatrix &b) {
  AccumulateBody(sums, a, b);
}
[[gnu::target("avx2")]] void AddScaledAndDot(const Matrix &rows, const double *scales, const double *v, const double *w,
                                             double *sums) {
  AddScaledAndDotBody(rows, scales, v, w, sums);
}
[[gnu::target("avx2")]] void AddScaled(double *x, double scale, const double *v, int n) {
  AddScaledBody(x, scale, v, n);
}
[[gnu::target("avx2")]] void SolveLower(const ConstMatrix &l, bool hasDiagonal, StripRow *x) {
  SolveLowerBody(l, hasDiagonal, x);
}
[[gnu::target("avx2")]] void SolveUpper(const ConstMatrix &u, StripRow *x) { SolveUpperBody(u, x); }

}  // namespace avx2
#endif

}  // namespace

constinit const RowKernels kBaselineRowKernels = {baseline::DotFour,   baseline::Accumulate, baseline::AddScaledAndDot,
                                                  baseline::AddScaled, baseline::SolveLower, baseline::SolveUpper};
#if defined(__x86_64__)
constinit const RowKernels kAvx2RowKernels = {avx2::DotFour,   avx2::Accumulate, avx2::AddScaledAndDot,
                                              avx2::AddScaled, avx2::SolveLower, avx2::SolveUpper};
#endif

}  // namespace tessel
