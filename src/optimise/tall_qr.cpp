// Blocks of rows are stored with variables in rows, so that every reflection runs along contiguous memory.
#include "optimise/tall_qr.h"

#include <algorithm>
#include <cmath>

#include "linalg/dot_product.h"

namespace tessel {

namespace {

constexpr int kBlockRows = 64;
constexpr double kNegligible = 1e-290;  // a square

// Reflects the block below R, `rows` cells from cell p of each row of w, into R.
void ReflectBlock(Matrix w, int p, int rows) {
  for (int j = 0; j < p; ++j) {
    const double *v = w[j] + p;
    const double squares = DotProduct(v, v, rows);
    if (squares < kNegligible) continue;
    const double old = w[j][j], length = std::sqrt(old * old + squares);
    const double head = old > 0.0 ? old + length : old - length;
    const double scale = 1.0 / (length * std::fabs(head));  // 2 / v'v
    for (int k = j + 1; k <= p; ++k) {
      double *cells = w[k] + p;
      const double multiple = scale * (head * w[k][j] + DotProduct(v, cells, rows));
      w[k][j] -= multiple * head;
      for (int i = 0; i < rows; ++i) cells[i] -= multiple * v[i];
    }
    w[j][j] = old > 0.0 ? -length : length;
  }
}

}  // namespace

bool TallFactor::Reserve(int observations, int p) {
  parameters = p;
  columns = OwnedMatrix(p + 1, p + std::min(kBlockRows, observations));
  return static_cast<bool>(columns);
}

void FactorTall(ConstMatrix a, const double *b, TallFactor *factor) {
  const int p = factor->parameters;
  const Matrix w = factor->columns;
  for (int j = 0; j <= p; ++j) std::fill_n(w[j], p, 0.0);
  factor->rest = 0.0;
  for (int first = 0; first < a.rows; first += kBlockRows) {
    const int rows = std::min(kBlockRows, a.rows - first);
    for (int i = 0; i < rows; ++i) {
      const double *row = a[first + i];
      for (int j = 0; j < p; ++j) w[j][p + i] = row[j];
      w[p][p + i] = b == nullptr ? 0.0 : b[first + i];
    }
    ReflectBlock(w, p, rows);
    factor->rest += DotProduct(w[p] + p, w[p] + p, rows);
  }
}

}  // namespace tessel
