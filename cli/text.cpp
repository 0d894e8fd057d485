// Numbers, dates and observation labels as text.
#include "text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

constexpr long kGregorianStart = 2299161;  // 15 October 1582
constexpr long kHundredthsOfDay = 8640000;

// Day number of a date and back, by Richards' method (Explanatory Supplement to the Astronomical Almanac, 3rd ed.,
// 15.11), with the Gregorian correction where it applies.
long DayNumber(int year, int month, int day) {
  const long a = (14 - month) / 12, y = year + 4800L - a, m = month + 12 * a - 3;
  const long julian = day + (153 * m + 2) / 5 + 365 * y + y / 4 - 32083;
  const long gregorian = julian - y / 100 + y / 400 + 38;
  return gregorian >= kGregorianStart ? gregorian : julian;
}

struct Day {
  int year, month, day;
};

Day DayOf(long number) {
  long f = number + 1401;
  if (number >= kGregorianStart) f += (4 * number + 274277) / 146097 * 3 / 4 - 38;
  const long e = 4 * f + 3, g = e % 1461 / 4, h = 5 * g + 2;
  const long month = (h / 153 + 2) % 12 + 1;
  return {static_cast<int>(e / 1461 - 4716 + (14 - month) / 12), static_cast<int>(month),
          static_cast<int>(h % 153 / 5 + 1)};
}

// Reads exactly `digits` digits from the front of the text.
bool TakeDigits(std::string_view &text, std::size_t digits, int &value) {
  if (text.size() < digits || !std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(digits),
                                           [](char c) { return c >= '0' && c <= '9'; }))
    return false;
  std::from_chars(text.data(), text.data() + digits, value);
  text.remove_prefix(digits);
  return true;
}

bool TakeOneOf(std::string_view &text, std::string_view characters) {
  if (text.empty() || characters.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

// HH:MM[:SS[.hh]] in hundredths of a second; -1 for anything else.
long TimeOfDay(std::string_view text) {
  int hours = 0, minutes = 0, seconds = 0, hundredths = 0;
  if (!TakeDigits(text, 2, hours) || !TakeOneOf(text, ":") || !TakeDigits(text, 2, minutes)) return -1;
  if (TakeOneOf(text, ":") && !TakeDigits(text, 2, seconds)) return -1;
  if (TakeOneOf(text, ".") && !TakeDigits(text, 2, hundredths)) return -1;
  if (!text.empty() || hours > 23 || minutes > 59 || seconds > 59) return -1;
  return ((hours * 60L + minutes) * 60 + seconds) * 100 + hundredths;
}

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 127;
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  return std::ranges::equal(text, lower, [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

}  // namespace

std::string NumberText(double value, int digits) {
  if (std::isnan(value)) return "NA";
  char buffer[40];
  char *const end = buffer + sizeof buffer;
  return {buffer, digits == 0 ? std::to_chars(buffer, end, value).ptr
                              : std::to_chars(buffer, end, value, std::chars_format::general, digits).ptr};
}

std::optional<double> ParseNumber(std::string_view text) {
  if (text.empty() || text == "." || EqualsIgnoringCase(text, "na") || EqualsIgnoringCase(text, "nan"))
    return std::numeric_limits<double>::quiet_NaN();
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size() || std::isnan(value)) return std::nullopt;
  if (error == std::errc()) return value;
  // Out of range: a number below the smallest double is as good as that double or zero, one above the largest is none.
  value = std::strtod(std::string(text).c_str(), nullptr);
  return error == std::errc::result_out_of_range && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::optional<double> ParseDate(std::string_view text) {
  int year = 0, month = 0, day = 0;
  if (!TakeDigits(text, 4, year) || !TakeOneOf(text, "-") || !TakeDigits(text, 2, month) || !TakeOneOf(text, "-") ||
      !TakeDigits(text, 2, day) || year == 0 || month < 1 || month > 12)
    return std::nullopt;
  const long number = DayNumber(year, month, day);
  const Day back = DayOf(number);
  if (back.year != year || back.month != month || back.day != day) return std::nullopt;  // such as 30 February
  if (text.empty()) return static_cast<double>(number);
  const long time = TakeOneOf(text, "T ") ? TimeOfDay(text) : -1;
  if (time < 0) return std::nullopt;
  return static_cast<double>(number) + static_cast<double>(time) / static_cast<double>(kHundredthsOfDay);
}

std::optional<std::string> DateText(double date) {
  if (!(date >= 1721424.0 && date < 5373485.0)) return std::nullopt;  // years 1 to 9999
  const double whole = std::floor(date);
  const Day day = DayOf(static_cast<long>(whole));
  const long time = std::lround((date - whole) * static_cast<double>(kHundredthsOfDay));
  char buffer[64];
  int length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", day.year, day.month, day.day);
  const auto append = [&](const char *format, auto... values) {
    length += std::snprintf(buffer + length, sizeof buffer - static_cast<std::size_t>(length), format, values...);
  };
  if (time != 0) append("T%02ld:%02ld", time / 360000, time / 6000 % 60);
  if (time % 6000 != 0) append(":%02ld", time / 100 % 60);
  if (time % 100 != 0) append(".%02ld", time % 100);
  std::string text(buffer);
  return ParseDate(text) == date ? std::optional(text) : std::nullopt;
}

bool HasControlCharacter(std::string_view text) { return std::ranges::any_of(text, IsControl); }

std::string OnOneLine(std::string text) {
  std::ranges::replace_if(text, IsControl, ' ');
  return text;
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t most = 60;
  return OnOneLine("'" + std::string(text.substr(0, most)) + (text.size() > most ? "...'" : "'"));
}

std::optional<int> ParseInteger(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string Calendar::Label(int observation) const {
  const long t = static_cast<long>(period) - 1 + observation;
  const std::string y = std::to_string(year + t / frequency);
  return frequency == 1 ? y : y + ":" + std::to_string(t % frequency + 1);
}

std::optional<YearPeriod> ParseYearPeriod(std::string_view text) {
  const std::size_t colon = text.find(':');
  const std::optional<int> year = ParseInteger(text.substr(0, colon));
  if (!year) return std::nullopt;
  if (colon == std::string_view::npos) return YearPeriod{*year, 1, false};
  const std::optional<int> period = ParseInteger(text.substr(colon + 1));
  if (!period) return std::nullopt;
  return YearPeriod{*year, *period, true};
}
