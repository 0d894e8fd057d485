// Newton's method, BFGS and both in turn: the literature's problems with and without bounds, likelihoods with known
// maxima and standard errors, separation, saddle points, flat directions, several starts, limits and memory.
#include "optimise/maximise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "optimise/covariance.h"
#include "optimise/identification.h"
#include "optimise/starts.h"
#include "problems.h"
#include "support/failing_allocation.h"

namespace tessel {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Method {
  const char *name;
  Status (*run)(const Objective &, const OptimiseOptions &, std::span<double>, Maximum *);
  Information information;
};
const Method kNewton = {"Newton", NewtonMaximise, Information::Exact};
const Method kDifferences = {"Newton with differences", NewtonMaximise, Information::None};
const Method kBfgs = {"BFGS", BfgsMaximise, Information::None};
const Method kBoth = {"BFGS and Newton", MaximiseLikelihood, Information::None};
const Method kAll[] = {kNewton, kDifferences, kBfgs, kBoth};

Maximum Climb(const Method &method, const JetFunction &f, std::vector<double> *theta,
              const OptimiseOptions &options = {}) {
  Maximum fit;
  EXPECT_EQ(method.run(AsObjective(f, method.information), options, *theta, &fit), Status::Ok) << method.name;
  return fit;
}

// A function whose information matrix is a multiple of what it should be.
struct Scaled {
  const JetFunction &f;
  double factor;
  Objective AsObjective(Information information) const {
    return {[](void *owner, std::span<const double> theta, Evaluation *out) {
              const auto *scaled = static_cast<const Scaled *>(owner);
              const Status status = EvaluateJet(const_cast<JetFunction *>(&scaled->f), theta, out);
              for (std::int64_t i = 0; i < out->information.Length(); ++i) out->information.cells[i] *= scaled->factor;
              return status;
            },
            const_cast<Scaled *>(this), information};
  }
};

// From the standard starts: every method ends at a minimum of the sum of squares; stationary points that are not
// printed there are minima all the same.
TEST(Maximise, MoreGarbowHillstrom) {
  for (const auto &problems : {SmallProblems(), LargerProblems()})
    for (const TestProblem &problem : problems)
      for (const Method &method : kAll) {
        std::vector<double> theta = problem.start;
        const Maximum fit = Climb(method, MinusSquares(problem), &theta);
        const Convergence &record = fit.convergence;
        EXPECT_TRUE(record.converged) << problem.name << method.name << StopText(record.reason);
        const bool known = std::any_of(problem.minima.begin(), problem.minima.end(), [&](double minimum) {
          return minimum == 0.0 ? -record.objective < 1e-12 : std::fabs(-record.objective / minimum - 1) < 5e-6;
        });
        EXPECT_TRUE(known) << problem.name << " " << method.name << " " << record.objective;
        EXPECT_TRUE(method.run == BfgsMaximise || record.smallestEigenvalue > -1e-9) << problem.name << method.name;
      }
}

struct BoundedCase {
  const char *name;
  JetFunction minimised;
  std::vector<double> start, lower, upper;
  double minimum;
  std::vector<ParameterMarks> marks;
};

// Hock, W. and Schittkowski, K. (1981), Test Examples for Nonlinear Programming Codes, Lecture Notes in Economics and
// Mathematical Systems 187: those with bounds alone, by their numbers, starts and minima. At 2 all methods end at the
// local minimum on the bound, where 400 x^3 - 598 x - 2 = 0.
TEST(Maximise, HockSchittkowskiBounds) {
  const JetFunction rosenbrock = [](const Jets &x) { return 100 * square(x[1] - square(x[0])) + square(1 - x[0]); };
  const BoundedCase cases[] = {
      {"1", rosenbrock, {-2, 1}, {-kInfinity, -1.5}, {}, 0, {0, 0}},
      {"2", rosenbrock, {-2, 1}, {-kInfinity, 1.5}, {}, 4.941229317988, {0, kAtLower}},
      {"3",
       [](const Jets &x) { return x[1] + 1e-5 * square(x[1] - x[0]); },
       {10, 1},
       {-kInfinity, 0},
       {},
       0,
       {0, kAtLower}},
      {"4",
       [](const Jets &x) { return pow(x[0] + 1, 3) / 3 + x[1]; },
       {1.125, 0.125},
       {1, 0},
       {},
       8.0 / 3,
       {kAtLower, kAtLower}},
      {"5",
       [](const Jets &x) { return sin(x[0] + x[1]) + square(x[0] - x[1]) - 1.5 * x[0] + 2.5 * x[1] + 1; },
       {0, 0},
       {-1.5, -3},
       {4, 3},
       -std::sqrt(3.0) / 2 - std::numbers::pi / 3,
       {0, 0}},
      {"45",
       [](const Jets &x) { return 2 - x[0] * x[1] * x[2] * x[3] * x[4] / 120; },
       {2, 2, 2, 2, 2},
       {0, 0, 0, 0, 0},
       {1, 2, 3, 4, 5},
       1,
       {kAtUpper, kAtUpper, kAtUpper, kAtUpper, kAtUpper}},
      {"110",
       [](const Jets &x) {
         Jet sum, product = 1;
         for (const Jet &v : x) sum += square(log(v - 2)) + square(log(10 - v)), product *= v;
         return sum - pow(product, 0.2);
       },
       std::vector<double>(10, 9), std::vector<double>(10, 2.001), std::vector<double>(10, 9.999), -45.77846971,
       std::vector<ParameterMarks>(10)},
  };
  for (const BoundedCase &test : cases)
    for (const Method &method : kAll) {
      OptimiseOptions options;
      options.space.lower = test.lower;
      options.space.upper = test.upper;
      std::vector<double> theta = test.start;
      const Maximum fit = Climb(
          method, [&](const Jets &x) { return -test.minimised(x); }, &theta, options);
      EXPECT_TRUE(fit.convergence.converged) << test.name << method.name;
      EXPECT_NEAR(-fit.convergence.objective, test.minimum, 1e-8) << test.name << method.name;
      for (std::size_t j = 0; j < theta.size(); ++j)
        EXPECT_EQ(fit.convergence.marks[static_cast<int>(j)], test.marks[j]) << test.name << method.name << j;
    }
}

// Spector, L. and Mazzeo, M. (1980): grades explained by a logit model (Greene, Econometric Analysis, has the table).
struct LogitData {
  std::array<double, 32> gpa = {2.66, 2.89, 3.28, 2.92, 4.00, 2.86, 2.76, 2.87, 3.03, 3.92, 2.63,
                                3.32, 3.57, 3.26, 3.53, 2.74, 2.75, 2.83, 3.12, 3.16, 2.06, 3.62,
                                2.89, 3.51, 3.54, 2.83, 3.39, 2.67, 3.65, 4.00, 3.10, 2.39};
  std::array<double, 32> tuce = {20, 22, 24, 12, 21, 17, 17, 21, 25, 29, 20, 23, 23, 25, 26, 19,
                                 25, 19, 23, 25, 22, 28, 14, 26, 24, 27, 17, 24, 21, 23, 21, 19};
  std::array<bool, 32> passed = {};
  LogitData() {
    for (const std::size_t t : {4, 9, 13, 19, 21, 24, 25, 26, 28, 29, 31}) passed[t] = true;
  }
  Jet Term(std::size_t t, const Jets &b) const {
    const Jet index = b[0] + b[1] * gpa[t] + b[2] * tuce[t] + (t >= 18 ? b[3] : Jet(0));
    return (passed[t] ? index : Jet(0)) - log(1 + exp(index));
  }
  Jet operator()(const Jets &b) const {
    Jet sum;
    for (std::size_t t = 0; t < 32; ++t) sum += Term(t, b);
    return sum;
  }
};

// Estimates and the three kinds of standard errors, in 50-digit arithmetic (tools/optimise_reference.py).
TEST(Maximise, LogitAgainstFiftyDigits) {
  const LogitData data;
  const double estimates[] = {-13.0213468581157, 2.82611259488932, 0.0951576613179093, 2.37868765509335};
  const double errors[3][4] = {{4.93132421360276, 1.26294107562909, 0.141554205673695, 1.06456425449713},
                               {4.84384487496369, 1.37331022202549, 0.178940212947281, 1.21421636227555},
                               {5.19758541029943, 1.26754598201575, 0.117922267749392, 0.964419209652882}};
  for (const Method &method : {kNewton, kDifferences, kBoth}) {
    std::vector<double> theta(4);
    const Maximum fit = Climb(method, data, &theta);
    EXPECT_NEAR(fit.convergence.objective, -12.8896342221314, 1e-12);
    OwnedMatrix scores(32, 4), covariance[] = {OwnedMatrix(4, 4), OwnedMatrix(4, 4), OwnedMatrix(4, 4)};
    OwnedMatrix meat(4, 4);
    for (int t = 0; t < 32; ++t) {
      const Jet term = data.Term(static_cast<std::size_t>(t), Variables(theta));
      std::copy_n(term.g, 4, scores[t]);
    }
    const std::span<const ParameterMarks> marks(fit.convergence.marks.get(), 4);
    ASSERT_EQ(InverseInformation(fit.information, marks, kFlatExact, covariance[0]), Status::Ok);
    ASSERT_EQ(InverseCrossProduct(scores, marks, covariance[1]), Status::Ok);
    CrossProduct(scores, nullptr, meat);
    ASSERT_EQ(Sandwich(covariance[0], meat, covariance[2]), Status::Ok);
    for (int j = 0; j < 4; ++j) {
      EXPECT_NEAR(theta[static_cast<std::size_t>(j)] / estimates[j], 1, 2e-9) << method.name;
      for (int kind = 0; kind < 3; ++kind)
        EXPECT_NEAR(std::sqrt(covariance[kind][j][j]) / errors[kind][j], 1, 1e-8) << method.name << kind << j;
    }
  }
}

// Durbin, J. and Koopman, S.J. (2012), Time Series Analysis by State Space Methods, 2nd ed., chapter 2: a local level
// for the flow of the Nile, two variances of thousands (there 15099 and 1469.1), from starts far away. Digits as above.
TEST(Maximise, LocalLevelOfTheNile) {
  std::vector<double> flow;
  std::ifstream in(TESSEL_SOURCE_DIR "/tests/data/nile.csv");
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) flow.push_back(std::stod(line.substr(5)));
  ASSERT_EQ(flow.size(), 100U);
  const JetFunction likelihood = [&](const Jets &b) {
    Jet level = flow[0], variance = b[0] + b[1], sum;
    for (std::size_t t = 1; t < flow.size(); ++t) {
      const Jet error = flow[t] - level, f = variance + b[0];
      sum += -0.5 * (std::log(2 * std::numbers::pi) + log(f) + square(error) / f);
      level += variance / f * error;
      variance = variance * (1 - variance / f) + b[1];
    }
    return sum;
  };
  const std::vector<double> lower(2);
  OptimiseOptions options;
  options.space.lower = lower;
  for (const Method &method : {kNewton, kDifferences, kBoth})
    for (const std::vector<double> &start : {std::vector<double>{1000, 1000}, {100, 1e5}, {1, 1}}) {
      std::vector<double> theta = start;
      const Maximum fit = Climb(method, likelihood, &theta, options);
      EXPECT_TRUE(fit.convergence.converged) << method.name << start[1];
      EXPECT_NEAR(theta[0] / 15098.5183240963, 1, 1e-7) << method.name << start[1];
      EXPECT_NEAR(theta[1] / 1469.17636030952, 1, 1e-7) << method.name << start[1];
      OwnedMatrix covariance(2, 2);
      ASSERT_EQ(InverseInformation(fit.information, {fit.convergence.marks.get(), 2}, kFlatDifferences, covariance),
                Status::Ok);
      EXPECT_NEAR(std::sqrt(covariance[0][0]) / 3145.54786319327, 1, 1e-7) << method.name;
      EXPECT_NEAR(std::sqrt(covariance[1][1]) / 1280.37541280442, 1, 1e-7) << method.name;
    }
}

