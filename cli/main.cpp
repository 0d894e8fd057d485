// tessel: Algebra programs from the command line.
#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "failure.h"
#include "text.h"

namespace {

void AddDataOptions(CLI::App &command, DataOptions &data, bool required) {
  CLI::Option *file = command.add_option("--data", data.file, "CSV file, first row the names; - is standard input");
  file->type_name("FILE")->required(required);
  CLI::Option *start = command.add_option("--start", data.start, "year and period of the first observation, as 1959:1");
  start->type_name("YEAR:PERIOD");
  CLI::Option *frequency =
      command.add_option("--frequency", data.frequency, "periods in a year, as 4 for quarters (default 1)");
  frequency->type_name("N")->check(CLI::Range(1, 1000000));
  CLI::Option *dates = command.add_option("--dates", data.dates, "column that holds the dates of the observations");
  dates->type_name("COLUMN")->excludes(start)->excludes(frequency);
  CLI::Option *skip = command.add_option("--skip", data.skip, "columns not to read");
  skip->type_name("NAME,...")->delimiter(',')->allow_extra_args(false);
  if (!required)
    for (CLI::Option *about : {start, frequency, dates, skip}) about->needs(file);
}

void AddRangeOptions(CLI::App &command, DataOptions &data) {
  const char *form = "OBS";
  command.add_option("--first", data.first, "first observation: a number from 1, YEAR:PERIOD, a year or a date")
      ->type_name(form);
  command.add_option("--last", data.last, "last observation")->type_name(form);
  command.add_option("--presample", data.presample, "observations before --first to run over as well; or all")
      ->type_name("N");
}

void AddOutputOptions(CLI::App &command, OutputOptions &output, const char *what) {
  command.add_option("--output", output.file, what)->type_name("FILE");
  CLI::Option *only = command.add_option("--only", output.only, "write these variables");
  only->type_name("NAME,...")->delimiter(',')->allow_extra_args(false);
  command.add_flag("--added", output.added, "write the variables that the program adds")->excludes(only);
}

CLI::App *AddRun(CLI::App &app, RunOptions &run) {
  CLI::App *command = app.add_subcommand("run", "Run an Algebra program over data and write the variables as CSV");
  command->add_option("PROGRAM", run.program, "file with the Algebra program, - is standard input")->required();
  AddDataOptions(*command, run.data, true);
  AddRangeOptions(*command, run.data);
  AddOutputOptions(*command, run.output, "CSV file to write, - is standard output (default)");
  command->add_option("--digits", run.output.digits, "significant digits (default: as many as read back exactly)")
      ->type_name("N")
      ->check(CLI::Range(1, 17));
  command->add_option("--seed", run.seed, "seed of the random numbers (default: the same sequence in every run)")
      ->type_name("N")
      ->check(CLI::Range(1, 2147483647));
  return command;
}

CLI::App *AddFit(CLI::App &app, FitOptions &fit) {
  CLI::App *command = app.add_subcommand("fit", "Estimate a model's parameters by non-linear least squares");
  command->add_option("PROGRAM", fit.program, "file with the model as an Algebra program, - is standard input")
      ->required();
  AddDataOptions(*command, fit.data, true);
  AddRangeOptions(*command, fit.data);
  command->add_option("--residual", fit.residual, "variable whose sum of squares is minimised")
      ->type_name("NAME")
      ->required();
  command->add_option("--starting-values", fit.startingValues, "in the place of the program's, by parameter number")
      ->type_name("VALUE,...")
      ->delimiter(',')
      ->allow_extra_args(false);
  command->add_option("--max-iterations", fit.maxIterations, "default 1000")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000));
  command->add_option("--tolerance", fit.tolerance, "share of change that ends the search (default 1e-12)")
      ->type_name("SHARE")
      ->check(CLI::Range(0.0, 1.0));
  command->add_option("--digits", fit.digits, "significant digits of the table (default 7)")
      ->type_name("N")
      ->check(CLI::Range(1, 17));
  fit.output.file.clear();
  AddOutputOptions(*command, fit.output, "CSV file for the variables at the estimates");
  for (const char *option : {"--only", "--added"}) command->get_option(option)->needs(command->get_option("--output"));
  return command;
}

