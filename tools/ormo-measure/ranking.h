/// \file
/// The order of candidates in a report.
#ifndef ORMO_MEASURE_RANKING_H
#define ORMO_MEASURE_RANKING_H

#include <optional>
#include <vector>

#include "measurement.h"

namespace OrmoMeasure {

/// Sorts the fastest first; after what was measured come checks, bound stops, skips and failures.
void Rank(std::vector<Measurement>& measurements);

/// Cost relative to the best candidate of a ranking, when both have figures that could be counted.
std::optional<double> RatioToBest(const std::vector<Measurement>& ranking,
                                  const Measurement& measurement);

/// Whether a candidate failed.
bool HasFailure(const std::vector<Measurement>& measurements);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_RANKING_H
