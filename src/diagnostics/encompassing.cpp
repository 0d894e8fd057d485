// Encompassing tests.
#include "diagnostics/encompassing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>
#include <utility>

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

  OwnedBlock<const double *> rows;
  OwnedBlock<int> origin;  // place in the two lists put together
  OwnedBlock<int> place2;  // where each row of the second list stands in the union
  int count = 0;
};

void Unite(ConstMatrix list1, ConstMatrix list2, RowUnion *u) {
  const auto add = [&](const double *row, int origin) {
    u->rows[u->count] = row;
    u->origin[u->count] = origin;
    return u->count++;
  };
  for (int i = 0; i < list1.rows; ++i) add(list1[i], i);
  for (int j = 0; j < list2.rows; ++j) {
    const double *row = list2[j];
    int at = 0;
    while (at < u->count && !std::equal(row, row + list2.columns, u->rows[at])) ++at;
    u->place2[j] = at < u->count ? at : add(row, list1.rows + j);
  }
}

// Inner products of the dependent variable y and the union X of the regressors, before and after the projection P on
// the union of the instruments.
struct Moments {
  Moments(int m, int T) : observations(T), xx(m, m), xPx(m, m), yx(1, m), y2x(1, m), yPx(1, m) {}

  bool Allocated() const { return xx && xPx && yx && y2x && yPx; }

  int observations;
  OwnedMatrix xx, xPx;
  OwnedMatrix yx, y2x, yPx;  // one row; y2: the dependent variable as the second model has it
  double yy = 0, yPy = 0;
};

// y, the regressors of the union, and those of its instruments that are not the same rows: most exogenous regressors
// stand in both lists, and their inner products are needed once.
struct DistinctRows {
  DistinctRows(const double *y, const RowUnion &x, const RowUnion &w)
      : rows(std::int64_t{1} + x.count + w.count), instrument(w.count) {
    if (!rows || !instrument) return;
    const double **regressors = rows.get() + 1, **end = std::copy_n(x.rows.get(), x.count, regressors);
    rows[0] = y;
    for (int i = 0; i < w.count; ++i) {
      const double **same = std::find(regressors, regressors + x.count, w.rows[i]);
      if (same == regressors + x.count) *(same = end++) = w.rows[i];
      instrument[i] = static_cast<int>(same - rows.get());
    }
    count = static_cast<int>(end - rows.get());
  }

  OwnedBlock<const double *> rows;
  OwnedBlock<int> instrument;  // where each instrument stands
  int count = 0;               // 0 without memory
};

Status FormMoments(const double *y, const double *y2, const RowUnion &w, const RowUnion &x, Moments *out) {
  const int n = w.count, m = x.count, T = out->observations;
  const DistinctRows z(y, x, w);
  const OwnedMatrix zz(z.count, z.count);
  const OwnedMatrix ww(n, n), xw(m, n), projected(m, n), yw(1, n), yProjected(1, n);
  if (z.count == 0 || !zz || !ww || !xw || !projected || !yw || !yProjected) return Status::NoMemory;
  for (int i = 0; i < z.count; ++i) DotProducts({z.rows.get(), z.rows.get() + i + 1}, z.rows[i], T, zz[i]);
  MirrorLower(zz);
  DotProducts({x.rows.get(), x.rows.get() + m}, y2, T, out->y2x[0]);
  out->yy = zz[0][0];
  std::copy_n(zz[0] + 1, m, out->yx[0]);
  for (int i = 0; i < m; ++i) std::copy_n(zz[1 + i] + 1, m, out->xx[i]);
  for (int j = 0; j < n; ++j) {
    const double *products = zz[z.instrument[j]];
    yw[0][j] = products[0];
    for (int i = 0; i < m; ++i) xw[i][j] = products[1 + i];
    for (int i = 0; i < n; ++i) ww[i][j] = products[z.instrument[i]];
  }

  if (const Status status = MatInvert(ww); Failed(status)) return status;
  MatMul(xw, ww, projected);
  MatMulBt(projected, xw, out->xPx);
  MatMul(yw, ww, yProjected);
  MatMulBt(yProjected, xw, out->yPx);
  out->yPy = DotProduct(yProjected[0], yw[0], n);
  return Status::Ok;
}

// A model's estimates: those of the regressors at the given places of the union, or, with none given, of the first k.
struct Estimate {
  Estimate(const int *at, int regressors) : places(at), k(regressors), inverse(k, k), b(1, k), yPx(1, k) {}

  bool Allocated() const { return inverse && b && yPx; }
  int Place(int i) const { return places == nullptr ? i : places[i]; }

  const int *places;
  int k;
  OwnedMatrix inverse;  // of the projected moments, X'P X
  OwnedMatrix b, yPx;   // one row
  double q = 0;         // y'Q y = b X'P y
  double s = 0;         // residual variance
  double c = 0, d = 0;  // against the other model
};