// A logit model whose first regressor separates the outcomes has no maximum: its coefficient grows for ever. The second
// coefficient converges where the constant is that of the observations that are not separated.
TEST(Maximise, Separation) {
  const JetFunction complete = [](const Jets &b) {
    Jet sum;
    for (const double x : {-2.0, -1.0, -0.5, 0.5, 1.0, 3.0})
      sum += -log(1 + exp((x > 0 ? -1 : 1) * x * b[0] * (x > 0 ? 1 : 1)));
    return sum;
  };
  const JetFunction quasi = [](const Jets &b) {  // the dummy's outcomes are all 1; the rest are 2 of 6
    return 3 * -log(1 + exp(-(b[0] + b[1]))) + 2 * b[0] - 6 * log(1 + exp(b[0]));
  };
  for (const Method &method : {kNewton, kDifferences, kBoth}) {
    std::vector<double> one = {0.5}, two = {0, 0};
    Maximum fit = Climb(method, complete, &one);
    EXPECT_EQ(fit.convergence.reason, StopReason::AtInfinity) << method.name << one[0];
    EXPECT_FALSE(fit.convergence.converged);
    EXPECT_EQ(fit.convergence.marks[0] & kDiverging, kDiverging);
    fit = Climb(method, quasi, &two);
    EXPECT_EQ(fit.convergence.reason, StopReason::AtInfinity) << method.name << two[1];
    EXPECT_NEAR(two[0], std::log(2.0 / 4), 1e-6);
    EXPECT_EQ(fit.convergence.diverging, 1);
    EXPECT_EQ(fit.convergence.marks[1] & kDiverging, kDiverging) << method.name;
  }
}

