/// \file
/// The machine that the host pretends to be.
#ifndef ORMO_HOST_RUNTIME_MACHINE_H
#define ORMO_HOST_RUNTIME_MACHINE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>

#include "zel/zel.h"

namespace OrmoHost {

/// Devices, their memory and chip: from the environment until a test says otherwise.
class Machine {
 public:
  static Machine& Instance();

  Machine();

  void ReadEnvironment();

  uint32_t DeviceCount();
  /// Bytes of each device, and how many of them may be huge pages.
  size_t MemorySize();
  size_t HugePageSize();
  zelrtMemAttr MemoryKind();
  /// A text that stays valid; null when the chip is not known.
  const char* SocName();

  void SetDeviceCount(uint32_t count);
  void SetMemorySize(size_t bytes);
  void SetHugePageSize(size_t bytes);
  void SetSocName(const std::string& name);

  void Close();

 private:
  void KeepSocName(const std::string& name);

  std::mutex mutex_;
  uint32_t deviceCount_ = 0;
  size_t memorySize_ = 0;
  size_t hugePageSize_ = 0;
  const char* socName_ = nullptr;
  std::set<std::string> socNames_;  ///< every name given out
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_MACHINE_H
