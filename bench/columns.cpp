// Functions of whole columns against the C++ standard library, plain loops and LAPACK's banded solver.
#include <benchmark/benchmark.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <vector>

#include "series/smooth.h"
#include "series/sort.h"
#include "series/spectral.h"

extern "C" void openblas_set_num_threads(int);

namespace {

using Series = std::vector<double>;

Series Noise(int n) {
  std::mt19937_64 generator(1);
  std::normal_distribution<double> normal;
  Series x(static_cast<std::size_t>(n));
  for (double &v : x) v = normal(generator);
  return x;
}

int Size(const benchmark::State &state) { return static_cast<int>(state.range(0)); }

// ---- Sorting

// The parts of a million cells in turn: with one column over and over, the processor learns its branches.
class Columns {
 public:
  explicit Columns(int n) : size(n), cells(Noise(1000000 / n * n)) {}
  Series Next() {
    const auto begin = cells.begin() + at;
    at = (at + size) % std::ssize(cells);
    return {begin, begin + size};
  }

 private:
  std::ptrdiff_t size, at = 0;
  Series cells;
};

void OurSort(benchmark::State &state) {
  Columns columns(Size(state));
  for (auto _ : state) {
    Series y = columns.Next();
    tessel::SortWithCompanion(y);
    benchmark::DoNotOptimize(y.data());
  }
}

void StandardSort(benchmark::State &state) {
  Columns columns(Size(state));
  for (auto _ : state) {
    Series y = columns.Next();
    std::sort(y.begin(), y.end());
    benchmark::DoNotOptimize(y.data());
  }
}

void OurPairs(benchmark::State &state) {
  const Series x = Noise(Size(state));
  for (auto _ : state) {
    Series y = x, z = x;
    tessel::SortWithCompanion(y, z);
    benchmark::DoNotOptimize(z.data());
  }
}

void StandardPairs(benchmark::State &state) {
  const Series x = Noise(Size(state));
  std::vector<std::pair<double, double>> pairs(x.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < x.size(); ++i) pairs[i] = {x[i], x[i]};
    std::sort(pairs.begin(), pairs.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    benchmark::DoNotOptimize(pairs.data());
  }
}

// ---- Autocorrelations

void OurAcf(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(tessel::Correlogram(x, out));
  }
}

void PlainAcf(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) {
    double mean = 0;
    for (const double v : x) mean += v;
    mean /= static_cast<double>(x.size());
    for (std::size_t k = 0; k < x.size(); ++k) {
      out[k] = 0;
      for (std::size_t i = 0; i + k < x.size(); ++i) out[k] += (x[i] - mean) * (x[i + k] - mean);
    }
    benchmark::DoNotOptimize(out.data());
  }
}

// ---- Smoothers

void OurTrend(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) benchmark::DoNotOptimize(tessel::SmoothTrend(x, 1600, out));
}

void OurSpline(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) benchmark::DoNotOptimize(tessel::SmoothSpline(x, -1600, out));
}

void OurSplineSearch(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) benchmark::DoNotOptimize(tessel::SmoothSpline(x, 20, out));
}

void OurKernel(benchmark::State &state) {
  const Series x = Noise(Size(state));
  Series out(x.size());
  for (auto _ : state) benchmark::DoNotOptimize(tessel::SmoothKernel(x, -100, out));
}

void PlainKernel(benchmark::State &state) {
  const Series x = Noise(Size(state));
  const int n = Size(state);
  Series out(x.size());
  for (auto _ : state) {
    for (int i = 0; i < n; ++i) {
      double sum = 0, weights = 0;
      for (int j = std::max(0, i - 100); j <= std::min(n - 1, i + 100); ++j) {
        const double u = (i - j) / 100.0, k = 0.75 * (1 - u * u);
        sum += k * x[static_cast<std::size_t>(j)];
        weights += k;
      }
      out[static_cast<std::size_t>(i)] = sum / weights;
    }
    benchmark::DoNotOptimize(out.data());
  }
}

// One banded solve of the same order: bands of the inner second differences' equations with lambda 1600.
void Lapack(benchmark::State &state, double diagonal, double beside) {
  openblas_set_num_threads(1);
  const Series x = Noise(Size(state));
  const int m = Size(state) - 2;
  Series band(3 * static_cast<std::size_t>(m)), rhs(static_cast<std::size_t>(m));
  for (auto _ : state) {
    for (std::size_t i = 0; i < rhs.size(); ++i) {
      band[3 * i] = diagonal;
      band[3 * i + 1] = beside;
      band[3 * i + 2] = 1600;
      rhs[i] = x[i] - 2 * x[i + 1] + x[i + 2];
    }
    LAPACKE_dpbsv(LAPACK_COL_MAJOR, 'L', m, 2, 1, band.data(), 3, rhs.data(), m);
    benchmark::DoNotOptimize(rhs.data());
  }
}
void LapackTrend(benchmark::State &state) { Lapack(state, 9601, -6400); }
void LapackSpline(benchmark::State &state) { Lapack(state, 9600 + 2.0 / 3, -6400 + 1.0 / 6); }

// NAME/SIZE/WHO for several sizes.
void Register(const std::string &work, const std::string &who, void (*run)(benchmark::State &),
              std::initializer_list<int> sizes) {
  for (const int n : sizes)
    benchmark::RegisterBenchmark((work + "/" + std::to_string(n) + "/" + who).c_str(), run)->Arg(n);
}

const bool registered = [] {
  Register("sort a column", "tessel", OurSort, {1000, 1000000});
  Register("sort a column", "std::sort", StandardSort, {1000, 1000000});
  Register("sort with a companion", "tessel", OurPairs, {1000000});
  Register("sort with a companion", "std::sort of pairs", StandardPairs, {1000000});
  Register("acf", "tessel", OurAcf, {10000});
  Register("acf", "C++ loop", PlainAcf, {10000});
  Register("trend of second differences", "tessel", OurTrend, {1000, 10000, 100000});
  Register("trend of second differences", "LAPACK solve", LapackTrend, {1000, 10000, 100000});
  Register("smoothing spline with trace", "tessel", OurSpline, {1000, 10000, 100000});
  Register("smoothing spline with trace", "LAPACK solve alone", LapackSpline, {1000, 10000, 100000});
  Register("spline of 20 degrees of freedom", "tessel", OurSplineSearch, {10000});
  Register("spline of 20 degrees of freedom", "one LAPACK solve", LapackSpline, {10000});
  Register("kernel regression, bandwidth 100", "tessel", OurKernel, {10000});
  Register("kernel regression, bandwidth 100", "C++ loop", PlainKernel, {10000});
  return true;
}();

}  // namespace
