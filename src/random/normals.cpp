// Standard normal draws.
#include "random/normals.h"

#include <array>
#include <cmath>
#include <optional>

#include "random/fill.h"
#include "random/mwc8222.h"
#include "random/ziggurat_tables.h"

namespace tessel {

namespace {

// The tail beyond kZigguratEdge: Marsaglia, Generating a variable from the tail of the normal distribution,
// Technometrics 6 (1964), 101-102.
double ZigguratTail(Generators &generators, bool negative) {
  double x, y;
  do {
    x = std::log(RanUniform(generators)) / kZigguratEdge;
    y = std::log(RanUniform(generators));
  } while (-2 * y < x * x);
  return negative ? x - kZigguratEdge : kZigguratEdge - x;
}

// A place u in rectangle i beyond the part that lies under the bell exp(-x^2/2): the tail for the base rectangle, else
// the wedge, which may reject it. Both f are relative to the bell at x.
[[gnu::noinline]] std::optional<double> ZigguratRim(Generators &generators, int i, double u) {
  if (i == 0) return ZigguratTail(generators, u < 0);
  const double x = u * kZigX[i];
  const double f0 = std::exp(-0.5 * (kZigX[i] * kZigX[i] - x * x));
  const double f1 = std::exp(-0.5 * (kZigX[i + 1] * kZigX[i + 1] - x * x));
  if (f1 + RanUniform(generators) * (f0 - f1) < 1) return x;
  return std::nullopt;
}

// Inlined for the sake of the cursor, which stays in registers.
[[gnu::always_inline]] inline double ZigguratDraw52(Generators &generators, MwcCursor &cursor) {
  for (;;) {
    const std::uint32_t a = cursor.Step();
    const std::uint32_t b = cursor.Step();
    const int i = (b >> 24) % kZigguratCount;
    const double u = 2 * MwcToUniform52(a, b) - 1;
    if (std::fabs(u) < kZigRatio[i]) return u * kZigX[i];
    cursor.Store();
    const std::optional<double> x = ZigguratRim(generators, i, u);
    cursor.Load();
    if (x) return *x;
  }
}

}  // namespace

double NormalZiggurat32(Generators &generators) {
  for (;;) {
    const double u = 2 * MwcUniform32(generators) - 1;
    const int i = MwcRaw(generators) & (kZigguratCount - 1);
    if (std::fabs(u) < kZigRatio[i]) return u * kZigX[i];
    if (const std::optional<double> x = ZigguratRim(generators, i, u)) return *x;
  }
}

double NormalZiggurat52(Generators &generators) {
  MwcCursor cursor(generators.mwc);
  const double x = ZigguratDraw52(generators, cursor);
  cursor.Store();
  return x;
}

void FillZiggurat52(Generators &generators, Matrix m) {
  MwcCursor cursor(generators.mwc);
  FillCells(m, [&] { return ZigguratDraw52(generators, cursor); });
  cursor.Store();
}

double NormalPolar(Generators &generators) {
  if (generators.normalCached) {
    generators.normalCached = false;
    return generators.cachedNormal;
  }
  double a, b, s;
  do {
    a = 2 * RanUniform(generators) - 1;
    b = 2 * RanUniform(generators) - 1;
    s = a * a + b * b;
  } while (s >= 1);
  const double f = std::sqrt(-2 * std::log(s) / s);
  generators.cachedNormal = b * f;
  generators.normalCached = true;
  return a * f;
}

}  // namespace tessel
