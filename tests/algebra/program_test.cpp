// Compiled programs: attached to several databases, prepared for the machine and run.
#include "algebra/program.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "algebra/function_table.h"
#include "algebra/machine.h"
#include "algebra/tokens.h"
#include "algebra/workspace.h"
#include "core/heap.h"
#include "core/missing.h"
#include "support/messages.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

// A workspace of columns of n observations named by single letters, each holding start, start + 1, ...
struct Opened {
  Opened(const std::string &letters, const Series &starts, int n = 3, int frequency = 4) : workspace(messages.Sink()) {
    std::vector<std::string> texts;
    for (const char letter : letters) texts.emplace_back(1, letter);
    std::vector<const char *> names;
    for (const std::string &text : texts) names.push_back(text.c_str());
    Series cells;
    for (int t = 0; t < n; ++t)
      for (const double start : starts) cells.push_back(start + t);
    EXPECT_TRUE(Succeeded(workspace.Open({2001, 2, 0, 0, frequency}, n, static_cast<int>(names.size()))));
    EXPECT_TRUE(Succeeded(workspace.AddData({cells.data(), n, static_cast<int>(names.size())}, names)));
  }

  Series Get(const char *name) const {
    const int variable = workspace.Find(name);
    if (variable < 0) return {};
    return {workspace.Variable(variable).begin(), workspace.Variable(variable).end()};
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (int i = 0; i < workspace.VariableCount(); ++i) names.emplace_back(workspace.Name(i));
    return names;
  }

  Messages messages;
  AlgebraWorkspace workspace;
};

using Texts = std::vector<std::string>;

TEST(Program, RunsOnEveryDatabaseThatItIsAttachedTo) {
  Opened first("xyz", {1, 10, 100});
  ASSERT_TRUE(Succeeded(first.workspace.Compile("&2 = 7; a = x + y; b = a; delete(y, a); y = -&2*b; \" x\" = NOBS;")));
  const Texts names = {"x", "z", "b", "y", "Var5"};  // " x" is the name x without its blank, which is taken
  EXPECT_EQ(first.Names(), names);
  Opened second("xyz", {2, 20, 200}), third("xyz", {3, 30, 300});
  for (Opened *other : {&second, &third}) {
    ASSERT_TRUE(Succeeded(other->workspace.Attach(*first.workspace.Program())));
    EXPECT_EQ(other->Names(), names);
    EXPECT_EQ(other->workspace.FirstAdded(), 2);
    EXPECT_EQ(other->messages.texts, first.messages.texts) << "the edits say the same";
    EXPECT_EQ(other->workspace.ParameterValue(0), 7);
  }
  // Each has parameters and columns of its own.
  const double trial[] = {10};
  EXPECT_TRUE(Succeeded(second.workspace.SetParameters(trial)));
  for (Opened *each : {&third, &second, &first}) EXPECT_TRUE(Succeeded(each->workspace.Run(0, 2)));
  EXPECT_EQ(first.Get("y"), (Series{-7 * 11, -7 * 13, -7 * 15}));
  EXPECT_EQ(second.Get("y"), (Series{-10 * 22, -10 * 24, -10 * 26}));
  EXPECT_EQ(third.Get("y"), (Series{-7 * 33, -7 * 35, -7 * 37}));
  EXPECT_EQ(third.Get("Var5"), (Series{3, 3, 3}));
}

TEST(Program, IsAttachedToItsLayoutAlone) {
  Opened compiled("xy", {1, 2});
  ASSERT_TRUE(Succeeded(compiled.workspace.Compile("z = x + y;")));
  const AlgebraProgram &program = *compiled.workspace.Program();
  Opened others[] = {{"yx", {1, 2}},        {"xyz", {1, 2, 3}}, {"x", {1}},     {"xy", {1, 2}, 4},
                     {"xy", {1, 2}, 3, 12}, {"xy", {1, 2}},     {"xy", {1, 2}}, {"xx", {1, 2}}};
  others[5].workspace.MarkDates();
  DbDeleteVariable(others[6].workspace.Database(), DbAddVariables(others[6].workspace.Database(), 1));
  for (Opened &other : others) {
    const Texts names = other.Names();
    EXPECT_EQ(other.workspace.Attach(program), Status::Invalid);
    EXPECT_EQ(other.Names(), names);
    EXPECT_EQ(other.workspace.Program(), nullptr);
    EXPECT_EQ(other.workspace.Run(0, 0), Status::RunFailed);
  }
  Opened same("xy", {5, 6});
  EXPECT_TRUE(Succeeded(same.workspace.Attach(program)));
  EXPECT_EQ(same.workspace.Attach(program), Status::Ok) << "it is attached already";
  EXPECT_EQ(AlgebraWorkspace().Attach(program), Status::Invalid) << "closed";
}

