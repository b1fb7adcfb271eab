#include <cstring>

#include "profiling/record.h"
#include "seam/host_call.h"
#include "zel/zel_prof.h"

namespace OrmoHost {
namespace {

// A copy of record `index`: the buffer need not be aligned. Refuses what is no record.
Record GetRecord(const void* buffer, size_t length, uint32_t index) {
  Require(buffer != nullptr && index < length / sizeof(Record), INVALID_RECORD);
  Record record;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by the next line
  std::memcpy(&record, static_cast<const char*>(buffer) + index * sizeof(Record), sizeof(record));
  bool isTerminated =
      record.name[sizeof(record.name) - 1] == '\0' && record.type[sizeof(record.type) - 1] == '\0';
  Require(record.mark == RECORD_MARK && isTerminated, INVALID_RECORD);
  return record;
}

void GetLength(const char* text, size_t* length) {
  Require(length != nullptr, INVALID_ARGUMENT);
  *length = std::strlen(text) + 1;
}

void CopyText(const char* text, char* copy, size_t room) {
  size_t size = std::strlen(text) + 1;
  Require(copy != nullptr && size <= room, OUT_OF_RANGE);
  std::memcpy(copy, text, size);
}

}  // namespace

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelprofGetOpDescSize(size_t* size) {
  return Attempt("zelprofGetOpDescSize", [&] {
    Require(size != nullptr, INVALID_ARGUMENT);
    *size = sizeof(Record);
  });
}

int32_t zelprofGetOpNum(const void* buffer, size_t length, uint32_t* count) {
  return Attempt("zelprofGetOpNum", [&] {
    bool isBuffer = buffer != nullptr || length == 0;
    Require(count != nullptr && isBuffer, INVALID_ARGUMENT);
    Require(length % sizeof(Record) == 0, INVALID_RECORD);
    *count = static_cast<uint32_t>(length / sizeof(Record));
  });
}

int32_t zelprofGetOpNameLen(const void* buffer, size_t length, uint32_t index, size_t* nameLength) {
  return Attempt("zelprofGetOpNameLen",
                 [&] { GetLength(GetRecord(buffer, length, index).name, nameLength); });
}

int32_t zelprofGetOpTypeLen(const void* buffer, size_t length, uint32_t index, size_t* typeLength) {
  return Attempt("zelprofGetOpTypeLen",
                 [&] { GetLength(GetRecord(buffer, length, index).type, typeLength); });
}

int32_t zelprofGetOpName(const void* buffer, size_t length, uint32_t index, char* name,
                         size_t nameLength) {
  return Attempt("zelprofGetOpName",
                 [&] { CopyText(GetRecord(buffer, length, index).name, name, nameLength); });
}

int32_t zelprofGetOpType(const void* buffer, size_t length, uint32_t index, char* type,
                         size_t typeLength) {
  return Attempt("zelprofGetOpType",
                 [&] { CopyText(GetRecord(buffer, length, index).type, type, typeLength); });
}

uint64_t zelprofGetOpStart(const void* buffer, size_t length, uint32_t index) {
  return Attempt("zelprofGetOpStart", [&] { return GetRecord(buffer, length, index).start; });
}

uint64_t zelprofGetOpEnd(const void* buffer, size_t length, uint32_t index) {
  return Attempt("zelprofGetOpEnd", [&] { return GetRecord(buffer, length, index).end; });
}

uint64_t zelprofGetOpDuration(const void* buffer, size_t length, uint32_t index) {
  return Attempt("zelprofGetOpDuration", [&] {
    Record record = GetRecord(buffer, length, index);
    return record.end - record.start;
  });
}

size_t zelprofGetModelId(const void* buffer, size_t length, uint32_t index) {
  return Attempt("zelprofGetModelId", [&] { return GetRecord(buffer, length, index).id; });
}

uint64_t ProfGetOpExecutionTime(const void* buffer, uint32_t length, uint32_t index) {
  return Attempt("ProfGetOpExecutionTime", [&] { return GetRecord(buffer, length, index).core; });
}
