/// \file
/// What else the platform can tell of a loaded model. Optional: a platform may have any of these
/// functions or none, and what a function that it lacks would tell is unknown.
///
/// What the structures point to is the platform's. It stays until the description is filled again
/// or destroyed. Functions return 0 for success and a platform code otherwise.
#ifndef ZEL_ZEL_MDL_INFO_H
#define ZEL_ZEL_MDL_INFO_H

#include <cstddef>
#include <cstdint>

struct zelmdlDesc;

/// An input or output as the model declares it.
struct zelmdlTensorInfo {
  const char* name;
  int32_t dataType;     ///< element type in the numbering of the graph engine's tensors
  const int64_t* dims;  ///< -1: known only at execution
  size_t dimCount;
};

enum zelmdlDynamicKind : int32_t {
  ZEL_DYNAMIC_NONE = 0,   ///< no settings are declared
  ZEL_DYNAMIC_BATCH = 1,  ///< for zelmdlSetDynamicBatchSize: one value
  ZEL_DYNAMIC_HW = 2,     ///< for zelmdlSetDynamicHWSize: height and width
  ZEL_DYNAMIC_DIMS = 3,   ///< for zelmdlSetInputDynamicDims
};

/// The settings that a model was declared with.
struct zelmdlDynamicInfo {
  int32_t kind;           ///< a zelmdlDynamicKind
  size_t settingCount;    ///< 0 for ZEL_DYNAMIC_NONE
  size_t valueCount;      ///< of each setting
  const int64_t* values;  ///< of all settings, one after another
};

extern "C" {

int32_t zelmdlGetInputInfo(zelmdlDesc* desc, size_t index, zelmdlTensorInfo* info);
int32_t zelmdlGetOutputInfo(zelmdlDesc* desc, size_t index, zelmdlTensorInfo* info);
int32_t zelmdlGetDynamicInfo(zelmdlDesc* desc, zelmdlDynamicInfo* info);
/// Bytes of work and weight memory that the model has; 0: none, or known only at execution.
int32_t zelmdlGetMemoryInfo(zelmdlDesc* desc, size_t* workSize, size_t* weightSize);

}  // extern "C"

#endif  // ZEL_ZEL_MDL_INFO_H
