// The forecast recursion.
#include "forecast/recursion.h"

namespace tessel {

void PutEndogenous(const ForecastModel &model, int t, int observation) {
  const ForecastRows &rows = model.rows;
  model.workspace->PutRows(rows.table.get(), 0, rows.nY - 1, t, 0, observation);
}

OwnedRows SaveObservations(const ForecastModel &model, int first, int count) {
  const ForecastRows &rows = model.rows;
  const AlgebraWorkspace &workspace = *model.workspace;
  OwnedRows saved(rows.Results(), count);
  for (int c = 0; saved && c < count; ++c) {
    workspace.GetRows(saved.get(), 0, rows.nY - 1, c, 0, first + c);
    workspace.GetRows(saved.get(), rows.nY, rows.Results() - 1, c, workspace.FirstAdded(), first + c);
  }
  return saved;
}

void RestoreObservations(const ForecastModel &model, RowMatrix saved, int first, int count) {
  const ForecastRows &rows = model.rows;
  AlgebraWorkspace &workspace = *model.workspace;
  for (int c = 0; c < count; ++c) {
    workspace.PutRows(saved, 0, rows.nY - 1, c, 0, first + c);
    workspace.PutRows(saved, rows.nY, rows.Results() - 1, c, workspace.FirstAdded(), first + c);
  }
}

void ForecastRecursion(const ForecastModel &model, int a, int b, PassStart start) {
  const ForecastRows &rows = model.rows;
  for (int t = a; t <= b; ++t) {
    ForecastStep(rows, model.piColumns.get(), rows.nX, t);
    if (rows.nIdent == 0) continue;

    AlgebraWorkspace &workspace = *model.workspace;
    const int observation = model.base + (t - a);
    PutEndogenous(model, t, observation);
    if (Succeeded(workspace.Run(model.base + start, observation))) {
      workspace.GetRows(rows.table.get(), rows.nY, rows.Results() - 1, t, workspace.FirstAdded(), observation);
    } else {
      for (int i = rows.nY; i < rows.Results(); ++i) SetMissing(&rows[i][t]);
    }
  }
}

}  // namespace tessel
