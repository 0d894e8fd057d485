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

#include "support/failing_allocation.h"

struct Cells {
  int rows = 0, columns = 0;
  std::vector<double> values;
};

struct Argument {
  char kind = 'i';  // i, d, m, o as in the file, or x: declined
  int integer = 0;
  double number = 0;
  Cells matrix;
};

inline Argument Int(int value) { return {'i', value, 0, {}}; }
inline Argument Double(double value) { return {'d', 0, value, {}}; }
inline Argument Mat(int rows, int columns, std::vector<double> values) {
  return {'m', 0, 0, {rows, columns, std::move(values)}};
}
inline Argument Out() { return {'o', 0, 0, {}}; }

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

// What a call left behind: its outcome and the outputs, each an integer of value -77 where nothing was written. The
// matrices are copies, so that a call may change them.
struct CaseRun {
  CaseRun(std::vector<Argument> callArguments, const std::string &name, MorvFunction function)
      : arguments(std::move(callArguments)), outputs(arguments.size()) {
    morv::Arguments args;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      Argument &a = arguments[i];
      outputs[i] = morv::Value::Integer(-77);
      if (a.kind == 'i') args.Integer(a.integer);
      if (a.kind == 'd') args.Double(a.number);
      if (a.kind == 'm') args.Matrix(a.matrix.values.data(), a.matrix.rows, a.matrix.columns);
      if (a.kind == 'o') args.Output(outputs[i]);
      if (a.kind == 'x') args.Decline();
    }
    outcome = morv::Call(name, function, args);
  }

  bool Wrote(std::size_t position) const { return outputs[position].Tag() == MORV_MATRIX; }
  bool WroteNothing() const {
    return std::none_of(outputs.begin(), outputs.end(), [](const auto &value) { return value.Tag() == MORV_MATRIX; });
  }
  std::vector<double> At(int position) const {
    const morv::Value &value = position < 0 ? outcome.result : outputs[static_cast<std::size_t>(position)];
    if (value.Tag() == MORV_DOUBLE || value.Tag() == MORV_INTEGER) return {value.AsDouble()};
    const auto cells = value.AsMatrix().Flat();
    return {cells.begin(), cells.end()};
  }
  bool ReturnsMissing() const { return outcome.result.Tag() == MORV_DOUBLE && std::isnan(outcome.result.AsDouble()); }

  std::vector<Argument> arguments;
  std::vector<morv::Value> outputs;
  morv::Outcome outcome;
};

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

using ExportTable = std::map<std::string, MorvFunction>;

// Every case gives its values; declining outputs (of those that `optional` names by export and first position) in any
// combination changes no other result by a bit; and with an allocation failing the result and each output that was
// written are the full ones or missing or zero, never something else.
inline void ExpectReferenceCases(const std::string &file, const ExportTable &exports,
                                 const std::map<std::string, std::size_t> &optional) {
  const std::vector<ReferenceCase> cases = ReadReferenceCases(file);
  ASSERT_FALSE(cases.empty()) << file;
  for (const ReferenceCase &c : cases) {
    SCOPED_TRACE(c.function + " " + c.name);
    const CaseRun full(c.arguments, c.function, exports.at(c.function));
    ASSERT_TRUE(full.outcome.Returned()) << full.outcome.message;
    for (const Expected &expected : c.expected) ExpectValues(full, expected);

    const auto same = [&](const CaseRun &run, int position, bool failing) {
      const std::vector<double> a = run.At(position), b = full.At(position);
      if (failing && position < 0 && run.outcome.Untouched()) return true;
      bool empty = failing;
      for (double x : a) empty = empty && (std::isnan(x) || x == 0 || x == -77);
      return empty ||
             (a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0));
    };
    const auto last = static_cast<int>(c.arguments.size()) - 1;
    const std::size_t first = optional.contains(c.function) ? optional.at(c.function) : c.arguments.size();
    for (unsigned mask = 1; mask < 1U << (c.arguments.size() - first); ++mask) {
      std::vector<Argument> arguments = c.arguments;
      for (std::size_t i = first; i < arguments.size(); ++i)
        if (mask >> (i - first) & 1) arguments[i].kind = 'x';
      const CaseRun run(arguments, c.function, exports.at(c.function));
      for (int i = -1; i <= last; ++i)
        EXPECT_TRUE(i >= 0 && arguments[static_cast<std::size_t>(i)].kind == 'x'
                        ? !run.Wrote(static_cast<std::size_t>(i))
                        : same(run, i, false))
            << "output " << i << ", declined " << mask;
    }
    if (c.arguments[0].matrix.rows > 20) continue;
    ForEachFailingAllocation([&](bool failing) {
      const CaseRun run(c.arguments, c.function, exports.at(c.function));
      for (int i = -1; i <= last; ++i) EXPECT_TRUE(same(run, i, failing)) << "output " << i;
    });
  }
}

// Calls each export `rounds` times with arguments drawn at random: tags, sizes and values of every kind. `tags` gives
// the tags that it expects, in order, with I for an integer that asks for no memory and may be the largest. The run
// under AddressSanitizer is the test; here each call must come back.
inline void CallAtRandom(const ExportTable &exports, const std::map<std::string, std::string> &tags, int rounds) {
  unsigned long state = 12345;
  const auto draw = [&](int n) {
    state = state * 6364136223846793005UL + 1442695040888963407UL;
    return static_cast<int>((state >> 33) % static_cast<unsigned long>(n));
  };
  const double odd[] = {NAN, HUGE_VAL, -HUGE_VAL, -1, 1e300, 1e-300, -0.5, 2147483648.0, 0.5};
  const int integers[] = {-2147483647 - 1, -1, 100, 2147483647};
  for (const auto &[name, signature] : tags) {
    for (int round = 0; round < rounds; ++round) {
      std::vector<Argument> arguments;
      const int height = draw(4), width = draw(4);
      for (char tag : signature) {
        Argument &a = arguments.emplace_back();
        a.kind = draw(60) == 0 ? "idmox"[draw(5)] : tag == 'I' ? 'i' : tag;
        a.integer = draw(12) == 0 ? integers[draw(tag == 'I' ? 4 : 3)] : draw(4);
        a.number = draw(4) == 0 ? odd[draw(9)] : draw(3);
        // Often the sizes agree, so that calls get past the door.
        a.matrix.rows = draw(3) == 0 ? draw(6) : height;
        a.matrix.columns = draw(2) == 0 ? draw(9) : draw(2) == 0 ? 1 : width;
        for (int i = 0; i < a.matrix.rows * a.matrix.columns; ++i)
          a.matrix.values.push_back(draw(12) == 0 ? odd[draw(9)] : draw(3));
      }
      const CaseRun run(arguments, name, exports.at(name));
      EXPECT_NE(run.outcome.status, morv::Outcome::Status::NotFound);
    }
  }
}
