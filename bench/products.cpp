// Matrix products against OpenBLAS on one thread.
#include "linalg/products.h"

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <random>
#include <string>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using tessel::KernelMultiply;
using tessel::OwnedMatrix;
using tessel::Transposed;

struct Operands {
  explicit Operands(int n) : a(n, n), b(n, n), out(n, n) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    for (int i = 0; i < n * n; ++i) {
      a[0][i] = normal(random);
      b[0][i] = normal(random);
    }
  }
  OwnedMatrix a, b, out;
};

struct Shape {
  const char *name;
  Transposed which;
  bool symmetric;
};

constexpr Shape kShapes[] = {{"MatMul", Transposed::None, false},
                             {"MatMulBt", Transposed::B, false},
                             {"CrossAtA", Transposed::A, true},
                             {"CrossAAt", Transposed::B, true}};

void Ours(benchmark::State &state, const Shape &shape, int n) {
  Operands m(n);
  for (auto _ : state) {
    KernelMultiply(m.out, m.a, shape.symmetric ? m.a : m.b, shape.which);
    benchmark::ClobberMemory();
  }
}

void Theirs(benchmark::State &state, const Shape &shape, int n) {
  openblas_set_num_threads(1);
  Operands m(n);
  for (auto _ : state) {
    if (shape.symmetric) {
      cblas_dsyrk(CblasRowMajor, CblasLower, shape.which == Transposed::A ? CblasTrans : CblasNoTrans, n, n, 1.0,
                  m.a[0], n, 0.0, m.out[0], n);
      for (int i = 0; i < n; ++i)  // the whole symmetric matrix, as ours
        for (int j = 0; j < i; ++j) m.out[j][i] = m.out[i][j];
    } else {
      cblas_dgemm(CblasRowMajor, CblasNoTrans, shape.which == Transposed::B ? CblasTrans : CblasNoTrans, n, n, n, 1.0,
                  m.a[0], n, m.b[0], n, 0.0, m.out[0], n);
    }
    benchmark::ClobberMemory();
  }
}

#if defined(__x86_64__)
// The machine's peak: independent fused multiply-adds in registers, as the counter flops per second.
[[gnu::target("avx2,fma")]] void Peak(benchmark::State &state) {
  constexpr int chains = 12, steps = 1000;
  __m256d sum[chains];
  for (auto &s : sum) s = _mm256_set1_pd(1.0);
  const __m256d x = _mm256_set1_pd(0.999), y = _mm256_set1_pd(1e-3);
  for (auto _ : state)
    for (int i = 0; i < steps; ++i)
#pragma GCC unroll 12
      for (int j = 0; j < chains; ++j) sum[j] = _mm256_fmadd_pd(sum[j], x, y);
  for (const auto &s : sum) benchmark::DoNotOptimize(s);
  state.counters["flops"] =
      benchmark::Counter(8.0 * chains * steps * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
#endif

const bool registered = [] {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    benchmark::RegisterBenchmark("Peak/fma/machine", Peak);
#endif
  for (const Shape &shape : kShapes)
    for (int n : {10, 20, 30, 100, 300, 1000}) {
      const auto name = shape.name + ("/" + std::to_string(n)) + "/";
      benchmark::RegisterBenchmark((name + "tessel").c_str(), [&shape, n](auto &state) { Ours(state, shape, n); });
      benchmark::RegisterBenchmark((name + "OpenBLAS").c_str(), [&shape, n](auto &state) { Theirs(state, shape, n); });
    }
  return true;
}();

}  // namespace
