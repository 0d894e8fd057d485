// Standard errors of dynamic forecasts (Lütkepohl 2005, New Introduction to Multiple Time Series Analysis, 2.2.2, 3.5).
//
// The error of a k-step forecast is the sum over i < k of Psi_i u_(t-i), u the errors of the equations and Psi_i their
// moving average weights, plus D (estimate - parameter), D the derivative of the forecast with respect to the
// coefficients, row by row of Pi. Its variance is the sum of Psi_i Omega Psi_i' plus D V D'. Without identities all of
// this has a closed form; with identities the derivatives are central differences through the whole recursion.
// A variance that is not above 0, or missing, gives a standard error of 0.
#pragma once

#include "forecast/disturbed_observations.h"
#include "forecast/recursion.h"

namespace tessel {

struct ForecastUncertainty {
  ConstMatrix omega;  // nY x nY
  ConstMatrix v;      // covariance of the coefficients, equation by equation; none: they are taken as known
  ConstMatrix q;      // none, or nY nX rows and nQ columns: the coefficients are q times parameters of covariance v
};

// The columns a to b of a pass, b included.
struct PassColumns {
  int a, b;
  int Count() const { return b - a + 1; }
};

// What all passes of up to `steps` columns have in common, and their work memory.
struct AnalyticErrors {
  OwnedMatrix weights;        // nY rows for each step: Psi_i
  OwnedMatrix errorVariance;  // steps x nY: the diagonal of the sum of Psi_i Omega Psi_i' up to that step
  OwnedMatrix regressors;     // steps x nX: regressors of the pass's columns
  OwnedMatrix derivative;     // nY x nY nX
  OwnedMatrix parameters;     // nY x nY: the variance that comes from the coefficients
};

Status NewAnalyticErrors(const ForecastModel &model, const ForecastUncertainty &uncertainty, int steps,
                         AnalyticErrors *common);

// se[r][c]: the standard error of endogenous variable r at column a + c of a pass. Columns of se before firstStep are
// not set.
Status AnalyticForecastSE(const AnalyticErrors &common, const ForecastModel &model,
                          const ForecastUncertainty &uncertainty, PassColumns pass, int firstStep, Matrix se);

// The same, in every column, for all nY + nIdent variables of a model with identities; a is at least 1, and observation
// base - 1 in the database. The rows hold the forecasts of the pass again at the end, and so do the pass's
// observations.
Status NumericForecastSE(DisturbedObservations &observations, ForecastModel &model,
                         const ForecastUncertainty &uncertainty, PassColumns pass, Matrix se);

// The square root of a variance above 0, else 0.
double StandardError(double variance);

// variance (n x n) = D V D', or (D Q) V (D Q)' with a q, for n rows of D, one column for each coefficient.
Status ParameterVariance(const ForecastUncertainty &uncertainty, ConstMatrix d, Matrix variance);

}  // namespace tessel
