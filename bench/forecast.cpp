// Forecasts and impulse responses against minimal loops for the same outputs. tools/forecast_statsmodels_times.py times
// statsmodels on the VAR(4) systems.
#include <benchmark/benchmark.h>
#include <tessel/tessel.h>

#include <array>
#include <cmath>
#include <morv/host.hpp>
#include <vector>

#include "default_workspace.h"

namespace {

constexpr int kY = 3, kLags = 4, kX = kY * kLags + 1, kStart = 8, kCoefficients = kY * kX;

// A stable VAR(4) with a constant, from a short history.
struct System {
  int steps, T;
  std::vector<double> y, x, pi, omega, v, identities, kinds, lags;

  explicit System(int count) : steps(count), T(kStart + count) {
    for (int i = 0; i < kY * kStart; ++i) y.push_back(std::sin(i));
    for (int k = 0; k < kX; ++k) x.insert(x.end(), static_cast<std::size_t>(T), k == kX - 1 ? 1.0 : 0.0);
    for (int i = 0; i < kY * kX; ++i) pi.push_back(0.06 * std::cos(2.0 * i) + (i % (kX + kLags) == 0 ? 0.4 : 0));
    omega = {1, 0.2, 0.1, 0.2, 0.8, 0.3, 0.1, 0.3, 1.5};
    for (int i = 0; i < kCoefficients; ++i)
      for (int j = 0; j < kCoefficients; ++j) v.push_back(i == j ? 0.01 : 0.001 * std::cos(i - j));
    for (int variable = 0; variable < kY; ++variable)
      for (int lag = 0; lag <= kLags; ++lag) Describe(variable, 1, lag);
    Describe(kY, 2, 0);
  }
  void Describe(int variable, int kind, int lag) {
    identities.push_back(variable), kinds.push_back(kind), lags.push_back(lag);
  }
  morv::Arguments Arguments() const {
    morv::Arguments args;
    const int variables = kY + kX;
    args.Matrix(y.data(), kY, kStart).Matrix(x.data(), kX, T).Integer(kStart).Integer(T - 1).Integer(1);
    args.Integer(1).Integer(3).Matrix(identities.data(), 1, variables).Matrix(kinds.data(), 1, variables);
    args.Matrix(lags.data(), 1, variables).Matrix(pi.data(), kY, kX).Matrix(omega.data(), kY, kY);
    return args;
  }
};

void ForecastTessel(benchmark::State &state, int steps, bool coefficients) {
  const System system(steps);
  morv::Value se;
  morv::Arguments args = system.Arguments();
  if (coefficients) args.Matrix(system.v.data(), kCoefficients, kCoefficients);
  if (!coefficients) args.Decline();
  args.Decline().Integer(0).Integer(0).Output(se).Integer(0).Integer(kStart - 1);
  for (auto _ : state) benchmark::DoNotOptimize(morv::Call("FnDynForc", FnDynForc, args).Returned());
}

using Square = std::array<std::array<double, kY>, kY>;

// The recursion, with the derivatives D_t = sum of A_l D_(t-l) + I (x) x_t and their quadratic form.
void ForecastPlain(benchmark::State &state, int steps, bool coefficients) {
  const System system(steps);
  const auto n = static_cast<std::size_t>(steps), C = static_cast<std::size_t>(kCoefficients);
  const auto pi = [&](int r, int variable, int lag) {
    return system.pi[static_cast<std::size_t>(r * kX + variable * kLags + lag - 1)];
  };
  for (auto _ : state) {
    std::vector<double> out(kY * n), se(kY * n), row(C);
    std::vector<std::array<double, kY>> y(kStart + n);
    for (std::size_t t = 0; t < kStart; ++t)
      for (std::size_t i = 0; i < kY; ++i) y[t][i] = system.y[i * kStart + t];
    std::vector<Square> psi(n);
    std::vector<std::vector<double>> d(n, std::vector<double>(kY * C));
    Square sum{};
    for (std::size_t k = 0; k < n; ++k) {
      double x[kX];
      for (std::size_t v = 0; v < kY; ++v)
        for (std::size_t l = 1; l <= kLags; ++l) x[v * kLags + l - 1] = y[kStart + k - l][v];
      x[kX - 1] = 1;
      for (std::size_t r = 0; r < kY; ++r) {
        double value = 0;
        for (std::size_t j = 0; j < kX; ++j) value += system.pi[r * kX + j] * x[j];
        out[r * n + k] = y[kStart + k][r] = value;
        psi[k][r][r] = k == 0;
        for (std::size_t j = 0; j < kX; ++j) d[k][r * C + r * kX + j] = x[j];
      }
      for (std::size_t l = 1; l <= kLags && l <= k; ++l)
        for (int r = 0; r < kY; ++r)
          for (int s = 0; s < kY; ++s) {
            const double a = pi(r, s, static_cast<int>(l));
            const auto R = static_cast<std::size_t>(r), S = static_cast<std::size_t>(s);
            for (std::size_t c = 0; c < kY; ++c) psi[k][R][c] += a * psi[k - l][S][c];
            for (std::size_t c = 0; coefficients && c < C; ++c) d[k][R * C + c] += a * d[k - l][S * C + c];
          }
      for (std::size_t r = 0; r < kY; ++r) {
        for (std::size_t i = 0; i < kY; ++i)
          for (std::size_t j = 0; j < kY; ++j) sum[r][r] += psi[k][r][i] * system.omega[i * kY + j] * psi[k][r][j];
        double variance = sum[r][r];
        for (std::size_t i = 0; coefficients && i < C; ++i) {
          double form = 0;
          for (std::size_t j = 0; j < C; ++j) form += system.v[i * C + j] * d[k][r * C + j];
          variance += form * d[k][r * C + i];
        }
        se[r * n + k] = std::sqrt(variance);
      }
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::DoNotOptimize(se.data());
  }
}

void ImpulseTessel(benchmark::State &state, int steps) {
  const System system(steps);
  morv::Arguments args = system.Arguments();
  args.Decline().Decline().Integer(1).Integer(2);
  for (auto _ : state) benchmark::DoNotOptimize(morv::Call("FnImpulse", FnImpulse, args).Returned());
}

void ImpulsePlain(benchmark::State &state, int steps) {
  const System system(steps);
  const auto n = static_cast<std::size_t>(steps);
  for (auto _ : state) {
    std::vector<double> y(kY * (kLags + n)), out(kY * n);
    const double l11 = std::sqrt(system.omega[4] - system.omega[3] * system.omega[3]);
    y[kY * kLags + 1] = l11;
    y[kY * kLags + 2] = (system.omega[7] - system.omega[6] * system.omega[3]) / l11;
    for (std::size_t t = 1; t < n; ++t)
      for (std::size_t r = 0; r < kY; ++r) {
        double sum = 0;
        for (std::size_t v = 0; v < kY; ++v)
          for (std::size_t l = 1; l <= kLags; ++l)
            sum += system.pi[r * kX + v * kLags + l - 1] * y[kY * (kLags + t - l) + v];
        y[kY * (kLags + t) + r] = sum;
      }
    for (std::size_t r = 0; r < kY; ++r)
      for (std::size_t t = 0; t < n; ++t) out[r * n + t] = y[kY * (kLags + t) + r];
    benchmark::DoNotOptimize(out.data());
  }
}

// A workspace of the three variables with three identities; the history before the forecasts has been run.
struct Workspace {
  explicit Workspace(const System &system) {
    std::vector<double> cells(static_cast<std::size_t>(kY * system.T), 0.0);
    const std::vector<std::string> names = {"a", "b", "c"};
    morv::Arguments open;
    open.Matrix(cells.data(), system.T, kY).Strings(names).Integer(1).Integer(1).Integer(1).Integer(0);
    open.Text("level = trend() == 1 ? 100 : level[-1] * exp(a / 100); ratio = exp(b - c); growth = a - a[-1];");
    morv::Call("FnInitAlgebraNls", FnInitAlgebraNls, open.Decline().Decline());
    if (tessel::Failed(tessel::DefaultWorkspace().Run(0, kStart - 1))) std::abort();
  }
  ~Workspace() {
    morv::Arguments none;
    morv::Call("FnExitAlgebraNls", FnExitAlgebraNls, none);
  }
};

void IdentitiesTessel(benchmark::State &state, int steps, bool coefficients) {
  const System system(steps);
  const Workspace workspace(system);
  morv::Value se;
  morv::Arguments args = system.Arguments();
  if (coefficients) args.Matrix(system.v.data(), kCoefficients, kCoefficients);
  if (!coefficients) args.Decline();
  args.Decline().Integer(0).Integer(0).Output(se).Integer(1).Integer(kStart - 1);
  for (auto _ : state) benchmark::DoNotOptimize(morv::Call("FnDynForc", FnDynForc, args).Returned());
}

// The runs of the program alone: two passes, and two for each value that is disturbed.
void MachineAlone(benchmark::State &state, int steps, bool coefficients) {
  const System system(steps);
  const Workspace workspace(system);
  const int derivatives = kY + (coefficients ? kCoefficients : 0);
  for (auto _ : state)
    for (int pass = 0; pass < 2 + 2 * derivatives; ++pass)
      for (int t = kStart; t < system.T; ++t)
        benchmark::DoNotOptimize(tessel::DefaultWorkspace().Run(pass < 2 ? kStart : kStart - 1, t));
}

constexpr auto kMicro = benchmark::kMicrosecond;
constexpr auto kMilli = benchmark::kMillisecond;
BENCHMARK_CAPTURE(ForecastTessel, 1, 100, false)->Name("FnDynForc, errors/VAR(4) of 3, 100 steps/tessel")->Unit(kMicro);
BENCHMARK_CAPTURE(ForecastPlain, 1, 100, false)->Name("FnDynForc, errors/VAR(4) of 3, 100 steps/plain loops");
BENCHMARK_CAPTURE(ForecastTessel, 2, 24, true)->Name("FnDynForc, coefficients/VAR(4) of 3, 24 steps/tessel");
BENCHMARK_CAPTURE(ForecastPlain, 2, 24, true)->Name("FnDynForc, coefficients/VAR(4) of 3, 24 steps/plain loops");
BENCHMARK_CAPTURE(ForecastTessel, 3, 40, true)->Name("FnDynForc, coefficients/VAR(4) of 3, 40 steps/tessel");
BENCHMARK_CAPTURE(ForecastPlain, 3, 40, true)->Name("FnDynForc, coefficients/VAR(4) of 3, 40 steps/plain loops");
BENCHMARK_CAPTURE(IdentitiesTessel, 4, 40, false)->Name("FnDynForc, 3 identities/40 steps/tessel")->Unit(kMicro);
BENCHMARK_CAPTURE(MachineAlone, 4, 40, false)->Name("FnDynForc, 3 identities/40 steps/machine alone")->Unit(kMicro);
BENCHMARK_CAPTURE(IdentitiesTessel, 5, 40, true)
    ->Name("FnDynForc, 3 identities, coefficients/40 steps/tessel")
    ->Unit(kMilli);
BENCHMARK_CAPTURE(MachineAlone, 5, 40, true)
    ->Name("FnDynForc, 3 identities, coefficients/40 steps/machine alone")
    ->Unit(kMilli);
BENCHMARK_CAPTURE(ImpulseTessel, 6, 100)->Name("FnImpulse/VAR(4) of 3, 100 periods/tessel");
BENCHMARK_CAPTURE(ImpulsePlain, 6, 100)->Name("FnImpulse/VAR(4) of 3, 100 periods/plain loop");

}  // namespace
