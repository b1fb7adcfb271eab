#include "record_format.h"

#include <cstring>
#include <new>

#include "zel/zel_prof.h"

namespace Ormo::Bench {
namespace {

constexpr char TYPE[] = "MatMul";

// Stands in front of the texts, each of which ends with a zero.
struct Head {
  uint64_t start;
  uint64_t end;
  uint64_t core;
  uint32_t modelId;
  uint16_t nameSize;
  uint16_t typeSize;
};

size_t recordSize = 0;

Head HeadOf(const void* buffer, uint32_t index) {
  Head head = {};
  std::memcpy(&head, static_cast<const char*>(buffer) + index * recordSize, sizeof(head));
  return head;
}

const char* TextsOf(const void* buffer, uint32_t index) {
  return static_cast<const char*>(buffer) + index * recordSize + sizeof(Head);
}

}  // namespace

void SetRecordSize(size_t size) {
  recordSize = size;
}

std::vector<char> MakeRecords(size_t count, size_t size) {
  std::vector<char> records(count * size);
  for (size_t i = 0; i < count; ++i) {
    const std::string name(size / 4 - 1, static_cast<char>('a' + i % 26));
    const Head head{1000 + 100 * i,
                    1090 + 100 * i,
                    80,
                    7,
                    static_cast<uint16_t>(name.size() + 1),
                    static_cast<uint16_t>(sizeof(TYPE))};
    char* at = records.data() + i * size;
    std::memcpy(at, &head, sizeof(head));
    std::memcpy(at + sizeof(head), name.c_str(), head.nameSize);
    std::memcpy(at + sizeof(head) + head.nameSize, TYPE, sizeof(TYPE));
  }
  return records;
}

}  // namespace Ormo::Bench

using Ormo::Bench::HeadOf;
using Ormo::Bench::recordSize;
using Ormo::Bench::TextsOf;

extern "C" {

int32_t zelprofGetOpDescSize(size_t* size) {
  *size = recordSize;
  return 0;
}

int32_t zelprofGetOpNum(const void* /*buffer*/, size_t length, uint32_t* count) {
  *count = static_cast<uint32_t>(length / recordSize);
  return length % recordSize == 0 ? 0 : 1;
}

int32_t zelprofGetOpNameLen(const void* buffer, size_t /*length*/, uint32_t index,
                            size_t* nameLength) {
  *nameLength = HeadOf(buffer, index).nameSize;
  return 0;
}

int32_t zelprofGetOpTypeLen(const void* buffer, size_t /*length*/, uint32_t index,
                            size_t* typeLength) {
  *typeLength = HeadOf(buffer, index).typeSize;
  return 0;
}

int32_t zelprofGetOpName(const void* buffer, size_t /*length*/, uint32_t index, char* name,
                         size_t nameLength) {
  std::memcpy(name, TextsOf(buffer, index), nameLength);
  return 0;
}

int32_t zelprofGetOpType(const void* buffer, size_t /*length*/, uint32_t index, char* type,
                         size_t typeLength) {
  std::memcpy(type, TextsOf(buffer, index) + HeadOf(buffer, index).nameSize, typeLength);
  return 0;
}

uint64_t zelprofGetOpStart(const void* buffer, size_t /*length*/, uint32_t index) {
  return HeadOf(buffer, index).start;
}

uint64_t zelprofGetOpEnd(const void* buffer, size_t /*length*/, uint32_t index) {
  return HeadOf(buffer, index).end;
}

uint64_t zelprofGetOpDuration(const void* buffer, size_t /*length*/, uint32_t index) {
  const auto head = HeadOf(buffer, index);
  return head.end - head.start;
}

size_t zelprofGetModelId(const void* buffer, size_t /*length*/, uint32_t index) {
  return HeadOf(buffer, index).modelId;
}

uint64_t ProfGetOpExecutionTime(const void* buffer, uint32_t /*length*/, uint32_t index) {
  return HeadOf(buffer, index).core;
}

}  // extern "C"