// yx: the dependent variable's inner products with the union.
Status EstimateModel(const Moments &moments, ConstMatrix yx, Estimate *e) {
  const int k = e->k, T = moments.observations;
  if (!e->Allocated()) return Status::NoMemory;
  double *yPx = e->yPx[0], *b = e->b[0];
  for (int i = 0; i < k; ++i) {
    yPx[i] = moments.yPx[0][e->Place(i)];
    for (int j = 0; j < k; ++j) e->inverse[i][j] = moments.xPx[e->Place(i)][e->Place(j)];
  }
  if (const Status status = MatInvert(e->inverse); Failed(status)) return status;
  MatMul(e->yPx, e->inverse, e->b);
  e->q = DotProduct(b, yPx, k);

  double cross = 0, square = 0;
  for (int i = 0; i < k; ++i) {
    const double *xx = moments.xx[e->Place(i)];
    double row = 0;
    for (int j = 0; j < k; ++j) row += xx[e->Place(j)] * b[j];
    cross += yx[0][e->Place(i)] * b[i];
    square += b[i] * row;
  }
  e->s = T > k ? (moments.yy - 2 * cross + square) / (T - k) : 0;
  return Status::Ok;
}

// out = the coefficients of one model in a regression of the other model's fit with the coefficients v:
// (X'P X)^-1 (X'P X_other) v. `work` has to.k cells.
void Regress(const Moments &moments, const Estimate &to, const Estimate &from, const double *v, double *work,
             double *out) {
  for (int i = 0; i < to.k; ++i) {
    work[i] = 0;
    for (int j = 0; j < from.k; ++j) work[i] += moments.xPx[to.Place(i)][from.Place(j)] * v[j];
  }
  for (int i = 0; i < to.k; ++i) out[i] = DotProduct(to.inverse[i], work, to.k);
}

// The model's c and d: its estimates stand for Q_1 y, and its coefficients in (Q_1 Q_2)^j Q_1 y give
//   c = |Q_2 Q_1 y|^2 = y'(Q_1 Q_2) Q_1 y,  d = |Q_1 Q_2 Q_1 y|^2 = y'(Q_1 Q_2)^2 Q_1 y.
Status ProjectOnOther(const Moments &moments, const Estimate &other, Estimate *own) {
  const OwnedBlock<double> blocks(std::int64_t{2} * (own->k + other.k));
  if (!blocks) return Status::NoMemory;
  double *v = blocks.get(), *there = v + own->k, *work = there + other.k;
  std::copy_n(own->b[0], own->k, v);
  for (double *sum : {&own->c, &own->d}) {
    Regress(moments, other, *own, v, work, there);
    Regress(moments, *own, other, there, work, v);
    *sum = DotProduct(own->yPx[0], v, own->k);
  }
  return Status::Ok;
}

// The statistics of a model against the other one, in every other cell from `cells` on.
void StoreStatistics(const Moments &moments, const Estimate &own, const Estimate &other, const Estimate &joint,
                     double *cells) {
  const int T = moments.observations;
  const double left = moments.yy - own.c, gap = own.c - own.d;
  const double cox = std::sqrt(T) * std::log((moments.yy - other.q) / left) / 2;
  const double f = (joint.q - own.q) / ((joint.k - own.k) * joint.s);
  cells[0] = (moments.yPy - own.q) / own.s;
  cells[2] = cox / (std::sqrt((T - own.k) * own.s * gap) / left);
  cells[4] = f > 0 ? f : 0;  // q is at least q_1 but for rounding
  cells[6] = (other.q - own.c) / std::sqrt(4 * own.s * gap);
  cells[8] = std::sqrt(own.s);
}

Status Compare(const Moments &moments, const RowUnion &x, int k1, int k2, double *statistics) {
  Estimate e1(nullptr, k1), e2(x.place2.get(), k2), joint(nullptr, x.count);
  Status status = EstimateModel(moments, moments.yx, &e1);
  if (Succeeded(status)) status = EstimateModel(moments, moments.y2x, &e2);
  if (Succeeded(status)) status = ProjectOnOther(moments, e2, &e1);
  if (Succeeded(status)) status = ProjectOnOther(moments, e1, &e2);
  if (Failed(status)) return status;
  for (const Estimate *e : {&e1, &e2})
    if (!(e->s > 0 && e->q < moments.yy && e->c < moments.yy && e->d < e->c)) return Status::NotPositive;
  status = EstimateModel(moments, moments.yx, &joint);
  if (Failed(status)) return status;
  if (!(joint.s > 0)) return Status::NotPositive;

  StoreStatistics(moments, e1, e2, joint, statistics);
  StoreStatistics(moments, e2, e1, joint, statistics + 1);
  statistics[10] = std::sqrt(joint.s);
  return Status::Ok;
}

}  // namespace

Status Encompassing(const IvModel &first, const IvModel &second, EncompassingResult *result) {
  const ConstMatrix w1 = first.Instruments(), w2 = second.Instruments();
  const ConstMatrix x1 = first.Regressors(), x2 = second.Regressors();
  RowUnion w(w1.rows, w2.rows), x(x1.rows, x2.rows);
  if (!w.Allocated() || !x.Allocated()) return Status::NoMemory;
  Unite(w1, w2, &w);
  Unite(x1, x2, &x);
  const int n = result->instruments = w.count, m = result->regressors = x.count;
  if (n < m) return Status::NotIdentified;
  if (n == w1.rows || n == w2.rows || m == x1.rows || m == x2.rows) return Status::Nested;

  Moments moments(m, first.rows.columns);
  if (!moments.Allocated()) return Status::NoMemory;
  Status status = FormMoments(first.rows[0], second.rows[0], w, x, &moments);
  if (Succeeded(status)) status = Compare(moments, x, x1.rows, x2.rows, result->statistics);
  result->index = std::move(w.origin);
  return status;
}

}  // namespace tessel
