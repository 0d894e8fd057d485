// Standard errors by central differences through the recursion and the workspace's identities.
#include <algorithm>

#include "core/central_difference.h"
#include "core/missing.h"
#include "forecast/forecast_errors.h"
#include "linalg/moments.h"

namespace tessel {

namespace {

// Stacked Jacobians: the nY + nIdent rows of the k-th column of a pass are the rows from k (nY + nIdent) on.
struct Jacobians {
  OwnedMatrix cells;
  int results;

  Jacobians(std::int64_t steps, int rows, std::int64_t columns) : cells(steps * rows, columns), results(rows) {}
  Matrix At(int step) const { return cells.View().Rows(step * results, results); }
};

// A pass whose derivatives are taken, and what that changes.
struct Derivation {
  DisturbedObservations &observations;
  ForecastModel &model;
  const ForecastUncertainty &uncertainty;
  PassColumns pass;
};

// Column `column` of the Jacobians of all rows over the columns of `pass`: their derivative with respect to a cell. One
// pair of passes gives all horizons. prepare() is called before each pass.
template <class Prepare>
void PathDerivative(const Derivation &d, PassColumns pass, double *cell, const Jacobians &out, int column,
                    Prepare prepare) {
  const double width = EvaluateOnBothSides(cell, [&](int sign) {
    d.observations.RestorePass();
    prepare();
    ForecastRecursion(d.model, pass.a, pass.b, DerivativePass);
    for (int k = 0; k < pass.Count(); ++k)
      for (int r = 0; r < out.results; ++r) {
        double &difference = out.At(k)[r][column];
        const double value = d.model.rows[r][pass.a + k];
        difference = sign > 0 ? value : difference - value;
      }
  });
  for (int k = 0; k < pass.Count(); ++k)
    for (int r = 0; r < out.results; ++r) out.At(k)[r][column] /= width;
}

// The derivatives of the first column with respect to its own endogenous variables: the identity matrix, and below it
// the identities' derivatives, missing where the program fails.
void IdentityJacobian(const Derivation &d, Matrix j) {
  ForecastModel &model = d.model;
  const ForecastRows &rows = model.rows;
  const int a = d.pass.a;
  FillIdentity(j.Rows(0, rows.nY));
  FillMissing(j.Rows(rows.nY, rows.nIdent));
  for (int i = 0; i < rows.nY; ++i) {
    bool succeeded = true;
    const double width = EvaluateOnBothSides(&rows[i][a], [&](int sign) {
      PutEndogenous(model, a, model.base);
      succeeded = succeeded && Succeeded(model.workspace->Run(model.base, model.base));
      if (!succeeded) return;
      GetIdentities(model, a, model.base);
      for (int r = rows.nY; r < rows.Results(); ++r) j[r][i] = sign > 0 ? rows[r][a] : j[r][i] - rows[r][a];
    });
    for (int r = rows.nY; r < rows.Results(); ++r) j[r][i] = succeeded ? j[r][i] / width : MissingValue();
  }
  PutEndogenous(model, a, model.base);
}

// The derivatives of all columns but the last with respect to the endogenous variables just before the pass: how an
// error travels.
void DynamicJacobian(const Derivation &d, const Jacobians &out) {
  ForecastModel &model = d.model;
  const PassColumns columns = {d.pass.a, d.pass.b - 1};
  const auto putHistory = [&] { PutEndogenous(model, columns.a - 1, model.base - 1); };
  for (int i = 0; i < model.rows.nY; ++i) PathDerivative(d, columns, &model.rows[i][columns.a - 1], out, i, putHistory);
  putHistory();
}

// Variances of the errors of the equations, summed over the steps.
Status ErrorVariance(const Derivation &d, Matrix se) {
  const int nY = d.model.rows.nY, results = d.model.rows.Results(), last = d.pass.Count() - 1;
  const Jacobians jacobians(std::max(last, 1), results, nY);
  const OwnedMatrix variance(results, results), term(results, results);
  if (!jacobians.cells || !variance || !term) return Status::NoMemory;

  IdentityJacobian(d, jacobians.At(0));
  Status status = MatSandwich(jacobians.At(0), d.uncertainty.omega, variance);
  if (Failed(status)) return status;
  if (last > 0) DynamicJacobian(d, jacobians);
  for (int k = 0;; ++k) {
    for (int r = 0; r < results; ++r) se[r][k] = StandardError(variance[r][r]);
    if (k == last) return Status::Ok;
    status = MatSandwich(jacobians.At(k), d.uncertainty.omega, term);
    if (Failed(status)) return status;
    MatAddScaled(variance, term, 1.0, variance);
  }
}

// Adds the variances that come from the coefficients.
Status AddParameterVariance(const Derivation &d, Matrix se) {
  const int nX = d.model.rows.nX, coefficients = d.model.rows.nY * nX, results = d.model.rows.Results();
  const Jacobians derivatives(d.pass.Count(), results, coefficients);
  const OwnedMatrix variance(results, results);
  if (!derivatives.cells || !variance) return Status::NoMemory;

  for (int i = 0; i < d.model.rows.nY; ++i)
    for (int j = 0; j < nX; ++j) PathDerivative(d, d.pass, &d.model.piColumns[j][i], derivatives, i * nX + j, [] {});
  for (int k = 0; k < d.pass.Count(); ++k) {
    const Status status = ParameterVariance(d.uncertainty, derivatives.At(k), variance);
    if (Failed(status)) return status;
    for (int r = 0; r < results; ++r) se[r][k] = StandardError(se[r][k] * se[r][k] + variance[r][r]);
  }
  return Status::Ok;
}

}  // namespace

Status NumericForecastSE(DisturbedObservations &observations, ForecastModel &model,
                         const ForecastUncertainty &uncertainty, PassColumns pass, Matrix se) {
  const Derivation d = {observations, model, uncertainty, pass};
  observations.SavePass(pass.Count());
  Status status = ErrorVariance(d, se);
  if (Succeeded(status) && uncertainty.v) status = AddParameterVariance(d, se);
  // Derivative passes evaluate the identities of the observation before the pass as well, from disturbed values.
  if (pass.Count() > 1 || uncertainty.v) observations.SettleBefore();
  ForecastRecursion(model, pass.a, pass.b, PlainPass);
  return status;
}

}  // namespace tessel
