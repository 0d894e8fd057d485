// Recursive instrumental variables.
#include "regression/riv.h"

#include <cmath>

#include "core/heap.h"
#include "linalg/dot_product.h"
#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/accumulation.h"

namespace tessel {

namespace {

constexpr int kExactInterval = 50;  // steps from one fresh inverse to the next

// Two orders of the regressors meet here: that of z's rows, endogenous first, in `beta` and the paths; and the inside
// order, exogenous first, in `xxInv` and `rhs`.
struct RivRecursion {
  RowMatrix z;
  int t1, a, b, k, instrumentCount, rowCount;
  RowMatrix regressors;          // rows of z in their own order
  RowMatrix instruments;         // rows of z: exogenous regressors, additional instruments
  OwnedRows moments;             // rowCount square, cross-products over the sample so far
  OwnedRows x1Inv;               // a x a, inverse cross-products of the exogenous regressors
  OwnedRows zzInv;               // inverse cross-products of the instruments
  OwnedRows proj;                // b rows: cross-products of endogenous regressors and instruments, times zzInv
  OwnedRows xxInv;               // k x k, inverse moments of the fitted regressors
  OwnedBlock<double> inside;     // k, an observation of the regressors in the inside order
  OwnedBlock<double> rhs;        // k
  OwnedBlock<double> solution;   // k, coefficients in the inside order
  OwnedBlock<double> beta;       // k
  OwnedBlock<double> gain;       // one value an instrument
  OwnedBlock<double> residuals;  // one value an observation

  RivRecursion(const RivData &data, int first, int last)
      : z(data.z),
        t1(first),
        a(data.k - data.nEndog + 1),
        b(data.nEndog - 1),
        k(data.k),
        instrumentCount(a + data.m),
        rowCount(data.nEndog + instrumentCount),
        regressors(z + 1),
        instruments(z + data.nEndog),
        moments(rowCount, rowCount),
        x1Inv(a, a),
        zzInv(instrumentCount, instrumentCount),
        proj(b, instrumentCount),
        xxInv(k, k),
        inside(k),
        rhs(k),
        solution(k),
        beta(k),
        gain(instrumentCount),
        residuals(static_cast<std::int64_t>(last) - first + 1) {}

  bool Complete() const {
    return moments && x1Inv && zzInv && (proj || b == 0) && xxInv && inside && rhs && solution && beta && gain &&
           residuals;
  }

  int OutsidePosition(int p) const { return p < a ? b + p : p - a; }

