// Likelihoods with score and information over observations of 10 regressors, against loops that carry out the
// minimum of scalar arithmetic: the lower triangle of the information matrix, one observation after the other.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "limdep/count.h"
#include "limdep/logit.h"
#include "limdep/probit.h"

using namespace tessel;

namespace {

constexpr int kRegressors = 10, kOutcomes = 4;

// Regressors: a constant and normal variates. Outcomes 0 to 3, or counts of mean about 2, or 0 and 1.
struct Problem {
  Problem(const benchmark::State &state, int parameters, int outcomes)
      : observations(static_cast<int>(state.range(0))),
        x(observations, kRegressors),
        y(observations, 1),
        theta(static_cast<std::size_t>(parameters)),
        score(static_cast<std::size_t>(parameters)),
        information(parameters, parameters) {
    std::mt19937_64 generator(1);
    std::normal_distribution<double> normal;
    std::poisson_distribution<int> count(2.0);
    std::uniform_int_distribution<int> outcome(0, outcomes - 1);
    for (int t = 0; t < observations; ++t) {
      for (int i = 0; i < kRegressors; ++i) x[t][i] = i == 0 ? 1.0 : normal(generator);
      y[t][0] = outcomes > 0 ? outcome(generator) : count(generator);
    }
    for (double &value : theta) value = 0.1 * normal(generator);
    out.score = score;
    out.information = information;
  }
  IndexSample Sample() const { return {y, x, {}}; }
  void Clear() {
    std::fill(score.begin(), score.end(), 0.0);
    FillZero(information);
  }

