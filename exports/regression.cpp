// FnGLScovariance, FnInstabilityTest, FnJackknifeHCSE, FnKroneckerSel, FnRalsForecast, FnRalsFunc, FnRivEst, FnRlsEst,
// FnSeasonalRsq.
#include <tessel/tessel.h>

#include <algorithm>
#include <initializer_list>
#include <limits>

#include "core/heap.h"
#include "frame.h"
#include "linalg/kronecker.h"
#include "regression/instability.h"
#include "regression/rals.h"
#include "regression/riv.h"
#include "regression/rls.h"
#include "regression/robust_covariance.h"
#include "regression/seasonal_rsq.h"

using namespace tessel;

namespace {

constexpr int kMaxInt = std::numeric_limits<int>::max();

bool AnyFailed(std::initializer_list<OutputView> outputs) {
  return std::any_of(outputs.begin(), outputs.end(), [](const OutputView &output) { return output.failed; });
}

}  // namespace

void FnGLScovariance(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 2);
  const MatrixView a = MatrixAt(args, 0), b = MatrixAt(args, 1);
  const bool autocovariances = IntegerAt(args, 2) != 0;
  const std::int64_t moments = static_cast<std::int64_t>(a.columns) * b.columns;
  if (b.rows < a.rows || moments > kMaxInt) return;

  const int size = static_cast<int>(moments);
  const OutputView result = MatrixResult(rtn, size, size);
  if (!result.Empty()) MomentCovariance(a.cells, a.columns, b.cells, b.columns, a.rows, autocovariances, result.cells);
}

void FnInstabilityTest(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const MatrixView x = MatrixAt(args, 0), e = MatrixAt(args, 1);
  const double rss = DoubleAt(args, 2);
  if (x.Empty() || x.columns == kMaxInt || e.Length() < x.rows) return;

  const int scores = x.columns + 1;
  const OwnedRows scoreCross(scores, scores), cumCross(scores, scores);
  const OwnedBlock<double> score(scores), cumScore(scores);
  double joint = -1.0;
  if (scoreCross && cumCross && score && cumScore) {
    const OutputView statistics = OutputAt(args, 3, 1, scores);
    const InstabilityWork work = {scoreCross.get(), cumCross.get(), score.get(), cumScore.get()};
    if (!statistics.failed) joint = InstabilityTest(x.cells, e.Flat(), rss, x.rows, x.columns, work, statistics.Flat());
  }
  ReturnDouble(rtn, joint);
}

void FnJackknifeHCSE(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  const MatrixView x = MatrixAt(args, 0), e = MatrixAt(args, 1), xxInv = MatrixAt(args, 2);
  const int k = x.columns;
  if (x.Empty() || e.Length() < x.rows || xxInv.rows < k || xxInv.columns < k) return;

  const OwnedRows meat(k, k), covariance(k, k);
  if (!meat || !covariance) return;
  if (!JackknifeCovariance(x.cells, e.Flat(), xxInv.cells, x.rows, k, meat.get(), covariance.get())) {
    MatrixResult(rtn, 0, 0);
    return;
  }
  const OutputView result = MatrixResult(rtn, k, k);
  MatCopy(result.cells, covariance.get(), k, k);
}

void FnKroneckerSel(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 3);
  const MatrixView a = MatrixAt(args, 0), b = MatrixAt(args, 1);
  const auto select = [](const MatrixView &cells, int aSize, int bSize) {
    const std::int64_t size = static_cast<std::int64_t>(aSize) * bSize;
    return Selection{cells.Flat(), cells.Empty() ? size : cells.Length(), size};
  };
  const Selection rows = select(MatrixAt(args, 2), a.rows, b.rows);
  const Selection columns = select(MatrixAt(args, 3), a.columns, b.columns);
  if (rows.count > kMaxInt || columns.count > kMaxInt || !rows.Valid() || !columns.Valid()) return;

  const OutputView result = MatrixResult(rtn, static_cast<int>(rows.count), static_cast<int>(columns.count));
  if (!result.Empty())
    KroneckerSelect(ViewOf(a.cells, a.rows, a.columns), ViewOf(b.cells, b.rows, b.columns), rows, columns,
                    ViewOf(result.cells, result.rows, result.columns));
}

namespace {

// Arguments 0 to 4 of the two RALS exports. False when they do not fit together.
bool RalsModelAt(MorvValue *args, RalsModel *model) {
  const MatrixView theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  const int lagFirst = IntegerAt(args, 3), lagLast = IntegerAt(args, 4);
  const std::int64_t lagCount = std::max<std::int64_t>(static_cast<std::int64_t>(lagLast) - lagFirst + 1, 0);
  if (x.rows != y.rows || x.columns < 1 || y.columns != 1) return false;
  if (lagLast >= y.rows || (lagCount > 0 && lagFirst < 1) || theta.Length() != x.columns + lagCount) return false;

  model->theta = theta.Flat();
  model->y = y.cells;
  model->x = x.cells;
  model->k = x.columns;
  model->lagFirst = lagFirst;
  model->lagCount = static_cast<int>(lagCount);
  model->start = std::max(lagLast, 0);
  model->last = y.rows - 1;
  return true;
}

}  // namespace

