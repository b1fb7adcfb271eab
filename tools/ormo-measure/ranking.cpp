#include "ranking.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace OrmoMeasure {
namespace {

std::tuple<Outcome, uint64_t> SortKey(const Measurement& measurement) {
  return {measurement.outcome, measurement.HasFigures() ? measurement.result.totalCostTime
                                                        : std::numeric_limits<uint64_t>::max()};
}

}  // namespace

void Rank(std::vector<Measurement>& measurements) {
  std::stable_sort(
      measurements.begin(), measurements.end(),
      [](const Measurement& a, const Measurement& b) { return SortKey(a) < SortKey(b); });
}

std::optional<double> RatioToBest(const std::vector<Measurement>& ranking,
                                  const Measurement& measurement) {
  const bool isCounted = measurement.HasFigures() && !measurement.IsMaximum();
  if (ranking.front().outcome != Outcome::MEASURED || !isCounted) {
    return std::nullopt;
  }
  return static_cast<double>(measurement.result.totalCostTime) /
         static_cast<double>(ranking.front().result.totalCostTime);
}

bool HasFailure(const std::vector<Measurement>& measurements) {
  return std::any_of(measurements.begin(), measurements.end(),
                     [](const Measurement& m) { return m.outcome == Outcome::FAILED; });
}

}  // namespace OrmoMeasure
