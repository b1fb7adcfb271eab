#include "ormo_host/control.h"

#include <stdexcept>
#include <thread>
#include <utility>

#include "control/host_call.h"
#include "control/lifetime.h"
#include "profiling/record_script.h"
#include "runtime/machine.h"
#include "services/log_service.h"

namespace OrmoHost {

void Fail(const std::string& function, uint64_t nth, int32_t code) {
  Script::Instance().AddRule(function, nth, {code, nullptr});
}

void OnCall(const std::string& function, uint64_t nth, std::function<void()> action) {
  Script::Instance().AddRule(function, nth, {0, std::move(action)});
}

void Delay(const std::string& function, uint64_t nth, std::chrono::nanoseconds time) {
  OnCall(function, nth, [time] { std::this_thread::sleep_for(time); });
}

void Throw(const std::string& function, uint64_t nth) {
  OnCall(function, nth, [function] { throw std::runtime_error("scripted fault of " + function); });
}

void FailCall(uint64_t nth, int32_t code) {
  Script::Instance().AddOverallRule(nth, code);
}

std::string FailedCall() {
  return Script::Instance().FailedCall();
}

size_t PendingFaults() {
  return Script::Instance().PendingRules();
}

void FaultRecord(uint64_t nth, RecordFault fault) {
  RecordScript::Instance().AddFault(nth, fault);
}

void SetRecordWait(std::chrono::milliseconds wait) {
  RecordScript::Instance().SetWait(wait);
}

void RecordCalls() {
  Script::Instance().StartRecording();
}

uint64_t CallCount(const std::string& function) {
  return Script::Instance().CallCount(function);
}

std::vector<Call> Calls() {
  return Script::Instance().Calls();
}

bool IsInsideHost() {
  return HostCall::IsInside();
}

void CaptureLog(int level) {
  LogService::Instance().Capture(level);
}

void StopCapturingLog() {
  LogService::Instance().StopCapture();
}

std::vector<LogLine> CapturedLog() {
  return LogService::Instance().Captured();
}

void ClearCapturedLog() {
  LogService::Instance().ClearCaptured();
}

AliveObjects Alive() {
  return CountAlive();
}

bool AliveObjects::Empty() const {
  return ToString().empty();
}

std::string AliveObjects::ToString() const {
  const std::pair<const char*, uint64_t> members[] = {{"deviceSets", deviceSets},
                                                      {"contexts", contexts},
                                                      {"deviceBlocks", deviceBlocks},
                                                      {"deviceBytes", deviceBytes},
                                                      {"models", models},
                                                      {"descs", descs},
                                                      {"datasets", datasets},
                                                      {"dataBuffers", dataBuffers},
                                                      {"tensorDescs", tensorDescs},
                                                      {"subscribeConfigs", subscribeConfigs},
                                                      {"subscriptions", subscriptions},
                                                      {"abandoned", abandoned}};
  std::string text;
  for (const auto& [name, count] : members) {
    if (count != 0) {
      text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(count);
    }
  }
  return text;
}

void SetDeviceCount(uint32_t count) {
  Machine::Instance().SetDeviceCount(count);
}

void SetMemorySize(size_t bytes) {
  Machine::Instance().SetMemorySize(bytes);
}

void SetHugePageSize(size_t bytes) {
  Machine::Instance().SetHugePageSize(bytes);
}

void SetSocName(const std::string& name) {
  Machine::Instance().SetSocName(name);
}

void Reset() {
  ReleaseEverything();
  Machine::Instance().ReadEnvironment();
  LogService::Instance().OpenSink();
}

}  // namespace OrmoHost