TEST(Workspaces, TwoInterleaved) {
  Opened a("x", {1}, 3, 4), b("x", {100}, 5, 12);
  ASSERT_TRUE(Succeeded(a.workspace.Compile("&0 = 1; y = x*&0 + FREQUENCY; u = ranu();")));
  ASSERT_TRUE(Succeeded(b.workspace.Compile("&0 = 2; &1 = 3; y = x*&0 + NOBS*&1; u = ranu();")));
  const double trial[] = {10};
  EXPECT_TRUE(Succeeded(a.workspace.SetParameters(trial)));
  EXPECT_TRUE(Succeeded(b.workspace.Run(0, 1)));
  EXPECT_TRUE(Succeeded(a.workspace.Run(0, 2)));
  EXPECT_EQ(b.workspace.SetParameters(trial), Status::Invalid);
  EXPECT_TRUE(Succeeded(b.workspace.Run(2, 4)));
  EXPECT_EQ(a.Get("y"), (Series{14, 24, 34}));
  EXPECT_EQ(b.Get("y"), (Series{215, 217, 219, 221, 223}));
  // Each draws from generators of its own, and both began at the same state.
  Generators generators;
  for (int t = 0; t < 5; ++t) {
    const double drawn = RanUniform(generators);
    EXPECT_EQ(b.Get("u")[static_cast<std::size_t>(t)], drawn);
    EXPECT_TRUE(t > 2 || a.Get("u")[static_cast<std::size_t>(t)] == drawn);
  }
  // One is closed, opened anew and goes on with its random numbers; the other does not notice.
  a.workspace.Close();
  EXPECT_TRUE(Succeeded(b.workspace.Run(0, 0)));
  ASSERT_TRUE(Succeeded(a.workspace.Open({1, 1, 0, 0, 1}, 1, 0)));
  ASSERT_TRUE(Succeeded(a.workspace.Compile("u = ranu(); v = ranu();")));
  EXPECT_TRUE(Succeeded(a.workspace.Run(0, 0)));
  EXPECT_EQ(a.Get("v")[0], b.Get("u")[4]);
}

TEST(Workspaces, MessagesGoToTheirOwner) {
  Opened a("x", {-1}), b("x", {1});
  EXPECT_EQ(a.workspace.Compile("y = \"x;"), Status::ScanFailed);
  EXPECT_EQ(a.workspace.Message(), std::string("Scan error: Unexpected end of code on line 1"));
  EXPECT_EQ(a.workspace.Compile("y = &0;", ParameterUse::Refused), Status::ParseFailed);
  EXPECT_EQ(a.workspace.Compile("\n&0 = 1;", ParameterUse::Refused), Status::ParseFailed);
  EXPECT_EQ(a.workspace.Program(), nullptr);
  EXPECT_EQ(a.workspace.Run(0, 2), Status::RunFailed);
  ASSERT_TRUE(Succeeded(a.workspace.Compile("z = log(x) + 1/(x + 1) + exp(1000);")));
  EXPECT_STREQ(a.workspace.Message(), "");
  EXPECT_EQ(a.workspace.Run(0, 2), Status::RunFailed);
  EXPECT_STREQ(a.workspace.Message(), "") << "a quiet run";
  EXPECT_EQ(a.workspace.Run(0, 2, RunReporting::Report), Status::RunFailed);
  EXPECT_EQ(a.workspace.RunErrors(), ErrLogNonPositive | ErrLogZero | ErrDivideByZero | ErrExponentOverflow);
  EXPECT_TRUE(Succeeded(a.workspace.Run(1, 2, RunReporting::Report))) << "warnings alone";
  EXPECT_EQ(a.messages.texts,
            (Texts{"Error: Scan error: Unexpected end of code on line 1",
                   "Warning: '&' indicates a parameter, and is only allowed in Model formulation",
                   "Error: Parse error: & Out of place on line 1", "Error: Parse error: & Out of place on line 2",
                   "Error: There were Algebra run-time errors:\r\n    Overflow in exponent\r\n    Logarithm of "
                   "non-positive number\r\n    Divide by zero\r\n    Logarithm of zero\r\n",
                   "Error: There were Algebra run-time errors:\r\n    Overflow in exponent\r\n    Logarithm of "
                   "zero\r\n"}));
  EXPECT_EQ(b.messages.texts, Texts());
  AlgebraWorkspace silent;
  EXPECT_EQ(silent.Compile("x = 1;"), Status::Invalid) << "closed";
}

