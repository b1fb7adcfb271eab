/// \file
/// Figures in units that are easy to read.
#ifndef ORMO_MEASURE_UNITS_H
#define ORMO_MEASURE_UNITS_H

#include <cstdint>
#include <string>

namespace OrmoMeasure {

/// Four digits and the unit that fits: "812 ns", "12.34 us", "1.234 s".
std::string FormatDuration(uint64_t nanoseconds);

/// "12,345,678", or "maximum" for all ones.
std::string FormatTicks(uint64_t ticks);

/// "1.312x"
std::string FormatRatio(double ratio);

/// "12.3 %"
std::string FormatShare(double share);

/// A bar whose full length stands for the share 1.
std::string FormatBar(double share);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_UNITS_H
