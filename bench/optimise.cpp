// Non-linear least squares against MINPACK's lmder (cminpack): NIST's problems from both starts, and a large sample.
//
// Both sides call the same residuals and derivatives. lmder stops at changes below 1e-15, the tightest that it takes
// and still fewer digits than ours; its first radius is that of its manual (100), except where it then ends elsewhere
// (BoxBOD.1: 1). Counters: the digits that agree with the certified values, and the evaluations of residuals and of
// Jacobians.
#include <benchmark/benchmark.h>
#include <cminpack-1/cminpack.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "optimise/least_squares.h"

namespace {

using tessel::Matrix;
using tessel::Status;

// The curve at x and, unless g is null, its derivatives.
using Curve = double (*)(const double *b, double x, double *g);

double Growth(const double *b, double x, double *g) {  // Misra1a, BoxBOD
  const double e = std::exp(-b[1] * x);
  if (g != nullptr) g[0] = 1 - e, g[1] = b[0] * x * e;
  return b[0] * (1 - e);
}

double Misra1d(const double *b, double x, double *g) {
  const double q = 1 + b[1] * x;
  if (g != nullptr) g[0] = b[1] * x / q, g[1] = b[0] * x / (q * q);
  return b[0] * b[1] * x / q;
}

double Chwirut2(const double *b, double x, double *g) {
  const double q = b[1] + b[2] * x, f = std::exp(-b[0] * x) / q;
  if (g != nullptr) g[0] = -x * f, g[1] = -f / q, g[2] = -x * f / q;
  return f;
}

double Gauss1(const double *b, double x, double *g) {
  const double e = std::exp(-b[1] * x), u = (x - b[3]) / b[4], v = (x - b[6]) / b[7];
  const double p = std::exp(-u * u), q = std::exp(-v * v);
  if (g != nullptr) {
    g[0] = e, g[1] = -b[0] * x * e;
    g[2] = p, g[3] = 2 * b[2] * p * u / b[4], g[4] = g[3] * u;
    g[5] = q, g[6] = 2 * b[5] * q * v / b[7], g[7] = g[6] * v;
  }
  return b[0] * e + b[2] * p + b[5] * q;
}

double Kirby2(const double *b, double x, double *g) {
  const double q = 1 + x * (b[3] + b[4] * x), f = (b[0] + x * (b[1] + b[2] * x)) / q;
  if (g != nullptr) g[0] = 1 / q, g[1] = x / q, g[2] = x * x / q, g[3] = -x * f / q, g[4] = -x * x * f / q;
  return f;
}

double Mgh17(const double *b, double x, double *g) {
  const double p = std::exp(-x * b[3]), q = std::exp(-x * b[4]);
  if (g != nullptr) g[0] = 1, g[1] = p, g[2] = q, g[3] = -x * b[1] * p, g[4] = -x * b[2] * q;
  return b[0] + b[1] * p + b[2] * q;
}

double Rat42(const double *b, double x, double *g) {
  const double e = std::exp(b[1] - b[2] * x), f = b[0] / (1 + e);
  if (g != nullptr) g[0] = 1 / (1 + e), g[1] = -f * e / (1 + e), g[2] = x * f * e / (1 + e);
  return f;
}

double Thurber(const double *b, double x, double *g) {
  const double q = 1 + x * (b[4] + x * (b[5] + x * b[6]));
  const double f = (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / q;
  if (g != nullptr) {
    g[0] = 1 / q, g[1] = x / q, g[2] = x * x / q, g[3] = x * x * x / q;
    for (int j = 1; j < 4; ++j) g[3 + j] = -f * g[j];
  }
  return f;
}

struct Problem {
  Curve curve = nullptr;
  std::vector<double> y, x, start[2], certified;
  double lmderRadius[2] = {100, 100};
};

Status Evaluate(void *owner, std::span<const double> b, std::span<double> f, Matrix jacobian) {
  const auto &problem = *static_cast<const Problem *>(owner);
  for (std::size_t t = 0; t < f.size(); ++t) {
    double *g = jacobian ? jacobian[static_cast<int>(t)] : nullptr;
    f[t] = problem.curve(b.data(), problem.x[t], g) - problem.y[t];
  }
  return Status::Ok;
}

int EvaluateForLmder(void *owner, int m, int n, const double *b, double *f, double *jacobian, int stride, int wanted) {
  const auto &problem = *static_cast<const Problem *>(owner);
  double g[8];
  for (int t = 0; t < m; ++t) {
    const double value = problem.curve(b, problem.x[static_cast<std::size_t>(t)], wanted == 2 ? g : nullptr);
    if (wanted == 1) f[t] = value - problem.y[static_cast<std::size_t>(t)];
    for (int j = 0; wanted == 2 && j < n; ++j) jacobian[t + j * stride] = g[j];
  }
  return 0;
}

void Count(benchmark::State &state, const Problem &problem, const std::vector<double> &b, int values, int jacobians) {
  double digits = 16;
  const bool certified = problem.y.size() < 1000;
  for (std::size_t j = 0; j < problem.certified.size(); ++j)
    digits = std::min(digits, -std::log10(std::fabs(b[j] / problem.certified[j] - 1) + 1e-16));
  if (certified) state.counters["digits"] = digits;
  state.counters["values"] = values;
  state.counters["jacobians"] = jacobians;
}

void Ours(benchmark::State &state, const Problem *problem, int start) {
  const tessel::LeastSquaresProblem wanted{static_cast<int>(problem->y.size()), Evaluate,
                                           const_cast<Problem *>(problem)};
  std::vector<double> b;
  tessel::LeastSquaresFit fit;
  for (auto _ : state) {
    b = problem->start[start];
    benchmark::DoNotOptimize(tessel::FitLeastSquares(wanted, {}, b, &fit));
  }
  const tessel::EvaluationCounts &counts = fit.convergence.evaluations;
  Count(state, *problem, b, counts.values - counts.gradients, counts.gradients);
}

void Lmder(benchmark::State &state, const Problem *problem, int start) {
  constexpr double tolerance = 1e-15;
  const auto m = static_cast<int>(problem->y.size()), n = static_cast<int>(problem->certified.size());
  const auto size = problem->y.size(), parameters = problem->certified.size();
  std::vector<double> b;
  int values = 0, jacobians = 0;
  for (auto _ : state) {
    b = problem->start[start];
    std::vector<double> f(size), jacobian(size * parameters), scale(parameters), qtf(parameters), a(parameters);
    std::vector<double> c(parameters), d(parameters), e(size);
    std::vector<int> pivots(parameters);
    benchmark::DoNotOptimize(lmder(EvaluateForLmder, const_cast<Problem *>(problem), m, n, b.data(), f.data(),
                                   jacobian.data(), m, tolerance, tolerance, 0, 100000, scale.data(), 1,
                                   problem->lmderRadius[start], 0, &values, &jacobians, pivots.data(), qtf.data(),
                                   a.data(), c.data(), d.data(), e.data()));
  }
  Count(state, *problem, b, values, jacobians);
}

std::vector<std::vector<std::string>> Rows(const std::string &file) {
  std::ifstream in(TESSEL_SOURCE_DIR "/tests/nist/" + file);
  std::vector<std::vector<std::string>> rows;
  for (std::string line, cell; std::getline(in, line);) {
    rows.emplace_back();
    for (std::istringstream cells(line); std::getline(cells, cell, ',');) rows.back().push_back(cell);
  }
  rows.erase(rows.begin());
  return rows;
}

std::map<std::string, Problem> Problems() {
  std::map<std::string, Problem> problems;
  const std::map<std::string, Curve> curves = {{"Misra1a", Growth},    {"BoxBOD", Growth}, {"Misra1d", Misra1d},
                                               {"Chwirut2", Chwirut2}, {"Gauss1", Gauss1}, {"Kirby2", Kirby2},
                                               {"MGH17", Mgh17},       {"Rat42", Rat42},   {"Thurber", Thurber}};
  for (const auto &row : Rows("certified.csv")) {
    Problem &problem = problems[row[0]];
    for (const std::size_t i : {0, 1}) problem.start[i].push_back(std::stod(row[2 + i]));
    problem.certified.push_back(std::stod(row[4]));
  }
  for (auto &[name, problem] : problems) {
    problem.curve = curves.at(name);
    for (const auto &row : Rows(name + ".csv")) {
      problem.y.push_back(std::stod(row[0]));
      problem.x.push_back(std::stod(row[1]));
    }
  }
  problems["BoxBOD"].lmderRadius[0] = 1;

  // Thurber's curve with errors that have no pattern.
  Problem &large = problems["T20000"];
  large = problems["Thurber"];
  large.y.clear();
  large.x.clear();
  for (int t = 0; t < 20000; ++t) {
    large.x.push_back(-3 + 5.2 * t / 20000);
    large.y.push_back(Thurber(large.certified.data(), large.x.back(), nullptr) + 15 * std::sin(0.013 * t * t));
  }
  return problems;
}

const std::map<std::string, Problem> problems = Problems();

const bool registered = [] {
  for (const auto &[name, problem] : problems)
    for (const int start : {0, 1}) {
      const std::string work = "least_squares/" + name + "." + std::to_string(start + 1);
      benchmark::RegisterBenchmark((work + "/tessel").c_str(), Ours, &problem, start);
      benchmark::RegisterBenchmark((work + "/lmder").c_str(), Lmder, &problem, start);
    }
  return true;
}();

}  // namespace
