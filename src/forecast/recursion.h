// The forecast recursion, with identities that an Algebra workspace evaluates.
#pragma once

#include "algebra/workspace.h"
#include "forecast/forecast_rows.h"

namespace tessel {

// A model and what a forecast of it changes: its rows, and with identities the workspace's database. The first nY
// variables of the database are the endogenous variables, in order; the identities are those that its program added.
struct ForecastModel {
  ForecastRows rows;
  ForecastIndex index;
  OwnedMatrix piColumns;                  // as CoefficientColumns gives them
  AlgebraWorkspace *workspace = nullptr;  // not read without identities
  int base = 0;                           // the database observation of a pass's first column, whichever column that is
};

// Where a pass begins in the database: at its first column, or one observation earlier when differentiating by the
// preceding observation.
enum PassStart : int { PlainPass = 0, DerivativePass = -1 };

// Forecasts the columns a to b, in order. The identities of each column are evaluated over all observations of the pass
// so far; where the program fails they are missing, and the recursion goes on.
void ForecastRecursion(ForecastModel &model, int a, int b, PassStart start);

// Stores the endogenous variables of column t in the database at an observation.
void PutEndogenous(ForecastModel &model, int t, int observation);

// Reads the identities at an observation into their rows at column t.
void GetIdentities(ForecastModel &model, int t, int observation);

}  // namespace tessel
