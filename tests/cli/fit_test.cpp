// tessel fit: certified results, and models that cannot be estimated.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "command.h"

namespace {

// The numbers of the rows "&n estimate error ..." of a table.
std::vector<std::pair<double, double>> Estimates(const std::string &table) {
  std::vector<std::pair<double, double>> rows;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name, estimate, error;
    if (line.starts_with('&') && words >> name >> estimate >> error)
      rows.emplace_back(std::stod(estimate), error == "NA" ? NAN : std::stod(error));
  }
  return rows;
}

// Digits that agree; the certified values have 11.
double LogRelativeError(double value, double certified) {
  const double error = std::fabs(value - certified) / std::fabs(certified);
  return error > 1e-11 ? -std::log10(error) : 11.0;
}

struct Problem {
  std::string start1, start2;
  std::vector<double> certified, sd;
};

// NIST StRD nonlinear regression: certified values and both published starting points.
std::map<std::string, Problem> Problems() {
  std::map<std::string, Problem> problems;
  std::istringstream rows(ReadText(TESSEL_SOURCE_DIR "/tests/nist/certified.csv"));
  std::string row;
  std::getline(rows, row);
  while (std::getline(rows, row)) {
    std::ranges::replace(row, ',', ' ');
    std::istringstream cells(row);
    std::string name, parameter, start1, start2;
    double certified = 0.0, sd = 0.0;
    cells >> name >> parameter >> start1 >> start2 >> certified >> sd;
    Problem &problem = problems[name];
    problem.start1 += (problem.start1.empty() ? "" : ",") + start1;
    problem.start2 += (problem.start2.empty() ? "" : ",") + start2;
    problem.certified.push_back(certified);
    problem.sd.push_back(sd);
  }
  return problems;
}

TEST(Fit, ReachesTheCertifiedValuesFromBothStarts) {
  const Folder folder;
  const auto problems = Problems();
  ASSERT_EQ(problems.size(), 9U);
  for (const auto &[name, problem] : problems) {
    const std::string base = TESSEL_SOURCE_DIR "/tests/nist/" + name;
    for (const std::string &start : {problem.start1, problem.start2}) {
      const CommandResult result = folder.Tessel("fit " + base + ".alg --data " + base +
                                                 ".csv --residual residual --digits 15 --starting-values=" + start);
      const auto rows = Estimates(result.out);
      ASSERT_EQ(rows.size(), problem.certified.size()) << name << result.err;
      double estimates = 11.0, errors = 11.0;
      for (std::size_t j = 0; j < rows.size(); ++j) {
        estimates = std::min(estimates, LogRelativeError(rows[j].first, problem.certified[j]));
        errors = std::min(errors, LogRelativeError(rows[j].second, problem.sd[j]));
      }
      std::printf("%-8s from %-45s digits of parameters %4.1f, of standard errors %4.1f\n", name.c_str(), start.c_str(),
                  estimates, errors);
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_GE(estimates, 9.5) << name << " from " << start;
      EXPECT_GE(errors, 9.0) << name << " from " << start;
    }
  }
}

constexpr const char *kData = "y,x\n1,1\n2.1,2\n2.9,3\n4.2,4\n";

// A straight line through (1, 1), (2, 2.1), (3, 2.9), (4, 4.2) by hand: slope 5.2/5, intercept 2.55 - 2.6, RSS 0.042,
// var(slope) = 0.021/5, var(intercept) = 0.021 (1/4 + 6.25/5).
TEST(Fit, LinearModelByHand) {
  const Folder folder;
  folder.Write("d.csv", kData);
  folder.Write("m.alg", "&7 = 0; &9 = 0; fitted = &7 + &9 * x; u = y - fitted;");
  const CommandResult result =
      folder.Tessel("fit m.alg --data d.csv --residual u --digits 10 --output f.csv --only fitted");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const auto rows = Estimates(result.out);
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_NEAR(rows[0].first, -0.05, 1e-9);
  EXPECT_NEAR(rows[0].second, std::sqrt(0.021 * 1.5), 1e-9);
  EXPECT_NEAR(rows[1].first, 1.04, 1e-9);
  EXPECT_NEAR(rows[1].second, std::sqrt(0.021 / 5), 1e-9);
  EXPECT_NE(result.out.find("\nobservations             4\ndegrees of freedom       2\n"
                            "residual sum of squares  0.04200000000\nsigma                    0.1449137675\n"),
            std::string::npos)
      << result.out;
  EXPECT_NEAR(std::stod(folder.Read("f.csv").substr(16)), 0.99, 1e-9) << folder.Read("f.csv");
}

