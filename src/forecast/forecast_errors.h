// Standard errors of dynamic forecasts (Lütkepohl 2005, New Introduction to Multiple Time Series Analysis, 2.2.2, 3.5).
//
// The error of a k-step forecast is the sum over i < k of Psi_i u_(t-i), u the errors of the equations and Psi_i their
// moving average weights, plus D (estimate - parameter), D the derivative of the forecast with respect to the
// coefficients, row by row of Pi. Its variance is the sum of Psi_i Omega Psi_i' plus D V D'. Without identities all of
// this has a closed form; with identities the derivatives are central differences through the whole recursion.
// A variance that is not above 0, or missing, gives a standard error of 0.
#pragma once

#include "forecast/recursion.h"

namespace tessel {

struct ForecastUncertainty {
  RowMatrix omega;  // nY x nY
  RowMatrix v;      // covariance of the coefficients, equation by equation; null: none
  RowMatrix q;      // null, or nY nX rows and nQ columns: the coefficients are q times parameters of covariance v
  int nQ;
};

// What all passes of up to `steps` columns have in common, and their work memory.
struct AnalyticErrors {
  OwnedRows weights;        // nY rows for each step: Psi_i
  OwnedRows errorVariance;  // steps x nY: the diagonal of the sum of Psi_i Omega Psi_i' up to that step
  OwnedRows regressors;     // steps x nX: regressors of the pass's columns
  OwnedRows derivative;     // nY x nY nX

  explicit operator bool() const { return weights && errorVariance && regressors && derivative; }
};

// False when memory fails.
AnalyticErrors NewAnalyticErrors(const ForecastModel &model, const ForecastUncertainty &uncertainty, int steps);

// se[r][c]: the standard error of endogenous variable r at column a + c of a pass that forecast a to b. 1, or 0 when
// memory fails. Columns of se before firstStep are not set.
int AnalyticForecastSE(const AnalyticErrors &common, const ForecastModel &model, const ForecastUncertainty &uncertainty,
                       int a, int b, int firstStep, RowMatrix se);

// The same, in every column, for all nY + nIdent variables of a model with identities; a is at least 1, and observation
// base - 1 in the database. The rows hold the forecasts of the pass again at the end, and the database all that the
// recursion writes.
int NumericForecastSE(const ForecastModel &model, const ForecastUncertainty &uncertainty, int a, int b, RowMatrix se);

// The square root of a variance above 0, else 0.
double StandardError(double variance);

// variance (n x n) = D V D', or (D Q) V (D Q)' with a q, for n rows of D. 1, or 0 when memory fails.
int ParameterVariance(const ForecastUncertainty &uncertainty, RowMatrix d, int n, int coefficients, RowMatrix variance);

}  // namespace tessel
