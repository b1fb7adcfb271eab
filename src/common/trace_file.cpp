#include "common/trace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "common/regular_file.h"
#include "ormo/file_utils.h"

namespace Ormo {

namespace {

constexpr char DOCUMENT_HEAD[] = R"({"displayTimeUnit":"ms","traceEvents":[)";
constexpr std::string_view DOCUMENT_TAIL = "]}";

}  // namespace

bool TraceFile::Open(const TPath& path) {
  file = OpenRegularFile(path, O_WRONLY | O_CREAT | O_TRUNC, FileUtils::SAFE_PERMISSION);
  return static_cast<bool>(file);
}

bool TraceFile::WriteHead() {
  return WriteEnd(DOCUMENT_HEAD);
}

bool TraceFile::Append(const std::string& events) {
  if (!WriteEnd(dumped ? ',' + events : events)) {
    RestoreEnd();
    return false;
  }
  dumped = true;
  return true;
}

void TraceFile::Remove(const TPath& path) const noexcept {
  if (IsFileAt(file, path)) {
    unlink(path.GetCString());
  }
}

bool TraceFile::Close() noexcept {
  const bool done = !file || SetMode(file, FileUtils::READ_ONLY_MODE);
  file.Reset();
  return done;
}

bool TraceFile::WriteEnd(std::string text) {
  const auto size = static_cast<off_t>(text.size());
  if (!WriteAt(end_, text.append(DOCUMENT_TAIL))) {
    return false;
  }
  end_ += size;
  return true;
}

bool TraceFile::WriteAt(off_t offset, std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(file.Get(), bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
    offset += written;
  }
  return true;
}

void TraceFile::RestoreEnd() const {
  // The tail goes where bytes stood before, so it needs no room of its own.
  if (WriteAt(end_, DOCUMENT_TAIL)) {
    static_cast<void>(!ftruncate(file.Get(), end_ + static_cast<off_t>(DOCUMENT_TAIL.size())));
  }
}

}  // namespace Ormo
