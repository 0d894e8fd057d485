// COMFAC test.
#include "diagnostics/comfac.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/central_difference.h"
#include "core/heap.h"
#include "linalg/moments.h"
#include "linalg/symmetric.h"

namespace tessel {
namespace {

struct Term {
  int identity;
  int lag;
  bool excluded;
};

// The lag polynomials, in the order in which their variables first appear: the dependent variable is polynomial 0.
struct LagPolynomials {
  explicit LagPolynomials(int terms) : order(terms), coefficient(terms) {}

  bool Allocated() const { return order && coefficient; }

  OwnedBlock<int> order;
  OwnedBlock<int> coefficient;  // for each polynomial and lag, but the dependent variable at lag 0: its coefficient
  int count = 0;
  int coefficientCount = 0;
};

// The terms with the dependent variable at lag 0 first, its other terms next, and then the rest. False when the
// dependent variable has no term at lag 0.
bool ArrangeTerms(const ComfacEquation &equation, Term *terms) {
  int first = -1, count = 1;
  const auto at = [&](int i) -> Term {
    const int identity = TruncateToInt(equation.identity[i]);
    const bool excluded = identity != equation.dependent && TruncateToInt(equation.exclusion[i]) == 1;
    return {identity, TruncateToInt(equation.lag[i]), excluded};
  };
  for (int i = 0; i < equation.terms && first < 0; ++i)
    if (at(i).identity == equation.dependent && at(i).lag == 0) first = i;
  if (first < 0) return false;
  terms[0] = at(first);
  for (const bool own : {true, false})
    for (int i = 0; i < equation.terms; ++i)
      if (i != first && (at(i).identity == equation.dependent) == own) terms[count++] = at(i);
  return true;
}

// Adds the polynomial of one variable: each lag from 0 to the largest exactly once, and no other term.
bool AddPolynomial(const Term *terms, int termCount, int identity, LagPolynomials *polynomials) {
  int members = 0, order = 0;
  for (int i = 0; i < termCount; ++i) {
    if (terms[i].identity != identity) continue;
    ++members;
    order = std::max(order, terms[i].lag);
  }
  if (members - 1 != order) return false;
  for (int lag = 0; lag <= order; ++lag) {
    int found = -1;
    for (int i = 0; i < termCount; ++i)
      if (terms[i].identity == identity && terms[i].lag == lag && !terms[i].excluded) found = i;
    if (found < 0) return false;
    if (found > 0) polynomials->coefficient[polynomials->coefficientCount++] = found - 1;
  }
  polynomials->order[polynomials->count++] = order;
  return true;
}

ComfacStatus ComfacPolynomials(const Term *terms, int termCount, LagPolynomials *polynomials) {
  for (int i = 0; i < termCount; ++i) {
    const auto same = [&](const Term &term) { return term.identity == terms[i].identity; };
    const bool seen = std::any_of(terms, terms + i, same);
    if (seen || (terms[i].excluded &&
                 std::all_of(terms, terms + termCount, [&](const Term &term) { return !same(term) || term.excluded; })))
      continue;
    if (!AddPolynomial(terms, termCount, terms[i].identity, polynomials)) return ComfacStatus::Incomplete;
  }
  const int *order = polynomials->order.get();
  if (std::any_of(order, order + polynomials->count, [](int n) { return n == 0; })) return ComfacStatus::OrderZero;
  return polynomials->count < 2 ? ComfacStatus::TooFew : ComfacStatus::Success;
}

// The elimination: polynomials in ascending order of their orders, one after the other in a flat vector.
class Elimination {
 public:
  Elimination(const ComfacEquation &equation, const LagPolynomials &polynomials);

  bool Allocated() const { return sorted_ && order_ && start_ && remaining_ && position_ && place_ && w_ && work_; }
  int SmallestOrder() const { return order_[0]; }
  int LargestRestrictions() const { return SmallestOrder() * (count_ - 1); }

  // g: the restrictions of r common factors. Returns their number.
  int Restrictions(int r, double *g);

  // G (restrictions x coefficients): the derivatives of the restrictions, by central differences. `g` is work space for
  // two vectors of restrictions. False when the number of restrictions is not `rows` throughout.
  bool Derivatives(int r, int rows, int coefficients, double *g, RowMatrix derivatives);

