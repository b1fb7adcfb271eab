#include "profiling/fake_records.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

constexpr int32_t FAILURE = 99;
constexpr uint64_t MODEL_ID = 7;

std::string& FailingAccessor() {
  static std::string function;
  return function;
}

size_t pretendedSize = 0;
size_t pretendedTextLength = 0;
bool arePartsIgnored = false;

int32_t Answer(const char* function) {
  return FailingAccessor() == function ? FAILURE : 0;
}

const FakeRecord& At(const void* buffer, uint32_t index) {
  return static_cast<const FakeRecord*>(buffer)[index];
}

size_t LengthOf(const char* text) {
  return pretendedTextLength != 0 ? pretendedTextLength : strlen(text) + 1;
}

void CopyText(const char (&text)[16], char* copy, size_t length) {
  memcpy(copy, text, std::min(length, sizeof(text)));
}

}  // namespace

FakeRecord Op(const char* name, uint64_t start, uint64_t end, uint64_t aicore) {
  FakeRecord record = {};
  strncpy(record.name, name, sizeof(record.name) - 1);
  strncpy(record.type, "MatMul", sizeof(record.type) - 1);
  record.start = start;
  record.end = end;
  record.aicore = aicore;
  record.modelId = MODEL_ID;
  return record;
}

FakeRecord Step(uint64_t start, uint64_t end) {
  FakeRecord record = Op("model", start, end, 0);
  strncpy(record.type, "na", sizeof(record.type) - 1);
  return record;
}

void WriteRecord(int fd, const FakeRecord& record) {
  if (write(fd, &record, sizeof(record)) != sizeof(record)) {
    abort();
  }
}

void FailAccessor(const char* function) {
  FailingAccessor() = function;
}

void PretendRecordSize(size_t size) {
  pretendedSize = size;
}

void IgnoreParts(bool areIgnored) {
  arePartsIgnored = areIgnored;
}

void PretendTextLength(size_t length) {
  pretendedTextLength = length;
}

}  // namespace Ormo::Testing

using Ormo::Testing::Answer;
using Ormo::Testing::At;
using Ormo::Testing::FakeRecord;

extern "C" {

int32_t zelprofGetOpDescSize(size_t* size) {
  *size = Ormo::Testing::pretendedSize != 0 ? Ormo::Testing::pretendedSize : sizeof(FakeRecord);
  return Answer("zelprofGetOpDescSize");
}

int32_t zelprofGetOpNum(const void* /*buffer*/, size_t length, uint32_t* count) {
  *count = static_cast<uint32_t>(length / sizeof(FakeRecord));
  const bool isAnswered = length % sizeof(FakeRecord) == 0 || Ormo::Testing::arePartsIgnored;
  return isAnswered ? Answer("zelprofGetOpNum") : 1;
}

int32_t zelprofGetOpNameLen(const void* buffer, size_t /*length*/, uint32_t index,
                            size_t* nameLength) {
  *nameLength = Ormo::Testing::LengthOf(At(buffer, index).name);
  return Answer("zelprofGetOpNameLen");
}

int32_t zelprofGetOpTypeLen(const void* buffer, size_t /*length*/, uint32_t index,
                            size_t* typeLength) {
  *typeLength = Ormo::Testing::LengthOf(At(buffer, index).type);
  return Answer("zelprofGetOpTypeLen");
}

int32_t zelprofGetOpName(const void* buffer, size_t /*length*/, uint32_t index, char* name,
                         size_t nameLength) {
  Ormo::Testing::CopyText(At(buffer, index).name, name, nameLength);
  return Answer("zelprofGetOpName");
}

int32_t zelprofGetOpType(const void* buffer, size_t /*length*/, uint32_t index, char* type,
                         size_t typeLength) {
  Ormo::Testing::CopyText(At(buffer, index).type, type, typeLength);
  return Answer("zelprofGetOpType");
}

uint64_t zelprofGetOpStart(const void* buffer, size_t /*length*/, uint32_t index) {
  return At(buffer, index).start;
}

uint64_t zelprofGetOpEnd(const void* buffer, size_t /*length*/, uint32_t index) {
  return At(buffer, index).end;
}

uint64_t zelprofGetOpDuration(const void* buffer, size_t /*length*/, uint32_t index) {
  return At(buffer, index).end - At(buffer, index).start;
}

size_t zelprofGetModelId(const void* buffer, size_t /*length*/, uint32_t index) {
  return At(buffer, index).modelId;
}

uint64_t ProfGetOpExecutionTime(const void* buffer, uint32_t /*length*/, uint32_t index) {
  return At(buffer, index).aicore;
}

}  // extern "C"
