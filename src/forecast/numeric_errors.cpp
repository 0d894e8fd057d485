// Standard errors by central differences through the recursion and the workspace's identities.
#include <algorithm>

#include "core/central_difference.h"
#include "forecast/forecast_errors.h"
#include "linalg/moments.h"

namespace tessel {

namespace {

// Stacked Jacobians: the nY + nIdent rows of column t of a pass from a are the rows from (t - a)(nY + nIdent) on.
struct Jacobians {
  OwnedRows cells;
  int results;

  Jacobians(std::int64_t steps, int rows, std::int64_t columns) : cells(steps * rows, columns), results(rows) {}
  RowMatrix At(int step) const { return cells.get() + std::ptrdiff_t{step} * results; }
};

// Column `column` of the Jacobians of all rows over a to b: their derivative with respect to a cell. One pair of passes
// gives all horizons: each begins with the observations of the plain pass in the database, so that a lead in an
// identity reads the same in both. prepare() is called before each pass.
template <class Prepare>
void PathDerivative(const ForecastModel &model, RowMatrix plain, double *cell, int a, int b, const Jacobians &out,
                    int column, Prepare prepare) {
  const double width = EvaluateOnBothSides(cell, [&](int sign) {
    RestoreObservations(model, plain, model.base, b - a + 1);
    prepare();
    ForecastRecursion(model, a, b, DerivativePass);
    for (int t = a; t <= b; ++t)
      for (int r = 0; r < out.results; ++r) {
        double &difference = out.At(t - a)[r][column];
        difference = sign > 0 ? model.rows[r][t] : difference - model.rows[r][t];
      }
  });
  for (int t = a; t <= b; ++t)
    for (int r = 0; r < out.results; ++r) out.At(t - a)[r][column] /= width;
}

// The derivatives of column a with respect to its own endogenous variables: the identity matrix, and below it the
// identities' derivatives, missing where the program fails.
void IdentityJacobian(const ForecastModel &model, int a, RowMatrix j) {
  const ForecastRows &rows = model.rows;
  MatIdentity(j, rows.nY);
  MatFillMissing(j + rows.nY, rows.nIdent, rows.nY);
  for (int i = 0; i < rows.nY; ++i) {
    bool succeeded = true;
    const double width = EvaluateOnBothSides(&rows[i][a], [&](int sign) {
      PutEndogenous(model, a, model.base);
      succeeded = succeeded && Succeeded(model.workspace->Run(model.base, model.base));
      if (!succeeded) return;
      model.workspace->GetRows(rows.table.get(), rows.nY, rows.Results() - 1, a, model.workspace->FirstAdded(),
                               model.base);
      for (int r = rows.nY; r < rows.Results(); ++r) j[r][i] = sign > 0 ? rows[r][a] : j[r][i] - rows[r][a];
    });
    for (int r = rows.nY; r < rows.Results(); ++r) j[r][i] = succeeded ? j[r][i] / width : MissingValue();
  }
  PutEndogenous(model, a, model.base);
}

// The derivatives of the columns a to b with respect to the endogenous variables just before a: how an error travels.
void DynamicJacobian(const ForecastModel &model, RowMatrix plain, int a, int b, const Jacobians &out) {
  const auto putHistory = [&] { PutEndogenous(model, a - 1, model.base - 1); };
  for (int i = 0; i < model.rows.nY; ++i) PathDerivative(model, plain, &model.rows[i][a - 1], a, b, out, i, putHistory);
  putHistory();
}

// Variances of the errors of the equations, summed over the steps.
int ErrorVariance(const ForecastModel &model, const ForecastUncertainty &uncertainty, RowMatrix plain, int a, int b,
                  RowMatrix se) {
  const int nY = model.rows.nY, results = model.rows.Results(), last = b - a;
  const Jacobians jacobians(std::max(last, 1), results, nY);
  const OwnedRows variance(results, results), term(results, results);
  if (!jacobians.cells || !variance || !term) return 0;

  const Matrix omega = ViewOf(uncertainty.omega, nY, nY), varianceView = ViewOf(variance.get(), results, results);
  const Matrix termView = ViewOf(term.get(), results, results);
  IdentityJacobian(model, a, jacobians.At(0));
  if (Failed(MatSandwich(ViewOf(jacobians.At(0), results, nY), omega, varianceView))) return 0;
  if (last > 0) DynamicJacobian(model, plain, a, b - 1, jacobians);
  for (int k = 0;; ++k) {
    for (int r = 0; r < results; ++r) se[r][k] = StandardError(variance[r][r]);
    if (k == last) return 1;
    if (Failed(MatSandwich(ViewOf(jacobians.At(k), results, nY), omega, termView))) return 0;
    MatAddScaled(varianceView, termView, 1.0, varianceView);
  }
}

// Adds the variances that come from the coefficients.
int AddParameterVariance(const ForecastModel &model, const ForecastUncertainty &uncertainty, RowMatrix plain, int a,
                         int b, RowMatrix se) {
  const int nX = model.rows.nX, coefficients = model.rows.nY * nX, results = model.rows.Results();
  const Jacobians derivatives(std::int64_t{b} - a + 1, results, coefficients);
  const OwnedRows variance(results, results);
  if (!derivatives.cells || !variance) return 0;

  for (int i = 0; i < model.rows.nY; ++i)
    for (int j = 0; j < nX; ++j)
      PathDerivative(model, plain, &model.piColumns[j][i], a, b, derivatives, i * nX + j, [] {});
  for (int k = 0; k <= b - a; ++k) {
    if (!ParameterVariance(uncertainty, derivatives.At(k), results, coefficients, variance.get())) return 0;
    for (int r = 0; r < results; ++r) se[r][k] = StandardError(se[r][k] * se[r][k] + variance[r][r]);
  }
  return 1;
}

}  // namespace

int NumericForecastSE(const ForecastModel &model, const ForecastUncertainty &uncertainty, int a, int b, RowMatrix se) {
  const int nY = model.rows.nY, last = model.rows.Results() - 1, before = model.base - 1;
  const OwnedRows known = SaveObservations(model, before, 1), plain = SaveObservations(model, model.base, b - a + 1);
  if (!known || !plain) return 0;
  const int done = ErrorVariance(model, uncertainty, plain.get(), a, b, se) &&
                   (uncertainty.v == nullptr || AddParameterVariance(model, uncertainty, plain.get(), a, b, se));
  // Derivative passes evaluate the identities of the observation before the pass as well, from disturbed values.
  const bool disturbed = b > a || uncertainty.v != nullptr;
  if (disturbed && Failed(model.workspace->Run(before, before)))
    model.workspace->PutRows(known.get(), nY, last, 0, model.workspace->FirstAdded(), before);
  ForecastRecursion(model, a, b, PlainPass);
  return done;
}

}  // namespace tessel
