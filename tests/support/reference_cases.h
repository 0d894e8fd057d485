// Calls of exports with the values that they must give, from files under tests/data. tools/reference_cases.py tells
// their form.
#pragma once

#include <gtest/gtest.h>
#include <morv/host.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/exports.h"

struct Expected {
  std::string word;  // value, sums, cell or size
  int position = -1;
  double tolerance = 0;
  Cells cells;              // of value and sums; of size the sizes alone
  int row = 0, column = 0;  // of cell, whose value stands in cells
  double floor = 1;
};

struct ReferenceCase {
  std::string function, name;
  int line = 0;
  std::vector<Argument> arguments;
  std::vector<Expected> expected;
  std::vector<std::pair<std::size_t, Argument>> unfit;
};

inline double ReadNumber(std::istream &in) {
  std::string word;
  in >> word;
  return std::stod(word);
}

inline Cells ReadSizes(std::istream &in) {
  Cells cells;
  in >> cells.rows >> cells.columns;
  return cells;
}

inline Cells ReadCells(std::istream &in) {
  Cells cells = ReadSizes(in);
  for (int i = cells.rows * cells.columns; i > 0; --i) cells.values.push_back(ReadNumber(in));
  return cells;
}

// The columns of a file in tests/data by their names.
inline const std::map<std::string, std::vector<double>> &DataColumns(const std::string &file) {
  static std::map<std::string, std::map<std::string, std::vector<double>>> files;
  std::map<std::string, std::vector<double>> &columns = files[file];
  if (!columns.empty()) return columns;
  std::ifstream csv(TESSEL_SOURCE_DIR "/tests/data/" + file);
  std::string heading, line, name, cell;
  std::getline(csv, heading);
  while (std::getline(csv, line)) {
    std::stringstream names(heading), cells(line);
    while (std::getline(names, name, ',') && std::getline(cells, cell, ',')) columns[name].push_back(std::stod(cell));
    columns["1"].push_back(1);
  }
  return columns;
}

// FILE [A-B] COLUMN..., to the end of the line: the columns of a matrix, or its rows.
inline Cells ReadColumns(std::istream &in, bool asRows) {
  std::string file, word;
  in >> file;
  const auto &data = DataColumns(file);
  std::size_t first = 0, count = data.at("1").size();
  std::vector<const double *> columns;
  while (in >> word) {
    if (const std::size_t dash = word.find('-'); dash != std::string::npos) {
      first = std::stoul(word);
      count = std::stoul(word.substr(dash + 1)) - first + 1;
    } else {
      columns.push_back(data.at(word).data() + first);
    }
  }
  const std::size_t n = columns.size();
  Cells cells{static_cast<int>(asRows ? n : count), static_cast<int>(asRows ? count : n), {}};
  for (std::size_t i = 0; i < n * count; ++i)
    cells.values.push_back(asRows ? columns[i / count][i % count] : columns[i % n][i / n]);
  return cells;
}

inline Argument ReadArgument(const std::string &word, std::istream &in) {
  if (word == "i") return Int(static_cast<int>(ReadNumber(in)));
  if (word == "d") return Double(ReadNumber(in));
  if (word == "o") return Out();
  if (word == "x") return Declined();
  Argument matrix = Mat(0, 0, {});
  if (word == "m") {
    matrix.matrix = ReadCells(in);
  } else if (word == "csv" || word == "rows") {
    matrix.matrix = ReadColumns(in, word == "rows");
  } else {
    ADD_FAILURE() << "no such word: " << word;
  }
  return matrix;
}

inline Expected ReadExpected(const std::string &word, std::istream &in) {
  Expected expected;
  expected.word = word;
  in >> expected.position;
  if (word == "size") {
    expected.cells = ReadSizes(in);
    return expected;
  }
  expected.tolerance = ReadNumber(in);
  if (word == "value") expected.cells = ReadCells(in);
  if (word == "cell") {
    in >> expected.row >> expected.column;
    expected.cells.values = {ReadNumber(in)};
    if (!(in >> expected.floor)) expected.floor = 0;
  }
  if (word == "sums")
    while (in >> std::ws && !in.eof()) expected.cells.values.push_back(ReadNumber(in));
  return expected;
}

inline std::vector<ReferenceCase> ReadReferenceCases(const std::string &file) {
  std::vector<ReferenceCase> cases;
  std::ifstream text(TESSEL_SOURCE_DIR "/tests/data/" + file);
  int number = 0;
  for (std::string line, word; std::getline(text, line);) {
    std::istringstream in(line);
    ++number;
    if (!(in >> word) || word == "#") continue;
    if (word == "case") {
      ReferenceCase &next = cases.emplace_back();
      in >> next.function >> next.name;
      next.line = number;
    } else if (word == "value" || word == "sums" || word == "cell" || word == "size") {
      cases.back().expected.push_back(ReadExpected(word, in));
    } else if (word == "unfit") {
      std::size_t position = 0;
      in >> position >> word;
      cases.back().unfit.emplace_back(position, ReadArgument(word, in));
    } else {
      do cases.back().arguments.push_back(ReadArgument(word, in));
      while (in >> word);
    }
  }
  EXPECT_FALSE(cases.empty()) << file;
  return cases;
}

