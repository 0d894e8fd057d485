// Reading data files.
#include "data_table.h"

#include <csv.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "failure.h"
#include "input.h"

namespace {

constexpr int kMostObservations = 100'000'000;

// The rows of a CSV file, one after the other, with the line where each starts. Nothing is thrown through the parser:
// its callbacks collect rows, which go to the consumer behind it.
class CsvRows {
 public:
  using Fields = std::vector<std::string>;
  using Consumer = std::function<void(int line, const Fields &fields)>;

  CsvRows(std::string source, Consumer consumer) : source_(std::move(source)), consumer_(std::move(consumer)) {
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  }
  CsvRows(const CsvRows &) = delete;
  CsvRows &operator=(const CsvRows &) = delete;
  ~CsvRows() { csv_free(&parser_); }

  void Feed(const char *text, std::size_t size) {
    HandOn(csv_parse(&parser_, text, size, TakeField, TakeRow, this) == size);
  }
  void Finish() { HandOn(csv_fini(&parser_, TakeField, TakeRow, this) == 0); }

 private:
  void HandOn(bool wellFormed) {
    for (const auto &[line, fields] : pending_) consumer_(line, fields);
    pending_.clear();
    if (wellFormed) return;
    if (csv_error(&parser_) == CSV_ENOMEM) throw std::bad_alloc();
    Fail(source_ + ":" + std::to_string(line_), "a double quote out of place, or none at the end of a quoted cell");
  }

  static void TakeField(void *field, std::size_t size, void *self) {
    static_cast<CsvRows *>(self)->fields_.emplace_back(static_cast<const char *>(field), size);
  }

  // Called at the end of each line, with the character that ended it (-1 at the end of the file).
  static void TakeRow(int terminator, void *self) {
    auto &rows = *static_cast<CsvRows *>(self);
    const bool secondOfPair = terminator == '\n' && rows.previous_ == '\r' && rows.fields_.empty();
    rows.previous_ = terminator;
    if (secondOfPair || (terminator < 0 && rows.fields_.empty())) return;
    const int line = rows.line_++;
    for (const std::string &field : rows.fields_) rows.line_ += static_cast<int>(std::ranges::count(field, '\n'));
    rows.pending_.emplace_back(line, std::move(rows.fields_));
    rows.fields_ = {};
  }

  csv_parser parser_;
  std::string source_;
  Consumer consumer_;
  Fields fields_;  // of the row that is being read
  std::vector<std::pair<int, Fields>> pending_;
  int line_ = 1;
  int previous_ = 0;
};

// Builds the table row by row.
class Reader {
 public:
  explicit Reader(const DataOptions &options) : options_(options) { table_.source = options.file; }

  void Row(int line, const std::vector<std::string> &fields) {
    if (table_.names.empty() && source_.empty())
      Header(line, fields);
    else if (fields.empty())
      blankLine_ = blankLine_ == 0 ? line : blankLine_;
    else
      Observation(line, fields);
  }

  DataTable Finish() {
    if (source_.empty()) Fail(table_.source, "the file is empty, expected a first row with the names of the columns");
    if (table_.rows == 0) Fail(table_.source, "no observations below the row of names");
    table_.dated = !options_.dates.empty();
    if (table_.dated) CheckDates();
    return std::move(table_);
  }

 private:
  std::string Place(int line) const { return table_.source + ":" + std::to_string(line); }

  void Header(int line, const std::vector<std::string> &fields) {
    if (fields.empty()) Fail(Place(line), "expected a first row with the names of the columns");
    headerSize_ = fields.size();
    std::vector<std::string> unknown = options_.skip;
    for (std::size_t j = 0; j < fields.size(); ++j) {
      if (std::erase(unknown, fields[j]) > 0 || std::ranges::count(options_.skip, fields[j]) > 0) continue;
      if (j == 0 && (fields[j].empty() || (fields[j] == "period" && options_.dates != "period"))) continue;
      if (fields[j].empty() || HasControlCharacter(fields[j]))
        Fail(Place(line), "column " + std::to_string(j + 1) + " has no name, or one with a control character");
      if (table_.Find(fields[j]) >= 0) Fail(Place(line), "two columns have the name '" + fields[j] + "'");
      source_.push_back(j);
      table_.names.push_back(fields[j]);
    }
    if (!unknown.empty()) Misuse("--skip", table_.source + " has no column '" + unknown[0] + "'");
    if (source_.empty()) Fail(Place(line), "no column with data");
    MoveDatesToFront();
    table_.iso.assign(source_.size(), false);
  }

  void MoveDatesToFront() {
    if (options_.dates.empty()) return;
    const int j = table_.Find(options_.dates);
    if (j < 0) Misuse("--dates", table_.source + " has no column '" + options_.dates + "'");
    std::rotate(table_.names.begin(), table_.names.begin() + j, table_.names.begin() + j + 1);
    std::rotate(source_.begin(), source_.begin() + j, source_.begin() + j + 1);
  }

  void Observation(int line, const std::vector<std::string> &fields) {
    // Skipping the line would shift the observations below it in time.
    if (blankLine_ != 0) Fail(Place(blankLine_), "an empty line; a missing value in a file of one column is NA");
    if (fields.size() != headerSize_)
      Fail(Place(line), "expected " + std::to_string(headerSize_) + " cells as in the first row, found " +
                            std::to_string(fields.size()));
    if (++table_.rows > kMostObservations)
      Fail(Place(line), "more than " + std::to_string(kMostObservations) + " observations");
    for (std::size_t j = 0; j < source_.size(); ++j) table_.cells.push_back(Cell(line, j, fields[source_[j]]));
    lines_.push_back(line);
  }