// The day of a change is a parameter that is large against the days around it that matter. The same model with days
// counted from 2454700 must give the same result.
TEST(Fit, ALargeParameterOfSmallScale) {
  const Folder folder;
  folder.Write("d.csv",
               "day,y\n2454716,0.03\n2454718,0.02\n2454720,0.1\n2454722,0.24\n2454724,0.31\n2454726,0.6\n"
               "2454728,0.73\n2454730,0.91\n2454732,0.93\n2454734,1.01\n");
  std::vector<std::pair<double, double>> results[2];
  for (const int shifted : {0, 1}) {
    folder.Write("m.alg", std::string("&1 = ") + (shifted == 1 ? "20" : "2454720") + "; &2 = 2; t = day - " +
                              (shifted == 1 ? "2454700" : "0") + "; u = y - 1 / (1 + exp(-(t - &1) / &2));");
    results[shifted] = Estimates(folder.Tessel("fit m.alg --data d.csv --residual u --digits 15").out);
    ASSERT_EQ(results[shifted].size(), 2U);
  }
  EXPECT_NEAR(results[0][0].first, results[1][0].first + 2454700, 1e-6);
  EXPECT_NEAR(results[0][0].second, results[1][0].second, 1e-6 * results[1][0].second);
  EXPECT_NEAR(results[0][1].second, results[1][1].second, 1e-6 * results[1][1].second);
}

TEST(Fit, SaysWhyAModelCannotBeEstimated) {
  const struct {
    const char *program, *more;
    int status;
    const char *err;
  } cases[] = {
      {"u = y - x;", "", 1, "m.alg: Error: No parameters to estimate"},
      {"&1 = 1; u = y - &1 - &2;", "", 1, "m.alg: Error: Need starting values for all parameters"},
      {"&1 = 1; u = y - floor(&1);", "", 1, "m.alg: no optimum: 'u' jumps, or drowns in rounding, as &1 changes"},
      {"&1 = 1; v = y - &1;", "", 2, "--residual: neither d.csv nor m.alg has a variable 'u'"},
      {"&1 = 1; u = y[-1] - &1;", "--start 1990", 1,
       "m.alg: the residual 'u' is missing in observation 1, 1990, at the starting values; --first, --last "
       "and --presample choose the observations"},
      {"&1 = 1; u = y - &1 / (x - 2);", "", 1,
       "m.alg: the residual 'u' is infinite in observation 2, at the starting values; --first, --last and "
       "--presample choose the observations"},
      {"&1 = 1; &2 = 1; u = y - &1 - &2;", "", 1,
       "m.alg: no standard errors: the other parameters can stand in for &2, or it has no effect on 'u'"},
      {"&1 = 1; &2 = 1; u = y - &1;", "", 1,
       "m.alg: no standard errors: the other parameters can stand in for &2, or it has no effect on 'u'"},
      {"&1 = 1; y = y * &1; u = y * 2;", "", 1,
       "m.alg: the residual 'u' changes when the program runs again: a statement overwrites what it reads, or draws at "
       "random"},
      {"&1 = 2; z = log(x);\nu = z - log(x - &1);", "", 1,
       "m.alg:2: Logarithm of non-positive number in 'u = z - log(x - &1);'"},
      {"&1 = 1; &2 = 1; &3 = 1; &4 = 1; u = y - &1;", "--last 3", 1,
       "m.alg: 3 observations cannot determine 4 parameters"},
      {"&1 = 1; &2 = 3; u = y - &1 * x ^ &2;", "--max-iterations 2", 1,
       "m.alg: no optimum: the maximum number of iterations was reached"},
      {"&1 = 1; u = y - &1;", "--starting-values 1,2", 2,
       "--starting-values: expected 1 value, one for each parameter of m.alg, found 2"},
      {"&1 = 1; u = y - &1;", "--tolerance nan", 2, "--tolerance: expected a share from 0 to 1, found nan"},
      {"&1 = 1; u = y - &1;", "--only u", 2, "tessel fit: --only requires --output (see tessel fit --help)"},
      {"&1 = 1; u = y - &1;", "--output -", 2, "--output: the table goes to standard output, expected a file's name"},
      {"&1 = 1; v = x; u = v[-1] - &1;", "--first 2 --presample 2", 2,
       "--presample: expected 'all' or a number up to 1, the observations before the range, found '2'"},
      // Lags of what the program computes reach into the presample; the mean of the lags is 2.
      {"&1 = 1; v = x - 2; u = v[-1] - &1;", "--first 2 --presample 1", 0, ""},
      // The search has to step back from where log(x - &1) does not exist; the best &1 is 0.
      {"&1 = 0.9; u = log(x - &1) - log(x);", "", 0, ""},
  };
  for (const auto &c : cases) {
    const Folder folder;
    folder.Write("d.csv", kData);
    folder.Write("m.alg", c.program);
    const CommandResult result = folder.Tessel(std::string("fit m.alg --data d.csv --residual u ") + c.more);
    EXPECT_EQ(result.status, c.status) << c.program << result.err;
    EXPECT_EQ(result.err, c.err + std::string(*c.err == 0 ? "" : "\n"));
    if (c.status == 0) {
      EXPECT_NEAR(Estimates(result.out)[0].first, 0.0, 1e-9);
    }
  }
}

}  // namespace
