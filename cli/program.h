// The text of an Algebra program, its statements, and messages that name a place in it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct Statement {
  int line = 0;           // where its first character stands, from 1
  std::size_t begin = 0;  // its text, the semicolon included
  std::size_t end = 0;
};

struct Program {
  std::string path;
  std::string text;  // ends in a line feed
  std::vector<Statement> statements;

  // The text up to the end of the n-th statement; of all of them for n = statements.size().
  std::string Prefix(std::size_t n) const { return n == 0 ? "" : text.substr(0, statements[n - 1].end) + "\n"; }
  // A statement's text on one line, without comments and cut where it is long.
  std::string Excerpt(const Statement &statement) const;
  int LineCount() const;
};

// Reads the file. Refuses bytes that would end the text before its end.
Program ReadProgram(const std::string &path);

// Splits a text at the semicolons outside strings and comments; ends where a `}` ends the program.
std::vector<Statement> SplitStatements(std::string_view text);

// A message of Algebra's behind its place: "PATH:LINE: Parse error: x Undeclared identifier on line 2". `fails` tells
// whether a text fails to compile; it finds the line where the message's own cannot be relied on (in programs of more
// than 999 lines).
std::string PlaceMessage(const Program &program, const std::string &message,
                         const std::function<bool(const std::string &text)> &fails);

// The least n from 1 to count for which holds(n), given that it holds from some n on; count + 1 when it never holds.
std::size_t LeastThatHolds(std::size_t count, const std::function<bool(std::size_t n)> &holds);

// What may have made a run fail, from the functions that the statement calls: one or more causes, joined by "or".
std::string FatalCauses(std::string_view statement);
