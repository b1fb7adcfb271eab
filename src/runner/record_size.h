/// \file
/// Records of the interface that begin with their size.
#ifndef ORMO_RUNNER_RECORD_SIZE_H
#define ORMO_RUNNER_RECORD_SIZE_H

#include <cstddef>

namespace Ormo {

/// Whether the caller's record, which may be of another version, has the member.
template <typename Record, typename Member>
bool Has(const Record& record, Member Record::*member) {
  const auto* begin = reinterpret_cast<const char*>(&record);
  const auto* end = reinterpret_cast<const char*>(&(record.*member) + 1);
  return static_cast<size_t>(end - begin) <= record.size;
}

}  // namespace Ormo

#endif  // ORMO_RUNNER_RECORD_SIZE_H
