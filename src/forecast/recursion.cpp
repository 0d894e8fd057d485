// The forecast recursion.
#include "forecast/recursion.h"

#include "algebra/workspace.h"

namespace tessel {

void PutEndogenous(const ForecastRows &rows, int t, int observation) {
  AlgebraPutRows(rows.table.get(), 0, rows.nY - 1, t, 0, observation);
}

OwnedRows SaveObservations(const ForecastRows &rows, int first, int count) {
  OwnedRows saved(rows.Results(), count);
  for (int c = 0; saved && c < count; ++c) {
    AlgebraGetRows(saved.get(), 0, rows.nY - 1, c, 0, first + c);
    AlgebraGetRows(saved.get(), rows.nY, rows.Results() - 1, c, AlgebraFirstAdded(), first + c);
  }
  return saved;
}

void RestoreObservations(const ForecastRows &rows, RowMatrix saved, int first, int count) {
  for (int c = 0; c < count; ++c) {
    AlgebraPutRows(saved, 0, rows.nY - 1, c, 0, first + c);
    AlgebraPutRows(saved, rows.nY, rows.Results() - 1, c, AlgebraFirstAdded(), first + c);
  }
}

void ForecastRecursion(const ForecastModel &model, int a, int b, PassStart start) {
  const ForecastRows &rows = model.rows;
  for (int t = a; t <= b; ++t) {
    ForecastStep(rows, model.piColumns.get(), rows.nX, t);
    if (rows.nIdent == 0) continue;

    const int observation = model.base + (t - a);
    PutEndogenous(rows, t, observation);
    if (AlgebraRunRange(model.base + start, observation)) {
      AlgebraGetRows(rows.table.get(), rows.nY, rows.Results() - 1, t, AlgebraFirstAdded(), observation);
    } else {
      for (int i = rows.nY; i < rows.Results(); ++i) SetMissing(&rows[i][t]);
    }
  }
}

}  // namespace tessel