// A missing value where one is expected, and otherwise within the bound.
inline bool IsWithin(double got, double wanted, double bound) {
  if (std::isnan(wanted) || got == wanted) return std::isnan(wanted) == std::isnan(got);
  return std::fabs(got - wanted) <= bound;
}

// The cells that `expected` is about.
inline Cells ObservedCells(const CaseRun &run, const Expected &expected) {
  const morv::Value &value = run.ValueAt(expected.position);
  Cells got{1, 1, run.At(expected.position)};
  if (value.Tag() == MORV_MATRIX) {
    got.rows = value.AsMatrix().rows;
    got.columns = value.AsMatrix().columns;
  }
  const int i = expected.row, j = expected.column;
  if (expected.word == "cell" && i < got.rows && j < got.columns)
    return {0, 0, {got.values[static_cast<std::size_t>(i * got.columns + j)]}};
  if (expected.word == "sums") {
    Cells sums{0, 0, std::vector<double>(static_cast<std::size_t>(got.rows))};
    for (int k = 0; k < got.rows * got.columns; ++k)
      sums.values[static_cast<std::size_t>(k / got.columns)] +=
          (k % got.columns + 1) * got.values[static_cast<std::size_t>(k)];
    return sums;
  }
  return got;
}

inline void ExpectValues(const CaseRun &run, const Expected &expected) {
  std::ostringstream where;
  where << expected.word << " of output " << expected.position;
  if (expected.word == "cell") where << " (" << expected.row << ", " << expected.column << ")";
  const Cells got = ObservedCells(run, expected), &wanted = expected.cells;
  ASSERT_EQ(got.rows, wanted.rows) << where.str();
  ASSERT_EQ(got.columns, wanted.columns) << where.str();
  if (expected.word == "size") return;
  ASSERT_EQ(got.values.size(), wanted.values.size()) << where.str();
  for (std::size_t i = 0; i < wanted.values.size(); ++i) {
    const double x = wanted.values[i], bound = expected.tolerance * std::fmax(std::fabs(x), expected.floor);
    EXPECT_TRUE(IsWithin(got.values[i], x, bound))
        << where.str() << ", value " << i << ": " << got.values[i] << " is not " << x << " within " << bound;
  }
}

// The case and all of its values; declining optional outputs in any combination changes no other result by a bit.
inline void ExpectReferenceCase(const ReferenceCase &c) {
  const CaseRun full = Call(c.function, c.arguments);
  ASSERT_TRUE(full.outcome.Returned()) << full.outcome.message;
  for (const Expected &expected : c.expected) ExpectValues(full, expected);

  std::vector<std::size_t> optional;
  for (std::size_t i = 0; i < c.arguments.size(); ++i)
    if (tessel::FindExport(c.function)->argument[i].kind == tessel::ArgumentKind::OptionalOutput &&
        c.arguments[i].kind == 'o')
      optional.push_back(i);
  for (unsigned mask = 1; mask < 1U << optional.size(); ++mask) {
    std::vector<Argument> arguments = c.arguments;
    for (std::size_t i = 0; i < optional.size(); ++i)
      if (mask >> i & 1) arguments[optional[i]].kind = 'x';
    const CaseRun run = Call(c.function, arguments);
    for (int i = -1; i < static_cast<int>(arguments.size()); ++i)
      EXPECT_TRUE(i >= 0 && arguments[static_cast<std::size_t>(i)].kind == 'x'
                      ? !run.Wrote(static_cast<std::size_t>(i))
                      : SameValue(run.ValueAt(i), full.ValueAt(i)))
          << "output " << i << ", declined " << mask;
  }
}

inline void ExpectReferenceCases(const std::string &file) {
  for (const ReferenceCase &c : ReadReferenceCases(file)) {
    SCOPED_TRACE(file + ":" + std::to_string(c.line) + ": " + c.function + " " + c.name);
    ExpectReferenceCase(c);
  }
}

// The call computed nothing and wrote no output.
inline void ExpectGivesUp(const CaseRun &run) {
  EXPECT_FALSE(run.Computed()) << run.outcome.function;
  for (std::size_t i = 0; i < run.outputs.size(); ++i)
    EXPECT_FALSE(run.Wrote(i)) << run.outcome.function << ", output " << i;
}

// An argument that does not fit, in a call that is sound without it, ends the call with nothing computed or written.
inline void ExpectUnfitArguments(const std::string &file) {
  for (const ReferenceCase &c : ReadReferenceCases(file))
    for (const auto &[position, argument] : c.unfit) {
      SCOPED_TRACE(file + ":" + std::to_string(c.line) + ": " + c.function + ", argument " + std::to_string(position));
      std::vector<Argument> arguments = c.arguments;
      EXPECT_TRUE(Call(c.function, arguments).Computed());
      arguments[position] = argument;
      ExpectGivesUp(Call(c.function, arguments));
    }
}
