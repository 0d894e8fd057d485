// Recursive least squares.
#include "regression/rls.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/moments.h"
#include "linalg/qr.h"
#include "linalg/symmetric.h"
#include "regression/recursive_updates.h"

namespace tessel {

namespace {

constexpr int kExactInterval = 50;  // steps from one scheduled exact step to the next

struct RlsRecursion {
  int t1, sampleSize, n, k;
  OwnedMatrix xT, yT;            // variables in rows; column s is observation t1 + s
  OwnedMatrix xWork, yWork;      // copies for the factorisation to consume; yWork then holds residuals
  OwnedMatrix xxInv;             // k x k, inverse of X'X; zero row and column for a dropped regressor
  OwnedMatrix xy;                // n x k, cross-products of equation j's dependent variable with the regressors
  OwnedMatrix beta;              // n x k, current coefficients
  OwnedMatrix betaExact;         // n x k, coefficients of the latest factorisation
  OwnedMatrix resCross;          // n x n, cross-products of the equations' residuals
  OwnedMatrix covWork;           // n x n
  OwnedBlock<double> gain;       // k
  OwnedBlock<double> regressor;  // k, this step's observation
  OwnedBlock<double> scaled;     // n, this step's standardised innovations
  bool needExact = true;         // the latest factorisation was not of full rank
  bool exact = true;             // this step was exact

  RlsRecursion(int first, int size, int equations, int regressors)
      : t1(first),
        sampleSize(size),
        n(equations),
        k(regressors),
        xT(k, size),
        yT(n, size),
        xWork(k, size),
        yWork(n, size),
        xxInv(k, k),
        xy(n, k),
        beta(n, k),
        betaExact(n, k),
        resCross(n, n),
        covWork(n, n),
        gain(k),
        regressor(k),
        scaled(n) {}

