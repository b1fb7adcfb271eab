#include "runtime/machine.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "ormo_host/control.h"
#include "seam/single.h"
#include "services/environment.h"

namespace OrmoHost {
namespace {

constexpr uint32_t DEFAULT_DEVICES = 2;
constexpr uint32_t MOST_DEVICES = std::numeric_limits<uint32_t>::max();
constexpr size_t DEFAULT_MEMORY = size_t{4} << 30;
constexpr char DEFAULT_SOC[] = "TarnLake1";

// Chip families with DDR memory; all others have HBM.
constexpr std::string_view DDR_FAMILIES[] = {"TarnSpring", "TarnFen", "TarnCreek", "TarnStream",
                                             "TarnPond"};

zelrtMemAttr MemoryKindOf(const std::string& soc) {
  bool isDdr = std::any_of(std::begin(DDR_FAMILIES), std::end(DDR_FAMILIES),
                           [&](std::string_view family) { return soc.rfind(family, 0) == 0; });
  return isDdr ? ZEL_DDR_MEM : ZEL_HBM_MEM;
}

struct MachineRoom {
  MachineRoom() { ReadEnvironment(); }

  void ReadEnvironment() {
    std::string soc = ReadVariable("ORMO_HOST_SOC");
    machine.deviceCount = static_cast<uint32_t>(std::min<uint64_t>(
        ReadNumber("ORMO_HOST_DEVICES").value_or(DEFAULT_DEVICES), MOST_DEVICES));
    machine.memorySize = ReadNumber("ORMO_HOST_MEMORY").value_or(DEFAULT_MEMORY);
    machine.hugePageSize = std::numeric_limits<size_t>::max();
    NameChip(soc.empty() ? DEFAULT_SOC : soc);
  }

  void NameChip(const std::string& soc) {
    machine.socName = soc.empty() ? nullptr : socNames.insert(soc).first->c_str();
    machine.memoryKind = MemoryKindOf(soc);
  }

  std::mutex mutex;
  Machine machine;
  std::set<std::string> socNames;  // every name given out
};

template <typename Change>
void ChangeMachine(Change change) {
  auto& room = Single<MachineRoom>();
  const std::lock_guard<std::mutex> lock(room.mutex);
  change(room);
}

}  // namespace

Machine CurrentMachine() {
  auto& room = Single<MachineRoom>();
  const std::lock_guard<std::mutex> lock(room.mutex);
  return room.machine;
}

void ReadMachineFromEnvironment() {
  ChangeMachine([](MachineRoom& room) { room.ReadEnvironment(); });
}

void CloseMachine() {
  ChangeMachine([](MachineRoom& room) {
    room.machine = {};
    Forget(room.socNames);
  });
}

void SetDeviceCount(uint32_t count) {
  ChangeMachine([&](MachineRoom& room) { room.machine.deviceCount = count; });
}

void SetMemorySize(size_t bytes) {
  ChangeMachine([&](MachineRoom& room) { room.machine.memorySize = bytes; });
}

void SetHugePageSize(size_t bytes) {
  ChangeMachine([&](MachineRoom& room) { room.machine.hugePageSize = bytes; });
}

void SetSocName(const std::string& name) {
  ChangeMachine([&](MachineRoom& room) { room.NameChip(name); });
}

}  // namespace OrmoHost
