// The runtime and its host side, with functions that behave as a library's do, and as they must not.
#include <gtest/gtest.h>
#include <morv/host.h>
#include <morv/host.hpp>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using morv::Arguments;
using morv::Outcome;
using morv::Value;

Outcome Call(MorvFunction function, Arguments &args) { return morv::Call("FnTest", function, args); }

TEST(Value, HoldsCopiesAndMovesEveryType) {
  const long blocks = morv::LiveBlocks();
  {
    Value list = Value::Array(4);
    list[0] = Value::Matrix(2, 2, std::vector<double>{1, 2, 3, 4});
    list[1] = Value::String("text");
    list[2] = Value::Double(0.5);
    list[3] = Value::Strings(std::vector<std::string>{"a", "b"});
    Value copy = list.Clone();
    list[0].AsMatrix()(1, 0) = 30;
    EXPECT_EQ(copy[0].Numbers(), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(copy[1].AsText(), "text");
    EXPECT_EQ(copy[2].AsDouble(), 0.5);
    EXPECT_EQ(copy[3][1].AsText(), "b");
    const Value moved = std::move(copy);
    EXPECT_EQ(moved.Size(), 4U);
    EXPECT_EQ(copy.AsInteger(), 0)
        << "a value that was moved from is the integer 0";  // NOLINT(bugprone-use-after-move)
    list[3] = std::move(list[3]);
    EXPECT_EQ(list[3][1].AsText(), "b") << "a value that is moved to itself";
    EXPECT_EQ(Value::Array(1)[0].AsInteger(), 0);
    EXPECT_EQ(Value::Array(-1).Size(), 0U);
    list = Value::Matrix(0, 3);
    EXPECT_EQ(list.AsMatrix().columns, 3);
    EXPECT_TRUE(list.Numbers().empty());
    EXPECT_THROW((void)list.AsInteger(), morv::TypeError);
    EXPECT_THROW((void)moved[4], morv::TypeError);
    EXPECT_THROW((void)Value::Matrix(2, 2, std::vector<double>{1}), morv::TypeError);
    EXPECT_THROW((void)Value::Matrix(std::numeric_limits<int>::max(), std::numeric_limits<int>::max()), std::bad_alloc);
  }
  EXPECT_EQ(morv::LiveBlocks(), blocks);
}

// rtn: the second argument's whole number as a double plus the first, read as a double.
void AddNumbers(MorvValue *rtn, MorvValue *args, int) {
  MorvLibCheckType(MORV_DOUBLE, args, 0, 0);
  MorvLibCheckType(MORV_INTEGER, args, 1, 1);
  rtn->type = MORV_DOUBLE;
  rtn->value.number = args[0].value.number + args[1].value.integer;
}

TEST(Call, NumbersConvertWhereNothingIsLost) {
  Arguments args;
  args.Integer(1).Double(2.0);
  for (int repeat = 0; repeat < 2; ++repeat) EXPECT_EQ(Call(AddNumbers, args).result.AsDouble(), 3.0);
  for (double whole : {2147483647.0, -2147483648.0}) {
    Arguments ends;
    ends.Integer(0).Double(whole);
    EXPECT_EQ(Call(AddNumbers, ends).result.AsDouble(), whole);
  }
  for (double fraction : {2.5, 2147483648.0, -2147483649.0, std::nan("")}) {
    Arguments refused;
    refused.Integer(1).Double(fraction);
    EXPECT_EQ(Call(AddNumbers, refused).message, "FnTest: argument 2 must be an integer, it is a number");
  }
}

TEST(Call, RefusalsNameTheArgumentAndWhatItIs) {
  const double cells[] = {1, 2};
  const struct {
    MorvFunction function;
    int argument;
    const char *message;
  } cases[] = {
      {[](MorvValue *, MorvValue *a, int) { MorvLibCheckType(MORV_STRING, a, 0, 0); }, 1,
       "FnTest: argument 1 must be a string, it is a 1 x 2 matrix"},
      {[](MorvValue *, MorvValue *a, int) { MorvLibCheckMatrixSize(a, 0, 0, 2, 2); }, 1,
       "FnTest: argument 1 must be a matrix of 2 x 2, it is a 1 x 2 matrix"},
      {[](MorvValue *, MorvValue *a, int) { MorvLibCheckMatrixSize(a, 0, 0, 1, 1); }, 1,
       "FnTest: argument 1 must be a matrix of 1 x 1, it is a 1 x 2 matrix"},
      {[](MorvValue *, MorvValue *a, int) { MorvLibCheckType(MORV_MATRIX, a, 0, 1); }, 2,
       "FnTest: argument 2 must be a matrix, it is a string"},
      {[](MorvValue *, MorvValue *a, int) { MorvLibCheckType(MORV_ARRAY, a, 2, 31); }, 3,
       "FnTest: argument 3 must be an array or output, it is absent"},
      {[](MorvValue *, MorvValue *, int) { MorvLibArgError(2); }, 2, "FnTest: argument 2 is invalid"},
      {[](MorvValue *, MorvValue *a, int) { MorvValGetString(a); }, 0, "FnTest: expected a string"},
      {[](MorvValue *, MorvValue *a, int) { MorvValGetArrayVal(a + 1, 0); }, 0,
       "FnTest: expected an array with an element for every use"},
      {[](MorvValue *rtn, MorvValue *, int) {
         MorvLibValArrayCalloc(rtn, 2);
         MorvValGetArrayVal(rtn, 2);
       },
       0, "FnTest: expected an array with an element for every use"},
      {[](MorvValue *rtn, MorvValue *, int) {
         MorvLibValArrayCalloc(rtn, 2);
         MorvValGetArrayVal(rtn, -1);
       },
       0, "FnTest: expected an array with an element for every use"},
  };
  for (const auto &c : cases) {
    Arguments args;
    args.Matrix(cells, 1, 2).Text("text");
    const Outcome outcome = Call(c.function, args);
    EXPECT_EQ(outcome.status, Outcome::Status::Refused);
    EXPECT_EQ(outcome.result.Tag(), MORV_INTEGER) << "what was stored before is gone";
    EXPECT_EQ(outcome.argument, c.argument);
    EXPECT_EQ(outcome.message, c.message);
    EXPECT_TRUE(outcome.Failed());
  }
}

// Doubles the matrix at 0 into the output at 1, releases and replaces its own view of the inputs, stores no result.
void DoubleInto(MorvValue *, MorvValue *args, int) {
  const MorvShape shape = args[0].value.shape;
  auto **source = static_cast<double **>(args[0].data);
  auto *target = static_cast<MorvValue *>(args[1].data);
  MorvLibValMatMalloc(target, shape.rows, shape.columns);
  if (target->data == nullptr) return;
  for (int i = 0; i < shape.rows * shape.columns; ++i) static_cast<double **>(target->data)[0][i] = 2 * source[0][i];
  MorvFreeByValue(args);
  MorvValSetInt(args, 7);
}

TEST(Call, OutputsMayBeInputsAndInputsStayTheCallers) {
  Value matrix = Value::Matrix(1, 2, std::vector<double>{1, 2});
  Arguments args;
  args.Borrow(matrix).Output(matrix);
  const Outcome outcome = Call(DoubleInto, args);
  EXPECT_TRUE(outcome.Untouched());
  EXPECT_FALSE(outcome.Failed());
  EXPECT_EQ(matrix.Numbers(), (std::vector<double>{2, 4}));

  Arguments empty;
  empty.Column({});
  EXPECT_FALSE(Call([](MorvValue *, MorvValue *a, int) { MorvLibCheckMatrixSize(a, 0, 0, 0, 0); }, empty).Failed());

  Value kept = Value::String("kept");
  Arguments none;
  none.Column({}).Output(kept).Decline();
  Call([](MorvValue *, MorvValue *, int count) { EXPECT_EQ(count, 3); }, none);
  EXPECT_EQ(kept.AsText(), "kept") << "an output that is not written keeps what it held";
}

// A record may become what it holds.
TEST(Record, TakesACopyOfItsOwnContent) {
  MorvValue record = MorvIntegerValue(0);
  MorvLibValMatMalloc(&record, 2, 1);
  auto **rows = static_cast<double **>(record.data);
  rows[0][0] = 1;
  rows[1][0] = 2;
  MorvLibValMatDup(&record, rows + 1, 1, 1);
  EXPECT_EQ(static_cast<double **>(record.data)[0][0], 2);
  MorvValSetString(&record, "text");
  MorvValSetString(&record, MorvValGetString(&record) + 2);
  EXPECT_STREQ(MorvValGetString(&record), "xt");
  for (const auto &[r, c] : {std::pair{-1, 0}, {0, -1}, {1518500250, 1518500250}}) {  // 8 r c is just above 2^64
    MorvLibValMatMalloc(&record, r, c);
    EXPECT_EQ(record.data, nullptr);
    EXPECT_EQ(record.value.shape.rows, 0);
  }
  MorvFreeByValue(&record);
}

// Takes memory in every way that the runtime offers.
void TakeMemory(MorvValue *rtn, MorvValue *args, int) {
  auto *matrix = static_cast<MorvValue *>(args[0].data);
  auto *array = static_cast<MorvValue *>(args[1].data);
  MorvLibValMatDup(matrix, static_cast<double **>(args[2].data), 1, 2);
  MorvLibValArrayCalloc(array, 2);
  for (int i = 0; i < 2; ++i) MorvValSetString(MorvValGetArrayVal(array, i), "text");
  MorvLibValMatMalloc(rtn, 3, 3);
}

TEST(Call, ExhaustedMemoryIsReportedAndLeaksNothing) {
  const double cells[] = {1, 2};
  const long blocks = morv::LiveBlocks();
  int failures = 0;
  for (long n = 1;; ++n) {
    {
      Value matrix, array;
      Arguments args;
      args.Output(matrix).Output(array).Matrix(cells, 1, 2);
      morv::FailAllocationAt(n);
      const Outcome outcome = Call(TakeMemory, args);
      const bool reached = !morv::FailAllocationPending();
      morv::FailAllocationAt(0);
      if (!reached) {
        EXPECT_TRUE(outcome.Returned());
        EXPECT_EQ(array[1].AsText(), "text");
        break;
      }
      // A matrix that cannot be had does not end the call, but the caller learns of it in the same way.
      EXPECT_EQ(outcome.status, Outcome::Status::OutOfMemory) << n;
      EXPECT_EQ(outcome.message, "FnTest: out of memory") << n;
      ++failures;
    }
    EXPECT_EQ(morv::LiveBlocks(), blocks) << n;
  }
  EXPECT_EQ(failures, 5);
  EXPECT_EQ(morv::LiveBlocks(), blocks);
}

// The same through the C interface: outputs that are inputs, absent arguments, no memory, and a short buffer.
TEST(Call, OfCProgramsHasTheSameEnds) {
  const long blocks = morv::LiveBlocks();
  MorvValue result = MorvIntegerValue(0), matrix = result, array = result;
  char message[40];
  const auto run = [&](MorvFunction function, const std::vector<MorvValue> &args) {
    return MorvCall("FnTest", function, &result, args.data(), static_cast<int>(args.size()), message, sizeof message);
  };
  double cells[] = {1, 2}, *rows[] = {cells};
  const std::vector<MorvValue> taken = {MorvOutputValue(&matrix), MorvOutputValue(&array), MorvMatrixValue(rows, 1, 2)};
  EXPECT_EQ(run(TakeMemory, taken), MORV_RETURNED);
  EXPECT_STREQ(message, "");
  EXPECT_EQ(result.value.shape.rows, 3);
  EXPECT_STREQ(MorvValGetString(MorvValGetArrayVal(&array, 1)), "text");
  const MorvValue before = array;
  morv::FailAllocationAt(3);
  EXPECT_EQ(run(TakeMemory, taken), MORV_OUT_OF_MEMORY);
  morv::FailAllocationAt(0);
  EXPECT_STREQ(message, "FnTest: out of memory");
  EXPECT_EQ(array.data, before.data) << "the target keeps what it held";

  EXPECT_EQ(run(AddNumbers, {MorvDoubleValue(1), MorvIntegerValue(2)}), MORV_RETURNED);
  EXPECT_EQ(result.value.number, 3.0);
  EXPECT_EQ(run(AddNumbers, {MorvDoubleValue(1)}), MORV_REFUSED);
  EXPECT_STREQ(message, "FnTest: argument 2 must be an integer, ") << "cut to the buffer";
  EXPECT_EQ(run([](MorvValue *, MorvValue *, int) {}, {}), MORV_UNTOUCHED);
  // An array that owns its elements is an input and keeps them.
  const auto readAndReplace = [](MorvValue *rtn, MorvValue *args, int) {
    MorvValSetString(rtn, MorvValGetString(MorvValGetArrayVal(args, 1)));
    MorvValSetInt(MorvValGetArrayVal(args, 1), 7);
  };
  EXPECT_EQ(run(readAndReplace, {array}), MORV_RETURNED);
  EXPECT_STREQ(MorvValGetString(&result), "text");
  EXPECT_STREQ(MorvValGetString(MorvValGetArrayVal(&array, 1)), "text");
  for (MorvValue *record : {&result, &matrix, &array}) MorvFreeByValue(record);
  EXPECT_EQ(morv::LiveBlocks(), blocks);
}

TEST(Library, MissingFilesAndFunctionsAreNamed) {
  morv::Library library;
  EXPECT_NE(library.Open("no-such-library.so").find("no-such-library.so"), std::string::npos);
  EXPECT_EQ(library.Find("malloc"), nullptr) << "nothing is open";
  EXPECT_EQ(library.Open("libm.so.6"), "") << "a bare name that the loader finds";
  Arguments args;
  EXPECT_EQ(library.Open("libtessel13_morv_64.so"), "") << "a bare name is found beside the runtime";
  EXPECT_EQ(library.Call("FnNone", args).message, "FnNone: the library has no such function");
}

}  // namespace
