// Standard errors in closed form.
#include <cmath>
#include <limits>

#include "forecast/forecast_errors.h"
#include "linalg/dot_product.h"
#include "linalg/moments.h"
#include "linalg/products.h"

namespace tessel {

namespace {

// Psi_0 = I, Psi_i = sum over the lags l of Psi_(i-l) A_l: the leading blocks of the powers of the companion matrix.
void MovingAverageWeights(const ForecastModel &model, int steps, RowMatrix weights) {
  const int nY = model.rows.nY;
  MatIdentity(weights, nY);
  for (int i = 1; i < steps; ++i) {
    const RowMatrix current = weights + std::ptrdiff_t{i} * nY;
    MatZero(current, nY, nY);
    for (int k = 0; k < model.index.nLag; ++k) {
      const auto [varIndex, lagOf] = model.index.terms[k];
      if (lagOf > i) continue;
      const RowMatrix earlier = current - std::ptrdiff_t{lagOf} * nY;
      for (int r = 0; r < nY; ++r) {
        double sum = 0.0;
        for (int s = 0; s < nY; ++s) sum += earlier[r][s] * model.piColumns[k][s];
        current[r][varIndex] += sum;
      }
    }
  }
}

// D of the pass's k-th column (k from 0): the sum over i of Psi_i, each cell times the regressors of i columns earlier.
// That is exact for a dynamic forecast, since its regressors contain its own earlier forecasts.
void CoefficientDerivative(const AnalyticErrors &common, int k, int nY, int nX) {
  const RowMatrix d = common.derivative.get();
  MatZero(d, nY, nY * nX);
  for (int i = 0; i <= k; ++i) {
    const RowMatrix psi = common.weights.get() + std::ptrdiff_t{i} * nY;
    const double *x = common.regressors[k - i];
    for (int r = 0; r < nY; ++r)
      for (int c = 0; c < nY; ++c) {
        const double weight = psi[r][c];
        double *cells = d[r] + c * nX;
        for (int j = 0; j < nX; ++j) cells[j] += weight * x[j];
      }
  }
}

}  // namespace

double StandardError(double variance) { return variance > 0.0 ? std::sqrt(variance) : 0.0; }

int ParameterVariance(const ForecastUncertainty &uncertainty, RowMatrix d, int n, int coefficients,
                      RowMatrix variance) {
  const int nQ = uncertainty.q == nullptr ? coefficients : uncertainty.nQ;
  const ConstMatrix derivative = ViewOf(d, n, coefficients), v = ViewOf(uncertainty.v, nQ, nQ);
  const Matrix out = ViewOf(variance, n, n);
  if (uncertainty.q == nullptr) return Succeeded(MatSandwich(derivative, v, out));
  const OwnedMatrix dq(n, nQ);
  if (!dq) return 0;
  MatMul(derivative, ViewOf(uncertainty.q, coefficients, nQ), dq);
  return Succeeded(MatSandwich(dq, v, out));
}

AnalyticErrors NewAnalyticErrors(const ForecastModel &model, const ForecastUncertainty &uncertainty, int steps) {
  const int nY = model.rows.nY, nX = model.rows.nX;
  const std::int64_t stacked = std::int64_t{steps} * nY;
  AnalyticErrors common;
  if (stacked > std::numeric_limits<int>::max()) return common;
  const OwnedRows weighted(stacked, nY);
  common.weights = OwnedRows(stacked, nY);
  common.errorVariance = OwnedRows(steps, nY);
  common.regressors = OwnedRows(steps, nX);
  common.derivative = OwnedRows(nY, std::int64_t{nY} * nX);
  if (!common || !weighted) return {};

  // One product for the Psi_i Omega of all steps; of Psi_i Omega Psi_i' the diagonal alone is needed.
  MovingAverageWeights(model, steps, common.weights.get());
  const auto rows = static_cast<int>(stacked);
  MatMul(ViewOf(common.weights.get(), rows, nY), ViewOf(uncertainty.omega, nY, nY), ViewOf(weighted.get(), rows, nY));
  double *variance = common.errorVariance[0];
  for (std::int64_t row = 0; row < stacked; ++row)
    variance[row] = (row < nY ? 0.0 : variance[row - nY]) + DotProduct(weighted[row], common.weights[row], nY);
  return common;
}

int AnalyticForecastSE(const AnalyticErrors &common, const ForecastModel &model, const ForecastUncertainty &uncertainty,
                       int a, int b, int firstStep, RowMatrix se) {
  const int nY = model.rows.nY, nX = model.rows.nX;
  const OwnedRows parameters(nY, nY);
  if (!parameters) return 0;
  MatZero(parameters.get(), nY, nY);
  for (int k = 0; k <= b - a; ++k) {
    for (int j = 0; j < nX; ++j) common.regressors[k][j] = model.rows.Regressors()[j][a + k];
    if (k < firstStep) continue;
    if (uncertainty.v != nullptr) {
      CoefficientDerivative(common, k, nY, nX);
      if (!ParameterVariance(uncertainty, common.derivative.get(), nY, nY * nX, parameters.get())) return 0;
    }
    for (int r = 0; r < nY; ++r) se[r][k] = StandardError(common.errorVariance[k][r] + parameters[r][r]);
  }
  return 1;
}

}  // namespace tessel
