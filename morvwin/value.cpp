// Values of the host side.
#include <morv/host.hpp>

#include <algorithm>
#include <new>
#include <type_traits>
#include <utility>

#include "memory.h"

namespace morv {

// An array's elements are read and written as Values in place.
static_assert(sizeof(Value) == sizeof(MorvValue) && std::is_standard_layout_v<Value>);

namespace {

MorvValue IntegerRecord(int value) {
  MorvValue record{};
  record.type = MORV_INTEGER;
  record.value.integer = value;
  return record;
}

// Runs a function of the runtime's and turns its error into std::bad_alloc.
template <class Body>
void OrBadAlloc(Body body) {
  try {
    body();
  } catch (const CallError &) {
    throw std::bad_alloc();
  }
}

void Expect(bool holds, const char *what) {
  if (!holds) throw TypeError(what);
}

}  // namespace

Value::Value(int value) noexcept : record_(IntegerRecord(value)) {}
Value::Value(Value &&other) noexcept : record_(std::exchange(other.record_, IntegerRecord(0))) {}

Value &Value::operator=(Value &&other) noexcept {
  if (this != &other) {
    MorvFreeByValue(&record_);
    record_ = std::exchange(other.record_, IntegerRecord(0));
  }
  return *this;
}

Value::~Value() { MorvFreeByValue(&record_); }

Value Value::Double(double value) {
  Value result;
  result.record_.type = MORV_DOUBLE;
  result.record_.value.number = value;
  return result;
}

Value Value::String(std::string_view text) {
  Value result;
  const std::string terminated(text);
  OrBadAlloc([&] { MorvValSetString(&result.record_, terminated.c_str()); });
  return result;
}

Value Value::Array(int count) {
  Value result;
  OrBadAlloc([&] { MorvLibValArrayCalloc(&result.record_, count); });
  return result;
}

Value Value::Strings(std::span<const std::string> texts) {
  Value result = Array(static_cast<int>(texts.size()));
  for (std::size_t i = 0; i < texts.size(); ++i) result[i] = String(texts[i]);
  return result;
}

Value Value::Matrix(int rows, int columns) {
  Value result;
  MorvLibValMatMalloc(&result.record_, rows, columns);
  if (result.record_.data == nullptr) throw std::bad_alloc();
  return result;
}

Value Value::Matrix(int rows, int columns, std::span<const double> rowMajor) {
  Value result = Matrix(rows, columns);
  const std::span<double> cells = result.AsMatrix().Flat();
  Expect(cells.size() == rowMajor.size(), "the cells do not fill the matrix");
  std::copy(rowMajor.begin(), rowMajor.end(), cells.begin());
  return result;
}

Value Value::Clone() const {
  switch (Tag()) {
    case MORV_MATRIX: {
      const MatrixView view = AsMatrix();
      return Matrix(view.rows, view.columns, view.Flat());
    }
    case MORV_STRING: return String(AsText());
    case MORV_ARRAY: {
      Value copy = Array(static_cast<int>(Size()));
      for (std::size_t i = 0; i < Size(); ++i) copy[i] = (*this)[i].Clone();
      return copy;
    }
    default: {
      Value copy;
      copy.record_ = record_;
      return copy;
    }
  }
}

int Value::AsInteger() const {
  Expect(Tag() == MORV_INTEGER, "the value is no integer");
  return record_.value.integer;
}

double Value::AsDouble() const {
  if (Tag() == MORV_INTEGER) return record_.value.integer;
  Expect(Tag() == MORV_DOUBLE, "the value is no number");
  return record_.value.number;
}

std::string_view Value::AsText() const {
  Expect(Tag() == MORV_STRING, "the value is no string");
  return static_cast<const char *>(record_.data);
}

MatrixView Value::AsMatrix() const {
  Expect(Tag() == MORV_MATRIX, "the value is no matrix");
  const MorvShape shape = record_.value.shape;
  auto **table = static_cast<double **>(record_.data);
  return {table == nullptr ? nullptr : table[0], shape.rows, shape.columns};
}

std::vector<double> Value::Numbers() const {
  const std::span<double> cells = AsMatrix().Flat();
  return {cells.begin(), cells.end()};
}

std::size_t Value::Size() const {
  Expect(Tag() == MORV_ARRAY, "the value is no array");
  return ElementCount(record_);
}

const Value &Value::operator[](std::size_t i) const {
  Expect(i < Size(), "the array has no such element");
  return *reinterpret_cast<const Value *>(static_cast<const MorvValue *>(record_.data) + i);
}

Value &Value::operator[](std::size_t i) { return const_cast<Value &>(std::as_const(*this)[i]); }

}  // namespace morv
