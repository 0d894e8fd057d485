// The text of an Algebra program.
#include "program.h"

#include <algorithm>
#include <cctype>

#include "failure.h"
#include "input.h"
#include "text.h"

namespace {

// Cuts a text into pieces: comments, strings, words and single characters. The view's end is the end of the last piece.
std::string_view NextPiece(std::string_view text) {
  const auto upTo = [&](std::size_t end, std::size_t closing) {
    return text.substr(0, end == std::string_view::npos ? end : end + closing);
  };
  if (text.starts_with("/*")) return upTo(text.find("*/", 2), 2);
  if (text.starts_with("//")) return upTo(text.find('\n'), 0);
  if (text.starts_with("\"")) return upTo(text.find('"', 1), 1);
  const auto isWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  const auto length = std::ranges::find_if_not(text, isWord) - text.begin();
  return text.substr(0, static_cast<std::size_t>(std::max<std::ptrdiff_t>(length, 1)));
}

bool IsComment(std::string_view piece) { return piece.starts_with("/*") || piece.starts_with("//"); }
bool IsBlank(std::string_view piece) { return piece.find_first_not_of(" \t\r\n") == std::string_view::npos; }

}  // namespace

std::vector<Statement> SplitStatements(std::string_view text) {
  std::vector<Statement> statements;
  Statement current;
  int line = 1;
  for (std::size_t i = 0; i < text.size();) {
    const std::string_view piece = NextPiece(text.substr(i));
    if (piece == "}") break;
    if (current.line == 0 && !IsComment(piece) && !IsBlank(piece)) current = {line, i, i};
    line += static_cast<int>(std::ranges::count(piece, '\n'));
    i += piece.size();
    if (piece != ";") continue;
    current.end = i;
    statements.push_back(current);
    current = {};
  }
  return statements;
}

std::string Program::Excerpt(const Statement &statement) const {
  constexpr std::size_t most = 100;
  const std::string_view source = std::string_view(text).substr(statement.begin, statement.end - statement.begin);
  std::string line;
  for (std::size_t i = 0; i < source.size();) {
    const std::string_view piece = NextPiece(source.substr(i));
    i += piece.size();
    if (!IsBlank(piece) && !IsComment(piece))
      line += piece;
    else if (!line.ends_with(' '))
      line += ' ';
  }
  return line.size() > most ? line.substr(0, most) + "..." : line;
}

int Program::LineCount() const { return static_cast<int>(std::ranges::count(text, '\n')); }

Program ReadProgram(const std::string &path) {
  Program program{path, ReadText(path), {}};
  if (!program.text.ends_with('\n')) program.text += '\n';
  int line = 1;
  for (const char c : program.text) {
    if (c == '\n') ++line;
    if (c == '\n' || c == '\t' || c == '\r' || !HasControlCharacter({&c, 1})) continue;
    Fail(path + ":" + std::to_string(line), "a control character, expected text");
  }
  program.statements = SplitStatements(program.text);
  return program;
}

std::size_t LeastThatHolds(std::size_t count, const std::function<bool(std::size_t n)> &holds) {
  std::size_t low = 1, high = count + 1;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (holds(middle))
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

std::string PlaceMessage(const Program &program, const std::string &message,
                         const std::function<bool(const std::string &text)> &fails) {
  const std::size_t on = message.rfind(" on line ");
  const std::optional<int> line = on == std::string::npos ? std::nullopt : ParseInteger(message.substr(on + 9));
  if (!line) return program.path + ": " + message;

  int place = *line;
  if (place >= 100 && program.LineCount() > 999) {  // a line's number has three digits
    const std::size_t n =
        LeastThatHolds(program.statements.size(), [&](std::size_t k) { return fails(program.Prefix(k)); });
    if (n <= program.statements.size()) place = program.statements[n - 1].line;
  }
  return program.path + ":" + std::to_string(place) + ": " + message;
}

std::string FatalCauses(std::string_view statement) {
  struct Cause {
    std::string_view message;
    std::vector<std::string_view> functions;
  };
  static const std::vector<Cause> causes = {
      {"Logarithm of non-positive number", {"log", "log10", "loggamma", "dlog"}},
      {"Square root of negative number", {"sqrt"}},
      {"Non-positive degrees of freedom",
       {"denschi", "densf", "denst", "quanchi", "quanf", "quant", "tailchi", "tailf", "tailt", "ranchi", "ranf",
        "rant"}},
      {"Arguments must be different (smooth, sortby)",
       {"acf", "pacf", "periodogram", "ewma", "ewmc0", "smooth_hp", "smooth_np", "smooth_sp", "_sortby"}}};
  std::string found;
  for (const Cause &cause : causes) {
    bool called = false;
    for (std::string_view rest = statement; !rest.empty();) {
      const std::string_view piece = NextPiece(rest);
      called = called || std::ranges::count(cause.functions, piece) > 0;
      rest.remove_prefix(piece.size());
    }
    if (called) found += (found.empty() ? "" : " or ") + std::string(cause.message);
  }
  return found.empty() ? "Stack full" : found;
}
