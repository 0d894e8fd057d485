// Dynamic and h-step forecasts of a linear system.
#include "forecast/dynamic_forecast.h"

namespace tessel {

namespace {

// A forecast under way: the model, and what its passes need for standard errors.
struct Passes {
  ForecastModel &model;
  const ForecastUncertainty &uncertainty;
  AnalyticErrors analytic;             // without identities
  DisturbedObservations observations;  // with identities
};

// One dynamic pass, with standard errors of the steps from firstStep on at least where `se` is wanted.
Status ForecastWithSE(Passes &p, PassColumns pass, int firstStep, Matrix se) {
  ForecastRecursion(p.model, pass.a, pass.b, PlainPass);
  if (!se) return Status::Ok;
  return p.model.rows.nIdent == 0 ? AnalyticForecastSE(p.analytic, p.model, p.uncertainty, pass, firstStep, se)
                                  : NumericForecastSE(p.observations, p.model, p.uncertainty, pass, se);
}

// The first pass gives forecasts of 1 to h steps; then each column has a pass of its own, of which the last step
// counts.
Status HStepForecast(Passes &p, PassColumns span, int h, Matrix se) {
  const Matrix rows = p.model.rows.results.Columns(span.a, span.Count());  // column c: forecast column c
  const OwnedMatrix actual = OwnedMatrix::Clone(rows), forecasts(rows.rows, rows.columns), passErrors(rows.rows, h);
  if (!actual || !forecasts || !passErrors) return Status::NoMemory;

  Status status = ForecastWithSE(p, {span.a, span.a + h - 1}, 0, se);
  if (Failed(status)) return status;
  Copy(forecasts.View().Columns(0, h), rows.Columns(0, h));
  for (int c = h; c < span.Count(); ++c) {
    const int t = span.a + c;
    Copy(rows.Columns(0, c + 1), actual.View().Columns(0, c + 1));
    status = ForecastWithSE(p, {t - h + 1, t}, h - 1, se ? passErrors.View() : Matrix{});
    if (Failed(status)) return status;
    Copy(forecasts.View().Columns(c, 1), rows.Columns(c, 1));
    if (se) Copy(se.Columns(c, 1), passErrors.View().Columns(h - 1, 1));
  }
  Copy(rows, forecasts);
  return Status::Ok;
}

}  // namespace

Status Forecast(ForecastModel &model, const ForecastUncertainty &uncertainty, PassColumns span, int h, Matrix se) {
  Passes passes = {model, uncertainty, {}, {}};
  const int steps = h > 0 ? h : span.Count();
  if (se) {
    const Status status = model.rows.nIdent == 0 ? NewAnalyticErrors(model, uncertainty, steps, &passes.analytic)
                                                 : passes.observations.Open(model, steps);
    if (Failed(status)) return status;
  }
  return h > 0 ? HStepForecast(passes, span, h, se) : ForecastWithSE(passes, span, 0, se);
}

}  // namespace tessel
