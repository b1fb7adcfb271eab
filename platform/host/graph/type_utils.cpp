#include "ox/type_utils.h"

#include <utility>

#include "seam/host_call.h"

namespace OrmoHost {
namespace {

constexpr std::pair<const char*, ox::DataType> DATA_TYPES[] = {
    {"DT_FLOAT", ox::DT_FLOAT},   {"DT_FLOAT32", ox::DT_FLOAT},  {"DT_FLOAT16", ox::DT_FLOAT16},
    {"DT_DOUBLE", ox::DT_DOUBLE}, {"DT_FLOAT64", ox::DT_DOUBLE}, {"DT_INT8", ox::DT_INT8},
    {"DT_INT32", ox::DT_INT32},   {"DT_INT64", ox::DT_INT64},    {"DT_UINT8", ox::DT_UINT8},
    {"DT_BOOL", ox::DT_BOOL}};
constexpr std::pair<const char*, ox::Format> FORMATS[] = {
    {"NCHW", ox::FORMAT_NCHW}, {"NHWC", ox::FORMAT_NHWC}, {"ND", ox::FORMAT_ND}};

// Made to fail, it finds nothing.
template <typename Value, size_t COUNT>
Value Find(const char* function, const std::pair<const char*, Value> (&values)[COUNT],
           const std::string& name, Value unknown) {
  HostCall call(function);
  bool isFailed = call.Fails() != SUCCESS;
  for (const auto& [known, value] : values) {
    if (!isFailed && name == known) {
      return value;
    }
  }
  return unknown;
}

}  // namespace
}  // namespace OrmoHost

namespace ox {

DataType TypeUtils::SerialStringToDataType(const std::string& name) {
  return OrmoHost::Find("TypeUtils::SerialStringToDataType", OrmoHost::DATA_TYPES, name,
                        DT_UNDEFINED);
}

Format TypeUtils::SerialStringToFormat(const std::string& name) {
  return OrmoHost::Find("TypeUtils::SerialStringToFormat", OrmoHost::FORMATS, name, FORMAT_NULL);
}

}  // namespace ox
