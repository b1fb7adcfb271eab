#include "request_check.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "ox/type_utils.h"

namespace OrmoMeasure {
namespace {

using Json = nlohmann::json;

[[noreturn]] void Refuse(const std::string& place, const std::string& expected) {
  throw std::runtime_error(place + ": expected " + expected);
}

void Require(bool condition, const std::string& place, const std::string& expected) {
  if (!condition) {
    Refuse(place, expected);
  }
}

std::string Element(const std::string& place, size_t index) {
  return place + "[" + std::to_string(index) + "]";
}

void RequireKeys(const Json& object, const std::string& place, const std::set<std::string>& keys) {
  std::string names;
  for (const std::string& key : keys) {
    names += (names.empty() ? "\"" : ", \"") + key + "\"";
  }
  Require(object.is_object(), place, "an object");
  for (const auto& item : object.items()) {
    Require(keys.count(item.key()) != 0, place, "no key but " + names);
  }
}

// The member of a key that must be there.
const Json& Member(const Json& object, const std::string& place, const std::string& key) {
  const auto found = object.find(key);
  Require(found != object.end(), place, "the key \"" + key + "\"");
  return *found;
}

// As the library does it: whatever the locale, and only a to z.
char ToUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

void CheckDataType(const Json& value, const std::string& place) {
  const std::string expected = "the name of a data type, such as \"float16\"";
  Require(value.is_string(), place, expected);
  auto name = "DT_" + value.get<std::string>();
  std::transform(name.begin(), name.end(), name.begin(), ToUpper);
  Require(ox::TypeUtils::SerialStringToDataType(name) != ox::DT_UNDEFINED, place, expected);
}

void CheckFormat(const Json& value, const std::string& place) {
  const std::string expected = "the name of a format, such as \"ND\"";
  Require(value.is_string(), place, expected);
  Require(ox::TypeUtils::SerialStringToFormat(value.get<std::string>()) != ox::FORMAT_NULL, place,
          expected);
}

void CheckShape(const Json& value, const std::string& place) {
  constexpr int64_t MAX_ELEMENTS = std::numeric_limits<int64_t>::max() / 16;  // of any data type
  Require(value.is_array(), place, "an array of dimensions");
  int64_t count = 1;
  for (size_t i = 0; i < value.size(); ++i) {
    const bool isDimension = value[i].is_number_unsigned() && value[i].get<uint64_t>() != 0;
    Require(isDimension, Element(place, i), "an integer above 0");
    Require(value[i].get<uint64_t>() <= static_cast<uint64_t>(MAX_ELEMENTS / count), place,
            "a product that 64 bits can count in bytes");
    count *= value[i].get<int64_t>();
  }
}

void CheckTensor(const Json& tensor, const std::string& place) {
  const bool isAbsent = tensor.empty() && !tensor.is_primitive();
  if (tensor.is_null() || isAbsent) {
    return;
  }
  RequireKeys(tensor, place, {"dtype", "origin_format", "origin_shape", "shape"});
  CheckDataType(Member(tensor, place, "dtype"), place + ".dtype");
  CheckShape(Member(tensor, place, "origin_shape"), place + ".origin_shape");
  if (tensor.contains("shape")) {
    CheckShape(tensor["shape"], place + ".shape");
  }
  if (tensor.contains("origin_format")) {
    CheckFormat(tensor["origin_format"], place + ".origin_format");
  }
}

void CheckInteger(const Json& value, const std::string& place) {
  const bool fits =
      value.is_number_integer() &&
      (!value.is_number_unsigned() ||
       value.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()));
  Require(fits, place, "an integer of 64 bits");
}

void CheckAttribute(const Json& attribute, const std::string& place) {
  RequireKeys(attribute, place, {"dtype", "name", "value"});
  if (!attribute.contains("dtype") || !attribute.contains("value")) {
    return;
  }
  const Json& value = attribute["value"];
  if (attribute["dtype"] == "int") {
    CheckInteger(value, place + ".value");
  } else if (attribute["dtype"] == "list_int" && value.is_array()) {
    for (size_t i = 0; i < value.size(); ++i) {
      CheckInteger(value[i], Element(place + ".value", i));
    }
  }
}

void CheckList(const Json& request, const std::string& key,
               void (*checkElement)(const Json&, const std::string&)) {
  const auto list = request.find(key);
  if (list == request.end() || !list->is_array()) {
    return;
  }
  for (size_t i = 0; i < list->size(); ++i) {
    checkElement((*list)[i], Element(key, i));
  }
}

// Each level of a tree takes far more memory than its bracket in the text. A pass of its own,
// which keeps nothing: with a callback that keeps values the parser's time is quadratic in a
// list's size.
void RequireBoundedDepth(const std::string& text) {
  constexpr int MAX_DEPTH = 32;  // more than any request has
  const auto check = [](int depth, Json::parse_event_t event, const Json& /*value*/) {
    Require(depth < MAX_DEPTH || event == Json::parse_event_t::key, "the request",
            "at most 32 levels of arrays and objects");
    return false;
  };
  [[maybe_unused]] const Json nothing = Json::parse(text, check);
}

Json ParseRequest(const std::string& text) {
  try {
    RequireBoundedDepth(text);
    return Json::parse(text);
  } catch (const Json::parse_error& e) {
    throw std::runtime_error(std::string("this is no JSON text: ") + e.what());
  }
}

}  // namespace

void CheckRequest(const std::string& json) {
  const Json request = ParseRequest(json);
  RequireKeys(request, "the request", {"attrs", "inputs", "op_type", "outputs"});
  CheckList(request, "inputs", CheckTensor);
  CheckList(request, "outputs", CheckTensor);
  CheckList(request, "attrs", CheckAttribute);
}

}  // namespace OrmoMeasure
