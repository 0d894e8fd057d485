// Argument lists, calls and libraries.
#include <morv/host.h>
#include <morv/host.hpp>

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>
#include <utility>

#include "memory.h"

namespace morv {

namespace {

// More positions than any function reads, so that a call with too few arguments stays inside the list.
constexpr std::size_t kPositions = 32;

// What `rtn` holds on entry: a function that stores no result leaves it so.
constexpr int kUntouched = std::numeric_limits<int>::min();

MorvValue ScalarRecord(int tag) {
  MorvValue record{};
  record.type = tag;
  return record;
}

// What stood in an argument's place.
std::string Describe(int tag, MorvShape shape) {
  switch (tag) {
    case 0: return "it is absent";
    case MORV_INTEGER: return "it is an integer";
    case MORV_DOUBLE: return "it is a number";
    case MORV_MATRIX:
      return "it is a " + std::to_string(shape.rows) + " x " + std::to_string(shape.columns) + " matrix";
    case MORV_STRING: return "it is a string";
    default: return "it is an array or output";
  }
}

std::string Message(const std::string &function, const CallError &error) {
  if (error.outOfMemory) return function + ": out of memory";
  std::string text = function;
  if (error.argument > 0) text += ": argument " + std::to_string(error.argument);
  if (error.expected == nullptr) return text + " is invalid";
  text += error.argument > 0 ? " must be " : ": expected ";
  text += error.expected;
  if (error.rows >= 0) text += " of " + std::to_string(error.rows) + " x " + std::to_string(error.columns);
  if (error.argument > 0) text += ", " + Describe(error.tag, error.shape);
  return text;
}

// The file of that name in the folder that this runtime was loaded from; empty when there is none.
std::string BesideRuntime(const std::string &name) {
  static const char here = 0;
  Dl_info info;
  if (name.find('/') != std::string::npos || dladdr(&here, &info) == 0) return {};
  const std::string own = info.dli_fname;
  const std::size_t slash = own.rfind('/');
  if (slash == std::string::npos) return {};
  std::string path = own.substr(0, slash + 1) + name;
  return access(path.c_str(), F_OK) == 0 ? path : std::string();
}

// The elements of an array that a call borrows, as records of the call's own: whatever a function puts in their place
// is released here and the array itself stays as it was. One spare record, so that an empty array that is passed for an
// output has a target as well.
struct BorrowedElements {
  ~BorrowedElements() {
    for (MorvValue &record : records) MorvFreeByValue(&record);
  }

  MorvValue *Copy(const MorvValue &array) {
    const auto *elements = static_cast<const MorvValue *>(array.data);
    records.assign(elements, elements + ElementCount(array));
    records.push_back(ScalarRecord(MORV_INTEGER));
    for (MorvValue &record : records) record.opaque[1] = kBorrowed;
    return records.data();
  }

  std::vector<MorvValue> records;
};

}  // namespace

Arguments &Arguments::Integer(int value) {
  MorvValue record = ScalarRecord(MORV_INTEGER);
  record.value.integer = value;
  entries_.push_back({record});
  return *this;
}

Arguments &Arguments::Double(double value) {
  MorvValue record = ScalarRecord(MORV_DOUBLE);
  record.value.number = value;
  entries_.push_back({record});
  return *this;
}

Arguments &Arguments::Text(std::string_view text) { return Borrow(owned_.emplace_back(Value::String(text))); }

Arguments &Arguments::Strings(std::span<const std::string> texts) {
  return Borrow(owned_.emplace_back(Value::Strings(texts)));
}

Arguments &Arguments::Matrix(const double *rowMajor, int rows, int columns) {
  // The row table is writable by type; functions read their inputs only.
  auto *cells = const_cast<double *>(rowMajor);
  std::vector<double *> &table = rowTables_.emplace_back(static_cast<std::size_t>(rows) + 1, nullptr);
  for (int i = 0; i < rows; ++i) table[static_cast<std::size_t>(i)] = cells + static_cast<std::ptrdiff_t>(i) * columns;
  MorvValue record = ScalarRecord(MORV_MATRIX);
  record.value.shape = {rows, columns};
  record.data = table.data();
  entries_.push_back({record});
  return *this;
}

Arguments &Arguments::Column(std::span<const double> cells) {
  return Matrix(cells.data(), static_cast<int>(cells.size()), cells.empty() ? 0 : 1);
}

Arguments &Arguments::Borrow(const Value &value) {
  entries_.push_back({value.Record()});
  return *this;
}

Arguments &Arguments::Output(Value &target) {
  entries_.push_back({ScalarRecord(MORV_ARRAY), &target});
  return *this;
}

Arguments &Arguments::Decline() { return Integer(0); }

// The call proper. Inputs are marked as borrowed, the elements of arrays too, so nothing that the function does
// releases or changes them, and outputs go to fresh records that are moved to their targets when the call has ended.
struct CallAccess {
  // A C program's argument. An array that owns nothing is what MorvOutputValue makes: it stands for its one element.
  static void Add(Arguments &args, const MorvValue &record) {
    const bool isOutput = TagOf(record) == MORV_ARRAY && record.opaque[1] == kBorrowed;
    args.entries_.push_back({record, isOutput ? static_cast<Value *>(record.data) : nullptr});
  }

