#include "single_op/op_attributes.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "annex_k/annex_k.h"
#include "common/log.h"
#include "common/scope_exit.h"

namespace Ormo {

namespace {

constexpr size_t SMALLEST_BLOCK = 16;

constexpr char COPYING[] = "memcpy_s";
constexpr char TEXT_COPYING[] = "memset_s or memcpy_s";

// A new entry, null so far.
void*& AddEntry(uint8_t type, ZelnnParamterInner& inner) {
  inner.attrs.push_back(nullptr);
  inner.attrTypes.push_back(type);
  return inner.attrs.back();
}

// A block with a copy of `size` bytes, and then zeros, becomes the last entry. `type` and
// `copying` are what error lines call the value and its copying.
bool AppendBlock(const void* value, size_t size, const char* type, const char* copying,
                 ZelnnParamterInner& inner) {
  const size_t room = std::max(size, SMALLEST_BLOCK);
  HostBlock block(std::malloc(room));
  if (!block) {
    ORMO_LOG_ERROR("malloc for %s attr failed!", type);
    return false;
  }
  if (memset_s(block.Get(), room, 0, room) != 0 || memcpy_s(block.Get(), room, value, size) != 0) {
    ORMO_LOG_ERROR("%s for %s attr failed!", copying, type);
    return false;
  }
  void*& entry = AddEntry(HOST_BLOCK_ATTR, inner);
  entry = block.Detach();
  return true;
}

// A kind of the platform's arrays.
template <typename Value, typename Array>
struct ArrayKind {
  bool Append(const Value* values, uint64_t count, ZelnnParamterInner& inner) const {
    void*& entry = AddEntry(type, inner);
    entry = create(values, count);
    if (entry == nullptr) {
      ORMO_LOG_ERROR("%s failed!", creation);
    }
    return entry != nullptr;
  }

  void Release(void* attr) const noexcept {
    ReleaseQuietly(name, [this, attr] { return destroy(static_cast<Array*>(attr)); });
  }

  uint8_t type;
  const char* name;
  Array* (*create)(const Value* values, uint64_t count);
  const char* creation;
  int32_t (*destroy)(const Array* array);
};

constexpr ArrayKind<int64_t, zelIntArray> INT_ARRAY{
    INT_ARRAY_ATTR, "an integer array", zelCreateIntArray, "zelCreateIntArray", zelDestroyIntArray};
constexpr ArrayKind<bool, zelBoolArray> BOOL_ARRAY{BOOL_ARRAY_ATTR, "a boolean array",
                                                   zelCreateBoolArray, "zelCreateBoolArray",
                                                   zelDestroyBoolArray};
constexpr ArrayKind<float, zelFloatArray> FLOAT_ARRAY{FLOAT_ARRAY_ATTR, "a float array",
                                                      zelCreateFloatArray, "zelCreateFloatArray",
                                                      zelDestroyFloatArray};

void ReleaseAttr(void* attr, uint8_t type) noexcept {
  switch (type) {
    case INT_ARRAY_ATTR:
      return INT_ARRAY.Release(attr);
    case BOOL_ARRAY_ATTR:
      return BOOL_ARRAY.Release(attr);
    case FLOAT_ARRAY_ATTR:
      return FLOAT_ARRAY.Release(attr);
    default:
      return FreeHostBlock(attr);
  }
}

}  // namespace

void FreeHostBlock(void* block) noexcept {
  std::free(block);
}

bool AppendScalar(bool value, ZelnnParamterInner& inner) {
  if (!AppendBlock(&value, sizeof(value), "bool", COPYING, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetBoolAttr[%zu][%p] : %d.", sizeof(value), inner.attrs.back(), value ? 1 : 0);
  return true;
}

bool AppendScalar(int64_t value, ZelnnParamterInner& inner) {
  if (!AppendBlock(&value, sizeof(value), "int64_t", COPYING, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetIntAttr : %lld.", static_cast<long long>(value));
  return true;
}

bool AppendScalar(float value, ZelnnParamterInner& inner) {
  if (!AppendBlock(&value, sizeof(value), "float", COPYING, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetFloatAttr[%zu][%p] : %f.", sizeof(value), inner.attrs.back(),
                 static_cast<double>(value));
  return true;
}

bool AppendScalar(const std::string& value, ZelnnParamterInner& inner) {
  if (!AppendBlock(value.c_str(), value.size() + 1, "str", TEXT_COPYING, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetStrAttr : %s.", value.c_str());
  return true;
}

bool AppendArray(const int64_t* values, uint64_t count, ZelnnParamterInner& inner) {
  return INT_ARRAY.Append(values, count, inner);
}

bool AppendArray(const bool* values, uint64_t count, ZelnnParamterInner& inner) {
  return BOOL_ARRAY.Append(values, count, inner);
}

bool AppendArray(const float* values, uint64_t count, ZelnnParamterInner& inner) {
  return FLOAT_ARRAY.Append(values, count, inner);
}

void ReleaseAttrs(ZelnnParamterInner& inner) noexcept {
  for (size_t i = 0; i < inner.attrs.size(); ++i) {
    if (inner.attrs[i] != nullptr) {
      ReleaseAttr(inner.attrs[i], inner.attrTypes[i]);
    }
  }
  inner.attrs.clear();
  inner.attrTypes.clear();
}

}  // namespace Ormo
