// The Algebra workspace of the library.
#include "workspace.h"

#include <unistd.h>

#include <algorithm>

#include "diversion.h"
#include "failure.h"

namespace {

constexpr const char *kLibrary = "libtessel13_morv_64.so";

}  // namespace

void OpenLibrary(morv::Library &library) {
  if (const std::string error = library.Open(kLibrary); !error.empty()) Fail("tessel", error);
}

Workspace::Workspace(const morv::Library &library) : library_(library), printed_(std::tmpfile(), std::fclose) {
  if (printed_ == nullptr) Fail("tessel", "no temporary file can be made");
}

Workspace::~Workspace() {
  try {
    Close();
  } catch (const std::exception &) {  // closing stores nothing that could be lost
    open_ = false;
  }
}

morv::Outcome Workspace::Call(const std::string &name, morv::Arguments &args) {
  std::optional<morv::Outcome> outcome;
  {
    const Diversion diversion(fileno(printed_.get()));
    outcome = library_.Call(name, args);
  }
  if (outcome->Failed()) Fail("tessel", outcome->message);
  const off_t size = lseek(fileno(printed_.get()), 0, SEEK_END);
  if (size > 0) {
    std::string text(static_cast<std::size_t>(size), '\0');
    const ssize_t read = pread(fileno(printed_.get()), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
    if (ftruncate(fileno(printed_.get()), 0) == 0) lseek(fileno(printed_.get()), 0, SEEK_SET);
    Collect(text);
  }
  return std::move(*outcome);
}

// Reports are printed as "\nLABEL: TEXT\n".
void Workspace::Collect(const std::string &printed) {
  for (std::size_t begin = 0; begin < printed.size();) {
    const std::size_t end = std::min(printed.find('\n', begin), printed.size());
    if (end > begin) messages.push_back(printed.substr(begin, end - begin));
    begin = end + 1;
  }
}

std::string Workspace::Open(const DataTable &data, const std::string &program, Use use) {
  Close();
  morv::Value starting = morv::Value::Matrix(0, 1), numbers = morv::Value::Matrix(0, 1);
  morv::Arguments args;
  args.Matrix(data.cells.data(), data.rows, data.Columns()).Strings(data.names);
  args.Integer(data.calendar.year).Integer(data.calendar.period).Integer(data.calendar.frequency);
  args.Integer(data.dated ? 1 : 0).Text(program);
  if (use == Use::Model)
    args.Output(starting).Output(numbers);
  else
    args.Decline().Decline();
  messages.clear();
  const morv::Outcome outcome = Call("FnInitAlgebraNls", args);
  if (outcome.Returned()) {
    std::string message(outcome.result.AsText());
    std::erase(messages, "Error: " + message);
    return message;
  }
  open_ = true;
  dataNames_ = data.names;
  startingValues = starting.Numbers();
  const std::vector<double> places = numbers.Numbers();
  parameterNumbers.assign(places.begin(), places.end());
  return {};
}

void Workspace::Close() {
  if (!open_) return;
  open_ = false;
  morv::Arguments none;
  Call("FnExitAlgebraNls", none);
}

bool Workspace::Run(const Range &range, std::span<const double> parameters) {
  morv::Arguments args;
  args.Column(parameters).Integer(range.first).Integer(range.last);
  return Call("FnRunAlgebraNls", args).Untouched();
}

std::vector<std::string> Workspace::Names() {
  std::vector<std::string> names;
  // A program can make one variable with an empty name, out of a name of blanks: the second empty name is the end.
  for (int i = 0, empty = 0; empty < 2; ++i) {
    morv::Arguments args;
    args.Integer(i);
    const morv::Outcome outcome = Call("FnGetAlgebraName", args);
    if (!outcome.Returned()) break;
    if (outcome.result.AsText().empty())
      ++empty;
    else
      names.emplace_back(outcome.result.AsText());
  }
  return names;
}

std::vector<std::string> Workspace::AddedNames() {
  std::vector<std::string> names = Names();
  std::erase_if(names, [&](const std::string &name) { return std::ranges::count(dataNames_, name) > 0; });
  return names;
}

std::optional<std::vector<double>> Workspace::Variable(const std::string &name, const Range &range) {
  morv::Arguments args;
  args.Text(name).Integer(range.first).Integer(range.last).Decline();
  const morv::Outcome outcome = Call("FnGetAlgebraVar", args);
  if (outcome.Untouched()) return std::nullopt;
  return outcome.result.Numbers();
}
