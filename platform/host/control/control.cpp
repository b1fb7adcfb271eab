#include "ormo_host/control.h"

#include <stdexcept>
#include <thread>
#include <utility>

#include "control/host_call.h"
#include "control/lifetime.h"
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

void Reset() {
  ReleaseEverything();
  LogService::Instance().OpenSink();
}

}  // namespace OrmoHost
