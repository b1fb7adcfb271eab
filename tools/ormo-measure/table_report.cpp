#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>

#include "ranking.h"
#include "report.h"
#include "text_table.h"
#include "units.h"

namespace OrmoMeasure {
namespace {

// "TarnLake1, devices 0, 1; from profiling records, 10 executions each", a line for each device
// that is not locked, and an empty one.
template <typename Report>
void PrintConditions(std::ostream& out, const Report& report, const std::string& method,
                     uint32_t executions) {
  const std::vector<uint32_t>& devices = report.options.devices;
  out << report.soc << (devices.size() == 1 ? ", device " : ", devices ");
  for (size_t i = 0; i < devices.size(); ++i) {
    out << (i == 0 ? "" : ", ") << devices[i];
  }
  out << "; " << method << ", " << executions << (executions == 1 ? " execution" : " executions")
      << " each\n";
  for (const UnlockedDevice& device : report.locks.unlocked) {
    out << UnlockedText(device) << '\n';
  }
  out << '\n';
}

// Part of a total; "-" of none.
std::string ShareCell(uint64_t cost, uint64_t total) {
  return total == 0 ? "-" : FormatShare(static_cast<double>(cost) / static_cast<double>(total));
}

std::string BarCell(uint64_t cost, uint64_t total) {
  return total == 0 ? "" : FormatBar(static_cast<double>(cost) / static_cast<double>(total));
}

std::string Remark(const Measurement& measurement) {
  std::ostringstream remark;
  if (!measurement.lostRecords.empty()) {
    remark << "warning: " << measurement.lostRecords
           << (measurement.outcome == Outcome::MEASURED ? "" : "; ");
  }
  switch (measurement.outcome) {
    case Outcome::MEASURED:
      break;
    case Outcome::CHECKED:
      remark << "checked: " << measurement.outputs.size()
             << (measurement.outputs.size() == 1 ? " output" : " outputs");
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

// A column of a ranking.
struct Field {
  Column column;
  std::function<std::string(const Measurement&)> cell;
};

Field DeviceField() {
  return {{"device", Align::RIGHT}, [](const Measurement& measurement) {
            return measurement.HasDevice() ? std::to_string(measurement.deviceId) : "-";
          }};
}

using Figure = uint64_t (*)(const Measurement&);
using Format = std::string (*)(uint64_t);

// "-" for candidates without figures.
Field FigureField(const char* title, Figure figure, Format format = FormatDuration) {
  return {{title, Align::RIGHT}, [figure, format](const Measurement& measurement) {
            return measurement.HasFigures() ? format(figure(measurement)) : "-";
          }};
}

uint64_t TotalOf(const Measurement& measurement) {
  return measurement.result.totalCostTime;
}

Field RatioField(const std::vector<Measurement>& ranking) {
  return {{"to best", Align::RIGHT}, [&ranking](const Measurement& measurement) {
            const std::optional<double> ratio = RatioToBest(ranking, measurement);
            return ratio ? FormatRatio(*ratio) : "-";
          }};
}

void PrintRanking(std::ostream& out, const std::vector<Measurement>& ranking,
                  const std::vector<Field>& fields) {
  std::vector<Column> columns = {{"rank", Align::RIGHT}, {"candidate", Align::LEFT}};
  for (const Field& field : fields) {
    columns.push_back(field.column);
  }
  columns.push_back({"", Align::LEFT});
  TextTable table(columns);
  size_t rank = 0;
  for (const Measurement& measurement : ranking) {
    const bool isRanked = measurement.outcome == Outcome::MEASURED;
    std::vector<std::string> cells = {isRanked ? std::to_string(++rank) : "-", measurement.model};
    for (const Field& field : fields) {
      cells.push_back(field.cell(measurement));
    }
    cells.push_back(Remark(measurement));
    table.AddRow(cells);
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
  const uint64_t total = measurement.result.totalCostTime;
  for (const OperatorCost& op : operators) {
    table.AddRow({FormatDuration(op.cost), ShareCell(op.cost, total), FormatDuration(op.aicoreCost),
                  op.name, BarCell(op.cost, total)});
  }
  table.Print(out);
}

// What the operators of one name took in an execution; "-" where there were none.
std::string OperatorCell(const Ormo::RunnerRunResult& execution, const std::string& name) {
  uint64_t cost = 0;
  bool isThere = false;
  for (const Ormo::RunnerOpInfo& op : execution.opInfos) {
    isThere = isThere || op.opName == name;
    cost += op.opName == name ? op.opCostTime : 0;
  }
  return isThere ? FormatDuration(cost) : "-";
}

// A column for each execution from `first` to before `last`, a row for each operator.
void PrintExecutions(std::ostream& out, const Measurement& measurement, size_t first, size_t last) {
  const std::vector<Ormo::RunnerRunResult>& executions = measurement.executions;
  std::vector<Column> columns;
  std::vector<std::string> totals;
  for (size_t i = first; i < last; ++i) {
    columns.push_back({"#" + std::to_string(i + 1), Align::RIGHT});
    totals.push_back(FormatDuration(CostOf(executions[i])));
  }
  columns.push_back({"", Align::LEFT});
  totals.emplace_back("total");
  TextTable table(columns);
  table.AddRow(totals);
  for (const OperatorCost& op : OperatorsByCost(measurement.result)) {
    std::vector<std::string> cells;
    for (size_t i = first; i < last; ++i) {
      cells.push_back(OperatorCell(executions[i], op.name));
    }
    cells.push_back(op.name);
    table.AddRow(cells);
  }
  table.Print(out);
}

void PrintExecutions(std::ostream& out, const Measurement& measurement) {
  constexpr size_t COLUMNS = 8;  // leaves the names room on a line of 120 characters
  const size_t count = measurement.executions.size();
  if (count > 0) {
    out << '\n' << measurement.model << ", by execution\n";
  }
  for (size_t first = 0; first < count; first += COLUMNS) {
    PrintExecutions(out, measurement, first, std::min(first + COLUMNS, count));
  }
}

void PrintOutputs(std::ostream& out, const Measurement& measurement) {
  for (const Output& output : measurement.outputs) {
    if (!output.file.empty()) {
      out << output.file << ": " << output.size << " bytes\n";
    }
  }
}

uint64_t FastestOf(const Measurement& measurement) {
  uint64_t fastest = std::numeric_limits<uint64_t>::max();
  for (const Ormo::RunnerRunResult& execution : measurement.executions) {
    fastest = std::min(fastest, CostOf(execution));
  }
  return fastest;
}

uint64_t SlowestOf(const Measurement& measurement) {
  uint64_t slowest = 0;
  for (const Ormo::RunnerRunResult& execution : measurement.executions) {
    slowest = std::max(slowest, CostOf(execution));
  }
  return slowest;
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
  const uint64_t total = measurement.result.totalCostTime;
  for (const OperatorCost& kernel : kernels) {
    table.AddRow({FormatTicks(kernel.cost), ShareCell(kernel.cost, total), kernel.name,
                  BarCell(kernel.cost, total)});
  }
  table.Print(out);
}

}  // namespace

void PrintTable(std::ostream& out, const OfflineReport& report) {
  const OfflineOptions& options = report.options;
  const char* method = options.prof ? "from profiling records" : "by wall clock";
  PrintConditions(out, report, method, options.loop);
  const Figure wall = [](const Measurement& m) { return m.result.runCostTime; };
  PrintRanking(out, report.ranking,
               {DeviceField(), FigureField("total", TotalOf), RatioField(report.ranking),
                FigureField("wall", wall)});
  for (const Measurement& measurement : report.ranking) {
    PrintOperators(out, measurement);
  }
}

void PrintTable(std::ostream& out, const OnlineReport& report) {
  const bool checks = report.options.check;
  PrintConditions(out, report, checks ? "checked without figures" : "from profiling records",
                  checks ? 1 : report.options.loop);
  PrintRanking(out, report.ranking,
               {FigureField("total", TotalOf), RatioField(report.ranking),
                FigureField("fastest", FastestOf), FigureField("slowest", SlowestOf)});
  for (const Measurement& measurement : report.ranking) {
    PrintOperators(out, measurement);
    PrintExecutions(out, measurement);
    PrintOutputs(out, measurement);
  }
}

void PrintTable(std::ostream& out, const OpReport& report) {
  PrintConditions(out, report, "from profiling records", report.options.loop);
  PrintRanking(out, report.ranking,
               {DeviceField(), FigureField("total", TotalOf), RatioField(report.ranking)});
  for (const Measurement& measurement : report.ranking) {
    PrintOperators(out, measurement);
  }
}

void PrintTable(std::ostream& out, const SimReport& report) {
  out << report.soc << ", simulated by " << report.simulator << "\n\n";
  PrintRanking(out, report.ranking,
               {FigureField("total ticks", TotalOf, FormatTicks), RatioField(report.ranking)});
  for (const Measurement& measurement : report.ranking) {
    PrintKernels(out, measurement);
  }
}

}  // namespace OrmoMeasure