TEST(Workspaces, SamplesAndData) {
  AlgebraWorkspace workspace;
  EXPECT_EQ(workspace.Open({2000, 1, 0, 0, 0}, 4, 1), Status::Invalid);
  EXPECT_EQ(workspace.Open({2147483647, 1, 0, 0, 1}, 2, 1), Status::Invalid);
  EXPECT_FALSE(workspace.IsOpen());
  const double cells[] = {1, 2, 3, 4, 5, 6};
  const char *const names[] = {"x", ""};
  ASSERT_TRUE(Succeeded(workspace.Open({2000, 4, 0, 0, 4}, 2, 0)));
  EXPECT_EQ(workspace.Database().sample, (SampleSpec{2000, 4, 2001, 1, 4}));
  EXPECT_EQ(workspace.AddData({cells, 2, 3}, names), Status::Invalid) << "two names for three columns";
  EXPECT_TRUE(Succeeded(workspace.AddData({cells, 3, 2}, names))) << "one row more than observations";
  const char *const third[] = {"z"};
  EXPECT_TRUE(Succeeded(workspace.AddData({cells, 1, 1}, third))) << "one fewer";
  EXPECT_EQ(workspace.FirstAdded(), 3);
  EXPECT_STREQ(workspace.Name(2), "z");
  EXPECT_STREQ(workspace.Name(1), "Var2");
  EXPECT_EQ(workspace.Variable(1)[1], 4);
  EXPECT_EQ(workspace.Variable(2)[0], 1);
  EXPECT_TRUE(IsMissing(workspace.Variable(2)[1]));
}

TEST(Program, IsNotBoundToADatabaseThatItDoesNotFit) {
  Opened compiled("xy", {1, 2});
  ASSERT_TRUE(Succeeded(compiled.workspace.Compile("z = x + y;")));
  const AlgebraProgram &program = *compiled.workspace.Program();
  AlgebraRun run;
  Opened longer("xyz", {1, 2, 3}, 4), fewer("xy", {1, 2});
  for (Opened *other : {&longer, &fewer}) {
    EXPECT_EQ(BindRun(run, program, other->workspace.Database()), Status::Invalid);
    EXPECT_EQ(RunAlgebra(run, 0, 0, 3), Status::RunFailed);
  }
  AlgebraProgram none;
  EXPECT_EQ(BindRun(run, none, compiled.workspace.Database()), Status::Invalid);
}

TEST(Program, AProtectedVariableIsNotDeleted) {
  Opened a("xy", {1, 2});
  a.workspace.Database().variables[0].flags = VarProtected;
  ASSERT_TRUE(Succeeded(a.workspace.Compile("delete(x); y = x + 1;"))) << a.workspace.Message();
  EXPECT_EQ(a.messages.texts, (Texts{"Error: x cannot be deleted"}));
  EXPECT_EQ(a.workspace.FirstAdded(), 2);
  EXPECT_TRUE(a.workspace.Program()->edits.Empty());
}

