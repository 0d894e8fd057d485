// Polynomials with constant coefficients, highest power first, by Horner's rule.
#pragma once

#include <cstddef>

namespace tessel {

// The polynomial made of the last `used` coefficients.
template <std::size_t used, std::size_t count>
double HornerLast(const double (&coefficients)[count], double x) {
  double sum = coefficients[count - used];
  for (std::size_t i = count - used + 1; i < count; ++i) sum = sum * x + coefficients[i];
  return sum;
}

template <std::size_t count>
double Horner(const double (&coefficients)[count], double x) {
  return HornerLast<count>(coefficients, x);
}

}  // namespace tessel
