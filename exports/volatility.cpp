// FnEgarchVar, FnFilterMS, FnGarchVar, FnSmoothMS.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdint>

#include "frame.h"
#include "volatility/garch.h"
#include "volatility/markov.h"

using namespace tessel;

namespace {

// A T x 1 result in a record of its own, which takes the place of an output's value only when all work is done.
struct SeparateResult {
  MorvValue record{};
  OutputView cells;

  explicit SeparateResult(int rows) {
    record.type = MORV_INTEGER;
    cells = MatrixResult(&record, rows, 1);
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
  auto *varianceTarget = static_cast<MorvValue *>(args[first].data);
  auto *residualTarget = static_cast<MorvValue *>(args[first + 1].data);
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
bool IsSeries(const MatrixView &y, const MatrixView &intercept) {
  return (y.columns == 1 || y.rows == 0) && intercept.Length() >= y.rows;
}

// The length of a coefficient row, or -1 for columns without a row.
int CoefficientCount(const MatrixView &row) { return row.columns > 0 && row.rows < 1 ? -1 : row.columns; }

}  // namespace

void FnGarchVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_DOUBLE, args, 6, 8);
  CheckTypes(MORV_ARRAY, args, 9, 10);
  const MatrixView y = MatrixAt(args, 0), intercept = MatrixAt(args, 1), coefficients = MatrixAt(args, 2);
  GarchModel model;
  model.garchTerms = IntegerAt(args, 3);
  model.archTerms = IntegerAt(args, 4);
  model.coefficients = coefficients.Flat();
  model.inMean = {IntegerAt(args, 5), DoubleAt(args, 6)};
  model.shift = DoubleAt(args, 7);
  model.threshold = DoubleAt(args, 8);

  const int p = model.garchTerms, q = model.archTerms;
  const bool usable = p >= 0 && q >= 0 && coefficients.Length() >= std::int64_t{1} + std::max(p, q) + p;
  if (!usable || y.rows < 1 || !IsSeries(y, intercept)) return ReturnIntegerField(rtn, 0);

  SeparateResult h(y.rows), e(y.rows);
  const bool succeeded = !h.cells.failed && !e.cells.failed &&
                         GarchVariances(model, y.Flat(), intercept.Flat(), y.rows, h.cells.Flat(), e.cells.Flat()) != 0;
  ReturnPaths(rtn, args, 9, succeeded, h, e);
}

void FnEgarchVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 4);
  CheckTypes(MORV_MATRIX, args, 5, 6);
  CheckTypes(MORV_INTEGER, args, 7, 7);
  CheckTypes(MORV_DOUBLE, args, 8, 8);
  CheckTypes(MORV_ARRAY, args, 9, 10);
  const MatrixView y = MatrixAt(args, 0), intercept = MatrixAt(args, 1);
  const MatrixView news = MatrixAt(args, 5), lags = MatrixAt(args, 6);
  EgarchModel model;
  model.sign = DoubleAt(args, 2);
  model.scale = DoubleAt(args, 3);
  model.mean = DoubleAt(args, 4);
  model.newsTerms = CoefficientCount(news);
  model.news = news.Flat();
  model.lagTerms = CoefficientCount(lags);
  model.lags = lags.Flat();
  model.inMean = {IntegerAt(args, 7), DoubleAt(args, 8)};
  if (model.newsTerms < 0 || model.lagTerms < 0 || !IsSeries(y, intercept)) return ReturnIntegerField(rtn, 0);

  SeparateResult l(y.rows), e(y.rows);
  const bool succeeded = !l.cells.failed && !e.cells.failed;
  if (succeeded) EgarchVariances(model, y.Flat(), intercept.Flat(), y.rows, l.cells.Flat(), e.cells.Flat());
  ReturnPaths(rtn, args, 9, succeeded, l, e);
}

void FnFilterMS(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const MatrixView density = MatrixAt(args, 0);
  const int observations = density.rows, regimes = density.columns;
  MorvLibCheckMatrixSize(args, 1, 1, regimes, regimes);
  MorvLibCheckMatrixSize(args, 2, 2, 1, regimes);
  const MatrixView transition = MatrixAt(args, 1), prior = MatrixAt(args, 2);

  const OutputView likelihood = OutputAt(args, 3, observations, 1);
  const OutputView filtered = OptionalOutputAt(args, 4, observations, regimes);
  MatFillMissing(likelihood.cells, likelihood.rows, likelihood.columns);
  MatFillMissing(filtered.cells, filtered.rows, filtered.columns);
  if (likelihood.failed || filtered.failed) return;
  MarkovFilter(density.cells, transition.cells, prior.Flat(), observations, regimes, likelihood.Flat(), filtered.cells);
  ReturnIntegerField(rtn, 1);
}

void FnSmoothMS(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_ARRAY, args, 2, 3);
  const MatrixView filtered = MatrixAt(args, 0);
  const int observations = filtered.rows, regimes = filtered.columns;
  MorvLibCheckMatrixSize(args, 1, 1, regimes, regimes);
  if (observations < 1) return;

  const OutputView smoothed = OutputAt(args, 2, observations, regimes);
  const OutputView transitions = OutputAt(args, 3, regimes, regimes);
  MatFillMissing(smoothed.cells, smoothed.rows, smoothed.columns);
  MatFillMissing(transitions.cells, transitions.rows, transitions.columns);
  if (smoothed.failed || transitions.failed) return;
  const MatrixView transition = MatrixAt(args, 1);
  MarkovSmoother(filtered.cells, transition.cells, observations, regimes, smoothed.cells, transitions.cells);
  ReturnIntegerField(rtn, 1);
}
