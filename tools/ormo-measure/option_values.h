/// \file
/// The texts that options take. Every operation throws std::invalid_argument that says what was
/// expected.
#ifndef ORMO_MEASURE_OPTION_VALUES_H
#define ORMO_MEASURE_OPTION_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "options.h"

namespace OrmoMeasure {

/// A positive number.
uint32_t ParseCount(const std::string& text);

/// Nanoseconds of a text like "5ms" or "0.5s".
uint64_t ParseDuration(const std::string& text);

/// "0,1,3"
std::vector<uint32_t> ParseDevices(const std::string& text);

/// Checks a dynamic setting: `minimum` to `maximum` positive integers with commas between.
void CheckSizes(const std::string& text, size_t minimum, size_t maximum);

/// "default", "previous-memory" or "no-check"
Ormo::RunMode ParseRunMode(const std::string& text);

/// "table", "json" or "csv"
ReportFormat ParseFormat(const std::string& text);

/// "FILE" or "FILE:2x784"
InputFile ParseInput(const std::string& text);

/// "key=value"; the value may be empty.
std::pair<std::string, std::string> ParseKeyValue(const std::string& text);

/// "FILE" or "FILE:BYTES"
OutputFile ParseOutput(const std::string& text);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OPTION_VALUES_H
