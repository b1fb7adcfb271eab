/// \file
/// Initialisation, devices and contexts.
#ifndef ORMO_HOST_RUNTIME_RUNTIME_H
#define ORMO_HOST_RUNTIME_RUNTIME_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "runtime/handle_table.h"
#include "zel/zel.h"

namespace OrmoHost {

struct Context {
  uint32_t device;
  std::atomic<uint32_t> opTimeout{0};  ///< kept, without effect: an operator here always ends
};

/// Codes are those of codes.h and zel.h.
class Runtime {
 public:
  static Runtime& Instance();

  int32_t Init();
  int32_t Finalize();
  bool IsInitialized();

  int32_t SetDevice(uint32_t device);
  /// Takes one set back; `isLast` tells whether that leaves none.
  int32_t ResetDevice(uint32_t device, bool& isLast);

  int32_t CreateContext(uint32_t device, zelrtContext& context);
  int32_t SetCurrentContext(zelrtContext context);
  int32_t DestroyContext(zelrtContext context);

  /// The calling thread's context while it is alive, or null.
  std::shared_ptr<Context> CurrentContext();
  /// Device of the calling thread's context, else the device that the thread has set.
  std::optional<uint32_t> CurrentDevice();

  /// Removes the contexts of one device or of all; returns how many those were.
  size_t RemoveContexts(std::optional<uint32_t> device);
  size_t ContextCount();
  size_t DeviceSetCount();
  /// Forgets initialisation and device sets; returns how many sets there were.
  size_t Clear();

 private:
  /// What a thread has made current. Plain data: a destructor would keep this library loaded.
  struct Current {
    zelrtContext context;
    uint32_t device;
    bool hasDevice;
  };

  static thread_local Current current_;

  std::mutex mutex_;
  bool isInitialized_ = false;
  std::map<uint32_t, size_t> deviceSets_;
  HandleTable<zelrtContext, Context> contexts_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_RUNTIME_H
