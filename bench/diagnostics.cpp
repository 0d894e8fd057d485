// Fractional autocovariances and specification tests against plain loops for the same results. The plain loops are
// written for the one case, with fixed sizes where they can be: an ARMA(2,1) with complex roots, two variables with two
// lags each, and two models of a common and three own regressors that are their own instruments.
#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

#include "diagnostics/comfac.h"
#include "diagnostics/encompassing.h"
#include "diagnostics/fractional.h"
#include "special/gamma.h"

using namespace tessel;

namespace {

constexpr int kLags = 5000;
constexpr double kD = 0.3, kPhi[] = {1.1, -0.6}, kTheta[] = {0.4};

void FracTessel(benchmark::State &state) {
  std::vector<double> autocov(kLags);
  const FractionalProcess process = {kD, kPhi, kTheta, 1.0};
  for (auto _ : state) {
    int cutOffSeries = 0;
    benchmark::DoNotOptimize(FracSigma(process, autocov, &cutOffSeries));
    benchmark::DoNotOptimize(autocov.data());
    benchmark::ClobberMemory();
  }
}

// Sowell's formula over std::vector and std::complex; roots of the quadratic.
void FracPlain(benchmark::State &state) {
  using C = std::complex<double>;
  constexpr int p = 2, q = 1, A = kLags + q - p - 1;
  for (auto _ : state) {
    std::vector<double> autocov(kLags), g(kLags + 2 * q);
    std::vector<C> H(2 * A + 1);
    const double c0 = 1 + kTheta[0] * kTheta[0], c1 = kTheta[0];
    double r = g[A] = 1;
    for (int h = 1; A + h < kLags + 2 * q; ++h) {
      r *= (h - 1 + kD) / (h - kD);
      g[static_cast<std::size_t>(A + h)] = r;
      if (h <= A) g[static_cast<std::size_t>(A - h)] = r;
    }
    const C root = std::sqrt(C(kPhi[0] * kPhi[0] / 4 + kPhi[1])), roots[] = {kPhi[0] / 2 + root, kPhi[0] / 2 - root};
    for (int i = 0; i < p; ++i) {
      const C rho = roots[i];
      const C zeta = 1.0 / ((1.0 - rho * roots[0]) * (1.0 - rho * roots[1]) * (rho - roots[1 - i]));
      C term = (kD + A) / (1 - kD + A), sum = term;
      for (int k = 1; k <= 10000 && std::abs(term) >= 1e-14; ++k)
        sum += term *= rho * ((k + kD + A) / (k + 1 - kD + A));
      H[2 * A] = sum;
      for (int j = 2 * A - 1; j >= 0; --j)
        H[static_cast<std::size_t>(j)] =
            (1.0 + rho * H[static_cast<std::size_t>(j + 1)]) * ((j - A + kD) / (j - A + 1 - kD));
      const C R1 = rho * rho * rho, R2 = R1 * rho;
      const auto D = [&](int h) {
        return g[static_cast<std::size_t>(A + h)] *
               (R2 * H[static_cast<std::size_t>(A + h)] + R1 + H[static_cast<std::size_t>(A - h)]);
      };
      for (int k = 0; k < kLags; ++k) {
        const int h = p - k;
        autocov[static_cast<std::size_t>(k)] += (zeta * (c0 * D(h) + c1 * (D(h - 1) + D(h + 1)))).real();
      }
    }
    const double g0 = (1 - kD) * (1 - kD) / (1 - 2 * kD) * std::tgamma(2 - 2 * kD) / std::pow(std::tgamma(2 - kD), 2);
    for (double &x : autocov) x *= g0;
    benchmark::DoNotOptimize(autocov.data());
    benchmark::ClobberMemory();
  }
}

// y on two lags, x and two lags of it: r = 2 and r = 1.
constexpr double kCoefficients[] = {0.5, -0.2, 0.8, -0.3, 0.1};
constexpr double kVariance = 0.01;

void ComfacTessel(benchmark::State &state) {
  const double identity[] = {1, 1, 1, 2, 2, 2}, lag[] = {0, 1, 2, 0, 1, 2}, exclusion[6] = {};
  double cells[25] = {};
  for (int i = 0; i < 5; ++i) cells[6 * i] = kVariance;
  const ComfacEquation equation = {identity, lag, exclusion, kCoefficients, {cells, 5, 5}, 1.0, 1};
  for (auto _ : state) {
    ComfacResult result;
    benchmark::DoNotOptimize(ComfacTest(equation, &result));
  }
}

// The same restrictions in closed form: minors a_i b_j - a_j b_i for r = 2, the resultant for r = 1.
void ComfacPlain(benchmark::State &state) {
  const auto restrict2 = [](const double *v, double *g) {
    g[0] = -v[3] - v[0] * v[2];
    g[1] = -v[4] - v[1] * v[2];
  };
  const auto resultant = [](const double *v, double *g) {
    const double m01 = -v[3] - v[0] * v[2], m02 = -v[4] - v[1] * v[2], m12 = v[0] * v[4] - v[1] * v[3];
    g[0] = m01 * m12 - m02 * m02;
  };
  const auto wald = [&](const auto &restrictions, int n) {
    double v[5], g[2], above[2], below[2], G[2][5], S[2][2] = {};
    std::copy(std::begin(kCoefficients), std::end(kCoefficients), v);
    benchmark::DoNotOptimize(v);
    restrictions(v, g);
    for (int k = 0; k < 5; ++k) {
      const double x = v[k], s = std::max((std::fabs(x) + 1e-8) * 1e-8, 5e-6);
      v[k] = x + s;
      restrictions(v, above);
      v[k] = x - s;
      restrictions(v, below);
      v[k] = x;
      for (int i = 0; i < n; ++i) G[i][k] = (above[i] - below[i]) / (2 * s);
    }
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        for (int k = 0; k < 5; ++k) S[i][j] += kVariance * G[i][k] * G[j][k];
    if (n == 1) return g[0] * g[0] / S[0][0];
    return (g[0] * g[0] * S[1][1] - 2 * g[0] * g[1] * S[0][1] + g[1] * g[1] * S[0][0]) /
           (S[0][0] * S[1][1] - S[0][1] * S[0][1]);
  };
  for (auto _ : state) {
    double statistics[] = {wald(restrict2, 2), wald(resultant, 1)};
    benchmark::DoNotOptimize(statistics);
  }
}

// Row 0 of each model is y, row 1 the constant, rows 2 to 4 its own regressors.
struct Models {
  explicit Models(int observations) : T(observations), cells(static_cast<std::size_t>(8 * T)) {
    first = second = std::vector<double>(static_cast<std::size_t>(5 * T));
    std::mt19937_64 generator(1);
    std::normal_distribution<double> normal;
    for (int i = 0; i < 8; ++i) {
      rows[i] = cells.data() + static_cast<std::ptrdiff_t>(i) * T;
      for (int t = 0; t < T; ++t) rows[i][t] = i == 1 ? 1 : normal(generator);
    }
    for (int t = 0; t < T; ++t)
      for (int i = 1; i < 8; ++i) rows[0][t] += rows[i][t];
    for (int i = 0; i < 5; ++i) {
      std::copy_n(rows[i], T, first.data() + i * T);
      std::copy_n(rows[i < 2 ? i : i + 3], T, second.data() + i * T);
    }
  }
  int T;
  std::vector<double> cells, first, second;
  double *rows[8];
};

void EncompassingTessel(benchmark::State &state, int T) {
  Models m(T);
  const IvModel first = {{m.first.data(), 5, T}, 1, 4, 0}, second = {{m.second.data(), 5, T}, 1, 4, 0};
  for (auto _ : state) {
    EncompassingResult result;
    benchmark::DoNotOptimize(Encompassing(first, second, &result));
    benchmark::DoNotOptimize(result.statistics);
  }
}

// Moments of y and the 7 different regressors by one loop over the observations, which is where the time goes; then the
// two F statistics alone, by Gauss-Jordan elimination.
void EncompassingPlain(benchmark::State &state, int T) {
  const Models m(T);
  for (auto _ : state) {
    double S[8][8] = {};
    for (int i = 0; i < 8; ++i)
      for (int j = 0; j <= i; ++j) {
        double sum = 0;
        for (int t = 0; t < T; ++t) sum += m.rows[i][t] * m.rows[j][t];
        S[i][j] = S[j][i] = sum;
      }
    const auto rss = [&](std::initializer_list<int> regressors) {
      double A[8][8];
      std::copy(&S[0][0], &S[0][0] + 64, &A[0][0]);
      for (int k : regressors)
        for (int i = 0; i < 8; ++i) {
          if (i == k) continue;
          const double f = A[i][k] / A[k][k];
          for (int j = 0; j < 8; ++j) A[i][j] -= f * A[k][j];
        }
      return A[0][0];
    };
    const double joint = rss({1, 2, 3, 4, 5, 6, 7}), s = joint / (T - 7);
    double statistics[] = {(rss({1, 2, 3, 4}) - joint) / (3 * s), (rss({1, 5, 6, 7}) - joint) / (3 * s)};
    benchmark::DoNotOptimize(statistics);
  }
}

BENCHMARK(FracTessel)->Name("fractional autocovariances/5000/tessel");
BENCHMARK(FracPlain)->Name("fractional autocovariances/5000/plain");
BENCHMARK(ComfacTessel)->Name("comfac/2x2 lags/tessel");
BENCHMARK(ComfacPlain)->Name("comfac/2x2 lags/plain");
BENCHMARK_CAPTURE(EncompassingTessel, T, 200)->Name("encompassing/200x8/tessel");
BENCHMARK_CAPTURE(EncompassingPlain, T, 200)->Name("encompassing/200x8/plain");
BENCHMARK_CAPTURE(EncompassingTessel, T, 5000)->Name("encompassing/5000x8/tessel");
BENCHMARK_CAPTURE(EncompassingPlain, T, 5000)->Name("encompassing/5000x8/plain");

}  // namespace
