// A program over data, ready to run, and what to tell the user when it does not run.
#pragma once

#include <span>
#include <string>

#include "data_table.h"
#include "program.h"
#include "workspace.h"

class Session {
 public:
  Session(const std::string &programPath, DataTable data);

  // Seeds the random numbers of the runs that follow.
  void Seed(int seed);

  // Compiles; throws Failure with Algebra's message and its place.
  void Compile(Workspace::Use use);

  // Runs over the range; when the run fails, throws Failure naming the first statement that makes it fail.
  void Run(const Range &range, std::span<const double> parameters = {});

  const Program &GetProgram() const { return program_; }
  const DataTable &Data() const { return data_; }
  Workspace &GetWorkspace() { return workspace_; }

  // A line on standard error that does not end the command.
  static void Warn(const std::string &line);

 private:
  std::string Message(const std::string &message, Workspace::Use use);
  // Repeats the run that failed over the data as they were read, with random numbers as they stood before it.
  [[noreturn]] void FailAtFirstFailingStatement(const Range &range, std::span<const double> parameters,
                                                const tessel::Generators &before);

  Program program_;
  DataTable data_;
  Workspace workspace_;  // over the data
  Workspace::Use use_ = Workspace::Use::Plain;
};
