#include "operators/profiling.h"

#include <utility>

#include "profiling/account.h"
#include "runtime/runtime.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "services/raw_clock.h"
#include "zel/zel_prof.h"

namespace OrmoHost {
namespace {

std::vector<StepLabel> MakeLabels() {
  std::vector<StepLabel> labels;
  for (const char* name : OPERATOR_NAMES) {
    labels.push_back({name, name});
  }
  return labels;
}

}  // namespace

OperatorProfile::OperatorProfile(uint32_t device, std::shared_ptr<RecordOutput> output)
    : device_(device),
      labels_(MakeLabels()),
      subscription_(device, labels_, std::move(output), RecordStyle::WITH_STEPS) {}

void OperatorProfile::Add(const StepTiming& timing) {
  const std::lock_guard<std::mutex> lock(mutex_);
  subscription_.Timings().assign(1, timing);
  AddToAccount(labels_, subscription_.Timings());
  subscription_.EndExecution(timing.start, timing.end);
}

bool OperatorProfile::Finish() {
  return subscription_.Finish();
}

void RunProfiled(const Executor& executor, void* workspace) {
  std::shared_ptr<OperatorProfile> profile = Single<OperatorProfiles>().Find(executor.device);
  if (profile == nullptr) {
    executor.kernel(workspace);
    return;
  }
  // What is around the arithmetic is what bounds it.
  uint64_t start = profile->Start();
  uint64_t coreStart = ReadRawClock();
  executor.kernel(workspace);
  uint64_t coreEnd = ReadRawClock();
  profile->Add(EndStep(static_cast<uint32_t>(executor.kind), start, coreEnd - coreStart));
}

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t ProfOpSubscribe(uint32_t reserved, zelprofSubscribeConfig* config) {
  return Attempt("ProfOpSubscribe", [&] {
    Require(reserved == 0, INVALID_ARGUMENT);
    uint32_t device = GetCurrentDevice();
    std::shared_ptr<RecordOutput> output = Single<SubscribeConfigs>().Get(config);
    auto& profiles = Single<OperatorProfiles>();
    Require(profiles.Find(device) == nullptr, ALREADY_SUBSCRIBED);
    bool isAdded = profiles.Add(device, std::make_shared<OperatorProfile>(device, output));
    Require(isAdded, ALREADY_SUBSCRIBED);
  });
}

int32_t ProfOpUnSubscribe(uint32_t reserved) {
  return Release("ProfOpUnSubscribe", [&] {
    Require(reserved == 0, INVALID_ARGUMENT);
    std::shared_ptr<OperatorProfile> ended = Single<OperatorProfiles>().Take(GetCurrentDevice());
    Require(ended != nullptr, NOT_SUBSCRIBED);
    Require(ended->Finish(), RECORDS_LOST);
  });
}
