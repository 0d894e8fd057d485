// FnDynForc, FnImpulse.
#include <tessel/tessel.h>

#include <algorithm>
#include <limits>

#include "default_workspace.h"
#include "forecast/dynamic_forecast.h"
#include "forecast/impulse.h"
#include "frame.h"

using namespace tessel;

namespace {

// Arguments 0 to 3 and 5 to 10, which the two exports have in common.
struct System {
  ConstMatrix actual, regressors, pi;
  ForecastDescriptors descriptors;
  int nY, nX, t1, t2;

  int Columns() const { return t2 - t1 + 1; }
};

// False when the span is empty or the descriptors or pi (unless that is empty) are too short for the variables.
bool SystemAt(MorvValue *args, System *system) {
  const ConstMatrix identities = MatrixAt(args, 7), kinds = MatrixAt(args, 8), lags = MatrixAt(args, 9);
  system->actual = MatrixAt(args, 0);
  system->regressors = MatrixAt(args, 1);
  system->pi = MatrixAt(args, 10);
  system->nY = system->actual.rows;
  system->nX = system->regressors.rows;
  system->t1 = std::max(IntegerAt(args, 2), 0);
  system->t2 = std::min(IntegerAt(args, 3), system->regressors.columns - 1);
  if (system->t2 < system->t1 || system->nY < 1) return false;

  const std::int64_t variables = std::int64_t{system->nY} + system->nX;
  for (const ConstMatrix &row : {identities, kinds, lags})
    if (row.rows < 1 || row.columns < variables) return false;
  const auto firstRow = [&](const ConstMatrix &m) { return std::span(m[0], static_cast<std::size_t>(variables)); };
  system->descriptors = {firstRow(identities), firstRow(kinds), firstRow(lags), IntegerAt(args, 5), IntegerAt(args, 6)};
  if (system->pi.Empty()) return true;
  if (system->pi.rows < system->nY || system->pi.columns < system->nX) return false;
  system->pi = system->pi.Block(0, system->nY, 0, system->nX);
  return system->pi.Length() <= std::numeric_limits<int>::max();
}

// Reads arguments 11 to 14. False when a matrix is too small.
bool UncertaintyAt(MorvValue *args, const System &system, ForecastUncertainty *uncertainty) {
  const ConstMatrix omega = MatrixAt(args, 11), v = OptionalMatrixAt(args, 12), q = OptionalMatrixAt(args, 13);
  const int nQ = IntegerAt(args, 14);
  if (omega.rows < system.nY || omega.columns < system.nY) return false;
  uncertainty->omega = omega.Block(0, system.nY, 0, system.nY);
  if (v.Empty()) return true;
  const std::int64_t coefficients = std::int64_t{system.nY} * system.nX;
  const std::int64_t order = q.Empty() ? coefficients : nQ;
  if (!q.Empty() && (nQ < 1 || q.rows < coefficients || q.columns < nQ)) return false;
  if (v.rows < order || v.columns < order) return false;
  uncertainty->v = v.Block(0, static_cast<int>(order), 0, static_cast<int>(order));
  if (!q.Empty()) uncertainty->q = q.Block(0, static_cast<int>(coefficients), 0, nQ);
  return true;
}

// Whether the open workspace has what the identities of a forecast touch: the endogenous variables, the forecast
// columns as observations, and the observations of the longest pass, with the one before for standard errors.
bool WorkspaceServes(const System &system, int base, int h, bool errors) {
  const std::int64_t steps = h > 0 ? std::min(h, system.Columns()) : system.Columns();
  const std::int64_t first = std::int64_t{base} - errors, last = base + steps - 1;
  const AlgebraWorkspace &workspace = DefaultWorkspace();
  if (workspace.FirstAdded() < system.nY) return false;
  if (last > std::numeric_limits<int>::max() || (errors && system.t1 < 1)) return false;
  return workspace.Holds(static_cast<int>(first), static_cast<int>(last)) && workspace.Holds(0, system.t2);
}

}  // namespace

