// Recursive least squares.
#include "regression/rls.h"

#include <cmath>

#include "core/heap.h"
#include "linalg/moments.h"
#include "linalg/qr.h"
#include "linalg/symmetric.h"
#include "regression/accumulation.h"

namespace tessel {

namespace {

constexpr int kExactInterval = 50;  // steps from one scheduled exact step to the next

struct RlsRecursion {
  int t1, sampleSize, n, k;
  OwnedRows xT, yT;              // variables in rows; column s is observation t1 + s
  OwnedRows xWork, yWork;        // copies for the factorisation to consume; yWork then holds residuals
  OwnedRows xxInv;               // k x k, inverse of X'X; zero row and column for a dropped regressor
  OwnedRows xy;                  // n x k, cross-products of equation j's dependent variable with the regressors
  OwnedRows beta;                // n x k, current coefficients
  OwnedRows betaExact;           // n x k, coefficients of the latest factorisation
  OwnedRows resCross;            // n x n, cross-products of the equations' residuals
  OwnedRows covWork;             // n x n
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

void FillTransposed(RowMatrix source, int first, int observations, int variables, RowMatrix out) {
  for (int s = 0; s < observations; ++s)
    for (int i = 0; i < variables; ++i) out[i][s] = source[first + s][i];
}

// Least squares over the first `observations` columns.
QrCode Factorise(RlsRecursion &r, int observations, RowMatrix beta) {
  MatCopy(r.xWork.get(), r.xT.get(), r.k, observations);
  MatCopy(r.yWork.get(), r.yT.get(), r.n, observations);
  const QrOutputs out = {.b = ViewOf(beta, r.n, r.k), .xtxInv = ViewOf(r.xxInv.get(), r.k, r.k), .xtx = {}};
  return MatOlsQr(ViewOf(r.xWork.get(), r.k, observations), ViewOf(r.yWork.get(), r.n, observations), out).code;
}

// The state after the first k observations; false without memory.
bool StartUp(RlsRecursion &r, RowMatrix y, RowMatrix x) {
  FillTransposed(x, r.t1, r.sampleSize, r.k, r.xT.get());
  FillTransposed(y, r.t1, r.sampleSize, r.n, r.yT.get());
  MatZero(r.beta.get(), r.n, r.k);
  MatZero(r.betaExact.get(), r.n, r.k);
  MatZero(r.resCross.get(), r.n, r.n);
  MatCrossRows2(ViewOf(r.yT.get(), r.n, r.k), ViewOf(r.xT.get(), r.k, r.k), 0, r.k - 1, ViewOf(r.xy.get(), r.n, r.k));
  return Factorise(r, r.k, r.beta.get()) != QrNoMemory;
}

// Solves the sample up to column s anew. Returns q = 1 + x'(X'X)^-1 x, whose inverse includes observation s already,
// or 0 without memory.
double ExactStep(RlsRecursion &r, int s) {
  const QrCode code = Factorise(r, s + 1, r.betaExact.get());
  if (code == QrNoMemory) return 0.0;
  for (int j = 0; j < r.n; ++j) LinearResiduals(r.yT[j], r.xT.get(), r.k, r.betaExact[j], 0, s, r.yWork[j]);
  MatCrossRows(ViewOf(r.yWork.get(), r.n, s + 1), 0, s, ViewOf(r.resCross.get(), r.n, r.n));
  r.needExact = code != QrFullRank;
  r.exact = true;
  return 1.0 + QuadFormColumn(s, ViewOf(r.xT.get(), r.k, s + 1), ViewOf(r.xxInv.get(), r.k, r.k));
}

// Adds observation s by a rank-one update, or exactly where that is due or the update breaks down. Returns q.
double UpdateInverse(RlsRecursion &r, int s, bool exactDue) {
  if (r.needExact || exactDue) return ExactStep(r, s);
  r.exact = false;
  const double q = InverseRankOneUpdate(r.xT.get(), r.xxInv.get(), r.k, s, r.gain.get());
  return q <= 0.0 ? ExactStep(r, s) : q;
}

// y - x'beta of equation j at this step's observation.
double ResidualAt(const RlsRecursion &r, double y, const double *beta) {
  double fit = 0.0;
  for (int i = 0; i < r.k; ++i) fit += r.regressor[i] * beta[i];
  return y - fit;
}

double ResidualSumOfSquares(const RlsRecursion &r, int j, int s, double standardised, const double *rssRow) {
  if (!r.exact) return standardised * standardised + rssRow[r.t1 + s - 1];
  LinearResiduals(r.yT[j], r.xT.get(), r.k, r.beta[j], 0, s, r.yWork[j]);
  return SumOfSquares(r.yWork[j], s + 1);
}

// Equation j's innovation, new coefficients and statistics. f: the innovations' scale.
void UpdateEquation(RlsRecursion &r, int j, int s, double f, const RlsPaths &paths) {
  const int t = r.t1 + s;
  const double y = r.yT[j][s];
  double *xy = r.xy[j], *beta = r.beta[j];
  const double innovation = ResidualAt(r, y, beta);
  for (int i = 0; i < r.k; ++i) xy[i] += y * r.regressor[i];
  SymmetricTimes(r.xxInv.get(), r.k, xy, beta);
  const double standardised = innovation / f;
  r.scaled[j] = standardised;

  if (paths.residual != nullptr) paths.residual[j][t] = ResidualAt(r, y, beta);
  if (paths.standardised != nullptr) paths.standardised[j][t] = standardised;
  if (paths.innovation != nullptr) paths.innovation[j][t] = innovation;
  if (paths.rss != nullptr) paths.rss[j][t] = ResidualSumOfSquares(r, j, s, standardised, paths.rss[j]);
  if (paths.beta != nullptr)
    for (int i = 0; i < r.k; ++i) paths.beta[static_cast<std::int64_t>(j) * r.k + i][t] = beta[i];
}

void StoreInverseDiagonal(const RlsRecursion &r, int t, RowMatrix path) {
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
  double logDet = 0.0;
  const Status inverted = MatInvertSpd(ViewOf(r.covWork.get(), r.n, r.n), &logDet);
  return Succeeded(inverted) || inverted == Status::NoMemory ? -0.5 * logDet : MissingValue();
}

void FillMissing(const RlsPaths &paths, int n, int k, int columns) {
  const std::int64_t coefficients = static_cast<std::int64_t>(n) * k;
  const struct {
    RowMatrix table;
    std::int64_t rows;
  } tables[] = {{paths.beta, coefficients}, {paths.inverseDiag, k}, {paths.standardised, n},
                {paths.innovation, n},      {paths.rss, n},         {paths.residual, n}};
  for (const auto &[table, rows] : tables)
    if (table != nullptr) MatFillMissing(table, static_cast<int>(rows), columns);
  for (int t = 0; paths.halfLogDet != nullptr && t < columns; ++t) SetMissing(paths.halfLogDet + t);
}

}  // namespace

int RlsEstimate(RowMatrix y, RowMatrix x, int t1, int t2, int tExact, int n, int k, const RlsPaths &paths) {
  RlsRecursion r(t1, t2 - t1 + 1, n, k);
  if (!r.Complete() || k >= r.sampleSize) return 0;
  FillMissing(paths, n, k, t2 + 1);
  if (!StartUp(r, y, x)) return 0;

  int pass = 0;
  for (int s = k; s < r.sampleSize; ++s, ++pass) {
    const int t = t1 + s;
    for (int i = 0; i < k; ++i) r.regressor[i] = r.xT[i][s];
    const double q = UpdateInverse(r, s, t == tExact || pass % kExactInterval == 0);
    if (q <= 0.0) return 0;
    const double f = std::sqrt(q);
    for (int j = 0; j < n; ++j) UpdateEquation(r, j, s, f, paths);
    if (paths.inverseDiag != nullptr) StoreInverseDiagonal(r, t, paths.inverseDiag);
    if (paths.halfLogDet != nullptr) paths.halfLogDet[t] = HalfLogDet(r);
  }
  return 1;
}

}  // namespace tessel
