// Variance recursions over 1,000,000 and regime recursions over 100,000 observations, against loops written for the one
// case: GARCH(1,1), and a number of regimes that the compiler knows. They give the same results.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "volatility/garch.h"
#include "volatility/markov.h"

using namespace tessel;

namespace {

constexpr int kLong = 1000000, kObservations = 100000;

std::vector<double> NormalSeries(int n) {
  std::mt19937_64 generator(1);
  std::normal_distribution<double> normal;
  std::vector<double> series(static_cast<std::size_t>(n));
  for (double &value : series) value = normal(generator);
  return series;
}

void GarchTessel(benchmark::State &state) {
  const std::vector<double> y = NormalSeries(kLong), c(kLong, 0.05);
  const double alpha = 0.1, beta = 0.85;
  std::vector<double> h(kLong), e(kLong);
  GarchModel model;
  model.arch = {&alpha, 1};
  model.garch = {&beta, 1};
  for (auto _ : state) {
    GarchVariances(model, {y, c}, {h, e});
    benchmark::ClobberMemory();
  }
}

void GarchPlain(benchmark::State &state) {
  const std::vector<double> y = NormalSeries(kLong), c(kLong, 0.05);
  std::vector<double> h(kLong), e(kLong);
  const double alpha = 0.1, beta = 0.85;
  for (auto _ : state) {
    double start = 0.0;
    for (double value : y) start += value * value;
    start /= kLong;
    double square = start, variance = start;
    for (std::size_t t = 0; t < kLong; ++t) {
      h[t] = variance = c[t] + alpha * square + beta * variance;
      e[t] = y[t];
      square = e[t] * e[t];
    }
    benchmark::ClobberMemory();
  }
}

template <int n>
struct Regimes {
  Regimes()
      : density(kObservations * n),
        filtered(kObservations * n),
        smoothed(kObservations * n),
        likelihood(kObservations) {
    std::mt19937_64 generator(1);
    std::uniform_real_distribution<double> uniform(0.05, 1.0);
    for (double &value : density) value = uniform(generator);
    for (int i = 0; i < n; ++i) {
      prior[i] = 1.0 / n;
      for (int j = 0; j < n; ++j) transition[i][j] = i == j ? 0.9 : 0.1 / (n - 1);
    }
    (void)Filter();
  }
  Status Filter() {
    return MarkovFilter({density.data(), kObservations, n}, {transition[0], n, n}, prior, likelihood,
                        {filtered.data(), kObservations, n});
  }
  Status Smooth() {
    return MarkovSmoother({filtered.data(), kObservations, n}, {transition[0], n, n},
                          {smoothed.data(), kObservations, n}, {moves[0], n, n});
  }
  std::vector<double> density, filtered, smoothed, likelihood;
  double prior[n], transition[n][n], moves[n][n];
};

template <int n>
void FilterTessel(benchmark::State &state) {
  Regimes<n> r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(r.Filter());
    benchmark::ClobberMemory();
  }
}

template <int n>
void FilterPlain(benchmark::State &state) {
  Regimes<n> r;
  for (auto _ : state) {
    double prior[n];
    for (int j = 0; j < n; ++j) prior[j] = r.prior[j];
    for (std::size_t t = 0; t < kObservations; ++t) {
      double joint[n], sum = 0.0;
      for (std::size_t j = 0; j < n; ++j) sum += joint[j] = prior[j] * r.density[t * n + j];
      r.likelihood[t] = sum;
      for (std::size_t j = 0; j < n; ++j) r.filtered[t * n + j] = joint[j] /= sum;
      for (int i = 0; i < n; ++i) {
        prior[i] = 0.0;
        for (int j = 0; j < n; ++j) prior[i] += r.transition[i][j] * joint[j];
      }
    }
    benchmark::ClobberMemory();
  }
}

template <int n>
void SmootherTessel(benchmark::State &state) {
  Regimes<n> r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(r.Smooth());
    benchmark::ClobberMemory();
  }
}

template <int n>
void SmootherPlain(benchmark::State &state) {
  Regimes<n> r;
  for (auto _ : state) {
    double next[n], moves[n][n] = {};
    for (int j = 0; j < n; ++j)
      next[j] = r.smoothed[(kObservations - 1) * n + j] = r.filtered[(kObservations - 1) * n + j];
    for (std::size_t t = kObservations - 1; t-- > 0;) {
      double back[n] = {};
      const double *now = r.filtered.data() + t * n;
      for (int i = 0; i < n; ++i) {
        double predicted = 0.0;
        for (int j = 0; j < n; ++j) predicted += r.transition[i][j] * now[j];
        const double ratio = predicted <= 1e-100 ? next[i] * 1e100 : next[i] / predicted;
        for (int j = 0; j < n; ++j) {
          moves[i][j] += ratio * r.transition[i][j] * now[j];
          back[j] += ratio * r.transition[i][j];
        }
      }
      for (std::size_t j = 0; j < n; ++j) {
        const double value = back[j] * now[j];
        r.smoothed[t * n + j] = next[j] = value <= 1e-100 ? 0.0 : value > 1.0 ? 1.0 : value;
      }
    }
    benchmark::DoNotOptimize(moves);
    benchmark::ClobberMemory();
  }
}

BENCHMARK(GarchTessel)->Name("garch(1,1)/1000000/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK(GarchPlain)->Name("garch(1,1)/1000000/plain")->Unit(benchmark::kMicrosecond);
BENCHMARK(FilterTessel<2>)->Name("regime filter/100000x2/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK(FilterPlain<2>)->Name("regime filter/100000x2/plain")->Unit(benchmark::kMicrosecond);
BENCHMARK(FilterTessel<4>)->Name("regime filter/100000x4/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK(FilterPlain<4>)->Name("regime filter/100000x4/plain")->Unit(benchmark::kMicrosecond);
BENCHMARK(SmootherTessel<2>)->Name("regime smoother/100000x2/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK(SmootherPlain<2>)->Name("regime smoother/100000x2/plain")->Unit(benchmark::kMicrosecond);
BENCHMARK(SmootherTessel<4>)->Name("regime smoother/100000x4/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK(SmootherPlain<4>)->Name("regime smoother/100000x4/plain")->Unit(benchmark::kMicrosecond);

}  // namespace
