// Dynamic and h-step forecasts of a linear system.
#include "forecast/dynamic_forecast.h"

#include <algorithm>

namespace tessel {

namespace {

// One dynamic pass over a to b, with standard errors of the steps from firstStep on at least. common: not read with
// identities, nor without standard errors.
int ForecastWithSE(const ForecastModel &model, const ForecastUncertainty &uncertainty, const AnalyticErrors &common,
                   int a, int b, int firstStep, RowMatrix se) {
  ForecastRecursion(model, a, b, PlainPass);
  if (se == nullptr) return 1;
  return model.rows.nIdent == 0 ? AnalyticForecastSE(common, model, uncertainty, a, b, firstStep, se)
                                : NumericForecastSE(model, uncertainty, a, b, se);
}

void CopyColumns(RowMatrix to, int toColumn, RowMatrix from, int fromColumn, int rows, int columns) {
  for (int r = 0; r < rows; ++r) std::copy_n(from[r] + fromColumn, columns, to[r] + toColumn);
}

// The first pass gives forecasts of 1 to h steps; then each column has a pass of its own, of which the last step
// counts.
int HStepForecast(const ForecastModel &model, const ForecastUncertainty &uncertainty, const AnalyticErrors &common,
                  int t1, int t2, int h, RowMatrix se) {
  const int results = model.rows.Results(), span = t2 - t1 + 1;
  const RowMatrix rows = model.rows.table.get();
  const OwnedRows actual(results, span), forecasts(results, span), passErrors(results, h);
  if (!actual || !forecasts || !passErrors) return 0;

  CopyColumns(actual.get(), 0, rows, t1, results, span);
  if (!ForecastWithSE(model, uncertainty, common, t1, t1 + h - 1, 0, se)) return 0;
  CopyColumns(forecasts.get(), 0, rows, t1, results, h);
  int done = 1;
  for (int c = h; c < span; ++c) {
    const int t = t1 + c, first = t - h + 1;
    CopyColumns(rows, t1, actual.get(), 0, results, c + 1);
    done = ForecastWithSE(model, uncertainty, common, first, t, h - 1, se == nullptr ? nullptr : passErrors.get());
    if (!done) break;
    CopyColumns(forecasts.get(), c, rows, t, results, 1);
    if (se != nullptr) CopyColumns(se, c, passErrors.get(), h - 1, results, 1);
  }
  if (!done) return 0;
  CopyColumns(rows, t1, forecasts.get(), 0, results, span);
  return 1;
}

}  // namespace

int Forecast(const ForecastModel &model, const ForecastUncertainty &uncertainty, int t1, int t2, int h, RowMatrix se) {
  const int before = model.base - 1;
  AnalyticErrors common;
  OwnedRows known;  // of the observation before the forecasts, which derivatives with identities write to
  if (se != nullptr && model.rows.nIdent == 0) {
    common = NewAnalyticErrors(model, uncertainty, h > 0 ? h : t2 - t1 + 1);
    if (!common) return 0;
  } else if (se != nullptr) {
    known = SaveObservations(model, before, 1);
    if (!known) return 0;
  }
  const int done = h > 0 ? HStepForecast(model, uncertainty, common, t1, t2, h, se)
                         : ForecastWithSE(model, uncertainty, common, t1, t2, 0, se);
  if (known) RestoreObservations(model, known.get(), before, 1);
  return done;
}

}  // namespace tessel
