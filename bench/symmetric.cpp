// Cholesky factor and inverse of a symmetric positive definite matrix against OpenBLAS's LAPACK on one thread.
#include "linalg/symmetric.h"

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <lapacke.h>

#include <random>
#include <string>

namespace {

using tessel::Matrix;
using tessel::OwnedMatrix;

// A'A / n + I for a random A. Each run starts from a fresh copy, which both sides pay for.
OwnedMatrix PositiveDefinite(int n) {
  OwnedMatrix a(n, n), s(n, n);
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal;
  for (int i = 0; i < n * n; ++i) a[0][i] = normal(random);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int k = 0; k < n; ++k) sum += a[i][k] * a[j][k];
      s[i][j] = sum / n + (i == j);
    }
  return s;
}

void Mirror(Matrix m) {
  for (int i = 0; i < m.rows; ++i)
    for (int j = 0; j < i; ++j) m[j][i] = m[i][j];
}

struct Work {
  const char *name;
  int (*ours)(Matrix a);
  int (*theirs)(Matrix a);
};

constexpr Work kWorks[] = {
    {"MatCholesky", [](Matrix a) { return static_cast<int>(tessel::MatCholesky(a)); },
     [](Matrix a) { return static_cast<int>(LAPACKE_dpotrf(LAPACK_ROW_MAJOR, 'L', a.rows, a[0], a.rows)); }},
    {"MatInvertSpd", [](Matrix a) { return static_cast<int>(tessel::MatInvertSpd(a)); },
     [](Matrix a) {
       int status = LAPACKE_dpotrf(LAPACK_ROW_MAJOR, 'L', a.rows, a[0], a.rows);
       if (status == 0) status = LAPACKE_dpotri(LAPACK_ROW_MAJOR, 'L', a.rows, a[0], a.rows);
       Mirror(a);
       return status;
     }}};

void Run(benchmark::State &state, int (*call)(Matrix), int n) {
  openblas_set_num_threads(1);
  const OwnedMatrix s = PositiveDefinite(n);
  const OwnedMatrix a(n, n);
  for (auto _ : state) {
    tessel::Copy(a, s);
    benchmark::DoNotOptimize(call(a));
  }
}

const bool registered = [] {
  for (const Work &work : kWorks)
    for (int n : {10, 30, 100, 300, 1000}) {
      const auto name = work.name + ("/" + std::to_string(n)) + "/";
      benchmark::RegisterBenchmark((name + "tessel").c_str(), [&work, n](auto &state) { Run(state, work.ours, n); });
      benchmark::RegisterBenchmark((name + "OpenBLAS").c_str(),
                                   [&work, n](auto &state) { Run(state, work.theirs, n); });
    }
  return true;
}();

}  // namespace
