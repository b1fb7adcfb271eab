/// \file
/// A profiling stream of the tests' own, and a system that waits for it as they say.
#ifndef ORMO_TESTS_PROFILING_SCRIPTED_STREAM_H
#define ORMO_TESTS_PROFILING_SCRIPTED_STREAM_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "profiling/record.h"

namespace Ormo::Testing {

using OrmoHost::Record;

Record Op(const char* name, uint64_t start, uint64_t end, uint64_t aicore = 1);
Record Step(uint64_t start, uint64_t end);

void WriteRecord(int fd, const Record& record);

constexpr int FAILURE = 99;

/// What differs in platform and system.
struct Script {
  std::string failing;               ///< a function of the system that fails with FAILURE
  std::optional<size_t> recordSize;  ///< in place of the true one
  std::optional<size_t> nameLength;  ///< in place of the true one
  /// The part of a record is none. Only if nothing stands behind it.
  bool ignoresParts = false;
  /// How the next waits for events end: 0 with a time-out, -1 with an event of another descriptor,
  /// else with that error.
  std::deque<int> waits;

  std::vector<int> timeouts;  ///< of all waits for events
};

extern Script script;

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_PROFILING_SCRIPTED_STREAM_H
