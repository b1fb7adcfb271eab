#include "runtime/machine.h"

#include <limits>
#include <string_view>

#include "control/undying.h"
#include "services/environment.h"

namespace OrmoHost {
namespace {

constexpr uint32_t DEFAULT_DEVICES = 2;
constexpr size_t DEFAULT_MEMORY = size_t{4} << 30;
constexpr char DEFAULT_SOC[] = "TarnLake1";

/// Chip families with DDR memory; all others have HBM.
constexpr std::string_view DDR_FAMILIES[] = {"TarnSpring", "TarnFen", "TarnCreek", "TarnStream",
                                             "TarnPond"};

}  // namespace

Machine& Machine::Instance() {
  static Undying<Machine> instance;
  return *instance;
}

Machine::Machine() {
  ReadEnvironment();
}

void Machine::ReadEnvironment() {
  std::lock_guard<std::mutex> lock(mutex_);
  deviceCount_ = static_cast<uint32_t>(ReadNumber("ORMO_HOST_DEVICES").value_or(DEFAULT_DEVICES));
  memorySize_ = ReadNumber("ORMO_HOST_MEMORY").value_or(DEFAULT_MEMORY);
  hugePageSize_ = std::numeric_limits<size_t>::max();
  std::string soc = ReadVariable("ORMO_HOST_SOC");
  KeepSocName(soc.empty() ? DEFAULT_SOC : soc);
}

void Machine::KeepSocName(const std::string& name) {
  socName_ = name.empty() ? nullptr : socNames_.insert(name).first->c_str();
}

uint32_t Machine::DeviceCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return deviceCount_;
}

size_t Machine::MemorySize() {
  std::lock_guard<std::mutex> lock(mutex_);
  return memorySize_;
}

size_t Machine::HugePageSize() {
  std::lock_guard<std::mutex> lock(mutex_);
  return hugePageSize_;
}

zelrtMemAttr Machine::MemoryKind() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string_view name = socName_ == nullptr ? "" : socName_;
  for (std::string_view family : DDR_FAMILIES) {
    if (name.substr(0, family.size()) == family) {
      return ZEL_DDR_MEM;
    }
  }
  return ZEL_HBM_MEM;
}

const char* Machine::SocName() {
  std::lock_guard<std::mutex> lock(mutex_);
  return socName_;
}

void Machine::SetDeviceCount(uint32_t count) {
  std::lock_guard<std::mutex> lock(mutex_);
  deviceCount_ = count;
}

void Machine::SetMemorySize(size_t bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  memorySize_ = bytes;
}

void Machine::SetHugePageSize(size_t bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  hugePageSize_ = bytes;
}

void Machine::SetSocName(const std::string& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  KeepSocName(name);
}

void Machine::Close() {
  std::lock_guard<std::mutex> lock(mutex_);
  deviceCount_ = 0;
  socName_ = nullptr;
  socNames_ = {};
}

}  // namespace OrmoHost
