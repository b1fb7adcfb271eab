#include <memory>

#include "control/host_call.h"
#include "control/undying.h"
#include "models/datasets.h"
#include "runtime/codes.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {

HandleTable<zelmdlDataset*, Dataset>& AllDatasets() {
  static Undying<HandleTable<zelmdlDataset*, Dataset>> instance;
  return *instance;
}

HandleTable<zelDataBuffer*, DataBuffer>& AllDataBuffers() {
  static Undying<HandleTable<zelDataBuffer*, DataBuffer>> instance;
  return *instance;
}

HandleTable<zelTensorDesc*, const Shape>& AllTensorDescs() {
  static Undying<HandleTable<zelTensorDesc*, const Shape>> instance;
  return *instance;
}

}  // namespace OrmoHost

using OrmoHost::AllDataBuffers;
using OrmoHost::AllDatasets;
using OrmoHost::AllTensorDescs;
using OrmoHost::DataBuffer;
using OrmoHost::Dataset;
using OrmoHost::Failing;
using OrmoHost::HostCall;
using OrmoHost::Shape;

zelmdlDataset* zelmdlCreateDataset() {
  HostCall call("zelmdlCreateDataset");
  return call.Fails() != 0 ? nullptr : AllDatasets().Add(std::make_shared<Dataset>());
}

int32_t zelmdlDestroyDataset(zelmdlDataset* dataset) {
  HostCall call("zelmdlDestroyDataset");
  bool wasAlive = AllDatasets().Remove(dataset) != nullptr;
  return call.After(wasAlive ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_HANDLE);
}

int32_t zelmdlAddDatasetBuffer(zelmdlDataset* dataset, zelDataBuffer* buffer) {
  HostCall call("zelmdlAddDatasetBuffer");
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::shared_ptr<Dataset> found = AllDatasets().Find(dataset);
  if (found == nullptr || AllDataBuffers().Find(buffer) == nullptr) {
    return OrmoHost::UNKNOWN_HANDLE;
  }
  found->buffers.push_back(buffer);
  return OrmoHost::SUCCESS;
}

size_t zelmdlGetDatasetNumBuffers(zelmdlDataset* dataset) {
  HostCall call("zelmdlGetDatasetNumBuffers");
  if (call.Fails() != 0) {
    return 0;
  }
  std::shared_ptr<Dataset> found = AllDatasets().Find(dataset);
  return found == nullptr ? 0 : found->buffers.size();
}

zelDataBuffer* zelmdlGetDatasetBuffer(zelmdlDataset* dataset, size_t index) {
  HostCall call("zelmdlGetDatasetBuffer");
  if (call.Fails() != 0) {
    return nullptr;
  }
  std::shared_ptr<Dataset> found = AllDatasets().Find(dataset);
  return found == nullptr || index >= found->buffers.size() ? nullptr : found->buffers[index];
}

zelDataBuffer* zelCreateDataBuffer(void* data, size_t size) {
  HostCall call("zelCreateDataBuffer");
  if (call.Fails() != 0 || data == nullptr) {
    return nullptr;
  }
  return AllDataBuffers().Add(std::make_shared<DataBuffer>(DataBuffer{data, size}));
}

int32_t zelDestroyDataBuffer(zelDataBuffer* buffer) {
  HostCall call("zelDestroyDataBuffer");
  bool wasAlive = AllDataBuffers().Remove(buffer) != nullptr;
  return call.After(wasAlive ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_HANDLE);
}

void* zelGetDataBufferAddr(zelDataBuffer* buffer) {
  HostCall call("zelGetDataBufferAddr");
  if (call.Fails() != 0) {
    return nullptr;
  }
  std::shared_ptr<DataBuffer> found = AllDataBuffers().Find(buffer);
  return found == nullptr ? nullptr : found->data;
}

size_t zelGetDataBufferSizeV2(zelDataBuffer* buffer) {
  HostCall call("zelGetDataBufferSizeV2");
  if (call.Fails() != 0) {
    return 0;
  }
  std::shared_ptr<DataBuffer> found = AllDataBuffers().Find(buffer);
  return found == nullptr ? 0 : found->size;
}

zelTensorDesc* zelCreateTensorDesc(int32_t /*dataType*/, int numDims, const int64_t* dims,
                                   int32_t /*format*/) {
  HostCall call("zelCreateTensorDesc");
  if (call.Fails() != 0 || numDims < 0 || (dims == nullptr && numDims != 0)) {
    return nullptr;
  }
  return AllTensorDescs().Add(std::make_shared<const Shape>(dims, dims + numDims));
}

void zelDestroyTensorDesc(zelTensorDesc* desc) {
  HostCall call("zelDestroyTensorDesc", Failing::CANNOT);
  AllTensorDescs().Remove(desc);
  call.Fails();
}

int32_t zelmdlSetDatasetTensorDesc(zelmdlDataset* dataset, zelTensorDesc* desc, size_t index) {
  HostCall call("zelmdlSetDatasetTensorDesc");
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::shared_ptr<Dataset> found = AllDatasets().Find(dataset);
  std::shared_ptr<const Shape> shape = AllTensorDescs().Find(desc);
  if (found == nullptr || shape == nullptr) {
    return OrmoHost::UNKNOWN_HANDLE;
  }
  if (index >= found->buffers.size()) {
    return OrmoHost::NO_SUCH_INPUT;
  }
  found->shapes[index] = *shape;
  return OrmoHost::SUCCESS;
}
