/// \file
/// What a model is said to be, as a line.
#ifndef ORMO_TESTS_SUPPORT_MODEL_INFO_TEXT_H
#define ORMO_TESTS_SUPPORT_MODEL_INFO_TEXT_H

#include <string>
#include <vector>

#include "ormo/ormo_runner_detail.h"

namespace Ormo::Testing {

/// For one side: all sizes, then all names, types and shapes.
inline std::string ToText(const std::vector<uint64_t>& sizes, const std::vector<std::string>& names,
                          const std::vector<uint32_t>& types,
                          const std::vector<std::vector<int64_t>>& shapes) {
  std::string text;
  for (const uint64_t size : sizes) {
    text += " " + std::to_string(size);
  }
  for (const std::string& name : names) {
    text += " " + name;
  }
  for (const uint32_t type : types) {
    text += " " + std::to_string(type);
  }
  for (const std::vector<int64_t>& shape : shapes) {
    text += " [";
    for (const int64_t dim : shape) {
      text += " " + std::to_string(dim);
    }
    text += " ]";
  }
  return text;
}

inline std::string ToText(const OfflineModelInfo& info) {
  std::string text =
      "device " + std::to_string(info.deviceId) + "; in" +
      ToText(info.inputSizes, info.inputNames, info.inputTypes, info.inputShapes) + "; out" +
      ToText(info.outputSizes, info.outputNames, info.outputTypes, info.outputShapes) + ";" +
      (info.isDynamicKnown ? " known " : "") + info.dynamicType;
  for (const std::string& param : info.dynamicParams) {
    text += " " + param;
  }
  return text + "; work " + std::to_string(info.workSize) + " weights " +
         std::to_string(info.weightSize);
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_MODEL_INFO_TEXT_H
