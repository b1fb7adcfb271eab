#include <algorithm>
#include <sstream>

#include "ranking.h"
#include "report.h"
#include "text_table.h"
#include "units.h"

namespace OrmoMeasure {
namespace {

std::string ConditionsLine(const OfflineReport& report) {
  const OfflineOptions& options = report.options;
  std::ostringstream line;
  line << report.soc << (options.devices.size() == 1 ? ", device " : ", devices ");
  for (size_t i = 0; i < options.devices.size(); ++i) {
    line << (i == 0 ? "" : ", ") << options.devices[i];
  }
  line << (options.prof ? "; from profiling records" : "; by wall clock") << ", " << options.loop
       << (options.loop == 1 ? " execution" : " executions") << " each";
  return line.str();
}

std::string Remark(const Measurement& measurement) {
  std::ostringstream remark;
  switch (measurement.outcome) {
    case Outcome::MEASURED:
      break;
    case Outcome::BOUND:
    case Outcome::SKIPPED:
      remark << OutcomeName(measurement.outcome) << ": " << measurement.reason;
      break;
    case Outcome::FAILED:
      remark << "failed (" << measurement.status << "): " << measurement.reason;
      break;
  }
  return remark.str();
}

void PrintRanking(std::ostream& out, const OfflineReport& report) {
  TextTable table({{"rank", Align::RIGHT},
                   {"candidate", Align::LEFT},
                   {"total", Align::RIGHT},
                   {"to best", Align::RIGHT},
                   {"wall", Align::RIGHT},
                   {"", Align::LEFT}});
  size_t rank = 0;
  for (const Measurement& measurement : report.ranking) {
    const bool ranked = measurement.outcome == Outcome::MEASURED;
    const bool figures = measurement.HasFigures();
    const std::optional<double> ratio = RatioToBest(report.ranking, measurement);
    table.AddRow({ranked ? std::to_string(++rank) : "-", measurement.model,
                  figures ? FormatDuration(measurement.result.totalCostTime) : "-",
                  ratio ? FormatRatio(*ratio) : "-",
                  figures ? FormatDuration(measurement.result.runCostTime) : "-",
                  Remark(measurement)});
  }
  table.Print(out);
}

void PrintOperators(std::ostream& out, const Measurement& measurement) {
  const std::vector<OperatorCost> operators = OperatorsByCost(measurement.result);
  if (operators.empty()) {
    return;
  }
  out << '\n' << measurement.model << ", by operator\n";
  TextTable table({{"cost", Align::RIGHT},
                   {"share", Align::RIGHT},
                   {"on cores", Align::RIGHT},
                   {"operator", Align::LEFT},
                   {"", Align::LEFT}});
  const auto total = static_cast<double>(std::max<uint64_t>(1, measurement.result.totalCostTime));
  for (const OperatorCost& op : operators) {
    const double share = static_cast<double>(op.cost) / total;
    table.AddRow({FormatDuration(op.cost), FormatShare(share), FormatDuration(op.aicoreCost),
                  op.name, FormatBar(share)});
  }
  table.Print(out);
}

void PrintRanking(std::ostream& out, const SimReport& report) {
  TextTable table({{"rank", Align::RIGHT},
                   {"candidate", Align::LEFT},
                   {"total ticks", Align::RIGHT},
                   {"to best", Align::RIGHT},
                   {"", Align::LEFT}});
  size_t rank = 0;
  for (const Measurement& measurement : report.ranking) {
    const bool ranked = measurement.outcome == Outcome::MEASURED;
    const std::optional<double> ratio = RatioToBest(report.ranking, measurement);
    table.AddRow({ranked ? std::to_string(++rank) : "-", measurement.model,
                  ranked ? FormatTicks(measurement.result.totalCostTime) : "-",
                  ratio ? FormatRatio(*ratio) : "-", Remark(measurement)});
  }
  table.Print(out);
}

void PrintKernels(std::ostream& out, const Measurement& measurement) {
  const std::vector<OperatorCost> kernels = OperatorsByCost(measurement.result);
  if (kernels.empty()) {
    return;
  }
  out << '\n' << measurement.model << ", by kernel\n";
  TextTable table({{"ticks", Align::RIGHT},
                   {"share", Align::RIGHT},
                   {"operator", Align::LEFT},
                   {"", Align::LEFT}});
  const auto total = static_cast<double>(measurement.result.totalCostTime);
  for (const OperatorCost& kernel : kernels) {
    const double share = static_cast<double>(kernel.cost) / total;
    table.AddRow({FormatTicks(kernel.cost), FormatShare(share), kernel.name, FormatBar(share)});
  }
  table.Print(out);
}

}  // namespace

void PrintTable(std::ostream& out, const OfflineReport& report) {
  out << ConditionsLine(report) << "\n\n";
  PrintRanking(out, report);
  for (const Measurement& measurement : report.ranking) {
    PrintOperators(out, measurement);
  }
}

void PrintTable(std::ostream& out, const SimReport& report) {
  out << report.soc << ", simulated by " << report.simulator << "\n\n";
  PrintRanking(out, report);
  for (const Measurement& measurement : report.ranking) {
    PrintKernels(out, measurement);
  }
}

}  // namespace OrmoMeasure
