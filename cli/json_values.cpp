// The library's values as JSON.
#include "json_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>

#include "data_table.h"
#include "failure.h"
#include "input.h"

namespace {

constexpr const char *kForms =
    "expected a number, a string, null, an array of strings, an array of rows of numbers, or an object with one of "
    "\"output\", \"matrix\", \"row\", \"column\", \"array\", \"number\", \"csv\", \"text\" and \"use\"";

// A cell: a number, null for a missing value, or "inf", "-inf" and "nan".
double CellFromJson(const Json &json, const std::string &place) {
  if (json.is_number()) return json.get<double>();
  if (json.is_null()) return std::numeric_limits<double>::quiet_NaN();
  if (json.is_string()) {
    const auto &text = json.get_ref<const std::string &>();
    if (text == "inf" || text == "-inf" || text == "nan") return std::stod(text);
  }
  Fail(place, "expected a number, null, \"inf\" or \"-inf\", found " + json.dump());
}

Json CellToJson(double value, int digits) {
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  if (std::isnan(value)) return {};
  if (digits >= std::numeric_limits<double>::max_digits10) return value;
  char text[32];
  const auto end =
      std::to_chars(std::begin(text), std::end(text), value, std::chars_format::scientific, digits - 1).ptr;
  std::from_chars(std::begin(text), end, value);
  return value;
}

// Whether it is a whole number that an int holds. Unsigned numbers are told apart, since those from 2^63 on read as
// negative.
bool IsInt(const Json &json) {
  constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
  if (json.is_number_unsigned()) return json.get<std::uint64_t>() <= static_cast<std::uint64_t>(most);
  return json.is_number_integer() && json.get<std::int64_t>() >= least && json.get<std::int64_t>() <= most;
}

bool IsCount(const Json &json) { return json.is_number_unsigned() && IsInt(json); }

int SizeOf(const Json &json, const std::string &place) {
  if (json.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) Fail(place, "too many elements");
  return static_cast<int>(json.size());
}

const Json &ExpectArray(const Json &json, const std::string &place) {
  if (!json.is_array()) Fail(place, "expected an array, found " + json.dump().substr(0, 40));
  return json;
}

// Rows of equal length; without any, `columns` may tell the width.
morv::Value MatrixFromJson(const Json &rows, const Json *columns, const std::string &place) {
  int width = rows.empty() ? 0 : SizeOf(ExpectArray(rows[0], place), place);
  if (rows.empty() && columns != nullptr) {
    if (!IsCount(*columns)) Fail(place, "\"columns\": expected a count, found " + columns->dump());
    width = columns->get<int>();
  }
  morv::Value matrix = morv::Value::Matrix(SizeOf(rows, place), width);
  const morv::MatrixView view = matrix.AsMatrix();
  for (int i = 0; i < view.rows; ++i) {
    const Json &row = ExpectArray(rows[static_cast<std::size_t>(i)], place);
    if (SizeOf(row, place) != width)
      Fail(place, "row " + std::to_string(i + 1) + " has " + std::to_string(row.size()) + " cells, expected " +
                      std::to_string(width));
    for (int j = 0; j < width; ++j) view(i, j) = CellFromJson(row[static_cast<std::size_t>(j)], place);
  }
  return matrix;
}

morv::Value VectorFromJson(const Json &cells, bool isColumn, const std::string &place) {
  const int n = SizeOf(ExpectArray(cells, place), place);
  morv::Value matrix = isColumn ? morv::Value::Matrix(n, 1) : morv::Value::Matrix(1, n);
  std::ranges::transform(cells, matrix.AsMatrix().Flat().begin(),
                         [&](const Json &cell) { return CellFromJson(cell, place); });
  return matrix;
}

std::string PathBeside(const std::string &folder, const Json &name) {
  return (std::filesystem::path(folder) / name.get<std::string>()).string();
}

// {"csv": FILE, "columns": [NAME, ...]}: columns of a data file, a row for each observation.
morv::Value CsvMatrix(const Json &json, const std::string &folder, const std::string &place) {
  DataOptions options;
  options.file = PathBeside(folder, json["csv"]);
  const DataTable data = ReadData(options);
  std::vector<int> columns;
  if (json.contains("columns")) {
    for (const Json &name : ExpectArray(json["columns"], place)) {
      const int column = name.is_string() ? data.Find(name.get<std::string>()) : -1;
      if (column < 0) Fail(place, options.file + " has no column " + name.dump());
      columns.push_back(column);
    }
  } else {
    for (int i = 0; i < data.Columns(); ++i) columns.push_back(i);
  }
  morv::Value matrix = morv::Value::Matrix(data.rows, static_cast<int>(columns.size()));
  const morv::MatrixView view = matrix.AsMatrix();
  for (int t = 0; t < view.rows; ++t)
    for (int i = 0; i < view.columns; ++i) view(t, i) = data.Cell(t, columns[static_cast<std::size_t>(i)]);
  return matrix;
}

// The range that "rows": [first, last] or "columns": [first, last] keeps of `size` lines, as [begin, end).
std::pair<int, int> RangeOf(const Json &json, const char *lines, int size, const std::string &place) {
  if (!json.contains(lines)) return {0, size};
  const Json &range = json[lines];
  const bool isRange = range.is_array() && range.size() == 2 && IsCount(range[0]) && IsCount(range[1]) &&
                       range[0] <= range[1] && range[1] < size;
  if (!isRange)
    Fail(place, Json(lines).dump() + ": expected [first, last] from 0 to " + std::to_string(size - 1) + ", found " +
                    range.dump());
  return {range[0].get<int>(), range[1].get<int>() + 1};
}

morv::Value ArrayFromJson(const Json &elements, const NamedValues &named, const std::string &folder,
                          const std::string &place) {
  morv::Value array = morv::Value::Array(SizeOf(ExpectArray(elements, place), place));
  for (std::size_t i = 0; i < elements.size(); ++i) array[i] = ValueFromJson(elements[i], named, folder, place);
  return array;
}

// The value of an object of one form, in full.
morv::Value FormFromJson(const std::string &form, const Json &json, const NamedValues &named, const std::string &folder,
                         const std::string &place) {
  const Json &content = json[form];
  if (form == "matrix")
    return MatrixFromJson(ExpectArray(content, place), json.contains("columns") ? &json["columns"] : nullptr, place);
  if (form == "row" || form == "column") return VectorFromJson(content, form == "column", place);
  if (form == "number") return morv::Value::Double(CellFromJson(content, place));
  if (form == "array") return ArrayFromJson(content, named, folder, place);
  if (!content.is_string()) Fail(place, Json(form).dump() + ": expected a name, found " + content.dump().substr(0, 60));
  if (form == "csv") return CsvMatrix(json, folder, place);
  if (form == "text") return morv::Value::String(ReadText(PathBeside(folder, content)));
  const auto found = named.find(content.get<std::string>());
  if (found == named.end()) Fail(place, "no earlier call stored a result or an output " + content.dump());
  return found->second.Clone();
}

morv::Value ObjectFromJson(const Json &json, const NamedValues &named, const std::string &folder,
                           const std::string &place) {
  // Each form, and what may stand beside it. "columns" has a meaning of its own where the form makes the columns.
  static const std::map<std::string, std::vector<std::string>> forms = {{"matrix", {"columns"}},
                                                                        {"row", {}},
                                                                        {"column", {}},
                                                                        {"number", {}},
                                                                        {"array", {}},
                                                                        {"text", {}},
                                                                        {"csv", {"columns", "rows", "transposed"}},
                                                                        {"use", {"columns", "rows", "transposed"}}};
  for (const auto &[form, beside] : forms) {
    if (!json.contains(form)) continue;
    ExpectKeys(json, form, beside, place);
    Json selection = json;
    if (form != "use") selection.erase("columns");
    return Selected(FormFromJson(form, json, named, folder, place), selection, place);
  }
  Fail(place, std::string(kForms) + ", found " + json.dump().substr(0, 60));
}

}  // namespace

