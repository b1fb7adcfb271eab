/// \file
/// Which profiling records of a run are missing.
#ifndef ORMO_MEASURE_LOST_RECORDS_H
#define ORMO_MEASURE_LOST_RECORDS_H

#include <string>

#include "ormo/ormo_runner_detail.h"

namespace OrmoMeasure {

/// What the records of a profiled run that went well lack, for people: executions, operators that
/// other executions have, the executions of operators, or an operator in every execution, which
/// shows by the time that it leaves: a quarter and 0.1 ms of each. Empty when nothing shows.
std::string DescribeLostRecords(const Ormo::RunDetail& detail);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_LOST_RECORDS_H
