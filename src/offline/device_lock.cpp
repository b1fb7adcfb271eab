#include "offline/device_lock.h"

#include "common/log.h"
#include "ormo/file_utils.h"

namespace Ormo {

std::shared_ptr<DeviceLocks::Entry> DeviceLocks::FindDevice(uint32_t deviceId) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::shared_ptr<Entry>& entry = devices_[deviceId];
  if (entry == nullptr) {
    entry = std::make_shared<Entry>();
  }
  return entry;
}

int DeviceLocks::Acquire(uint32_t deviceId, const TPath& path) {
  const std::shared_ptr<Entry> entry = FindDevice(deviceId);
  const std::lock_guard<std::mutex> entryLock(entry->mutex);
  if (entry->holders == 0) {
    int fd = FileUtils::FileLock(path);
    if (fd < 0) {
      return fd;
    }
    try {
      const std::lock_guard<std::mutex> lock(mutex_);
      held_[fd] = entry;
    } catch (...) {
      FileUtils::FileUnlock(fd);
      throw;
    }
    entry->fd = fd;
  }
  ++entry->holders;
  return entry->fd;
}

void DeviceLocks::Release(int& fd) {
  if (fd < 0) {
    return;
  }
  std::shared_ptr<Entry> entry;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = held_.find(fd);
    if (found != held_.end()) {
      entry = found->second;
    }
  }
  if (entry == nullptr) {
    FileUtils::FileUnlock(fd);
    return;
  }
  const std::lock_guard<std::mutex> entryLock(entry->mutex);
  fd = -1;
  --entry->holders;
  if (entry->holders > 0) {
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    held_.erase(entry->fd);
  }
  FileUtils::FileUnlock(entry->fd);
}

}  // namespace Ormo