// Two normal components with means b0 and b1 and equal weights: at equal means the gradient is zero, and the likelihood
// rises to both sides. Newton steps leave the saddle; with a start for each side the maxima agree.
TEST(Maximise, SaddlePointOfAMixture) {
  const JetFunction mixture = [](const Jets &b) {
    Jet sum;
    for (const double y : {-3.1, -2.8, -3.3, -2.9, 2.7, 3.2, 3.0, 2.9})
      sum += log(0.5 * exp(-0.5 * square(y - b[0])) + 0.5 * exp(-0.5 * square(y - b[1])));
    return sum;
  };
  for (const Method &method : {kNewton, kDifferences, kBoth}) {
    std::vector<double> theta = {-0.0375, -0.0375};  // the mean of all
    const Maximum fit = Climb(method, mixture, &theta);
    EXPECT_TRUE(fit.convergence.converged) << method.name << StopText(fit.convergence.reason);
    std::sort(theta.begin(), theta.end());
    EXPECT_NEAR(theta[0], -3.025, 1e-3) << method.name;  // the means of either group, but for each other's tails
    EXPECT_NEAR(theta[1], 2.95, 1e-3) << method.name;
  }
  // The way from the saddle of x^2 - y^2 ends at a bound; one that the information alone shows is told.
  const std::vector<double> low = {-1e-9, -1}, high = {1e-9, 1};
  OptimiseOptions options;
  options.space.lower = low;
  options.space.upper = high;
  std::vector<double> theta = {0, 0};
  const Maximum fit = Climb(
      kNewton, [](const Jets &x) { return square(x[0]) - square(x[1]); }, &theta, options);
  EXPECT_EQ(fit.convergence.reason, StopReason::Decrement);
  EXPECT_EQ(fit.convergence.atBound, 1);
  const JetFunction hill = [](const Jets &x) { return -square(x[0]) - square(x[1]); };
  const Scaled wrong{hill, -1};
  Maximum none;
  theta = {0, 0};
  ASSERT_EQ(NewtonMaximise(wrong.AsObjective(Information::Exact), {}, theta, &none), Status::Ok);
  EXPECT_EQ(none.convergence.reason, StopReason::SaddlePoint);
}