TEST(Program, AttachedWithoutMemory) {
  Opened compiled("xy", {1, 2});
  ASSERT_TRUE(Succeeded(compiled.workspace.Compile("&0 = 1; z = x + &0; delete(y); v = z;")));
  const auto live = HeapLiveBlocks();
  bool failed = true;
  for (int n = 1; failed; ++n) {
    Opened other("xy", {1, 2});
    HeapFailAt(n);
    const Status status = other.workspace.Attach(*compiled.workspace.Program());
    failed = !HeapFailPending();
    HeapFailAt(0);
    EXPECT_EQ(status, failed ? Status::NoMemory : Status::Ok) << n;
    EXPECT_EQ(other.workspace.Run(0, 2), failed ? Status::RunFailed : Status::Ok) << n;
    EXPECT_TRUE(failed || n > 6) << "columns, names, and what the run owns";
  }
  EXPECT_EQ(HeapLiveBlocks(), live);
}

TEST(Workspaces, AFailedCompilationKeepsTheCallersVariablesApart) {
  Opened a("xyz", {1, 2, 3});
  EXPECT_EQ(a.workspace.Compile("delete(x); v = y; delete(z); w = nothing;"), Status::ParseFailed);
  EXPECT_EQ(a.Names(), (Texts{"y", "v", "w"}));
  EXPECT_EQ(a.workspace.FirstAdded(), 1);
  EXPECT_EQ(a.workspace.AddedCount(), 2);
  ASSERT_TRUE(Succeeded(a.workspace.Compile("v = y + 1;"))) << "another program over what is there";
  EXPECT_TRUE(Succeeded(a.workspace.Run(0, 2)));
  EXPECT_EQ(a.Get("v"), (Series{3, 4, 5}));
}

// ---- The bounds of one statement

