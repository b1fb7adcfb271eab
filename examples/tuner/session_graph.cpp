// Measures a graph in a session of the graph engine, after the graphs that it depends on.
#include "ormo/ormo_runner.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "tuner.h"

namespace {

bool Load(const char* file, ox::Graph& graph) {
  std::shared_ptr<ox::ComputeGraph> content;
  if (!ox::GraphUtils::LoadOXGraph(file, content)) {
    std::cerr << file << " cannot be read\n";
    return false;
  }
  graph = ox::Graph(content);
  return true;
}

int Measure(const ox::Graph& graph, const std::vector<ox::Graph>& dependGraphs) {
  ox::Session session;
  Ormo::RunnerConfig config;  // one for each graph: it keeps the inputs that are generated
  config.session = &session;
  config.dependGraphs = dependGraphs;
  config.prof = true;
  config.loop = 5;
  std::vector<Ormo::RunnerRunResult> executions;
  Ormo::RunDetail detail;
  const int status = OrmoOnlineRunDetailed(graph, config, {}, executions, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Graph", status, detail.reason);
  }
  if (HasLostRecords(detail)) {
    return Failed("Graph", status, "records were lost");
  }
  for (size_t i = 0; i < executions.size(); ++i) {
    std::cout << "execution " << i << ": " << executions[i].modelInfos.at(0).costTime << " ns, "
              << executions[i].opInfos.size() << " operators\n";
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return Usage("session_graph GRAPH [DEPENDENCY...]");
  }
  ox::Graph graph;
  std::vector<ox::Graph> dependGraphs(static_cast<size_t>(argc - 2));
  bool isLoaded = Load(argv[1], graph);
  for (size_t i = 0; i < dependGraphs.size(); ++i) {
    isLoaded = Load(argv[i + 2], dependGraphs[i]) && isLoaded;
  }
  if (!isLoaded) {
    return 1;
  }
  Ormo::RunnerInitConfig devices;
  devices.deviceIds = {0};  // the lock files; the session finds its device by itself
  const int status = OrmoOnlineRunnerInit(devices);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = Measure(graph, dependGraphs);
  OrmoOnlineRunnerFinalize();
  return exitStatus;
}
