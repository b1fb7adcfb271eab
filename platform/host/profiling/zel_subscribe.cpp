#include "profiling/subscription.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_prof.h"

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

zelprofSubscribeConfig* zelprofCreateSubscribeConfig(int8_t timeInfoSwitch,
                                                     zelprofAicoreMetrics metric, void* fd) {
  return Attempt("zelprofCreateSubscribeConfig", [&] {
    Note(static_cast<int>(timeInfoSwitch), metric);
    bool isSupported = timeInfoSwitch == ZEL_PROF_TIME_INFO_ON && metric == ZEL_AICORE_NONE;
    Require(isSupported && fd != nullptr, INVALID_ARGUMENT);
    return Single<SubscribeConfigs>().Make(*static_cast<int32_t*>(fd));
  });
}

int32_t zelprofDestroySubscribeConfig(zelprofSubscribeConfig* config) {
  return Release("zelprofDestroySubscribeConfig",
                 [&] { Single<SubscribeConfigs>().Remove(config); });
}
