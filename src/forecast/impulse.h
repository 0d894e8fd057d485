// Responses of a linear dynamic system to a one-off shock.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

struct ForecastIndex;
struct ForecastRows;

enum ShockKind : int {
  UnitShock = 0,           // 1 in one variable
  StandardErrorShock = 1,  // the standard error of one equation
  OrthogonalShock = 2,     // a column of the lower Cholesky factor of omega (Sims 1980, Econometrica 48, 1-48)
  GivenShock = 3
};

struct Shock {
  int kind;
  int equation;     // 0 .. nY-1; the equations that have errors are 0 .. nS-1
  RowMatrix omega;  // nS x nS covariance of the errors; read for two of the kinds
  int nS;
  const double *given;  // nY values for GivenShock, or null
  RowMatrix map;        // null: the shock acts on the variables. Else nY x nY: minus map times the shock does
};

// Endogenous rows of the table become the responses over the columns t1 (the shock) to t2, with zeros before t1. Of
// piColumns (CoefficientColumns) the coefficients of lags are read. 1, or 0 when there is no such shock (a kind or
// equation out of range, no given vector, an omega that is not positive definite or too large for the Cholesky factor)
// or no memory.
int ImpulseResponse(const ForecastRows &rows, const ForecastIndex &index, RowMatrix piColumns, const Shock &shock,
                    int t1, int t2);

}  // namespace tessel
