// A number with its exact first and second derivatives with respect to n variables.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace tessel {

struct Jet {
  static constexpr std::size_t kMost = 12;
  double v = 0.0;
  std::size_t n = 0;  // derivatives beyond are zero
  std::array<double, kMost> g = {};
  std::array<std::array<double, kMost>, kMost> h = {};  // lower triangle

  Jet() = default;
  Jet(double value) : v(value) {}
  static Jet Variable(double value, std::size_t j, std::size_t count) {
    Jet x(value);
    x.n = count;
    x.g[j] = 1.0;
    return x;
  }
};

// f(x, y) from its value and derivatives.
inline Jet Chain(const Jet &x, const Jet &y, double f, double fx, double fy, double fxx, double fxy, double fyy) {
  Jet r(f);
  r.n = x.n > y.n ? x.n : y.n;
  for (std::size_t i = 0; i < r.n; ++i) {
    r.g[i] = fx * x.g[i] + fy * y.g[i];
    for (std::size_t j = 0; j <= i; ++j)
      r.h[i][j] = fx * x.h[i][j] + fy * y.h[i][j] + fxx * x.g[i] * x.g[j] + fyy * y.g[i] * y.g[j] +
                  fxy * (x.g[i] * y.g[j] + x.g[j] * y.g[i]);
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
