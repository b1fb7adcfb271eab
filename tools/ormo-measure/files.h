/// \file
/// Whole files.
#ifndef ORMO_MEASURE_FILES_H
#define ORMO_MEASURE_FILES_H

#include <string>
#include <vector>

namespace OrmoMeasure {

/// Throws std::runtime_error when the file cannot be read or is empty.
std::vector<char> ReadFile(const std::string& path);

/// Throws std::runtime_error when the file cannot be written.
void WriteFile(const std::string& path, const std::vector<char>& bytes);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_FILES_H
