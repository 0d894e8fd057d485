// The calendar sample. All arithmetic runs in 64 bits, where no 32-bit input can overflow.
#include "algebra/sample.h"

#include <algorithm>
#include <cstdint>

#include "algebra/clamp.h"

namespace tessel {

namespace {

std::int64_t Frequency(const SampleSpec &s) { return std::max(s.frequency, 1); }

struct YearPeriod {
  std::int64_t year;
  std::int64_t period;
};

YearPeriod Position(int t, const SampleSpec &s) {
  const std::int64_t years = t / Frequency(s);
  const std::int64_t period = s.period1 - years * Frequency(s) + t;
  if (period > Frequency(s)) return {s.year1 + years + 1, period - Frequency(s)};
  return {s.year1 + years, period};
}

}  // namespace

int SampleObsCount(const SampleSpec &s) {
  return ClampToInt((std::int64_t{s.year2} - s.year1) * Frequency(s) - s.period1 + s.period2 + 1);
}

int SampleIndex(int year, int period, const SampleSpec &s) {
  return ClampToInt(period + (std::int64_t{year} - s.year1) * Frequency(s) - s.period1);
}

int SampleYear(int t, const SampleSpec &s) { return ClampToInt(Position(t, s).year); }

int SamplePeriod(int t, const SampleSpec &s) { return ClampToInt(Position(t, s).period); }

void SampleSetCount(SampleSpec *s, int n) {
  const int last = ClampToInt(std::int64_t{n} - 1);
  s->year2 = SampleYear(last, *s);
  s->period2 = SamplePeriod(last, *s);
}

}  // namespace tessel