 private:
  void Eliminate(int pivot, int r, double mult, double *g, int *length);

  int count_;
  int total_ = 0;                // the sum of the orders
  OwnedBlock<int> sorted_;       // the polynomials of the table
  OwnedBlock<int> order_;        // of the sorted polynomials, as the other three
  OwnedBlock<int> start_;        // place of the first coefficient
  OwnedBlock<int> remaining_;    // order left; -1 when the polynomial has given its restrictions
  OwnedBlock<int> position_;     // coefficients eliminated so far
  OwnedBlock<int> place_;        // of each coefficient, in the order of LagPolynomials::coefficient
  OwnedBlock<double> w_, work_;  // coefficients, and those under elimination
};

Elimination::Elimination(const ComfacEquation &equation, const LagPolynomials &polynomials)
    : count_(polynomials.count),
      sorted_(count_),
      order_(count_),
      start_(count_),
      remaining_(count_),
      position_(count_),
      place_(polynomials.coefficientCount),
      w_(polynomials.coefficientCount + 1),
      work_(polynomials.coefficientCount + 1) {
  if (!Allocated()) return;
  const int *order = polynomials.order.get();
  int *sorted = sorted_.get();
  for (int i = 0; i < count_; ++i) sorted[i] = i;
  std::sort(sorted, sorted + count_, [&](int a, int b) { return order[a] != order[b] ? order[a] < order[b] : a < b; });
  for (int i = 0, start = 0; i < count_; ++i) {
    order_[i] = order[sorted[i]];
    start_[i] = start;
    start += order_[i] + 1;
    total_ += order_[i];
  }
  for (int polynomial = 0, k = 0; polynomial < count_; ++polynomial) {
    const int start = start_[std::find(sorted, sorted + count_, polynomial) - sorted];
    if (polynomial == 0) w_[start] = -1;
    for (int lag = polynomial == 0 ? 1 : 0; lag <= order[polynomial]; ++lag, ++k) {
      place_[k] = start + lag;
      w_[place_[k]] = equation.coefficients[polynomials.coefficient[k]];
    }
  }
}

// Subtracts multiples of the pivot, so that all other polynomials lose their leading coefficient. One that is down to
// order r is a multiple of the common factors when nothing is left of it: its coefficients are restrictions.
void Elimination::Eliminate(int pivot, int r, double mult, double *g, int *length) {
  const double *lead = work_.get() + start_[pivot] + position_[pivot];
  const int order = remaining_[pivot];
  for (int q = 0; q < count_; ++q) {
    if (q == pivot || remaining_[q] < 0) continue;
    double *cells = work_.get() + start_[q] + position_[q]++;
    const double ratio = cells[0] / lead[0];
    cells[0] = 0;
    for (int j = 1; j <= order; ++j) cells[j] -= ratio * lead[j];
    if (remaining_[q] > r) {
      --remaining_[q];
      continue;
    }
    for (int j = 1; j <= order; ++j) g[(*length)++] = mult * cells[j];
    remaining_[q] = -1;
  }
}

// A pivot is never of a higher order than the others at its turn: each stage takes the polynomials from the highest
// index down, and all that are not pivots lose an order.
int Elimination::Restrictions(int r, double *g) {
  std::copy_n(w_.get(), total_ + count_, work_.get());
  std::copy_n(order_.get(), count_, remaining_.get());
  std::fill_n(position_.get(), count_, 0);
  const int smallest = order_[0], largest = order_[count_ - 1];
  const std::int64_t missing = total_ - std::int64_t{count_ - 1} * largest - r;
  int extra = 0;
  while (extra < total_ - 1 && std::int64_t{extra} * (count_ - 1) < missing) ++extra;
  const int last = extra + largest;

  int length = 0;
  double mult = 1;
  for (int stage = smallest; stage <= last; ++stage)
    for (int p = count_ - 1; p >= (stage == last ? 1 : 0); --p) {
      if (order_[p] > stage || remaining_[p] < 0) continue;
      mult *= work_[start_[p] + position_[p]];
      Eliminate(p, r, mult, g, &length);
    }
  return length;
}

bool Elimination::Derivatives(int r, int rows, int coefficients, double *g, RowMatrix derivatives) {
  for (int k = 0; k < coefficients; ++k) {
    double *above = g, *below = g + rows;
    bool complete = true;
    const double width = EvaluateOnBothSides(w_.get() + place_[k], [&](int sign) {
      complete = Restrictions(r, sign > 0 ? above : below) == rows && complete;
    });
    if (!complete) return false;
    for (int i = 0; i < rows; ++i) derivatives[i][k] = (above[i] - below[i]) / width;
  }
  return true;
}

// Scales S to a unit diagonal, and g with it: the pivots of its inversion are compared with an absolute bound.
void ScaleToUnitDiagonal(double *g, RowMatrix s, int n, double *d) {
  for (int i = 0; i < n; ++i) d[i] = s[i][i] > 0 ? 1 / std::sqrt(s[i][i]) : 1;
  for (int i = 0; i < n; ++i) {
    g[i] *= d[i];
    for (int j = 0; j < n; ++j) s[i][j] *= d[i] * d[j];
  }
}

double QuadraticForm(const double *g, RowMatrix s, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) {
    double row = 0;
    for (int j = 0; j < n; ++j) row += s[i][j] * g[j];
    sum += g[i] * row;
  }
  return sum;
}

// g' (c G V G')^-1 g. V is the covariance matrix in the order of G's columns.
ComfacStatus WaldStatistic(Elimination *elimination, int r, int coefficients, RowMatrix v, double c, double *statistic,
                           int *restrictions) {
  const int most = elimination->LargestRestrictions();
  const OwnedBlock<double> g(std::int64_t{3} * most);
  const OwnedRows derivatives(most, coefficients), s(most, most);
  if (!g || !derivatives || !s) return ComfacStatus::NoMemory;
  double *values = g.get(), *work = values + most;

  const int n = *restrictions = elimination->Restrictions(r, values);
  if (n == 0 || !elimination->Derivatives(r, n, coefficients, work, derivatives.get()))
    return ComfacStatus::NoStatistic;
  const Matrix sView = ViewOf(s.get(), n, n);
  if (Failed(MatSandwich(ViewOf(derivatives.get(), n, coefficients), ViewOf(v, coefficients, coefficients), sView)))
    return ComfacStatus::NoMemory;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) s[i][j] *= c;
  ScaleToUnitDiagonal(values, s.get(), n, work);
  const Status inverted = MatInvertSpd(sView);
  if (Failed(inverted)) return inverted == Status::NoMemory ? ComfacStatus::NoMemory : ComfacStatus::NoStatistic;
  *statistic = QuadraticForm(values, s.get(), n);
  return *statistic >= 0 ? ComfacStatus::Success : ComfacStatus::NoStatistic;
}

}  // namespace

