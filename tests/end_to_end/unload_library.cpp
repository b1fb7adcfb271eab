// Opens the library at run time, measures with it, closes it and says whether it is gone. Links
// neither the library nor the platform.
#include <dlfcn.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "ormo/ormo_runner.h"

namespace {

template <typename Function>
Function* Find(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (symbol == nullptr) {
    std::puts(dlerror());  // NOLINT(concurrency-mt-unsafe)
  }
  return reinterpret_cast<Function*>(symbol);
}

bool MeasureOperator(void* library, const char* request) {
  auto* init = Find<decltype(OrmoZelnnRunnerInit)>(library, "OrmoZelnnRunnerInit");
  auto* run = Find<decltype(OrmoZelnnRun)>(library, "OrmoZelnnRun");
  auto* finalize = Find<decltype(OrmoZelnnRunnerFinalize)>(library, "OrmoZelnnRunnerFinalize");
  if (init == nullptr || run == nullptr || finalize == nullptr || init({}) != 0) {
    return false;
  }
  Ormo::ZelnnRunConfig config;
  config.opJson = request;
  Ormo::RunnerResult result;
  const bool measured = run(config, result) == 0 && result.totalCostTime > 0;
  finalize();
  return measured;
}

bool MeasureModel(void* library, char* graph) {
  auto* init = Find<decltype(OrmoOfflineRunnerInit)>(library, "OrmoOfflineRunnerInit");
  auto* run = Find<decltype(OrmoOfflineRun)>(library, "OrmoOfflineRun");
  auto* finalize = Find<decltype(OrmoOfflineRunnerFinalize)>(library, "OrmoOfflineRunnerFinalize");
  if (init == nullptr || run == nullptr || finalize == nullptr || init({{0, 1}}) != 0) {
    return false;
  }
  Ormo::RunnerConfig config;
  config.modelData.data = graph;
  config.modelData.size = std::string(graph).size();
  bool measured = true;
  for (const bool prof : {false, true}) {
    config.prof = prof;
    Ormo::RunnerResult result;
    measured = measured && run(config, result) == 0 && result.totalCostTime > 0;
  }
  finalize();
  return measured;
}

// Also by what merely mentions it in its name.
bool IsMapped(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(name) != std::string::npos) {
      return true;
    }
  }
  return false;
}

bool IsLoaded(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) {
    dlclose(library);
  }
  return library != nullptr;
}

}  // namespace

// Arguments: paths of the library and of its platform, texts of a graph and of an operator call.
int main(int /*argc*/, char** argv) {
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::puts(dlerror());  // NOLINT(concurrency-mt-unsafe)
    return 1;
  }
  const bool isSeen = IsLoaded(argv[1]) && IsLoaded(argv[2]) && IsMapped("libormo");
  const bool isMeasured = MeasureModel(library, argv[3]) && MeasureOperator(library, argv[4]);
  dlclose(library);
  std::printf("seen %d, measured %d, loaded %d, platform loaded %d, mapped %d\n", isSeen,
              isMeasured, IsLoaded(argv[1]), IsLoaded(argv[2]), IsMapped("libormo"));
  return 0;
}