morv::Value ValueFromJson(const Json &json, const NamedValues &named, const std::string &folder,
                          const std::string &place) {
  if (IsInt(json)) return morv::Value::Integer(json.get<int>());
  if (json.is_number()) return morv::Value::Double(json.get<double>());
  if (json.is_boolean()) return morv::Value::Integer(json.get<bool>() ? 1 : 0);
  if (json.is_string()) return morv::Value::String(json.get<std::string>());
  if (json.is_object()) return ObjectFromJson(json, named, folder, place);
  if (json.is_array() && !json.empty() && json[0].is_array()) return MatrixFromJson(json, nullptr, place);
  if (json.is_array() && std::ranges::all_of(json, [](const Json &e) { return e.is_string(); }))
    return ArrayFromJson(json, named, folder, place);
  Fail(place, std::string(kForms) + ", found " + json.dump().substr(0, 60));
}

void ExpectKeys(const Json &json, const std::string &form, const std::vector<std::string> &beside,
                const std::string &place) {
  for (const auto &[key, value] : json.items())
    if (key != form && std::ranges::find(beside, key) == beside.end())
      Fail(place, Json(key).dump() + " does not go with " + Json(form).dump());
}

morv::Value Selected(const morv::Value &value, const Json &json, const std::string &place) {
  if (value.Tag() != MORV_MATRIX) return value.Clone();
  const morv::MatrixView from = value.AsMatrix();
  const auto [row, rowEnd] = RangeOf(json, "rows", from.rows, place);
  const auto [column, columnEnd] = RangeOf(json, "columns", from.columns, place);
  const int rows = rowEnd - row, columns = columnEnd - column;
  const Json turn = json.value("transposed", Json(false));
  if (!turn.is_boolean()) Fail(place, "\"transposed\": expected true or false, found " + turn.dump());
  const bool transposed = turn.get<bool>();
  morv::Value matrix = transposed ? morv::Value::Matrix(columns, rows) : morv::Value::Matrix(rows, columns);
  const morv::MatrixView to = matrix.AsMatrix();
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) (transposed ? to(j, i) : to(i, j)) = from(row + i, column + j);
  return matrix;
}

