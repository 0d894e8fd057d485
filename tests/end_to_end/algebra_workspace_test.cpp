// The workspace's exports: parameters, ranges, names, selections, and what each gives for arguments that it cannot use.
#include "workspace.h"

namespace {

TEST(AlgebraWorkspace, ParametersInAscendingOrderOfNumber) {
  Algebra algebra({"x"}, {{1, 2, 3}}, "&7 = -0.5; &2 = 4; y = &2 + &7*x; &2 = 1.5;", true);
  ASSERT_EQ(algebra.error, "");
  ExpectSeries({algebra.starts.AsMatrix()(0, 0), algebra.starts.AsMatrix()(1, 0)}, {1.5, -0.5}, "starts");
  ExpectSeries({algebra.numbers.AsMatrix()(0, 0), algebra.numbers.AsMatrix()(1, 0)}, {2, 7}, "numbers");
  ASSERT_TRUE(algebra.Run({10, 2}));
  ExpectSeries(algebra.Get("y"), {12, 14, 16}, "y");
  ASSERT_TRUE(algebra.Run({0, 1}, 1, 1)) << "other values, another range, the same code";
  ExpectSeries(algebra.Get("y"), {12, 2, 16}, "y");
  EXPECT_FALSE(algebra.Run({1}));
  EXPECT_EQ(algebra.message, "Algebra run error");
  Algebra unused({"x"}, {{1}}, "&2 = 1; y = x;", true);
  EXPECT_EQ(unused.numbers.AsMatrix()(0, 0), 2) << "a starting value alone makes a parameter";
}

TEST(AlgebraWorkspace, RangesOutsideTheSampleAreRefused) {
  Algebra algebra({"x"}, {{1, 2, 3}}, "y = x;");
  for (const auto &[first, last] : {std::pair{-1, 1}, {0, 3}, {3, 3}, {0, -1}, {0, 2147483647}}) {
    EXPECT_FALSE(algebra.Run({}, first, last));
    EXPECT_EQ(algebra.message, "Algebra run error");
  }
  ExpectSeries(algebra.Get("y"), {NA, NA, NA}, "nothing ran");
  ExpectSeries(algebra.Get("x", 1, 99), {2, 3}, "the end is lowered");
  EXPECT_TRUE(algebra.Get("x", -1, 1).empty());
  EXPECT_TRUE(algebra.Get("none").empty());
  EXPECT_TRUE(algebra.Get("x", 3, 3).empty());
}

TEST(AlgebraWorkspace, Selections) {
  Algebra algebra({"x"}, {{1, 2, 3, 4}}, ";");
  const double flags[] = {1, 0.5, 0, -1};
  const struct {
    int rows, columns;
    std::vector<double> expected;
  } cases[] = {{1, 4, {4}}, {4, 1, {4}}, {2, 2, {2, 3, 4}}, {1, 3, {2, 3, 4}}};
  for (const auto &c : cases) {
    morv::Arguments args;
    args.Text("x").Integer(1).Integer(3).Matrix(flags, c.rows, c.columns);
    const morv::Outcome outcome = TesselLibrary().Call("FnGetAlgebraVar", args);
    ASSERT_TRUE(outcome.Returned());
    const auto cells = outcome.result.AsMatrix().Flat();
    ExpectSeries({cells.begin(), cells.end()}, c.expected, std::to_string(c.rows) + " x " + std::to_string(c.columns));
  }
}

std::string NameOf(int index) {
  morv::Arguments args;
  args.Integer(index);
  return std::string(TesselLibrary().Call("FnGetAlgebraName", args).result.AsText());
}

TEST(AlgebraWorkspace, NamesAndAddedData) {
  Algebra algebra({"x", "x", ""}, {{1, 2}, {10, 20}, {5, 6}}, "y = x; delete(x); z = y;");
  ASSERT_EQ(algebra.error, "");
  algebra.Run();
  // Code finds the newest variable of a name; delete and reading find the first.
  ExpectSeries(algebra.Get("z"), {10, 20}, "z");
  ExpectSeries(algebra.Get("x"), {10, 20}, "x");
  for (const auto &[index, name] : {std::pair{0, "x"}, {1, "Var3"}, {2, "y"}, {3, "z"}, {4, ""}, {-1, ""}})
    EXPECT_EQ(NameOf(index), name) << index;
  morv::Value data, names;
  morv::Arguments args;
  args.Output(data).Output(names);
  TesselLibrary().Call("FnGetAlgebraAddedData", args);
  ASSERT_EQ(names.Size(), 2U);
  EXPECT_EQ(names[1].AsText(), "z");
  const auto cells = data.AsMatrix().Flat();
  ExpectSeries({cells.begin(), cells.end()}, {10, 10, 20, 20}, "added data");
}

TEST(AlgebraWorkspace, SamplesThatCannotBeHeld) {
  EXPECT_EQ(Algebra({"x"}, {{1, 2}}, ";", false, {1, 1, 0, false}).error, "Algebra initialization error");
  EXPECT_EQ(Algebra({"x"}, {{1, 2}}, ";", false, {2147483647, 1, 1, false}).error, "Algebra initialization error");
  EXPECT_EQ(Algebra({}, {}, "y = NOBS;").error, "") << "no variables";
  Algebra empty({"x"}, {{}}, "y = x;");
  EXPECT_EQ(empty.error, "");
  EXPECT_FALSE(empty.Run({}, 0, 0));
}

TEST(AlgebraWorkspace, ARefusedArgumentLeavesAnOpenWorkspaceAlone) {
  Algebra algebra({"x"}, {{1, 2}}, "y = 2*x;");
  morv::Arguments args;
  args.Matrix(nullptr, 0, 0).Integer(3);
  EXPECT_EQ(TesselLibrary().Call("FnInitAlgebraNls", args).message,
            "FnInitAlgebraNls: argument 2 must be an array or output, it is an integer");
  EXPECT_TRUE(algebra.Run());
  ExpectSeries(algebra.Get("y"), {2, 4}, "y");
}

TEST(AlgebraWorkspace, ArraysThatStandForOutputs) {
  const double cells[] = {1, 2};
  const std::string name[] = {"x"};
  const auto arguments = [&](morv::Arguments &args) {
    args.Matrix(cells, 2, 1).Strings(name).Integer(1).Integer(1).Integer(1).Integer(0).Text("&3 = 4; y = &3*x;");
  };
  // Arrays that a caller lends, empty or twice the same one, are no outputs: they stay as they are.
  const morv::Value empty = morv::Value::Array(0), names = morv::Value::Strings(name);
  for (const morv::Value *array : {&empty, &names}) {
    morv::Arguments args, added;
    arguments(args);
    EXPECT_TRUE(TesselLibrary().Call("FnInitAlgebraNls", args.Borrow(*array).Borrow(*array)).Untouched());
    TesselLibrary().Call("FnGetAlgebraAddedData", added.Borrow(*array).Borrow(*array));
  }
  EXPECT_EQ(empty.Size(), 0U);
  EXPECT_EQ(names[0].AsText(), "x");
  // A caller of the C interface may name one target twice: the second output is what remains.
  const morv::Value code = morv::Value::String("&3 = 4; y = &3*x;");
  morv::Value matrix = morv::Value::Matrix(2, 1), target, result, year = morv::Value::Integer(1);
  MorvValue output{};
  output.type = MORV_ARRAY;
  output.data = &target.Record();
  MorvValue raw[] = {matrix.Record(), names.Record(), year.Record(), year.Record(), year.Record(),
                     year.Record(),   code.Record(),  output,        output};
  TesselLibrary().Find("FnInitAlgebraNls")(&result.Record(), raw, 9);
  EXPECT_EQ(target.AsMatrix()(0, 0), 3);
  morv::Arguments none;
  TesselLibrary().Call("FnExitAlgebraNls", none);
}

}  // namespace
