#include "candidate.h"

#include <algorithm>
#include <stdexcept>

#include "error_reason.h"
#include "files.h"
#include "lost_records.h"
#include "ormo/ormo_runner.h"
#include "ormo/ormo_runner_detail.h"

namespace OrmoMeasure {
namespace {

// Unloads a model, whatever comes in between.
class LoadedModel {
 public:
  explicit LoadedModel(uint32_t id) : id_(id) {}

  ~LoadedModel() { OrmoOfflineUnloadModel(id_); }

  LoadedModel(const LoadedModel&) = delete;
  LoadedModel& operator=(const LoadedModel&) = delete;

 private:
  uint32_t id_;
};

// The sizes of a model's outputs; none when it cannot be loaded, which its run will tell.
std::vector<uint64_t> FindOutputSizes(const Ormo::RunnerConfig& config) {
  const ErrorContext errors;
  Ormo::ModelInfo model;
  model.modelPath = config.modelPath;
  model.modelData = config.modelData;
  model.runMode = config.runMode;
  if (OrmoOfflineLoadOnDevice(model, Ormo::ANY_DEVICE_ID) != Ormo::STATUS_SUCCESS) {
    return {};
  }
  const LoadedModel loaded(model.modelId);
  Ormo::OfflineModelInfo info;
  OrmoOfflineGetModelInfo(model.modelId, info);
  return info.outputSizes;
}

// Room for the outputs that are asked for, and the way to their files.
class OutputData {
 public:
  OutputData(const std::vector<OutputFile>& files, const Ormo::RunnerConfig& config)
      : files_(files) {
    const bool isComplete = std::all_of(files_.begin(), files_.end(),
                                        [](const OutputFile& file) { return file.size > 0; });
    std::vector<uint64_t> sizes;
    if (!isComplete) {
      sizes = FindOutputSizes(config);
    }
    for (size_t i = 0; i < files_.size(); ++i) {
      const bool isFound = files_[i].size == 0 && i < sizes.size();
      contents_.emplace_back(isFound ? sizes[i] : files_[i].size);
      if (isFound) {
        RequireSize(i);
      }
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
      RequireSize(i);
      WriteFile(files_[i].path, contents_[i]);
    }
  }

 private:
  void RequireSize(size_t i) const {
    if (contents_[i].empty()) {
      throw std::runtime_error("the model does not tell the size of the output for " +
                               files_[i].path);
    }
  }

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
  Ormo::RunnerConfig config = MakeConfig(options);
  config.inputs = inputs;
  std::vector<char> image;
  if (options.fromFile) {
    config.modelPath = measurement.model;
  } else {
    image = ReadFile(measurement.model);
    config.modelData.data = image.data();
    config.modelData.size = image.size();
  }
  OutputData outputs(options.outputs, config);
  config.outputs = outputs.Infos();
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
