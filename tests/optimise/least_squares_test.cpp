// Non-linear least squares: the literature's problems, NIST's certified values, bounds, models that are not identified,
// points without residuals, limits, failing calls and memory.
#include "optimise/least_squares.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "nist.h"
#include "optimise/covariance.h"
#include "support/failing_allocation.h"

namespace tessel {
namespace {

constexpr double kNone = -std::numeric_limits<double>::infinity();

LeastSquaresFit Fit(const TestProblem &problem, std::vector<double> *theta, const OptimiseOptions &options = {}) {
  LeastSquaresFit fit;
  EXPECT_EQ(FitLeastSquares(AsLeastSquares(problem), options, *theta, &fit), Status::Ok) << problem.name;
  return fit;
}

bool AtMinimum(double squares, const TestProblem &problem) {
  return std::any_of(problem.minima.begin(), problem.minima.end(), [&](double minimum) {
    return minimum == 0.0 ? squares < 1e-20 : std::fabs(squares / minimum - 1) < 1e-5;
  });
}

// From the standard start every problem ends at a minimum of the paper. From ten times that, too, or it says that it
// did not converge; where the minimum lies at infinity (5, 8, 15), parameters are marked.
TEST(LeastSquares, MoreGarbowHillstrom) {
  int farMinima = 0, farRuns = 0;
  for (const auto &problems : {SmallProblems(), LargerProblems()})
    for (const TestProblem &problem : problems) {
      std::vector<double> theta = problem.start;
      LeastSquaresFit fit = Fit(problem, &theta);
      EXPECT_TRUE(fit.convergence.converged) << problem.name << ": " << StopText(fit.convergence.reason);
      EXPECT_TRUE(AtMinimum(fit.convergence.objective, problem)) << problem.name << " " << fit.convergence.objective;

      theta = problem.start;
      for (double &x : theta) x *= 10.0;
      fit = Fit(problem, &theta);
      const Convergence &record = fit.convergence;
      EXPECT_TRUE(!record.converged || AtMinimum(record.objective, problem)) << problem.name << " " << record.objective;
      const double largest = std::fabs(*std::max_element(
          theta.begin(), theta.end(), [](double a, double b) { return std::fabs(a) < std::fabs(b); }));
      EXPECT_TRUE(!record.converged || largest < 1e7 || record.unidentified > 0) << problem.name;
      ++farRuns;
      farMinima += record.converged ? 1 : 0;
    }
  EXPECT_GE(farMinima, farRuns - 4);
}

// Certified to 11 digits: estimates to 10 digits and standard errors to 9, from both starts.
TEST(LeastSquares, NistCertifiedValues) {
  int evaluations = 0;
  for (NistProblem &nist : NistProblems())
    for (const std::vector<double> &start : {nist.start1, nist.start2}) {
      nist.problem.start = start;
      std::vector<double> theta = start;
      const LeastSquaresFit fit = Fit(nist.problem, &theta);
      const int p = static_cast<int>(theta.size());
      EXPECT_EQ(fit.convergence.reason, StopReason::Decrement) << nist.problem.name;
      EXPECT_EQ(fit.convergence.unidentified, 0);
      OwnedMatrix covariance(p, p);
      ASSERT_EQ(LeastSquaresCovariance(fit, LeastSquaresErrors::Classical, covariance), Status::Ok);
      for (int j = 0; j < p; ++j) {
        const auto cell = static_cast<std::size_t>(j);
        EXPECT_NEAR(theta[cell] / nist.certified[cell], 1, 1e-10) << nist.problem.name << j;
        EXPECT_NEAR(std::sqrt(covariance[j][j]) / nist.deviation[cell], 1, 1e-9) << nist.problem.name << j;
      }
      evaluations += fit.convergence.evaluations.values;
    }
  EXPECT_LT(evaluations, 1772);  // MINPACK's lmder (bench/optimise.cpp), with fewer digits
}

// Filippelli's polynomial of degree 10 (NIST, linear regression, certified in the data set filip.dat), whose scaled
// columns have a condition near 1e10: all parameters are identified, and seven digits hold.
TEST(LeastSquares, Filippelli) {
  std::vector<double> y, x;
  std::ifstream in(TESSEL_SOURCE_DIR "/tests/data/filippelli.csv");
  std::string line;
  std::getline(in, line);
  for (double a = 0, b = 0; std::getline(in, line); y.push_back(a), x.push_back(b)) {
    a = std::stod(line);
    b = std::stod(line.substr(line.find(',') + 1));
  }
  const TestProblem problem{"Filippelli",
                            Each(82,
                                 [&](int i, const Jets &b) {
                                   Jet sum;
                                   for (std::size_t j = b.size(); j-- > 0;) sum = sum * At(x, i) + b[j];
                                   return At(y, i) - sum;
                                 }),
                            std::vector<double>(11, 1),
                            {}};
  std::vector<double> theta = problem.start;
  const LeastSquaresFit fit = Fit(problem, &theta);
  EXPECT_TRUE(fit.convergence.converged) << StopText(fit.convergence.reason);
  EXPECT_EQ(fit.convergence.unidentified, 0);
  OwnedMatrix covariance(11, 11);
  ASSERT_EQ(LeastSquaresCovariance(fit, LeastSquaresErrors::Classical, covariance), Status::Ok);
  EXPECT_NEAR(fit.convergence.objective / 0.795851382172941e-3, 1, 1e-8);
  EXPECT_NEAR(theta[0] / -1467.48961422980, 1, 1e-7);
  EXPECT_NEAR(theta[10] / -0.402962525080404e-4, 1, 1e-7);
  EXPECT_NEAR(std::sqrt(covariance[0][0]) / 298.084530995537, 1, 1e-7);
  EXPECT_NEAR(std::sqrt(covariance[10][10]) / 0.896632837373868e-5, 1, 1e-7);
}

// White's standard errors of Misra1a in 50-digit arithmetic (tools/optimise_reference.py).
TEST(LeastSquares, RobustErrors) {
  NistProblem nist = NistProblems()[2];
  nist.problem.start = nist.start2;
  std::vector<double> theta = nist.start2;
  const LeastSquaresFit fit = Fit(nist.problem, &theta);
  OwnedMatrix covariance(2, 2);
  ASSERT_EQ(LeastSquaresCovariance(fit, LeastSquaresErrors::Robust, covariance), Status::Ok);
  EXPECT_NEAR(std::sqrt(covariance[0][0]) / 2.65443099009678, 1, 1e-11);
  EXPECT_NEAR(std::sqrt(covariance[1][1]) / 7.03709899633708e-6, 1, 1e-11);
}

// Units of parameters and of the data change nothing but the units of results; the run is the same step by step.
TEST(LeastSquares, UnitsDoNotMatter) {
  NistProblem nist = NistProblems()[8];  // Thurber
  nist.problem.start = nist.start1;
  std::vector<double> theta = nist.start1;
  const LeastSquaresFit plain = Fit(nist.problem, &theta);
  const std::vector<double> units = {0x1p40, 0x1p-60, 0x1p10, 1, 0x1p80, 0x1p-30, 0x1p-5};
  TestProblem scaled{"units",
                     [&](const Jets &x) {
                       Jets b = x, f;
                       for (std::size_t j = 0; j < b.size(); ++j) b[j] = x[j] / units[j];
                       f = nist.problem.residuals(b);
                       for (Jet &residual : f) residual = residual * 0x1p-50;
                       return f;
                     },
                     nist.start1,
                     {}};
  std::vector<double> other = nist.start1;
  for (std::size_t j = 0; j < other.size(); ++j) other[j] *= units[j];
  const LeastSquaresFit fit = Fit(scaled, &other);
  for (std::size_t j = 0; j < other.size(); ++j) EXPECT_EQ(other[j] / units[j], theta[j]);
  EXPECT_EQ(fit.convergence.iterations, plain.convergence.iterations);
  EXPECT_EQ(fit.convergence.objective, plain.convergence.objective * 0x1p-100);
}

struct BoundedCase {
  const char *name;
  std::vector<double> lower, upper;
  std::vector<double> expected;
  std::vector<ParameterMarks> marks;
};

// Rosenbrock's valley in boxes. On x = 1.5 the minimum has y = 2.25; on y = c the derivative along x is
// 400 x^3 + (2 - 400 c) x - 2, of which the largest root is given in 16 digits.
TEST(LeastSquares, Bounds) {
  const TestProblem problem = SmallProblems()[0];
  const BoundedCase cases[] = {
      {"inactive", {-10, -10}, {10, 10}, {1, 1}, {0, 0}},
      {"left", {1.5, kNone}, {}, {1.5, 2.25}, {kAtLower, 0}},
      {"on y = 0.5", {}, {MissingValue(), 0.5}, {0.708559503761349, 0.5}, {0, kAtUpper}},
      {"on y = 3", {1.5, 3}, {}, {1.7314409513844048, 3}, {0, kAtLower}},
      {"corner", {2, kNone}, {5, 3}, {2, 3}, {kAtLower, kAtUpper}},
      {"fixed by equal bounds", {-0.5, kNone}, {-0.5, 9}, {-0.5, 0.25}, {kFixed, 0}},
  };
  for (const BoundedCase &test : cases) {
    OptimiseOptions options;
    options.space.lower = test.lower;
    options.space.upper = test.upper;
    std::vector<double> theta = problem.start;
    const LeastSquaresFit fit = Fit(problem, &theta, options);
    EXPECT_TRUE(fit.convergence.converged) << test.name << StopText(fit.convergence.reason);
    for (int j = 0; j < 2; ++j) {
      EXPECT_NEAR(theta[static_cast<std::size_t>(j)], test.expected[static_cast<std::size_t>(j)], 1e-9) << test.name;
      EXPECT_EQ(fit.convergence.marks[j], test.marks[static_cast<std::size_t>(j)]) << test.name << j;
    }
  }
}

// Fixing a parameter is the same as bounding it, and as leaving it out of the covariance matrix.
TEST(LeastSquares, FixedParameters) {
  NistProblem nist = NistProblems()[1];  // Gauss1
  nist.problem.start = nist.start1;
  const std::vector<unsigned char> fixed = {0, 0, 0, 1, 0, 0, 0, 0};
  std::vector<double> theta = nist.start1;
  theta[3] = nist.certified[3];
  OptimiseOptions options;
  options.space.fixed = fixed;
  const LeastSquaresFit fit = Fit(nist.problem, &theta, options);
  EXPECT_EQ(fit.convergence.marks[3], kFixed);
  EXPECT_EQ(theta[3], nist.certified[3]);
  for (std::size_t j = 0; j < 8; ++j) EXPECT_NEAR(theta[j] / nist.certified[j], 1, 1e-9);
  OwnedMatrix covariance(8, 8);
  ASSERT_EQ(LeastSquaresCovariance(fit, LeastSquaresErrors::Classical, covariance), Status::Ok);
  EXPECT_EQ(covariance[3][3], 0.0);
  EXPECT_EQ(covariance[3][0], 0.0);
  EXPECT_LT(std::sqrt(covariance[0][0]), nist.deviation[0]);
}

// y = b0 + exp(b1 + b2) x + b3 x^2: only the sum of two parameters matters, and the others keep their errors. With a
// parameter that has no effect, with fewer observations than parameters, and for a constant twice.
TEST(LeastSquares, WhichParametersAreNotIdentified) {
  struct Case {
    JetFunction curve;  // of (parameters, x)
    std::vector<double> start;
    std::vector<int> unidentified;
    int observations;
  };
  const Case cases[] = {
      {[](const Jets &b) { return b[0] + exp(b[1] + b[2]) * b[4] + b[3] * b[4] * b[4]; }, {1, .1, .2, 1}, {1, 2}, 9},
      {[](const Jets &b) { return b[0] + b[1] * b[3]; }, {1, 1, 7}, {2}, 9},
      {[](const Jets &b) { return b[0] + b[1] * b[3] + b[2] * 1e-9; }, {1, 1, 7}, {0, 2}, 9},
      {[](const Jets &b) { return b[0] + b[1] * b[3] + b[2] * exp(b[3]); }, {1, 1, 1}, {0, 1, 2}, 2},
      {[](const Jets &b) { return b[0] + b[1] * b[2]; }, {1, 1}, {}, 9},
  };
  for (const Case &test : cases) {
    const TestProblem problem{"unidentified",
                              Each(test.observations,
                                   [&](int i, Jets b) {
                                     b.push_back(0.3 * i);
                                     return std::sin(1.0 + i * i) + i - test.curve(b);
                                   }),
                              test.start,
                              {}};
    std::vector<double> theta = test.start;
    const LeastSquaresFit fit = Fit(problem, &theta);
    const int p = static_cast<int>(theta.size());
    EXPECT_TRUE(fit.convergence.converged) << StopText(fit.convergence.reason);
    EXPECT_EQ(fit.convergence.unidentified, static_cast<int>(test.unidentified.size()));
    for (const int j : test.unidentified) EXPECT_TRUE(fit.convergence.Has(j, kUnidentified)) << p << j;
    EXPECT_EQ(fit.convergence.smallestEigenvalue < 1e-20, !test.unidentified.empty());
    OwnedMatrix covariance(p, p);
    const Status status = InverseCrossProduct(fit.jacobian, {fit.convergence.marks.get(), theta.size()}, covariance);
    EXPECT_EQ(status, test.unidentified.empty() ? Status::Ok : Status::Singular);
    for (int j = 0; j < p; ++j)
      EXPECT_EQ(IsMissing(covariance[j][j]) != 0, fit.convergence.Has(j, kUnidentified)) << p << j;
  }
}

// log(b0) and sqrt(b1) keep parameters above 0 without a bound: steps that end beyond are taken back. A start where
// nothing exists, and one without derivatives, are told.
TEST(LeastSquares, PointsWithoutResiduals) {
  const TestProblem problem{
      "log",
      Each(8, [](int i, const Jets &b) { return log(b[0] / 0.01) + i * (sqrt(b[1]) - 3.0) - 0.01 * (i % 3); }),
      {50, 4},
      {}};
  std::vector<double> theta = problem.start;
  int infeasible = 0;
  struct Counting {
    const TestProblem &problem;
    int *infeasible;
  } counting{problem, &infeasible};
  const LeastSquaresProblem counted{8,
                                    [](void *owner, std::span<const double> x, std::span<double> f, Matrix jacobian) {
                                      const auto *c = static_cast<Counting *>(owner);
                                      *c->infeasible += x[0] <= 0 || x[1] < 0 ? 1 : 0;
                                      return EvaluateResiduals(const_cast<TestProblem *>(&c->problem), x, f, jacobian);
                                    },
                                    &counting};
  LeastSquaresFit fit;
  ASSERT_EQ(FitLeastSquares(counted, {}, theta, &fit), Status::Ok);
  EXPECT_EQ(fit.convergence.reason, StopReason::Decrement);
  EXPECT_GT(infeasible, 0);
  // The least squares line of 0.01 (i mod 3) on i has the slope 1.5 / 4200 and the mean 0.01125 at 4.5.
  EXPECT_NEAR(std::log(theta[0] / 0.01), 0.01125 - 4.5 * 1.5 / 4200, 1e-12);
  EXPECT_NEAR(std::sqrt(theta[1]), 3 + 1.5 / 4200, 1e-12);

  theta = {-1, 1};
  fit = Fit(problem, &theta);
  EXPECT_EQ(fit.convergence.reason, StopReason::StartNotFinite);
  EXPECT_FALSE(fit.convergence.converged);
  EXPECT_EQ(theta, (std::vector<double>{-1, 1}));
  theta = {1, 0};  // the residuals exist, the derivative of sqrt does not
  EXPECT_EQ(Fit(problem, &theta).convergence.reason, StopReason::DerivativeNotFinite);
}

// What ends a fit early leaves the best point so far, and a status of the caller's function goes through.
TEST(LeastSquares, LimitsAndFailures) {
  const TestProblem problem = SmallProblems()[0];
  OptimiseOptions options;
  std::vector<double> theta = problem.start;
  options.maxIterations = 3;
  LeastSquaresFit fit = Fit(problem, &theta, options);
  EXPECT_EQ(fit.convergence.reason, StopReason::Iterations);
  EXPECT_EQ(fit.convergence.iterations, 3);
  EXPECT_LT(fit.convergence.objective, 24.2);
  const Jets at = problem.residuals(Variables(theta));
  EXPECT_DOUBLE_EQ(square(at[0]).v + square(at[1]).v, fit.convergence.objective);

  options = {};
  options.maxEvaluations = 7;
  theta = problem.start;
  fit = Fit(problem, &theta, options);
  EXPECT_EQ(fit.convergence.reason, StopReason::Evaluations);
  EXPECT_LE(fit.convergence.evaluations.values, 9);

  int calls = 0;
  options = {};
  options.owner = &calls;
  options.progress = [](void *owner, const Progress &progress) {
    EXPECT_EQ(progress.iteration, (*static_cast<int *>(owner))++);
    return progress.iteration < 2;
  };
  theta = problem.start;
  EXPECT_EQ(Fit(problem, &theta, options).convergence.reason, StopReason::Stopped);
  EXPECT_EQ(calls, 3);

  int left = 4;
  const LeastSquaresProblem failing{2,
                                    [](void *owner, std::span<const double>, std::span<double> f, Matrix jacobian) {
                                      f[0] = f[1] = 1;
                                      if (jacobian) FillIdentity(jacobian);
                                      return (*static_cast<int *>(owner))-- > 0 ? Status::Ok : Status::RunFailed;
                                    },
                                    &left};
  EXPECT_EQ(FitLeastSquares(failing, {}, theta, &fit), Status::RunFailed);
}

// A Jacobian of the wrong sign leads nowhere, which is said.
TEST(LeastSquares, WrongDerivatives) {
  const TestProblem problem = SmallProblems()[4];
  const LeastSquaresProblem wrong{3,
                                  [](void *owner, std::span<const double> x, std::span<double> f, Matrix jacobian) {
                                    const Status status = EvaluateResiduals(owner, x, f, jacobian);
                                    for (std::int64_t i = 0; i < jacobian.Length(); ++i) jacobian.cells[i] *= -1;
                                    return status;
                                  },
                                  const_cast<TestProblem *>(&problem)};
  std::vector<double> theta = problem.start;
  LeastSquaresFit fit;
  ASSERT_EQ(FitLeastSquares(wrong, {}, theta, &fit), Status::Ok);
  EXPECT_EQ(fit.convergence.reason, StopReason::NoProgress);
  EXPECT_EQ(theta, problem.start);
}

TEST(LeastSquares, BadArguments) {
  const TestProblem problem = SmallProblems()[0];
  const std::vector<double> two = {1, 1}, three = {1, 1, 1}, low = {2, -1}, high = {1, 9}, none = {1, 0};
  const std::vector<ParameterSpace> spaces = {{three, {}, {}, {}}, {low, high, {}, {}}, {{}, {}, {}, none}};
  LeastSquaresFit fit;
  for (const ParameterSpace &space : spaces) {
    OptimiseOptions options;
    options.space = space;
    std::vector<double> theta = two;
    EXPECT_EQ(FitLeastSquares(AsLeastSquares(problem), options, theta, &fit), Status::Invalid);
    EXPECT_EQ(theta, two);
  }
  std::vector<double> theta = {1, MissingValue()};
  EXPECT_EQ(FitLeastSquares(AsLeastSquares(problem), {}, theta, &fit), Status::Invalid);
  EXPECT_EQ(FitLeastSquares({}, {}, theta, &fit), Status::Invalid);
  OptimiseOptions options;  // a start outside the box moves to its nearest point
  options.space.lower = high;
  theta = {-3, 20};
  EXPECT_EQ(Fit(problem, &theta, options).convergence.marks[1], kAtLower);
}

// Fits on several threads give the bits of one.
TEST(LeastSquares, Threads) {
  const std::vector<NistProblem> problems = NistProblems();
  const auto fits = [&problems] {
    std::vector<double> all;
    for (NistProblem nist : problems) {
      nist.problem.start = nist.start2;
      std::vector<double> theta = nist.start2;
      all.push_back(Fit(nist.problem, &theta).convergence.objective);
      all.insert(all.end(), theta.begin(), theta.end());
    }
    return all;
  };
  const std::vector<double> expected = fits();
  std::vector<std::vector<double>> results(4);
  std::vector<std::thread> threads;
  for (std::vector<double> &result : results) threads.emplace_back([&] { result = fits(); });
  for (std::thread &thread : threads) thread.join();
  for (const std::vector<double> &result : results) EXPECT_EQ(result, expected);
}

TEST(LeastSquares, EveryAllocationFails) {
  ForEachFailingAllocation([](bool failing) {
    const TestProblem problem = SmallProblems()[4];
    std::vector<double> theta = problem.start;
    LeastSquaresFit fit;
    const Status status = FitLeastSquares(AsLeastSquares(problem), {}, theta, &fit);
    EXPECT_TRUE(status == Status::Ok || (failing && status == Status::NoMemory && theta == problem.start));
    OwnedMatrix covariance(2, 2);
    if (Failed(status) || !covariance) return;
    for (const auto kind : {LeastSquaresErrors::Classical, LeastSquaresErrors::Robust}) {
      const Status inverse = LeastSquaresCovariance(fit, kind, covariance);
      EXPECT_TRUE(inverse == Status::Ok || (failing && inverse == Status::NoMemory && IsMissing(covariance[0][0])));
    }
  });
}

}  // namespace
}  // namespace tessel
