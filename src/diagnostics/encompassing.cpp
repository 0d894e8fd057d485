// Encompassing tests.
#include "diagnostics/encompassing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "linalg/dot_product.h"
#include "linalg/lu.h"
#include "linalg/moments.h"
#include "linalg/products.h"

namespace tessel {
namespace {

// The rows of the first list, then those of the second that equal no row before them. rows, origin and place2 have room
// for both lists.
struct RowUnion {
  RowUnion(int count1, int count2)
      : rows(std::int64_t{count1} + count2), origin(std::int64_t{count1} + count2), place2(count2) {}

  bool Allocated() const { return rows && origin && place2; }

  OwnedBlock<double *> rows;
  OwnedBlock<int> origin;  // place in the two lists put together
  OwnedBlock<int> place2;  // where each row of the second list stands in the union
  int count = 0;
};

void Unite(RowMatrix list1, int count1, RowMatrix list2, int count2, int T, RowUnion *u) {
  const auto add = [&](double *row, int origin) {
    u->rows[u->count] = row;
    u->origin[u->count] = origin;
    return u->count++;
  };
  for (int i = 0; i < count1; ++i) add(list1[i], i);
  for (int j = 0; j < count2; ++j) {
    int at = 0;
    while (at < u->count && !std::equal(list2[j], list2[j] + T, u->rows[at])) ++at;
    u->place2[j] = at < u->count ? at : add(list2[j], count1 + j);
  }
}

// In place.
EncompassingStatus InvertMoments(RowMatrix a, int n) {
  const Status status = MatInvert(ViewOf(a, n, n));
  if (Succeeded(status)) return EncompassingStatus::Success;
  return status == Status::NoMemory ? EncompassingStatus::NoMemory : EncompassingStatus::Singular;
}

// The rows of a table, copied to one block; false without memory.
OwnedMatrix Gather(double *const *rows, int count, int columns) {
  OwnedMatrix copy(count, columns);
  for (int i = 0; copy && i < count; ++i) std::copy_n(rows[i], columns, copy[i]);
  return copy;
}

// Inner products of the dependent variable y and the union X of the regressors, before and after the projection P on
// the union of the instruments.
struct Moments {
  explicit Moments(int regressors) : m(regressors), xx(m, m), xPx(m, m), yx(1, m), y2x(1, m), yPx(1, m) {}

  bool Allocated() const { return xx && xPx && yx && y2x && yPx; }

  int m;
  OwnedRows xx, xPx;
  OwnedRows yx, y2x, yPx;  // one row; y2: the dependent variable as the second model has it
  double yy = 0, yPy = 0;
};

// y, the regressors of the union, and those of its instruments that are not the same rows: most exogenous regressors
// stand in both lists, and their inner products are needed once.
struct DistinctRows {
  DistinctRows(double *y, const RowUnion &x, const RowUnion &w)
      : rows(std::int64_t{1} + x.count + w.count), instrument(w.count) {
    if (!rows || !instrument) return;
    double **regressors = rows.get() + 1, **end = std::copy_n(x.rows.get(), x.count, regressors);
    rows[0] = y;
    for (int i = 0; i < w.count; ++i) {
      double **same = std::find(regressors, regressors + x.count, w.rows[i]);
      if (same == regressors + x.count) *(same = end++) = w.rows[i];
      instrument[i] = static_cast<int>(same - rows.get());
    }
    count = static_cast<int>(end - rows.get());
  }

