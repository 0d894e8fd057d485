// How a command ends when it cannot do its work: one line for the user and an exit status.
#pragma once

#include <stdexcept>
#include <string>

struct Failure : std::runtime_error {
  enum Status { Failed = 1, WrongUsage = 2 };  // the program, the data or the model failed; the command line is wrong
  Status status;
  Failure(Status s, const std::string &line) : std::runtime_error(line), status(s) {}
};

// `place` is a file, a file and line, or an option.
[[noreturn]] inline void Fail(const std::string &place, const std::string &what) {
  throw Failure(Failure::Failed, place + ": " + what);
}
[[noreturn]] inline void Misuse(const std::string &place, const std::string &what) {
  throw Failure(Failure::WrongUsage, place + ": " + what);
}
