// The forecast recursion.
#include "forecast/recursion.h"

namespace tessel {

void PutEndogenous(ForecastModel &model, int t, int observation) {
  model.workspace->PutRows(model.rows.results.Block(0, model.rows.nY, t, 1), 0, observation);
}

void GetIdentities(ForecastModel &model, int t, int observation) {
  const ForecastRows &rows = model.rows;
  model.workspace->GetRows(rows.results.Block(rows.nY, rows.nIdent, t, 1), model.workspace->FirstAdded(), observation);
}

void ForecastRecursion(ForecastModel &model, int a, int b, PassStart start) {
  const ForecastRows &rows = model.rows;
  for (int t = a; t <= b; ++t) {
    ForecastStep(rows, model.piColumns, rows.nX, t);
    if (rows.nIdent == 0) continue;

    const int observation = model.base + (t - a);
    PutEndogenous(model, t, observation);
    if (Succeeded(model.workspace->Run(model.base + start, observation))) {
      GetIdentities(model, t, observation);
    } else {
      FillMissing(rows.results.Block(rows.nY, rows.nIdent, t, 1));
    }
  }
}

}  // namespace tessel
