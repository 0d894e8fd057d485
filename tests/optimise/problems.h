// Least-squares problems with exact derivatives: More, J.J., Garbow, B.S. and Hillstrom, K.E. (1981), Testing
// unconstrained optimization software, ACM Transactions on Mathematical Software 7, 17-41 (numbers, starts and minima
// as printed there), and NIST's non-linear regressions (tests/nist).
#pragma once

#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include "jet.h"
#include "optimise/problem.h"

namespace tessel {

using Jets = std::vector<Jet>;

struct TestProblem {
  std::string name;
  std::function<Jets(const Jets &)> residuals;
  std::vector<double> start;
  // Of the sum of squares: the global one, and others. Those with five or more digits that are not printed there are
  // stationary values at which MINPACK or SciPy end as well.
  std::vector<double> minima;
};

// The variables at a point.
inline Jets Variables(std::span<const double> x, bool second = false) {
  Jets jets;
  const auto count = static_cast<int>(x.size());
  for (int j = 0; j < count; ++j) jets.push_back(Jet::Variable(x[static_cast<std::size_t>(j)], j, count, second));
  return jets;
}

inline Status EvaluateResiduals(void *owner, std::span<const double> theta, std::span<double> residuals,
                                Matrix jacobian) {
  const Jets f = static_cast<const TestProblem *>(owner)->residuals(Variables(theta));
  for (std::size_t t = 0; t < f.size(); ++t) {
    residuals[t] = f[t].v;
    for (int j = 0; jacobian && j < jacobian.columns; ++j)
      jacobian[static_cast<int>(t)][j] = f[t].n > 0 ? f[t].g[j] : 0.0;
  }
  return Status::Ok;
}

inline LeastSquaresProblem AsLeastSquares(const TestProblem &problem) {
  const std::size_t t = problem.residuals(Variables(problem.start)).size();
  return {static_cast<int>(t), EvaluateResiduals, const_cast<TestProblem *>(&problem)};
}

// A function to be maximised, with its exact gradient and information matrix.
using JetFunction = std::function<Jet(const Jets &)>;

inline Status EvaluateJet(void *owner, std::span<const double> theta, Evaluation *out) {
  const int p = static_cast<int>(theta.size());
  const Jet l = (*static_cast<const JetFunction *>(owner))(Variables(theta, static_cast<bool>(out->information)));
  out->value = l.v;
  for (int i = 0; i < p; ++i) {
    if (!out->gradient.empty()) out->gradient[static_cast<std::size_t>(i)] = l.n > 0 ? l.g[i] : 0.0;
    for (int j = 0; out->information && j <= i; ++j) out->information[i][j] = l.n > 0 ? -l.h[i][j] : 0.0;
  }
  return Status::Ok;
}

inline Objective AsObjective(const JetFunction &f, Information information) {
  return {EvaluateJet, const_cast<JetFunction *>(&f), information};
}

inline JetFunction MinusSquares(const TestProblem &problem) {
  return [f = problem.residuals](const Jets &x) {
    Jet sum;
    for (const Jet &residual : f(x)) sum += square(residual);
    return -sum;
  };
}

// f(i, x) for i of 1 to m.
template <class F>
std::function<Jets(const Jets &)> Each(int m, F f) {
  return [m, f](const Jets &x) {
    Jets out;
    for (int i = 1; i <= m; ++i) out.push_back(f(i, x));
    return out;
  };
}

inline double At(const std::vector<double> &y, int i) { return y[static_cast<std::size_t>(i - 1)]; }

inline Jets Watson(const Jets &x) {
  Jets f;
  for (int i = 1; i <= 29; ++i) {
    Jet slope, sum;
    for (std::size_t j = 0; j < x.size(); ++j) {
      const auto degree = static_cast<double>(j);
      if (j > 0) slope += x[j] * (degree * std::pow(i / 29.0, degree - 1));
      sum += x[j] * std::pow(i / 29.0, degree);
    }
    f.push_back(slope - square(sum) - 1);
  }
  f.push_back(x[0]);
  f.push_back(x[1] - square(x[0]) - 1);
  return f;
}

inline Jets Trigonometric(const Jets &x) {
  const auto n = static_cast<double>(x.size());
  Jets f;
  Jet cosines;
  for (const Jet &v : x) cosines += cos(v);
  for (std::size_t i = 0; i < x.size(); ++i)
    f.push_back(n - cosines + static_cast<double>(i + 1) * (1 - cos(x[i])) - sin(x[i]));
  return f;
}

inline Jets BrownAlmostLinear(const Jets &x) {
  Jet sum, product = 1;
  for (const Jet &v : x) sum += v, product *= v;
  Jets f;
  for (std::size_t i = 0; i + 1 < x.size(); ++i) f.push_back(x[i] + sum - static_cast<double>(x.size() + 1));
  f.push_back(product - 1);
  return f;
}

// Shifted Chebyshev polynomials, averaged over the points, less their integrals.
inline Jets Chebyquad(const Jets &x) {
  Jets f(x.size());
  for (const Jet &v : x) {
    Jet before = 1, now = 2 * v - 1;
    for (std::size_t i = 0; i < x.size(); ++i) {
      f[i] += now / static_cast<double>(x.size());
      const Jet next = 2 * (2 * v - 1) * now - before;
      before = now;
      now = next;
    }
  }
  for (std::size_t i = 1; i < x.size(); i += 2) {
    const auto degree = static_cast<double>(i + 1);
    f[i] += 1 / (degree * degree - 1);
  }
  return f;
}

inline std::vector<TestProblem> SmallProblems() {
  const std::vector<double> bard = {.14, .18, .22, .25, .29, .32, .35, .39, .37, .58, .73, .96, 1.34, 2.10, 4.39};
  const std::vector<double> gauss = {.0009, .0044, .0175, .0540, .1295, .2420, .3521, .3989,
                                     .3521, .2420, .1295, .0540, .0175, .0044, .0009};
  const std::vector<double> meyer = {34780, 28610, 23650, 19630, 16370, 13720, 11540, 9744,
                                     8261,  7030,  6005,  5147,  4427,  3820,  3307,  2872};
  return {
      {"1 Rosenbrock",
       [](const Jets &x) {
         return Jets{10 * (x[1] - square(x[0])), 1 - x[0]};
       },
       {-1.2, 1},
       {0}},
      {"2 Freudenstein and Roth",
       [](const Jets &x) {
         return Jets{-13 + x[0] + ((5 - x[1]) * x[1] - 2) * x[1], -29 + x[0] + ((x[1] + 1) * x[1] - 14) * x[1]};
       },
       {0.5, -2},
       {0, 48.9842}},
      {"3 Powell badly scaled",
       [](const Jets &x) {
         return Jets{1e4 * x[0] * x[1] - 1, exp(-x[0]) + exp(-x[1]) - 1.0001};
       },
       {0, 1},
       {0}},
      {"4 Brown badly scaled",
       [](const Jets &x) {
         return Jets{x[0] - 1e6, x[1] - 2e-6, x[0] * x[1] - 2};
       },
       {1, 1},
       {0}},
      {"5 Beale",
       Each(3,
            [](int i, const Jets &x) {
              return At({1.5, 2.25, 2.625}, i) - x[0] * (1 - pow(x[1], i));
            }),
       {1, 1},
       {0, 0.4520089}},
      {"6 Jennrich and Sampson",
       Each(10, [](int i, const Jets &x) { return 2 + 2 * i - (exp(i * x[0]) + exp(i * x[1])); }),
       {0.3, 0.4},
       {124.362, 259.5802}},
      {"7 helical valley",
       [](const Jets &x) {
         const Jet angle = atan(x[1] / x[0]) / (2 * std::numbers::pi) + (x[0].v < 0 ? 0.5 : 0.0);
         return Jets{10 * (x[2] - 10 * angle), 10 * (sqrt(square(x[0]) + square(x[1])) - 1), x[2]};
       },
       {-1, 0, 0},
       {0}},
      {"8 Bard",
       Each(15,
            [bard](int i, const Jets &x) {
              return At(bard, i) - (x[0] + i / ((16.0 - i) * x[1] + std::min(i, 16 - i) * x[2]));
            }),
       {1, 1, 1},
       {8.21487e-3, 17.4286}},
      {"9 Gaussian",
       Each(15, [gauss](int i,
                        const Jets &x) { return x[0] * exp(-x[1] * square((8.0 - i) / 2 - x[2]) / 2) - At(gauss, i); }),
       {0.4, 1, 0},
       {1.12793e-8}},
      {"10 Meyer",
       Each(16, [meyer](int i, const Jets &x) { return x[0] * exp(x[1] / (45.0 + 5 * i + x[2])) - At(meyer, i); }),
       {0.02, 4000, 250},
       {87.9458}},
      {"12 Box three-dimensional",
       Each(10,
            [](int i, const Jets &x) {
              const double t = 0.1 * i;
              return exp(-t * x[0]) - exp(-t * x[1]) - x[2] * (std::exp(-t) - std::exp(-10 * t));
            }),
       {0, 10, 20},
       {0, 0.07558874}},
  };
}

inline std::vector<TestProblem> LargerProblems() {
  const std::vector<double> kowalik = {.1957, .1947, .1735, .1600, .0844, .0627, .0456, .0342, .0323, .0235, .0246};
  const std::vector<double> doses = {4, 2, 1, .5, .25, .167, .125, .1, .0833, .0714, .0625};
  const std::vector<double> osborne = {
      1.366, 1.191, 1.112, 1.013, .991, .885, .831, .847, .786, .725, .746, .679, .608, .655, .616, .606, .602,
      .626,  .651,  .724,  .649,  .649, .694, .644, .624, .661, .612, .558, .533, .495, .500, .423, .395, .375,
      .372,  .391,  .396,  .405,  .428, .429, .523, .562, .607, .653, .672, .708, .633, .668, .645, .632, .591,
      .559,  .597,  .625,  .739,  .710, .729, .720, .636, .581, .428, .292, .162, .098, .054};
  return {
      {"13 Powell singular",
       [](const Jets &x) {
         return Jets{x[0] + 10 * x[1], std::sqrt(5.0) * (x[2] - x[3]), square(x[1] - 2 * x[2]),
                     std::sqrt(10.0) * square(x[0] - x[3])};
       },
       {3, -1, 0, 1},
       {0}},
      {"14 Wood",
       [](const Jets &x) {
         return Jets{10 * (x[1] - square(x[0])),
                     1 - x[0],
                     std::sqrt(90.0) * (x[3] - square(x[2])),
                     1 - x[2],
                     std::sqrt(10.0) * (x[1] + x[3] - 2),
                     (x[1] - x[3]) / std::sqrt(10.0)};
       },
       {-3, -1, -3, -1},
       {0}},
      {"15 Kowalik and Osborne",
       Each(11,
            [=](int i, const Jets &x) {
              const double u = At(doses, i);
              return At(kowalik, i) - x[0] * (u * u + u * x[1]) / (u * u + u * x[2] + x[3]);
            }),
       {0.25, 0.39, 0.415, 0.39},
       {3.07505e-4, 1.02734e-3, 4.2367463e-4}},
      {"16 Brown and Dennis",
       Each(20,
            [](int i, const Jets &x) {
              const double t = i / 5.0;
              return square(x[0] + t * x[1] - std::exp(t)) + square(x[2] + x[3] * std::sin(t) - std::cos(t));
            }),
       {25, 5, -5, -1},
       {85822.2}},
      {"18 Biggs EXP6",
       Each(13,
            [](int i, const Jets &x) {
              const double t = 0.1 * i, y = std::exp(-t) - 5 * std::exp(-10 * t) + 3 * std::exp(-4 * t);
              return x[2] * exp(-t * x[0]) - x[3] * exp(-t * x[1]) + x[5] * exp(-t * x[4]) - y;
            }),
       {1, 2, 1, 1, 1, 1},
       {0, 5.65565e-3}},
      {"19 Osborne 2",
       Each(65,
            [=](int i, const Jets &x) {
              const double t = (i - 1) / 10.0;
              return At(osborne, i) - (x[0] * exp(-t * x[4]) + x[1] * exp(-square(t - x[8]) * x[5]) +
                                       x[2] * exp(-square(t - x[9]) * x[6]) + x[3] * exp(-square(t - x[10]) * x[7]));
            }),
       {1.3, 0.65, 0.65, 0.7, 0.6, 3, 5, 7, 2, 4.5, 5.5},
       {4.01377e-2, 1.7898136}},
      {"20 Watson, 6", Watson, std::vector<double>(6), {2.28767e-3}},
      {"20 Watson, 9", Watson, std::vector<double>(9), {1.39976e-6}},
      {"23 penalty I",
       [](const Jets &x) {
         Jets f;
         Jet squares = -0.25;
         for (const Jet &v : x) f.push_back(std::sqrt(1e-5) * (v - 1)), squares += square(v);
         f.push_back(squares);
         return f;
       },
       {1, 2, 3, 4},
       {2.24997e-5}},
      {"26 trigonometric", Trigonometric, std::vector<double>(10, 0.1), {0, 2.79506e-5, 4.2186339e-5}},
      {"27 Brown almost-linear", BrownAlmostLinear, std::vector<double>(10, 0.5), {0, 1}},
      {"35 Chebyquad, 8", Chebyquad, {1 / 9., 2 / 9., 3 / 9., 4 / 9., 5 / 9., 6 / 9., 7 / 9., 8 / 9.}, {3.51687e-3}},
  };
}

}  // namespace tessel
