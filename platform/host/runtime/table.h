/// \file
/// Live objects by key, and by opaque handle.
#ifndef ORMO_HOST_RUNTIME_TABLE_H
#define ORMO_HOST_RUNTIME_TABLE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "seam/host_call.h"

namespace OrmoHost {

/// Counts what may make a look-up of before come out differently: objects that leave their tables,
/// datasets that change.
inline std::atomic<uint64_t> changeCount{0};

/// Objects by a number. An object that leaves the table lives on as long as somebody uses it, and
/// is never destroyed under the table's lock.
template <typename Object>
class Table {
 public:
  using Pointer = std::shared_ptr<Object>;

  /// False, and nothing changes, when the key is taken. Refuses once the host has closed.
  bool Add(uintptr_t key, Pointer object) {
    const std::lock_guard<std::mutex> lock(mutex_);
    RequireOpen();
    return objects_.emplace(key, std::move(object)).second;
  }

  /// Null when there is none.
  Pointer Find(uintptr_t key) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto found = objects_.find(key);
    return found == objects_.end() ? nullptr : found->second;
  }

  /// The object with the largest key up to this one, or null.
  Pointer FindUpTo(uintptr_t key) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto next = objects_.upper_bound(key);
    return next == objects_.begin() ? nullptr : std::prev(next)->second;
  }

  /// What was taken out, or null.
  Pointer Take(uintptr_t key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++changeCount;
    auto found = objects_.find(key);
    return found == objects_.end() ? nullptr : std::move(objects_.extract(found).mapped());
  }

  /// Takes out all that the predicate picks. Allocates nothing: whoever releases cannot fail.
  template <typename Predicate>
  std::map<uintptr_t, Pointer> TakeIf(Predicate predicate) {
    std::map<uintptr_t, Pointer> taken;
    const std::lock_guard<std::mutex> lock(mutex_);
    ++changeCount;
    for (auto entry = objects_.begin(); entry != objects_.end();) {
      auto current = entry++;
      if (predicate(*current->second)) {
        taken.insert(objects_.extract(current));
      }
    }
    return taken;
  }

  /// Removes everything; returns how much that was.
  size_t Clear() {
    return TakeIf([](const Object&) { return true; }).size();
  }

  size_t Size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return objects_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::map<uintptr_t, Pointer> objects_;
};

/// A number that was never given out before.
uintptr_t NextHandle();

/// Objects of one kind behind opaque pointers. Such a pointer is a number in disguise: it is never
/// given out again, so that one that has gone stale is always recognised.
template <typename Handle, typename Object>
class HandleTable {
 public:
  Handle Add(std::shared_ptr<Object> object) {
    uintptr_t key = NextHandle();
    table_.Add(key, std::move(object));
    return reinterpret_cast<Handle>(key);  // NOLINT(performance-no-int-to-ptr): never dereferenced
  }

  template <typename... Arguments>
  Handle Make(Arguments&&... arguments) {
    return Add(std::make_shared<Object>(std::forward<Arguments>(arguments)...));
  }

  /// Null when the handle is not alive.
  std::shared_ptr<Object> Find(const void* handle) const { return table_.Find(KeyOf(handle)); }

  /// Refuses a handle that is not alive.
  std::shared_ptr<Object> Get(const void* handle) const {
    std::shared_ptr<Object> object = Find(handle);
    Require(object != nullptr, UNKNOWN_HANDLE);
    return object;
  }

  /// Ends it; false when the handle is not alive.
  bool End(const void* handle) { return table_.Take(KeyOf(handle)) != nullptr; }

  /// The same, and refuses such a handle.
  void Remove(const void* handle) { Require(End(handle), UNKNOWN_HANDLE); }

  template <typename Predicate>
  size_t RemoveIf(Predicate predicate) {
    return table_.TakeIf(predicate).size();
  }

  size_t Clear() { return table_.Clear(); }

  size_t Size() const { return table_.Size(); }

 private:
  static uintptr_t KeyOf(const void* handle) { return reinterpret_cast<uintptr_t>(handle); }

  Table<Object> table_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_TABLE_H
