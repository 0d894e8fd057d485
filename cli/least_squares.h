// Non-linear least squares over a function that gives residuals.
//
// The sum of squares is minimised by the Levenberg-Marquardt algorithm (More, J. J. (1978), "The Levenberg-Marquardt
// algorithm: implementation and theory", Lecture Notes in Mathematics 630) with central differences. At the optimum the
// Jacobian J is taken once more with differences of fourth order, and the covariance matrix of the estimates is
// sigma^2 (J'J)^-1 with sigma^2 = RSS / (observations - parameters).
#pragma once

#include <functional>
#include <span>
#include <vector>

// Stores the residuals at a parameter vector. False where they do not exist: a search never moves there.
using ResidualFunction = std::function<bool(std::span<const double> parameters, std::span<double> residuals)>;

struct LeastSquaresOptions {
  int maxIterations = 1000;
  // The search ends when an iteration changes the sum of squares, or the parameters, by less than this share.
  double tolerance = 1e-12;
  std::function<void(int iteration, double rss)> progress;  // called at the start of each iteration
};

struct LeastSquaresFit {
  enum class Stop { SumOfSquares, Parameters, Gradient, Precision, MaxIterations, NoDerivative };

  std::vector<double> estimates;
  std::vector<double> standardErrors;  // NaN where `unidentified` is not empty or no degree of freedom is left
  std::vector<int> unidentified;       // parameters whose effect on the residuals the others can stand in for
  std::vector<int> jumpy;              // parameters around which the residuals jump: there is no derivative
  int degreesOfFreedom = 0;
  double rss = 0.0;
  double sigma = 0.0;  // NaN without degrees of freedom
  int iterations = 0;
  Stop stop = Stop::MaxIterations;

  bool Converged() const { return stop != Stop::MaxIterations && stop != Stop::NoDerivative; }
};

// `residuals` must exist at `start`, and `observations` be at least the number of parameters.
LeastSquaresFit FitLeastSquares(const ResidualFunction &residuals, std::span<const double> start, int observations,
                                const LeastSquaresOptions &options);
