#include "candidate.h"

#include "error_reason.h"
#include "files.h"
#include "lost_records.h"
#include "ormo/ormo_runner_detail.h"

namespace OrmoMeasure {
namespace {

// Room for the outputs that are asked for, and the way to their files.
class OutputData {
 public:
  explicit OutputData(const std::vector<OutputFile>& files) : files_(files) {
    for (const OutputFile& file : files_) {
      contents_.emplace_back(file.size);
    }
  }

  std::vector<Ormo::OrmoDataInfo> Infos() {
    std::vector<Ormo::OrmoDataInfo> infos;
    for (std::vector<char>& content : contents_) {
      Ormo::OrmoDataInfo& info = infos.emplace_back();
      info.data = content.data();
      info.size = content.size();
    }
    return infos;
  }

  void Write() const {
    for (size_t i = 0; i < files_.size(); ++i) {
      WriteFile(files_[i].path, contents_[i]);
    }
  }

 private:
  const std::vector<OutputFile>& files_;
  std::vector<std::vector<char>> contents_;
};

Ormo::RunnerConfig MakeConfig(const OfflineOptions& options) {
  Ormo::RunnerConfig config;
  config.prof = options.prof;
  config.loop = options.loop;
  config.runTimeBound = options.runTimeBound;
  config.runMode = options.runMode;
  config.dynamicType = options.dynamicType;
  config.dynamicParam = options.dynamicParam;
  config.buildRunKey = options.buildRunKey;
  return config;
}

Outcome OutcomeOf(int status, const Ormo::RunDetail& detail) {
  switch (status) {
    case Ormo::STATUS_SUCCESS:
      return detail.isBoundReached ? Outcome::BOUND : Outcome::MEASURED;
    case Ormo::STATUS_OUT_OF_BOUND:
      return Outcome::BOUND;
    case Ormo::STATUS_NOT_ENOUGH_MEMORY:
      return Outcome::SKIPPED;
    default:
      return Outcome::FAILED;
  }
}

// A success may have reached the bound, and does not say so.
std::string ReasonOf(Outcome outcome, const Ormo::RunDetail& detail) {
  return outcome == Outcome::BOUND && detail.reason.empty()
             ? OrmoStatusText(Ormo::STATUS_OUT_OF_BOUND)
             : JoinLines(detail.reason);
}

}  // namespace

InputData::InputData(const std::vector<InputFile>& files) {
  for (const InputFile& file : files) {
    contents_.push_back({ReadFile(file.path), file.dims});
  }
}

std::vector<Ormo::OrmoDataInfo> InputData::Infos() {
  std::vector<Ormo::OrmoDataInfo> infos;
  for (Content& content : contents_) {
    Ormo::OrmoDataInfo& info = infos.emplace_back();
    info.data = content.bytes.data();
    info.size = content.bytes.size();
    info.dims = content.dims.empty() ? nullptr : content.dims.data();
    info.dimNum = static_cast<uint32_t>(content.dims.size());
  }
  return infos;
}

void MeasureCandidate(const OfflineOptions& options, const std::vector<Ormo::OrmoDataInfo>& inputs,
                      Measurement& measurement) {
  OutputData outputs(options.outputs);
  Ormo::RunnerConfig config = MakeConfig(options);
  config.inputs = inputs;
  config.outputs = outputs.Infos();
  std::vector<char> image;
  if (options.fromFile) {
    config.modelPath = measurement.model;
  } else {
    image = ReadFile(measurement.model);
    config.modelData.data = image.data();
    config.modelData.size = image.size();
  }
  Ormo::RunDetail detail;
  measurement.status = OrmoOfflineRunDetailed(config, {}, measurement.result, detail);
  measurement.deviceId = detail.deviceId;
  if (measurement.status == Ormo::STATUS_SUCCESS) {
    outputs.Write();
  }
  measurement.outcome = OutcomeOf(measurement.status, detail);
  measurement.reason = ReasonOf(measurement.outcome, detail);
  const bool hasRun =
      measurement.outcome == Outcome::MEASURED || measurement.outcome == Outcome::BOUND;
  if (options.prof && hasRun) {
    measurement.lostRecords = DescribeLostRecords(detail);
  }
  if (measurement.outcome == Outcome::MEASURED) {
    measurement.SettleByFigures();
  }
}

}  // namespace OrmoMeasure
