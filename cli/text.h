// Numbers, dates and observation labels as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// A number with a count of significant digits, or with 0 the shortest text that reads back as the same double; "NA" for
// a missing value, "inf" and "-inf".
std::string NumberText(double value, int digits = 0);

// The reverse, for a whole cell. Empty, "." and NA or NaN in any case are missing. None for anything else that is no
// number.
std::optional<double> ParseNumber(std::string_view text);

// A date is a Julian day number with the time of day as its fraction, in hundredths of a second. The text is
// YYYY-MM-DD, or YYYY-MM-DDTHH:MM with optional :SS and .hh (a blank may stand for the T). Days before 15 October 1582
// are of the Julian calendar.
std::optional<double> ParseDate(std::string_view text);

// The text of a date; none where no such text reads back as the same double.
std::optional<std::string> DateText(double date);

// A text of the user's in quotation marks, fit for a message of one line.
std::string Quoted(std::string_view text);
// The text with blanks in the place of control characters.
std::string OnOneLine(std::string text);
bool HasControlCharacter(std::string_view text);

// A whole number with an optional sign.
std::optional<int> ParseInteger(std::string_view text);

// The calendar of regular observations: year and period of the first one, and the number of periods in a year.
struct Calendar {
  int year = 1;
  int period = 1;
  int frequency = 1;

  std::string Label(int observation) const;  // 1959:2, or 1959 with frequency 1
  long Index(int y, int p) const { return (static_cast<long>(y) - year) * frequency + p - period; }
};

// YEAR:PERIOD or YEAR; a year alone has period 1.
struct YearPeriod {
  int year = 0;
  int period = 1;
  bool periodGiven = false;
};
std::optional<YearPeriod> ParseYearPeriod(std::string_view text);
