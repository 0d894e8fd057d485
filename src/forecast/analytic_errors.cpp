// Standard errors in closed form.
#include <cmath>

#include "forecast/forecast_errors.h"
#include "linalg/dot_product.h"
#include "linalg/moments.h"
#include "linalg/products.h"

namespace tessel {

namespace {

// Psi_0 = I, Psi_i = sum over the lags l of Psi_(i-l) A_l: the leading blocks of the powers of the companion matrix.
void MovingAverageWeights(const ForecastModel &model, int steps, Matrix weights) {
  const int nY = model.rows.nY;
  const auto psi = [&](int i) { return weights.Rows(i * nY, nY); };
  FillIdentity(psi(0));
  for (int i = 1; i < steps; ++i) {
    const Matrix current = psi(i);
    FillZero(current);
    for (int k = 0; k < model.index.nLag; ++k) {
      const auto [varIndex, lagOf] = model.index.terms[k];
      if (lagOf > i) continue;
      const Matrix earlier = psi(i - lagOf);
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
  const Matrix d = common.derivative;
  FillZero(d);
  for (int i = 0; i <= k; ++i) {
    const double *x = common.regressors[k - i];
    for (int r = 0; r < nY; ++r)
      for (int c = 0; c < nY; ++c) {
        const double weight = common.weights[std::int64_t{i} * nY + r][c];
        double *cells = d[r] + c * nX;
        for (int j = 0; j < nX; ++j) cells[j] += weight * x[j];
      }
  }
}

}  // namespace

double StandardError(double variance) { return variance > 0.0 ? std::sqrt(variance) : 0.0; }

Status ParameterVariance(const ForecastUncertainty &uncertainty, ConstMatrix d, Matrix variance) {
  if (!uncertainty.q) return MatSandwich(d, uncertainty.v, variance);
  const OwnedMatrix dq(d.rows, uncertainty.q.columns);
  if (!dq) return Status::NoMemory;
  MatMul(d, uncertainty.q, dq);
  return MatSandwich(dq, uncertainty.v, variance);
}

Status NewAnalyticErrors(const ForecastModel &model, const ForecastUncertainty &uncertainty, int steps,
                         AnalyticErrors *common) {
  const int nY = model.rows.nY, nX = model.rows.nX;
  const std::int64_t stacked = std::int64_t{steps} * nY;
  const OwnedMatrix weighted(stacked, nY);
  common->weights = OwnedMatrix(stacked, nY);
  common->errorVariance = OwnedMatrix(steps, nY);
  common->regressors = OwnedMatrix(steps, nX);
  common->derivative = OwnedMatrix(nY, std::int64_t{nY} * nX);
  common->parameters = OwnedMatrix(nY, nY);
  if (!common->weights || !common->errorVariance || !common->regressors || !common->derivative || !common->parameters ||
      !weighted)
    return Status::NoMemory;

  // One product for the Psi_i Omega of all steps; of Psi_i Omega Psi_i' the diagonal alone is needed.
  MovingAverageWeights(model, steps, common->weights);
  MatMul(common->weights, uncertainty.omega, weighted);
  double *variance = common->errorVariance[0];
  for (std::int64_t row = 0; row < stacked; ++row)
    variance[row] = (row < nY ? 0.0 : variance[row - nY]) + DotProduct(weighted[row], common->weights[row], nY);
  return Status::Ok;
}

Status AnalyticForecastSE(const AnalyticErrors &common, const ForecastModel &model,
                          const ForecastUncertainty &uncertainty, PassColumns pass, int firstStep, Matrix se) {
  const int nY = model.rows.nY, nX = model.rows.nX;
  const OwnedMatrix &parameters = common.parameters;
  FillZero(parameters);
  for (int k = 0; k < pass.Count(); ++k) {
    for (int j = 0; j < nX; ++j) common.regressors[k][j] = model.rows.regressor[j][pass.a + k];
    if (k < firstStep) continue;
    if (uncertainty.v) {
      CoefficientDerivative(common, k, nY, nX);
      if (const Status status = ParameterVariance(uncertainty, common.derivative, parameters); Failed(status))
        return status;
    }
    for (int r = 0; r < nY; ++r) se[r][k] = StandardError(common.errorVariance[k][r] + parameters[r][r]);
  }
  return Status::Ok;
}

}  // namespace tessel
