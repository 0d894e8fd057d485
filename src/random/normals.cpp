// Standard normal draws.
#include "random/normals.h"

#include <cmath>
#include <optional>

#include "random/fill.h"
#include "random/mwc8222.h"
#include "random/ran_table.h"

namespace tessel {

namespace {

constexpr double kZigguratArea = 0.00991256303526217;  // of each rectangle

bool normalCached = false;
double cachedNormal;

// exp(-x^2/2), apart from its constant the density.
double Bell(double x) { return std::exp(-0.5 * (x * x)); }

// The tail beyond kZigguratEdge: Marsaglia (1964), Technometrics 6.
double ZigguratTail(bool negative) {
  double x, y;
  do {
    x = std::log(ranTable.uniform()) / kZigguratEdge;
    y = std::log(ranTable.uniform());
  } while (-2 * y < x * x);
  return negative ? x - kZigguratEdge : kZigguratEdge - x;
}

// A place u in rectangle i beyond the part that lies under the bell: the tail for the base rectangle, else the wedge,
// which may reject it. Both f are relative to the bell at x.
[[gnu::noinline]] std::optional<double> ZigguratRim(int i, double u) {
  if (i == 0) return ZigguratTail(u < 0);
  const double x = u * zigX[i];
  const double f0 = std::exp(-0.5 * (zigX[i] * zigX[i] - x * x));
  const double f1 = std::exp(-0.5 * (zigX[i + 1] * zigX[i + 1] - x * x));
  if (f1 + ranTable.uniform() * (f0 - f1) < 1) return x;
  return std::nullopt;
}

// Inlined for the sake of the cursor, which stays in registers.
[[gnu::always_inline]] inline double ZigguratDraw52(MwcCursor &cursor) {
  for (;;) {
    const std::uint32_t a = cursor.Step();
    const std::uint32_t b = cursor.Step();
    const int i = (b >> 24) % kZigguratCount;
    const double u = 2 * MwcToUniform52(a, b) - 1;
    if (std::fabs(u) < zigRatio[i]) return u * zigX[i];
    cursor.Store();
    const std::optional<double> x = ZigguratRim(i, u);
    cursor.Load();
    if (x) return *x;
  }
}

}  // namespace

double zigX[kZigguratCount + 1];
double zigRatio[kZigguratCount];

void ZigguratBuild() {
  double f = Bell(kZigguratEdge);
  zigX[0] = kZigguratArea / f;
  zigX[1] = kZigguratEdge;
  zigX[kZigguratCount] = 0;
  for (int i = 2; i < kZigguratCount; ++i) {
    zigX[i] = std::sqrt(-2 * std::log(kZigguratArea / zigX[i - 1] + f));
    f = Bell(zigX[i]);
  }
  for (int i = 0; i < kZigguratCount; ++i) zigRatio[i] = zigX[i + 1] / zigX[i];
}

double NormalZiggurat32() {
  for (;;) {
    const double u = 2 * ranTable.uniform() - 1;
    const int i = ranTable.raw() & (kZigguratCount - 1);
    if (std::fabs(u) < zigRatio[i]) return u * zigX[i];
    if (const std::optional<double> x = ZigguratRim(i, u)) return *x;
  }
}

double NormalZiggurat52() {
  MwcCursor cursor;
  const double x = ZigguratDraw52(cursor);
  cursor.Store();
  return x;
}

RowMatrix FillZiggurat52(RowMatrix m, int rows, int columns) {
  MwcCursor cursor;
  FillCells(m, rows, columns, [&] { return ZigguratDraw52(cursor); });
  cursor.Store();
  return m;
}

double NormalPolar() {
  if (normalCached) {
    normalCached = false;
    return cachedNormal;
  }
  double a, b, s;
  do {
    a = 2 * ranTable.uniform() - 1;
    b = 2 * ranTable.uniform() - 1;
    s = a * a + b * b;
  } while (s >= 1);
  const double f = std::sqrt(-2 * std::log(s) / s);
  cachedNormal = b * f;
  normalCached = true;
  return a * f;
}

void NormalDiscardCached() { normalCached = false; }

}  // namespace tessel