std::string Repeat(int count, const std::string &text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// `y = ...;` of as many numbers, of which none shares a constant: 2 count + 1 instructions.
std::string Numbers(int count) { return "y = 6.5" + Repeat(count - 1, " + 6.5") + ";"; }

// A statement that makes as many variables by acf, of which each makes two: 5 instructions for each two variables.
std::string Variables(int count) {
  std::string text = "x = 0";
  for (int i = 0; i < count; i += 2) {
    const std::string number = std::to_string(i), next = i + 1 < count ? "b" + number : "x";
    text += " + acf(x, a" + number + ", " + next + ")";
  }
  return text + ";";
}

// The code has 200 places at first, and 200 more after a statement that leaves at most 100; constants 400, and 400 more
// after one that leaves fewer than 50 (10 are taken at the start); symbols 150 besides the variables, of which 85 are
// functions, and 20 more after one that leaves at most 10.
TEST(Compiler, OneStatementHasBounds) {
  const auto ones = [](int terms) { return "y = 1" + Repeat(terms - 1, " + 1") + ";"; };  // 2 terms + 1 instructions
  std::string added;
  for (int i = 0; i < 54; ++i) added += "v" + std::to_string(i) + " = 1; ";
  const struct {
    std::string fits, tooLong, message;
  } table[] = {
      {ones(49) + ones(50), ones(49) + ones(51), "Code buffer full"},                  // 99 are used, 101 are left
      {ones(48) + "x;" + ones(149), ones(48) + "x;" + ones(150), "Code buffer full"},  // 100 used, 300 left
      {Repeat(340, Numbers(1)) + Numbers(50), Repeat(340, Numbers(1)) + Numbers(51), "Constant buffer full"},
      {Repeat(341, Numbers(1)) + Numbers(51), "", ""},
      {Variables(65), Variables(66), "Symbol table full"},
      {added + Variables(11), added + Variables(12), "Symbol table full"},                        // 11 left
      {added + "w = 1;" + Variables(30), added + "w = 1;" + Variables(31), "Symbol table full"},  // 10 left, and 20
      {"y = " + Repeat(500, "(") + "x" + Repeat(500, ")") + ";", "y = " + Repeat(501, "(") + "x;", "Out of memory"},
      {"&499 = 1;", "&500 = 1;", "Parameter buffer full"},
  };
  for (const auto &[fits, tooLong, message] : table) {
    Opened good("xy", {1, 2}), bad("xy", {1, 2});
    EXPECT_TRUE(Succeeded(good.workspace.Compile(fits.c_str()))) << good.workspace.Message() << fits;
    if (tooLong.empty()) continue;
    EXPECT_EQ(bad.workspace.Compile(tooLong.c_str()), Status::ParseFailed) << tooLong;
    EXPECT_EQ(bad.workspace.Message(), "Parse error:  " + message + " on line 1");
  }
}

TEST(Compiler, NumbersShareTheFirstConstants) {
  Opened a("x", {1}, 20, 12);
  // 12 is the frequency; pi and the count of observations are not shared, nor any number of the text's own.
  ASSERT_TRUE(Succeeded(a.workspace.Compile("y = 0 + 5.0 + 12 + 3.141592653589793 + 20 + 7 + 7;")));
  EXPECT_EQ(a.workspace.Program()->constants.Size(), 10 + 4);
  // A whole number past the integers opens no date.
  ASSERT_TRUE(Succeeded(a.workspace.Compile("y = 3000000000-1-1; z = 2000-1-1;")));
  EXPECT_TRUE(Succeeded(a.workspace.Run(0, 0)));
  EXPECT_EQ(a.Get("y")[0], 2999999998.0);
  EXPECT_EQ(a.Get("z")[0], 2451545) << "1 January 2000";
}

TEST(Machine, WritesStayInsideTheRun) {
  Opened a("xy", {1, 50}, 6);
  ASSERT_TRUE(Succeeded(a.workspace.Compile("y[-1] = x; y[2] = -x; y[0(0)] = 9; y[2002(2)] = 8;")));
  EXPECT_TRUE(Succeeded(a.workspace.Run(2, 4)));
  // Observations 2 to 4 alone are written: 2 and 3 by y[-1], 4 by y[2] and then by 2002(2).
  EXPECT_EQ(a.Get("y"), (Series{50, 51, 4, 5, 8, 55}));
  // A number that is no observation reads as missing, from a lag, an index or a call.
  ASSERT_TRUE(Succeeded(a.workspace.Compile("x[MISSING] = 7; y = x[MISSING]; x = lag(x, MISSING);")));
  EXPECT_TRUE(Succeeded(a.workspace.Run(0, 0)));
  EXPECT_TRUE(IsMissing(a.Get("y")[0]) && IsMissing(a.Get("x")[0]));
}

// ---- Statements whose observations depend on one another

// Twenty observations are enough to run in blocks.
TEST(Plan, ResultsOfEarlierObservationsAreSeen) {
  // A function of the column that is stored: y[t] = 1 + y[0] + ... + y[t - 1] = 2^t.
  Opened sums("xy", {0, 0}, 20);
  for (double *column : sums.workspace.Database().allColumns) std::fill_n(column, 20, 0.0);
  ASSERT_TRUE(Succeeded(sums.workspace.Compile("y = cum(y) + 1;")));
  EXPECT_TRUE(Succeeded(sums.workspace.Run(0, 19)));
  for (int t = 0; t < 20; ++t) EXPECT_EQ(sums.Get("y")[static_cast<std::size_t>(t)], std::exp2(t));

  // The first date becomes missing, and with it all dates: date() is then the observation.
  Opened dated("dx", {2451545, 1}, 20);
  dated.workspace.MarkDates();
  ASSERT_TRUE(Succeeded(dated.workspace.Compile("d = date() + 0*x[-1];")));
  EXPECT_TRUE(Succeeded(dated.workspace.Run(0, 19)));
  EXPECT_TRUE(IsMissing(dated.Get("d")[0]));
  for (int t = 1; t < 20; ++t) EXPECT_EQ(dated.Get("d")[static_cast<std::size_t>(t)], t);

  // A lag of the column that is stored, by a number and by a value.
  for (const char *code : {"y = y[-1] + x;", "y = y[-x/x] + x;"}) {
    Opened lagged("yx", {0, 0}, 20);
    ASSERT_TRUE(Succeeded(lagged.workspace.Compile(code)));
    EXPECT_TRUE(Succeeded(lagged.workspace.Run(1, 19)));
    for (int t = 1; t < 20; ++t) EXPECT_EQ(lagged.Get("y")[static_cast<std::size_t>(t)], t * (t + 1) / 2) << code;
  }
}

// ---- Code that no text compiles to: a statement holds too few instructions to fill the stack

// Runs the instructions as one statement over x and y, three observations of 1, 2, 3; the error word.
std::uint32_t RunCode(const std::vector<Instruction> &instructions, AlgebraDatabase &database) {
  AlgebraProgram program;
  EXPECT_TRUE(program.code.Append({OpStatement, 0}));
  for (const Instruction &instruction : instructions) EXPECT_TRUE(program.code.Append(instruction));
  EXPECT_TRUE(program.code.Append({OpStatement, -1}) && program.code.Append({OpEnd, 0}));
  EXPECT_TRUE(program.constants.Append(2.5) && program.symbols.Add("x", SymbolVariable, 0));
  EXPECT_TRUE(program.symbols.Add("y", SymbolVariable, 1));
  program.layout.obsCount = SampleObsCount(database.sample);
  EXPECT_TRUE(Succeeded(BuildPlan(program, -1)));
  AlgebraRun run;
  EXPECT_TRUE(Succeeded(BindRun(run, program, database)));
  const Status status = RunAlgebra(run, 0, 2, 3);
  EXPECT_EQ(Succeeded(status), run.errors == 0);
  return run.errors;
}

std::vector<Instruction> Pushes(int count, std::initializer_list<Instruction> then) {
  std::vector<Instruction> code(static_cast<std::size_t>(count), Instruction{OpConstant, 0});
  code.insert(code.end(), then);
  return code;
}

TEST(Machine, TheStackHasBounds) {
  const int abs = FindFunction("abs"), max = FindFunction("max");
  const Instruction add = {OpOperator, TokPlus};
  AlgebraDatabase database = DbCreate(2);
  ASSERT_TRUE(Succeeded(DbSetSample(database, {1, 1, 3, 1, 1})));
  ASSERT_EQ(DbAddVariables(database, 2), 0);
  const auto sum = [&](int pushes, int calls) {
    std::vector<Instruction> code = Pushes(pushes, {});
    code.insert(code.end(), static_cast<std::size_t>(calls), {OpCall, abs});
    code.insert(code.end(), static_cast<std::size_t>(pushes - 1), add);
    code.push_back({OpStore, 1});
    return RunCode(code, database);
  };
  EXPECT_EQ(sum(499, 1), 0U);
  EXPECT_EQ(database.columns[1][2], 499 * 2.5);
  EXPECT_EQ(sum(500, 1), ErrStackFull) << "500 cells after a call";
  EXPECT_EQ(sum(510, 0), 0U) << "plain pushes may take the slack of 10";
  EXPECT_EQ(database.columns[1][0], 510 * 2.5);
  EXPECT_EQ(sum(511, 0), ErrStackFull);
  EXPECT_EQ(RunCode(Pushes(500, {{OpCall, max}, {OpStore, 1}}), database), 0U) << "499 after a call of two arguments";
}

TEST(Machine, CodeThatLeavesTheStackFails) {
  const Instruction push = {OpConstant, 0}, store = {OpStore, 1}, drop = {OpAdjust, -1};
  const std::vector<Instruction> failing[] = {{store},
                                              {push, {OpOperator, TokPlus}, store},
                                              {{OpOperator, kNegate}, store},
                                              {push, {OpCall, FindFunction("max")}, store},
                                              {{OpLoadOffset, 0}, store},
                                              {push, {OpLoadDated, 0}, store},
                                              {push, {OpStoreOffset, 1}},
                                              {push, push, {OpStoreDated, 1}},
                                              {drop},
                                              {push, {OpAdjust, -2}},
                                              {push, push, {OpOperator, '%'}, store},
                                              {push, {99, 0}, store},
                                              {push},                                  // nothing takes the value
                                              {push, {OpJump, 1}, push, store},        // back
                                              {push, {OpJump, 2}, push, store},        // to itself
                                              {push, {OpJumpIfZero, 9}, push, store},  // out of the statement
                                              {{OpJumpIfZero, 2}, push, store}};
  AlgebraDatabase database = DbCreate(2);
  ASSERT_TRUE(Succeeded(DbSetSample(database, {1, 1, 3, 1, 1})));
  ASSERT_EQ(DbAddVariables(database, 2), 0);
  for (const std::vector<Instruction> &code : failing)
    EXPECT_EQ(RunCode(code, database), ErrStack) << static_cast<char>(code[0].opcode) << code.size();
}

}  // namespace
}  // namespace tessel
