/// \file
/// Graphs in sessions.
#ifndef ORMO_HOST_ENGINE_SESSION_GRAPH_H
#define ORMO_HOST_ENGINE_SESSION_GRAPH_H

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "models/loaded_model.h"
#include "ox/compute_graph.h"
#include "ox/tarn_string.h"
#include "ox/tensor.h"
#include "runtime/table.h"

namespace OrmoHost {

class Engine;

/// The compile options that the host knows; docs/host-platform.md describes them. Others mean
/// nothing to it.
struct GraphOptions {
  RecordStyle recordStyle = RecordStyle::WITH_STEPS;
  bool savesOutputs = false;

  /// Throws a GraphError when a known option has an unknown value; an empty one is the default.
  static GraphOptions Parse(const std::map<ox::TarnString, ox::TarnString>& texts);
};

/// A compiled graph of a session.
class SessionGraph {
 public:
  SessionGraph(const Engine* engine, uint32_t id, const GraphOptions& options,
               std::unique_ptr<LoadedModel> model)
      : engine_(engine), id_(id), options_(options), model_(std::move(model)) {}

  uint32_t Id() const { return id_; }

  const Engine* Owner() const { return engine_; }

  const GraphOptions& Options() const { return options_; }

  void Subscribe(std::shared_ptr<RecordOutput> output);

  void Unsubscribe() { model_->Unsubscribe(); }

  /// Runs on the calling thread and returns the outputs. Refuses, after a report, what does not
  /// fit.
  std::vector<ox::Tensor> Run(const std::vector<ox::Tensor>& inputs);

  /// Outputs by the names of their nodes.
  std::map<ox::TarnString, ox::Tensor> NameOutputs(const std::vector<ox::Tensor>& outputs) const;

 private:
  std::vector<ox::Tensor> Execute(const std::vector<ox::Tensor>& inputs);

  const Engine* const engine_;
  const uint32_t id_;
  const GraphOptions options_;
  const std::unique_ptr<LoadedModel> model_;
};

/// Compiles a graph for a device. Refuses, after a report, what cannot be compiled or finds no
/// room.
std::shared_ptr<SessionGraph> CompileGraph(const Engine* engine, uint32_t id, uint32_t device,
                                           const ox::ComputeGraph& computeGraph,
                                           const std::map<ox::TarnString, ox::TarnString>& options);

/// The graphs of all sessions: profiling knows them by their ids alone.
using SessionGraphs = Table<SessionGraph>;

/// Refuses an id that no session uses.
std::shared_ptr<SessionGraph> GetSessionGraph(uint32_t id);

}  // namespace OrmoHost

#endif  // ORMO_HOST_ENGINE_SESSION_GRAPH_H
