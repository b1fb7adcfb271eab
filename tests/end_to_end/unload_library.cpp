// Opens the library at run time, measures with it, closes it and says whether it is gone. Links
// neither the library nor the platform.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "end_to_end/online_user.h"
#include "ormo/ormo_runner.h"
#include "support/mapped_files.h"

namespace {

using Ormo::Testing::IsMapped;

template <typename Function>
Function* Find(void* library, const std::string& name) {
  void* symbol = dlsym(library, name.c_str());
  if (symbol == nullptr) {
    std::puts(dlerror());  // NOLINT(concurrency-mt-unsafe)
    std::abort();
  }
  return reinterpret_cast<Function*>(symbol);
}

// Whether `measure` succeeds while the runner of that name is initialised.
template <typename Measure>
bool WithRunner(void* library, const std::string& name, Measure measure) {
  auto* init = Find<decltype(OrmoOfflineRunnerInit)>(library, name + "RunnerInit");
  auto* finalize = Find<decltype(OrmoOfflineRunnerFinalize)>(library, name + "RunnerFinalize");
  const bool isMeasured = init({{0, 1}}) == 0 && measure();
  finalize();
  return isMeasured;
}

bool MeasureOperator(void* library, const char* request) {
  auto* run = Find<decltype(OrmoZelnnRun)>(library, "OrmoZelnnRun");
  Ormo::ZelnnRunConfig config;
  config.opJson = request;
  return WithRunner(library, "OrmoZelnn", [&] {
    Ormo::RunnerResult result;
    return run(config, result) == 0 && result.totalCostTime > 0;
  });
}

bool MeasureModel(void* library, char* graph) {
  auto* run = Find<decltype(OrmoOfflineRun)>(library, "OrmoOfflineRun");
  Ormo::RunnerConfig config;
  config.modelData.data = graph;
  config.modelData.size = std::string(graph).size();
  return WithRunner(library, "OrmoOffline", [&] {
    bool isMeasured = true;
    for (const bool prof : {false, true}) {
      config.prof = prof;
      Ormo::RunnerResult result;
      isMeasured = isMeasured && run(config, result) == 0 && result.totalCostTime > 0;
    }
    return isMeasured;
  });
}

bool MeasureGraph(void* library, void* user, const char* file) {
  auto* run = Find<decltype(OrmoOnlineRun)>(library, "OrmoOnlineRun");
  auto* runGraph = Find<decltype(RunGraph)>(user, "RunGraph");
  return WithRunner(library, "OrmoOnline", [&] { return runGraph(run, file); });
}

bool IsLoaded(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) {
    dlclose(library);
  }
  return library != nullptr;
}

}  // namespace

// Arguments: paths of the library, of its platform and of a user of sessions, texts of a graph and
// of an operator call, and a graph's file.
int main(int /*argc*/, char** argv) {
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* user = dlopen(argv[3], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr || user == nullptr) {
    std::puts(dlerror());  // NOLINT(concurrency-mt-unsafe)
    return 1;
  }
  const bool isSeen = IsLoaded(argv[1]) && IsLoaded(argv[2]) && IsMapped("libormo");
  const bool isMeasured = MeasureModel(library, argv[4]) && MeasureOperator(library, argv[5]) &&
                          MeasureGraph(library, user, argv[6]);
  dlclose(library);
  const bool isLoaded = IsLoaded(argv[1]);
  dlclose(user);  // and what it holds of the library's making
  std::printf("seen %d, measured %d, loaded %d, platform loaded %d, mapped %d\n", isSeen,
              isMeasured, isLoaded, IsLoaded(argv[2]), IsMapped("libormo"));
  return 0;
}
