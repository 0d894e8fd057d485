// A number with its exact first and second derivatives with respect to n variables.
#pragma once

#include <algorithm>
#include <cmath>

namespace tessel {

struct Jet {
  static constexpr int kMost = 12;
  double v = 0.0;
  int n = 0;        // first derivatives; those beyond are zero
  int seconds = 0;  // second derivatives: n, or 0 where they are not wanted
  double g[kMost];
  double h[kMost][kMost];  // lower triangle

  Jet() = default;
  Jet(double value) : v(value) {}
  static Jet Variable(double value, int j, int count, bool second) {
    Jet x(value);
    x.n = count;
    x.seconds = second ? count : 0;
    for (int i = 0; i < count; ++i) {
      x.g[i] = i == j ? 1.0 : 0.0;
      for (int k = 0; k < x.seconds; ++k) x.h[i][k] = 0.0;
    }
    return x;
  }
};

// f(x, y) from its value and derivatives.
inline Jet Chain(const Jet &x, const Jet &y, double f, double fx, double fy, double fxx, double fxy, double fyy) {
  Jet r(f);
  r.n = std::max(x.n, y.n);
  r.seconds = std::max(x.seconds, y.seconds);
  for (int i = 0; i < r.n; ++i) {
    const double xi = x.n > 0 ? x.g[i] : 0.0, yi = y.n > 0 ? y.g[i] : 0.0;
    r.g[i] = fx * xi + fy * yi;
    for (int j = 0; j <= i && r.seconds > 0; ++j) {
      const double xj = x.n > 0 ? x.g[j] : 0.0, yj = y.n > 0 ? y.g[j] : 0.0;
      r.h[i][j] = fxx * xi * xj + fyy * yi * yj + fxy * (xi * yj + xj * yi);
      if (x.n > 0) r.h[i][j] += fx * x.h[i][j];
      if (y.n > 0) r.h[i][j] += fy * y.h[i][j];
    }
  }
  return r;
}
inline Jet Chain(const Jet &x, double f, double fx, double fxx) { return Chain(x, Jet(), f, fx, 0, fxx, 0, 0); }

inline Jet operator+(const Jet &x, const Jet &y) { return Chain(x, y, x.v + y.v, 1, 1, 0, 0, 0); }
inline Jet operator-(const Jet &x, const Jet &y) { return Chain(x, y, x.v - y.v, 1, -1, 0, 0, 0); }
inline Jet operator*(const Jet &x, const Jet &y) { return Chain(x, y, x.v * y.v, y.v, x.v, 0, 1, 0); }
inline Jet operator/(const Jet &x, const Jet &y) {
  const double q = x.v / y.v;
  return Chain(x, y, q, 1 / y.v, -q / y.v, 0, -1 / (y.v * y.v), 2 * q / (y.v * y.v));
}
inline Jet operator-(const Jet &x) { return Chain(x, -x.v, -1, 0); }
inline Jet &operator+=(Jet &x, const Jet &y) { return x = x + y; }
inline Jet &operator*=(Jet &x, const Jet &y) { return x = x * y; }

inline Jet exp(const Jet &x) { return Chain(x, std::exp(x.v), std::exp(x.v), std::exp(x.v)); }
inline Jet log(const Jet &x) { return Chain(x, std::log(x.v), 1 / x.v, -1 / (x.v * x.v)); }
inline Jet sqrt(const Jet &x) { return Chain(x, std::sqrt(x.v), 0.5 / std::sqrt(x.v), -0.25 / (x.v * std::sqrt(x.v))); }
inline Jet sin(const Jet &x) { return Chain(x, std::sin(x.v), std::cos(x.v), -std::sin(x.v)); }
inline Jet cos(const Jet &x) { return Chain(x, std::cos(x.v), -std::sin(x.v), -std::cos(x.v)); }
inline Jet atan(const Jet &x) {
  const double d = 1 / (1 + x.v * x.v);
  return Chain(x, std::atan(x.v), d, -2 * x.v * d * d);
}
inline Jet pow(const Jet &x, double p) {
  return Chain(x, std::pow(x.v, p), p * std::pow(x.v, p - 1), p * (p - 1) * std::pow(x.v, p - 2));
}
inline Jet square(const Jet &x) { return Chain(x, x.v * x.v, 2 * x.v, 2); }

}  // namespace tessel
