// The inner loops of the factorisations.
#include "linalg/row_kernels.h"

#include <algorithm>

#include "linalg/four.h"
#include "linalg/micro_kernel.h"

namespace tessel {
namespace {

// Short groups repeat their last row, whose sums are then formed more than once.

[[gnu::always_inline]] inline void DotFourBody(ConstMatrix rows, const double *y, const double *partial,
                                               std::int64_t step, double sums[4]) {
  const int n = rows.columns;
  const double *x[4];
  Four s[4];
  constexpr double none[4] = {};
  const double *before = partial != nullptr ? partial : none;
  for (int r = 0; r < 4; ++r) {
    const int row = std::min(r, rows.rows - 1);
    x[r] = rows[row];
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

[[gnu::always_inline]] inline void AccumulateTile(const PartialSums &sums, ConstMatrix a, ConstMatrix b, int i, int j,
                                                  bool first) {
  const int aLast = a.rows - 1, bLast = b.rows - 1;
  const double *x[4];
  const double *y[2];
  double *cell[2][4];
  Four s[2][4];
  for (int q = 0; q < 2; ++q) {
    y[q] = b[std::min(j + q, bLast)];
    for (int r = 0; r < 4; ++r) {
      x[r] = a[std::min(i + r, aLast)];
      cell[q][r] = sums.At(std::min(i + r, aLast), std::min(j + q, bLast));
      s[q][r] = first ? Four{} : At(cell[q][r]).v;
    }
  }
  for (int k = 0; k < a.columns; k += 4) {
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

[[gnu::always_inline]] inline void AccumulateBody(const PartialSums &sums, ConstMatrix a, ConstMatrix b) {
  for (int k = 0; k < a.columns; k += kPassLength) {
    const int length = std::min(kPassLength, a.columns - k);
    for (int i = 0; i < a.rows; i += 4)
      for (int j = 0; j < b.rows; j += 2)
        AccumulateTile(sums, a.Columns(k, length), b.Columns(k, length), i, j, k == 0);
  }
}

[[gnu::always_inline]] inline void AddScaledAndDotGroup(Matrix rows, int count, const double *scales, const double *v,
                                                        const double *w, double *sums) {
  const int n = rows.columns;
  double *x[4];
  double scale[4];
  Four s[4];
  for (Four &sum : s) sum = Four{};
  for (int r = 0; r < count; ++r) {
    x[r] = rows[r];
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

[[gnu::always_inline]] inline void AddScaledAndDotBody(Matrix rows, const double *scales, const double *v,
                                                       const double *w, double *sums) {
  const int count = rows.rows;
  int r = 0;
  for (; r + 4 <= count; r += 4) AddScaledAndDotGroup(rows.Rows(r, 4), 4, scales + r, v, w, sums + r);
  for (; r + 2 <= count; r += 2) AddScaledAndDotGroup(rows.Rows(r, 2), 2, scales + r, v, w, sums + r);
  for (; r < count; ++r) AddScaledAndDotGroup(rows.Rows(r, 1), 1, scales + r, v, w, sums + r);
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

[[gnu::always_inline]] inline void SolveLowerBody(ConstMatrix l, bool hasDiagonal, StripRow *x) {
  for (int i = 0; i < l.rows; ++i) {
    SubtractDots(l[i], x, i, x[i]);
    if (hasDiagonal) DivideRow(x[i], l[i][i]);
  }
}

[[gnu::always_inline]] inline void SolveUpperBody(ConstMatrix u, StripRow *x) {
  for (int q = u.rows - 1; q >= 0; --q) {
    SubtractDots(u[q] + q + 1, x + q + 1, u.rows - 1 - q, x[q]);
    DivideRow(x[q], u[q][q]);
  }
}

namespace baseline {

void DotFour(ConstMatrix rows, const double *y, const double *partial, std::int64_t step, double sums[4]) {
  DotFourBody(rows, y, partial, step, sums);
}
void Accumulate(const PartialSums &sums, ConstMatrix a, ConstMatrix b) { AccumulateBody(sums, a, b); }
void AddScaledAndDot(Matrix rows, const double *scales, const double *v, const double *w, double *sums) {
  AddScaledAndDotBody(rows, scales, v, w, sums);
}
void AddScaled(double *x, double scale, const double *v, int n) { AddScaledBody(x, scale, v, n); }
void SolveLower(ConstMatrix l, bool hasDiagonal, StripRow *x) { SolveLowerBody(l, hasDiagonal, x); }
void SolveUpper(ConstMatrix u, StripRow *x) { SolveUpperBody(u, x); }

constexpr RowKernels table = {DotFour, Accumulate, AddScaledAndDot, AddScaled, SolveLower, SolveUpper};

}  // namespace baseline

#if defined(__x86_64__)
namespace avx2 {

[[gnu::target("avx2")]] void DotFour(ConstMatrix rows, const double *y, const double *partial, std::int64_t step,
                                     double sums[4]) {
  DotFourBody(rows, y, partial, step, sums);
}
[[gnu::target("avx2")]] void Accumulate(const PartialSums &sums, ConstMatrix a, ConstMatrix b) {
  AccumulateBody(sums, a, b);
}
[[gnu::target("avx2")]] void AddScaledAndDot(Matrix rows, const double *scales, const double *v, const double *w,
                                             double *sums) {
  AddScaledAndDotBody(rows, scales, v, w, sums);
}
[[gnu::target("avx2")]] void AddScaled(double *x, double scale, const double *v, int n) {
  AddScaledBody(x, scale, v, n);
}
[[gnu::target("avx2")]] void SolveLower(ConstMatrix l, bool hasDiagonal, StripRow *x) {
  SolveLowerBody(l, hasDiagonal, x);
}
[[gnu::target("avx2")]] void SolveUpper(ConstMatrix u, StripRow *x) { SolveUpperBody(u, x); }

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
