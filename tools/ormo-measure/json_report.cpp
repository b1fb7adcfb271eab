#include <limits>
#include <nlohmann/json.hpp>

#include "ranking.h"
#include "report.h"

namespace OrmoMeasure {
namespace {

using Json = nlohmann::ordered_json;

const char* RunModeName(Ormo::RunMode mode) {
  switch (mode) {
    case Ormo::RunMode::PREVIOUS_MEMORY:
      return "previous-memory";
    case Ormo::RunMode::NO_MEMORY_CHECK:
      return "no-check";
    case Ormo::RunMode::DEFAULT:
      break;
  }
  return "default";
}

Json BoundJson(uint64_t bound) {
  return bound == std::numeric_limits<uint64_t>::max() ? Json() : Json(bound);
}

Json OptionsJson(const OfflineOptions& options) {
  Json inputs = Json::array();
  for (const InputFile& input : options.inputs) {
    inputs.push_back({{"file", input.path}, {"dims", input.dims}});
  }
  Json outputs = Json::array();
  for (const OutputFile& output : options.outputs) {
    outputs.push_back(
        {{"file", output.path}, {"size", output.size == 0 ? Json() : Json(output.size)}});
  }
  return {{"prof", options.prof},
          {"loop", options.loop},
          {"runTimeBound", BoundJson(options.runTimeBound)},
          {"fromFile", options.fromFile},
          {"runMode", RunModeName(options.runMode)},
          {"dynamicType", options.dynamicType},
          {"dynamicParam", options.dynamicParam},
          {"buildRunKey", options.buildRunKey},
          {"inputs", inputs},
          {"outputs", outputs}};
}

Json OptionsJson(const OnlineOptions& options) {
  return {{"loop", options.loop},
          {"runTimeBound", BoundJson(options.runTimeBound)},
          {"check", options.check},
          {"compileOptions", Json(options.options)},
          {"dependGraphs", options.dependGraphs}};
}

Json OptionsJson(const OpOptions& options) {
  return {{"loop", options.loop}, {"tiling", options.tiling}};
}

Json OperatorsJson(const Ormo::RunnerResult& result) {
  Json operators = Json::array();
  for (const OperatorCost& op : OperatorsByCost(result)) {
    operators.push_back(
        {{"name", op.name}, {"costTime", op.cost}, {"aicoreCostTime", op.aicoreCost}});
  }
  return operators;
}

Json ExecutionsJson(const std::vector<Ormo::RunnerRunResult>& executions) {
  Json list = Json::array();
  for (const Ormo::RunnerRunResult& execution : executions) {
    Json operators = Json::array();
    for (const Ormo::RunnerOpInfo& op : execution.opInfos) {
      operators.push_back({{"name", op.opName},
                           {"type", op.opType},
                           {"costTime", op.opCostTime},
                           {"aicoreCostTime", op.aicoreCostTime},
                           {"startTime", op.startTime},
                           {"endTime", op.endTime}});
    }
    list.push_back({{"costTime", CostOf(execution)}, {"operators", operators}});
  }
  return list;
}

Json OutputsJson(const std::vector<Output>& outputs) {
  Json list = Json::array();
  for (const Output& output : outputs) {
    list.push_back({{"size", output.size}, {"file", output.file}});
  }
  return list;
}

Json CandidateJson(const std::vector<Measurement>& ranking, const Measurement& measurement) {
  Json candidate = {{"model", measurement.model},
                    {"outcome", OutcomeName(measurement.outcome)},
                    {"status", measurement.status},
                    {"device", measurement.HasDevice() ? Json(measurement.deviceId) : Json()}};
  if (!measurement.reason.empty()) {
    candidate["reason"] = measurement.reason;
  }
  if (!measurement.lostRecords.empty()) {
    candidate["warning"] = measurement.lostRecords;
  }
  if (measurement.HasFigures()) {
    candidate["totalCostTime"] = measurement.result.totalCostTime;
    if (measurement.result.runCostTime > 0) {
      candidate["runCostTime"] = measurement.result.runCostTime;
    }
    candidate["operators"] = OperatorsJson(measurement.result);
  }
  if (!measurement.executions.empty()) {
    candidate["executions"] = ExecutionsJson(measurement.executions);
  }
  if (measurement.outcome == Outcome::CHECKED) {
    candidate["outputs"] = OutputsJson(measurement.outputs);
  }
  if (const std::optional<double> ratio = RatioToBest(ranking, measurement)) {
    candidate["ratioToBest"] = *ratio;
  }
  return candidate;
}

Json CandidatesJson(const std::vector<Measurement>& ranking) {
  Json candidates = Json::array();
  for (const Measurement& measurement : ranking) {
    candidates.push_back(CandidateJson(ranking, measurement));
  }
  return candidates;
}

Json UnlockedJson(const DeviceLocks& locks) {
  Json list = Json::array();
  for (const UnlockedDevice& device : locks.unlocked) {
    list.push_back({{"device", device.id}, {"reason", device.reason}});
  }
  return list;
}

void PrintDocument(std::ostream& out, const Json& document) {
  // Names of files and operators need not be UTF-8.
  out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

// Of a path that runs on devices.
template <typename Report>
void PrintDeviceReport(std::ostream& out, const Report& report) {
  PrintDocument(out, {{"schemaVersion", 1},
                      {"libraryVersion", ORMO_MEASURE_VERSION},
                      {"soc", report.soc},
                      {"devices", report.options.devices},
                      {"lockDirectory", report.locks.directory},
                      {"unlockedDevices", UnlockedJson(report.locks)},
                      {"options", OptionsJson(report.options)},
                      {"candidates", CandidatesJson(report.ranking)}});
}

}  // namespace

void PrintJson(std::ostream& out, const OfflineReport& report) {
  PrintDeviceReport(out, report);
}

void PrintJson(std::ostream& out, const OnlineReport& report) {
  PrintDeviceReport(out, report);
}

void PrintJson(std::ostream& out, const OpReport& report) {
  PrintDeviceReport(out, report);
}

void PrintJson(std::ostream& out, const SimReport& report) {
  PrintDocument(out, {{"schemaVersion", 1},
                      {"libraryVersion", ORMO_MEASURE_VERSION},
                      {"soc", report.soc},
                      {"simulator", report.simulator},
                      {"candidates", CandidatesJson(report.ranking)}});
}

}  // namespace OrmoMeasure
