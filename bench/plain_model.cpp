#include "plain_model.h"

#include <utility>
#include <vector>

#include "compare.h"

namespace Ormo::Bench {
namespace {

void CheckMemory() {
  size_t free = 0;
  size_t total = 0;
  Require(zelrtGetMemInfo(ZEL_HBM_MEM, &free, &total) == 0 && free > 0);
}

void AddBuffer(zelmdlDataset* dataset, size_t size) {
  CheckMemory();
  void* address = nullptr;
  Require(zelrtMalloc(&address, size, ZEL_MEM_MALLOC_HUGE_FIRST) == 0);
  Require(zelrtMemset(address, size, 0, size) == 0);
  zelDataBuffer* buffer = zelCreateDataBuffer(address, size);
  Require(buffer != nullptr && zelmdlAddDatasetBuffer(dataset, buffer) == 0);
}

void Destroy(zelmdlDataset* dataset) {
  for (size_t i = 0; i < zelmdlGetDatasetNumBuffers(dataset); ++i) {
    zelDataBuffer* buffer = zelmdlGetDatasetBuffer(dataset, i);
    Require(zelrtFree(zelGetDataBufferAddr(buffer)) == 0 && zelDestroyDataBuffer(buffer) == 0);
  }
  Require(zelmdlDestroyDataset(dataset) == 0);
}

}  // namespace

PlainDevice::PlainDevice() {
  Require(zelrtSetDevice(0) == 0 && zelrtCreateContext(&context_, 0) == 0);
}

PlainDevice::~PlainDevice() {
  Require(zelrtDestroyContext(context_) == 0 && zelrtResetDevice(0) == 0);
}

PlainModel::PlainModel(const std::string& image) {
  size_t work = 0;
  size_t weight = 0;
  Require(zelmdlQuerySizeFromMem(image.data(), image.size(), &work, &weight) == 0);
  CheckMemory();
  Require(zelmdlLoadFromMem(image.data(), image.size(), &id_) == 0);
  CheckMemory();
  desc_ = zelmdlCreateDesc();
  Require(zelmdlGetDesc(desc_, id_) == 0);
  outputs_ = zelmdlCreateDataset();
  for (size_t i = 0; i < zelmdlGetNumOutputs(desc_); ++i) {
    AddBuffer(outputs_, zelmdlGetOutputSizeByIndex(desc_, i));
  }
  inputs_ = zelmdlCreateDataset();
  for (size_t i = 0; i < zelmdlGetNumInputs(desc_); ++i) {
    AddBuffer(inputs_, zelmdlGetInputSizeByIndex(desc_, i));
  }
}

PlainModel::~PlainModel() {
  Require(zelmdlDestroyDesc(desc_) == 0);
  Destroy(inputs_);
  Destroy(outputs_);
  Require(zelmdlUnload(id_) == 0);
}

void PlainModel::Execute() {
  Require(zelmdlExecute(id_, inputs_, outputs_) == 0);
}

double PlainModel::Measure(size_t loop) {
  std::vector<double> times;
  for (size_t i = 0; i < loop; ++i) {
    times.push_back(NanosecondsOf([this] { Execute(); }));
  }
  return TrimmedMean(std::move(times));
}

}  // namespace Ormo::Bench