// -(b0 + b1 - 1)^2 - (b2 - 3)^2: a ridge of maxima. Two parameters are not identified, and the third keeps its error.
TEST(Maximise, FlatDirections) {
  const JetFunction ridge = [](const Jets &b) { return -square(b[0] + 1e6 * b[1] - 1) - square(b[2] - 3); };
  for (const Method &method : {kNewton, kDifferences, kBoth}) {
    std::vector<double> theta = {4, 1e-6, 1};
    const Maximum fit = Climb(method, ridge, &theta);
    const Convergence &record = fit.convergence;
    EXPECT_TRUE(record.converged) << method.name;
    EXPECT_NEAR(theta[0] + 1e6 * theta[1], 1, 1e-6);
    EXPECT_NEAR(theta[2], 3, 1e-8);
    EXPECT_EQ(record.unidentified, 2) << method.name;
    EXPECT_TRUE(record.Has(0, kUnidentified) && record.Has(1, kUnidentified)) << method.name;
    EXPECT_LT(record.smallestEigenvalue, kFlatDifferences);
    OwnedMatrix covariance(3, 3);
    EXPECT_EQ(InverseInformation(fit.information, {record.marks.get(), 3}, kFlatDifferences, covariance),
              Status::Singular);
    EXPECT_NEAR(covariance[2][2], 0.5, 1e-8);
    EXPECT_TRUE(IsMissing(covariance[0][0]) != 0 && IsMissing(covariance[2][1]) != 0);
  }
}

