// NIST's Statistical Reference Datasets for non-linear regression: models, data and certified values (tests/nist;
// https://www.itl.nist.gov/div898/strd/nls/nls_main.shtml).
#pragma once

#include <fstream>
#include <sstream>

#include "problems.h"

namespace tessel {

struct NistProblem {
  TestProblem problem;
  std::vector<double> start1, start2, certified, deviation;
};

// The model of each problem at x, with b[0] for NIST's b1.
inline Jet NistModel(const std::string &name, const Jets &b, double x) {
  if (name == "Chwirut2") return exp(-b[0] * x) / (b[1] + b[2] * x);
  if (name == "Gauss1")
    return b[0] * exp(-b[1] * x) + b[2] * exp(-square((x - b[3]) / b[4])) + b[5] * exp(-square((x - b[6]) / b[7]));
  if (name == "Misra1a" || name == "BoxBOD") return b[0] * (1 - exp(-b[1] * x));
  if (name == "Misra1d") return b[0] * b[1] * x / (1 + b[1] * x);
  if (name == "Kirby2") return (b[0] + b[1] * x + b[2] * (x * x)) / (1 + b[3] * x + b[4] * (x * x));
  if (name == "MGH17") return b[0] + b[1] * exp(-x * b[3]) + b[2] * exp(-x * b[4]);
  if (name == "Rat42") return b[0] / (1 + exp(b[1] - b[2] * x));
  return (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1 + x * (b[4] + x * (b[5] + x * b[6])));  // Thurber
}

// The lines of a table of tests/nist without its head.
inline std::vector<std::vector<std::string>> NistRows(const std::string &file) {
  std::ifstream in(TESSEL_SOURCE_DIR "/tests/nist/" + file);
  std::vector<std::vector<std::string>> rows;
  for (std::string line, cell; std::getline(in, line);) {
    rows.emplace_back();
    for (std::istringstream cells(line); std::getline(cells, cell, ',');) rows.back().push_back(cell);
  }
  if (!rows.empty()) rows.erase(rows.begin());
  return rows;
}

inline std::vector<NistProblem> NistProblems() {
  std::vector<NistProblem> problems;
  for (const auto &row : NistRows("certified.csv")) {
    const std::string &name = row[0];
    if (problems.empty() || problems.back().problem.name != name) {
      std::vector<double> y, x;
      for (const auto &cells : NistRows(name + ".csv"))
        y.push_back(std::stod(cells[0])), x.push_back(std::stod(cells[1]));
      problems.emplace_back();
      problems.back().problem = {name,
                                 Each(static_cast<int>(y.size()),
                                      [=](int i, const Jets &b) { return At(y, i) - NistModel(name, b, At(x, i)); }),
                                 {},
                                 {}};
    }
    NistProblem &problem = problems.back();
    problem.start1.push_back(std::stod(row[2]));
    problem.start2.push_back(std::stod(row[3]));
    problem.certified.push_back(std::stod(row[4]));
    problem.deviation.push_back(std::stod(row[5]));
  }
  return problems;
}

}  // namespace tessel
