// Tails, log gamma and quantiles over many arguments, against the GNU Scientific Library and Boost.Math (in double, as
// ours).
#include <benchmark/benchmark.h>
#include <gsl/gsl_cdf.h>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_gamma.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <random>
#include <vector>

#include "special/distributions.h"
#include "special/gamma.h"
#include "special/normal.h"
#include "special/quantiles.h"

namespace {

namespace bm = boost::math;
using Policy =
    bm::policies::policy<bm::policies::promote_double<false>, bm::policies::overflow_error<bm::policies::ignore_error>>;
using BoostNormal = bm::normal_distribution<double, Policy>;
using BoostT = bm::students_t_distribution<double, Policy>;
using BoostChi = bm::chi_squared_distribution<double, Policy>;
using BoostF = bm::fisher_f_distribution<double, Policy>;

struct Arguments {
  double x, n, m;
};
using Work = double (*)(const Arguments &);

// Statistics and degrees of freedom as regressions have them: an argument `scale(x, n, m)` of a standard normal draw, n
// from 1 to 30, m from 5 to 200.
std::vector<Arguments> Draw(std::size_t count, double (*scale)(double z, double n)) {
  std::mt19937_64 engine(20240229);
  std::normal_distribution<double> normal;
  std::uniform_int_distribution<int> few(1, 30), many(5, 200);
  std::vector<Arguments> arguments(count);
  for (Arguments &a : arguments) {
    a.n = few(engine);
    a.m = many(engine);
    a.x = scale(normal(engine), a.n);
  }
  return arguments;
}

double Plain(double z, double) { return 2 * z; }
double Positive(double z, double) { return std::exp(2 * z); }
double AroundDf(double z, double n) { return n * std::exp(z / std::sqrt(n)); }
double AroundOne(double z, double) { return std::exp(z / 2); }
double Probability(double z, double) { return std::erfc(-z / std::sqrt(2.0)) / 2; }

void Add(const std::string &work, std::size_t count, double (*scale)(double, double),
         std::initializer_list<std::pair<const char *, Work>> workers) {
  for (const auto &[who, function] : workers) {
    const std::string name = work + "/" + std::to_string(count) + "/" + who;
    benchmark::RegisterBenchmark(name.c_str(), [=, worker = function](benchmark::State &state) {
      const std::vector<Arguments> arguments = Draw(count, scale);
      for (auto _ : state) {
        double sum = 0;
        for (const Arguments &a : arguments) sum += worker(a);
        benchmark::DoNotOptimize(sum);
      }
    });
  }
}

int Whole(double x) { return static_cast<int>(x); }

const int registered = [] {
  gsl_set_error_handler_off();
  constexpr std::size_t kMillion = 1000000, kThousands = 10000;
  Add("NormalTail", kMillion, Plain,
      {{"tessel", [](const Arguments &a) { return tessel::NormalTail(a.x, tessel::Tail::Upper); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_ugaussian_Q(a.x); }},
       {"boost", [](const Arguments &a) { return bm::cdf(bm::complement(BoostNormal(), a.x)); }}});
  Add("LogGamma", kMillion, Positive,
      {{"tessel", [](const Arguments &a) { return tessel::LogGamma(a.x); }},
       {"gsl", [](const Arguments &a) { return gsl_sf_lngamma(a.x); }},
       {"boost", [](const Arguments &a) { return bm::lgamma(a.x, Policy()); }}});
  Add("ChiTail", kMillion, AroundDf,
      {{"tessel", [](const Arguments &a) { return tessel::ChiTail(a.x, a.n); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_chisq_Q(a.x, a.n); }},
       {"boost", [](const Arguments &a) { return bm::cdf(bm::complement(BoostChi(a.n), a.x)); }}});
  Add("StudentTail", kMillion, Plain,
      {{"tessel", [](const Arguments &a) { return tessel::StudentTail(a.x, Whole(a.m)); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_tdist_Q(a.x, a.m); }},
       {"boost", [](const Arguments &a) { return bm::cdf(bm::complement(BoostT(a.m), a.x)); }}});
  Add("FTail", kMillion, AroundOne,
      {{"tessel", [](const Arguments &a) { return tessel::FTail(a.x, a.n, a.m); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_fdist_Q(a.x, a.n, a.m); }},
       {"boost", [](const Arguments &a) { return bm::cdf(bm::complement(BoostF(a.n, a.m), a.x)); }}});
  Add("NormalQuantile", kMillion, Probability,
      {{"tessel", [](const Arguments &a) { return tessel::NormalQuantile(a.x); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_ugaussian_Pinv(a.x); }},
       {"boost", [](const Arguments &a) { return bm::quantile(BoostNormal(), a.x); }}});
  Add("ChiQuantile", kThousands, Probability,
      {{"tessel", [](const Arguments &a) { return tessel::ChiQuantile(a.x, a.n); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_chisq_Pinv(a.x, a.n); }},
       {"boost", [](const Arguments &a) { return bm::quantile(BoostChi(a.n), a.x); }}});
  Add("StudentQuantile", kThousands, Probability,
      {{"tessel", [](const Arguments &a) { return tessel::StudentQuantile(a.x, Whole(a.m)); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_tdist_Pinv(a.x, a.m); }},
       {"boost", [](const Arguments &a) { return bm::quantile(BoostT(a.m), a.x); }}});
  Add("FQuantile", kThousands, Probability,
      {{"tessel", [](const Arguments &a) { return tessel::FQuantile(a.x, a.n, a.m); }},
       {"gsl", [](const Arguments &a) { return gsl_cdf_fdist_Pinv(a.x, a.n, a.m); }},
       {"boost", [](const Arguments &a) { return bm::quantile(BoostF(a.n, a.m), a.x); }}});
  return 0;
}();

}  // namespace
