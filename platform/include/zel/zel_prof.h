/// \file
/// The platform's profiling stream: subscriptions, and accessors to the records that they write.
///
/// A subscribed execution yields one fixed-size record for each operator, and one record of type
/// "na" that bounds the execution, which executions of graphs may do without. Functions that return
/// `int32_t` return 0 for success and a platform code otherwise; times are nanoseconds of one
/// clock.
#ifndef ZEL_ZEL_PROF_H
#define ZEL_ZEL_PROF_H

#include <cstddef>
#include <cstdint>

struct zelprofSubscribeConfig;

/// Switches time stamps on in zelprofCreateSubscribeConfig.
constexpr int8_t ZEL_PROF_TIME_INFO_ON = 1;

enum zelprofAicoreMetrics : int32_t {
  ZEL_AICORE_NONE = 255,  ///< no compute-core metrics
};

extern "C" {

/// A configuration that writes records to the descriptor behind `fd` (an `int32_t`, read now).
/// Released by zelprofDestroySubscribeConfig; null on failure.
zelprofSubscribeConfig* zelprofCreateSubscribeConfig(int8_t timeInfoSwitch,
                                                     zelprofAicoreMetrics metric, void* fd);
int32_t zelprofDestroySubscribeConfig(zelprofSubscribeConfig* config);

/// Writes records of that model's executions from now on. A second subscription is an error.
int32_t zelprofModelSubscribe(uint32_t modelId, zelprofSubscribeConfig* config);
/// Returns after the last record has been written; nothing is written later.
int32_t zelprofModelUnSubscribe(uint32_t modelId);

/// The same for a graph in a session.
int32_t zelgrphProfGraphSubscribe(uint32_t graphId, zelprofSubscribeConfig* config);
int32_t zelgrphProfGraphUnSubscribe(uint32_t graphId);

/// The same for all single operators that execute on the calling thread's current device.
/// `reserved` is 0.
int32_t ProfOpSubscribe(uint32_t reserved, zelprofSubscribeConfig* config);
int32_t ProfOpUnSubscribe(uint32_t reserved);

/// Bytes of one record.
int32_t zelprofGetOpDescSize(size_t* size);

/// The accessors take a buffer of whole records, its length in bytes and a record's index.
/// Number of records; part of a record is an error, none is not.
int32_t zelprofGetOpNum(const void* buffer, size_t length, uint32_t* count);
/// Bytes of the text with its terminating zero.
int32_t zelprofGetOpNameLen(const void* buffer, size_t length, uint32_t index, size_t* nameLength);
int32_t zelprofGetOpTypeLen(const void* buffer, size_t length, uint32_t index, size_t* typeLength);
/// Writes the text, with a terminating zero, to `name` (`type`) of `nameLength` (`typeLength`)
/// bytes.
int32_t zelprofGetOpName(const void* buffer, size_t length, uint32_t index, char* name,
                         size_t nameLength);
int32_t zelprofGetOpType(const void* buffer, size_t length, uint32_t index, char* type,
                         size_t typeLength);
/// 0 means that the record carries no such time.
uint64_t zelprofGetOpStart(const void* buffer, size_t length, uint32_t index);
uint64_t zelprofGetOpEnd(const void* buffer, size_t length, uint32_t index);
uint64_t zelprofGetOpDuration(const void* buffer, size_t length, uint32_t index);
/// Id of the model or graph that ran the operator.
size_t zelprofGetModelId(const void* buffer, size_t length, uint32_t index);
/// Time that the operator spent on the compute cores.
uint64_t ProfGetOpExecutionTime(const void* buffer, uint32_t length, uint32_t index);

}  // extern "C"

#endif  // ZEL_ZEL_PROF_H
