// Dynamic and h-step forecasts of a linear system.
#pragma once

#include "forecast/forecast_errors.h"

namespace tessel {

// Forecasts the columns of `span` of the model's rows. h of 0 or below: dynamically over the whole span. h above 0 (and
// at most the span): every forecast starts h columns back from actual values, and the first h - 1 start at the first
// column.
// se: none, or the standard errors of all nY + nIdent rows, one column for each forecast.
// NoMemory: standard errors stored by then stay, and the rows are undefined.
Status Forecast(ForecastModel &model, const ForecastUncertainty &uncertainty, PassColumns span, int h, Matrix se);

}  // namespace tessel
