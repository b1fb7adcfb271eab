/// \file
/// A look at the request of an operator before it is measured.
#ifndef ORMO_MEASURE_REQUEST_CHECK_H
#define ORMO_MEASURE_REQUEST_CHECK_H

#include <string>

namespace OrmoMeasure {

/// Throws std::runtime_error that names the key and the element at fault and what was expected,
/// where the library would go on: it puts defaults in the place of what a tensor lacks or spells
/// wrongly, makes integers fit and passes over keys, and a candidate should be what its author
/// meant. What the library refuses is left to it, but for text that is no JSON: here the reason
/// says where.
void CheckRequest(const std::string& json);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_REQUEST_CHECK_H
