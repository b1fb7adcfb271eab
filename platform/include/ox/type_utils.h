/// \file
/// Types and formats by their names.
#ifndef OX_TYPE_UTILS_H
#define OX_TYPE_UTILS_H

#include <string>

#include "ox/types.h"

namespace ox {

class TypeUtils {
 public:
  /// "DT_FLOAT" or "DT_FLOAT32", "DT_FLOAT16", "DT_DOUBLE" or "DT_FLOAT64", "DT_INT8", "DT_INT32",
  /// "DT_INT64", "DT_UINT8", "DT_BOOL"; DT_UNDEFINED for every other text.
  static DataType SerialStringToDataType(const std::string& name);

  /// "NCHW", "NHWC", "ND"; FORMAT_NULL for every other text.
  static Format SerialStringToFormat(const std::string& name);
};

}  // namespace ox

#endif  // OX_TYPE_UTILS_H
