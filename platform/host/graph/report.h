/// \file
/// What people are told when a model is refused.
#ifndef ORMO_HOST_GRAPH_REPORT_H
#define ORMO_HOST_GRAPH_REPORT_H

#include <string>

#include "graph/graph.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "services/error_store.h"

namespace OrmoHost {

/// Codes of the error manager's messages.
constexpr char MODEL_REFUSED[] = "EH0001";
constexpr char EXECUTION_REFUSED[] = "EH0002";

/// Reports to the error manager, for the calling thread's work stream. `origin` is what the message
/// calls the model.
inline void Report(const char* message, const std::string& origin, const std::string& reason) {
  Single<ErrorStore>().Add(ErrorStore::Kind::ERROR,
                           std::string(message) + ": " + origin + ": " + reason);
}

/// Runs `work`. A GraphError in it is reported and becomes a refusal with `code`.
template <typename Work>
auto Reporting(const char* message, const std::string& origin, int32_t code, Work&& work) {
  try {
    return work();
  } catch (const GraphError& error) {
    Report(message, origin, error.what());
    throw Refusal(code);
  }
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_GRAPH_REPORT_H
