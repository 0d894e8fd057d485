// Likelihoods written in Algebra, as recursions and over cross-sections, at their maxima in 80-digit arithmetic
// (tests/data/likelihood_reference.txt, by tools/likelihood_reference.py).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "support/messages.h"

namespace {

using namespace tessel;

const std::string kData = TESSEL_SOURCE_DIR "/tests/data/";

struct Parameter {
  std::string name;
  double estimate, error;
};

struct Maximum {
  std::string model, file;
  int first, last, count;  // the sample, from 1; how many of its observations have a likelihood
  double logLik;
  std::vector<Parameter> parameters;
};

std::vector<Maximum> ReadMaxima() {
  std::vector<Maximum> maxima;
  std::ifstream in(kData + "likelihood_reference.txt");
  for (std::string line, word; std::getline(in, line);) {
    std::istringstream fields(line);
    fields >> word;
    if (word == "model") fields >> maxima.emplace_back().model;
    if (maxima.empty()) continue;
    Maximum &m = maxima.back();
    if (word == "data") fields >> m.file >> m.first >> m.last >> m.count;
    if (word == "loglik") fields >> m.logLik;
    if (word == "parameter") {
      Parameter &p = m.parameters.emplace_back();
      fields >> p.name >> p.estimate >> p.error;
    }
  }
  return maxima;
}

// In the file {name=start} stands for a parameter, and {name} for it again; here for &0, &1, ... in the order of the
// reference, whose values are set before each run.
std::string ProgramOf(const Maximum &maximum) {
  std::ifstream in(kData + "likelihoods/" + maximum.model + ".alg");
  std::string text{std::istreambuf_iterator<char>(in), {}}, numbered;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '{') {
      numbered += text[i];
      continue;
    }
    const std::size_t end = text.find('}', i);
    const std::string name = text.substr(i + 1, text.find_first_of("=}", i) - i - 1);
    const auto at = std::ranges::find(maximum.parameters, name, &Parameter::name);
    EXPECT_NE(at, maximum.parameters.end()) << name;
    numbered += "&" + std::to_string(at - maximum.parameters.begin());
    i = end;
  }
  return numbered;
}

// Opens the workspace over the columns of a file, but for one of labels.
void Open(AlgebraWorkspace &workspace, const std::string &file) {
  std::ifstream in(kData + file);
  std::string line, cell;
  std::getline(in, line);
  std::vector<std::string> names;
  for (std::istringstream heading(line); std::getline(heading, cell, ',');) names.push_back(cell);
  const bool labelled = names[0].empty() || names[0] == "period";
  std::vector<double> cells;
  int rows = 0;
  for (; std::getline(in, line); ++rows) {
    std::istringstream fields(line);
    for (std::size_t j = 0; std::getline(fields, cell, ','); ++j)
      if (j > 0 || !labelled) cells.push_back(std::stod(cell));
  }
  if (labelled) names.erase(names.begin());
  std::vector<const char *> texts;
  for (const std::string &name : names) texts.push_back(name.c_str());
  const auto columns = static_cast<int>(names.size());
  ASSERT_EQ(cells.size(), names.size() * static_cast<std::size_t>(rows));
  ASSERT_EQ(workspace.Open({1959, 1, 0, 0, 4}, rows, columns), Status::Ok);
  ASSERT_EQ(workspace.AddData({cells.data(), rows, columns}, texts), Status::Ok);
}

// The sum of the column l over the sample; the program runs over one observation before it as well.
double LogLik(AlgebraWorkspace &workspace, const Maximum &m, const std::vector<double> &theta, int *count) {
  EXPECT_EQ(workspace.SetParameters(theta), Status::Ok);
  EXPECT_EQ(workspace.Run(std::max(m.first - 2, 0), m.last - 1), Status::Ok);
  const std::span<const double> l = workspace.Variable(workspace.Find("l"));
  double sum = 0.0;
  *count = 0;
  for (int t = m.first - 1; t < m.last; ++t) {
    const double value = l[static_cast<std::size_t>(t)];
    if (std::isnan(value)) continue;
    sum += value;
    ++*count;
  }
  return sum;
}

TEST(Likelihoods, HaveTheirMaximaWhereHighPrecisionHasThem) {
  const std::vector<Maximum> maxima = ReadMaxima();
  ASSERT_EQ(maxima.size(), 11U);
  for (const Maximum &m : maxima) {
    SCOPED_TRACE(m.model);
    Messages messages;
    AlgebraWorkspace workspace(messages.Sink());
    Open(workspace, m.file);
    ASSERT_EQ(workspace.Compile(ProgramOf(m).c_str()), Status::Ok) << messages.texts.at(0);
    std::vector<double> theta;
    for (const Parameter &p : m.parameters) theta.push_back(p.estimate);
    int count = 0;
    const double best = LogLik(workspace, m, theta, &count);
    EXPECT_EQ(count, m.count);
    EXPECT_NEAR(best, m.logLik, 1e-12 * std::fabs(m.logLik));
    // A hundredth of a standard error away the likelihood is lower, by about half the square of that or more.
    for (std::size_t j = 0; j < theta.size(); ++j)
      for (const double sign : {-1.0, 1.0}) {
        std::vector<double> away = theta;
        away[j] += sign * 0.01 * m.parameters[j].error;
        EXPECT_LT(LogLik(workspace, m, away, &count), best - 4e-5) << m.parameters[j].name;
      }
  }
}

}  // namespace
