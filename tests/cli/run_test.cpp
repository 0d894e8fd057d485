// tessel run, check and functions, and what every subcommand shares: data, ranges, output files, messages, exit status.
#include <algorithm>
#include <cctype>

#include "command.h"

namespace {

struct Case {
  const char *arguments;
  const char *program;
  const char *data;
  int status;
  const char *out, *err;
};

// Runs p.alg over d.csv and compares all that is said.
void Check(const Case &c) {
  SCOPED_TRACE(std::string(c.arguments) + "\n" + c.program + "\n" + c.data);
  const Folder folder;
  folder.Write("p.alg", c.program);
  folder.Write("d.csv", c.data);
  const CommandResult result = folder.Tessel(c.arguments);
  EXPECT_EQ(result.status, c.status);
  EXPECT_EQ(result.out, c.out);
  EXPECT_EQ(result.err, c.err);
}

constexpr const char *kRun = "run p.alg --data d.csv";
constexpr const char *kSum = "y = x + 1;\n";

TEST(Run, ReadsCellsAndWritesThemBack) {
  const Case cases[] = {
      // All spellings of missing; a first column of labels is not read; CRLF, a byte order mark, quotes, blank lines at
      // the end.
      {kRun, kSum, "x\n1\n.\nNA\nnan\n", 0, "period,x,y\n1,1,2\n2,NA,NA\n3,NA,NA\n4,NA,NA\n", ""},
      {kRun, kSum, "period,x\n1959:1,1\n1959:2,\n", 0, "period,x,y\n1,1,2\n2,NA,NA\n", ""},
      {kRun, kSum, "\xEF\xBB\xBF\"\",x\r\n\"a\",\"+2.5e0\"\r\n\r\n", 0, "period,x,y\n1,2.5,3.5\n", ""},
      {kRun, "c = \"GDP, real\";", "\"GDP, real\"\n4\n", 0, "period,\"GDP, real\",c\n1,4,4\n", ""},
      // The shortest text that reads back: 0.1 + 0.2 is not 0.3, and the smallest and largest doubles.
      {kRun, "y = x + 0.2;", "x\n0.1\n5e-324\n1.7976931348623157e308\n1e-400\n", 0,
       "period,x,y\n1,0.1,0.30000000000000004\n2,5e-324,0.2\n3,1.7976931348623157e+308,1.7976931348623157e+308\n"
       "4,0,0.2\n",
       ""},
      // Selections.
      {"run p.alg --data d.csv --added", kSum, "x\n1\n", 0, "period,y\n1,2\n", ""},
      {"run p.alg --data d.csv --only y,x", kSum, "x,z\n1,2\n", 0, "period,y,x\n1,2,1\n", ""},
      {"run --only y p.alg --data - --skip w <d.csv", kSum, "w,x\nhello,1\n", 0, "period,y\n1,2\n", ""},
      // A variable without a name hides none behind it.
      {kRun, "\" \" = 1; y = 2;", "x\n1\n", 0, "period,x,y\n1,1,2\n", ""},
      {kRun, "delete(x); period = 3;", "x,z\n1,2\n", 0, ",z,period\n1,2,3\n", ""},
  };
  for (const Case &c : cases) Check(c);
}

TEST(Run, CalendarDatesAndRanges) {
  const char *three = "x\n1\n2\n3\n";
  const char *dated = "x,d\n1,2000-02-28\n2,2000-02-29T12:30\n3,2000-03-01T00:00:00.25\n";
  const Case cases[] = {
      {"run p.alg --data d.csv --start 1959:4 --frequency 4", "y = x[-1];", three, 0,
       "period,x,y\n1959:4,1,NA\n1960:1,2,1\n1960:2,3,2\n", ""},
      // A range is run and written, and lags reach behind it.
      {"run p.alg --data d.csv --start 1959:4 --frequency 4 --first 1960:1 --last 2", "y = x[-1]; z = x[1];", three, 0,
       "period,x,y,z\n1960:1,2,1,3\n", ""},
      {"run p.alg --data d.csv --start 1990 --first 1991 --last 1991:1", kSum, three, 0, "period,x,y\n1991,2,3\n", ""},
      // 28 February 2000 is day 2451603; the date column comes first whatever is selected.
      {"run p.alg --data d.csv --dates d --added", "y = d - 2451603;", dated, 0,
       "d,y\n2000-02-28,0\n2000-02-29T12:30,1.5208333334885538\n2000-03-01T00:00:00.25,2.0000028936192393\n", ""},
      {"run p.alg --data d.csv --dates d --first 2000-02-29 --last 2000-02-29T23:59 --only x", "", dated, 0,
       "d,x\n2000-02-29T12:30,2\n", ""},
      {"run p.alg --data d.csv --dates period", "y = period;", "period,x\n1582-10-15,1\n", 0,
       "period,x,y\n1582-10-15,1,2299161\n", ""},
      // The Julian calendar before 15 October 1582, which is day 2299161.
      {"run p.alg --data d.csv --dates d", "y = d - 2299161;", "d\n1582-10-04\n1582-10-15\n", 0,
       "d,y\n1582-10-04,-1\n1582-10-15,0\n", ""},
      {"run p.alg --data d.csv --start 1959:5 --frequency 4", "", three, 2, "",
       "--start: period 5 is not within --frequency 4\n"},
      {"run p.alg --data d.csv --first 4", "", three, 2, "",
       "--first: 4 is outside the data, which have the observations 1 to 3, 1 to 3\n"},
      {"run p.alg --data d.csv --first 3 --last 2", "", three, 2, "",
       "--last: 2 is before the first observation of the range, 3\n"},
      {"run p.alg --data d.csv --dates d --first 2001-01-01", "", dated, 2, "",
       "--first: 2001-01-01 leaves none of the observations from 2000-02-28 to 2000-03-01T00:00:00.25\n"},
      {"run p.alg --data d.csv --last soon", "", three, 2, "",
       "--last: expected an observation's number or YEAR:PERIOD, as in 1990:2, found 'soon'\n"},
  };
  for (const Case &c : cases) Check(c);
}

TEST(Run, RefusesWhatItCannotRead) {
  const Case cases[] = {
      {"run p.alg --data none.csv", kSum, "", 1, "",
       "none.csv: the file cannot be opened: No such file or directory\n"},
      {"run none.alg --data d.csv", kSum, "x\n1\n", 1, "",
       "none.alg: the file cannot be opened: No such file or directory\n"},
      {"run . --data d.csv", kSum, "x\n1\n", 1, "", ".: the file cannot be read: Is a directory\n"},
      {"run p.alg --data .", kSum, "", 1, "", ".: the file cannot be read: Is a directory\n"},
      {kRun, "", "x\n1\n", 0, "period,x\n1,1\n", ""},
      {kRun, "x = 1\x02;", "x\n1\n", 1, "", "p.alg:1: a control character, expected text\n"},
      {kRun, kSum, "", 1, "", "d.csv: the file is empty, expected a first row with the names of the columns\n"},
      {kRun, kSum, "x\n", 1, "", "d.csv: no observations below the row of names\n"},
      {kRun, kSum, "x,x\n1,2\n", 1, "", "d.csv:1: two columns have the name 'x'\n"},
      {kRun, kSum, "x,\n1,2\n", 1, "", "d.csv:1: column 2 has no name, or one with a control character\n"},
      {kRun, kSum, "x,y\n1,2\n1\n", 1, "", "d.csv:3: expected 2 cells as in the first row, found 1\n"},
      {kRun, kSum, "x\n1\n\n3\n", 1, "", "d.csv:3: an empty line; a missing value in a file of one column is NA\n"},
      {kRun, kSum, "x\n1,5\n", 1, "", "d.csv:2: expected 1 cells as in the first row, found 2\n"},
      {kRun, kSum, "x,\"y\n\"\n1,2\n", 1, "", "d.csv:1: column 2 has no name, or one with a control character\n"},
      {kRun, kSum, "w,x\n\"a\nb\",1\n", 1, "",
       "d.csv:2: column 'w': expected a number, a date or NA, found 'a b'; --skip leaves a column out\n"},
      {kRun, kSum, "x\n1\n2000-02-30\n", 1, "",
       "d.csv:3: column 'x': expected a number, a date or NA, found '2000-02-30'\n"},
      {kRun, kSum, "x\n1e400\n", 1, "",
       "d.csv:2: column 'x': expected a number, a date or NA, found '1e400'; --skip leaves a column out\n"},
      {kRun, kSum, "x\n1\n\"2\n", 1, "", "d.csv:3: a double quote out of place, or none at the end of a quoted cell\n"},
      {"run p.alg --data d.csv --dates d", kSum, "x,d\n1,2000-01-02\n1,2000-01-01\n", 1, "",
       "d.csv:3: the date in column 'd' is before the one above it\n"},
      {"run p.alg --data d.csv --dates t", kSum, "x\n1\n", 2, "", "--dates: d.csv has no column 't'\n"},
      {"run p.alg --data d.csv --only z", kSum, "x\n1\n", 2, "",
       "--only: neither d.csv nor the program has a variable 'z'\n"},
      {"run p.alg --data d.csv --output no/out.csv", kSum, "x\n1\n", 1, "",
       "no/out.csv: the file cannot be written: No such file or directory\n"},
      {"run p.alg --frequency four --data d.csv", kSum, "x\n1\n", 2, "",
       "tessel run: --frequency: Value four not in range 1 to 1000000 (see tessel run --help)\n"},
      {"run p.alg", kSum, "x\n1\n", 2, "", "tessel run: --data is required (see tessel run --help)\n"},
      {"run p.alg --dta d.csv", kSum, "x\n1\n", 2, "",
       "tessel run: The following argument was not expected: --dta (see tessel run --help)\n"},
      {"", kSum, "", 2, "", "tessel: A subcommand is required (see tessel --help)\n"},
      {"ran p.alg", kSum, "", 2, "",
       "tessel: expected run, fit, check, functions, call or an option, found 'ran' (see tessel --help)\n"},
      {"check p.alg --start 1990:1", kSum, "", 2, "",
       "tessel check: --start requires --data (see tessel check --help)\n"},
      {"run p.alg --data d.csv --only y,x,y", kSum, "x\n1\n", 2, "", "--only: 'y' stands twice, expected once\n"},
      {"run p.alg --data ''", kSum, "", 1, "", "'': the file cannot be opened: No such file or directory\n"},
      {"run 'p\n.alg' --data d.csv", kSum, "x\n1\n", 1, "",
       "p .alg: the file cannot be opened: No such file or directory\n"},
      {"run - --data - < p.alg", kSum, "", 2, "", "--data: the program comes from standard input, expected a file\n"},
      {"run - --data d.csv < p.alg", kSum, "x\n1\n", 0, "period,x,y\n1,1,2\n", ""},
      // What cannot be written is never lost in silence, nor written to another file.
      {"run p.alg --data d.csv >&-", kSum, "x\n1\n", 1, "",
       "standard output: the file cannot be written: Bad file descriptor\n"},
      {"check p.alg --data d.csv >&-", kSum, "x\n1\n", 1, "", "standard output: it cannot be written\n"},
      {"functions > /dev/full", kSum, "", 1, "", "standard output: it cannot be written\n"},
  };
  for (const Case &c : cases) Check(c);
}

TEST(Run, NamesThePlaceOfAProgramsErrors) {
  const Case cases[] = {
      {kRun, "y = x;\n\nz = w;\n", "x\n1\n", 1, "", "p.alg:3: Parse error: w Undeclared identifier on line 3\n"},
      {kRun, "y = x", "x\n1\n", 1, "", "p.alg:2: Parse error: ; Missing on line 2\n"},
      {kRun, "y = 1e5;", "x\n1\n", 1, "", "p.alg:1: Scan error: 1e5 Unrecognized on line 1\n"},
      {kRun, "&1 = 2; y = &1 * x;", "x\n1\n", 1, "", "p.alg: Error: No parameters alllowed here\n"},
      // The statement that fails is found among others that could, and printed on one line.
      {kRun, "a = log(x);\n// b = log(-1);\nb = sqrt(x);\n/* ; */ c = \";\" + log(\n  b - 3); // here\nd = log(c);\n",
       "x,;\n4,1\n", 1, "", "p.alg:4: Logarithm of non-positive number in 'c = \";\" + log( b - 3);'\n"},
      {kRun, "a = sqrt(x) + log(x - 5);", "x\n4\n", 1, "",
       "p.alg:1: Logarithm of non-positive number or Square root of negative number in 'a = sqrt(x) + log(x - 5);'\n"},
      {kRun, "x = log(x) - 2; } ignored", "x\n1\n", 0, "period,x\n1,-2\n", ""},
      // Faults that only leave infinities.
      {kRun, "y = 1 / x;", "x\n1\n0\n0\n", 0, "period,x,y\n1,1,1\n2,0,inf\n3,0,inf\n",
       "p.alg: Warning: y is infinite 2 times, first in observation 2\n"},
      {"check p.alg", "y = 1;\nz = y[;\n", "", 1, "", "p.alg:2: Parse error: ; Out of place on line 2\n"},
      {"check p.alg", "&1 = 1; &3 = 2; y = &1 + &3 * trend();", "", 0, "p.alg: no errors; adds y; parameters &1, &3\n",
       ""},
      {"check p.alg --data d.csv", kSum, "x\n1\n", 0, "p.alg: no errors; adds y\n", ""},
  };
  for (const Case &c : cases) Check(c);
}

// Algebra counts a program's lines with three digits; the place in front of its message is right all the same.
TEST(Run, LineNumbersPastThreeDigits) {
  std::string program;
  for (int line = 1; line < 1234; ++line) program += "a = 1;\n";
  Check({kRun, (program + "b = none;\n" + program).c_str(), "x\n1\n", 1, "",
         "p.alg:1234: Parse error: none Undeclared identifier on line 123\n"});
}

// The search for the statement repeats the run with the same random numbers: it names the first statement that fails,
// which is the one that fails alone.
TEST(Run, FindsTheStatementThatFailsAtRandom) {
  const Folder folder;
  folder.Write("d.csv", "x\n1\n2\n");
  folder.Write("first.alg", "a = log(ranu() - 0.3);\n");
  folder.Write("both.alg", "a = log(ranu() - 0.3);\nb = sqrt(ranu() - 0.3);\n");
  int named[3] = {};
  for (int seed = 1; seed <= 20; ++seed) {
    const std::string options = " --data d.csv --seed " + std::to_string(seed);
    const CommandResult first = folder.Tessel("run first.alg" + options),
                        both = folder.Tessel("run both.alg" + options);
    const int line = first.status == 1 ? 1 : both.status == 1 ? 2 : 0;
    EXPECT_EQ(both.err.find("both.alg:" + std::to_string(line) + ": "), line == 0 ? std::string::npos : 0) << both.err;
    ++named[line];
  }
  EXPECT_GT(named[1], 0);
  EXPECT_GT(named[2], 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // these need more address space
// Whichever step finds no memory, the last line tells so, and nothing is written.
TEST(Run, ExhaustedMemoryIsCalledThat) {
  const Folder folder;
  std::string data = "x\n";
  for (int t = 0; t < 40000; ++t) data += std::to_string(t % 7) + "\n";
  folder.Write("d.csv", data);
  folder.Write("p.alg", "y = x;\nz = smooth_sp(x, 5, smoothed);\n");
  int failures = 0, status = -1;
  for (int kilobytes = 4000; status != 0 && kilobytes < 200000; kilobytes += 500) {
    const CommandResult result =
        folder.Tessel("run p.alg --data d.csv --output out.csv", "ulimit -v " + std::to_string(kilobytes) + " &&");
    status = result.status;
    if (status == 127) continue;  // the loader found no memory
    EXPECT_EQ(std::filesystem::exists(folder.Path() / "out.csv"), status == 0);
    if (status == 0) continue;
    ++failures;
    EXPECT_EQ(status, 1);
    const std::size_t last = result.err.rfind('\n', result.err.size() - 2) + 1;
    const std::string line = result.err.substr(std::min(last, result.err.size()));
    EXPECT_TRUE(line == "tessel: out of memory\n" || line.find("Out of memory on line") != std::string::npos ||
                line.find("Could not create variable on line") != std::string::npos ||
                line.find("cannot create database") != std::string::npos)
        << result.err;
  }
  EXPECT_EQ(status, 0);
  EXPECT_GT(failures, 5);
}
#endif

TEST(Run, OutputFilesAreWholeOrUntouched) {
  const Folder folder;
  folder.Write("d.csv", "x\n1\n");
  folder.Write("good.alg", kSum);
  folder.Write("bad.alg", "y = log(-x);");
  folder.Write("out.csv", "before");
  EXPECT_EQ(folder.Tessel("run bad.alg --data d.csv --output out.csv").status, 1);
  EXPECT_EQ(folder.Read("out.csv"), "before");
  std::filesystem::create_symlink("out.csv", folder.Path() / "link.csv");
  EXPECT_EQ(folder.Tessel("run good.alg --data d.csv --output link.csv").status, 0);
  EXPECT_EQ(folder.Read("out.csv"), "period,x,y\n1,1,2\n");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path() / "link.csv"));
  // The command reads its own output, and over its own input.
  EXPECT_EQ(folder.Tessel("run good.alg --data out.csv --output out.csv").status, 0);
  EXPECT_EQ(folder.Read("out.csv"), "period,x,y\n1,1,2\n");
  EXPECT_NE(folder.Tessel("run good.alg --data d.csv --output /dev/full").err.find("/dev/full: "), std::string::npos);
  const auto entries = std::filesystem::directory_iterator(folder.Path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 5) << "no temporary file is left";
}

// A call that fits a prototype: X, Y and RATE are variables of the data, DEST is new, and the rest are numbers.
TEST(Functions, EachPrototypeCompilesAndRuns) {
  const Folder folder;
  folder.Write("d.csv", "X,Y,RATE\n1,2,0.5\n2,1,0.5\n3,5,0.5\n1,4,0.5\n7,3,0.5\n");
  std::istringstream lines(folder.Tessel("functions").out);
  std::string program;
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("  ")) continue;
    std::string call = line.substr(2, line.find(')') - 1);
    for (std::size_t i = call.find('('); i < call.size(); ++i) {
      if (std::islower(static_cast<unsigned char>(call[i])) == 0) continue;
      call.replace(i, call.find_first_of(",)", i) - i, "1");
    }
    program += "value" + std::to_string(++count) + " = " + call + ";\n";
  }
  EXPECT_GT(count, 40);
  folder.Write("p.alg", program);
  const CommandResult result = folder.Tessel("run p.alg --data d.csv");
  EXPECT_EQ(result.status, 0) << result.err << program;
  EXPECT_NE(folder.Tessel("functions lag").out.find("lag(X, k)"), std::string::npos);
  EXPECT_EQ(folder.Tessel("functions lags").err, "tessel functions: no built-in function has the name 'lags'\n");
}

TEST(Help, IsEverywhere) {
  const Folder folder;
  for (const char *arguments :
       {"--help", "run --help", "fit --help", "check --help", "functions --help", "--version"}) {
    const CommandResult result = folder.Tessel(arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    EXPECT_FALSE(result.out.empty()) << arguments;
    EXPECT_EQ(result.err, "") << arguments;
  }
}

}  // namespace
