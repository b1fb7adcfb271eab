/// \file
/// The bytes of one profiling record.
#ifndef ORMO_HOST_PROFILING_RECORD_H
#define ORMO_HOST_PROFILING_RECORD_H

#include <climits>
#include <cstdint>
#include <type_traits>

namespace OrmoHost {

constexpr uint32_t RECORD_MARK = 0x4F524543;
/// Type of the record that bounds an execution.
constexpr char STEP_TYPE[] = "na";

struct Record {
  uint32_t mark;
  uint32_t reserved;
  uint64_t id;  ///< of the model or graph
  uint64_t start;
  uint64_t end;
  uint64_t core;
  char name[256];
  char type[64];
};

static_assert(std::is_trivially_copyable_v<Record>);
static_assert(sizeof(Record) <= PIPE_BUF, "a write to a pipe is atomic up to this size");

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_RECORD_H
