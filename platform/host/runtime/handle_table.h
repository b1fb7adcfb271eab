/// \file
/// Live objects behind opaque handles.
#ifndef ORMO_HOST_RUNTIME_HANDLE_TABLE_H
#define ORMO_HOST_RUNTIME_HANDLE_TABLE_H

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "control/lifetime.h"

namespace OrmoHost {

/// A value that was never given out before, for any kind of object.
void* NextHandle();

/// Objects of one kind by handle. A handle is a number in the clothes of a pointer: it is never
/// used again, so that one that has gone stale is always recognised, and dereferencing one always
/// fails.
template <typename Handle, typename Object>
class HandleTable {
 public:
  /// Null once the host has closed.
  Handle Add(std::shared_ptr<Object> object) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (IsHostClosed()) {
      return nullptr;
    }
    void* handle = NextHandle();
    objects_.emplace(handle, std::move(object));
    return static_cast<Handle>(handle);
  }

  /// Null when the handle is not alive.
  std::shared_ptr<Object> Find(const void* handle) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  /// The object that was taken out, or null.
  std::shared_ptr<Object> Remove(const void* handle) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = objects_.find(handle);
    if (found == objects_.end()) {
      return nullptr;
    }
    std::shared_ptr<Object> object = std::move(found->second);
    objects_.erase(found);
    return object;
  }

  size_t Size() {
    std::lock_guard<std::mutex> lock(mutex_);
    return objects_.size();
  }

  /// Removes the objects that the predicate picks and returns how many those were.
  template <typename Predicate>
  size_t RemoveIf(Predicate predicate) {
    std::map<const void*, std::shared_ptr<Object>> removed;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto object = objects_.begin(); object != objects_.end();) {
      auto next = std::next(object);
      if (predicate(*object->second)) {
        removed.insert(objects_.extract(object));
      }
      object = next;
    }
    return removed.size();
  }

  size_t Clear() {
    return RemoveIf([](const Object&) { return true; });
  }

 private:
  std::mutex mutex_;
  std::map<const void*, std::shared_ptr<Object>> objects_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_HANDLE_TABLE_H
