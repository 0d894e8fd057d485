// Results as CSV.
#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "failure.h"

namespace {

bool WriteAll(int file, const std::string &text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(file, text.data() + done, text.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

[[noreturn]] void CannotWrite(const std::string &path) {
  Fail(path.empty() ? "''" : path, std::string("the file cannot be written: ") + std::strerror(errno));
}

// Holds back the signals that would end the process and leave a temporary file behind; they act when this object goes.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  SignalsHeld(const SignalsHeld &) = delete;
  SignalsHeld &operator=(const SignalsHeld &) = delete;
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

void WriteDirectly(const std::string &path, int file, const std::string &text) {
  if (file < 0 || !WriteAll(file, text)) CannotWrite(path);
}

// A name or text as a CSV cell.
std::string Cell(const std::string &text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos && !text.starts_with(' ') && !text.ends_with(' ')) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::vector<std::string> Selection(const Workspace &workspace, const DataTable &data, const OutputOptions &options) {
  if (options.added) return workspace.AddedNames();
  std::vector<std::string> names = workspace.Names();
  if (options.only.empty()) return names;
  for (const std::string &name : options.only) {
    if (std::ranges::count(names, name) == 0)
      Misuse("--only", "neither " + data.source + " nor the program has a variable " + Quoted(name));
    if (std::ranges::count(options.only, name) > 1) Misuse("--only", Quoted(name) + " stands twice, expected once");
  }
  return options.only;
}

struct Column {
  std::string name;
  std::span<const double> values;
  bool iso;

  std::string Text(std::size_t row, int digits) const {
    const std::optional<std::string> date = iso ? DateText(values[row]) : std::nullopt;
    return date ? *date : NumberText(values[row], digits);
  }
};

// The columns in the order in which they are written. With dates, these come first whatever is selected.
std::vector<Column> Columns(const Workspace &workspace, const DataTable &data, const Range &range,
                            std::vector<std::string> names) {
  if (data.dated) {
    std::erase(names, data.names[0]);
    names.insert(names.begin(), data.names[0]);
  }
  std::vector<Column> columns;
  for (const std::string &name : names) {
    const std::optional<std::span<const double>> values = workspace.Variable(name, range);
    if (!values) continue;  // the program has deleted it
    const int source = data.Find(name);
    columns.push_back({name, *values, source >= 0 && data.iso[static_cast<std::size_t>(source)]});
  }
  return columns;
}

}  // namespace

void WriteFile(const std::string &path, const std::string &text) {
  if (path == "-") return WriteDirectly("standard output", STDOUT_FILENO, text);
  std::error_code ignored;
  std::string target = std::filesystem::canonical(path, ignored).string();  // so that a link stays one
  if (target.empty()) target = path;
  struct stat existing {};
  const bool exists = stat(target.c_str(), &existing) == 0;
  if (exists && !S_ISREG(existing.st_mode)) {
    const int file = open(target.c_str(), O_WRONLY | O_CLOEXEC);
    WriteDirectly(path, file, text);
    if (close(file) != 0) CannotWrite(path);
    return;
  }

  if (exists && access(target.c_str(), W_OK) != 0) CannotWrite(path);  // the new file would not ask

  const SignalsHeld held;
  std::string temporary = target + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) CannotWrite(path);
  const mode_t mask = umask(0);
  umask(mask);
  bool written = fchmod(file, exists ? existing.st_mode & 07777 : 0666 & ~mask) == 0 && WriteAll(file, text);
  written = close(file) == 0 && written;
  if (written && std::rename(temporary.c_str(), target.c_str()) == 0) return;
  const int error = errno;
  unlink(temporary.c_str());
  errno = error;
  CannotWrite(path);
}

std::string VariablesAsCsv(const Workspace &workspace, const DataTable &data, const Range &range,
                           const OutputOptions &options) {
  const std::vector<Column> columns = Columns(workspace, data, range, Selection(workspace, data, options));
  std::string text;
  if (!data.dated) {
    const bool taken = std::ranges::any_of(columns, [](const Column &column) { return column.name == "period"; });
    text = taken ? "" : "period";
  }
  for (std::size_t j = 0; j < columns.size(); ++j) text += (j > 0 || !data.dated ? "," : "") + Cell(columns[j].name);
  text += '\n';
  for (int t = range.first; t <= range.last; ++t) {
    if (!data.dated) text += data.calendar.Label(t);
    for (std::size_t j = 0; j < columns.size(); ++j)
      text += (j > 0 || !data.dated ? "," : "") +
              columns[j].Text(static_cast<std::size_t>(t - range.first), options.digits);
    text += '\n';
  }
  return text;
}