CLI::App *AddCall(CLI::App &app, CallOptions &options) {
  CLI::App *call = app.add_subcommand("call", "Call functions of the library with arguments as JSON");
  call->add_option("FUNCTION ARGS.json", options.calls,
                   "a function and the file of its arguments (- is standard input), in turn")
      ->required();
  call->add_option("--only", options.only,
                   "print these outputs, and the results of functions named here; \"result\" names all results")
      ->type_name("NAME,...")
      ->delimiter(',')
      ->allow_extra_args(false);
  call->add_option("--digits", options.digits, "significant digits (default: as many as read back exactly)")
      ->type_name("N")
      ->check(CLI::Range(1, 17));
  return call;
}

void CheckSources(const std::string &program, const DataOptions &data) {
  if (program == "-" && data.file == "-") Misuse("--data", "the program comes from standard input, expected a file");
}

// The line for a command line that cannot be read.
std::string UsageLine(const CLI::App &app, const CLI::ParseError &error) {
  std::string name = "tessel";
  for (const CLI::App *command : app.get_subcommands()) name += " " + command->get_name();
  std::string what = error.what();
  const auto rest = app.remaining(true);
  if (!rest.empty())  // a misspelt option tells more than what is missing without it
    what = app.get_subcommands().empty()
               ? "expected run, fit, check, functions, call or an option, found " + Quoted(rest[0])
               : CLI::ExtrasError(std::vector<std::string>{rest[0]}).what();
  return name + ": " + what + " (see " + name + " --help)";
}

int Main(int argc, char **argv) {
  CLI::App app("Runs and estimates programs of Algebra, a small language for time series.", "tessel");
  app.set_version_flag("--version", "tessel " TESSEL_VERSION);
  app.require_subcommand(1);
  int status = 0;

  RunOptions run;
  AddRun(app, run)->final_callback([&] {
    CheckSources(run.program, run.data);
    status = RunCommand(run);
  });

  FitOptions fit;
  AddFit(app, fit)->final_callback([&] {
    if (fit.output.file == "-") Misuse("--output", "the table goes to standard output, expected a file's name");
    if (std::isnan(fit.tolerance)) Misuse("--tolerance", "expected a share from 0 to 1, found nan");
    CheckSources(fit.program, fit.data);
    status = FitCommand(fit);
  });

  std::string checked;
  DataOptions checkedData;
  CLI::App *check = app.add_subcommand("check", "Compile an Algebra program without running it");
  check->add_option("PROGRAM", checked, "file with the Algebra program, - is standard input")->required();
  AddDataOptions(*check, checkedData, false);
  check->final_callback([&] {
    CheckSources(checked, checkedData);
    status = CheckCommand(checked, checkedData.file.empty() ? std::nullopt : std::optional(checkedData));
  });

  std::string function;
  CLI::App *functions = app.add_subcommand("functions", "List the built-in functions of Algebra");
  functions->add_option("NAME", function, "one function");
  functions->final_callback([&] { status = FunctionsCommand(function); });

  CallOptions call;
  AddCall(app, call)->final_callback([&] { status = CallCommand(call); });

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::cerr << OnOneLine(UsageLine(app, error)) << '\n';
    return Failure::WrongUsage;
  }
  return status;
}

// A standard stream that is closed would lend its number to the next file that is opened, and what is meant for the
// stream would go there. What is opened here in its place refuses it.
void OpenClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(stream, F_GETFD) < 0) static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

}  // namespace

int main(int argc, char **argv) {
  OpenClosedStreams();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error of writing like others
  try {
    const int status = Main(argc, argv);
    std::cout.flush();
    if (!std::cout || std::ferror(stdout) != 0) Fail("standard output", "it cannot be written");
    return status;
  } catch (const Failure &failure) {
    std::cerr << OnOneLine(failure.what()) << '\n';
    return failure.status;
  } catch (const std::bad_alloc &) {
    std::cerr << "tessel: out of memory\n";
  } catch (const std::exception &error) {
    std::cerr << "tessel: " << error.what() << '\n';
  }
  return Failure::Failed;
}
