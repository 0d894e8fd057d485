// The cubic smoothing spline, in Reinsch's form.
//
// With the distances h between the knots, R the tridiagonal matrix of their moments and Q the matrix of second divided
// differences, the second derivatives of the spline at the inner knots solve (R + lambda Q'Q) gamma = Q'y, and the fit
// is y - lambda Q gamma. All matrices are bands, so everything takes time in proportion to the knots.
#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "series/smooth.h"
#include "series/smooth_search.h"

namespace tessel {

namespace {

constexpr double kSmallestPivot = 2.220446049250313e-13;  // 1000 times the double precision

constexpr int kFewest = 3;
constexpr double kUsualLambda = 1600;

// One inner knot: a row of the band matrix' factors L D L', and of the solution.
struct BandRow {
  double pivot = 0;
  double next = 0, second = 0;  // L one and two rows below the diagonal
  double gamma = 0;
};

// One knot, and the distance to the next one.
struct Knot {
  int position;
  double y;
  double h;        // 0 behind the last knot
  double inverse;  // 1 / h; 0 behind the last knot
  double fit;
};

struct Spline {
  double *out;
  int n;
  Knot *knots;
  int m;
  // Inner knot i + 1 in row i + 2. Rows of zeros on either side stand for the natural ends, where the second derivative
  // is 0, and for what the recursions look back at.
  BandRow *rows;

  int Inner() const { return m - 2; }
  BandRow *Row(int i) const { return rows + 2 + i; }
  // The second derivative at knot i.
  double Gamma(int i) const { return Row(i - 1)->gamma; }

