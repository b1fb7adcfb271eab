/// \file
/// The measurement of one candidate.
#ifndef ORMO_MEASURE_CANDIDATE_H
#define ORMO_MEASURE_CANDIDATE_H

#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// The content of the input files, read once for all candidates.
class InputData {
 public:
  /// Throws std::runtime_error when a file cannot be read.
  explicit InputData(const std::vector<InputFile>& files);

  /// As the library takes them; valid as long as this object.
  std::vector<Ormo::OrmoDataInfo> Infos();

 private:
  struct Content {
    std::vector<char> bytes;
    std::vector<int64_t> dims;
  };

  std::vector<Content> contents_;
};

/// Measures one candidate on whichever device is free, and writes its outputs. Throws
/// std::runtime_error when a file cannot be read or written.
void MeasureCandidate(const OfflineOptions& options, const std::vector<Ormo::OrmoDataInfo>& inputs,
                      Measurement& measurement);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_CANDIDATE_H
