/// \file
/// The values of RunnerConfig::dynamicType.
#ifndef ORMO_MODEL_DYNAMIC_TYPES_H
#define ORMO_MODEL_DYNAMIC_TYPES_H

namespace Ormo {

constexpr char BATCH_SIZE_TYPE[] = "dynamic_batch_size";
constexpr char IMAGE_SIZE_TYPE[] = "dynamic_image_size";
constexpr char DIMS_TYPE[] = "dynamic_dims";

}  // namespace Ormo

#endif  // ORMO_MODEL_DYNAMIC_TYPES_H
