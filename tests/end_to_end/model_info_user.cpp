// Loads a model and prints what it is, with whatever its platform can tell.
#include <cstdio>
#include <string>

#include "ormo/ormo_runner.h"
#include "support/model_info_text.h"

// Argument: the text of a graph.
int main(int /*argc*/, char** argv) {
  std::string graph = argv[1];
  Ormo::ModelInfo model;
  model.modelData.data = graph.data();
  model.modelData.size = graph.size();
  Ormo::OfflineModelInfo info;
  const bool isTold = OrmoOfflineRunnerInit({{0}}) == 0 && OrmoOfflineLoadOnDevice(model, 0) == 0 &&
                      OrmoOfflineGetModelInfo(model.modelId, info) == 0;
  OrmoOfflineRunnerFinalize();
  std::puts(isTold ? Ormo::Testing::ToText(info).c_str() : OrmoGetFailureReason());
  return 0;
}
