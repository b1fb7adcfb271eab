/// \file
/// A piece of work beside its floor.
#ifndef ORMO_BENCH_COMPARE_H
#define ORMO_BENCH_COMPARE_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace Ormo::Bench {

/// Ends the program when what a row relies on does not hold: its figures would mean nothing.
inline void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Nanoseconds of the raw clock: one bare read.
inline uint64_t RawClock() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

template <typename Work>
double NanosecondsOf(Work&& work) {
  const uint64_t start = RawClock();
  work();
  return static_cast<double>(RawClock() - start);
}

/// The sample below which `part` of all lie, 0.5 for the median.
inline double Quantile(std::vector<double> samples, double part) {
  const auto nth =
      samples.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), nth, samples.end());
  return *nth;
}

/// The same for work that takes its own time: `subject` and `floor` return the nanoseconds of a
/// round.
template <typename Subject, typename Floor>
void CompareTimes(benchmark::State& state, size_t ops, Subject subject, Floor floor) {
  std::vector<double> subjectTimes;
  std::vector<double> floorTimes;
  for (auto _ : state) {
    floorTimes.push_back(floor());
    subjectTimes.push_back(subject());
  }
  const double subjectTime = Quantile(subjectTimes, 0.5);
  const double floorTime = Quantile(floorTimes, 0.5);
  state.counters["ns"] = subjectTime / static_cast<double>(ops);
  state.counters["floor_ns"] = floorTime / static_cast<double>(ops);
  state.counters["ratio"] = subjectTime / floorTime;
}

/// Runs `subject` and `floor`, each of which does its work `ops` times, in turn, one round an
/// iteration, and reports medians: what disturbs the machine then disturbs both.
template <typename Subject, typename Floor>
void Compare(benchmark::State& state, size_t ops, Subject subject, Floor floor) {
  CompareTimes(
      state, ops, [&subject] { return NanosecondsOf(subject); },
      [&floor] { return NanosecondsOf(floor); });
}

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_COMPARE_H
