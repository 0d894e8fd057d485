// The 11 functions that a library calls.
#include <morv/morv.h>
#include <morv/host.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "memory.h"

namespace morv {

namespace {

constinit thread_local long failCountdown = 0;
constinit std::atomic<long> liveBlocks = 0;

// Converts between the two kinds of number where nothing is lost.
bool ConvertNumber(MorvValue *record, int tag) {
  if (tag == MORV_DOUBLE && TagOf(*record) == MORV_INTEGER) {
    record->value.number = record->value.integer;
  } else if (tag == MORV_INTEGER && TagOf(*record) == MORV_DOUBLE) {
    const double number = record->value.number;
    if (!(number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max()) ||
        number != std::trunc(number))
      return false;
    record->value.integer = static_cast<int>(number);
  } else {
    return false;
  }
  record->type = tag;
  return true;
}

[[noreturn]] void Refuse(const MorvValue &record, int position, const char *expected) {
  CallError error;
  error.argument = position + 1;
  error.expected = expected;
  error.tag = TagOf(record);
  error.shape = record.value.shape;
  throw error;
}

const char *NameWithArticle(int tag) {
  switch (tag) {
    case MORV_INTEGER: return "an integer";
    case MORV_DOUBLE: return "a number";
    case MORV_MATRIX: return "a matrix";
    case MORV_STRING: return "a string";
    default: return "an array or output";
  }
}

[[noreturn]] void OutOfMemory() {
  CallError error;
  error.outOfMemory = true;
  throw error;
}

void Become(MorvValue *record, int tag) {
  MorvFreeByValue(record);
  *record = MorvValue{};
  record->type = tag;
}

// A row table and its cells in one block: rows + 1 words, then the cells, so that `data` is never null for a matrix
// that exists, whatever its sizes.
double **NewRowTable(int rows, int columns) {
  if (rows < 0 || columns < 0) return nullptr;
  const auto r = static_cast<std::size_t>(rows), c = static_cast<std::size_t>(columns);
  const std::size_t tableBytes = (r + 1) * sizeof(double *);
  std::size_t cellBytes = 0, bytes = 0;
  if (__builtin_mul_overflow(r * c, sizeof(double), &cellBytes) ||
      __builtin_add_overflow(tableBytes, cellBytes, &bytes))
    return nullptr;
  auto **table = static_cast<double **>(Take(bytes, 1));
  if (table == nullptr) return nullptr;
  auto *cells = reinterpret_cast<double *>(table + r + 1);
  for (std::size_t i = 0; i < r; ++i) table[i] = cells + i * c;
  table[r] = nullptr;
  return table;
}

}  // namespace

void *Take(std::size_t count, std::size_t size) {
  std::size_t bytes = 0;
  if ((failCountdown > 0 && --failCountdown == 0) || __builtin_mul_overflow(count, size, &bytes)) return nullptr;
  void *block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block != nullptr) liveBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

void Release(void *block) {
  if (block == nullptr) return;
  liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

void FailAllocationAt(long n) { failCountdown = n; }

bool FailAllocationPending() { return failCountdown > 0; }

long LiveBlocks() { return liveBlocks.load(std::memory_order_relaxed); }

}  // namespace morv

using namespace morv;

void MorvLibCheckType(int tag, MorvValue *args, int first, int last) {
  for (int i = first; i <= last; ++i)
    if (TagOf(args[i]) != tag && !ConvertNumber(args + i, tag)) Refuse(args[i], i, NameWithArticle(tag));
}

void MorvLibCheckMatrixSize(MorvValue *args, int first, int last, int rows, int columns) {
  MorvLibCheckType(MORV_MATRIX, args, first, last);
  for (int i = first; i <= last; ++i) {
    const MorvShape shape = args[i].value.shape;
    if (shape.rows == rows && shape.columns == columns) continue;
    CallError error;
    error.argument = i + 1;
    error.expected = "a matrix";
    error.rows = rows;
    error.columns = columns;
    error.tag = MORV_MATRIX;
    error.shape = shape;
    throw error;
  }
}

void MorvLibArgError(int argument) {
  CallError error;
  error.argument = argument;
  throw error;
}

void MorvLibValMatMalloc(MorvValue *record, int rows, int columns) {
  Become(record, MORV_MATRIX);
  auto **table = NewRowTable(rows, columns);
  record->data = table;
  if (table == nullptr) return;
  record->value.shape = {rows, columns};
  // Not the whole of a block of hundreds of megabytes: that is fresh zero pages, and a size given by mistake would make
  // them all resident.
  const auto cells = std::min<long long>(static_cast<long long>(rows) * columns, 1LL << 24);
  std::fill_n(table[0], cells, std::numeric_limits<double>::quiet_NaN());
}

void MorvLibValMatDup(MorvValue *record, double **source, int rows, int columns) {
  MorvValue copy{};
  copy.type = MORV_MATRIX;
  copy.data = NewRowTable(rows, columns);  // before the record is released: it may hold the source
  if (copy.data != nullptr) {
    copy.value.shape = {rows, columns};
    auto **table = static_cast<double **>(copy.data);
    for (int i = 0; i < rows && columns > 0; ++i)
      std::memcpy(table[i], source[i], static_cast<std::size_t>(columns) * sizeof(double));
  }
  MorvFreeByValue(record);
  *record = copy;
}

void MorvLibValArrayCalloc(MorvValue *record, int count) {
  const auto n = static_cast<std::size_t>(count < 0 ? 0 : count);
  auto *elements = static_cast<MorvValue *>(Take(n, sizeof(MorvValue)));
  if (elements == nullptr) OutOfMemory();
  for (std::size_t i = 0; i < n; ++i) {
    elements[i] = MorvValue{};
    elements[i].type = MORV_INTEGER;
  }
  Become(record, MORV_ARRAY);
  record->data = elements;
  record->opaque[0] = n;
}

MorvValue *MorvValGetArrayVal(MorvValue *record, int index) {
  if (TagOf(*record) != MORV_ARRAY || static_cast<std::size_t>(index) >= ElementCount(*record))
    throw CallError{.expected = "an array with an element for every use"};
  return static_cast<MorvValue *>(record->data) + index;
}

const char *MorvValGetString(MorvValue *record) {
  if (TagOf(*record) != MORV_STRING) throw CallError{.expected = "a string"};
  return static_cast<const char *>(record->data);
}

void MorvValSetString(MorvValue *record, const char *text) {
  const std::size_t bytes = std::strlen(text) + 1;
  void *copy = Take(bytes, 1);
  if (copy == nullptr) OutOfMemory();
  std::memcpy(copy, text, bytes);
  Become(record, MORV_STRING);
  record->data = copy;
}

void MorvValSetInt(MorvValue *record, int value) {
  Become(record, MORV_INTEGER);
  record->value.integer = value;
}

void MorvFreeByValue(MorvValue *record) {
  if (record->opaque[1] == kBorrowed) return;
  switch (TagOf(*record)) {
    case MORV_ARRAY:
      for (std::size_t i = 0; i < ElementCount(*record); ++i)
        MorvFreeByValue(static_cast<MorvValue *>(record->data) + i);
      [[fallthrough]];
    case MORV_MATRIX:
    case MORV_STRING: Release(record->data); break;
    default: break;
  }
}
