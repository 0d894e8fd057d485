// tessel run, check and functions.
#include <algorithm>
#include <cmath>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "functions.h"
#include "session.h"

namespace {

// Divisions by zero, logarithms of zero and overflows do not fail a run: they leave infinities, which the user hears
// of.
void WarnOfInfinities(Session &session, const Range &range) {
  const Workspace &workspace = session.GetWorkspace();
  for (const std::string &name : workspace.AddedNames()) {
    const std::optional<std::span<const double>> values = workspace.Variable(name, range);
    const auto infinite = std::ranges::find_if(*values, [](double v) { return std::isinf(v); });
    if (infinite == values->end()) continue;
    const auto count = std::ranges::count_if(*values, [](double v) { return std::isinf(v); });
    const int first = range.first + static_cast<int>(infinite - values->begin());
    Session::Warn(session.GetProgram().path + ": Warning: " + name + " is infinite " + std::to_string(count) +
                  (count == 1 ? " time, in " : " times, first in ") + session.Data().Describe(first));
  }
}

std::string Joined(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

}  // namespace

int RunCommand(const RunOptions &options) {
  Session session(options.program, ReadData(options.data));
  const Range range = RangeOf(session.Data(), options.data);
  if (options.seed != 0) session.Seed(options.seed);
  session.Compile(Workspace::Use::Plain);
  session.Run(RunRangeOf(range, options.data));
  WarnOfInfinities(session, range);
  WriteFile(options.output.file, VariablesAsCsv(session.GetWorkspace(), session.Data(), range, options.output));
  return 0;
}

int CheckCommand(const std::string &program, const std::optional<DataOptions> &data) {
  Session session(program, data ? ReadData(*data) : DataTable{});
  Workspace &workspace = session.GetWorkspace();
  try {
    session.Compile(Workspace::Use::Model);
  } catch (const Failure &) {
    session.Compile(Workspace::Use::Plain);  // the program may have no parameters
  }
  std::string line = program + ": no errors";
  if (const auto added = workspace.AddedNames(); !added.empty()) line += "; adds " + Joined(added);
  std::vector<std::string> parameters;
  for (const int number : workspace.parameterNumbers) parameters.push_back("&" + std::to_string(number));
  if (!parameters.empty()) line += "; parameters " + Joined(parameters);
  std::cout << line << '\n';
  return 0;
}

int FunctionsCommand(const std::string &name) {
  std::size_t width = 0;
  for (const FunctionEntry &entry : BuiltInFunctions()) width = std::max(width, entry.prototype.size());
  std::string_view family;
  bool found = false;
  for (const FunctionEntry &entry : BuiltInFunctions()) {
    if (!name.empty() && entry.name != name) continue;
    found = true;
    if (entry.family != family) {
      std::cout << (family.empty() ? "" : "\n") << entry.family << '\n';
      family = entry.family;
    }
    std::cout << "  " << entry.prototype << std::string(width + 2 - entry.prototype.size(), ' ') << entry.meaning
              << '\n';
  }
  if (!found) Misuse("tessel functions", "no built-in function has the name " + Quoted(name));
  std::cout
      << "\nX, Y and RATE are names of variables, DEST names a variable that the call fills; small letters are any "
         "expression.\n";
  return 0;
}
