#include "common/utils.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <limits>
#include <numeric>

#include "annex_k/annex_k.h"
#include "common/log.h"

namespace Ormo {

namespace {

constexpr uint32_t FIRST_SERIAL_ID = 2100000000;
constexpr uint32_t ENV_BUFFER_SIZE = 512;
constexpr size_t TIME_STAMP_SIZE = 32;
constexpr size_t ERROR_TEXT_SIZE = 128;
constexpr int TM_YEAR_BASE = 1900;

constexpr size_t PAIR = 2;
// From this many samples on, the smallest and the largest are left out.
constexpr size_t TRIM_MIN_SAMPLES = 10;
// One in this many goes at either end.
constexpr size_t TRIM_PART = 5;

constexpr char MEMINFO_PATH[] = "/proc/meminfo";
constexpr uint32_t KB_TO_MB_SHIFT = 10;

// The word after `key`; nothing when `key` does not occur.
std::optional<std::string> WordAfter(std::istream& stream, const char* key) {
  for (std::string word; stream >> word;) {
    if (word == key) {
      std::string value;
      stream >> value;
      return value;
    }
  }
  return std::nullopt;
}

// A line of the system's list, and what log lines call it: where it is missing, where it is there.
struct MemoryFigure {
  const char* key;
  const char* missingName;
  const char* name;
};

uint64_t ReadMemorySize(const MemoryFigure& figure) {
  std::ifstream meminfo(MEMINFO_PATH);
  if (!meminfo) {
    ORMO_LOG_ERROR("Open meminfo file failed");
    return 0;
  }
  const std::optional<std::string> word = WordAfter(meminfo, figure.key);
  if (!word) {
    ORMO_LOG_ERROR("Get %smemory size failed.", figure.missingName);
    return 0;
  }
  try {
    const uint64_t size = std::stoull(*word);
    ORMO_LOG_INFO("Get %smemory size is %lu MB.", figure.name, size >> KB_TO_MB_SHIFT);
    return size;
  } catch (const std::exception& e) {
    ORMO_LOG_ERROR("Convet[%s] %smemory size failed, exception info is [%s].", word->c_str(),
                   figure.name, e.what());
    return 0;
  }
}

std::string IdText(int id) {
  return id == -1 ? std::string() : std::to_string(id);
}

}  // namespace

std::string Utils::GetTimeStamp() {
  timeval now{};
  if (mmGetTimeOfDay(&now, nullptr) != 0) {
    now = timeval{};
  }
  tm local{};
  if (mmLocalTimeR(&now.tv_sec, &local) != 0) {
    return {};
  }
  char stamp[TIME_STAMP_SIZE] = {};
  const int length =
      snprintf_s(stamp, sizeof(stamp), sizeof(stamp) - 1, "%04d%02d%02d%02d%02d%02d%06ld",
                 local.tm_year + TM_YEAR_BASE, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                 local.tm_min, local.tm_sec, static_cast<long>(now.tv_usec));
  if (length < 0) {
    ORMO_LOG_ERROR("Call snprintf_s failed");
    return "0";
  }
  return stamp;
}

uint32_t Utils::GetSerialId() {
  static std::atomic<uint32_t> serialId{FIRST_SERIAL_ID};
  return ++serialId;
}

void Utils::LogTickCountFailure() {
  ORMO_LOG_ERROR("get tick count failed");
}

void Utils::SetCurrentThreadName(const std::string& name) {
  const int ret = mmSetCurrentThreadName(name.c_str());
  if (ret != 0) {
    ORMO_LOG_ERROR("set thread name to %s failed, ret : %d", name.c_str(), ret);
  }
}

void Utils::Close(int& fd) {
  if (fd != -1) {
    close(fd);
    fd = -1;
  }
}

uint64_t Utils::CalcAvgExecuteTime(const std::multiset<uint64_t>& times) {
  const size_t count = times.size();
  if (count == PAIR) {
    return *times.begin();
  }
  const size_t trimmed = count < TRIM_MIN_SAMPLES ? 0 : count / TRIM_PART;
  const size_t kept = count - trimmed - trimmed;
  if (kept == 0) {
    return 0;
  }
  auto sample = std::next(times.begin(), static_cast<std::ptrdiff_t>(trimmed));
  uint64_t sum = 0;
  for (size_t i = 0; i < kept; ++i, ++sample) {
    sum += *sample;
  }
  return sum / kept;
}

std::map<std::string, uint64_t> Utils::CalcAvgExecuteTime(
    const std::map<std::string, std::multiset<uint64_t>>& times) {
  std::map<std::string, uint64_t> averages;
  for (const auto& [key, samples] : times) {
    averages.emplace_hint(averages.end(), key, CalcAvgExecuteTime(samples));
  }
  return averages;
}

std::string Utils::GetValueFromMapBykey(const std::map<std::string, std::string>& map,
                                        const std::string& key) {
  const auto it = map.find(key);
  return it == map.end() ? std::string() : it->second;
}

std::string Utils::GetEnv(const std::string& name) {
  char value[ENV_BUFFER_SIZE] = {};
  if (mmGetEnv(name.c_str(), value, sizeof(value)) != 0) {
    return {};
  }
  return value;
}

std::optional<std::string> Utils::FindEnv(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here sets any
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::string Utils::GetErrorText(int error) {
  char buffer[ERROR_TEXT_SIZE] = {};
  return strerror_r(error, buffer, sizeof(buffer));
}

bool Utils::IsDoubleZeroAll(const std::map<std::string, double>& map) {
  return std::all_of(map.begin(), map.end(), [](const auto& entry) {
    return std::fabs(entry.second) < std::numeric_limits<double>::epsilon();
  });
}

uint64_t Utils::GetAvailableMemorySize() {
  return ReadMemorySize({"MemAvailable:", "available ", "available "});
}

uint64_t Utils::GetTotalMemorySize() {
  return ReadMemorySize({"MemTotal:", "total ", ""});
}

std::string Utils::GetPid() {
  return IdText(mmGetPid());
}

std::string Utils::GetTid() {
  return IdText(mmGetTid());
}

}  // namespace Ormo
