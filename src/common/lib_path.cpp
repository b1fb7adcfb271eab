#include "ormo/lib_path.h"

#include <dlfcn.h>
#include <unistd.h>

#include <string>

#include "common/log.h"

namespace Ormo {

namespace {

constexpr size_t MAX_LINK_LENGTH = 4096;
constexpr char LIBRARY_SUFFIX[] = ".so";

// Whether a file name is that of a shared library, "libx.so" or "libx.so.1".
bool IsLibraryName(const std::string& name) {
  const size_t suffix = name.rfind(LIBRARY_SUFFIX);
  if (suffix == std::string::npos || suffix == 0) {
    return false;
  }
  const size_t end = suffix + sizeof(LIBRARY_SUFFIX) - 1;
  return end == name.size() || name[end] == '.';
}

}  // namespace

TPath LibPath::GetSelfPath() {
  char path[MAX_LINK_LENGTH + 1] = {};
  const ssize_t length = readlink("/proc/self/exe", path, MAX_LINK_LENGTH);
  if (length <= 0) {
    ORMO_LOG_ERROR("Get self path failed.");
    return {};
  }
  ORMO_LOG_INFO("Get self path: %s", path);
  return TPath(path);
}

TPath LibPath::GetSelfLibraryDir() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&LibPath::GetSelfLibraryDir), &info) == 0) {
    ORMO_LOG_ERROR("Cannot find symbol GetSelfLibraryDir");
    return {};
  }
  ORMO_LOG_DEBUG("Find symbol GetSelfLibraryDir in %s", info.dli_fname);
  TPath path(info.dli_fname);
  if (!IsLibraryName(path.GetFileName())) {
    path = GetSelfPath();
  }
  if (!path.RealPath()) {
    ORMO_LOG_WARNING("Realpath self library path %s failed.", path.GetCString());
    return {};
  }
  ORMO_LOG_INFO("Get self library path: %s", path.GetCString());
  return path.GetParentDirectory();
}

TPath LibPath::GetInstallPath() {
  TPath path = GetSelfLibraryDir();
  if (path.Empty()) {
    return path;
  }
  path.GetParentDirectory().GetParentDirectory();
  return path.Empty() ? path : path.Append("tools/ormo/");
}

}  // namespace Ormo