ComfacStatus ComfacTest(const ComfacEquation &equation, double *statistics, double *degrees, int *count) {
  *count = 0;
  const OwnedBlock<Term> terms(equation.terms);
  LagPolynomials polynomials(equation.terms);
  if (!terms || !polynomials.Allocated()) return ComfacStatus::NoMemory;
  if (!ArrangeTerms(equation, terms.get())) return ComfacStatus::Incomplete;
  ComfacStatus status = ComfacPolynomials(terms.get(), equation.terms, &polynomials);
  if (status != ComfacStatus::Success) return status;

  Elimination elimination(equation, polynomials);
  const int coefficients = polynomials.coefficientCount, *index = polynomials.coefficient.get();
  const OwnedRows v(coefficients, coefficients);
  if (!elimination.Allocated() || !v) return ComfacStatus::NoMemory;
  for (int i = 0; i < coefficients; ++i)
    for (int j = 0; j < coefficients; ++j) v[i][j] = equation.covariance[index[i]][index[j]];

  const int largest = elimination.SmallestOrder();
  for (int r = largest; r >= 1; --r) {
    int restrictions = 0;
    status =
        WaldStatistic(&elimination, r, coefficients, v.get(), equation.scale, statistics + largest - r, &restrictions);
    if (status != ComfacStatus::Success) return status;
    degrees[largest - r] = restrictions;
  }
  *count = largest;
  return ComfacStatus::Success;
}

}  // namespace tessel