  int observations;
  OwnedMatrix x, y;
  std::vector<double> theta, score;
  OwnedMatrix information;
  LikelihoodOutputs out;
};

double Index(const double *x, const double *beta) {
  double sum = 0.0;
  for (int i = 0; i < kRegressors; ++i) sum += x[i] * beta[i];
  return sum;
}

void LogitTessel(benchmark::State &state) {
  Problem problem(state, 3 * kRegressors, kOutcomes);
  LogitSample sample;
  sample.outcomes = kOutcomes;
  sample.y = problem.y;
  sample.x = problem.x;
  for (auto _ : state) benchmark::DoNotOptimize(LogitLikelihood(sample, problem.theta, problem.out));
}

void LogitPlain(benchmark::State &state) {
  Problem problem(state, 3 * kRegressors, kOutcomes);
  for (auto _ : state) {
    problem.Clear();
    double total = 0.0;
    for (int t = 0; t < problem.observations; ++t) {
      const double *x = problem.x[t];
      double p[kOutcomes] = {}, largest = 0.0, sum = 0.0;
      for (int j = 1; j < kOutcomes; ++j) {
        p[j] = Index(x, problem.theta.data() + (j - 1) * kRegressors);
        largest = std::max(largest, p[j]);
      }
      for (double &value : p) sum += value = std::exp(value - largest);
      for (double &value : p) value /= sum;
      const int y = static_cast<int>(problem.y[t][0]);
      total += std::log(p[y]);
      for (int j = 1; j < kOutcomes; ++j) {
        const double residual = (y == j) - p[j];
        for (int i = 0; i < kRegressors; ++i)
          problem.score[static_cast<std::size_t>((j - 1) * kRegressors + i)] += residual * x[i];
        for (int l = 1; l <= j; ++l) {
          const double c = l == j ? p[j] * (1.0 - p[j]) : -p[j] * p[l];
          for (int i = 0; i < kRegressors; ++i) {
            double *row = problem.out.information[(j - 1) * kRegressors + i] + (l - 1) * kRegressors;
            for (int i2 = 0; i2 < (l == j ? i + 1 : kRegressors); ++i2) row[i2] += c * x[i] * x[i2];
          }
        }
      }
    }
    MirrorLower(problem.information);
    benchmark::DoNotOptimize(total);
  }
}

// A plain loop over a model of one index: `terms` gives log-likelihood, score and information weight.
template <class Terms>
void PlainIndex(benchmark::State &state, int outcomes, Terms terms) {
  Problem problem(state, kRegressors, outcomes);
  for (auto _ : state) {
    problem.Clear();
    double total = 0.0;
    for (int t = 0; t < problem.observations; ++t) {
      const double *x = problem.x[t];
      double score = 0.0, weight = 0.0;
      total += terms(Index(x, problem.theta.data()), static_cast<int>(problem.y[t][0]), &score, &weight);
      for (int i = 0; i < kRegressors; ++i) {
        problem.score[static_cast<std::size_t>(i)] += score * x[i];
        for (int j = 0; j <= i; ++j) problem.out.information[i][j] += weight * x[i] * x[j];
      }
    }
    MirrorLower(problem.information);
    benchmark::DoNotOptimize(total);
  }
}

void ProbitTessel(benchmark::State &state) {
  Problem problem(state, kRegressors, 2);
  for (auto _ : state) benchmark::DoNotOptimize(ProbitLikelihood(problem.Sample(), problem.theta, problem.out));
}

void ProbitPlain(benchmark::State &state) {
  PlainIndex(state, 2, [](double b, int y, double *score, double *weight) {
    const double p = 0.5 * std::erfc(-b * 0.7071067811865476), density = 0.3989422804014327 * std::exp(-0.5 * b * b);
    *score = (y - p) * density / (p * (1.0 - p));
    *weight = density * density / (p * (1.0 - p));
    return std::log(y == 1 ? p : 1.0 - p);
  });
}

void PoissonTessel(benchmark::State &state) {
  Problem problem(state, kRegressors, 0);
  for (auto _ : state) benchmark::DoNotOptimize(CountLikelihood({}, problem.Sample(), problem.theta, problem.out));
}

void PoissonPlain(benchmark::State &state) {
  PlainIndex(state, 0, [](double b, int y, double *score, double *weight) {
    const double mu = std::exp(b);
    *score = y - mu;
    *weight = mu;
    return y * b - mu - std::lgamma(y + 1.0);
  });
}

// By recurrence to 6, then the asymptotic series.
double Digamma(double x) {
  double result = 0.0;
  for (; x < 6.0; x += 1.0) result -= 1.0 / x;
  const double w = 1.0 / (x * x);
  return result + std::log(x) - 0.5 / x -
         w * (1.0 / 12 -
              w * (1.0 / 120 - w * (1.0 / 252 - w * (1.0 / 240 - w * (1.0 / 132 - w * (691.0 / 32760 - w / 12))))));
}

void NegativeBinomialTessel(benchmark::State &state) {
  Problem problem(state, kRegressors + 1, 0);
  CountModel model;
  model.negativeBinomial = true;
  for (auto _ : state) benchmark::DoNotOptimize(CountLikelihood(model, problem.Sample(), problem.theta, problem.out));
}

void NegativeBinomialPlain(benchmark::State &state) {
  Problem problem(state, kRegressors + 1, 0);
  for (auto _ : state) {
    problem.Clear();
    const double a = std::exp(-problem.theta[kRegressors]);
    const double logGamma = std::lgamma(a), digamma = Digamma(a);
    double total = 0.0;
    for (int t = 0; t < problem.observations; ++t) {
      const double *x = problem.x[t];
      const double b = Index(x, problem.theta.data()), mu = std::exp(b), y = problem.y[t][0];
      const double g = a / mu, logOne = std::log1p(g), logG = std::log(g);
      total += std::lgamma(y + a) - std::lgamma(y + 1.0) - logGamma - (y + a) * logOne + a * logG;
      const double dIndex = a * (y - mu) / (mu + a);
      const double dShape = -a * (Digamma(y + a) - digamma - logOne - (y + a) / (mu + a) + logG + 1.0);
      for (int i = 0; i < kRegressors; ++i) {
        problem.score[static_cast<std::size_t>(i)] += dIndex * x[i];
        for (int j = 0; j <= i; ++j) problem.out.information[i][j] += dIndex * dIndex * x[i] * x[j];
        problem.out.information[kRegressors][i] += dIndex * dShape * x[i];
      }
      problem.score[kRegressors] += dShape;
      problem.out.information[kRegressors][kRegressors] += dShape * dShape;
    }
    MirrorLower(problem.information);
    benchmark::DoNotOptimize(total);
  }
}

void Register(const std::string &work, std::initializer_list<int> sizes, void (*tessel)(benchmark::State &),
              void (*plain)(benchmark::State &)) {
  for (const int n : sizes) {
    const std::string name = work + "/" + std::to_string(n) + "x10/";
    benchmark::RegisterBenchmark((name + "tessel").c_str(), tessel)->Arg(n)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "plain").c_str(), plain)->Arg(n)->Unit(benchmark::kMicrosecond);
  }
}

const bool registered = [] {
  Register("logit, 4 outcomes", {200, 2000, 20000, 200000}, LogitTessel, LogitPlain);
  Register("probit", {20000}, ProbitTessel, ProbitPlain);
  Register("poisson", {20000}, PoissonTessel, PoissonPlain);
  Register("negative binomial", {200, 2000, 20000, 200000}, NegativeBinomialTessel, NegativeBinomialPlain);
  return true;
}();

}  // namespace