// n log(b) - b sum(y) exists for b > 0 alone; its maximum is 1 / mean(y). Without a bound, from a start so far that
// steps end below 0; and at a bound that is the edge of the domain.
TEST(Maximise, InfeasiblePoints) {
  const JetFunction likelihood = [](const Jets &b) { return 50 * log(b[0]) - 200 * b[0]; };
  const std::vector<double> zero = {0};
  for (const Method &method : kAll)
    for (const bool bounded : {false, true}) {
      OptimiseOptions options;
      if (bounded) options.space.lower = zero;
      for (const double start : {100.0, 0.3, 1e-6}) {
        std::vector<double> theta = {start};
        const Maximum fit = Climb(method, likelihood, &theta, options);
        EXPECT_TRUE(fit.convergence.converged) << method.name << start;
        EXPECT_NEAR(theta[0], 0.25, 1e-8) << method.name << start;
      }
      std::vector<double> theta = {bounded ? 0.0 : -1.0};
      const Maximum fit = Climb(method, likelihood, &theta, options);
      EXPECT_EQ(fit.convergence.reason, StopReason::StartNotFinite) << method.name;
      EXPECT_TRUE(IsMissing(fit.convergence.decrement));
    }
  std::vector<double> theta = {0};
  const JetFunction root = [](const Jets &b) { return sqrt(b[0]) - b[0]; };
  EXPECT_EQ(Climb(kNewton, root, &theta).convergence.reason, StopReason::DerivativeNotFinite);
}

// Fisher scoring and starts of BFGS: an approximate information matrix, here twice and a half of minus the Hessian.
TEST(Maximise, ApproximateInformation) {
  const LogitData data;
  const JetFunction f = data;
  for (const double factor : {2.0, 0.55}) {
    const Scaled scaled{f, factor};
    const Objective objective = scaled.AsObjective(Information::Approximate);
    for (const auto run : {NewtonMaximise, BfgsMaximise, MaximiseLikelihood}) {
      std::vector<double> theta(4);
      Maximum fit;
      ASSERT_EQ(run(objective, {}, theta, &fit), Status::Ok);
      EXPECT_TRUE(fit.convergence.converged) << factor << StopText(fit.convergence.reason);
      EXPECT_NEAR(theta[1], 2.82611259488932, 1e-6) << factor;
    }
  }
}

