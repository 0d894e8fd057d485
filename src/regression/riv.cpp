// Recursive instrumental variables.
#include "regression/riv.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/dot_product.h"
#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/recursive_updates.h"

namespace tessel {

namespace {

constexpr int kExactInterval = 50;  // steps from one fresh inverse to the next

// Regressors are stored in two orders. `beta` and the paths keep that of z's rows, endogenous ones first; `xxInv`,
// `rhs` and `solution` have the exogenous ones first.
struct RivRecursion {
  ConstMatrix z;
  int t1, a, b, k;
  ConstMatrix regressors;     // rows of z in their own order
  ConstMatrix exogenous;      // rows of z
  ConstMatrix instruments;    // rows of z: exogenous regressors, additional instruments
  OwnedMatrix moments;        // cross-products of all rows over the sample so far
  OwnedMatrix x1Inv;          // a x a, inverse cross-products of the exogenous regressors
  OwnedMatrix zzInv;          // inverse cross-products of the instruments
  OwnedMatrix proj;           // b rows: cross-products of endogenous regressors and instruments, times zzInv
  OwnedMatrix xxInv;          // k x k, inverse moments of the fitted regressors
  OwnedMatrix next;           // k x 1, regressors of the next observation, exogenous ones first
  OwnedMatrix rhs, solution;  // one row of k, exogenous regressors first
  OwnedMatrix beta;           // one row of k, in the order of z
  OwnedMatrix gain;           // one row, a value an instrument
  OwnedMatrix residuals;      // one row, a value an observation

  RivRecursion(const RivData &data, int first, int last)
      : z(data.z.Rows(0, data.k + data.m + 1)),
        t1(first),
        a(data.k - data.nEndog + 1),
        b(data.nEndog - 1),
        k(data.k),
        regressors(z.Rows(1, k)),
        exogenous(z.Rows(data.nEndog, a)),
        instruments(z.Rows(data.nEndog, a + data.m)),
        moments(z.rows, z.rows),
        x1Inv(a, a),
        zzInv(instruments.rows, instruments.rows),
        proj(b, instruments.rows),
        xxInv(k, k),
        next(k, 1),
        rhs(1, k),
        solution(1, k),
        beta(1, k),
        gain(1, instruments.rows),
        residuals(1, last - first + 1) {}

  bool Complete() const {
    return moments && x1Inv && zzInv && proj && xxInv && next && rhs && solution && beta && gain && residuals;
  }

  // Where the regressor at place p of the exogenous-first order stands in the order of z.
  int PlaceInZ(int p) const { return p < a ? b + p : p - a; }

