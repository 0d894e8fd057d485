// The step of the Levenberg-Marquardt method in a trust region.
#pragma once

#include <span>

#include "core/heap.h"
#include "core/matrix.h"
#include "optimise/tall_qr.h"

namespace tessel {

// Minimises |q + R s| over s with |D s| <= radius, for the columns of a triangular factor that are free to move. With
// y = D s and the scaled columns A = R / D, the minimiser is y(mu) = -(A'A + mu I)^-1 A'q for the damping mu at which
// |y| is the radius, or mu = 0 where the Gauss-Newton step lies inside. (More, J.J. (1978), The Levenberg-Marquardt
// algorithm: implementation and theory, in Numerical Analysis, Lecture Notes in Mathematics 630, 105-116.)
class TrustRegion {
 public:
  bool Reserve(int parameters);  // false when memory fails

  // Takes the columns `free` of the factor, each divided by its scale (by 1 for a scale of 0), and factors them with
  // column pivoting.
  void Enter(const TallFactor &factor, std::span<const int> free, const double *scale);

  // The squared length of q's projection on the columns: what a Gauss-Newton step takes off the sum of squares.
  double Projection() const;

  // y for the radius, as s = y / D into `step` at the free parameters' own cells; the others are left alone. The length
  // of y is within a tenth of the radius, or below it for mu = 0. `damping` is the last mu on entry and the new one on
  // return. Gives |y|.
  double Step(double radius, double *damping, double *step);

  // The triangle R of the pivoted scaled columns (row i from cell i on), and the parameter that each column belongs to.
  ConstMatrix Triangle() const { return upper_.Block(0, n_, 0, n_); }
  int ParameterOf(int column) const { return parameter_[column]; }

 private:
  void Reflect(int i, int p);
  void Eliminate(double damping);
  double Solve(double damping);
  double Curvature(bool damped);

  int n_ = 0;
  int rank_ = 0;  // leading diagonal cells of R above 1e-14 of their columns' lengths
  OwnedMatrix memory_;
  OwnedBlock<int> parameter_;  // of each pivoted column
  Matrix columns_;             // row k is scaled column k
  Matrix upper_, damped_;      // R of the pivoted columns, and R with mu I eliminated; upper triangles
  double *scale_ = nullptr;    // D of each pivoted column
  double *rotated_ = nullptr;  // Q'q, and the same with mu I eliminated
  double *eliminated_ = nullptr;
  double *y_ = nullptr;
  double *work_ = nullptr;
};

}  // namespace tessel
