// Least squares with autoregressive errors.
#include "regression/rals.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/accumulation.h"

namespace tessel {

namespace {

// u(t): a plain residual.
double Residual(const RalsModel &model, int t) {
  double fit = 0.0;
  for (int i = 0; i < model.k; ++i) fit += model.x[t][i] * model.theta[i];
  return model.y[t][0] - fit;
}

// e(t), from the residuals u of t and of the lags before it.
double Innovation(const RalsModel &model, const double *u, int t) {
  double lagged = 0.0;
  for (int l = 0; l < model.lagCount; ++l) lagged += model.theta[model.k + l] * u[t - model.lagFirst - l];
  return u[t] - lagged;
}

// d(t): minus the derivative of e(t) by the parameters.
void Derivatives(const RalsModel &model, const double *u, int t, double *d) {
  const int k = model.k;
  for (int i = 0; i < k; ++i) {
    double lagged = 0.0;
    for (int l = 0; l < model.lagCount; ++l) lagged += model.theta[k + l] * model.x[t - model.lagFirst - l][i];
    d[i] = model.x[t][i] - lagged;
  }
  for (int l = 0; l < model.lagCount; ++l) d[k + l] = u[t - model.lagFirst - l];
}

void DerivativePass(const RalsModel &model, const double *u, RowMatrix gradient, RowMatrix matrix) {
  const int parameters = model.ParameterCount();
  if (gradient != nullptr) MatZero(gradient, parameters, 1);
  if (matrix != nullptr) MatZero(matrix, parameters, parameters);
  const OwnedBlock<double> d(parameters);
  if (!d) return;

  for (int t = model.start; t <= model.last; ++t) {
    const double innovation = Innovation(model, u, t);
    Derivatives(model, u, t, d.get());
    for (int i = 0; i < parameters && gradient != nullptr; ++i) gradient[i][0] -= d[i] * innovation;
    if (matrix != nullptr) AddOuterLower(matrix, d.get(), parameters);
  }
  for (int i = 0; i < parameters; ++i) {
    if (gradient != nullptr) gradient[i][0] *= 2.0;
    for (int j = 0; j <= i && matrix != nullptr; ++j) matrix[i][j] *= 2.0;
  }
  if (matrix != nullptr) MirrorLower(ViewOf(matrix, parameters, parameters));
}

}  // namespace

double RalsObjective(const RalsModel &model, double *residuals, RowMatrix gradient, RowMatrix matrix) {
  double *u = residuals;  // innovations in the end
  for (int t = model.first; t < model.start; ++t) u[t] = Residual(model, t);
  double objective = 0.0;
  for (int t = model.start; t <= model.last; ++t) {
    u[t] = Residual(model, t);
    const double innovation = Innovation(model, u, t);
    objective += innovation * innovation;
  }

  if (gradient != nullptr || matrix != nullptr) DerivativePass(model, u, gradient, matrix);

  // Downwards, so that the lags of every innovation are still residuals.
  for (int t = model.last; t >= model.start; --t) u[t] = Innovation(model, u, t);
  return objective;
}

double RalsForecast(const RalsModel &model, int horizon, RowMatrix parCov, RowMatrix errors, RowMatrix scales) {
  MatFillMissing(errors, horizon, 1);
  MatFillMissing(scales, horizon, 1);
  const int parameters = model.ParameterCount(), firstForecast = model.last - horizon + 1;
  const OwnedRows d(parameters, 1), cross(parameters, parameters);
  const OwnedBlock<double> u(static_cast<std::int64_t>(model.last) + 1), g(parameters);
  if (!d || !u || !g || !cross) return 0.0;

  for (int t = model.first; t <= model.last; ++t) u[t] = Residual(model, t);
  for (int t = firstForecast; t <= model.last; ++t) {
    Derivatives(model, u.get(), t, d[0]);
    const double q = 1.0 + QuadFormColumn(0, ViewOf(d.get(), parameters, 1), ViewOf(parCov, parameters, parameters));
    scales[t - firstForecast][0] = q <= 0.0 ? 0.0 : std::sqrt(q);
  }

  MatZero(cross.get(), parameters, parameters);
  std::fill_n(g.get(), parameters, 0.0);
  for (int t = model.last; t >= model.start; --t) {
    Derivatives(model, u.get(), t, d[0]);
    AddOuterLower(cross.get(), d[0], parameters);
    if (t < firstForecast) continue;
    const double error = Innovation(model, u.get(), t);
    errors[t - firstForecast][0] = error;
    for (int i = 0; i < parameters; ++i) g[i] += error * d[0][i];
  }
  const Matrix crossView = ViewOf(cross.get(), parameters, parameters);
  MirrorLower(crossView);
  // Without memory the inverse is missing, and so is the statistic.
  const Status inverted = MatInvertSpd(crossView);
  if (Failed(inverted) && inverted != Status::NoMemory) return 0.0;
  double statistic = 0.0;
  for (int i = 0; i < parameters; ++i)
    for (int j = 0; j < parameters; ++j) statistic += g[i] * cross[i][j] * g[j];
  return statistic;
}

}  // namespace tessel
