// A call of an export: its arguments as data, and what it left behind.
#pragma once

#include <morv/host.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "export_table.h"

struct Cells {
  int rows = 0, columns = 0;
  std::vector<double> values;
};

struct Argument {
  char kind = 'i';  // i, d, m: integer, number, matrix; s: string; a: array of strings; o: output; x: declined
  int integer = 0;  // of an array: the element that is an integer instead
  double number = 0;
  Cells matrix;
  std::vector<std::string> texts = {};  // a string is the first
  int same = -1;                        // the matrix is that of this argument, memory and all
};

inline Argument Int(int value) { return {'i', value, 0, {}}; }
inline Argument Double(double value) { return {'d', 0, value, {}}; }
inline Argument Mat(int rows, int columns, std::vector<double> values) {
  return {'m', 0, 0, {rows, columns, std::move(values)}};
}
inline Argument Text(std::string text) { return {'s', 0, 0, {}, {std::move(text)}}; }
inline Argument Texts(std::vector<std::string> texts) { return {'a', -1, 0, {}, std::move(texts)}; }
inline Argument Out() { return {'o', 0, 0, {}}; }
inline Argument Declined() { return {'x', 0, 0, {}}; }

struct ExportCall {
  std::string name;
  std::vector<Argument> arguments;

  // The same with other arguments, which are named as the table names them.
  ExportCall With(std::initializer_list<std::pair<std::string_view, Argument>> changes) const {
    ExportCall changed = *this;
    const auto table = tessel::FindExport(name)->Arguments();
    for (const auto &[argument, value] : changes)
      changed.arguments.at(static_cast<std::size_t>(std::ranges::find(table, argument, &tessel::ExportArgument::name) -
                                                    table.begin())) = value;
    return changed;
  }
};

// What a call left behind: its outcome and the outputs, each an integer of value -77 where nothing was written. The
// matrices are copies, so that a call may change them, with memory of their very size.
struct CaseRun {
  CaseRun(std::vector<Argument> callArguments, const std::string &name, MorvFunction function)
      : arguments(std::move(callArguments)), outputs(arguments.size()) {
    morv::Arguments args;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      Argument &a = arguments[i];
      Cells &matrix = arguments[a.same < 0 ? i : static_cast<std::size_t>(a.same)].matrix;
      matrix.values.shrink_to_fit();
      outputs[i] = morv::Value::Integer(-77);
      if (a.kind == 'i') args.Integer(a.integer);
      if (a.kind == 'd') args.Double(a.number);
      if (a.kind == 'm') args.Matrix(matrix.values.data(), matrix.rows, matrix.columns);
      if (a.kind == 's') args.Text(a.texts.empty() ? "" : a.texts[0]);
      if (a.kind == 'a') args.Borrow(arrays.emplace_back(morv::Value::Strings(a.texts)));
      if (a.kind == 'a' && a.integer >= 0 && a.integer < static_cast<int>(a.texts.size()))
        arrays.back()[static_cast<std::size_t>(a.integer)] = morv::Value::Integer(1);
      if (a.kind == 'o') args.Output(outputs[i]);
      if (a.kind == 'x') args.Decline();
    }
    outcome = morv::Call(name, function, args);
  }

  bool Wrote(std::size_t position) const { return outputs[position].Tag() == MORV_MATRIX; }
  bool WroteNothing() const {
    return std::none_of(outputs.begin(), outputs.end(), [](const auto &value) { return value.Tag() == MORV_MATRIX; });
  }
  const morv::Value &ValueAt(int position) const {
    return position < 0 ? outcome.result : outputs[static_cast<std::size_t>(position)];
  }
  std::vector<double> At(int position) const {
    const morv::Value &value = ValueAt(position);
    if (value.Tag() == MORV_DOUBLE || value.Tag() == MORV_INTEGER) return {value.AsDouble()};
    return value.Numbers();
  }
  // Whether the export says that it computed something.
  bool Computed() const {
    const morv::Value &rtn = outcome.result;
    tessel::CallEnd end;
    end.tag = outcome.Returned() ? rtn.Tag() : 0;
    if (end.tag == MORV_INTEGER || end.tag == MORV_DOUBLE) end.number = rtn.AsDouble();
    if (end.tag == MORV_MATRIX) end.length = static_cast<std::int64_t>(rtn.Numbers().size());
    if (end.tag == MORV_STRING) end.length = static_cast<std::int64_t>(rtn.AsText().size());
    if (!outputs.empty() && Wrote(0)) end.outputRows = outputs[0].AsMatrix().rows;
    return !outcome.Failed() && tessel::Computed(*tessel::FindExport(outcome.function), end);
  }
  bool ReturnsMissing() const { return outcome.result.Tag() == MORV_DOUBLE && std::isnan(outcome.result.AsDouble()); }

  std::vector<Argument> arguments;
  std::deque<morv::Value> arrays;
  std::vector<morv::Value> outputs;
  morv::Outcome outcome;
};

inline bool SameBits(const std::vector<double> &a, const std::vector<double> &b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Equal in type, size and every bit.
inline bool SameValue(const morv::Value &a, const morv::Value &b) {
  if (a.Tag() != b.Tag()) return false;
  switch (a.Tag()) {
    case MORV_INTEGER: return a.AsInteger() == b.AsInteger();
    case MORV_DOUBLE: return SameBits({a.AsDouble()}, {b.AsDouble()});
    case MORV_MATRIX: return a.AsMatrix().rows == b.AsMatrix().rows && SameBits(a.Numbers(), b.Numbers());
    case MORV_STRING: return a.AsText() == b.AsText();
    default:
      for (std::size_t i = 0; i < a.Size() && a.Size() == b.Size(); ++i)
        if (!SameValue(a[i], b[i])) return false;
      return a.Size() == b.Size();
  }
}
