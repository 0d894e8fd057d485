// COMFAC test.
#include "diagnostics/comfac.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/central_difference.h"
#include "core/missing.h"
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
  explicit LagPolynomials(std::int64_t terms) : order(terms), coefficient(terms) {}

  bool Allocated() const { return order && coefficient; }

  OwnedBlock<int> order;
  OwnedBlock<int> coefficient;  // for each polynomial and lag, but the dependent variable at lag 0: its coefficient
  int count = 0;
  int coefficientCount = 0;
};

// The terms with the dependent variable at lag 0 first, its other terms next, and then the rest. Incomplete when the
// dependent variable has no term at lag 0.
Status ArrangeTerms(const ComfacEquation &equation, std::span<Term> terms) {
  const auto at = [&](std::size_t i) -> Term {
    const int identity = TruncateToInt(equation.identity[i]);
    const bool excluded = identity != equation.dependent && TruncateToInt(equation.exclusion[i]) == 1;
    return {identity, TruncateToInt(equation.lag[i]), excluded};
  };
  const std::size_t count = terms.size();
  std::size_t first = 0, arranged = 1;
  while (first < count && (at(first).identity != equation.dependent || at(first).lag != 0)) ++first;
  if (first == count) return Status::Incomplete;
  terms[0] = at(first);
  for (const bool own : {true, false})
    for (std::size_t i = 0; i < count; ++i)
      if (i != first && (at(i).identity == equation.dependent) == own) terms[arranged++] = at(i);
  return Status::Ok;
}

// Adds the polynomial of one variable: each lag from 0 to the largest exactly once, and no other term.
Status AddPolynomial(std::span<const Term> terms, int identity, LagPolynomials *polynomials) {
  int members = 0, order = 0;
  for (const Term &term : terms) {
    if (term.identity != identity) continue;
    ++members;
    order = std::max(order, term.lag);
  }
  if (members - 1 != order) return Status::Incomplete;
  for (int lag = 0; lag <= order; ++lag) {
    const auto found = std::find_if(terms.begin(), terms.end(), [&](const Term &term) {
      return term.identity == identity && term.lag == lag && !term.excluded;
    });
    if (found == terms.end()) return Status::Incomplete;
    if (const auto at = static_cast<int>(found - terms.begin()); at > 0)
      polynomials->coefficient[polynomials->coefficientCount++] = at - 1;
  }
  polynomials->order[polynomials->count++] = order;
  return Status::Ok;
}

Status ComfacPolynomials(std::span<const Term> terms, LagPolynomials *polynomials) {
  for (auto term = terms.begin(); term != terms.end(); ++term) {
    const auto same = [&](const Term &other) { return other.identity == term->identity; };
    const auto out = [&](const Term &other) { return !same(other) || other.excluded; };
    if (std::any_of(terms.begin(), term, same) || std::all_of(terms.begin(), terms.end(), out)) continue;
    const Status added = AddPolynomial(terms, term->identity, polynomials);
    if (Failed(added)) return added;
  }
  const int *order = polynomials->order.get();
  if (std::any_of(order, order + polynomials->count, [](int n) { return n == 0; })) return Status::OrderZero;
  return polynomials->count < 2 ? Status::TooFew : Status::Ok;
}

// The elimination: polynomials in ascending order of their orders, one after the other in a flat vector.
class Elimination {
 public:
  Elimination(const ComfacEquation &equation, const LagPolynomials &polynomials);

  bool Allocated() const { return sorted_ && order_ && start_ && remaining_ && position_ && place_ && w_ && work_; }
  int SmallestOrder() const { return order_[0]; }
  int LargestRestrictions() const { return SmallestOrder() * (count_ - 1); }

  // g: the restrictions of r common factors, at most LargestRestrictions(). Returns their number.
  int Restrictions(int r, double *g);

