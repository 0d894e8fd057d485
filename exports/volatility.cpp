// FnEgarchVar, FnFilterMS, FnGarchVar, FnSmoothMS.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdint>
#include <span>

#include "core/heap.h"
#include "frame.h"
#include "volatility/garch.h"
#include "volatility/markov.h"

using namespace tessel;

namespace {

// A T x 1 result in a record of its own, which takes the place of an output's value only when all work is done.
struct SeparateResult {
  MorvValue record{};
  Output path;

  explicit SeparateResult(int rows) {
    record.type = MORV_INTEGER;
    path = MatrixResult(&record, rows, 1);
  }
  void Discard() { MorvFreeByValue(&record); }
  void MoveTo(MorvValue *target) {
    MorvFreeByValue(target);
    *target = record;
  }
};

// Ends a variance export: with both paths in the targets of the positions from `first` on, or with none.
void ReturnPaths(MorvValue *rtn, MorvValue *args, int first, bool succeeded, SeparateResult &variance,
                 SeparateResult &residual) {
  MorvValue *varianceTarget = TargetAt(args, first), *residualTarget = TargetAt(args, first + 1);
  succeeded = succeeded && varianceTarget != nullptr && residualTarget != nullptr;
  if (succeeded) {
    variance.MoveTo(varianceTarget);
    residual.MoveTo(residualTarget);
  } else {
    variance.Discard();
    residual.Discard();
  }
  ReturnIntegerField(rtn, succeeded ? 1 : 0);
}

// A series of T values, possibly none, with an intercept for each.
bool IsSeries(ConstMatrix y, ConstMatrix intercept) {
  return (y.columns == 1 || y.rows == 0) && intercept.Length() >= y.rows;
}

// The first row of a matrix of coefficients.
std::span<const double> FirstRow(ConstMatrix m) { return m.Empty() ? std::span<const double>{} : m.Row(0); }

VarianceInMean InMean(int kind, double delta) {
  switch (kind) {
    case 1: return {VarianceTerm::Variance, delta};
    case 2: return {VarianceTerm::StandardDeviation, delta};
    case 3: return {VarianceTerm::LogVariance, delta};
    default: return {};
  }
}

}  // namespace

void FnGarchVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_DOUBLE, args, 6, 8);
  CheckTypes(MORV_ARRAY, args, 9, 10);
  const ConstMatrix y = MatrixAt(args, 0), intercept = MatrixAt(args, 1), coefficients = MatrixAt(args, 2);
  const int p = IntegerAt(args, 3), q = IntegerAt(args, 4);
  const bool usable = p >= 0 && q >= 0 && coefficients.Length() >= std::int64_t{1} + std::max(p, q) + p;
  if (!usable || y.rows < 1 || !IsSeries(y, intercept)) return ReturnIntegerField(rtn, 0);

  // One cell that is not read, A_1 to A_max(p, q), beta_1 to beta_p; alpha_j is A_j - beta_j, and A_j behind beta_p.
  const double *sum = coefficients.cells + 1, *garch = sum + std::max(p, q);
  OwnedBlock<double> arch(q);
  for (int j = 0; arch && j < q; ++j) arch[j] = j < p ? sum[j] - garch[j] : sum[j];
  GarchModel model;
  model.arch = {arch.get(), static_cast<std::size_t>(q)};
  model.garch = {garch, static_cast<std::size_t>(p)};
  model.inMean = InMean(IntegerAt(args, 5), DoubleAt(args, 6));
  model.asymmetryCentre = DoubleAt(args, 7);
  model.leverage = DoubleAt(args, 8);

  SeparateResult h(y.rows), e(y.rows);
  const bool succeeded = arch && !h.path.failed && !e.path.failed;
  if (succeeded) GarchVariances(model, {y.Flat(), intercept.Flat()}, {h.path.Flat(), e.path.Flat()});
  ReturnPaths(rtn, args, 9, succeeded, h, e);
}

void FnEgarchVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 4);
  CheckTypes(MORV_MATRIX, args, 5, 6);
  CheckTypes(MORV_INTEGER, args, 7, 7);
  CheckTypes(MORV_DOUBLE, args, 8, 8);
  CheckTypes(MORV_ARRAY, args, 9, 10);
  const ConstMatrix y = MatrixAt(args, 0), intercept = MatrixAt(args, 1);
  const ConstMatrix news = MatrixAt(args, 5), persistence = MatrixAt(args, 6);
  const bool usable = (news.columns == 0 || news.rows > 0) && (persistence.columns == 0 || persistence.rows > 0);
  if (!usable || !IsSeries(y, intercept)) return ReturnIntegerField(rtn, 0);
  EgarchModel model;
  model.news = FirstRow(news);
  model.persistence = FirstRow(persistence);
  model.signEffect = DoubleAt(args, 2);
  model.sizeEffect = DoubleAt(args, 3);
  model.expectedSize = DoubleAt(args, 4);
  model.inMean = InMean(IntegerAt(args, 7), DoubleAt(args, 8));

  SeparateResult l(y.rows), e(y.rows);
  const bool succeeded = !l.path.failed && !e.path.failed;
  if (succeeded && Failed(EgarchVariances(model, {y.Flat(), intercept.Flat()}, {l.path.Flat(), e.path.Flat()}))) {
    FillZero(l.path);
    FillZero(e.path);
  }
  ReturnPaths(rtn, args, 9, succeeded, l, e);
}

void FnFilterMS(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const ConstMatrix density = MatrixAt(args, 0);
  const int observations = density.rows, regimes = density.columns;
  MorvLibCheckMatrixSize(args, 1, 1, regimes, regimes);
  MorvLibCheckMatrixSize(args, 2, 2, 1, regimes);
  const ConstMatrix transition = MatrixAt(args, 1), prior = MatrixAt(args, 2);

  const Output likelihood = OutputAt(args, 3, observations, 1);
  const Output filtered = OptionalOutputAt(args, 4, observations, regimes);
  const bool allocated = !likelihood.failed && !filtered.failed;
  if (!allocated || Failed(MarkovFilter(density, transition, prior.Flat(), likelihood.Flat(), filtered))) {
    FillMissing(likelihood);
    FillMissing(filtered);
  }
  if (allocated) ReturnIntegerField(rtn, 1);
}

void FnSmoothMS(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_ARRAY, args, 2, 3);
  const ConstMatrix filtered = MatrixAt(args, 0);
  const int observations = filtered.rows, regimes = filtered.columns;
  MorvLibCheckMatrixSize(args, 1, 1, regimes, regimes);
  if (observations < 1) return;
  const ConstMatrix transition = MatrixAt(args, 1);

  const Output smoothed = OutputAt(args, 2, observations, regimes);
  const Output moves = OutputAt(args, 3, regimes, regimes);
  const bool allocated = !smoothed.failed && !moves.failed;
  if (!allocated || Failed(MarkovSmoother(filtered, transition, smoothed, moves))) {
    FillMissing(smoothed);
    FillMissing(moves);
  }
  if (allocated) ReturnIntegerField(rtn, 1);
}
