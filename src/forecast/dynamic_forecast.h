// Dynamic and h-step forecasts of a linear system.
#pragma once

#include "forecast/forecast_errors.h"

namespace tessel {

// Forecasts the columns t1 to t2 of the model's rows. h of 0 or below: dynamically over the whole span. h above 0 (and
// at most the span): every forecast starts h columns back from actual values, and the first h - 1 start at t1.
// se: null, or the standard errors of all nY + nIdent rows, one column for each forecast.
// 1, or 0 when memory fails: standard errors stored by then stay, and the rows have no use.
int Forecast(const ForecastModel &model, const ForecastUncertainty &uncertainty, int t1, int t2, int h, RowMatrix se);

}  // namespace tessel