  static Outcome Run(std::string_view name, MorvFunction function, Arguments &args) {
    const std::size_t count = args.entries_.size();
    std::vector<MorvValue> records(std::max(count, kPositions));
    std::vector<Value> fresh(count);
    std::vector<BorrowedElements> elements(count);
    for (std::size_t i = 0; i < count; ++i) {
      const Arguments::Entry &entry = args.entries_[i];
      records[i] = entry.record;
      if (entry.target != nullptr) {
        fresh[i].Record().value.integer = kUntouched;
        records[i].data = &fresh[i].Record();
        records[i].opaque[0] = 1;
      } else if (TagOf(records[i]) == MORV_ARRAY) {
        records[i].data = elements[i].Copy(records[i]);
      }
      records[i].opaque[1] = kBorrowed;
    }

    Outcome outcome;
    outcome.function = name;
    outcome.result.Record().value.integer = kUntouched;
    try {
      function(&outcome.result.Record(), records.data(), static_cast<int>(count));
    } catch (const CallError &error) {
      outcome.status = error.outOfMemory ? Outcome::Status::OutOfMemory : Outcome::Status::Refused;
      outcome.argument = error.argument;
      outcome.message = Message(outcome.function, error);
      outcome.result = Value();
      return outcome;
    }
    bool outOfMemory = WithoutCells(outcome.result);
    for (std::size_t i = 0; i < count; ++i) {
      Value *target = args.entries_[i].target;
      if (target == nullptr || Untouched(fresh[i])) continue;
      outOfMemory = outOfMemory || WithoutCells(fresh[i]);
      *target = std::move(fresh[i]);
    }
    if (outOfMemory) {
      outcome.status = Outcome::Status::OutOfMemory;
      outcome.message = outcome.function + ": out of memory";
    } else if (Untouched(outcome.result)) {
      outcome.message = outcome.function + ": no result was stored";
    } else {
      outcome.status = Outcome::Status::Returned;
    }
    return outcome;
  }

  // A matrix for which there was no memory.
  static bool WithoutCells(const Value &value) { return value.Tag() == MORV_MATRIX && value.Record().data == nullptr; }

  static bool Untouched(const Value &value) {
    return value.Tag() == MORV_INTEGER && value.Record().value.integer == kUntouched;
  }
};

Outcome Call(std::string_view name, MorvFunction function, Arguments &args) {
  return CallAccess::Run(name, function, args);
}

Library::~Library() {
  if (handle_ != nullptr) dlclose(handle_);
}

std::string Library::Open(const std::string &path) {
  const std::string beside = BesideRuntime(path);
  void *handle = dlopen(beside.empty() ? path.c_str() : beside.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return dlerror();
  if (handle_ != nullptr) dlclose(handle_);
  handle_ = handle;
  return {};
}

MorvFunction Library::Find(const std::string &name) const {
  if (handle_ == nullptr) return nullptr;
  return reinterpret_cast<MorvFunction>(dlsym(handle_, name.c_str()));
}

Outcome Library::Call(const std::string &name, Arguments &args) const {
  if (const MorvFunction function = Find(name); function != nullptr) return morv::Call(name, function, args);
  Outcome outcome;
  outcome.status = Outcome::Status::NotFound;
  outcome.function = name;
  outcome.message = name + ": the library has no such function";
  return outcome;
}

}  // namespace morv

int MorvCall(const char *name, MorvFunction function, MorvValue *result, const MorvValue *args, int count,
             char *message, size_t size) {
  morv::Outcome outcome;
  try {
    morv::Arguments list;
    for (int i = 0; i < count; ++i) morv::CallAccess::Add(list, args[i]);
    outcome = morv::Call(name, function, list);
    if (size > 0) std::snprintf(message, size, "%s", outcome.message.c_str());
  } catch (const std::bad_alloc &) {
    outcome.status = morv::Outcome::Status::OutOfMemory;
    if (size > 0) std::snprintf(message, size, "%s: out of memory", name);
  }
  MorvFreeByValue(result);
  *result = std::exchange(outcome.result.Record(), MorvIntegerValue(0));
  return static_cast<int>(outcome.status);
}
