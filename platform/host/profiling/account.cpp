#include "profiling/account.h"

#include <atomic>
#include <mutex>

#include "ormo_host/control.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

struct Ledger {
  std::atomic<bool> isOpen{false};
  std::mutex mutex;
  std::map<std::string, OperatorTimes> times;
};

void SetLedger(bool isOpen) {
  auto& ledger = Single<Ledger>();
  const std::lock_guard<std::mutex> lock(ledger.mutex);
  ledger.times = {};
  ledger.isOpen = isOpen;
}

}  // namespace

void AddToAccount(const std::vector<StepLabel>& labels, const std::vector<StepTiming>& timings) {
  auto& ledger = Single<Ledger>();
  if (!ledger.isOpen) {
    return;
  }
  const std::lock_guard<std::mutex> lock(ledger.mutex);
  for (const StepTiming& timing : timings) {
    OperatorTimes& times = ledger.times[labels[timing.step].name];
    ++times.executions;
    times.duration += timing.end - timing.start;
    times.core += timing.core;
  }
}

void CloseAccount() {
  SetLedger(false);
}

void KeepAccount() {
  SetLedger(true);
}

std::map<std::string, OperatorTimes> Account() {
  auto& ledger = Single<Ledger>();
  const std::lock_guard<std::mutex> lock(ledger.mutex);
  return ledger.times;
}

}  // namespace OrmoHost
