// The inner loops of the factorisations.
#include "linalg/row_kernels.h"

#include <algorithm>

namespace tessel {
namespace {

// Four doubles at any address; the compiler splits them where the machine's vectors are shorter.
using Four [[gnu::vector_size(32), gnu::aligned(8), gnu::may_alias]] = double;

[[gnu::always_inline]] inline const Four &At(const double *p) { return *reinterpret_cast<const Four *>(p); }
[[gnu::always_inline]] inline Four &At(double *p) { return *reinterpret_cast<Four *>(p); }

// Where fewer rows remain than are taken at once, the last one stands in for the missing: its sums are formed twice.

[[gnu::always_inline]] inline void DotFourBody(const double *const *rows, int count, int at, const double *y, int n,
                                               const double *partial, std::int64_t step, double sums[4]) {
  const double *x[4];
  Four s[4] = {};
  for (int r = 0; r < 4; ++r) {
    const int row = std::min(r, count - 1);
    x[r] = rows[row] + at;
    if (partial != nullptr) s[r] = At(partial + row * step);
  }
  const int whole = partial != nullptr || n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int r = 0; r < 4; ++r) s[r] += At(x[r] + k) * At(y + k);
  for (int r = 0; r < 4; ++r) {
    double first = s[r][0];
    for (int k = whole; k < n; ++k) first += x[r][k] * y[k];
    sums[r] = s[r][2] + s[r][1] + s[r][3] + first;
  }
}

// Elements per pass of AccumulateBody: four rows of a and the rows of b then stay in the first two caches.
constexpr int kPassLength = 256;

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
      s[q][r] = At(cell[q][r]);
    }
  }
  for (int k = from; k < to; k += 4)
    for (int r = 0; r < 4; ++r)
      for (int q = 0; q < 2; ++q) s[q][r] += At(x[r] + k) * At(y[q] + k);
  for (int q = 0; q < 2; ++q)
    for (int r = 0; r < 4; ++r) At(cell[q][r]) = s[q][r];
}

[[gnu::always_inline]] inline void AccumulateBody(const PartialSums &sums, const double *const *a, int aCount,
                                                  const double *const *b, int bCount, int from, int to) {
  for (int k = from; k < to; k += kPassLength)
    for (int i = 0; i < aCount; i += 4)
      for (int j = 0; j < bCount; j += 2)
        AccumulateTile(sums, a, aCount, b, bCount, i, j, k, std::min(k + kPassLength, to));
}

[[gnu::always_inline]] inline void AddScaledBody(double *x, double scale, const double *v, int n) {
  const int whole = n - n % 4;
  for (int k = 0; k < whole; k += 4) At(x + k) += scale * At(v + k);
  for (int k = whole; k < n; ++k) x[k] += scale * v[k];
}

// target -= the inner products of the coefficients with the columns of the strip.
[[gnu::always_inline]] inline void SubtractDots(const double *coef, const StripRow *x, int n, double *target) {
  Four s[4][2] = {};
  const int whole = n > 4 ? n - n % 4 : 0;
  for (int k = 0; k < whole; k += 4)
    for (int p = 0; p < 4; ++p)
      for (int h = 0; h < 2; ++h) s[p][h] += coef[k + p] * At(x[k + p] + 4 * h);
  for (int k = whole; k < n; ++k)
    for (int h = 0; h < 2; ++h) s[0][h] += coef[k] * At(x[k] + 4 * h);
  for (int h = 0; h < 2; ++h) At(target + 4 * h) -= s[2][h] + s[1][h] + s[3][h] + s[0][h];
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
                int from, int to) {
  AccumulateBody(sums, a, aCount, b, bCount, from, to);
}
void AddScaled(double *x, double scale, const double *v, int n) { AddScaledBody(x, scale, v, n); }
void SolveLower(const double *const *l, int at, int n, bool hasDiagonal, StripRow *x) {
  SolveLowerBody(l, at, n, hasDiagonal, x);
}
void SolveUpper(const double *const *u, int at, int n, StripRow *x) { SolveUpperBody(u, at, n, x); }

constexpr RowKernels table = {DotFour, Accumulate, AddScaled, SolveLower, SolveUpper};

}  // namespace baseline

#if defined(__x86_64__)
namespace avx2 {

[[gnu::target("avx2")]] void DotFour(const double *const *rows, int count, int at, const double *y, int n,
                                     const double *partial, std::int64_t step, double sums[4]) {
  DotFourBody(rows, count, at, y, n, partial, step, sums);
}
[[gnu::target("avx2")]] void Accumulate(const PartialSums &sums, const double *const *a, int aCount,
                                        const double *const *b, int bCount, int from, int to) {
  AccumulateBody(sums, a, aCount, b, bCount, from, to);
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

constexpr RowKernels table = {DotFour, Accumulate, AddScaled, SolveLower, SolveUpper};

}  // namespace avx2
#endif

}  // namespace

const RowKernels &BaselineRowKernels() { return baseline::table; }

const RowKernels &MachineRowKernels() {
#if defined(__x86_64__)
  static const bool wide = __builtin_cpu_supports("avx2");
  if (wide) return avx2::table;
#endif
  return baseline::table;
}

}  // namespace tessel
