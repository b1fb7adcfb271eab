#include "ormo/t_path.h"

#include <cstring>

#include "common/log.h"
#include "common/system_error.h"
#include "mm/mm.h"
#include "ormo/file_utils.h"

namespace Ormo {

namespace {

constexpr int ACCESS_EXIST = 0;
constexpr int ACCESS_WRITE = 2;
constexpr int ACCESS_READ = 4;
constexpr int ACCESS_READ_WRITE = 6;
constexpr int ACCESS_ALL = 7;

constexpr int32_t REAL_PATH_SIZE = 4096;

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The entries of a directory, sorted, as the platform hands them over.
class Entries {
 public:
  Entries(const std::string& directory, int (*filter)(const dirent*))
      : count_(mmScandir(directory.c_str(), &list_, filter, TPath::AlphaSort)) {}

  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;

  ~Entries() {
    if (list_ != nullptr) {
      mmScandirFree(list_, count_ < 0 ? 0 : count_);
    }
  }

  int Count() const { return count_; }

  bool IsNull() const { return list_ == nullptr; }

  const dirent* Get(int index) const { return list_[index]; }

 private:
  dirent** list_ = nullptr;
  int count_;
};

// Appends the names of the directory's valid entries, sorted. -1 when it cannot be read, else 0.
int ListNames(const std::string& directory, int (*filter)(const dirent*),
              std::vector<std::string>& names) {
  const Entries entries(directory, filter);
  if (entries.Count() < 0) {
    ORMO_LOG_ERROR("Scandir %s failed, errno=%d", directory.c_str(), mmGetErrorCode());
    return -1;
  }
  if (entries.Count() == 0) {
    ORMO_LOG_INFO("No file found in %s", directory.c_str());
    return 0;
  }
  if (entries.IsNull()) {
    ORMO_LOG_ERROR("Scandir failed, get null file list");
    return -1;
  }
  for (int i = 0; i < entries.Count(); ++i) {
    if (TPath::IsValidDirent(entries.Get(i))) {
      names.emplace_back(entries.Get(i)->d_name);
    }
  }
  return 0;
}

}  // namespace

bool TPath::IsModeAccessAble(int mode) const {
  if (path_.empty()) {
    ORMO_LOG_ERROR("invalid parameter");
    return false;
  }
  return mmAccess2(path_.c_str(), mode) == 0;
}

bool TPath::IsExist(bool readWrite) const {
  return IsModeAccessAble(readWrite ? ACCESS_READ_WRITE : ACCESS_EXIST);
}

bool TPath::IsReadable() const {
  return IsModeAccessAble(ACCESS_READ);
}

bool TPath::IsWriteable() const {
  return IsModeAccessAble(ACCESS_WRITE);
}

bool TPath::IsDir() const {
  if (mmIsDir(path_.c_str()) != 0) {
    ORMO_LOG_DEBUG("%s is not an existing directory", path_.c_str());
    return false;
  }
  return true;
}

bool TPath::IsAccessDir() const {
  if (!IsModeAccessAble(ACCESS_ALL)) {
    LogSystemError("check path rwx permission", path_.c_str());
    return false;
  }
  if (mmIsDir(path_.c_str()) != 0) {
    ORMO_LOG_DEBUG("%s is file", path_.c_str());
    return false;
  }
  return true;
}

bool TPath::IsListFileExist(const std::vector<TPath>& files) const {
  for (const TPath& file : files) {
    if (!IsSubPath(file) || !file.IsExist(true)) {
      return false;
    }
  }
  return true;
}

bool TPath::RealPath() {
  if (path_.empty()) {
    return false;
  }
  char resolved[REAL_PATH_SIZE] = {};
  if (mmRealPath(path_.c_str(), resolved, REAL_PATH_SIZE) != 0) {
    LogSystemError("realpath", path_.c_str(), DLOG_WARN);
    return false;
  }
  path_ = resolved;
  return true;
}

bool TPath::RealDirectory() {
  return IsAccessDir() && RealPath();
}

bool TPath::NormalizeDir() {
  if (path_.empty()) {
    ORMO_LOG_ERROR("Faild to normalize empty dir.");
    return false;
  }
  if (!FileUtils::CreateDirectory(*this)) {
    ORMO_LOG_ERROR("Failed to create %s", path_.c_str());
    return false;
  }
  if (!RealPath()) {
    ORMO_LOG_ERROR("Failed to get the realpath of %s", path_.c_str());
    return false;
  }
  Append("");  // ends it with a separator
  return true;
}

bool TPath::RemoveDir() {
  if (path_.empty()) {
    ORMO_LOG_ERROR("Faild to remove empty dir.");
    return false;
  }
  if (!RealPath()) {
    ORMO_LOG_WARNING("Failed to get the realpath of %s.", path_.c_str());
    return false;
  }
  if (!FileUtils::RemoveDirectory(*this)) {
    ORMO_LOG_ERROR("Failed to remove %s.", path_.c_str());
    return false;
  }
  return true;
}

int TPath::AlphaSort(const dirent** a, const dirent** b) {
  if (a == nullptr) {
    ORMO_LOG_ERROR("Invalid ptr parameter [a](nullptr).");
    return 1;
  }
  if (*a == nullptr) {
    ORMO_LOG_ERROR("Invalid ptr parameter [*a](nullptr).");
    return 1;
  }
  if (b == nullptr) {
    ORMO_LOG_ERROR("Invalid ptr parameter [b](nullptr).");
    return -1;
  }
  if (*b == nullptr) {
    ORMO_LOG_ERROR("Invalid ptr parameter [*b](nullptr).");
    return -1;
  }
  return std::strcmp((*a)->d_name, (*b)->d_name);
}

bool TPath::IsValidDirent(const dirent* entry) {
  return entry != nullptr && std::strcmp(entry->d_name, ".") != 0 &&
         std::strcmp(entry->d_name, "..") != 0;
}

int TPath::GetDirFileList(std::vector<TPath>& out, int (*filter)(const dirent*)) const {
  std::vector<std::string> names;
  const int ret = ListNames(path_, filter, names);
  for (const std::string& name : names) {
    out.push_back(*this + name);
  }
  return ret;
}

int TPath::GetDirFileListWithPrefixAndSuffix(const std::string& prefix, const std::string& suffix,
                                             std::map<long, std::string>& out) const {
  std::vector<std::string> names;
  const int ret = ListNames(path_, nullptr, names);
  long matches = 0;
  for (const std::string& name : names) {
    if (StartsWith(name, prefix) && EndsWith(name, suffix)) {
      out[matches] = (*this + name).path_;
      ++matches;
    }
  }
  return ret;
}

int TPath::GetDirFileListWithPrefix(std::map<long, std::string>& out,
                                    const std::string& prefix) const {
  return GetDirFileListWithPrefixAndSuffix(prefix, std::string(), out);
}

std::string TPath::FuzzyLookupFileName(const std::string& prefix, const std::string& suffix) const {
  std::map<long, std::string> matches;
  if (GetDirFileListWithPrefixAndSuffix(prefix, suffix, matches) != 0 || matches.empty()) {
    return {};
  }
  return TPath(matches.begin()->second).GetPureName();
}

TPath& TPath::IntellAddSuffix(const std::string& suffix) {
  AddSuffix(suffix);
  if (GetPureName().empty() || IsExist(true)) {
    return *this;
  }
  const std::string directory = path_.substr(0, path_.size() - GetFileName().size());
  std::map<long, std::string> matches;
  TPath(directory.empty() ? "." : directory)
      .GetDirFileListWithPrefixAndSuffix(GetPureName(), suffix, matches);
  if (!matches.empty()) {
    path_ = directory + TPath(matches.begin()->second).GetFileName();
  }
  return *this;
}

}  // namespace Ormo
