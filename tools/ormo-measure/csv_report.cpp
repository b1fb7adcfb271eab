#include "report.h"

namespace OrmoMeasure {
namespace {

// A field as RFC 4180 wants it.
std::string Quote(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (char c : text) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + '"';
}

// The first columns that all lines of a candidate share.
std::string CandidateFields(const Measurement& measurement) {
  std::string fields = Quote(measurement.model) + ',' + OutcomeName(measurement.outcome) + ',' +
                       std::to_string(measurement.status) + ',';
  if (measurement.HasFigures()) {
    const uint64_t wall = measurement.result.runCostTime;
    fields += std::to_string(measurement.result.totalCostTime) + ',' +
              (wall == 0 ? "" : std::to_string(wall));
  } else {
    fields += ',';
  }
  return fields + ',' + Quote(measurement.reason);
}

// The last ones, and the line's end.
std::string LastFields(const Measurement& measurement) {
  return ',' + (measurement.HasDevice() ? std::to_string(measurement.deviceId) : "") + ',' +
         Quote(measurement.lostRecords) + '\n';
}

}  // namespace

void PrintCsv(std::ostream& out, const std::vector<Measurement>& ranking) {
  out << "model,outcome,status,totalCostTime,runCostTime,reason,operator,opCostTime,"
         "aicoreCostTime,device,warning\n";
  for (const Measurement& measurement : ranking) {
    const std::string candidate = CandidateFields(measurement);
    const std::string last = LastFields(measurement);
    const std::vector<OperatorCost> operators = OperatorsByCost(measurement.result);
    if (operators.empty()) {
      out << candidate << ",,," << last;
    }
    for (const OperatorCost& op : operators) {
      out << candidate << ',' << Quote(op.name) << ',' << op.cost << ',' << op.aicoreCost << last;
    }
  }
}

}  // namespace OrmoMeasure