void FnRalsForecast(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_MATRIX, args, 6, 6);
  CheckTypes(MORV_ARRAY, args, 7, 8);
  RalsModel model;
  if (!RalsModelAt(args, &model)) return;
  const int horizon = IntegerAt(args, 5), parameters = model.ParameterCount();
  const MatrixView parCov = MatrixAt(args, 6);
  if (horizon < 0 || horizon > model.last + 1 - model.start) return;
  if (parCov.rows < parameters || parCov.columns < parameters) return;

  const OutputView errors = OutputAt(args, 7, horizon, 1), scales = OutputAt(args, 8, horizon, 1);
  if (!AnyFailed({errors, scales}))
    ReturnDouble(rtn, RalsForecast(model, horizon, parCov.cells, errors.cells, scales.cells));
}

void FnRalsFunc(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 4);
  CheckTypes(MORV_ARRAY, args, 5, 5);
  RalsModel model;
  if (!RalsModelAt(args, &model)) return;

  const int parameters = model.ParameterCount();
  const OutputView residuals = OutputAt(args, 5, model.last + 1, 1);
  const OutputView gradient = OptionalOutputAt(args, 6, parameters, 1);
  const OutputView matrix = OptionalOutputAt(args, 7, parameters, parameters);
  if (!AnyFailed({residuals, gradient, matrix}))
    ReturnDouble(rtn, RalsObjective(model, residuals.Flat(), gradient.cells, matrix.cells));
}

void FnRivEst(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 6);
  const MatrixView z = MatrixAt(args, 0);
  const RivData data = {z.cells, IntegerAt(args, 1), IntegerAt(args, 2), IntegerAt(args, 3)};
  const int t1 = IntegerAt(args, 4), t2 = IntegerAt(args, 5), nInit = IntegerAt(args, 6);
  if (t2 < t1 || data.nEndog < 1 || data.k < 1 || data.m < 1 || t2 >= z.columns) return;
  if (static_cast<std::int64_t>(data.k) + data.m + 1 > z.rows || t1 < 0 || data.k < data.nEndog - 1) return;

  const int columns = t2 + 1;
  const OutputView beta = OptionalOutputAt(args, 7, data.k, columns);
  const OutputView inverseDiag = OptionalOutputAt(args, 8, data.k, columns);
  const OutputView standardised = OptionalOutputAt(args, 9, 1, columns);
  const OutputView innovation = OptionalOutputAt(args, 10, 1, columns);
  const OutputView rss = OptionalOutputAt(args, 11, 1, columns);
  const OutputView residual = OptionalOutputAt(args, 12, 1, columns);
  const bool failed = AnyFailed({beta, inverseDiag, standardised, innovation, rss, residual});
  const RivPaths paths = {beta.cells,        inverseDiag.cells, standardised.Flat(),
                          innovation.Flat(), rss.Flat(),        residual.Flat()};
  ReturnIntegerField(rtn, failed ? 0 : RivEstimate(data, t1, t2, nInit, paths));
}

void FnRlsEst(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 4);
  const MatrixView y = MatrixAt(args, 0), x = MatrixAt(args, 1);
  const int t1 = IntegerAt(args, 2), t2 = IntegerAt(args, 3), tExact = IntegerAt(args, 4);
  const int n = y.columns, k = x.columns;
  const std::int64_t coefficients = static_cast<std::int64_t>(n) * k;
  if (t2 < t1 || t1 < 0 || y.rows <= t2 || x.rows <= t2 || coefficients > kMaxInt) return;

  const int columns = t2 + 1;
  const OutputView beta = OptionalOutputAt(args, 5, static_cast<int>(coefficients), columns);
  const OutputView inverseDiag = OptionalOutputAt(args, 6, k, columns);
  const OutputView standardised = OptionalOutputAt(args, 7, n, columns);
  const OutputView innovation = OptionalOutputAt(args, 8, n, columns);
  const OutputView rss = OptionalOutputAt(args, 9, n, columns);
  const OutputView residual = OptionalOutputAt(args, 10, n, columns);
  const OutputView halfLogDet = OptionalOutputAt(args, 11, 1, columns);
  const bool failed = AnyFailed({beta, inverseDiag, standardised, innovation, rss, residual, halfLogDet});
  const RlsPaths paths = {beta.cells, inverseDiag.cells, standardised.cells, innovation.cells,
                          rss.cells,  residual.cells,    halfLogDet.Flat()};
  ReturnIntegerField(rtn, failed ? 0 : RlsEstimate(y.cells, x.cells, t1, t2, tExact, n, k, paths));
}

void FnSeasonalRsq(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const MatrixView y = MatrixAt(args, 0);
  const int seasons = IntegerAt(args, 1);
  const double rss = DoubleAt(args, 2);
  if (y.rows < 1 || y.columns != 1 || seasons < 2) return;

  const OutputView means = OutputAt(args, 3, 1, seasons);
  if (!means.failed) ReturnDouble(rtn, SeasonalRsq(y.Flat(), y.rows, seasons, rss, means.Flat()));
}
