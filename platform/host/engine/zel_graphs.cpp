#include "engine/session_graph.h"
#include "profiling/subscription.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_prof.h"

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelgrphProfGraphSubscribe(uint32_t graphId, zelprofSubscribeConfig* config) {
  return Attempt("zelgrphProfGraphSubscribe", [&] {
    Note("#", graphId);
    GetSessionGraph(graphId)->Subscribe(Single<SubscribeConfigs>().Get(config));
  });
}

int32_t zelgrphProfGraphUnSubscribe(uint32_t graphId) {
  return Release("zelgrphProfGraphUnSubscribe", [&] {
    Note("#", graphId);
    GetSessionGraph(graphId)->Unsubscribe();
  });
}
