/// \file
/// What a command line asks for.
#ifndef ORMO_MEASURE_OPTIONS_H
#define ORMO_MEASURE_OPTIONS_H

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "ormo/runner_types.h"

namespace OrmoMeasure {

/// An input's content, and its shape when the model leaves that open.
struct InputFile {
  std::string path;
  std::vector<int64_t> dims;
};

/// Where an output goes.
struct OutputFile {
  std::string path;
  uint64_t size = 0;  ///< bytes; 0: what the model says
};

enum class ReportFormat { TABLE, JSON, CSV };

/// Candidates to measure, and how; the names are those of RunnerConfig.
struct OfflineOptions {
  std::vector<std::string> models;
  std::vector<uint32_t> devices = {0};
  bool fromFile = false;
  bool prof = true;
  uint32_t loop = 10;  ///< from 10 on, the average leaves out the fastest and slowest fifth
  uint64_t runTimeBound = std::numeric_limits<uint64_t>::max();
  Ormo::RunMode runMode = Ormo::RunMode::DEFAULT;
  std::string dynamicType;
  std::string dynamicParam;
  std::string buildRunKey;
  std::vector<InputFile> inputs;
  std::vector<OutputFile> outputs;
  std::string traceDirectory;  ///< empty: no trace
  ReportFormat format = ReportFormat::TABLE;
};

/// Graphs to measure in sessions, and how; the names are those of RunnerConfig.
struct OnlineOptions {
  std::vector<std::string> graphs;
  std::vector<std::string> dependGraphs;
  std::map<std::string, std::string> options;  ///< compile options
  std::vector<uint32_t> devices = {0};
  uint32_t loop = 10;
  uint64_t runTimeBound = std::numeric_limits<uint64_t>::max();
  bool check = false;         ///< run once, unprofiled, instead of measuring
  std::string saveDirectory;  ///< of the outputs of a check; empty: they are not saved
  std::string traceDirectory;
  ReportFormat format = ReportFormat::TABLE;
};

/// Requests of single operators to measure, and how; the names are those of ZelnnRunConfig.
struct OpOptions {
  std::vector<std::string> requests;
  std::vector<uint32_t> devices = {0};
  uint32_t loop = 10;
  std::string tiling;
  std::string traceDirectory;
  ReportFormat format = ReportFormat::TABLE;
};

/// Graphs of kernels to simulate.
struct SimOptions {
  std::vector<std::string> graphs;
  ReportFormat format = ReportFormat::TABLE;
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OPTIONS_H
