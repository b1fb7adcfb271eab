/// \file
/// A call of an entry point, seen from whatever works for it.
#ifndef ORMO_COMMON_CALL_CONTEXT_H
#define ORMO_COMMON_CALL_CONTEXT_H

#include <atomic>
#include <cstddef>

namespace Ormo {

struct RunWatch;

/// Stands in the entry point's frame and is the calling thread's until it goes; a device's worker
/// adopts it for the call's task. Takes up why the call failed: the first error line, or a better
/// text that was kept before it. Allocates nothing.
class CallContext {
 public:
  /// Longer reasons are cut, between characters.
  static constexpr size_t REASON_SIZE = 1024;

  /// A plain call; its reason outlives it, as the calling thread's latest.
  CallContext() noexcept;

  /// A detailed one, which leaves that alone.
  CallContext(RunWatch& watch, char (&reason)[REASON_SIZE]) noexcept;

  ~CallContext();
  CallContext(const CallContext&) = delete;
  CallContext& operator=(const CallContext&) = delete;

  /// The innermost call that the calling thread works for, or null.
  static CallContext* Current() noexcept;

  /// What that one asks for and notes, or null.
  static RunWatch* Watch() noexcept;

  /// Whether it has been cancelled, and must come to an end for that; noted as such.
  static bool IsCancelled() noexcept;

  /// Whether it has no reason yet.
  static bool WantsReason() noexcept;

  /// Keeps the reason of a failure unless there is one. Any of the call's threads.
  static void KeepReason(const char* format, ...) noexcept __attribute__((format(printf, 1, 2)));

  /// For what failed and is made up for. On the thread where it failed.
  static void ForgetReason() noexcept;

  /// Makes `status` the call's: a success has no reason, a failure has one at least in general
  /// terms. Returns it.
  int End(int status) noexcept;

  /// The reason of the latest plain call on the calling thread; empty when it succeeded.
  static const char* LatestReason() noexcept;

  /// Makes a call (null: none) the calling thread's as long as the object lives.
  class Adopted {
   public:
    explicit Adopted(CallContext* call) noexcept;
    ~Adopted();
    Adopted(const Adopted&) = delete;
    Adopted& operator=(const Adopted&) = delete;

   private:
    CallContext* outer_;
  };

 private:
  static thread_local CallContext* current_;
  static thread_local char latestReason_[REASON_SIZE];

  RunWatch* watch_ = nullptr;
  char* reason_;
  std::atomic<bool> hasReason_{false};
  const Adopted own_{this};
};

}  // namespace Ormo

#endif  // ORMO_COMMON_CALL_CONTEXT_H
