// The recursions and the moment covariance against plain loops for the same outputs. tools/regression_times.py times
// statsmodels and R on the same data.
#include <benchmark/benchmark.h>
#include <tessel/tessel.h>
#include <morv/host.hpp>

#include <cmath>
#include <string>
#include <vector>

namespace {

// A constant and k - 1 regressors without pattern, and their sum with noise; the same as in regression_times.py.
struct Data {
  int T, k;
  std::vector<double> x, y, z;  // z: y, x and two more variables in rows, regressor 0 (the constant) last of x
  double X(int t, int i) const { return i == 0 ? 1.0 : std::sin(0.7 * (t + 1) * i + 0.001 * t * t * i); }
  Data(int observations, int regressors) : T(observations), k(regressors) {
    for (int t = 0; t < T; ++t) {
      double sum = std::cos(0.013 * t * t);
      for (int i = 0; i < k; ++i) {
        x.push_back(X(t, i));
        sum += X(t, i);
      }
      y.push_back(sum);
    }
    z = y;
    for (int row = 0; row < k + 2; ++row)
      for (int t = 0; t < T; ++t) z.push_back(X(t, (row + 1) % (k + 2)));
  }
};

void Tessel(benchmark::State &state, const char *name, MorvFunction function, morv::Arguments &args) {
  for (auto _ : state) benchmark::DoNotOptimize(morv::Call(name, function, args).Returned());
}

void RlsTessel(benchmark::State &state, int T, int k) {
  const Data data(T, k);
  std::vector<morv::Value> outputs(7);
  morv::Arguments args;
  args.Matrix(data.y.data(), T, 1).Matrix(data.x.data(), T, k).Integer(0).Integer(T - 1).Integer(-1);
  for (morv::Value &output : outputs) args.Output(output);
  Tessel(state, "FnRlsEst", FnRlsEst, args);
}

// The textbook recursion from a diffuse start: nothing is ever solved anew.
void RlsPlain(benchmark::State &state, int T, int k) {
  const Data data(T, k);
  const auto K = static_cast<std::size_t>(k), N = static_cast<std::size_t>(T);
  for (auto _ : state) {
    std::vector<double> P(K * K), beta(K), gain(K), betaPath(K * N), diagonal(K * N), paths(5 * N);
    for (std::size_t i = 0; i < K; ++i) P[i * K + i] = 1e7;
    double rss = 0;
    for (std::size_t t = 0; t < N; ++t) {
      const double *x = data.x.data() + t * K;
      double q = 1, e = data.y[t], r = data.y[t];
      for (std::size_t i = 0; i < K; ++i) {
        double sum = 0;
        for (std::size_t j = 0; j < K; ++j) sum += P[i * K + j] * x[j];
        gain[i] = sum;
        q += x[i] * sum;
        e -= x[i] * beta[i];
      }
      for (std::size_t i = 0; i < K; ++i) {
        for (std::size_t j = 0; j < K; ++j) P[i * K + j] -= gain[i] * gain[j] / q;
        beta[i] += gain[i] * e / q;
        r -= x[i] * beta[i];
        betaPath[i * N + t] = beta[i];
        diagonal[i * N + t] = P[i * K + i];
      }
      rss += e * e / q;
      double *out = paths.data() + t;
      out[0] = e / std::sqrt(q), out[N] = e, out[2 * N] = rss, out[3 * N] = r;
      out[4 * N] = -0.5 * std::log(rss / T);
    }
    benchmark::DoNotOptimize(betaPath.data());
    benchmark::DoNotOptimize(paths.data());
  }
}

void RivTessel(benchmark::State &state, int T, int k) {
  const Data data(T, k);
  std::vector<morv::Value> outputs(6);
  morv::Arguments args;
  args.Matrix(data.z.data(), k + 3, T).Integer(2).Integer(k).Integer(2).Integer(0).Integer(T - 1).Integer(20);
  for (morv::Value &output : outputs) args.Output(output);
  Tessel(state, "FnRivEst", FnRivEst, args);
}

void CovarianceTessel(benchmark::State &state, int T, int k) {
  const Data data(T, k);
  morv::Arguments args;
  args.Matrix(data.x.data(), T, k).Matrix(data.y.data(), T, 1).Integer(1);
  Tessel(state, "FnGLScovariance", FnGLScovariance, args);
}

// The moments kept, then one pass over them for each lag.
void CovariancePlain(benchmark::State &state, int T, int k) {
  const Data data(T, k);
  const auto K = static_cast<std::size_t>(k), N = static_cast<std::size_t>(T);
  const auto lags = static_cast<std::size_t>(4 * std::pow(T / 100.0, 2.0 / 9));
  for (auto _ : state) {
    std::vector<double> g(K * N), sum(K * K), lagged(K * K);
    for (std::size_t t = 0; t < N; ++t)
      for (std::size_t i = 0; i < K; ++i) g[t * K + i] = data.x[t * K + i] * data.y[t];
    for (std::size_t l = 0; l <= lags; ++l) {
      lagged.assign(K * K, 0);
      for (std::size_t t = l; t < N; ++t)
        for (std::size_t p = 0; p < K; ++p)
          for (std::size_t q = 0; q < K; ++q) lagged[p * K + q] += g[t * K + p] * g[(t - l) * K + q];
      const double w = 1 - static_cast<double>(l) / static_cast<double>(lags + 1);
      for (std::size_t p = 0; p < K; ++p)
        for (std::size_t q = 0; q < K; ++q)
          sum[p * K + q] += l == 0 ? lagged[p * K + q] : w * (lagged[p * K + q] + lagged[q * K + p]);
    }
    benchmark::DoNotOptimize(sum.data());
  }
}

// One exact step on k + 1 observations, and 49 rank-one steps more: the difference is theirs.
BENCHMARK_CAPTURE(RlsTessel, 4, 6, 5)->Name("FnRlsEst, no rank-one step/T=6 k=5/tessel");
BENCHMARK_CAPTURE(RlsPlain, 4, 6, 5)->Name("FnRlsEst, no rank-one step/T=6 k=5/plain recursion");
BENCHMARK_CAPTURE(RlsTessel, 5, 11, 10)->Name("FnRlsEst, no rank-one step/T=11 k=10/tessel");
BENCHMARK_CAPTURE(RlsPlain, 5, 11, 10)->Name("FnRlsEst, no rank-one step/T=11 k=10/plain recursion");
BENCHMARK_CAPTURE(RlsTessel, 0, 55, 5)->Name("FnRlsEst, 49 rank-one steps/T=55 k=5/tessel");
BENCHMARK_CAPTURE(RlsPlain, 0, 55, 5)->Name("FnRlsEst, 49 rank-one steps/T=55 k=5/plain recursion");
BENCHMARK_CAPTURE(RlsTessel, 1, 60, 10)->Name("FnRlsEst, 49 rank-one steps/T=60 k=10/tessel");
BENCHMARK_CAPTURE(RlsPlain, 1, 60, 10)->Name("FnRlsEst, 49 rank-one steps/T=60 k=10/plain recursion");
const bool registered = [] {
  for (const auto &[T, k] : {std::pair(2000, 2), {2000, 5}, {2000, 10}, {2000, 20}, {2000, 40}, {10000, 10}}) {
    const std::string name = "FnRlsEst/T=" + std::to_string(T) + " k=" + std::to_string(k) + "/";
    benchmark::RegisterBenchmark((name + "tessel").c_str(), RlsTessel, T, k)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "plain recursion").c_str(), RlsPlain, T, k)->Unit(benchmark::kMicrosecond);
  }
  return true;
}();
BENCHMARK_CAPTURE(RivTessel, 0, 500, 4)->Name("FnRivEst/T=500 k=4 m=2/tessel")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(CovarianceTessel, 0, 10000, 5)
    ->Name("FnGLScovariance/T=10000 5x1/tessel")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(CovariancePlain, 0, 10000, 5)
    ->Name("FnGLScovariance/T=10000 5x1/plain loops")
    ->Unit(benchmark::kMicrosecond);

}  // namespace