  OwnedBlock<double *> rows;
  OwnedBlock<int> instrument;  // where each instrument stands
  int count = 0;               // 0 without memory
};

EncompassingStatus FormMoments(double *y, double *y2, const RowUnion &w, const RowUnion &x, int T, Moments *out) {
  const int n = w.count, m = x.count;
  const DistinctRows z(y, x, w);
  const OwnedRows zz(z.count, z.count);
  const OwnedRows ww(n, n), xw(m, n), projected(m, n), yw(1, n), yProjected(1, n);
  if (!zz || !ww || !xw || !projected || !yw || !yProjected) return EncompassingStatus::NoMemory;
  const OwnedMatrix zRows = Gather(z.rows.get(), z.count, T);
  if (!zRows) return EncompassingStatus::NoMemory;
  MatCrossRows(zRows, 0, T - 1, ViewOf(zz.get(), z.count, z.count));
  out->yy = zz[0][0];
  std::copy_n(zz[0] + 1, m, out->yx[0]);
  MatCrossRows2({y2, 1, T}, zRows.View().Rows(1, m), 0, T - 1, ViewOf(out->y2x.get(), 1, m));
  for (int i = 0; i < m; ++i) std::copy_n(zz[1 + i] + 1, m, out->xx[i]);
  for (int j = 0; j < n; ++j) {
    const double *products = zz[z.instrument[j]];
    yw[0][j] = products[0];
    for (int i = 0; i < m; ++i) xw[i][j] = products[1 + i];
    for (int i = 0; i < n; ++i) ww[i][j] = products[z.instrument[i]];
  }

  const EncompassingStatus status = InvertMoments(ww.get(), n);
  if (status != EncompassingStatus::Success) return status;
  const Matrix xwView = ViewOf(xw.get(), m, n), wwView = ViewOf(ww.get(), n, n);
  const Matrix projectedView = ViewOf(projected.get(), m, n), yProjectedView = ViewOf(yProjected.get(), 1, n);
  MatMul(xwView, wwView, projectedView);
  MatMulBt(projectedView, xwView, ViewOf(out->xPx.get(), m, m));
  MatMul(ViewOf(yw.get(), 1, n), wwView, yProjectedView);
  MatMulBt(yProjectedView, xwView, ViewOf(out->yPx.get(), 1, m));
  out->yPy = DotProduct(yProjected[0], yw[0], n);
  return status;
}

// A model's estimates: those of the regressors at the given places of the union; with none given, at all places.
struct Estimate {
  Estimate(const int *at, int regressors) : places(at), k(regressors), inverse(k, k), b(k), yPx(k) {}

  bool Allocated() const { return inverse && b && yPx; }
  int Place(int i) const { return places == nullptr ? i : places[i]; }

