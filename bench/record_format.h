/// \file
/// Profiling records of any size: the platform's accessors are replaced in this program.
#ifndef ORMO_BENCH_RECORD_FORMAT_H
#define ORMO_BENCH_RECORD_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ormo::Bench {

/// The size that the accessors report and expect.
void SetRecordSize(size_t size);

/// The bytes of `count` operator records of that size, one after another: names take a quarter of a
/// record, times rise.
std::vector<char> MakeRecords(size_t count, size_t size);

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_RECORD_FORMAT_H
