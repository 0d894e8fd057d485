// Data, and least squares recomputed from scratch in quadruple precision: what the recursions are checked against.
#pragma once

#include <gtest/gtest.h>
#include <tessel/tessel.h>
#include <morv/host.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#if defined(__SIZEOF_FLOAT128__)
using Wide = __float128;
#else
using Wide = long double;
#endif

inline double D(Wide x) { return static_cast<double>(x); }

// The columns of tests/data/NAME by their names.
inline std::map<std::string, std::vector<double>> ReadColumns(const std::string &name) {
  std::ifstream file(std::string(TESSEL_SOURCE_DIR) + "/tests/data/" + name);
  EXPECT_TRUE(file.good()) << name;
  std::map<std::string, std::vector<double>> columns;
  std::vector<std::string> names;
  for (std::string line, cell; std::getline(file, line);) {
    std::istringstream cells(line);
    for (std::size_t i = 0; std::getline(cells, cell, ','); ++i)
      if (columns.size() <= i && names.size() <= i)
        names.push_back(cell);
      else
        columns[names[i]].push_back(std::stod(cell));
  }
  return columns;
}

// tests/data/regression_references.csv: name -> index -> value (see tools/regression_references.py).
inline const std::map<int, double> &Published(const std::string &name) {
  static const auto table = [] {
    std::map<std::string, std::map<int, double>> values;
    std::ifstream file(std::string(TESSEL_SOURCE_DIR) + "/tests/data/regression_references.csv");
    std::string line, key, index, value;
    std::getline(file, line);
    while (std::getline(file, line)) {
      std::istringstream cells(line);
      std::getline(std::getline(std::getline(cells, key, ','), index, ','), value);
      values[key][std::stoi(index)] = std::stod(value);
    }
    return values;
  }();
  EXPECT_TRUE(table.contains(name)) << name;
  return table.at(name);
}

// 100 times the first difference of the logarithm of a column of us_macro.csv.
inline std::vector<double> Growth(const std::string &column) {
  std::vector<double> level = ReadColumns("us_macro.csv")[column], growth;
  for (std::size_t t = 1; t < level.size(); ++t) growth.push_back(100 * (std::log(level[t]) - std::log(level[t - 1])));
  return growth;
}

// A matrix from its columns, each cut to `rows` observations from its own first one.
struct Column {
  std::vector<double> cells;
  int first = 0;
};
inline morv::Value FromColumns(const std::vector<Column> &columns, int rows) {
  morv::Value matrix = morv::Value::Matrix(rows, static_cast<int>(columns.size()));
  for (int t = 0; t < rows; ++t)
    for (int j = 0; j < static_cast<int>(columns.size()); ++j) {
      const Column &c = columns[static_cast<std::size_t>(j)];
      matrix.AsMatrix()(t, j) = c.cells.at(static_cast<std::size_t>(t + c.first));
    }
  return matrix;
}
inline morv::Value Transposed(const morv::Value &m) {
  const morv::MatrixView a = m.AsMatrix();
  morv::Value t = morv::Value::Matrix(a.columns, a.rows);
  for (int i = 0; i < a.rows; ++i)
    for (int j = 0; j < a.columns; ++j) t.AsMatrix()(j, i) = a(i, j);
  return t;
}

class WideMatrix {
 public:
  WideMatrix(int r, int c) : rows(r), columns(c), cells_(static_cast<std::size_t>(r * c)) {}
  Wide &operator()(int i, int j) { return cells_[static_cast<std::size_t>(i * columns + j)]; }
  Wide operator()(int i, int j) const { return cells_[static_cast<std::size_t>(i * columns + j)]; }
  int rows, columns;

 private:
  std::vector<Wide> cells_;
};

inline WideMatrix Times(const WideMatrix &a, const WideMatrix &b) {
  WideMatrix out(a.rows, b.columns);
  for (int i = 0; i < a.rows; ++i)
    for (int l = 0; l < b.rows; ++l)
      for (int j = 0; j < b.columns; ++j) out(i, j) += a(i, l) * b(l, j);
  return out;
}

// The sum of a(t)' b(t) over the rows first to last.
inline WideMatrix Cross(const morv::MatrixView &a, const morv::MatrixView &b, int first, int last) {
  WideMatrix out(a.columns, b.columns);
  for (int t = first; t <= last; ++t)
    for (int i = 0; i < a.columns; ++i)
      for (int j = 0; j < b.columns; ++j) out(i, j) += static_cast<Wide>(a(t, i)) * b(t, j);
  return out;
}

// Gauss-Jordan elimination with row exchanges.
inline WideMatrix Inverse(WideMatrix a) {
  const int n = a.rows;
  WideMatrix out(n, n);
  for (int i = 0; i < n; ++i) out(i, i) = 1;
  const auto eachCell = [&](auto &&change) {
    for (int j = 0; j < n; ++j) change(a, j), change(out, j);
  };
  for (int i = 0; i < n; ++i) {
    int p = i;
    for (int r = i; r < n; ++r)
      if (std::fabs(D(a(r, i))) > std::fabs(D(a(p, i)))) p = r;
    const Wide pivot = a(p, i);
    eachCell([&](WideMatrix &m, int j) { std::swap(m(i, j), m(p, j)), m(i, j) /= pivot; });
    for (int r = 0; r < n; ++r) {
      const Wide factor = r == i ? Wide(0) : a(r, i);
      eachCell([&](WideMatrix &m, int j) { m(r, j) -= factor * m(i, j); });
    }
  }
  return out;
}

// Two-stage least squares of the columns of y on x with instruments w over the observations first to last; least
// squares for w = x.
struct WideFit {
  WideMatrix proj;
  WideMatrix inverse;  // of the moments of the fitted regressors
  WideMatrix beta;     // k x equations
  WideFit(const morv::MatrixView &y, const morv::MatrixView &x, const morv::MatrixView &w, int first, int last)
      : proj(Times(Cross(x, w, first, last), Inverse(Cross(w, w, first, last)))),
        inverse(Inverse(Times(proj, Cross(w, x, first, last)))),
        beta(Times(inverse, Times(proj, Cross(w, y, first, last)))) {}
  Wide Residual(const morv::MatrixView &y, const morv::MatrixView &x, int t, int j) const {
    Wide e = y(t, j);
    for (int i = 0; i < x.columns; ++i) e -= x(t, i) * beta(i, j);
    return e;
  }
  // 1 + x(t)' inverse x(t)
  Wide Scale(const morv::MatrixView &x, int t) const {
    Wide q = 1;
    for (int i = 0; i < x.columns; ++i)
      for (int j = 0; j < x.columns; ++j) q += x(t, i) * inverse(i, j) * x(t, j);
    return q;
  }
};

// The largest error relative to the expected value, or to `floor` where that is larger.
struct Worst {
  double error = 0;
  void Add(double actual, Wide expected, double floor = 0) {
    const double e = std::fabs(D(actual - expected)) / std::max({std::fabs(D(expected)), floor, 1e-300});
    error = std::isnan(e) ? INFINITY : std::max(error, e);
  }
};
