#include <cstring>
#include <optional>

#include "control/host_call.h"
#include "profiling/record.h"
#include "runtime/codes.h"
#include "zel/zel_prof.h"

namespace OrmoHost {
namespace {

/// A copy of record `index`: the buffer need not be aligned. Nothing when it has no such record.
std::optional<Record> ReadRecord(const void* buffer, size_t length, uint32_t index) {
  if (buffer == nullptr || index >= length / sizeof(Record)) {
    return std::nullopt;
  }
  Record record;  // NOLINT(cppcoreguidelines-pro-type-member-init): written below
  std::memcpy(&record, static_cast<const char*>(buffer) + index * sizeof(Record), sizeof(record));
  bool isTerminated =
      record.name[sizeof(record.name) - 1] == '\0' && record.type[sizeof(record.type) - 1] == '\0';
  if (record.mark != RECORD_MARK || !isTerminated) {
    return std::nullopt;
  }
  return record;
}

uint64_t ReadNumberField(const char* function, const void* buffer, size_t length, uint32_t index,
                         uint64_t (*field)(const Record&)) {
  HostCall call(function);
  if (call.Fails() != 0) {
    return 0;
  }
  std::optional<Record> record = ReadRecord(buffer, length, index);
  return record.has_value() ? field(*record) : 0;
}

using TextField = const char* (*)(const Record&);

const char* NameField(const Record& record) {
  return record.name;
}

const char* TypeField(const Record& record) {
  return record.type;
}

int32_t ReadTextLength(const char* function, const void* buffer, size_t length, uint32_t index,
                       size_t* textLength, TextField field) {
  HostCall call(function);
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::optional<Record> record = ReadRecord(buffer, length, index);
  if (!record.has_value() || textLength == nullptr) {
    return INVALID_RECORD;
  }
  *textLength = std::strlen(field(*record)) + 1;
  return SUCCESS;
}

int32_t ReadText(const char* function, const void* buffer, size_t length, uint32_t index,
                 char* text, size_t textLength, TextField field) {
  HostCall call(function);
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::optional<Record> record = ReadRecord(buffer, length, index);
  if (!record.has_value() || text == nullptr) {
    return INVALID_RECORD;
  }
  const char* value = field(*record);
  size_t size = std::strlen(value) + 1;
  if (size > textLength) {
    return OUT_OF_RANGE;
  }
  std::memcpy(text, value, size);
  return SUCCESS;
}

}  // namespace

}  // namespace OrmoHost

using OrmoHost::HostCall;
using OrmoHost::Record;

int32_t zelprofGetOpDescSize(size_t* size) {
  HostCall call("zelprofGetOpDescSize");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (size == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  *size = sizeof(Record);
  return OrmoHost::SUCCESS;
}

int32_t zelprofGetOpNum(const void* buffer, size_t length, uint32_t* count) {
  HostCall call("zelprofGetOpNum");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (count == nullptr || (buffer == nullptr && length != 0) || length % sizeof(Record) != 0) {
    return OrmoHost::INVALID_RECORD;
  }
  *count = static_cast<uint32_t>(length / sizeof(Record));
  return OrmoHost::SUCCESS;
}

int32_t zelprofGetOpNameLen(const void* buffer, size_t length, uint32_t index, size_t* nameLength) {
  return OrmoHost::ReadTextLength("zelprofGetOpNameLen", buffer, length, index, nameLength,
                                  OrmoHost::NameField);
}

int32_t zelprofGetOpTypeLen(const void* buffer, size_t length, uint32_t index, size_t* typeLength) {
  return OrmoHost::ReadTextLength("zelprofGetOpTypeLen", buffer, length, index, typeLength,
                                  OrmoHost::TypeField);
}

int32_t zelprofGetOpName(const void* buffer, size_t length, uint32_t index, char* name,
                         size_t nameLength) {
  return OrmoHost::ReadText("zelprofGetOpName", buffer, length, index, name, nameLength,
                            OrmoHost::NameField);
}

int32_t zelprofGetOpType(const void* buffer, size_t length, uint32_t index, char* type,
                         size_t typeLength) {
  return OrmoHost::ReadText("zelprofGetOpType", buffer, length, index, type, typeLength,
                            OrmoHost::TypeField);
}

uint64_t zelprofGetOpStart(const void* buffer, size_t length, uint32_t index) {
  return OrmoHost::ReadNumberField("zelprofGetOpStart", buffer, length, index,
                                   [](const Record& record) { return record.start; });
}

uint64_t zelprofGetOpEnd(const void* buffer, size_t length, uint32_t index) {
  return OrmoHost::ReadNumberField("zelprofGetOpEnd", buffer, length, index,
                                   [](const Record& record) { return record.end; });
}

uint64_t zelprofGetOpDuration(const void* buffer, size_t length, uint32_t index) {
  return OrmoHost::ReadNumberField("zelprofGetOpDuration", buffer, length, index,
                                   [](const Record& record) { return record.end - record.start; });
}

size_t zelprofGetModelId(const void* buffer, size_t length, uint32_t index) {
  return OrmoHost::ReadNumberField("zelprofGetModelId", buffer, length, index,
                                   [](const Record& record) { return record.id; });
}

uint64_t ProfGetOpExecutionTime(const void* buffer, uint32_t length, uint32_t index) {
  return OrmoHost::ReadNumberField("ProfGetOpExecutionTime", buffer, length, index,
                                   [](const Record& record) { return record.core; });
}
