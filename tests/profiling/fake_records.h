/// \file
/// A profiling stream of the tests' own: the platform's accessors are replaced in this program.
#ifndef ORMO_TESTS_PROFILING_FAKE_RECORDS_H
#define ORMO_TESTS_PROFILING_FAKE_RECORDS_H

#include <cstddef>
#include <cstdint>

namespace Ormo::Testing {

/// One record as it stands in the pipe.
struct FakeRecord {
  char name[16];
  char type[16];
  uint64_t start;
  uint64_t end;
  uint64_t aicore;
  uint64_t modelId;
};

FakeRecord Op(const char* name, uint64_t start, uint64_t end, uint64_t aicore = 1);
FakeRecord Step(uint64_t start, uint64_t end);

void WriteRecord(int fd, const FakeRecord& record);

/// Which accessor fails from now on; empty for none.
void FailAccessor(const char* function);
/// What zelprofGetOpDescSize says instead of the true size; 0 for the true one.
void PretendRecordSize(size_t size);
/// Whether a part of a record is no record rather than an error.
void IgnoreParts(bool areIgnored);
/// What the lengths of texts are said to be; 0 for the true ones.
void PretendTextLength(size_t length);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_PROFILING_FAKE_RECORDS_H
