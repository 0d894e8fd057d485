#!/usr/bin/python3
"""Writes src/special/gamma_tables.h: the log factorials.

usage: tools/special_gamma_tables.py > src/special/gamma_tables.h
"""

from mpmath import factorial, log, mp

mp.dps = 60
print("""// Tables of the gamma family.
//
// Written by tools/special_gamma_tables.py.
#pragma once

namespace tessel {

// log (x-1)!, indexed by x from 1 to 50; the first entry is not used.
// clang-format off
inline constexpr double kLogFactorial[51] = {""")
values = [0.0] + [float(log(factorial(x - 1))) for x in range(1, 51)]
for start in range(0, 51, 5):
    print("    " + " ".join(f"{v!r}," for v in values[start : start + 5]))
print("""};
// clang-format on

}  // namespace tessel""")
