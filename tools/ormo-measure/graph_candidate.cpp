#include "graph_candidate.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

#include "error_reason.h"
#include "execution_averages.h"
#include "files.h"
#include "lost_records.h"
#include "ormo/ormo_runner_detail.h"
#include "ox/graph_utils.h"
#include "ox/session.h"

namespace OrmoMeasure {
namespace {

Ormo::RunnerConfig MakeConfig(const OnlineOptions& options, ox::Session& session,
                              const std::vector<ox::Graph>& dependGraphs) {
  Ormo::RunnerConfig config;
  config.prof = !options.check;
  config.loop = options.loop;
  config.runTimeBound = options.runTimeBound;
  config.session = &session;
  config.options = options.options;
  config.dependGraphs = dependGraphs;
  return config;
}

// "DIR/2-tile-16-0": the candidate's number on the command line, its name, the output's number.
std::string OutputFileName(const OnlineOptions& options, const std::string& graph, size_t output) {
  const auto place = std::find(options.graphs.begin(), options.graphs.end(), graph);
  const std::string name = std::to_string(place - options.graphs.begin() + 1) + "-" +
                           std::filesystem::path(graph).stem().string() + "-" +
                           std::to_string(output);
  return (std::filesystem::path(options.saveDirectory) / name).string();
}

void TakeOutputs(const OnlineOptions& options, const std::vector<ox::Tensor>& outputs,
                 Measurement& measurement) {
  for (const ox::Tensor& tensor : outputs) {
    const std::vector<uint8_t>& bytes = tensor.GetData();
    Output output{bytes.size(), {}};
    if (!options.saveDirectory.empty()) {
      output.file = OutputFileName(options, measurement.model, measurement.outputs.size());
      WriteFile(output.file, std::vector<char>(bytes.begin(), bytes.end()));
    }
    measurement.outputs.push_back(output);
  }
}

void TakeFigures(Ormo::RunDetail& detail, Measurement& measurement) {
  measurement.lostRecords = DescribeLostRecords(detail);
  measurement.executions = std::move(detail.executions);
  measurement.result = AverageExecutions(measurement.executions);
}

}  // namespace

ox::Graph LoadGraph(const std::string& file) {
  ErrorContext errors;
  std::shared_ptr<ox::ComputeGraph> graph;
  if (!ox::GraphUtils::LoadOXGraph(file.c_str(), graph)) {
    throw std::runtime_error(errors.TakeReason(file + " cannot be loaded as a graph"));
  }
  return ox::Graph(graph);
}

void MeasureGraph(const OnlineOptions& options, ox::Session& session,
                  const std::vector<ox::Graph>& dependGraphs, Measurement& measurement) {
  const ox::Graph graph = LoadGraph(measurement.model);
  Ormo::RunnerConfig config = MakeConfig(options, session, dependGraphs);
  std::vector<Ormo::RunnerRunResult> results;
  Ormo::RunDetail detail;
  measurement.status = OrmoOnlineRunDetailed(graph, config, {}, results, detail);
  measurement.reason = JoinLines(detail.reason);
  const bool isSuccess = measurement.status == Ormo::STATUS_SUCCESS;
  if (options.check && isSuccess) {
    TakeOutputs(options, config.graphOutputs.at(0), measurement);
    measurement.outcome = Outcome::CHECKED;
  } else if (isSuccess) {
    TakeFigures(detail, measurement);
    measurement.SettleByFigures();
  } else if (detail.isBoundReached && measurement.status == Ormo::STATUS_FAILED) {
    TakeFigures(detail, measurement);
    measurement.outcome = Outcome::BOUND;
  }
}

}  // namespace OrmoMeasure