  bool Complete() const {
    return xT && yT && xWork && yWork && xxInv && xy && beta && betaExact && resCross && covWork && gain && regressor &&
           scaled;
  }
};

// out: the transpose of rows `first` on.
void FillTransposed(ConstMatrix source, int first, Matrix out) {
  for (int s = 0; s < out.columns; ++s)
    for (int i = 0; i < out.rows; ++i) out[i][s] = source[first + s][i];
}

// Least squares over the first `observations` columns.
QrResult Factorise(RlsRecursion &r, int observations, Matrix beta) {
  const Matrix x = r.xWork.View().Columns(0, observations), y = r.yWork.View().Columns(0, observations);
  Copy(x, r.xT.View().Columns(0, observations));
  Copy(y, r.yT.View().Columns(0, observations));
  return MatOlsQr(x, y, {.b = beta, .xtxInv = r.xxInv, .xtx = {}});
}

// The state after the first k observations.
Status StartUp(RlsRecursion &r, ConstMatrix y, ConstMatrix x) {
  FillTransposed(x, r.t1, r.xT);
  FillTransposed(y, r.t1, r.yT);
  FillZero(r.beta);
  FillZero(r.betaExact);
  FillZero(r.resCross);
  MatCrossRows2(r.yT, r.xT, 0, r.k - 1, r.xy);
  return Factorise(r, r.k, r.beta).status;
}

// Residuals of equation j over the first `observations` columns, to its row of yWork.
void FillResiduals(RlsRecursion &r, int j, const double *beta, int observations) {
  LinearResiduals(r.yT[j], r.xT.View().Columns(0, observations), {beta, beta + r.k}, r.yWork[j]);
}

// Solves the sample up to column s anew. q = 1 + x'(X'X)^-1 x, whose inverse includes observation s already.
Status ExactStep(RlsRecursion &r, int s, double *q) {
  const QrResult factorised = Factorise(r, s + 1, r.betaExact);
  if (Failed(factorised.status)) return factorised.status;
  for (int j = 0; j < r.n; ++j) FillResiduals(r, j, r.betaExact[j], s + 1);
  MatCrossRows(r.yWork, 0, s, r.resCross);
  r.needExact = factorised.code != QrFullRank;
  r.exact = true;
  *q = 1.0 + QuadFormColumn(s, r.xT, r.xxInv);
  return *q <= 0.0 ? Status::NotPositive : Status::Ok;
}

// Adds observation s by a rank-one update, or exactly where that is due or the update breaks down.
Status UpdateInverse(RlsRecursion &r, int s, bool exactDue, double *q) {
  if (r.needExact || exactDue) return ExactStep(r, s, q);
  r.exact = false;
  *q = InverseRankOneUpdate(r.xxInv, r.xT, s, {r.gain.get(), r.gain.get() + r.k});
  return *q <= 0.0 ? ExactStep(r, s, q) : Status::Ok;
}

// y - x'beta of equation j at this step's observation.
double ResidualAt(const RlsRecursion &r, double y, const double *beta) {
  double fit = 0.0;
  for (int i = 0; i < r.k; ++i) fit += r.regressor[i] * beta[i];
  return y - fit;
}

double ResidualSumOfSquares(RlsRecursion &r, int j, int s, const double *rssRow) {
  if (!r.exact) return r.scaled[j] * r.scaled[j] + rssRow[r.t1 + s - 1];
  FillResiduals(r, j, r.beta[j], s + 1);
  return AscendingSumOfSquares({r.yWork[j], r.yWork[j] + s + 1});
}

// Equation j's innovation, new coefficients and statistics. f: the innovations' scale.
void UpdateEquation(RlsRecursion &r, int j, int s, double f, const RlsPaths &paths) {
  const int t = r.t1 + s;
  const double y = r.yT[j][s];
  double *xy = r.xy[j], *beta = r.beta[j];
  const double innovation = ResidualAt(r, y, beta);
  for (int i = 0; i < r.k; ++i) xy[i] += y * r.regressor[i];
  SymmetricTimes(r.xxInv, {xy, xy + r.k}, {beta, beta + r.k});
  r.scaled[j] = innovation / f;

  if (paths.residual) paths.residual[j][t] = ResidualAt(r, y, beta);
  if (paths.standardised) paths.standardised[j][t] = r.scaled[j];
  if (paths.innovation) paths.innovation[j][t] = innovation;
  if (paths.rss) paths.rss[j][t] = ResidualSumOfSquares(r, j, s, paths.rss[j]);
  if (paths.beta)
    for (int i = 0; i < r.k; ++i) paths.beta[static_cast<std::int64_t>(j) * r.k + i][t] = beta[i];
}

void StoreInverseDiagonal(const RlsRecursion &r, int t, Matrix path) {
  for (int i = 0; i < r.k; ++i)
    if (r.xxInv[i][i] != 0.0) path[i][t] = r.xxInv[i][i];
}

// The exact step has set the residuals' cross-products; a rank-one step adds the innovations'.
double HalfLogDet(RlsRecursion &r) {
  for (int a = 0; a < r.n; ++a)
    for (int b = 0; b < r.n; ++b) {
      if (!r.exact) r.resCross[a][b] += r.scaled[a] * r.scaled[b];
      r.covWork[a][b] = r.resCross[a][b] / r.sampleSize;
    }
  // One equation: the same decision on the same pivot, without work memory at every step.
  if (r.n == 1) return r.covWork[0][0] <= MatTolerance() ? MissingValue() : -0.5 * std::log(r.covWork[0][0]);
  double logDet = 0.0;  // known without memory for the inverse too
  return MatInvertSpd(r.covWork, &logDet) == Status::NotPositive ? MissingValue() : -0.5 * logDet;
}

}  // namespace

Status RlsEstimate(ConstMatrix y, ConstMatrix x, int t1, int t2, int tExact, const RlsPaths &paths) {
  const int sampleSize = t2 - t1 + 1, n = y.columns, k = x.columns;
  if (n < 1 || k < 1 || k >= sampleSize) return Status::Invalid;
  RlsRecursion r(t1, sampleSize, n, k);
  if (!r.Complete()) return Status::NoMemory;
  for (const Matrix path :
       {paths.beta, paths.inverseDiag, paths.standardised, paths.innovation, paths.rss, paths.residual})
    FillMissing(path);
  std::fill(paths.halfLogDet.begin(), paths.halfLogDet.end(), MissingValue());
  if (const Status status = StartUp(r, y, x); Failed(status)) return status;

  int pass = 0;
  for (int s = k; s < sampleSize; ++s, ++pass) {
    const int t = t1 + s;
    for (int i = 0; i < k; ++i) r.regressor[i] = r.xT[i][s];
    double q = 0.0;
    if (const Status status = UpdateInverse(r, s, t == tExact || pass % kExactInterval == 0, &q); Failed(status))
      return status;
    const double f = std::sqrt(q);
    for (int j = 0; j < n; ++j) UpdateEquation(r, j, s, f, paths);
    if (paths.inverseDiag) StoreInverseDiagonal(r, t, paths.inverseDiag);
    if (!paths.halfLogDet.empty()) paths.halfLogDet[t] = HalfLogDet(r);
  }
  return Status::Ok;
}

}  // namespace tessel
