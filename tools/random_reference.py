#!/usr/bin/python3
"""Writes tests/random/reference.h: sequences of the random number generators and variates.

usage: tools/random_reference.py > tests/random/reference.h

The generators are worked from their theory in exact integers: the multiply-with-carry generators as powers of 1/b modulo
a b^r - 1, the shift registers bit by bit from their characteristic polynomials, uniforms as fractions rounded once for
each operation. The ziggurat's abscissae are worked in 50 digits. Before it writes, the script checks two published
numbers: the 10000th value of the multiplier 48271 from seed 1 (ISO C++, minstd_rand) and the millionth value of
Marsaglia's MWC in his test of 1999.
"""

import math
from fractions import Fraction

from mpmath import exp, log, mp, sqrt

mp.dps = 50
COUNT = 100000


def times(*factors):
    """A product, rounded once."""
    return float(math.prod(Fraction(f) for f in factors))


def signed(word):
    return word - 2**32 if word >= 2**31 else word


# ---- Generators: infinite sequences of integers.


def lehmer(x):
    while True:
        x = 48271 * x % (2**31 - 1)
        yield x


def multiply_with_carry(a, bits, words, carry):
    """The state T = c + a sum x_i b^i goes to T / b modulo p = a b^r - 1, and its lowest word is the next output."""
    b = 2**bits
    p = a * b ** len(words) - 1
    state = carry + a * sum(x * b**i for i, x in enumerate(words))
    while True:
        x = state % b
        yield x, state
        state = (state + x * p) // b
        assert state <= p


def marsaglia_pair(z, w):
    """A lag of 1: the stream's next word a x + c, from x + b c, is the state itself."""
    streams = [multiply_with_carry(a, 16, [v % 65536], v >> 16) for a, v in ((36969, z), (18000, w))]
    while True:
        (_, z), (_, w) = (next(stream) for stream in streams)
        yield z, w


def tausworthe(word, k, q, step):
    """Windows of 32 bits on the sequence b_n = b_(n-k+q) xor b_(n-k), `step` bits apart; the seed is its first k bits."""
    bits = [word >> (31 - i) & 1 for i in range(k)]
    start = step
    while True:
        while len(bits) < start + 32:
            bits.append(bits[len(bits) - k + q] ^ bits[len(bits) - k])
        yield int("".join(map(str, bits[start : start + 32])), 2)
        if start > 10000:
            del bits[:start]
            start = 0
        start += step


def mwc8222(seed):
    words = []
    while len(words) < 256:
        seed = (1664525 * seed + 1013904223) % 2**32
        if seed:
            words.append(seed)
    return (x for x, _ in multiply_with_carry(809430660, 32, words, 362436))


# ---- Uniforms and normals by generator. A stream holds uniform() and normal().


