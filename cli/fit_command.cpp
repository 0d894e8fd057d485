// tessel fit.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "least_squares.h"
#include "session.h"

namespace {

std::string Significant(double value, int digits) {
  if (std::isnan(value)) return "NA";
  if (value == 0.0) return "0";
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%#.*g", digits, value);  // keeps the zeros at the end
  std::string text = buffer;
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string StopText(LeastSquaresFit::Stop stop, double tolerance) {
  const std::string below = " changes by less than " + NumberText(tolerance) + " of itself";
  switch (stop) {
    case LeastSquaresFit::Stop::SumOfSquares: return "the sum of squares" + below;
    case LeastSquaresFit::Stop::Parameters: return "the parameter vector" + below;
    case LeastSquaresFit::Stop::Gradient: return "the gradient is zero";
    case LeastSquaresFit::Stop::Precision: return "rounding allows no further improvement";
    case LeastSquaresFit::Stop::MaxIterations: return "the maximum number of iterations was reached";
    case LeastSquaresFit::Stop::NoDerivative: break;
  }
  return "the residual does not exist around the parameters";
}

// The model: the residual variable as a function of the parameters.
class Model {
 public:
  Model(const FitOptions &options, Session &session, const Range &range)
      : options_(options),
        session_(session),
        workspace_(session.GetWorkspace()),
        range_(range),
        runRange_(RunRangeOf(range, options.data)) {}

  // Runs the program so that the variables are those at the parameters; a run that fails ends the command.
  void RunAt(std::span<const double> parameters) const { session_.Run(runRange_, parameters); }

  bool Residuals(std::span<const double> parameters, std::span<double> residuals) const {
    if (!workspace_.Run(runRange_, parameters)) return false;
    std::ranges::copy(*workspace_.Variable(options_.residual, range_), residuals.begin());
    return true;
  }

  std::vector<double> StartingValues() const {
    const std::vector<std::string> &given = options_.startingValues;
    const std::size_t count = workspace_.parameterNumbers.size();
    if (given.empty()) return workspace_.startingValues;
    if (given.size() != count)
      Misuse("--starting-values", "expected " + std::to_string(count) + (count == 1 ? " value" : " values") +
                                      ", one for each parameter of " + session_.GetProgram().path + ", found " +
                                      std::to_string(given.size()));
    std::vector<double> values;
    for (const std::string &text : given) {
      const std::optional<double> value = ParseNumber(text);
      if (!value || !std::isfinite(*value)) Misuse("--starting-values", "expected numbers, found " + Quoted(text));
      values.push_back(*value);
    }
    return values;
  }

  // Refuses what cannot be estimated before the search starts.
  void CheckStart(std::span<const double> start) const {
    const std::string &path = session_.GetProgram().path;
    if (static_cast<std::size_t>(range_.Count()) < start.size())
      Fail(path, std::to_string(range_.Count()) + " observations cannot determine " + std::to_string(start.size()) +
                     " parameters");
    RunAt(start);
    const std::optional<std::span<const double>> residuals = workspace_.Variable(options_.residual, range_);
    if (!residuals)
      Misuse("--residual",
             "neither " + session_.Data().source + " nor " + path + " has a variable " + Quoted(options_.residual));
    for (int t = range_.first; t <= range_.last; ++t) {
      const double value = (*residuals)[static_cast<std::size_t>(t - range_.first)];
      if (!std::isfinite(value))
        Fail(path, "the residual '" + options_.residual + "' is " + (std::isnan(value) ? "missing" : "infinite") +
                       " in " + session_.Data().Describe(t) +
                       ", at the starting values; --first, --last and --presample choose the observations");
    }
    // A search needs the same answer to the same question, whatever it has asked in between.
    const std::vector<double> first(residuals->begin(), residuals->end());
    std::vector<double> elsewhere(start.begin(), start.end());
    for (double &v : elsewhere) v += v == 0.0 ? 1e-3 : 1e-3 * v;
    workspace_.Run(runRange_, elsewhere);
    RunAt(start);
    if (!std::ranges::equal(*workspace_.Variable(options_.residual, range_), first))
      Fail(path, "the residual '" + options_.residual +
                     "' changes when the program runs again: a statement overwrites what it reads, or draws at random");
  }

 private:
  const FitOptions &options_;
  Session &session_;
  Workspace &workspace_;
  Range range_;     // of the sum of squares
  Range runRange_;  // with the presample in front
};

std::string Table(const FitOptions &options, const Session &session, const Range &range, const LeastSquaresFit &fit,
                  std::span<const int> numbers) {
  const DataTable &data = session.Data();
  std::string text = "Non-linear least squares of '" + options.residual + "' in " + session.GetProgram().path + "\n" +
                     data.source + ", " + data.Label(range.first) + " to " + data.Label(range.last) + "\n\n";
  const int width = options.digits + 8;
  char line[256];
  const auto row = [&](const std::string &name, const std::string &estimate, const std::string &error,
                       const std::string &ratio) {
    std::snprintf(line, sizeof line, "%-9s  %*s  %*s  %9s\n", name.c_str(), width, estimate.c_str(), width,
                  error.c_str(), ratio.c_str());
    text += line;
  };
  row("parameter", "estimate", "std.error", "t-value");
  for (std::size_t j = 0; j < numbers.size(); ++j) {
    const double error = fit.standardErrors[j];
    row("&" + std::to_string(numbers[j]), Significant(fit.estimates[j], options.digits),
        Significant(error, options.digits), Significant(error > 0.0 ? fit.estimates[j] / error : NAN, 4));
  }
  const auto fact = [&](const char *name, const std::string &value) {
    std::snprintf(line, sizeof line, "%-24s %s\n", name, value.c_str());
    text += line;
  };
  text += "\n";
  fact("observations", std::to_string(range.Count()));
  fact("degrees of freedom", std::to_string(fit.degreesOfFreedom));
  fact("residual sum of squares", Significant(fit.rss, options.digits));
  fact("sigma", Significant(fit.sigma, options.digits));
  fact("iterations", std::to_string(fit.iterations));
  fact("stopped because", StopText(fit.stop, options.tolerance));
  return text;
}

// One line that is overwritten, where somebody watches.
std::function<void(int, double)> Progress() {
  if (isatty(STDERR_FILENO) == 0) return nullptr;
  return
      [](int iteration, double rss) { std::fprintf(stderr, "\riteration %d, sum of squares %-14.8g", iteration, rss); };
}

}  // namespace

int FitCommand(const FitOptions &options) {
  Session session(options.program, ReadData(options.data));
  const Range range = RangeOf(session.Data(), options.data);
  session.Compile(Workspace::Use::Model);
  const Model model(options, session, range);
  const std::vector<double> start = model.StartingValues();
  model.CheckStart(start);

  const LeastSquaresOptions search{options.maxIterations, options.tolerance, Progress()};
  const LeastSquaresFit fit =
      FitLeastSquares([&](auto parameters, auto residuals) { return model.Residuals(parameters, residuals); }, start,
                      range.Count(), search);
  if (search.progress) std::fprintf(stderr, "\r%60s\r", "");

  model.RunAt(fit.estimates);
  const std::vector<int> &numbers = session.GetWorkspace().parameterNumbers;
  std::cout << Table(options, session, range, fit, numbers) << std::flush;
  if (!options.output.file.empty())
    WriteFile(options.output.file, VariablesAsCsv(session.GetWorkspace(), session.Data(), range, options.output));

  const auto joined = [&](const std::vector<int> &parameters) {
    std::string names;
    for (const int j : parameters)
      names += (names.empty() ? "&" : ", &") + std::to_string(numbers[static_cast<std::size_t>(j)]);
    return names;
  };
  if (!fit.Converged()) Fail(options.program, "no optimum: " + StopText(fit.stop, options.tolerance));
  if (!fit.jumpy.empty())
    Fail(options.program,
         "no optimum: '" + options.residual + "' jumps, or drowns in rounding, as " + joined(fit.jumpy) + " changes");
  if (!fit.unidentified.empty())
    Fail(options.program, "no standard errors: the other parameters can stand in for " + joined(fit.unidentified) +
                              ", or it has no effect on '" + options.residual + "'");
  return 0;
}