Json ValueToJson(const morv::Value &value, int digits) {
  switch (value.Tag()) {
    case MORV_INTEGER: return value.AsInteger();
    case MORV_DOUBLE: return {{"number", CellToJson(value.AsDouble(), digits)}};
    case MORV_STRING: return std::string(value.AsText());
    case MORV_MATRIX: {
      const morv::MatrixView view = value.AsMatrix();
      Json rows = Json::array();
      for (int i = 0; i < view.rows; ++i) {
        Json row = Json::array();
        for (const double cell : view.Row(i)) row.push_back(CellToJson(cell, digits));
        rows.push_back(std::move(row));
      }
      Json object = {{"matrix", std::move(rows)}};
      if (view.rows == 0) object["columns"] = view.columns;
      return object;
    }
    default: {
      Json elements = Json::array();
      for (std::size_t i = 0; i < value.Size(); ++i) elements.push_back(ValueToJson(value[i], digits));
      return {{"array", std::move(elements)}};
    }
  }
}

std::string JsonText(const Json &json, int indent) {
  const std::string margin(static_cast<std::size_t>(indent) + 2, ' ');
  const bool isRows = json.is_array() && !json.empty() && json[0].is_structured();
  if (!isRows && !json.is_object()) return json.dump(-1, ' ', false, Json::error_handler_t::replace);
  if (json.empty()) return "{}";
  std::string text(1, json.is_object() ? '{' : '[');
  for (auto element = json.begin(); element != json.end(); ++element) {
    text += (element == json.begin() ? "\n" : ",\n") + margin;
    if (json.is_object()) text += Json(element.key()).dump() + ": ";
    text += JsonText(*element, indent + 2);
  }
  return text + "\n" + margin.substr(2) + (json.is_object() ? '}' : ']');
}
