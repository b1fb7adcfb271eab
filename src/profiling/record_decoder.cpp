#include "profiling/record_decoder.h"

#include <cstring>
#include <new>
#include <utility>

#include "common/log.h"
#include "ormo/status.h"
#include "zel/zel_prof.h"

namespace Ormo {
namespace {

// An execution of the model rather than an operator.
constexpr char STEP_TYPE[] = "na";

// More is no name of anything: a platform that claims it is refused before its memory is taken.
constexpr size_t LONGEST_TEXT = size_t{64} << 20U;

using LengthFunc = int32_t (*)(const void*, size_t, uint32_t, size_t*);
using TextFunc = int32_t (*)(const void*, size_t, uint32_t, char*, size_t);

struct Record {
  const char* buffer;
  size_t length;
  uint32_t index;
};

// How a text is asked for, and the lines that say why it cannot be had.
struct TextField {
  LengthFunc getLength;
  TextFunc getText;
  void (*logNoLength)();
  void (*logNoMemory)();
  void (*logNoText)(int32_t code);
};

// False when there is no memory for so much.
bool MakeRoom(std::string& text, size_t length) {
  if (length > LONGEST_TEXT) {
    return false;
  }
  try {
    text.resize(length);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

int FetchText(const Record& record, const TextField& field, std::string& out) {
  size_t textLength = 0;
  if (field.getLength(record.buffer, record.length, record.index, &textLength) != 0) {
    field.logNoLength();
    return STATUS_FAILED;
  }
  std::string text;
  if (!MakeRoom(text, textLength)) {
    field.logNoMemory();
    return STATUS_FAILED;
  }
  const int32_t code =
      field.getText(record.buffer, record.length, record.index, text.data(), textLength);
  if (code != 0) {
    field.logNoText(code);
    return STATUS_FAILED;
  }
  // The length may or may not count a terminating zero.
  const size_t size = strnlen(text.data(), textLength);
  text.resize(size);
  if (textLength - size > 1) {
    text.shrink_to_fit();  // the text is kept, and its record may be one of millions
  }
  out = std::move(text);
  return STATUS_SUCCESS;
}

int GetOpName(const Record& record, std::string& out) {
  return FetchText(
      record,
      {zelprofGetOpNameLen, zelprofGetOpName,
       [] { ORMO_LOG_ERROR("Profiling get op name length failed."); },
       [] { ORMO_LOG_ERROR("Profiling new memory for op name failed."); },
       [](int32_t code) { ORMO_LOG_ERROR("Profiling zelprofGetOpName failed, err %d.", code); }},
      out);
}

int GetOpType(const Record& record, std::string& out) {
  return FetchText(
      record,
      {zelprofGetOpTypeLen, zelprofGetOpType,
       [] { ORMO_LOG_ERROR("Profiling get op type length failed."); },
       [] { ORMO_LOG_ERROR("Profiling new memory for op type failed."); },
       [](int32_t code) { ORMO_LOG_ERROR("Profiling zelprofGetOpType failed, err %d.", code); }},
      out);
}

void AppendOperator(const Record& record, size_t modelId, RunnerOpInfo&& op, ModelOpInfo& info) {
  op.aicoreCostTime =
      ProfGetOpExecutionTime(record.buffer, static_cast<uint32_t>(record.length), record.index);
  op.opCostTime = zelprofGetOpDuration(record.buffer, record.length, record.index);
  if (op.endTime < op.startTime) {
    op.opCostTime = 0;  // a difference of its times would be near the largest value
    op.aicoreCostTime = 0;
  }
  ORMO_LOG_DEBUG(
      "ModelId %zu, name %s, type %s, aicore cost time %lluns, op cost time %lluns, op start "
      "%lluns,            op end %lluns",
      modelId, op.opName.c_str(), op.opType.c_str(),
      static_cast<unsigned long long>(op.aicoreCostTime),
      static_cast<unsigned long long>(op.opCostTime), static_cast<unsigned long long>(op.startTime),
      static_cast<unsigned long long>(op.endTime));
  op.modelId = std::to_string(modelId);
  info.opInfos.push_back(std::move(op));
}

int DecodeRecord(const Record& record, ModelOpInfo& info) {
  RunnerOpInfo op;
  if (GetOpName(record, op.opName) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Profiling get op name failed");
    return STATUS_FAILED;
  }
  if (GetOpType(record, op.opType) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Profiling get op type failed");
    return STATUS_FAILED;
  }
  op.startTime = zelprofGetOpStart(record.buffer, record.length, record.index);
  op.endTime = zelprofGetOpEnd(record.buffer, record.length, record.index);
  if (op.startTime == 0 || op.endTime == 0) {
    ORMO_LOG_ERROR("Profiling data of op start or stop time parser exception");
    return STATUS_FAILED;
  }
  const size_t modelId = zelprofGetModelId(record.buffer, record.length, record.index);
  if (op.opType == STEP_TYPE) {
    ORMO_LOG_DEBUG("ModelId %zu, name %s, type %s, op start %llu, op end %llu", modelId,
                   op.opName.c_str(), op.opType.c_str(),
                   static_cast<unsigned long long>(op.startTime),
                   static_cast<unsigned long long>(op.endTime));
    info.steps.insert(StepOpInfo{op.startTime, op.endTime});
    return STATUS_SUCCESS;
  }
  AppendOperator(record, modelId, std::move(op), info);
  return STATUS_SUCCESS;
}

}  // namespace

int GetModelOpInfo(const char* buffer, size_t length, ModelOpInfo& modelOpInfo) {
  uint32_t count = 0;
  const int32_t code = zelprofGetOpNum(buffer, length, &count);
  if (code != 0) {
    ORMO_LOG_ERROR("Get op number failed, err : %d", code);
    return STATUS_FAILED;
  }
  ORMO_LOG_DEBUG("Get op num : %u", count);
  for (uint32_t index = 0; index < count; ++index) {
    const int status = DecodeRecord({buffer, length, index}, modelOpInfo);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
