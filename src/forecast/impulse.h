// Responses of a linear dynamic system to a one-off shock.
//
// Literature: Lütkepohl, H. (2005), New Introduction to Multiple Time Series Analysis, section 2.3. Sims, C. A. (1980),
// Macroeconomics and reality, Econometrica 48, 1-48.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

struct ForecastIndex;
struct ForecastRows;

enum ShockKind : int {
  UnitShock = 0,           // 1 in one variable
  StandardErrorShock = 1,  // the standard error of one equation
  OrthogonalShock = 2,     // a column of the lower Cholesky factor of omega (Sims 1980)
  GivenShock = 3
};

struct Shock {
  int kind;
  int equation;                   // 0 .. nY-1; the equations that have errors are those of omega
  ConstMatrix omega;              // nS x nS covariance of the errors; read for two of the kinds
  std::span<const double> given;  // nY values for GivenShock, or none
  ConstMatrix map;                // none: the shock acts on the variables. Else nY x nY: minus map times the shock does
};

// Endogenous rows become the responses over the columns t1 (the shock) to t2, with zeros before t1. Of piColumns
// (CoefficientColumns) the coefficients of lags are read.
//   Invalid       a kind or an equation out of range, no given vector, an omega larger than the system
//   NotPositive   the omega of an orthogonal shock is not positive definite
Status ImpulseResponse(const ForecastRows &rows, const ForecastIndex &index, ConstMatrix piColumns, const Shock &shock,
                       int t1, int t2);

}  // namespace tessel
