/// \file
/// The measurement of one graph in a session.
#ifndef ORMO_MEASURE_GRAPH_CANDIDATE_H
#define ORMO_MEASURE_GRAPH_CANDIDATE_H

#include <string>
#include <vector>

#include "measurement.h"
#include "options.h"
#include "ox/graph.h"

namespace ox {
class Session;
}  // namespace ox

namespace OrmoMeasure {

/// Reads a graph file. Throws std::runtime_error with the reason.
ox::Graph LoadGraph(const std::string& file);

/// Measures the graph of a file on whichever device is free, or checks it and saves its outputs.
/// Throws std::runtime_error when a file cannot be read or written.
void MeasureGraph(const OnlineOptions& options, ox::Session& session,
                  const std::vector<ox::Graph>& dependGraphs, Measurement& measurement);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_GRAPH_CANDIDATE_H