  double Cell(int line, std::size_t column, const std::string &text) {
    if (const std::optional<double> number = ParseNumber(text)) return *number;
    if (const std::optional<double> date = ParseDate(text)) {
      table_.iso[column] = true;
      return *date;
    }
    Fail(Place(line), "column '" + table_.names[column] + "': expected a number, a date or NA, found " + Quoted(text) +
                          (table_.rows == 1 ? "; --skip leaves a column out" : ""));
  }

  void CheckDates() const {
    for (int t = 0; t < table_.rows; ++t) {
      const std::string place = Place(lines_[static_cast<std::size_t>(t)]);
      if (std::isnan(table_.Cell(t, 0))) Fail(place, "no date in column '" + options_.dates + "'");
      if (t > 0 && table_.Cell(t, 0) < table_.Cell(t - 1, 0))
        Fail(place, "the date in column '" + options_.dates + "' is before the one above it");
    }
  }

  const DataOptions &options_;
  DataTable table_;
  std::vector<std::size_t> source_;  // per column of the table: its place in the file
  std::vector<int> lines_;           // per observation
  std::size_t headerSize_ = 0;
  int blankLine_ = 0;  // the first one that is not known to end the file
};

Calendar CalendarOf(const DataOptions &options) {
  constexpr int mostYears = 1'000'000;
  Calendar calendar;
  calendar.frequency = options.frequency;
  if (options.start.empty()) return calendar;
  const std::optional<YearPeriod> start = ParseYearPeriod(options.start);
  if (!start || start->year < -mostYears || start->year > mostYears)
    Misuse("--start", "expected YEAR:PERIOD, as in 1959:1, found '" + options.start + "'");
  if (start->period < 1 || start->period > options.frequency)
    Misuse("--start", "period " + std::to_string(start->period) + " is not within --frequency " +
                          std::to_string(options.frequency));
  calendar.year = start->year;
  calendar.period = start->period;
  return calendar;
}

// One end of the range. `up` looks for the first observation at or after a date, otherwise for the last at or before.
int Observation(const DataTable &data, const DataOptions &options, const std::string &option, const std::string &text,
                bool up) {
  if (data.dated) {
    if (const std::optional<double> date = ParseDate(text)) {
      constexpr double tolerance = 6e-9;  // below a hundredth of a second
      int t = up ? 0 : data.rows - 1;
      if (up)
        while (t < data.rows && data.Cell(t, 0) < *date - tolerance) ++t;
      else
        while (t >= 0 && data.Cell(t, 0) > *date + tolerance) --t;
      if (t < 0 || t >= data.rows)
        Misuse(option,
               text + " leaves none of the observations from " + data.Label(0) + " to " + data.Label(data.rows - 1));
      return t;
    }
  }
  const std::optional<YearPeriod> place = ParseYearPeriod(text);
  if (!place || (data.dated && place->periodGiven))
    Misuse(option, std::string("expected an observation's number ") +
                       (data.dated ? "or a date, as in 1990-12-31" : "or YEAR:PERIOD, as in 1990:2") + ", found '" +
                       text + "'");
  const bool yearAlone = !place->periodGiven && !data.dated && !options.start.empty() && data.calendar.frequency == 1;
  if (place->periodGiven && (place->period < 1 || place->period > data.calendar.frequency))
    Misuse(option, "period " + std::to_string(place->period) + " is not within --frequency " +
                       std::to_string(data.calendar.frequency));
  const long index =
      place->periodGiven || yearAlone ? data.calendar.Index(place->year, place->period) : place->year - 1L;
  if (index < 0 || index >= data.rows)
    Misuse(option, text + " is outside the data, which have the observations 1 to " + std::to_string(data.rows) + ", " +
                       data.Label(0) + " to " + data.Label(data.rows - 1));
  return static_cast<int>(index);
}

}  // namespace

int DataTable::Find(const std::string &name) const {
  const auto found = std::ranges::find(names, name);
  return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

std::string DataTable::Label(int observation) const {
  return dated ? DateText(Cell(observation, 0)).value_or(NumberText(Cell(observation, 0)))
               : calendar.Label(observation);
}

std::string DataTable::Describe(int observation) const {
  const std::string number = std::to_string(observation + 1), label = Label(observation);
  return "observation " + number + (label == number ? "" : ", " + label);
}

DataTable ReadData(const DataOptions &options) {
  const Calendar calendar = CalendarOf(options);
  InputFile file(options.file);
  Reader reader(options);
  CsvRows rows(options.file, [&](int line, const auto &fields) { reader.Row(line, fields); });
  for (std::string_view part; !(part = file.Part()).empty();) rows.Feed(part.data(), part.size());
  rows.Finish();
  DataTable table = reader.Finish();
  table.calendar = calendar;
  return table;
}

Range RangeOf(const DataTable &data, const DataOptions &options) {
  Range range{0, data.rows - 1};
  if (!options.first.empty()) range.first = Observation(data, options, "--first", options.first, true);
  if (!options.last.empty()) range.last = Observation(data, options, "--last", options.last, false);
  if (range.first > range.last)
    Misuse("--last",
           data.Label(range.last) + " is before the first observation of the range, " + data.Label(range.first));
  return range;
}

Range RunRangeOf(const Range &range, const DataOptions &options) {
  if (options.presample.empty()) return range;
  if (options.presample == "all") return {0, range.last};
  const std::optional<int> count = ParseInteger(options.presample);
  if (!count || *count < 0 || *count > range.first)
    Misuse("--presample", "expected 'all' or a number up to " + std::to_string(range.first) +
                              ", the observations before the range, found " + Quoted(options.presample));
  return {range.first - *count, range.last};
}