// Rosenbrock's valley turned over, with two more hills: starts agree, end lower, or fail, and the best one counts.
TEST(Maximise, SeveralStarts) {
  const JetFunction hills = [](const Jets &x) {
    return exp(-square(x[0])) + 2 * exp(-square(x[0] - 10)) + log(30 - x[0]) * 1e-3;
  };
  const Objective objective = AsObjective(hills, Information::Exact);
  const StartFit fit{[](void *owner, std::span<double> theta, Convergence *record) {
                       Maximum one;
                       OptimiseOptions options;
                       options.maxIterations = 50;
                       const Status status = NewtonMaximise(*static_cast<Objective *>(owner), options, theta, &one);
                       *record = std::move(one.convergence);
                       return status;
                     },
                     const_cast<Objective *>(&objective)};
  double starts[] = {0.5, 9.6, 40, -0.2, 10.5};
  std::vector<double> theta(1);
  Convergence record;
  ASSERT_EQ(FitFromStarts(fit, ConstMatrix(starts, 5, 1), Goal::Maximum, theta, &record), Status::Ok);
  EXPECT_NEAR(theta[0], 10, 1e-3);
  EXPECT_TRUE(record.converged);
  EXPECT_EQ(record.starts, 5);
  EXPECT_EQ(record.bestStart, 1);
  EXPECT_EQ(record.startsAgreeing, 2);
  EXPECT_EQ(record.startsWorse, 2);
  EXPECT_EQ(record.startsFailed, 1);
  EXPECT_EQ(record.startsFailedBetter, 0);

  ASSERT_EQ(FitFromStarts(fit, ConstMatrix(starts + 2, 1, 1), Goal::Maximum, theta, &record), Status::Ok);
  EXPECT_FALSE(record.converged);
  EXPECT_EQ(record.startsFailed, 1);
  EXPECT_EQ(FitFromStarts(fit, ConstMatrix(starts, 0, 1), Goal::Maximum, theta, &record), Status::Invalid);
}

TEST(Maximise, LimitsAndFailures) {
  const JetFunction f = MinusSquares(SmallProblems()[0]);
  for (const Method &method : kAll) {
    OptimiseOptions options;
    options.maxIterations = 4;
    std::vector<double> theta = {-1.2, 1};
    Maximum fit = Climb(method, f, &theta, options);
    EXPECT_EQ(fit.convergence.reason, StopReason::Iterations) << method.name;
    EXPECT_EQ(fit.convergence.objective, f(Variables(theta)).v) << method.name;
    EXPECT_GT(fit.convergence.objective, -24.2);
    options = {};
    options.maxEvaluations = 10;
    theta = {-1.2, 1};
    fit = Climb(method, f, &theta, options);
    EXPECT_EQ(fit.convergence.reason, StopReason::Evaluations) << method.name;
    EXPECT_LE(fit.convergence.evaluations.values, 15) << method.name;
    options = {};
    options.progress = [](void *, const Progress &progress) { return progress.iteration < 3; };
    theta = {-1.2, 1};
    fit = Climb(method, f, &theta, options);
    EXPECT_EQ(fit.convergence.reason, StopReason::Stopped);
    EXPECT_EQ(fit.convergence.iterations, 3);

    for (int allowed = 0; allowed < 20; allowed += 6) {
      struct Owner {
        const JetFunction &f;
        int left;
      } owner{f, allowed};
      const Objective failing{[](void *p, std::span<const double> x, Evaluation *out) {
                                auto *o = static_cast<Owner *>(p);
                                if (o->left-- == 0) return Status::NoMemory;
                                return EvaluateJet(const_cast<JetFunction *>(&o->f), x, out);
                              },
                              &owner, method.information};
      theta = {-1.2, 1};
      EXPECT_EQ(method.run(failing, {}, theta, &fit), Status::NoMemory) << method.name << allowed;
      EXPECT_EQ(owner.left, -1) << method.name;
    }
  }
  std::vector<double> none;
  const Maximum fit = Climb(
      kNewton, [](const Jets &) { return Jet(7); }, &none);
  EXPECT_TRUE(fit.convergence.converged);
  EXPECT_EQ(fit.convergence.objective, 7);
}

TEST(Maximise, EveryAllocationFails) {
  const JetFunction f = MinusSquares(SmallProblems()[4]);
  for (const Method &method : kAll)
    ForEachFailingAllocation([&](bool failing) {
      std::vector<double> theta = {1, 1};
      Maximum fit;
      const Status status = method.run(AsObjective(f, method.information), {}, theta, &fit);
      EXPECT_TRUE(status == Status::Ok || (failing && status == Status::NoMemory)) << method.name;
    });
}

}  // namespace
}  // namespace tessel
