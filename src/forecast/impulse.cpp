// Responses of a linear dynamic system to a one-off shock.
#include "forecast/impulse.h"

#include <algorithm>
#include <cmath>

#include "forecast/forecast_rows.h"
#include "linalg/symmetric.h"

namespace tessel {

namespace {

// Puts column `equation` of the Cholesky factor into column t of the rows below nS.
bool PlaceOrthogonal(const ForecastRows &rows, const Shock &shock, int t) {
  if (shock.nS > rows.nY) return false;
  const OwnedRows factor = OwnedRows::Clone(shock.omega, shock.nS, shock.nS);
  if (!factor || Failed(MatCholesky(ViewOf(factor.get(), shock.nS, shock.nS)))) return false;
  for (int i = 0; i < shock.nS; ++i) rows[i][t] = factor[i][shock.equation];
  return true;
}

// Column t holds zeros and receives the shock.
bool PlaceShock(const ForecastRows &rows, const Shock &shock, int t) {
  const int e = shock.equation;
  if (e >= rows.nY || (e < 0 && shock.kind != GivenShock)) return false;
  const bool stochastic = e < shock.nS;
  switch (shock.kind) {
    case UnitShock: rows[e][t] = 1.0; return true;
    case StandardErrorShock:
      if (stochastic) rows[e][t] = std::sqrt(shock.omega[e][e]);
      return stochastic;
    case OrthogonalShock: return stochastic && PlaceOrthogonal(rows, shock, t);
    case GivenShock:
      for (int i = 0; shock.given != nullptr && i < rows.nY; ++i) rows[i][t] = shock.given[i];
      return shock.given != nullptr;
    default: return false;
  }
}

// Column t becomes minus map times column t.
bool MapShock(const ForecastRows &rows, RowMatrix map, int t) {
  const OwnedBlock<double> shock(rows.nY);
  if (!shock) return false;
  for (int i = 0; i < rows.nY; ++i) shock[i] = rows[i][t];
  for (int i = 0; i < rows.nY; ++i) {
    double sum = 0.0;
    for (int k = 0; k < rows.nY; ++k) sum += map[i][k] * shock[k];
    rows[i][t] = -sum;
  }
  return true;
}

}  // namespace

int ImpulseResponse(const ForecastRows &rows, const ForecastIndex &index, RowMatrix piColumns, const Shock &shock,
                    int t1, int t2) {
  for (int i = 0; i < rows.nY; ++i) std::fill_n(rows[i], t2 + 1, 0.0);
  if (!PlaceShock(rows, shock, t1)) return 0;
  if (shock.map != nullptr && !MapShock(rows, shock.map, t1)) return 0;
  for (int t = t1 + 1; t <= t2; ++t) ForecastStep(rows, piColumns, index.nLag, t);
  return 1;
}

}  // namespace tessel
