/// \file
/// What every platform function is made with.
#ifndef ORMO_HOST_SEAM_HOST_CALL_H
#define ORMO_HOST_SEAM_HOST_CALL_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <optional>
#include <type_traits>

#include "seam/codes.h"
#include "seam/script.h"

namespace OrmoHost {

/// Thrown within a platform function to leave it with a code.
class Refusal : public std::exception {
 public:
  explicit Refusal(int32_t code) : code_(code) {}

  int32_t Code() const { return code_; }

 private:
  int32_t code_;
};

inline void Require(bool condition, int32_t code) {
  if (!condition) {
    throw Refusal(code);
  }
}

/// True from the moment that the host was unloaded or its process exits.
inline std::atomic<bool> isHostClosed{false};

/// Nothing is created any more once the host has closed.
inline void RequireOpen() {
  Require(!isHostClosed, NOT_INITIALIZED);
}

/// The scripting point of a platform function, alive while the function runs.
class HostCall {
 public:
  explicit HostCall(const char* function, Failing failing = Failing::CAN) {
    if (isScriptActive.load(std::memory_order_relaxed)) {
      fault_ = MeetScript(function, failing);
    }
  }

  /// Code that the script wants the function to fail with, or 0. Waits or throws when told to.
  int32_t Fails() {
    if (fault_.has_value() && fault_->action) {
      fault_->action();
    }
    return fault_.has_value() ? fault_->code : SUCCESS;
  }

 private:
  struct InsideMark {
    InsideMark() { ++insideDepth; }

    ~InsideMark() { --insideDepth; }

    InsideMark(const InsideMark&) = delete;
    InsideMark& operator=(const InsideMark&) = delete;
  };

  InsideMark inside_;
  std::optional<Fault> fault_;
};

/// Codes stay what they are; a pointer, size or time fails with null or 0.
template <typename Result>
Result Failure(int32_t code) {
  if constexpr (std::is_same_v<Result, int32_t>) {
    return code;
  } else {
    return Result{};
  }
}

/// The result of `work`, success when it has none, or the failure that a Refusal in it means.
template <typename Work>
auto Guarded(Work&& work) {
  if constexpr (std::is_void_v<decltype(work())>) {
    return Guarded([&]() -> int32_t {
      work();
      return SUCCESS;
    });
  } else {
    try {
      return work();
    } catch (const Refusal& refusal) {
      return Failure<decltype(work())>(refusal.Code());
    }
  }
}

/// A platform function that acquires or works: made to fail, it does nothing.
template <typename Work>
auto Attempt(const char* function, Work&& work) {
  HostCall call(function);
  int32_t code = call.Fails();
  return code != SUCCESS ? Failure<decltype(Guarded(work))>(code) : Guarded(work);
}

/// A platform function that releases: made to fail, it does so after its work.
template <typename Work>
int32_t Release(const char* function, Work&& work) {
  HostCall call(function);
  int32_t code = Guarded(work);
  int32_t scripted = call.Fails();
  return scripted != SUCCESS ? scripted : code;
}

/// A function over the operating system: it fails with a negative result and an error number.
template <typename Work>
auto AttemptSystem(const char* function, Work&& work, Failing failing = Failing::CAN) {
  HostCall call(function, failing);
  if (int32_t code = call.Fails()) {
    errno = EIO;
    return static_cast<decltype(work())>(code > 0 ? -1 : code);
  }
  return work();
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_SEAM_HOST_CALL_H