  // The bands of R and Q'Q, 0, 1 and 2 places from the diagonal.
  double R0(int i) const { return (knots[i].h + knots[i + 1].h) / 3; }
  double R1(int i) const { return knots[i + 1].h / 6; }
  double Q0(int i) const {
    const double a = knots[i].inverse, b = knots[i + 1].inverse;
    return a * a + (a + b) * (a + b) + b * b;
  }
  double Q1(int i) const {
    const double a = knots[i].inverse, b = knots[i + 1].inverse, c = knots[i + 2].inverse;
    return -b * (a + b + b + c);
  }
  double Q2(int i) const { return knots[i + 1].inverse * knots[i + 2].inverse; }
};

double Slope(const Knot *knot) { return (knot[1].fit - knot[0].fit) * knot[0].inverse; }

// Factorises the band matrix and carries Q'y forward; false at an unusable pivot.
bool Factorise(const Spline &s, double lambda) {
  for (int i = 0; i < s.Inner(); ++i) {
    BandRow *row = s.Row(i);
    const BandRow &a = row[-1], &b = row[-2];
    row->pivot = s.R0(i) + lambda * s.Q0(i) - a.next * a.next * a.pivot - b.second * b.second * b.pivot;
    if (!(row->pivot >= kSmallestPivot && std::isfinite(row->pivot))) return false;
    const bool last = i + 1 == s.Inner();
    row->next = last ? 0 : (s.R1(i) + lambda * s.Q1(i) - a.second * a.next * a.pivot) / row->pivot;
    row->second = last || i + 2 == s.Inner() ? 0 : lambda * s.Q2(i) / row->pivot;
    const Knot *k = s.knots + i;
    const double difference = (k[2].y - k[1].y) * k[1].inverse - (k[1].y - k[0].y) * k[0].inverse;
    row->gamma = difference - a.next * a.gamma - b.second * b.gamma;
  }
  return true;
}

// Turns the right side into gamma, and gives the trace of R (R + lambda Q'Q)^-1. The central bands of the inverse come
// from the factors, upward from the last row, by the recursion of Hutchinson and de Hoog.
double SolveAndTrace(const Spline &s) {
  double trace = 0;
  double b00 = 0, b01 = 0, b11 = 0;  // the inverse at the next row, between it and the one behind, and at that one
  for (int i = s.Inner() - 1; i >= 0; --i) {
    BandRow *row = s.Row(i);
    row->gamma = row->gamma / row->pivot - row->next * row[1].gamma - row->second * row[2].gamma;
    const double two = -row->next * b01 - row->second * b11, one = -row->next * b00 - row->second * b01;
    b11 = b00;
    b01 = one;
    b00 = 1 / row->pivot - row->next * one - row->second * two;
    trace += s.R0(i) * b00 + 2 * s.R1(i) * b01;
  }
  return trace;
}

// The spline at a position between the knots k and k + 1, or beyond the first or last knot.
double Interpolate(const Spline &s, int k, int position) {
  const Knot *at = s.knots + k;
  const double left = position - at[0].position, right = at[1].position - position, h = at[0].h;
  const double bend = h * (s.Gamma(k) + s.Gamma(k + 1)) / 6;  // one of the two is 0 beside an end knot
  if (left < 0) return at[0].fit + left * (Slope(at) - bend);
  if (right < 0) return at[1].fit - right * (Slope(at) + bend);
  const double curve = (1 + left / h) * s.Gamma(k + 1) + (1 + right / h) * s.Gamma(k);
  return (left * at[1].fit + right * at[0].fit) / h - left * right * curve / 6;
}

// The knots' cells take the fit, the missing ones the spline at their place.
void WriteFit(const Spline &s) {
  int k = 0;
  for (int position = 1; position <= s.n; ++position) {
    while (k < s.m - 2 && s.knots[k + 1].position <= position) ++k;
    const Knot *at = s.knots + k;
    double *cell = s.out + position - 1;
    if (position == at[0].position) {
      *cell = at[0].fit;
    } else if (position == at[1].position) {
      *cell = at[1].fit;
    } else {
      *cell = Interpolate(s, k, position);
    }
  }
}

// The trace m - lambda tr Q (R + lambda Q'Q)^-1 Q' is 2 + tr R (R + lambda Q'Q)^-1, since a matrix times its inverse
// has the trace m - 2; so nothing cancels for a large lambda.
SmoothFit FitSpline(void *state, double lambda) {
  const Spline &s = *static_cast<const Spline *>(state);
  if (!Factorise(s, lambda)) return {};
  SmoothFit fit = {true, s.m, 0, 2 + SolveAndTrace(s)};
  for (int i = 0; i < s.m; ++i) {
    Knot &knot = s.knots[i];
    const double before = i > 0 ? (s.Gamma(i) - s.Gamma(i - 1)) * s.knots[i - 1].inverse : 0;
    const double residual = lambda * ((s.Gamma(i + 1) - s.Gamma(i)) * knot.inverse - before);
    knot.fit = knot.y - residual;
    fit.rss += residual * residual;
  }
  WriteFit(s);
  return fit;
}

}  // namespace

Status SmoothSpline(std::span<const double> x, double alpha, std::span<double> out) {
  if (out.size() != x.size()) return Status::Invalid;
  const int n = static_cast<int>(x.size());
  const int m = static_cast<int>(std::count_if(x.begin(), x.end(), [](double v) { return IsMissing(v) == 0; }));
  if (m < kFewest) return Status::TooFew;
  OwnedBlock<Knot> knots(m);
  auto rows = OwnedBlock<BandRow>::Zeroed(std::int64_t{m} + 4);
  if (!knots || !rows) return Status::NoMemory;
  Knot *end = knots.get();
  for (int i = 0; i < n; ++i)
    if (const double v = x.data()[i]; !IsMissing(v)) *end++ = {i + 1, v, 0, 0, 0};
  for (Knot *knot = knots.get(); knot + 1 != end; ++knot) {
    knot->h = knot[1].position - knot[0].position;
    knot->inverse = 1 / knot->h;
  }
  Spline spline = {out.data(), n, knots.get(), m, rows.get()};
  return SmoothBy({FitSpline, &spline, kUsualLambda, 50, false}, alpha);
}

}  // namespace tessel
