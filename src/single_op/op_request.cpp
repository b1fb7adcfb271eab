#include "single_op/op_request.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

#include "annex_k/annex_k.h"
#include "common/ascii.h"
#include "common/call_context.h"
#include "common/log.h"
#include "ormo/status.h"
#include "ox/type_utils.h"
#include "single_op/op_attributes.h"
#include "single_op/op_tensors.h"
#include "single_op/request_json.h"

namespace Ormo {

namespace {

using nlohmann::json;

// Null when `value` is no object or holds no such member of that type.
const json* FindMember(const json& value, const char* key, json::value_t type) {
  const auto member = value.find(key);  // the end when it is no object
  return member != value.end() && member->type() == type ? &*member : nullptr;
}

// ---- Tensors ----

ox::DataType ReadDataType(const json& element) {
  const json* name = FindMember(element, "dtype", json::value_t::string);
  if (name == nullptr) {
    return ox::DT_UNDEFINED;
  }
  return ox::TypeUtils::SerialStringToDataType(
      ToUpperAscii("DT_" + name->get_ref<const std::string&>()));
}

ox::Format ReadFormat(const json& element) {
  const json* name = FindMember(element, "origin_format", json::value_t::string);
  return name == nullptr ? ox::FORMAT_NULL
                         : ox::TypeUtils::SerialStringToFormat(name->get_ref<const std::string&>());
}

// False after an error line.
bool ReadShape(const json& element, const char* key, Shape& shape) {
  const json* dims = FindMember(element, key, json::value_t::array);
  if (dims == nullptr) {
    return true;
  }
  if (dims->size() > static_cast<size_t>(ZEL_MAX_TENSOR_DIMS)) {
    ORMO_LOG_ERROR("%s has %zu dimensions, more than %zu!", key, dims->size(),
                   static_cast<size_t>(ZEL_MAX_TENSOR_DIMS));
    return false;
  }
  shape.emplace();
  for (const json& dim : *dims) {
    shape->push_back(ToInt64(dim));
  }
  return true;
}

bool BuildTensors(const json& request, const char* key, std::vector<zelTensor*>& tensors,
                  std::vector<void*>& deviceBuffers) {
  const json* elements = FindMember(request, key, json::value_t::array);
  if (elements == nullptr) {
    ORMO_LOG_ERROR("Can not find %s in json or inputs is not array!", key);
    return false;
  }
  for (const json& element : *elements) {
    if (element.empty()) {
      tensors.push_back(nullptr);
      continue;
    }
    TensorRequest tensor;
    tensor.dataType = ReadDataType(element);
    if (!ReadShape(element, "origin_shape", tensor.viewShape) ||
        !ReadShape(element, "shape", tensor.storageShape)) {
      return false;
    }
    tensor.format = ReadFormat(element);
    AppendTensor(tensor, tensors, deviceBuffers);
  }
  return true;
}

// ---- Attributes ----

// As a bool, an int64_t, a float or a std::string. Throws the JSON library's type error for what
// is none.
template <typename Value>
Value Read(const json& value) {
  if constexpr (std::is_same_v<Value, int64_t>) {
    return ToInt64(value);
  } else if constexpr (std::is_same_v<Value, float>) {
    return static_cast<float>(value.get<double>());
  } else {
    return value.get<Value>();
  }
}

template <typename Value>
bool GetScalarAttr(const json& value, ZelnnParamterInner& inner) {
  return AppendScalar(Read<Value>(value), inner);
}

// The values of a list one after another on the host heap. None after an error line; `type` is how
// that calls them.
template <typename Value>
HostBlock ReadList(const json& list, const char* type) {
  if (!list.is_array()) {
    ORMO_LOG_ERROR("attrValue[%s] is not %s array!", CompactText(list).c_str(), type);
    return HostBlock();
  }
  HostBlock values(std::malloc(list.size() * sizeof(Value) + 1));  // some for an empty list, too
  if (!values) {
    ORMO_LOG_ERROR("attrValue[%s] is malloc failed!", CompactText(list).c_str());
    return values;
  }
  auto* place = static_cast<Value*>(values.Get());
  for (const json& element : list) {
    const auto value = Read<Value>(element);
    if (memcpy_s(place, sizeof(value), &value, sizeof(value)) != 0) {
      ORMO_LOG_ERROR("memcpy_s for %s attr failed!", type);
      return HostBlock();
    }
    ++place;
  }
  return values;
}

// A kind of list: what it holds, how error lines call that, and its debug line.
struct IntList {
  using Value = int64_t;
  static constexpr char NAME[] = "int";

  static void Log(const json& list) {
    ORMO_LOG_DEBUG("GetListIntAttr : %s.", CompactText(list).c_str());
  }
};

struct FloatList {
  using Value = float;
  static constexpr char NAME[] = "float";

