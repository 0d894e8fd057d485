// The forecast recursion, with identities that an Algebra workspace evaluates.
#pragma once

#include "algebra/workspace.h"
#include "forecast/forecast_rows.h"

namespace tessel {

// The first nY variables of the workspace's database are the endogenous variables, in order; the identities are the
// variables that its program added.
struct ForecastModel {
  ForecastRows rows;
  ForecastIndex index;
  OwnedRows piColumns;                    // as CoefficientColumns gives them
  AlgebraWorkspace *workspace = nullptr;  // not read without identities
  int base = 0;                           // the database observation of a pass's first column, whichever column that is
};

// Where a pass begins in the database: at its first column, or one observation earlier, for a derivative with respect
// to something before it.
enum PassStart : int { PlainPass = 0, DerivativePass = -1 };

// Forecasts the columns a to b, in order. The identities of each column are evaluated over all observations of the pass
// so far; where the program fails they are missing, and the recursion goes on.
void ForecastRecursion(const ForecastModel &model, int a, int b, PassStart start);

// Stores the endogenous variables of column t in the database at an observation.
void PutEndogenous(const ForecastModel &model, int t, int observation);

// What the database holds of the nY + nIdent variables at `count` observations from `first` on, and its way back. Null
// when memory fails.
OwnedRows SaveObservations(const ForecastModel &model, int first, int count);
void RestoreObservations(const ForecastModel &model, RowMatrix saved, int first, int count);

}  // namespace tessel
