// The host side of the Morv runtime: values in ordinary C++ types, and calls of a library's functions.
//
//   morv::Library library;
//   if (auto error = library.Open("libtessel13_morv_64.so"); !error.empty()) ...
//   morv::Value result = morv::Value::Integer(0);
//   morv::Arguments args;
//   args.Matrix(cells, rows, columns).Integer(4);
//   morv::Outcome outcome = library.Call("FnDeSeasonalize", args);
//   if (!outcome.Returned()) std::cerr << outcome.message;   // names the function and the argument
//   morv::MatrixView means = outcome.result.AsMatrix();
//
// Any number of threads may work at once, each on values of its own; a library is opened and closed while no other
// thread uses it. What the library itself promises about threads stands in docs/embedding.md.
#pragma once

#include <morv/morv.h>

#include <deque>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

// A value was read as a type that it does not have.
struct TypeError : std::logic_error {
  using std::logic_error::logic_error;
};

// A dense row-major matrix that somebody else owns.
struct MatrixView {
  double *cells = nullptr;
  int rows = 0;
  int columns = 0;

  double &operator()(int row, int column) const { return cells[static_cast<std::ptrdiff_t>(row) * columns + column]; }
  std::span<double> Row(int row) const {
    return {cells + static_cast<std::ptrdiff_t>(row) * columns, static_cast<std::size_t>(columns)};
  }
  std::span<double> Flat() const { return {cells, static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns)}; }
};

// One owned runtime value: an integer, a double, a matrix, a string or an array of values. Movable; Clone copies
// deeply. The makers throw std::bad_alloc when memory fails, the readers TypeError when the value is of another type.
class MORV_API Value {
 public:
  Value() noexcept : Value(0) {}
  Value(Value &&other) noexcept;
  Value &operator=(Value &&other) noexcept;
  ~Value();

  static Value Integer(int value) { return Value(value); }
  static Value Double(double value);
  static Value String(std::string_view text);
  static Value Strings(std::span<const std::string> texts);
  static Value Array(int count);               // integers of value 0
  static Value Matrix(int rows, int columns);  // cells missing, as of MorvLibValMatMalloc
  static Value Matrix(int rows, int columns, std::span<const double> rowMajor);
  Value Clone() const;

  int Tag() const noexcept { return record_.type & MORV_TAG_MASK; }
  int AsInteger() const;
  double AsDouble() const;  // of an integer or a double
  std::string_view AsText() const;
  MatrixView AsMatrix() const;
  std::vector<double> Numbers() const;  // a matrix's cells, row by row
  std::size_t Size() const;             // elements of an array
  const Value &operator[](std::size_t i) const;
  Value &operator[](std::size_t i);

  MorvValue &Record() noexcept { return record_; }
  const MorvValue &Record() const noexcept { return record_; }

 private:
  explicit Value(int value) noexcept;

  MorvValue record_;
};

// An argument list, built from position 0 on. Matrices and values are borrowed without copying and must outlive the
// call.
class MORV_API Arguments {
 public:
  Arguments &Integer(int value);
  Arguments &Double(double value);
  Arguments &Text(std::string_view text);
  Arguments &Strings(std::span<const std::string> texts);
  Arguments &Matrix(const double *rowMajor, int rows, int columns);
  Arguments &Matrix(const MatrixView &view) { return Matrix(view.cells, view.rows, view.columns); }
  Arguments &Column(std::span<const double> cells);  // a vector; 0 x 0 when there are no cells
  Arguments &Borrow(const Value &value);

  // An output argument: after a call that wrote it, `target` holds the result; otherwise it keeps what it held. An
  // output may be a value that is also an input of the same call.
  Arguments &Output(Value &target);

  // An optional output that is not wanted.
  Arguments &Decline();

  int Count() const { return static_cast<int>(entries_.size()); }

 private:
  friend struct CallAccess;
  struct Entry {
    MorvValue record;
    Value *target = nullptr;  // of an output
  };
  std::vector<Entry> entries_;
  std::deque<Value> owned_;                      // texts and arrays made here
  std::deque<std::vector<double *>> rowTables_;  // over borrowed cells
};

// What became of a call.
struct MORV_API Outcome {
  enum class Status {
    Returned,     // `result` holds what the function stored
    Untouched,    // the function ended without storing a result: success for some functions, unusable sizes for others
    Refused,      // an argument was refused; `argument` counts from 1
    OutOfMemory,  // the runtime had no memory for a result or an output
    NotFound      // the library has no such function
  };
  Status status = Status::Untouched;
  std::string function;
  int argument = 0;
  std::string message;  // one line that names the function, and the argument where there is one; empty for Returned
  Value result;

  bool Returned() const { return status == Status::Returned; }
  bool Untouched() const { return status == Status::Untouched; }
  bool Failed() const { return !Returned() && !Untouched(); }
};

// Calls a function. Positions past the end of `args` read as absent: a function that needs one refuses it.
MORV_API Outcome Call(std::string_view name, MorvFunction function, Arguments &args);

// A shared library of functions, open as long as this object lives.
class MORV_API Library {
 public:
  Library() = default;
  Library(const Library &) = delete;
  Library &operator=(const Library &) = delete;
  ~Library();

  // A path, or a name: of a file beside the runtime's own, or else one that the loader looks for. Returns the loader's
  // message, empty on success.
  std::string Open(const std::string &path);
  MorvFunction Find(const std::string &name) const;  // null when absent
  Outcome Call(const std::string &name, Arguments &args) const;

 private:
  void *handle_ = nullptr;
};

// Test switch: the n-th allocation that the runtime makes for this thread from now fails (1 is the next one); 0
// switches it off.
MORV_API void FailAllocationAt(long n);

// Test probe: whether an allocation of this thread switched to fail has not come yet.
MORV_API bool FailAllocationPending();

// Test probe: blocks that the runtime has taken for all threads and not yet released.
MORV_API long LiveBlocks();

}  // namespace morv