  // G, restrictions x coefficients: the derivatives of the restrictions, by central differences. `work` takes two
  // vectors of restrictions. NoStatistic when the number of restrictions is not G's throughout.
  Status Derivatives(int r, double *work, Matrix derivatives);

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

Status Elimination::Derivatives(int r, double *work, Matrix derivatives) {
  const int restrictions = derivatives.rows;
  const double *above = work, *below = work + restrictions;
  for (int k = 0; k < derivatives.columns; ++k) {
    bool complete = true;
    const double width = EvaluateOnBothSides(w_.get() + place_[k], [&](int sign) {
      complete = Restrictions(r, sign > 0 ? work : work + restrictions) == restrictions && complete;
    });
    if (!complete) return Status::NoStatistic;
    for (int i = 0; i < restrictions; ++i) derivatives[i][k] = (above[i] - below[i]) / width;
  }
  return Status::Ok;
}

// Scales S to a unit diagonal, and g with it: the pivots of its inversion are compared with an absolute bound.
// d: S's diagonal, to the power -1/2.
void ScaleToUnitDiagonal(std::span<double> g, Matrix s, double *d) {
  for (int i = 0; i < s.rows; ++i) d[i] = s[i][i] > 0 ? 1 / std::sqrt(s[i][i]) : 1;
  for (int i = 0; i < s.rows; ++i) {
    g[i] *= d[i];
    for (int j = 0; j < s.rows; ++j) s[i][j] *= d[i] * d[j];
  }
}

double QuadraticForm(std::span<const double> g, ConstMatrix s) {
  double sum = 0;
  for (int i = 0; i < s.rows; ++i) {
    double row = 0;
    for (int j = 0; j < s.columns; ++j) row += s[i][j] * g[j];
    sum += g[i] * row;
  }
  return sum;
}

struct WaldTest {
  double statistic = 0;
  int degrees = 0;
};

// W = g' (c G V G')^-1 g for r common factors. v: the covariance matrix in the order of G's columns.
Status ComfacWald(Elimination *elimination, int r, ConstMatrix v, double c, WaldTest *test) {
  const int most = elimination->LargestRestrictions();
  const OwnedBlock<double> blocks(std::int64_t{3} * most);
  if (!blocks) return Status::NoMemory;
  double *work = blocks.get() + most;
  const int n = test->degrees = elimination->Restrictions(r, blocks.get());
  if (n == 0) return Status::NoStatistic;
  const std::span<double> g = {blocks.get(), blocks.get() + n};

  const OwnedMatrix derivatives(n, v.rows), s(n, n);
  if (!derivatives || !s) return Status::NoMemory;
  if (const Status status = elimination->Derivatives(r, work, derivatives); Failed(status)) return status;
  if (const Status status = MatSandwich(derivatives, v, s); Failed(status)) return status;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) s[i][j] *= c;
  ScaleToUnitDiagonal(g, s, work);
  const Status inverted = MatInvertSpd(s);
  if (Failed(inverted)) return inverted == Status::NoMemory ? inverted : Status::NoStatistic;
  test->statistic = QuadraticForm(g, s);
  return test->statistic >= 0 ? Status::Ok : Status::NoStatistic;
}

}  // namespace

Status ComfacTest(const ComfacEquation &equation, ComfacResult *result) {
  const std::size_t termCount = equation.identity.size();
  result->count = 0;
  result->statistics = OwnedBlock<double>(static_cast<std::int64_t>(termCount));
  result->degrees = OwnedBlock<double>(static_cast<std::int64_t>(termCount));
  const OwnedBlock<Term> block(static_cast<std::int64_t>(termCount));
  LagPolynomials polynomials(static_cast<std::int64_t>(termCount));
  if (!result->statistics || !result->degrees || !block || !polynomials.Allocated()) return Status::NoMemory;
  const std::span<Term> terms = {block.get(), termCount};
  Status status = ArrangeTerms(equation, terms);
  if (Succeeded(status)) status = ComfacPolynomials(terms, &polynomials);
  if (Failed(status)) return status;

  Elimination elimination(equation, polynomials);
  const int coefficients = polynomials.coefficientCount, *index = polynomials.coefficient.get();
  const OwnedMatrix v(coefficients, coefficients);
  if (!elimination.Allocated() || !v) return Status::NoMemory;
  for (int i = 0; i < coefficients; ++i)
    for (int j = 0; j < coefficients; ++j) v[i][j] = equation.covariance[index[i]][index[j]];

  const int largest = elimination.SmallestOrder();
  for (int r = largest; r >= 1; --r) {
    WaldTest test;
    status = ComfacWald(&elimination, r, v, equation.scale, &test);
    if (Failed(status)) return status;
    result->statistics[largest - r] = test.statistic;
    result->degrees[largest - r] = test.degrees;
  }
  result->count = largest;
  return Status::Ok;
}

}  // namespace tessel