class Stream:
    def __init__(self, name, seed):
        seed = max(seed, 0)
        self.name, self.cache = name, None
        if name == "PM":
            self.draws = lehmer(seed or 198195252)
        elif name == "GM":
            self.draws = marsaglia_pair(seed or 362436069, seed or 521288629)
        elif name == "LE":
            starts = [seed] * 4 if seed else (112, 1118, 11126, 111238)
            shapes = ((31, 6, 18), (29, 2, 2), (28, 13, 7), (25, 3, 13))
            self.draws = zip(*(tausworthe(z, *shape) for z, shape in zip(starts, shapes)))
        else:
            self.draws = mwc8222(seed)

    def uniform(self):
        x = next(self.draws)
        if self.name == "PM":
            return times(x, 4.656612875245797e-10)
        if self.name == "GM":
            return times((x[0] * 65536 + x[1] % 65536) % 2**32, 2.32830643708e-10)
        if self.name == "LE":
            return times(x[0] ^ x[1] ^ x[2] ^ x[3], 2.3283064365387e-10)
        if self.name == "MWC_32":
            return float(Fraction(signed(x), 2**32) + Fraction(0.5000000001164153))
        return self.join(x, next(self.draws))

    @staticmethod
    def join(x1, x2):
        return float(Fraction(x2 % 2**20, 2**52) + Fraction(signed(x1), 2**32) + Fraction(1, 2) + Fraction(1, 2**53))

    def normal(self):
        return self.ziggurat() if self.name.startswith("MWC") else self.polar()

    def polar(self):
        if self.cache is not None:
            x, self.cache = self.cache, None
            return x
        while True:
            a, b = 2 * self.uniform() - 1, 2 * self.uniform() - 1
            s = a * a + b * b
            if s < 1:
                break
        f = math.sqrt(-2 * math.log(s) / s)
        self.cache = b * f
        return a * f

    def ziggurat(self):
        while True:
            if self.name == "MWC_52":
                a, b = next(self.draws), next(self.draws)
                u, i = 2 * self.join(a, b) - 1, b // 2**24 % 128
            else:
                u, i = 2 * self.uniform() - 1, next(self.draws) % 128
            x = u * EDGES[i]
            if abs(x) < EDGES[i + 1]:
                return x
            if i == 0:
                return math.copysign(self.tail(), u)
            low, high = (math.exp(-EDGES[k] ** 2 / 2) for k in (i, i + 1))
            if high + self.uniform() * (low - high) < math.exp(-x * x / 2):
                return x

    def tail(self):
        while True:
            x = -math.log(self.uniform()) / EDGES[1]
            y = -math.log(self.uniform())
            if y + y >= x * x:
                return x + EDGES[1]

    # ---- Variates.

    def gamma(self, a):
        while True:
            if a == 1:
                return -math.log(self.uniform())
            u, w = self.uniform(), self.uniform()
            if a < 1:
                b = 1 + a / math.e
                x = (b * u) ** (1 / a) if b * u <= 1 else -math.log(b * (1 - u) / a)
                if w <= (math.exp(-x) if b * u <= 1 else x ** (a - 1)):
                    return x
                continue
            if a > 2.5:
                u = w + (1 - 1.86 * u) / math.sqrt(a)
                if not 0 < u < 1:
                    continue
            t = (a - 1 / (6 * a)) / (a - 1) * w / u
            m = 2 / (a - 1)
            if m * u + t + 1 / t < m + 2 or m * math.log(u) - math.log(t) + t < 1:
                return (a - 1) * t

    def chi(self, df):
        return 2 * self.gamma(df / 2)

    def student(self, df):
        z = self.normal()
        return z / math.sqrt(self.chi(df) / df)

    def f(self, n, m):
        top = self.chi(n) / n
        return top / (self.chi(m) / m)


def edges():
    r, v = mp.mpf("3.442619855899"), mp.mpf("0.00991256303526217")
    bell = exp(-r * r / 2)
    x = [v / bell, r]
    while len(x) < 128:
        x.append(sqrt(-2 * log(v / x[-1] + exp(-x[-1] ** 2 / 2))))
    return [float(e) for e in x] + [0.0]


EDGES = edges()


def check():
    x = pow(48271, 10000, 2**31 - 1)
    assert x == 399268537
    # Marsaglia's test seeds z and w, draws 256 and a million numbers of another generator built on the same streams and
    # then a million of MWC = (z << 16) + w.
    n = 256 + 2000000
    z, w = (v * pow(65536, -n, a * 65536 - 1) % (a * 65536 - 1) for v, a in ((12345, 36969), (65435, 18000)))
    assert ((z << 16) + w) % 2**32 == 904977562


def sequence(generator, call, seed, draw, n=0, m=0):
    stream = Stream(generator, seed)
    values = [draw(stream) for _ in range(COUNT)]
    drawn = f"{values[0]!r}, {values[1]!r}, {values[-1]!r}, {min(values)!r}, {max(values)!r}, {stream.uniform()!r}"
    return f'{{"{generator}", "{call}", {n}, {m}, {seed}, {drawn}}},'


check()
print(f"""// Sequences of the random number generators and variates.
//
// Written by tools/random_reference.py.
#pragma once

struct Sequence {{
  const char *generator;
  const char *call;             // as the Algebra language writes it
  double n, m;                  // its degrees of freedom
  int seed;                     // -1 for the default
  double first, second, last;   // of kSequenceLength draws
  double least, greatest;       // of them; those of normals come from the tails of the ziggurat
  double next;                  // the uniform behind the last draw
}};

// clang-format off
inline constexpr int kSequenceLength = {COUNT};
inline constexpr Sequence kSequences[] = {{""")
GENERATORS = ("PM", "GM", "LE", "MWC_32", "MWC_52")
for name in GENERATORS:
    print(sequence(name, "ranu()", -1, Stream.uniform))
for name in GENERATORS:
    print(sequence(name, "rann()", 20240229, Stream.normal))
for df in (0.3, 1, 2, 5, 5.1):
    print(sequence("MWC_52", f"ranchi({df})", 271828, lambda s: s.chi(df), df))
print(sequence("MWC_52", "rant(5)", 271828, lambda s: s.student(5), 5))
print(sequence("MWC_52", "ranf(4, 12.5)", 271828, lambda s: s.f(4, 12.5), 4, 12.5))
print("};")