  static void Log(const json& list) {
    ORMO_LOG_DEBUG("GetListFloatAttr : %s!", CompactText(list).c_str());
  }
};

struct BoolList {
  using Value = bool;
  static constexpr char NAME[] = "bool";

  static void Log(const json& list) {
    ORMO_LOG_DEBUG("GetListBoolAttr[%zu] : %s.", list.size(), CompactText(list).c_str());
  }
};

template <typename List>
bool GetListAttr(const json& list, ZelnnParamterInner& inner) {
  using Value = typename List::Value;
  const HostBlock values = ReadList<Value>(list, List::NAME);
  if (!values || !AppendArray(static_cast<const Value*>(values.Get()), list.size(), inner)) {
    return false;
  }
  List::Log(list);
  return true;
}

using AttrBuilder = bool (*)(const json& value, ZelnnParamterInner& inner);

// Null, after an error line, when there is no attribute of that type.
AttrBuilder FindAttrBuilder(const std::string& type) {
  // Nothing to destroy: workers may still read it while the process ends.
  static constexpr std::pair<const char*, AttrBuilder> builders[] = {
      {"bool", GetScalarAttr<bool>},        {"float", GetScalarAttr<float>},
      {"int", GetScalarAttr<int64_t>},      {"string", GetScalarAttr<std::string>},
      {"list_bool", GetListAttr<BoolList>}, {"list_float", GetListAttr<FloatList>},
      {"list_int", GetListAttr<IntList>},
  };
  for (const auto& [name, builder] : builders) {
    if (type == name) {
      return builder;
    }
  }
  ORMO_LOG_ERROR("Can not find support type[%s] to attr!", type.c_str());
  return nullptr;
}

// Whether the attribute has all its members; one that is no object is the JSON library's to
// refuse.
bool IsComplete(const json& attr, size_t index) {
  for (const char* key : {"name", "dtype", "value"}) {
    if (attr.is_object() && !attr.contains(key)) {
      ORMO_LOG_ERROR("Can not find %s in attr[%zu]!", key, index);
      return false;
    }
  }
  return true;
}

bool BuildAttr(const json& attr, ZelnnParamterInner& inner) {
  const auto type = attr.at("dtype").get<std::string>();
  const AttrBuilder build = FindAttrBuilder(type);
  if (build == nullptr) {
    return false;
  }
  if (!build(attr.at("value"), inner)) {
    ORMO_LOG_ERROR("Parse attr[%s][%s] failed!", attr.at("name").get<std::string>().c_str(),
                   type.c_str());
    return false;
  }
  return true;
}

bool BuildAttrs(const json& request, ZelnnParamterInner& inner) {
  const json* attrs = FindMember(request, "attrs", json::value_t::array);
  if (attrs == nullptr) {
    CallContext::KeepReason("The operator's request has no array \"attrs\"");
    return false;
  }
  size_t index = 0;
  return std::all_of(attrs->begin(), attrs->end(), [&inner, &index](const json& attr) {
    return IsComplete(attr, index++) && BuildAttr(attr, inner);
  });
}

bool Build(const json& request, ZelnnParamterInner& inner) {
  const json* opType = FindMember(request, "op_type", json::value_t::string);
  if (opType == nullptr) {
    ORMO_LOG_ERROR("Can not find op_type in json or op_type is not str!");
    return false;
  }
  inner.opType = opType->get_ref<const std::string&>();
  return BuildTensors(request, "inputs", inner.inputs, inner.deviceBuffers) &&
         BuildTensors(request, "outputs", inner.outputs, inner.deviceBuffers) &&
         BuildAttrs(request, inner);
}

}  // namespace

int ZelnnParamterConstructor(const std::string& json, ZelnnParamterInner& inner) {
  try {
    const RequestJson request(json);
    if (!request.IsValid()) {
      CallContext::KeepReason("The operator's request is not JSON");
      ORMO_LOG_ERROR("ZelnnParamter construct failed, json str: %s", json.c_str());
      return STATUS_FAILED;
    }
    if (Build(request.Root(), inner)) {
      ORMO_LOG_INFO("ZelnnParamter construct success.");
      return STATUS_SUCCESS;
    }
    ZelnnParamterDestructor(inner);
    ORMO_LOG_ERROR("ZelnnParamter construct failed!");
  } catch (const nlohmann::json::exception& error) {
    ZelnnParamterDestructor(inner);
    ORMO_LOG_ERROR("ZelnnParamter construct failed, errMsg: %s", error.what());
  } catch (...) {
    ZelnnParamterDestructor(inner);
    throw;
  }
  return STATUS_FAILED;
}

int ZelnnParamterDestructor(ZelnnParamterInner& inner) noexcept {
  ReleaseTensors(inner.inputs);
  ReleaseTensors(inner.outputs);
  ReleaseDeviceBuffers(inner.deviceBuffers);
  ReleaseAttrs(inner);
  inner.stream = nullptr;
  inner.executor = nullptr;
  return STATUS_SUCCESS;
}

}  // namespace Ormo