  // Cross-products of variable `row` of z with the instruments, and with the exogenous regressors ahead of them.
  const double *WithInstruments(int row) const { return moments[row] + (rowCount - instrumentCount); }
};

int InvertCrossProducts(RowMatrix rows, int n, int first, int last, RowMatrix out) {
  const Matrix result = ViewOf(out, n, n);
  MatCrossRows(ViewOf(rows, n, last + 1), first, last, result);
  // Without memory the inverse is missing, and so are the results.
  const Status inverted = MatInvertSpd(result);
  return Succeeded(inverted) || inverted == Status::NoMemory;
}

// Brings the moments and the two inverses to observation t. False when an inverse fails.
bool AdvanceMoments(RivRecursion &r, int t, int pass) {
  if (pass % kExactInterval == 0) {
    if (!InvertCrossProducts(r.instruments, r.a, r.t1, t, r.x1Inv.get()) ||
        !InvertCrossProducts(r.instruments, r.instrumentCount, r.t1, t, r.zzInv.get()))
      return false;
    if (pass == 0)
      MatCrossRows(ViewOf(r.z, r.rowCount, t + 1), r.t1, t, ViewOf(r.moments.get(), r.rowCount, r.rowCount));
  } else {
    InverseRankOneUpdate(r.instruments, r.x1Inv.get(), r.a, t, r.gain.get());
    InverseRankOneUpdate(r.instruments, r.zzInv.get(), r.instrumentCount, t, r.gain.get());
  }
  if (pass > 0)
    for (int i = 0; i < r.rowCount; ++i)
      for (int j = 0; j <= i; ++j) r.moments[j][i] = r.moments[i][j] += r.z[i][t] * r.z[j][t];
  return true;
}

// Two-stage least squares from the moments: xxInv and beta. False when the fitted regressors are singular.
bool Solve(RivRecursion &r) {
  const int a = r.a, b = r.b, instrumentCount = r.instrumentCount;
  MatCopy(r.xxInv.get(), r.x1Inv.get(), a, a);
  for (int e = 0; e < b; ++e) {
    const double *cross = r.WithInstruments(1 + e);
    SymmetricTimes(r.zzInv.get(), instrumentCount, cross, r.proj[e]);
    for (int i = 0; i < a; ++i) r.xxInv[i][a + e] = r.xxInv[a + e][i] = cross[i];
    for (int f = 0; f < b; ++f)
      r.xxInv[a + e][a + f] = DotProduct(r.proj[e], r.WithInstruments(1 + f), instrumentCount);
    r.rhs[a + e] = DotProduct(r.proj[e], r.WithInstruments(0), instrumentCount);
  }
  if (!PartitionedInverse(r.xxInv.get(), a, b)) return false;

  for (int i = 0; i < a; ++i) r.rhs[i] = r.WithInstruments(0)[i];
  SymmetricTimes(r.xxInv.get(), r.k, r.rhs.get(), r.solution.get());
  for (int p = 0; p < r.k; ++p) r.beta[r.OutsidePosition(p)] = r.solution[p];
  return true;
}

// The prediction of observation t + 1: its error, and the error over its scale from the actual regressors.
void StoreInnovation(const RivRecursion &r, int t, const RivPaths &paths) {
  double innovation = 0.0;
  LinearResiduals(r.z[0], r.regressors, r.k, r.beta.get(), t + 1, t + 1, &innovation);
  for (int p = 0; p < r.k; ++p) r.inside[p] = r.regressors[r.OutsidePosition(p)][t + 1];
  const double q = 1.0 + QuadFormColumn(0, {r.inside.get(), r.k, 1}, ViewOf(r.xxInv.get(), r.k, r.k));
  if (paths.standardised != nullptr) paths.standardised[t + 1] = innovation / std::sqrt(q);
  if (paths.innovation != nullptr) paths.innovation[t + 1] = innovation;
}

void StoreStep(RivRecursion &r, int t, int t2, const RivPaths &paths) {
  if (paths.beta != nullptr)
    for (int i = 0; i < r.k; ++i) paths.beta[i][t] = r.beta[i];
  const int observations = t - r.t1 + 1;
  double *residuals = r.residuals.get();
  if (paths.rss != nullptr || paths.residual != nullptr)
    LinearResiduals(r.z[0], r.regressors, r.k, r.beta.get(), r.t1, t, residuals);
  if (t < t2) StoreInnovation(r, t, paths);
  for (int p = 0; p < r.k && paths.inverseDiag != nullptr; ++p) {
    const double diagonal = r.xxInv[p][p];
    paths.inverseDiag[r.OutsidePosition(p)][t] = diagonal <= 0.0 ? 0.0 : diagonal;
  }
  if (paths.rss != nullptr) paths.rss[t] = SumOfSquares(residuals, observations);
  if (paths.residual != nullptr) paths.residual[t] = residuals[observations - 1];
}

void FillMissing(const RivPaths &paths, int k, int columns) {
  for (RowMatrix table : {paths.beta, paths.inverseDiag})
    if (table != nullptr) MatFillMissing(table, k, columns);
  for (double *row : {paths.standardised, paths.innovation, paths.rss, paths.residual})
    for (int t = 0; row != nullptr && t < columns; ++t) SetMissing(row + t);
}

}  // namespace

int RivEstimate(const RivData &data, int t1, int t2, int nInit, const RivPaths &paths) {
  FillMissing(paths, data.k, t2 + 1);
  RivRecursion r(data, t1, t2);
  if (!r.Complete()) return 0;
  const int observations = t2 - t1 + 1;
  if (nInit > observations) return 1;
  if (nInit < 1) return 0;  // no moments to invert

  for (int t = t1 + nInit - 1, pass = 0; t <= t2; ++t, ++pass) {
    if (!AdvanceMoments(r, t, pass) || !Solve(r)) return 0;
    StoreStep(r, t, t2, paths);
  }
  return 1;
}

int PartitionedInverse(RowMatrix matrix, int a, int b) {
  if (b < 1) return 1;
  const Matrix block = ViewOf(matrix, a + b, a + b).Block(a, b, a, b);

  // T = -P C' above, S = D + C T in the block.
  for (int i = 0; i < a; ++i)
    for (int e = 0; e < b; ++e) matrix[i][a + e] = -DotProduct(matrix[i], matrix[a + e], a);
  for (int e = 0; e < b; ++e)
    for (int f = 0; f < b; ++f)
      for (int i = 0; i < a; ++i) block[e][f] += matrix[a + e][i] * matrix[i][a + f];
  const Status inverted = MatInvertSpd(block);
  if (Failed(inverted) && inverted != Status::NoMemory) return 0;

  // S^-1 T' below, P + T S^-1 T' in the top left block, and the mirror image above.
  for (int e = 0; e < b; ++e)
    for (int i = 0; i < a; ++i) matrix[a + e][i] = DotProduct(block[e], matrix[i] + a, b);
  for (int i = 0; i < a; ++i)
    for (int l = 0; l <= i; ++l) {
      for (int e = 0; e < b; ++e) matrix[i][l] += matrix[i][a + e] * matrix[a + e][l];
      matrix[l][i] = matrix[i][l];
    }
  for (int e = 0; e < b; ++e)
    for (int i = 0; i < a; ++i) matrix[i][a + e] = matrix[a + e][i];
  return 1;
}

}  // namespace tessel
