// What a path says by its letters alone; what the file system says to it stands in t_path.cpp.
#include <utility>

#include "ormo/t_path.h"

namespace Ormo {

namespace {

constexpr char SEPARATOR = '/';
constexpr char SUFFIX_MARK = '.';

bool EndsWithSeparator(const std::string& path) {
  return !path.empty() && path.back() == SEPARATOR;
}

// Where the file name starts; the length of the path when it has none.
size_t NameStart(const std::string& path) {
  return path.rfind(SEPARATOR) + 1;
}

}  // namespace

TPath::TPath(std::string path) : path_(std::move(path)) {}

TPath::TPath(const char* path) : path_(path == nullptr ? "" : path) {}

TPath& TPath::operator=(const std::string& path) {
  path_ = path;
  return *this;
}

TPath& TPath::operator=(const char* path) {
  path_ = path == nullptr ? "" : path;
  return *this;
}

const std::string& TPath::GetString() const {
  return path_;
}

const char* TPath::GetCString() const {
  return path_.c_str();
}

bool TPath::Empty() const {
  return path_.empty();
}

bool TPath::Equals(const TPath& other) const {
  return path_ == other.path_;
}

TPath& TPath::Append(const std::string& part) {
  const size_t start = part.find_first_not_of(SEPARATOR);
  const std::string rest = start == std::string::npos ? std::string() : part.substr(start);
  if (!path_.empty() && !EndsWithSeparator(path_)) {
    path_ += SEPARATOR;
  }
  path_ += rest;
  return *this;
}

TPath& TPath::Append(const TPath& part) {
  return Append(part.path_);
}

TPath& TPath::Append(const char* part) {
  return part == nullptr ? *this : Append(std::string(part));
}

TPath TPath::operator+(const TPath& part) const {
  return TPath(*this).Append(part);
}

TPath TPath::operator+(const std::string& part) const {
  return TPath(*this).Append(part);
}

TPath TPath::operator+(const char* part) const {
  return TPath(*this).Append(part);
}

TPath& TPath::GetParentDirectory() {
  if (EndsWithSeparator(path_)) {
    path_.pop_back();
  }
  const size_t separator = path_.rfind(SEPARATOR);
  path_.resize(separator == std::string::npos ? 0 : separator);
  return *this;
}

std::string TPath::GetFileName() const {
  return path_.substr(NameStart(path_));
}

std::string TPath::GetSuffix() const {
  const std::string name = GetFileName();
  const size_t mark = name.rfind(SUFFIX_MARK);
  return mark == std::string::npos ? std::string() : name.substr(mark + 1);
}

std::string TPath::GetPureName() const {
  const std::string name = GetFileName();
  return name.substr(0, name.rfind(SUFFIX_MARK));
}

TPath& TPath::ChangeSuffix(const std::string& suffix) {
  const std::string name = GetFileName();
  if (name.empty()) {
    return *this;
  }
  path_.resize(NameStart(path_));
  path_ += name.substr(0, name.rfind(SUFFIX_MARK));
  if (!suffix.empty() && suffix.front() != SUFFIX_MARK) {
    path_ += SUFFIX_MARK;
  }
  path_ += suffix;
  return *this;
}

TPath& TPath::ChangeSuffix(const char* suffix) {
  return ChangeSuffix(std::string(suffix == nullptr ? "" : suffix));
}

TPath& TPath::DelSuffix() {
  return ChangeSuffix(std::string());
}

TPath& TPath::AddSuffix(const std::string& suffix) {
  if (!path_.empty() && !suffix.empty() && GetSuffix() != suffix) {
    path_ += suffix;
  }
  return *this;
}

bool TPath::IsSubPath(const TPath& other) const {
  const std::string start = EndsWithSeparator(path_) ? path_ : path_ + SEPARATOR;
  return other.path_.compare(0, start.size(), start) == 0;
}

}  // namespace Ormo
