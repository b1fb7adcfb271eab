/// \file
/// What the programs share.
#ifndef ORMO_EXAMPLES_TUNER_H
#define ORMO_EXAMPLES_TUNER_H

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "ormo/ormo_runner_detail.h"

/// Says why something failed. Returns the program's exit status.
inline int Failed(const std::string& what, int status, const std::string& reason) {
  std::cerr << what << ": " << status << " (" << OrmoStatusText(status) << "): " << reason << "\n";
  return 1;
}

inline int Usage(const char* text) {
  std::cerr << "Usage: " << text << "\n";
  return 2;
}

/// Empty when the file cannot be read.
inline std::vector<char> ReadFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Whether the records of a profiled run show less than was executed: its costs are too low then.
inline bool HasLostRecords(const Ormo::RunDetail& detail) {
  if (detail.executions.size() != detail.executionsBegun || detail.operatorsOutside > 0) {
    return true;
  }
  return std::any_of(detail.executions.begin(), detail.executions.end(),
                     [&](const Ormo::RunnerRunResult& execution) {
                       return execution.opInfos.size() != detail.executions[0].opInfos.size();
                     });
}

#endif  // ORMO_EXAMPLES_TUNER_H
