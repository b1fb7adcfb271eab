#include "candidate.h"

#include "error_reason.h"
#include "files.h"
#include "ormo/ormo_runner.h"

namespace OrmoMeasure {
namespace {

// Unloads a model, whichever way its run ends.
class LoadedModel {
 public:
  explicit LoadedModel(uint32_t id) : id_(id) {}

  ~LoadedModel() { OrmoOfflineUnloadModel(id_); }

  LoadedModel(const LoadedModel&) = delete;
  LoadedModel& operator=(const LoadedModel&) = delete;

 private:
  uint32_t id_;
};

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

// The platform reads the file.
int RunFile(const std::string& model, Ormo::RunnerConfig& config, Ormo::RunnerResult& result) {
  uint32_t modelId = 0;
  const int status = OrmoOfflineLoadFromFile(model, modelId);
  if (status != Ormo::STATUS_SUCCESS) {
    return status;
  }
  const LoadedModel loaded(modelId);
  return OrmoOfflineRunModel(modelId, config, result);
}

// The file is read here, and the library checks the device's memory.
int RunImage(const std::string& model, Ormo::RunnerConfig& config, Ormo::RunnerResult& result) {
  std::vector<char> image = ReadFile(model);
  config.modelData.data = image.data();
  config.modelData.size = image.size();
  return OrmoOfflineRun(config, result);
}

Outcome OutcomeOf(int status) {
  switch (status) {
    case Ormo::STATUS_SUCCESS:
      return Outcome::MEASURED;
    case Ormo::STATUS_OUT_OF_BOUND:
      return Outcome::BOUND;
    case Ormo::STATUS_NOT_ENOUGH_MEMORY:
      return Outcome::SKIPPED;
    default:
      return Outcome::FAILED;
  }
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
  ErrorContext errors;
  OutputData outputs(options.outputs);
  Ormo::RunnerConfig config = MakeConfig(options);
  config.inputs = inputs;
  config.outputs = outputs.Infos();
  measurement.status = options.fromFile ? RunFile(measurement.model, config, measurement.result)
                                        : RunImage(measurement.model, config, measurement.result);
  measurement.reason = errors.TakeReason(measurement.status);
  if (measurement.status == Ormo::STATUS_SUCCESS) {
    outputs.Write();
  }
  measurement.outcome = OutcomeOf(measurement.status);
  if (measurement.outcome == Outcome::MEASURED) {
    measurement.SettleByFigures();
  }
}

}  // namespace OrmoMeasure
