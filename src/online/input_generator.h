/// \file
/// Inputs for graphs, made from the graphs themselves.
#ifndef ORMO_ONLINE_INPUT_GENERATOR_H
#define ORMO_ONLINE_INPUT_GENERATOR_H

#include <vector>

#include "common/call_site.h"
#include "ormo/runner_types.h"

namespace Ormo {

// Functions return 0, or STATUS_FAILED after an error line: a graph without content, or an input
// whose size cannot be computed. Lines carry `site`'s file. Any thread.

/// Appends a tensor for each input description of each "Data" node. Bytes of floating-point tensors
/// are all 0x3F; of others the first is 1, the rest 0. After a failure some tensors may be there.
int GenerateInput(const ox::Graph& graph, std::vector<ox::Tensor>& inputs,
                  CallSite site = CallSite::Here());

/// Appends the inputs of each graph, in order.
int GenerateInputForSet(const std::vector<ox::Graph>& graphs,
                        std::vector<std::vector<ox::Tensor>>& inputSets,
                        CallSite site = CallSite::Here());

/// Appends inputs of the dependency graphs and of `graph` to `config.graphInputs`, unless it holds
/// some for all of them.
int GenerateRunInputs(const ox::Graph& graph, RunnerConfig& config,
                      CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_ONLINE_INPUT_GENERATOR_H
