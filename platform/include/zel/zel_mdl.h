/// \file
/// The platform's offline models: loading, descriptions, datasets, execution.
///
/// Everything here acts on the calling thread's current context. Functions that return `int32_t`
/// return 0 for success and a platform code otherwise.
#ifndef ZEL_ZEL_MDL_H
#define ZEL_ZEL_MDL_H

#include <cstddef>
#include <cstdint>

struct zelmdlDesc;
struct zelmdlDataset;
struct zelDataBuffer;
struct zelTensorDesc;

constexpr size_t ZEL_MAX_DIM_CNT = 128;
constexpr size_t ZEL_MAX_TENSOR_NAME_LEN = 128;

/// The last input of a model with declared dynamic settings.
constexpr char ZEL_DYNAMIC_TENSOR_NAME[] = "tarn_mbatch_shape_data";

struct zelmdlIODims {
  char name[ZEL_MAX_TENSOR_NAME_LEN];
  size_t dimCount;
  int64_t dims[ZEL_MAX_DIM_CNT];
};

extern "C" {

/// Bytes of work and weight memory that the image needs. The sum may wrap around.
int32_t zelmdlQuerySizeFromMem(const void* model, size_t modelSize, size_t* workSize,
                               size_t* weightSize);

/// Loads a model file. `modelId` is never 0, unique over all devices and never used again. The
/// platform owns the model's memory.
int32_t zelmdlLoadFromFile(const char* modelPath, uint32_t* modelId);

/// The same from an image in memory, which is copied.
int32_t zelmdlLoadFromMem(const void* model, size_t modelSize, uint32_t* modelId);

/// The same into memory of the caller, which must outlive the unload and stays the caller's: on the
/// calling thread's device, work and weights apart.
int32_t zelmdlLoadFromMemWithMem(const void* model, size_t modelSize, uint32_t* modelId,
                                 void* workPtr, size_t workSize, void* weightPtr,
                                 size_t weightSize);

int32_t zelmdlUnload(uint32_t modelId);

/// An empty description, released by zelmdlDestroyDesc, or null.
zelmdlDesc* zelmdlCreateDesc();
/// Fills `desc` with the description of a loaded model.
int32_t zelmdlGetDesc(zelmdlDesc* desc, uint32_t modelId);
int32_t zelmdlDestroyDesc(zelmdlDesc* desc);

size_t zelmdlGetNumInputs(zelmdlDesc* desc);
size_t zelmdlGetNumOutputs(zelmdlDesc* desc);
/// Bytes of an input or output; 0 when its shape is only known at execution.
size_t zelmdlGetInputSizeByIndex(zelmdlDesc* desc, size_t index);
size_t zelmdlGetOutputSizeByIndex(zelmdlDesc* desc, size_t index);
/// Fails when the model has no input of that name.
int32_t zelmdlGetInputIndexByName(zelmdlDesc* desc, const char* name, size_t* index);

/// An empty dataset, released by zelmdlDestroyDataset, or null.
zelmdlDataset* zelmdlCreateDataset();
/// Destroys the dataset and leaves its buffers alone.
int32_t zelmdlDestroyDataset(zelmdlDataset* dataset);
/// Stores the pointer; the buffer stays the caller's.
int32_t zelmdlAddDatasetBuffer(zelmdlDataset* dataset, zelDataBuffer* buffer);
size_t zelmdlGetDatasetNumBuffers(zelmdlDataset* dataset);
/// The buffer at `index`, or null.
zelDataBuffer* zelmdlGetDatasetBuffer(zelmdlDataset* dataset, size_t index);

/// Wraps device memory, which stays the caller's, or null.
zelDataBuffer* zelCreateDataBuffer(void* data, size_t size);
int32_t zelDestroyDataBuffer(zelDataBuffer* buffer);
void* zelGetDataBufferAddr(zelDataBuffer* buffer);
size_t zelGetDataBufferSizeV2(zelDataBuffer* buffer);

/// Copies the dimensions. Released by zelDestroyTensorDesc; null on failure.
zelTensorDesc* zelCreateTensorDesc(int32_t dataType, int numDims, const int64_t* dims,
                                   int32_t format);
void zelDestroyTensorDesc(zelTensorDesc* desc);
/// Copies `desc` as the shape of input `index`.
int32_t zelmdlSetDatasetTensorDesc(zelmdlDataset* dataset, zelTensorDesc* desc, size_t index);

/// The setting of a dynamic model for the next execution with `dataset`; `index` is that of the
/// input ZEL_DYNAMIC_TENSOR_NAME.
int32_t zelmdlSetDynamicBatchSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  uint64_t batchSize);
int32_t zelmdlSetDynamicHWSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                               uint64_t height, uint64_t width);
int32_t zelmdlSetInputDynamicDims(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  const zelmdlIODims* dims);

/// Executes the model on the calling thread's device, which is the model's and that of all buffers,
/// and returns when its outputs are written.
int32_t zelmdlExecute(uint32_t modelId, const zelmdlDataset* input, zelmdlDataset* output);

}  // extern "C"

#endif  // ZEL_ZEL_MDL_H
