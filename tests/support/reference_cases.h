// Calls of exports with the values that they must give, from a file that a script under tools/ wrote.
// tools/limdep_cases.py tells the form.
#pragma once

#include <gtest/gtest.h>
#include <morv/host.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/exports.h"

struct Expected {
  bool sums = false;
  int position = -1;
  double tolerance = 0;
  Cells cells;
};

struct ReferenceCase {
  std::string function, name;
  std::vector<Argument> arguments;
  std::vector<Expected> expected;
};

inline Cells ReadCells(std::istream &in) {
  Cells cells;
  in >> cells.rows >> cells.columns;
  cells.values.resize(static_cast<std::size_t>(cells.rows * cells.columns));
  for (double &x : cells.values) in >> x;
  return cells;
}

inline Cells ReadColumns(std::istream &in) {
  std::string file, line, word, heading;
  in >> file;
  const std::vector<std::string> names{std::istream_iterator<std::string>(in), {}};
  std::ifstream csv(TESSEL_SOURCE_DIR "/tests/data/" + file);
  std::getline(csv, heading);
  Cells cells{0, static_cast<int>(names.size()), {}};
  for (; std::getline(csv, line); ++cells.rows) {
    std::map<std::string, double> row = {{"1", 1.0}};
    std::stringstream fields(line), columns(heading);
    for (std::string name; std::getline(columns, name, ',') && std::getline(fields, word, ',');)
      row[name] = std::stod(word);
    for (const std::string &name : names) cells.values.push_back(row.at(name));
  }
  return cells;
}

inline std::vector<ReferenceCase> ReadReferenceCases(const std::string &file) {
  std::vector<ReferenceCase> cases;
  std::ifstream text(TESSEL_SOURCE_DIR "/tests/data/" + file);
  for (std::string line, word; std::getline(text, line);) {
    std::istringstream in(line);
    in >> word;
    Argument argument;
    if (word == "case") {
      in >> cases.emplace_back().function >> cases.back().name;
    } else if (word == "value" || word == "sums") {
      Expected &expected = cases.back().expected.emplace_back();
      expected.sums = word == "sums";
      in >> expected.position >> expected.tolerance;
      if (!expected.sums) expected.cells = ReadCells(in);
      for (double x = 0; expected.sums && in >> x;) expected.cells.values.push_back(x);
    } else if (word != "#") {
      argument.kind = word[0] == 'c' ? 'm' : word[0];
      if (word == "i") in >> argument.integer;
      if (word == "d") in >> argument.number;
      if (word == "m") argument.matrix = ReadCells(in);
      if (word == "csv") argument.matrix = ReadColumns(in);
      cases.back().arguments.push_back(argument);
    }
  }
  return cases;
}

inline void ExpectValues(const CaseRun &run, const Expected &expected) {
  std::vector<double> got = run.At(expected.position);
  const std::vector<double> &wanted = expected.cells.values;
  if (const std::size_t n = wanted.size(); expected.sums && got.size() == n * n) {
    const std::vector<double> cells = std::exchange(got, std::vector<double>(n));
    for (std::size_t i = 0; i < n * n; ++i) got[i / n] += static_cast<double>(i % n + 1) * cells[i];
  }
  ASSERT_EQ(got.size(), wanted.size()) << "output " << expected.position;
  for (std::size_t i = 0; i < got.size(); ++i)
    EXPECT_NEAR(got[i], wanted[i], expected.tolerance * std::fmax(1, std::fabs(wanted[i])))
        << "output " << expected.position << ", cell " << i;
}

// Every case gives its values, and declining outputs (of those that `optional` names by export and first position) in
// any combination changes no other result by a bit.
inline void ExpectReferenceCases(const std::string &file, const std::map<std::string, std::size_t> &optional) {
  const std::vector<ReferenceCase> cases = ReadReferenceCases(file);
  ASSERT_FALSE(cases.empty()) << file;
  for (const ReferenceCase &c : cases) {
    SCOPED_TRACE(c.function + " " + c.name);
    const CaseRun full = Call(c.function, c.arguments);
    ASSERT_TRUE(full.outcome.Returned()) << full.outcome.message;
    for (const Expected &expected : c.expected) ExpectValues(full, expected);

    const auto last = static_cast<int>(c.arguments.size()) - 1;
    const std::size_t first = optional.contains(c.function) ? optional.at(c.function) : c.arguments.size();
    for (unsigned mask = 1; mask < 1U << (c.arguments.size() - first); ++mask) {
      std::vector<Argument> arguments = c.arguments;
      for (std::size_t i = first; i < arguments.size(); ++i)
        if (mask >> (i - first) & 1) arguments[i].kind = 'x';
      const CaseRun run = Call(c.function, arguments);
      for (int i = -1; i <= last; ++i)
        EXPECT_TRUE(i >= 0 && arguments[static_cast<std::size_t>(i)].kind == 'x'
                        ? !run.Wrote(static_cast<std::size_t>(i))
                        : SameValue(run.ValueAt(i), full.ValueAt(i)))
            << "output " << i << ", declined " << mask;
    }
  }
}