  // Cross-products of variable `row` of z with the instruments, the exogenous regressors ahead.
  const double *WithInstruments(int row) const { return moments[row] + (z.rows - instruments.rows); }
};

Status InvertCrossProducts(ConstMatrix rows, int first, int last, Matrix out) {
  MatCrossRows(rows, first, last, out);
  return MatInvertSpd(out);
}

// Brings the moments and the two inverses to observation t.
Status AdvanceMoments(RivRecursion &r, int t, int pass) {
  if (pass % kExactInterval == 0) {
    Status status = InvertCrossProducts(r.exogenous, r.t1, t, r.x1Inv);
    if (Succeeded(status)) status = InvertCrossProducts(r.instruments, r.t1, t, r.zzInv);
    if (Failed(status)) return status;
    if (pass == 0) MatCrossRows(r.z, r.t1, t, r.moments);
  } else {
    InverseRankOneUpdate(r.x1Inv, r.exogenous, t, r.gain.View().Row(0));
    InverseRankOneUpdate(r.zzInv, r.instruments, t, r.gain.View().Row(0));
  }
  if (pass > 0)
    for (int i = 0; i < r.z.rows; ++i)
      for (int j = 0; j <= i; ++j) r.moments[j][i] = r.moments[i][j] += r.z[i][t] * r.z[j][t];
  return Status::Ok;
}

// Two-stage least squares from the moments: xxInv and beta.
Status Solve(RivRecursion &r) {
  const int a = r.a, b = r.b, L = r.instruments.rows;
  Copy(r.xxInv.View().Block(0, a, 0, a), r.x1Inv);
  for (int e = 0; e < b; ++e) {
    const double *cross = r.WithInstruments(1 + e);
    SymmetricTimes(r.zzInv, {cross, cross + L}, r.proj.View().Row(e));
    for (int i = 0; i < a; ++i) r.xxInv[a + e][i] = cross[i];
    for (int f = 0; f < b; ++f) r.xxInv[a + e][a + f] = DotProduct(r.proj[e], r.WithInstruments(1 + f), L);
    r.rhs[0][a + e] = DotProduct(r.proj[e], r.WithInstruments(0), L);
  }
  if (const Status status = PartitionedInverse(r.xxInv, a); Failed(status)) return status;

  std::copy_n(r.WithInstruments(0), a, r.rhs[0]);
  SymmetricTimes(r.xxInv, r.rhs.View().Row(0), r.solution.View().Row(0));
  for (int p = 0; p < r.k; ++p) r.beta[0][r.PlaceInZ(p)] = r.solution[0][p];
  return Status::Ok;
}

// y - x'beta at the observations from `first` to `last`.
void FillResiduals(const RivRecursion &r, int first, int last, double *out) {
  LinearResiduals(r.z[0] + first, r.regressors.Columns(first, last - first + 1), r.beta.View().Row(0), out);
}

// The prediction of observation t + 1: its error, and the error over its scale from the actual regressors.
void StoreInnovation(const RivRecursion &r, int t, const RivPaths &paths) {
  double innovation = 0.0;
  FillResiduals(r, t + 1, t + 1, &innovation);
  for (int p = 0; p < r.k; ++p) r.next[p][0] = r.regressors[r.PlaceInZ(p)][t + 1];
  const double q = 1.0 + QuadFormColumn(0, r.next, r.xxInv);
  if (!paths.standardised.empty()) paths.standardised[t + 1] = innovation / std::sqrt(q);
  if (!paths.innovation.empty()) paths.innovation[t + 1] = innovation;
}

void StoreStep(RivRecursion &r, int t, int t2, const RivPaths &paths) {
  if (paths.beta)
    for (int i = 0; i < r.k; ++i) paths.beta[i][t] = r.beta[0][i];
  if (t < t2) StoreInnovation(r, t, paths);
  for (int p = 0; p < r.k && paths.inverseDiag; ++p) {
    const double diagonal = r.xxInv[p][p];
    paths.inverseDiag[r.PlaceInZ(p)][t] = diagonal <= 0.0 ? 0.0 : diagonal;
  }
  const std::span<double> residuals = r.residuals.View().Columns(0, t - r.t1 + 1).Row(0);
  if (!paths.rss.empty() || !paths.residual.empty()) FillResiduals(r, r.t1, t, residuals.data());
  if (!paths.rss.empty()) paths.rss[t] = AscendingSumOfSquares(residuals);
  if (!paths.residual.empty()) paths.residual[t] = residuals.back();
}

}  // namespace

Status RivEstimate(const RivData &data, int t1, int t2, int nInit, const RivPaths &paths) {
  for (const Matrix path : {paths.beta, paths.inverseDiag}) FillMissing(path);
  for (const std::span<double> path : {paths.standardised, paths.innovation, paths.rss, paths.residual})
    std::fill(path.begin(), path.end(), MissingValue());
  if (data.k < data.nEndog) return Status::Invalid;
  RivRecursion r(data, t1, t2);
  if (!r.Complete()) return Status::NoMemory;
  if (nInit > t2 - t1 + 1) return Status::Ok;
  if (nInit < 1) return Status::NotPositive;  // no observation in the moments

  for (int t = t1 + nInit - 1, pass = 0; t <= t2; ++t, ++pass) {
    Status status = AdvanceMoments(r, t, pass);
    if (Succeeded(status)) status = Solve(r);
    if (Failed(status)) return status;
    StoreStep(r, t, t2, paths);
  }
  return Status::Ok;
}

Status PartitionedInverse(Matrix matrix, int a) {
  const int b = matrix.rows - a;
  if (b < 1) return Status::Ok;
  const Matrix top = matrix.Block(0, a, a, b), bottom = matrix.Block(a, b, 0, a), s = matrix.Block(a, b, a, b);

  // T = -P C' above, S = D + C T in its block.
  for (int i = 0; i < a; ++i)
    for (int e = 0; e < b; ++e) top[i][e] = -DotProduct(matrix[i], bottom[e], a);
  for (int e = 0; e < b; ++e)
    for (int f = 0; f < b; ++f)
      for (int i = 0; i < a; ++i) s[e][f] += bottom[e][i] * top[i][f];
  if (const Status status = MatInvertSpd(s); Failed(status)) return status;

  // S^-1 T' below, P + T S^-1 T' in the top left block, and the mirror image above.
  for (int e = 0; e < b; ++e)
    for (int i = 0; i < a; ++i) bottom[e][i] = DotProduct(s[e], top[i], b);
  for (int i = 0; i < a; ++i)
    for (int l = 0; l <= i; ++l) {
      for (int e = 0; e < b; ++e) matrix[i][l] += top[i][e] * bottom[e][l];
      matrix[l][i] = matrix[i][l];
    }
  for (int e = 0; e < b; ++e)
    for (int i = 0; i < a; ++i) top[i][e] = bottom[e][i];
  return Status::Ok;
}

}  // namespace tessel
