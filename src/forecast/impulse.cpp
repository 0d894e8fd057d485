// Responses of a linear dynamic system to a one-off shock.
#include "forecast/impulse.h"

#include <algorithm>
#include <cmath>

#include "forecast/forecast_rows.h"
#include "linalg/symmetric.h"

namespace tessel {

namespace {

// Puts column `equation` of the Cholesky factor into column t of the rows below nS.
Status PlaceOrthogonal(const ForecastRows &rows, const Shock &shock, int t) {
  const int nS = shock.omega.rows;
  if (nS > rows.nY) return Status::Invalid;
  const OwnedMatrix factor = OwnedMatrix::Clone(shock.omega);
  if (!factor) return Status::NoMemory;
  if (const Status status = MatCholesky(factor); Failed(status)) return status;
  for (int i = 0; i < nS; ++i) rows[i][t] = factor[i][shock.equation];
  return Status::Ok;
}

// Column t holds zeros and receives the shock.
Status PlaceShock(const ForecastRows &rows, const Shock &shock, int t) {
  const int e = shock.equation;
  if (e >= rows.nY || (e < 0 && shock.kind != GivenShock)) return Status::Invalid;
  const bool hasError = e < shock.omega.rows;
  switch (shock.kind) {
    case UnitShock: rows[e][t] = 1.0; return Status::Ok;
    case StandardErrorShock:
      if (hasError) rows[e][t] = std::sqrt(shock.omega[e][e]);
      return hasError ? Status::Ok : Status::Invalid;
    case OrthogonalShock: return hasError ? PlaceOrthogonal(rows, shock, t) : Status::Invalid;
    case GivenShock:
      if (shock.given.empty()) return Status::Invalid;
      for (int i = 0; i < rows.nY; ++i) rows[i][t] = shock.given[static_cast<std::size_t>(i)];
      return Status::Ok;
    default: return Status::Invalid;
  }
}

// Column t becomes minus map times column t.
Status MapShock(const ForecastRows &rows, ConstMatrix map, int t) {
  const OwnedBlock<double> shock(rows.nY);
  if (!shock) return Status::NoMemory;
  for (int i = 0; i < rows.nY; ++i) shock[i] = rows[i][t];
  for (int i = 0; i < rows.nY; ++i) {
    double sum = 0.0;
    for (int k = 0; k < rows.nY; ++k) sum += map[i][k] * shock[k];
    rows[i][t] = -sum;
  }
  return Status::Ok;
}

}  // namespace

Status ImpulseResponse(const ForecastRows &rows, const ForecastIndex &index, ConstMatrix piColumns, const Shock &shock,
                       int t1, int t2) {
  FillZero(rows.results.Block(0, rows.nY, 0, t2 + 1));
  Status status = PlaceShock(rows, shock, t1);
  if (Succeeded(status) && shock.map) status = MapShock(rows, shock.map, t1);
  if (Failed(status)) return status;
  for (int t = t1 + 1; t <= t2; ++t) ForecastStep(rows, piColumns, index.nLag, t);
  return Status::Ok;
}

}  // namespace tessel
