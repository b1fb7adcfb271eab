#include "request_check.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
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
  constexpr size_t MAX_DIMENSIONS = 25;
  constexpr int64_t MAX_ELEMENTS = std::numeric_limits<int64_t>::max() / 16;  // of any data type
  Require(value.is_array() && value.size() <= MAX_DIMENSIONS, place,
          "an array of at most 25 dimensions");
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

bool FitsInteger(const Json& value) {
  return value.is_number_integer() &&
         (!value.is_number_unsigned() ||
          value.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()));
}

using Fits = bool (*)(const Json&);

struct ScalarType {
  Fits fits;
  const char* name;
};

const std::map<std::string, ScalarType> SCALAR_TYPES = {
    {"bool", {[](const Json& value) { return value.is_boolean(); }, "true or false"}},
    {"int", {FitsInteger, "an integer of 64 bits"}},
    {"float", {[](const Json& value) { return value.is_number(); }, "a number"}},
    {"string", {[](const Json& value) { return value.is_string(); }, "a string"}}};

constexpr char ATTRIBUTE_TYPES[] =
    "\"bool\", \"int\", \"float\", \"string\", \"list_bool\", \"list_int\" or \"list_float\"";

void CheckAttributeValue(const std::string& type, const Json& value, const std::string& place) {
  const std::string list = "list_";
  const bool isList = type.compare(0, list.size(), list) == 0 && type != "list_string";
  const auto found = SCALAR_TYPES.find(isList ? type.substr(list.size()) : type);
  Require(found != SCALAR_TYPES.end(), place + ".dtype", ATTRIBUTE_TYPES);
  const ScalarType& scalar = found->second;
  if (!isList) {
    Require(scalar.fits(value), place + ".value", scalar.name);
    return;
  }
  Require(value.is_array(), place + ".value", "an array");
  for (size_t i = 0; i < value.size(); ++i) {
    Require(scalar.fits(value[i]), Element(place + ".value", i), scalar.name);
  }
}

void CheckAttribute(const Json& attribute, const std::string& place) {
  RequireKeys(attribute, place, {"dtype", "name", "value"});
  Require(Member(attribute, place, "name").is_string(), place + ".name", "a string");
  const Json& type = Member(attribute, place, "dtype");
  Require(type.is_string(), place + ".dtype", ATTRIBUTE_TYPES);
  CheckAttributeValue(type.get<std::string>(), Member(attribute, place, "value"), place);
}

void CheckList(const Json& request, const std::string& key,
               void (*checkElement)(const Json&, const std::string&)) {
  const Json& list = Member(request, "the request", key);
  Require(list.is_array(), key, "an array");
  for (size_t i = 0; i < list.size(); ++i) {
    checkElement(list[i], Element(key, i));
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
  Require(Member(request, "the request", "op_type").is_string(), "op_type", "a string");
  CheckList(request, "inputs", CheckTensor);
  CheckList(request, "outputs", CheckTensor);
  CheckList(request, "attrs", CheckAttribute);
}

}  // namespace OrmoMeasure
