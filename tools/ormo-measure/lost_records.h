/// \file
/// Which profiling records of a run are missing.
#ifndef ORMO_MEASURE_LOST_RECORDS_H
#define ORMO_MEASURE_LOST_RECORDS_H

#include <string>

#include "ormo/ormo_runner_detail.h"

namespace OrmoMeasure {

/// What the records of a profiled run that went well lack, for people: executions, operators that
/// other executions have, or the executions of operators. Empty when nothing shows; an operator
/// that is missing in every execution does not.
std::string DescribeLostRecords(const Ormo::RunDetail& detail);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_LOST_RECORDS_H
