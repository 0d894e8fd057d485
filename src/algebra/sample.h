// The calendar sample: year, period and frequency of the observations, and arithmetic on observation indices.
//
// Observation indices count from 0 at the first observation. All divisions truncate. Results beyond 32 bits are clamped
// to the ends of the range; a frequency below 1 counts as 1.
#pragma once

namespace tessel {

struct SampleSpec {
  int year1;
  int period1;  // 1 to frequency
  int year2;
  int period2;
  int frequency;  // periods in a year, 1 or more

  bool operator==(const SampleSpec &) const = default;
};

// (year2 - year1) x frequency - period1 + period2 + 1
int SampleObsCount(const SampleSpec &s);

// The observation at (year, period), which may lie outside the sample.
int SampleIndex(int year, int period, const SampleSpec &s);

// Year and period of observation t.
int SampleYear(int t, const SampleSpec &s);
int SamplePeriod(int t, const SampleSpec &s);

// Moves the end of the sample so that it holds n observations.
void SampleSetCount(SampleSpec *s, int n);

}  // namespace tessel