  const int *places;
  int k;
  OwnedRows inverse;  // of the projected moments
  OwnedBlock<double> b, yPx;
  double q = 0;  // explained by the projected regressors: b X P y
  double s = 0;  // residual variance
};

EncompassingStatus EstimateModel(const Moments &moments, const double *yx, int T, Estimate *e) {
  const int k = e->k;
  if (!e->Allocated()) return EncompassingStatus::NoMemory;
  for (int i = 0; i < k; ++i) {
    e->yPx[i] = moments.yPx[0][e->Place(i)];
    for (int j = 0; j < k; ++j) e->inverse[i][j] = moments.xPx[e->Place(i)][e->Place(j)];
  }
  const EncompassingStatus status = InvertMoments(e->inverse.get(), k);
  if (status != EncompassingStatus::Success) return status;
  double *yPx = e->yPx.get(), *b = e->b.get();
  MatMul({yPx, 1, k}, ViewOf(e->inverse.get(), k, k), {b, 1, k});
  e->q = DotProduct(b, yPx, k);

  double cross = 0, square = 0;
  for (int i = 0; i < k; ++i) {
    const double *xx = moments.xx[e->Place(i)];
    double row = 0;
    for (int j = 0; j < k; ++j) row += xx[e->Place(j)] * b[j];
    cross += yx[e->Place(i)] * b[i];
    square += b[i] * row;
  }
  e->s = T > k ? (moments.yy - 2 * cross + square) / (T - k) : 0;
  return status;
}

// out = the coefficients of one model in a regression of the other model's fit with the coefficients v:
// R (X P X_other') v. `work` has to.k cells.
void Regress(const Moments &moments, const Estimate &to, const Estimate &from, const double *v, double *work,
             double *out) {
  for (int i = 0; i < to.k; ++i) {
    work[i] = 0;
    for (int j = 0; j < from.k; ++j) work[i] += moments.xPx[to.Place(i)][from.Place(j)] * v[j];
  }
  for (int i = 0; i < to.k; ++i) out[i] = DotProduct(to.inverse[i], work, to.k);
}

// c and d: what is left of a model's fit after one and after two rounds of projection on the other model and back.
struct Contrast {
  double c = 0;
  double d = 0;
};

bool ContrastWith(const Moments &moments, const Estimate &own, const Estimate &other, Contrast *contrast) {
  const OwnedBlock<double> blocks(std::int64_t{2} * (own.k + other.k));
  if (!blocks) return false;
  double *v = blocks.get(), *there = v + own.k, *work = there + other.k;
  std::copy_n(own.b.get(), own.k, v);
  for (double *sum : {&contrast->c, &contrast->d}) {
    Regress(moments, other, own, v, work, there);
    Regress(moments, own, other, there, work, v);
    *sum = DotProduct(own.yPx.get(), v, own.k);
  }
  return true;
}

// The statistics of a model against the other one, in every other cell from `cells` on.
void StoreStatistics(const Moments &moments, const Estimate &own, const Estimate &other, const Estimate &joint,
                     const Contrast &contrast, int T, double *cells) {
  const double left = moments.yy - contrast.c, gap = contrast.c - contrast.d;
  const double cox = std::sqrt(T) * std::log((moments.yy - other.q) / left) / 2;
  const double f = (joint.q - own.q) / ((joint.k - own.k) * joint.s);
  cells[0] = (moments.yPy - own.q) / own.s;
  cells[2] = cox / (std::sqrt((T - own.k) * own.s * gap) / left);
  cells[4] = f > 0 ? f : 0;
  cells[6] = (other.q - contrast.c) / std::sqrt(4 * own.s * gap);
  cells[8] = std::sqrt(own.s);
}

EncompassingStatus Compare(const Moments &moments, const RowUnion &x, int k1, int k2, int T, double *statistics) {
  Estimate e1(nullptr, k1), e2(x.place2.get(), k2), joint(nullptr, x.count);
  EncompassingStatus status = EstimateModel(moments, moments.yx[0], T, &e1);
  if (status == EncompassingStatus::Success) status = EstimateModel(moments, moments.y2x[0], T, &e2);
  if (status != EncompassingStatus::Success) return status;
  Contrast contrast1, contrast2;
  if (!ContrastWith(moments, e1, e2, &contrast1) || !ContrastWith(moments, e2, e1, &contrast2))
    return EncompassingStatus::NoMemory;
  const auto positive = [&](const Estimate &e, const Contrast &contrast) {
    return e.s > 0 && e.q < moments.yy && contrast.c < moments.yy && contrast.d < contrast.c;
  };
  if (!positive(e1, contrast1) || !positive(e2, contrast2)) return EncompassingStatus::NotPositive;
  status = EstimateModel(moments, moments.yx[0], T, &joint);
  if (status != EncompassingStatus::Success) return status;
  if (!(joint.s > 0)) return EncompassingStatus::NotPositive;

  StoreStatistics(moments, e1, e2, joint, contrast1, T, statistics);
  StoreStatistics(moments, e2, e1, joint, contrast2, T, statistics + 1);
  statistics[10] = std::sqrt(joint.s);
  return status;
}

}  // namespace

EncompassingStatus Encompassing(const IvModel &first, const IvModel &second, int T, EncompassingResult *result) {
  const int k1 = first.RegressorCount(), k2 = second.RegressorCount();
  const int n1 = first.InstrumentCount(), n2 = second.InstrumentCount();
  RowUnion w(n1, n2), x(k1, k2);
  if (!w.Allocated() || !x.Allocated()) return EncompassingStatus::NoMemory;
  Unite(first.Instruments(), n1, second.Instruments(), n2, T, &w);
  Unite(first.Regressors(), k1, second.Regressors(), k2, T, &x);
  const int n = result->instruments = w.count, m = result->regressors = x.count;
  if (n < m) return EncompassingStatus::NotIdentified;
  if (n == n1 || n == n2 || m == k1 || m == k2) return EncompassingStatus::Nested;

  Moments moments(m);
  if (!moments.Allocated()) return EncompassingStatus::NoMemory;
  EncompassingStatus status = FormMoments(first.rows[0], second.rows[0], w, x, T, &moments);
  if (status == EncompassingStatus::Success) status = Compare(moments, x, k1, k2, T, result->statistics);
  result->index = std::move(w.origin);
  return status;
}

}  // namespace tessel
