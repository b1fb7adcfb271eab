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

#include "runtime/table.h"
#include "zel/zel.h"

namespace OrmoHost {

struct Context {
  explicit Context(uint32_t deviceId) : device(deviceId) {}

  const uint32_t device;
  std::atomic<uint32_t> opTimeout{0};  ///< kept, without effect: an operator here always ends
};

using Contexts = HandleTable<zelrtContext, Context>;

/// What a thread has made current. Plain data: a destructor would keep this library loaded.
struct Current {
  zelrtContext context;
  uint32_t device;
  bool hasDevice;
};

extern thread_local Current current;

/// The calling thread's context; refuses when there is none or it is gone.
std::shared_ptr<Context> GetCurrentContext();

/// The device of the thread's context, else the one that the thread has set; refuses when there is
/// neither.
uint32_t GetCurrentDevice();

/// What is set up for the process. Operations refuse what does not fit.
class Runtime {
 public:
  void Init();
  void Finalize();
  void RequireInitialized();

  void SetDevice(uint32_t device);
  /// Takes one set back and returns whether that leaves none.
  bool ResetDevice(uint32_t device);
  void RequireSet(uint32_t device);

  size_t DeviceSetCount();
  /// Forgets initialisation and device sets; returns how many sets there were.
  size_t Clear();

 private:
  std::mutex mutex_;
  bool isInitialized_ = false;
  std::map<uint32_t, size_t> deviceSets_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_RUNTIME_H