void FnDynForc(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 6);
  CheckTypes(MORV_MATRIX, args, 7, 11);
  CheckTypes(MORV_INTEGER, args, 14, 15);
  CheckTypes(MORV_INTEGER, args, 17, 18);
  System system;
  if (!SystemAt(args, &system)) return;
  const int h = IntegerAt(args, 15), columns = system.Columns(), before = IntegerAt(args, 18);
  const bool errors = HasTag(args + 16, MORV_ARRAY), identities = IntegerAt(args, 17) != 0;
  ForecastUncertainty uncertainty = {};
  if (errors && !UncertaintyAt(args, system, &uncertainty)) return;
  ForecastModel model;
  int nIdent = 0;
  if (identities) {
    model.workspace = &DefaultWorkspace();
    if (!model.workspace->IsOpen() || before == std::numeric_limits<int>::max()) return;
    nIdent = model.workspace->AddedCount();
    model.base = before + 1;
    if (nIdent != 0 && !WorkspaceServes(system, model.base, h, errors)) return;
  }
  const Status indexed = BuildForecastIndex(system.descriptors, system.nY, system.nX, &model.index);
  if (Succeeded(indexed) && system.t1 < model.index.longestLag) return;

  const Output se = OptionalOutputAt(args, 16, system.nY + nIdent, columns);
  if (se.failed) return;
  FillMissing(se);
  if (Failed(indexed) || system.pi.Empty() || h > columns) return;
  model.piColumns = CoefficientColumns(system.pi);
  const RowSources sources = {system.actual, system.regressors, nIdent, system.t2};
  if (!model.piColumns || Failed(NewForecastRows(model.index, sources, &model.rows))) return;
  if (Failed(Forecast(model, uncertainty, {system.t1, system.t2}, h, se))) return;

  const Output result = MatrixResult(rtn, model.rows.Results(), columns);
  if (!result.failed) Copy(result, model.rows.results.Columns(system.t1, columns));
}

void FnImpulse(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 6);
  CheckTypes(MORV_MATRIX, args, 7, 11);
  CheckTypes(MORV_INTEGER, args, 14, 15);
  System system;
  if (!SystemAt(args, &system) || system.pi.Empty()) return;
  const int nY = system.nY;
  const bool reduced = IntegerAt(args, 4) != 0;
  const ConstMatrix omega = MatrixAt(args, 11), map = OptionalMatrixAt(args, 12), given = OptionalMatrixAt(args, 13);
  Shock shock = {IntegerAt(args, 15), IntegerAt(args, 14), {}, {}, {}};
  if (shock.kind == GivenShock && given.columns < nY) return;
  if (given.rows > 0 && given.columns >= nY) shock.given = {given[0], static_cast<std::size_t>(nY)};
  const int nS = reduced ? nY : omega.rows;
  if (nS < 1) return;
  const bool usesOmega = shock.kind == StandardErrorShock || shock.kind == OrthogonalShock;
  if (usesOmega && (omega.rows < nS || omega.columns < nS)) return;
  if (usesOmega) shock.omega = omega.Block(0, nS, 0, nS);
  if (!reduced) {
    if (map.rows < nY || map.columns < nY) return;
    shock.map = map.Block(0, nY, 0, nY);
  }
  ForecastIndex index;
  if (Failed(BuildForecastIndex(system.descriptors, nY, system.nX, &index)) || system.t1 < index.longestLag - 1) return;

  // No actual value is read, and of the regressors only the rows that stand for lags.
  const RowSources sources = {{nullptr, nY, 0}, system.regressors, 0, system.t2};
  ForecastRows rows;
  if (Failed(NewForecastRows(index, sources, &rows))) return;
  const OwnedMatrix piColumns = CoefficientColumns(system.pi);
  if (!piColumns || Failed(ImpulseResponse(rows, index, piColumns, shock, system.t1, system.t2))) return;
  const Output result = MatrixResult(rtn, nY, system.Columns());
  if (!result.failed) Copy(result, rows.results.Columns(system.t1, result.columns));
}
