#include <memory>

#include "graph/graph.h"
#include "models/datasets.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_mdl.h"

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

zelmdlDataset* zelmdlCreateDataset() {
  return Attempt("zelmdlCreateDataset", [] { return Single<Datasets>().Make(); });
}

int32_t zelmdlDestroyDataset(zelmdlDataset* dataset) {
  return Release("zelmdlDestroyDataset", [&] { Single<Datasets>().Remove(dataset); });
}

int32_t zelmdlAddDatasetBuffer(zelmdlDataset* dataset, zelDataBuffer* buffer) {
  return Attempt("zelmdlAddDatasetBuffer", [&] {
    Note(Single<DataBuffers>().Get(buffer)->size);
    Single<Datasets>().Get(dataset)->buffers.push_back(buffer);
    ++changeCount;
  });
}

size_t zelmdlGetDatasetNumBuffers(zelmdlDataset* dataset) {
  return Attempt("zelmdlGetDatasetNumBuffers",
                 [&] { return Single<Datasets>().Get(dataset)->buffers.size(); });
}

zelDataBuffer* zelmdlGetDatasetBuffer(zelmdlDataset* dataset, size_t index) {
  return Attempt("zelmdlGetDatasetBuffer", [&] {
    Note(index);
    std::shared_ptr<Dataset> found = Single<Datasets>().Get(dataset);
    Require(index < found->buffers.size(), OUT_OF_RANGE);
    return found->buffers[index];
  });
}

zelDataBuffer* zelCreateDataBuffer(void* data, size_t size) {
  return Attempt("zelCreateDataBuffer", [&] {
    Note(size);
    Require(data != nullptr, INVALID_ARGUMENT);
    return Single<DataBuffers>().Make(DataBuffer{data, size});
  });
}

int32_t zelDestroyDataBuffer(zelDataBuffer* buffer) {
  return Release("zelDestroyDataBuffer", [&] { Single<DataBuffers>().Remove(buffer); });
}

void* zelGetDataBufferAddr(zelDataBuffer* buffer) {
  return Attempt("zelGetDataBufferAddr", [&] { return Single<DataBuffers>().Get(buffer)->data; });
}

size_t zelGetDataBufferSizeV2(zelDataBuffer* buffer) {
  return Attempt("zelGetDataBufferSizeV2", [&] { return Single<DataBuffers>().Get(buffer)->size; });
}

zelTensorDesc* zelCreateTensorDesc(int32_t dataType, int numDims, const int64_t* dims,
                                   int32_t format) {
  return Attempt("zelCreateTensorDesc", [&] {
    Require(numDims >= 0 && (dims != nullptr || numDims == 0), INVALID_ARGUMENT);
    const Shape shape(dims, dims + numDims);
    Note(dataType, format, [&] { return ToText(shape); });
    return Single<TensorDescs>().Make(shape);
  });
}

void zelDestroyTensorDesc(zelTensorDesc* desc) {
  HostCall call("zelDestroyTensorDesc", Failing::CANNOT);
  Single<TensorDescs>().End(desc);
  call.Fails();
}

int32_t zelmdlSetDatasetTensorDesc(zelmdlDataset* dataset, zelTensorDesc* desc, size_t index) {
  return Attempt("zelmdlSetDatasetTensorDesc", [&] {
    Note(index);
    std::shared_ptr<Dataset> found = Single<Datasets>().Get(dataset);
    Require(index < found->buffers.size(), NO_SUCH_INPUT);
    found->shapes[index] = *Single<TensorDescs>().Get(desc);
    ++changeCount;
  });
}
