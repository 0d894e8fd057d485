// Jackknife covariance and the moments' outer products.
#include "regression/robust_covariance.h"

#include <cmath>
#include <cstring>

#include "core/heap.h"
#include "linalg/four.h"
#include "linalg/moments.h"

namespace tessel {

int JackknifeCovariance(RowMatrix x, const double *e, RowMatrix xxInv, int observations, int k, RowMatrix meat,
                        RowMatrix result) {
  MatZero(meat, k, k);
  MatZero(result, k, k);
  double *shift = result[0];  // free until the last product
  for (int t = 0; t < observations; ++t) {
    const double *row = x[t], leverage = QuadFormRow(t, x, xxInv, k);
    if (1.0 - leverage <= 0.0) return 0;
    const double a = e[t] / (1.0 - leverage);
    for (int i = 0; i < k; ++i) {
      shift[i] += a * row[i];
      const double scale = a * a * row[i];
      for (int j = i; j < k; ++j) meat[i][j] += scale * row[j];
    }
  }

  const double T = observations;
  for (int i = 0; i < k; ++i)
    for (int j = i; j < k; ++j) {
      meat[i][j] -= shift[j] * shift[i] / T;
      meat[i][j] *= (T - 1.0) / T;
      meat[j][i] = meat[i][j];
    }
  MatCrossWeighted(xxInv, k, meat, k, result);
  return 1;
}

int BartlettLags(int observations) {
  constexpr double exponent = 0.2222222222222222;
  return TruncateToInt(4.0 * std::pow(observations / 100.0, exponent));
}

namespace {

// Neighbouring cells of a row.
using Pair [[gnu::vector_size(16)]] = double;

template <class Vector>
[[gnu::always_inline]] inline void Load(const double *cells, Vector *v) {
  std::memcpy(v, cells, sizeof *v);
}

template <class Vector>
[[gnu::always_inline]] inline void Store(double *cells, const Vector &v) {
  std::memcpy(cells, &v, sizeof v);
}

// Rows and columns are padded to whole tiles: two rows by the widest vector.
constexpr int kTileRows = 2;
constexpr int kPadding = 4;

// The moments of an observation and of the `lags` before it (past[0], past[1], ...), and the lags' weights.
struct History {
  double *const *past;
  const double *weight;
  int lags;
};

// An observation's part in the lower triangle of the sums, whose rows are `stride` cells apart: cell (p, q) gains
// g(p) g(q), g = past[0], and then for each lag l, r = past[l], weight(l) (g(p) r(q) + g(q) r(p)). A tile's sums stay
// in registers over all lags.
template <class Vector>
[[gnu::always_inline]] inline void AddObservationBody(const History &history, int size, std::int64_t stride,
                                                      double *sums) {
  constexpr int width = sizeof(Vector) / sizeof(double);
  const double *g = history.past[0];
  for (int p = 0; p < size; p += kTileRows)
    for (int q = 0; q < p + kTileRows; q += width) {
      double *upperCells = sums + p * stride + q, *lowerCells = upperCells + stride;
      Vector gq, rq, upper, lower;
      Load(g + q, &gq);
      Load(upperCells, &upper);
      Load(lowerCells, &lower);
      upper += g[p] * gq;
      lower += g[p + 1] * gq;
      for (int l = 1; l <= history.lags; ++l) {
        const double *r = history.past[l];
        Load(r + q, &rq);
        upper += history.weight[l] * (g[p] * rq + gq * r[p]);
        lower += history.weight[l] * (g[p + 1] * rq + gq * r[p + 1]);
      }
      Store(upperCells, upper);
      Store(lowerCells, lower);
    }
}

using AddObservationFunction = void (*)(const History &, int, std::int64_t, double *);

void AddObservationBaseline(const History &history, int size, std::int64_t stride, double *sums) {
  AddObservationBody<Pair>(history, size, stride, sums);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddObservationAvx2(const History &history, int size, std::int64_t stride, double *sums) {
  AddObservationBody<Four>(history, size, stride, sums);
}
#endif

// Both forms give the same bits: neither fuses a product with its sum.
AddObservationFunction MachineAddObservation() {
#if defined(__x86_64__)
  static const bool wide = __builtin_cpu_supports("avx2");
  if (wide) return AddObservationAvx2;
#endif
  return AddObservationBaseline;
}

}  // namespace

void MomentCovariance(RowMatrix a, int m, RowMatrix b, int n, int observations, bool autocovariances, RowMatrix out) {
  const int size = m * n, lags = autocovariances ? BartlettLags(observations) : 0;
  MatZero(out, size, size);
  const int depth = lags + 1;
  // A ring of the moments of as many observations, zero before the first; `past` holds the ring twice, so that the
  // pointers from any place on tell the moments of 0, 1, 2, ... observations ago.
  const std::int64_t stride = (static_cast<std::int64_t>(size) + kPadding - 1) / kPadding * kPadding;
  const auto moments = OwnedBlock<double>::Zeroed(depth * stride), sums = OwnedBlock<double>::Zeroed(stride * stride);
  const OwnedBlock<double *> past(std::int64_t{2} * depth);
  const OwnedBlock<double> weight(depth);
  if (!moments || !sums || !past || !weight) return;
  for (int l = 0; l <= lags; ++l) {
    past[l] = past[depth + l] = moments.get() + l * stride;
    weight[l] = 1.0 - static_cast<double>(l) / depth;
  }

  const AddObservationFunction addObservation = MachineAddObservation();
  int place = 0;  // of the current observation in the ring
  for (int t = 0; t < observations; ++t) {
    place = place == 0 ? lags : place - 1;
    const History history = {past.get() + place, weight.get(), lags};
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) history.past[0][i * n + j] = b[t][j] * a[t][i];
    addObservation(history, size, stride, sums.get());
  }
  for (int p = 0; p < size; ++p)
    for (int q = 0; q <= p; ++q) out[q][p] = out[p][q] = sums[p * stride + q];
}

}  // namespace tessel
