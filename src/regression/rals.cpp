// Least squares with autoregressive errors.
#include "regression/rals.h"

#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/recursive_updates.h"

namespace tessel {

namespace {

// u(t): a plain residual.
double Residual(const RalsModel &model, int t) {
  double fit = 0.0;
  for (int i = 0; i < model.x.columns; ++i) fit += model.x[t][i] * model.theta[i];
  return model.y[t] - fit;
}

// e(t), from the residuals u of t and of the lags before it.
double Innovation(const RalsModel &model, const double *u, int t) {
  const double *rho = model.theta.data() + model.x.columns;
  const int lags = model.LagCount();
  double lagged = 0.0;
  for (int l = 0; l < lags; ++l) lagged += rho[l] * u[t - model.lagFirst - l];
  return u[t] - lagged;
}

// d(t): minus the derivative of e(t) by the parameters.
void Derivatives(const RalsModel &model, const double *u, int t, std::span<double> d) {
  const int k = model.x.columns, lags = model.LagCount();
  const double *rho = model.theta.data() + k;
  for (int i = 0; i < k; ++i) {
    double lagged = 0.0;
    for (int l = 0; l < lags; ++l) lagged += rho[l] * model.x[t - model.lagFirst - l][i];
    d[i] = model.x[t][i] - lagged;
  }
  for (int l = 0; l < lags; ++l) d[k + l] = u[t - model.lagFirst - l];
}

Status DerivativePass(const RalsModel &model, const double *u, std::span<double> gradient, Matrix matrix) {
  const int parameters = model.ParameterCount(), observations = model.x.rows;
  std::fill(gradient.begin(), gradient.end(), 0.0);
  FillZero(matrix);
  const OwnedBlock<double> block(parameters);
  if (!block) return Status::NoMemory;
  const std::span<double> d = {block.get(), model.theta.size()};

  for (int t = model.start; t < observations; ++t) {
    const double innovation = Innovation(model, u, t);
    Derivatives(model, u, t, d);
    for (std::size_t i = 0; i < gradient.size(); ++i) gradient[i] -= d[i] * innovation;
    AddOuterLower(matrix, d);
  }
  for (double &cell : gradient) cell *= 2.0;
  for (int i = 0; i < matrix.rows; ++i)
    for (int j = 0; j <= i; ++j) matrix[i][j] *= 2.0;
  MirrorLower(matrix);
  return Status::Ok;
}

}  // namespace

Status RalsObjective(const RalsModel &model, const RalsOutputs &out, double *objective) {
  const int observations = model.x.rows;
  double *u = out.residuals.data();  // innovations in the end
  for (int t = 0; t < model.start; ++t) u[t] = Residual(model, t);
  double sum = 0.0;
  for (int t = model.start; t < observations; ++t) {
    u[t] = Residual(model, t);
    const double innovation = Innovation(model, u, t);
    sum += innovation * innovation;
  }
  *objective = sum;

  Status status = Status::Ok;
  if (!out.gradient.empty() || out.matrix) status = DerivativePass(model, u, out.gradient, out.matrix);
  // Downwards, so that the lags of every innovation are still residuals.
  for (int t = observations - 1; t >= model.start; --t) u[t] = Innovation(model, u, t);
  return status;
}

namespace {

// The work of a forecast.
struct Regression {
  explicit Regression(const RalsModel &model)
      : d(model.ParameterCount(), 1),
        cross(model.ParameterCount(), model.ParameterCount()),
        u(model.x.rows),
        g(OwnedBlock<double>::Zeroed(model.ParameterCount())) {}

  bool Allocated() const { return d && cross && u && g; }

  OwnedMatrix d;      // d(t), a column
  OwnedMatrix cross;  // D'D
  OwnedBlock<double> u, g;
};

void ForecastErrors(const RalsModel &model, const Regression &work, std::span<double> errors) {
  const int parameters = model.ParameterCount(), observations = model.x.rows;
  const int firstForecast = observations - static_cast<int>(errors.size());
  const std::span<double> d = work.d.View().Flat();
  FillZero(work.cross);
  for (int t = observations - 1; t >= model.start; --t) {
    Derivatives(model, work.u.get(), t, d);
    AddOuterLower(work.cross, d);
    if (t < firstForecast) continue;
    const double error = errors[t - firstForecast] = Innovation(model, work.u.get(), t);
    for (int i = 0; i < parameters; ++i) work.g[i] += error * d[i];
  }
  MirrorLower(work.cross);
}

}  // namespace

Status RalsForecast(const RalsModel &model, ConstMatrix parCov, const RalsForecasts &out, double *explained) {
  const int parameters = model.ParameterCount(), observations = model.x.rows;
  const auto noMemory = [&] {
    for (const std::span<double> cells : {out.errors, out.scales})
      std::fill(cells.begin(), cells.end(), MissingValue());
    return Status::NoMemory;
  };
  const Regression work(model);
  if (!work.Allocated()) return noMemory();
  for (int t = 0; t < observations; ++t) work.u[t] = Residual(model, t);
  const int firstForecast = observations - static_cast<int>(out.scales.size());
  for (int t = firstForecast; t < observations; ++t) {
    Derivatives(model, work.u.get(), t, work.d.View().Flat());
    const double q = 1.0 + QuadFormColumn(0, work.d, parCov);
    out.scales[t - firstForecast] = q <= 0.0 ? 0.0 : std::sqrt(q);
  }
  ForecastErrors(model, work, out.errors);

  const Status inverted = MatInvertSpd(work.cross);
  if (inverted == Status::NoMemory) return noMemory();
  if (Failed(inverted)) return inverted;
  double sum = 0.0;
  for (int i = 0; i < parameters; ++i)
    for (int j = 0; j < parameters; ++j) sum += work.g[i] * work.cross[i][j] * work.g[j];
  *explained = sum;
  return Status::Ok;
}

}  // namespace tessel
