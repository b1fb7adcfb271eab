// The dynamic-shape settings of one run: a batch size, an image size or dims.
#include <algorithm>
#include <cstdint>
#include <limits>

#include "common/log.h"
#include "common/status_translation.h"
#include "common/string_utils.h"
#include "model/dynamic_types.h"
#include "model/model_manager.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr char DELIMITER = ',';
constexpr unsigned long MAX_DIM = std::numeric_limits<int64_t>::max();

int CheckSetting(int32_t code) {
  if (code != 0) {
    ORMO_LOG_ERROR("set input dynamic param failed.");
    return TranslateStatus(code, STATUS_DYNAMIC_PARAM_FAILED);
  }
  return STATUS_SUCCESS;
}

}  // namespace

int ModelManager::SetDynamicParam(const std::string& dynamicType,
                                  const std::string& dynamicParam) const {
  if (dynamicType.empty()) {
    return STATUS_SUCCESS;
  }
  ORMO_LOG_INFO("SetDynamicParam dynamicType = %s", dynamicType.c_str());
  if (modelDesc_ == nullptr) {
    ORMO_LOG_ERROR("modelDesc_ is nullptr.");
    return STATUS_DYNAMIC_PARAM_FAILED;
  }
  size_t index = 0;
  const int32_t code = zelmdlGetInputIndexByName(modelDesc_, ZEL_DYNAMIC_TENSOR_NAME, &index);
  if (code != 0) {
    ORMO_LOG_ERROR("Get input index by name failed.");
    return TranslateStatus(code, STATUS_DYNAMIC_PARAM_FAILED);
  }
  if (dynamicType == BATCH_SIZE_TYPE) {
    return SetBatchSize(index, dynamicParam);
  }
  if (dynamicType == IMAGE_SIZE_TYPE) {
    return SetImageSize(index, dynamicParam);
  }
  if (dynamicType == DIMS_TYPE) {
    return SetDims(index, dynamicParam);
  }
  return STATUS_SUCCESS;
}

int ModelManager::SetBatchSize(size_t index, const std::string& dynamicParam) const {
  unsigned long batchSize = 0;
  if (StringUtils::StringToUll(dynamicParam, batchSize) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("invalid dynamic_batch_size param.");
    return STATUS_INVALID_PARAM;
  }
  return CheckSetting(zelmdlSetDynamicBatchSize(modelId_, inputDataset_, index, batchSize));
}

int ModelManager::SetImageSize(size_t index, const std::string& dynamicParam) const {
  std::vector<unsigned long> sizes;
  if (StringUtils::StringToUllVec(dynamicParam, DELIMITER, sizes) != STATUS_SUCCESS ||
      sizes.size() != 2) {
    ORMO_LOG_ERROR("invalid dynamic_image_size param.");
    return STATUS_INVALID_PARAM;
  }
  return CheckSetting(zelmdlSetDynamicHWSize(modelId_, inputDataset_, index, sizes[0], sizes[1]));
}

int ModelManager::SetDims(size_t index, const std::string& dynamicParam) const {
  std::vector<unsigned long> sizes;
  if (StringUtils::StringToUllVec(dynamicParam, DELIMITER, sizes) != STATUS_SUCCESS ||
      sizes.size() > ZEL_MAX_DIM_CNT ||
      std::any_of(sizes.begin(), sizes.end(), [](unsigned long size) { return size > MAX_DIM; })) {
    ORMO_LOG_ERROR("invalid dynamic_dims param.");
    return STATUS_INVALID_PARAM;
  }
  zelmdlIODims dims = {};
  dims.dimCount = sizes.size();
  std::transform(sizes.begin(), sizes.end(), dims.dims,
                 [](unsigned long size) { return static_cast<int64_t>(size); });
  return CheckSetting(zelmdlSetInputDynamicDims(modelId_, inputDataset_, index, &dims));
}

}  // namespace Ormo
