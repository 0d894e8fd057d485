// A program over data.
#include "session.h"

#include <iostream>
#include <utility>

#include "failure.h"
#include "text.h"

Session::Session(const std::string &programPath, DataTable data)
    : program_(ReadProgram(programPath)), data_(std::move(data)), workspace_(data_) {}

void Session::Warn(const std::string &line) { std::cerr << OnOneLine(line) << '\n'; }

std::string Session::Message(const std::string &message, Workspace::Use use) {
  return PlaceMessage(program_, message, [&](const std::string &text) {
    return workspace_.Open(text, use).find(" on line ") != std::string::npos;
  });
}

void Session::Seed(int seed) { tessel::RanSetSeed(workspace_.RandomNumbers(), {&seed, 1}); }

void Session::Compile(Workspace::Use use) {
  use_ = use;
  const std::string failure = workspace_.Open(program_.text, use);
  for (const std::string &message : workspace_.messages) Warn(program_.path + ": " + message);
  if (!failure.empty()) throw Failure(Failure::Failed, Message(failure, use));
}

void Session::Run(const Range &range, std::span<const double> parameters) {
  const tessel::Generators before = workspace_.RandomNumbers();
  const bool succeeded = workspace_.Run(range, parameters);
  for (const std::string &message : std::exchange(workspace_.messages, {})) Warn(program_.path + ": " + message);
  if (!succeeded) FailAtFirstFailingStatement(range, parameters, before);
}

void Session::FailAtFirstFailingStatement(const Range &range, std::span<const double> parameters,
                                          const tessel::Generators &before) {
  // Behind each prefix all parameters are set once more, so that each is in use there.
  std::string parameterStatements;
  for (const int number : workspace_.parameterNumbers) parameterStatements += "&" + std::to_string(number) + " = 0;\n";
  const auto prefixFails = [&](std::size_t n) {
    workspace_.RandomNumbers() = before;
    return workspace_.Open(program_.Prefix(n) + parameterStatements, use_).empty() &&
           !workspace_.Run(range, parameters);
  };
  const std::size_t count = program_.statements.size();
  const std::size_t n = LeastThatHolds(count, prefixFails);
  if (n > count) Fail(program_.path, "the run failed, but not when it was repeated to find the statement");
  const Statement &statement = program_.statements[n - 1];
  const std::string text = program_.Excerpt(statement);
  Fail(program_.path + ":" + std::to_string(statement.line), FatalCauses(text) + " in '" + text + "'");
}
