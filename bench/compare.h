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
#include <numeric>
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

/// The library's average: the mean, from ten samples on without the smallest and the largest fifth.
inline double TrimmedMean(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  const size_t trimmed = samples.size() < 10 ? 0 : samples.size() / 5;
  const size_t kept = samples.size() - 2 * trimmed;
  const auto first = samples.begin() + static_cast<std::ptrdiff_t>(trimmed);
  return std::accumulate(first, first + static_cast<std::ptrdiff_t>(kept), 0.0) /
         static_cast<double>(kept);
}

/// What a row comes to, and what it may come to at most.
inline void Judge(benchmark::State& state, const char* what, double value, double target) {
  state.counters[what] = value;
  state.counters["target"] = target;
  state.SetLabel(value <= target ? "" : "MISSED");
}

/// Nanoseconds an operation.
struct Medians {
  double subject;
  double floor;
};

/// Runs `subject` and `floor` in turn, one round an iteration, and takes medians: what disturbs the
/// machine then disturbs both. Each does its work `ops` times and returns the nanoseconds it took.
template <typename Subject, typename Floor>
Medians TakeMedians(benchmark::State& state, size_t ops, Subject subject, Floor floor) {
  std::vector<double> subjectTimes;
  std::vector<double> floorTimes;
  for (auto _ : state) {
    floorTimes.push_back(floor());
    subjectTimes.push_back(subject());
  }
  const Medians medians{Quantile(subjectTimes, 0.5) / static_cast<double>(ops),
                        Quantile(floorTimes, 0.5) / static_cast<double>(ops)};
  state.counters["ns"] = medians.subject;
  state.counters["floor_ns"] = medians.floor;
  return medians;
}

/// The same as a ratio.
template <typename Subject, typename Floor>
void CompareTimes(benchmark::State& state, size_t ops, double target, Subject subject,
                  Floor floor) {
  const Medians medians = TakeMedians(state, ops, subject, floor);
  Judge(state, "ratio", medians.subject / medians.floor, target);
}

/// The same for work that does not take its own time.
template <typename Subject, typename Floor>
void Compare(benchmark::State& state, size_t ops, double target, Subject subject, Floor floor) {
  CompareTimes(
      state, ops, target, [&subject] { return NanosecondsOf(subject); },
      [&floor] { return NanosecondsOf(floor); });
}

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_COMPARE_H
