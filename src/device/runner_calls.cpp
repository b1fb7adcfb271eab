#include "device/runner_calls.h"

#include <atomic>

#include "common/log.h"
#include "device/device_manager.h"
#include "device/thread_pool.h"

namespace Ormo {
namespace {

// The process, or the library's time in it.
std::atomic<bool> isEnding{false};

}  // namespace

bool RefusesCall(CallSite site) {
  if (ThreadPool::IsWorker()) {
    ORMO_LOG_ERROR_AT(site, "A call from a device's worker would wait for itself");
    return true;
  }
  if (DeviceManager::IsInherited()) {
    ORMO_LOG_ERROR_AT(site, "The devices' workers did not come along into this forked process");
    return true;
  }
  return false;
}

bool RefusesInit(CallSite site) {
  if (isEnding) {
    ORMO_LOG_ERROR_AT(site, "The process is ending, no runner can be initialized");
    return true;
  }
  return RefusesCall(site);
}

void EndCalls(InitFlag& runner) {
  DeviceManager::Drain();
  runner.AwaitCalls();
}

RunnerExit::~RunnerExit() {
  isEnding = true;
  flag_.Clear();
  DeviceManager::Drain();  // a runner that was made after the workers goes before they end
  flag_.AwaitCalls(ThreadPool::IsWorker() ? 1 : 0);
}

void EndWorkersAtExit() {
  struct Guard {
    Guard() = default;
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    ~Guard() {
      isEnding = true;
      DeviceManager::FinalizeAtExit();
    }
  };

  static const Guard GUARD;
}

}  // namespace Ormo
