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

/// How a kind of attribute is called in error lines.
struct BlockWords {
  const char* type;
  const char* copying;
};

constexpr BlockWords BOOL_WORDS{"bool", "memcpy_s"};
constexpr BlockWords INT_WORDS{"int64_t", "memcpy_s"};
constexpr BlockWords FLOAT_WORDS{"float", "memcpy_s"};
constexpr BlockWords STRING_WORDS{"str", "memset_s or memcpy_s"};

/// A block of at least `room` bytes: a copy of `size` bytes, then zeros. None after an error line.
HostBlock MakeBlock(const void* value, size_t size, size_t room, const BlockWords& words) {
  room = std::max(room, SMALLEST_BLOCK);
  HostBlock block(std::malloc(room));
  if (!block) {
    ORMO_LOG_ERROR("malloc for %s attr failed!", words.type);
    return block;
  }
  if (memset_s(block.Get(), room, 0, room) != 0 || memcpy_s(block.Get(), room, value, size) != 0) {
    block.Reset();
    ORMO_LOG_ERROR("%s for %s attr failed!", words.copying, words.type);
  }
  return block;
}

/// A new entry, null so far.
void*& AddEntry(uint8_t type, ZelnnParamterInner& inner) {
  inner.attrs.push_back(nullptr);
  inner.attrTypes.push_back(type);
  return inner.attrs.back();
}

/// False when there is none; otherwise it becomes the last entry.
bool AppendBlock(HostBlock block, ZelnnParamterInner& inner) {
  if (!block) {
    return false;
  }
  void*& entry = AddEntry(HOST_BLOCK_ATTR, inner);
  entry = block.Detach();
  return true;
}

template <typename Value>
bool AppendScalar(Value value, const BlockWords& words, ZelnnParamterInner& inner) {
  return AppendBlock(MakeBlock(&value, sizeof(value), sizeof(value), words), inner);
}

void ReleaseAttr(void* attr, uint8_t type) noexcept {
  switch (type) {
    case INT_ARRAY_ATTR:
      ReleaseQuietly("an integer array",
                     [attr] { return zelDestroyIntArray(static_cast<zelIntArray*>(attr)); });
      break;
    case BOOL_ARRAY_ATTR:
      ReleaseQuietly("a boolean array",
                     [attr] { return zelDestroyBoolArray(static_cast<zelBoolArray*>(attr)); });
      break;
    case FLOAT_ARRAY_ATTR:
      ReleaseQuietly("a float array",
                     [attr] { return zelDestroyFloatArray(static_cast<zelFloatArray*>(attr)); });
      break;
    default:
      FreeHostBlock(attr);
      break;
  }
}

}  // namespace

void FreeHostBlock(void* block) noexcept {
  std::free(block);
}

bool AppendBool(bool value, ZelnnParamterInner& inner) {
  if (!AppendScalar(value, BOOL_WORDS, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetBoolAttr[%zu][%p] : %d.", sizeof(value), inner.attrs.back(), value ? 1 : 0);
  return true;
}

bool AppendInt(int64_t value, ZelnnParamterInner& inner) {
  if (!AppendScalar(value, INT_WORDS, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetIntAttr : %lld.", static_cast<long long>(value));
  return true;
}

bool AppendFloat(float value, ZelnnParamterInner& inner) {
  if (!AppendScalar(value, FLOAT_WORDS, inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetFloatAttr[%zu][%p] : %f.", sizeof(value), inner.attrs.back(),
                 static_cast<double>(value));
  return true;
}

bool AppendString(const std::string& value, ZelnnParamterInner& inner) {
  if (!AppendBlock(MakeBlock(value.data(), value.size(), value.size() + 1, STRING_WORDS), inner)) {
    return false;
  }
  ORMO_LOG_DEBUG("GetStrAttr : %s.", value.c_str());
  return true;
}

bool AppendArray(const int64_t* values, uint64_t count, ZelnnParamterInner& inner) {
  void*& entry = AddEntry(INT_ARRAY_ATTR, inner);
  entry = zelCreateIntArray(values, count);
  if (entry == nullptr) {
    ORMO_LOG_ERROR("zelCreateIntArray failed!");
  }
  return entry != nullptr;
}

bool AppendArray(const float* values, uint64_t count, ZelnnParamterInner& inner) {
  void*& entry = AddEntry(FLOAT_ARRAY_ATTR, inner);
  entry = zelCreateFloatArray(values, count);
  if (entry == nullptr) {
    ORMO_LOG_ERROR("zelCreateFloatArray failed!");
  }
  return entry != nullptr;
}

bool AppendArray(const bool* values, uint64_t count, ZelnnParamterInner& inner) {
  void*& entry = AddEntry(BOOL_ARRAY_ATTR, inner);
  entry = zelCreateBoolArray(values, count);
  if (entry == nullptr) {
    ORMO_LOG_ERROR("zelCreateBoolArray failed!");
  }
  return entry != nullptr;
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
