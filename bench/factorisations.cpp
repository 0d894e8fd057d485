// Inverses, least squares and polynomial roots against LAPACK on OpenBLAS, single-threaded.
//
// Both sides time the same work: a fresh copy of the input each time, and the same outputs.
#include <benchmark/benchmark.h>
#include <cblas.h>
#include <lapacke.h>

#include <algorithm>
#include <random>
#include <vector>

#include "linalg/lu.h"
#include "linalg/qr.h"
#include "linalg/roots.h"

namespace {

std::vector<double> Uniforms(int count) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<double> cells(static_cast<std::size_t>(count));
  for (double &cell : cells) cell = uniform(generator);
  return cells;
}

void Fill(tessel::Matrix m, const std::vector<double> &cells) { std::copy(cells.begin(), cells.end(), m[0]); }

void InverseOurs(benchmark::State &state, int n) {
  const std::vector<double> input = Uniforms(n * n);
  const tessel::OwnedMatrix a(n, n);
  for (auto _ : state) {
    Fill(a, input);
    benchmark::DoNotOptimize(tessel::MatInvert(a));
  }
}

void InversePeer(benchmark::State &state, int n) {
  openblas_set_num_threads(1);
  const std::vector<double> input = Uniforms(n * n);
  std::vector<double> a = input;
  std::vector<lapack_int> piv(static_cast<std::size_t>(n));
  for (auto _ : state) {
    a = input;
    benchmark::DoNotOptimize(LAPACKE_dgetrf(LAPACK_COL_MAJOR, n, n, a.data(), n, piv.data()));
    benchmark::DoNotOptimize(LAPACKE_dgetri(LAPACK_COL_MAJOR, n, a.data(), n, piv.data()));
  }
}

void LeastSquaresOurs(benchmark::State &state, int k, int t) {
  const std::vector<double> regressors = Uniforms(k * t);
  const std::vector<double> dependent = Uniforms(t);
  const tessel::OwnedMatrix x(k, t), y(1, t), b(1, k), inverse(k, k);
  for (auto _ : state) {
    Fill(x, regressors);
    Fill(y, dependent);
    benchmark::DoNotOptimize(tessel::MatOlsQr(x, y, {.b = b, .xtxInv = inverse, .xtx = {}}));
  }
}

// A row-major k x t matrix is LAPACK's t x k.
void LeastSquaresPeer(benchmark::State &state, int k, int t) {
  openblas_set_num_threads(1);
  const auto size = static_cast<std::size_t>(k);
  const std::vector<double> regressors = Uniforms(k * t);
  const std::vector<double> dependent = Uniforms(t);
  std::vector<double> x = regressors, y = dependent, tau(size), b(size), r(size * size), inverse(size * size);
  std::vector<lapack_int> pivot(size);
  for (auto _ : state) {
    x = regressors;
    y = dependent;
    std::fill(pivot.begin(), pivot.end(), 0);
    LAPACKE_dgeqp3(LAPACK_COL_MAJOR, t, k, x.data(), t, pivot.data(), tau.data());
    LAPACKE_dormqr(LAPACK_COL_MAJOR, 'L', 'T', t, 1, k, x.data(), t, tau.data(), y.data(), t);
    LAPACKE_dtrtrs(LAPACK_COL_MAJOR, 'U', 'N', 'N', k, 1, x.data(), t, y.data(), t);
    LAPACKE_dlacpy(LAPACK_COL_MAJOR, 'U', k, k, x.data(), t, r.data(), k);
    LAPACKE_dpotri(LAPACK_COL_MAJOR, 'U', k, r.data(), k);
    for (std::size_t i = 0; i < size; ++i) {
      const auto row = static_cast<std::size_t>(pivot[i] - 1);
      b[row] = y[i];
      for (std::size_t j = 0; j < size; ++j)
        inverse[row * size + static_cast<std::size_t>(pivot[j] - 1)] = r[std::max(i, j) * size + std::min(i, j)];
    }
    benchmark::DoNotOptimize(inverse.data());
    benchmark::DoNotOptimize(b.data());
  }
}

void RootsOurs(benchmark::State &state, int n) {
  const std::vector<double> coef = Uniforms(n);
  std::vector<tessel::Complex> roots(coef.size());
  for (auto _ : state) benchmark::DoNotOptimize(tessel::PolyRoots(coef, roots));
}

void RootsPeer(benchmark::State &state, int n) {
  openblas_set_num_threads(1);
  const auto size = static_cast<std::size_t>(n);
  const std::vector<double> coef = Uniforms(n);
  std::vector<double> h(size * size), re(size), im(size);
  for (auto _ : state) {
    std::fill(h.begin(), h.end(), 0.0);
    for (std::size_t j = 0; j < size; ++j) h[j * size] = -coef[j];
    for (std::size_t j = 0; j + 1 < size; ++j) h[j * size + j + 1] = 1;
    benchmark::DoNotOptimize(
        LAPACKE_dhseqr(LAPACK_COL_MAJOR, 'E', 'N', n, 1, n, h.data(), n, re.data(), im.data(), nullptr, 1));
  }
}

BENCHMARK_CAPTURE(InverseOurs, 30, 30)->Name("MatInvert/30/tessel");
BENCHMARK_CAPTURE(InversePeer, 30, 30)->Name("MatInvert/30/OpenBLAS");
BENCHMARK_CAPTURE(InverseOurs, 300, 300)->Name("MatInvert/300/tessel");
BENCHMARK_CAPTURE(InversePeer, 300, 300)->Name("MatInvert/300/OpenBLAS");
BENCHMARK_CAPTURE(InverseOurs, 1000, 1000)->Name("MatInvert/1000/tessel");
BENCHMARK_CAPTURE(InversePeer, 1000, 1000)->Name("MatInvert/1000/OpenBLAS");
BENCHMARK_CAPTURE(LeastSquaresOurs, 200, 20, 200)->Name("MatOlsQr/20x200/tessel");
BENCHMARK_CAPTURE(LeastSquaresPeer, 200, 20, 200)->Name("MatOlsQr/20x200/OpenBLAS");
BENCHMARK_CAPTURE(LeastSquaresOurs, 10000, 20, 10000)->Name("MatOlsQr/20x10000/tessel");
BENCHMARK_CAPTURE(LeastSquaresPeer, 10000, 20, 10000)->Name("MatOlsQr/20x10000/OpenBLAS");
BENCHMARK_CAPTURE(RootsOurs, 20, 20)->Name("PolyRoots/20/tessel");
BENCHMARK_CAPTURE(RootsPeer, 20, 20)->Name("PolyRoots/20/OpenBLAS");

}  // namespace
