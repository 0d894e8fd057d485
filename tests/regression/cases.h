// Calls of exports, their results and their limits, written as data (tests/data/regression_*.txt). Lines:
//   call NAME BOUND ARGUMENT...         i:INTEGER d:NUMBER m:ROWSxCOLUMNS:CELL,... o (an output) - (a declined one)
//                                       c:FIRST-LAST:COLUMN,... observations of columns of tests/data, t: transposed
//   = TARGET ROW COLUMN VALUE [FLOOR]   an expected cell of output number TARGET, or of rtn; its error is bounded
//                                       relative to the value or, where that is larger, to FLOOR
//   size TARGET ROWS COLUMNS
//   unfit POSITION ARGUMENT             put in this place, the argument makes the call end with nothing stored
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/exports.h"

struct Case {
  std::string name;
  double bound = 0;
  std::vector<Argument> arguments;
  std::vector<std::pair<std::size_t, Argument>> unfit;
  std::vector<std::vector<std::string>> expected;  // the words of its `=` and `size` lines
};

// The columns of the data files by their names.
inline const std::map<std::string, std::vector<double>> &DataColumns() {
  static const auto columns = [] {
    std::map<std::string, std::vector<double>> all;
    for (const char *name : {"us_macro.csv", "longley.csv", "regression_data.csv"}) {
      std::ifstream file(std::string(TESSEL_SOURCE_DIR "/tests/data/") + name);
      std::string line, cell;
      std::getline(file, line);
      std::vector<std::string> names;
      for (std::istringstream cells(line); std::getline(cells, cell, ',');) names.push_back(cell);
      while (std::getline(file, line)) {
        std::istringstream cells(line);
        for (const std::string &column : names) std::getline(cells, cell, ','), all[column].push_back(std::stod(cell));
      }
    }
    return all;
  }();
  return columns;
}

inline Argument ParseArgument(const std::string &word) {
  Argument a;
  a.kind = word[0] == '-' ? 'x' : word[0];
  Cells &m = a.matrix;
  if (word.size() < 2) return a;
  std::istringstream text(word.substr(2));
  std::string cell;
  char mark = 0;
  if (a.kind == 'i') text >> a.integer;
  if (a.kind == 'd') text >> a.number;
  if (a.kind == 'm') {
    text >> m.rows >> mark >> m.columns >> mark;
    while (std::getline(text, cell, ',')) m.values.push_back(std::stod(cell));
  }
  if (a.kind == 'c' || a.kind == 't') {
    std::size_t first = 0, last = 0;
    text >> first >> mark >> last >> mark;
    std::vector<const double *> columns;
    while (std::getline(text, cell, ',')) columns.push_back(DataColumns().at(cell).data() + first);
    const std::size_t variables = columns.size(), observations = last - first + 1;
    for (std::size_t i = 0; i < variables * observations; ++i)
      m.values.push_back(a.kind == 'c' ? columns[i % variables][i / variables]
                                       : columns[i / observations][i % observations]);
    m.rows = static_cast<int>(a.kind == 'c' ? observations : variables);
    m.columns = static_cast<int>(m.values.size()) / m.rows;
    a.kind = 'm';
  }
  return a;
}

inline std::vector<Case> ReadCases(const std::string &name) {
  std::vector<Case> cases;
  std::ifstream file(TESSEL_SOURCE_DIR "/tests/data/" + name);
  for (std::string line; std::getline(file, line);) {
    std::istringstream text(line);
    std::vector<std::string> words;
    for (std::string word; text >> word;) words.push_back(word);
    if (words.empty() || words[0] == "#") continue;
    if (words[0] == "call") {
      cases.push_back({words.at(1), std::stod(words.at(2)), {}, {}, {}});
      for (std::size_t i = 3; i < words.size(); ++i) cases.back().arguments.push_back(ParseArgument(words[i]));
    } else if (words[0] == "unfit") {
      cases.back().unfit.emplace_back(std::stoul(words.at(1)), ParseArgument(words.at(2)));
    } else {
      cases.back().expected.push_back(words);
    }
  }
  EXPECT_FALSE(cases.empty()) << name;
  return cases;
}
