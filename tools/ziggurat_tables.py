#!/usr/bin/python3
"""Writes src/random/ziggurat_tables.h: the abscissae of the ziggurat.

usage: tools/ziggurat_tables.py > src/random/ziggurat_tables.h

The recursion runs in double precision, with exp and log correctly rounded (from 50 digits), so that every machine writes
the same bits.
"""

import math

from mpmath import exp, log, mp, mpf

mp.dps = 50
COUNT = 128
EDGE, AREA = 3.442619855899, 0.00991256303526217


def bell(x):
    return float(exp(mpf(-0.5 * (x * x))))


def abscissae():
    x = [AREA / bell(EDGE), EDGE]
    while len(x) < COUNT:
        x.append(math.sqrt(-2 * float(log(mpf(AREA / x[-1] + bell(x[-1]))))))
    return x + [0.0]


print(f"""// The ziggurat's tables for the normal distribution.
//
// Written by tools/ziggurat_tables.py.
#pragma once

#include <array>

namespace tessel {{

inline constexpr int kZigguratCount = {COUNT};
inline constexpr double kZigguratEdge = {EDGE};        // r, where the tail begins
inline constexpr double kZigguratArea = {AREA};  // v, of each rectangle

// With the bell f(x) = exp(-x^2/2): v / f(r), the pseudo-width of the base rectangle; r; then
// x_i = sqrt(-2 log(v / x_(i-1) + f(x_(i-1)))) down to 0.
// clang-format off
inline constexpr std::array<double, kZigguratCount + 1> kZigX = {{""")
values = abscissae()
for start in range(0, COUNT + 1, 5):
    print("    " + " ".join(f"{v!r}," for v in values[start : start + 5]))
print("""};
// clang-format on

// The part of rectangle i that lies under the bell whatever the height: x_(i+1) / x_i.
inline constexpr std::array<double, kZigguratCount> kZigRatio = [] {
  std::array<double, kZigguratCount> ratio{};
  for (std::size_t i = 0; i < ratio.size(); ++i) ratio[i] = kZigX[i + 1] / kZigX[i];
  return ratio;
}();

}  // namespace tessel""")
