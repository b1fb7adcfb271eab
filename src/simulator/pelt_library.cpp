#include "simulator/pelt_library.h"

#include <dlfcn.h>

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "common/call_context.h"
#include "common/log.h"
#include "common/platform_handles.h"
#include "common/utils.h"
#include "mm/mm.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr char DIRECTORY_VARIABLE[] = "PELTV2";
constexpr char LIBRARY_NAME[] = "libpelt_api.so";
constexpr char INTERPRETER[] = "python3";
constexpr int32_t MAX_PATH_LENGTH = 4096;

int FindLibrary(std::string& path, const CallSite& site) {
  const std::optional<std::string> directory = Utils::FindEnv(DIRECTORY_VARIABLE);
  if (!directory.has_value()) {
    ORMO_LOG_ERROR_AT(site, "PELTV2 does not exist.");
    return STATUS_FAILED;
  }
  char resolved[MAX_PATH_LENGTH] = {};
  if (mmRealPath(directory->c_str(), resolved, MAX_PATH_LENGTH) != 0) {
    CallContext::KeepReason("PELTV2 names no directory: \"%s\"", directory->c_str());
    ORMO_LOG_ERROR_AT(site, "realpath");
    return STATUS_FAILED;
  }
  path = std::string(resolved) + "/bin/" + LIBRARY_NAME;
  return STATUS_SUCCESS;
}

int OpenLibrary(LibraryHandle& handle, const CallSite& site) {
  std::string path;
  const int status = FindLibrary(path, site);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  handle.Reset(mmDlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL), site);
  if (!handle) {
    const char* error = mmDlerror();
    ORMO_LOG_ERROR_AT(site, "Failed to invoke dlopen. path = %s, error = %s.", LIBRARY_NAME,
                      error == nullptr ? "" : error);
    return STATUS_LIBRARY_NOT_LOADED;
  }
  ORMO_LOG_INFO_AT(site, "Lib: %s has been loaded.", LIBRARY_NAME);
  return STATUS_SUCCESS;
}

template <typename Function>
Function FindFunction(const LibraryHandle& handle, const char* name) {
  return reinterpret_cast<Function>(dlsym(handle.Get(), name));
}

int Prepare(const LibraryHandle& handle, const CallSite& site) {
  const auto peltInit = FindFunction<PeltInitFunc>(handle, "PeltInit");
  if (peltInit == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Failed to get PeltInit from pelt runner lib.");
    return STATUS_FUNCTION_MISSING;
  }
  // The exception may be of a type of the library's own, and the library is about to be closed: it
  // must not leave this function.
  try {
    peltInit(INTERPRETER);
    return STATUS_SUCCESS;
  } catch (const std::exception& e) {
    ORMO_LOG_ERROR_AT(site, "PeltInit has thrown: %s.", e.what());
  } catch (...) {
    ORMO_LOG_ERROR_AT(site, "PeltInit has thrown.");
  }
  return STATUS_FAILED;
}

int FindFunctions(PeltFuncInfo& funcInfo, const CallSite& site) {
  const LibraryHandle& handle = funcInfo.handle;
  funcInfo.createPeltCore = FindFunction<CreatePeltCoreFunc>(handle, "CreatePeltCore");
  funcInfo.getTotalTick = FindFunction<GetTotalTickFunc>(handle, "GetTotalTick");
  funcInfo.destroyPeltCore = FindFunction<DestroyPeltCoreFunc>(handle, "DestroyPeltCore");
  if (funcInfo.createPeltCore == nullptr || funcInfo.getTotalTick == nullptr ||
      funcInfo.destroyPeltCore == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Failed to get PeltFunc from pelt runner lib.");
    return STATUS_FUNCTION_MISSING;
  }
  return STATUS_SUCCESS;
}

}  // namespace

void CloseLibrary(void* handle, const CallSite& site) noexcept {
  ReleaseQuietly(
      "the simulator library", [handle] { mmDlclose(handle); }, site);
}

int LoadPeltLibrary(PeltFuncInfo& funcInfo, const CallSite& site) {
  ORMO_LOG_INFO_AT(site, "Start to invoke dlopen on lib: %s.", LIBRARY_NAME);
  PeltFuncInfo loaded;
  int status = OpenLibrary(loaded.handle, site);
  if (status == STATUS_SUCCESS) {
    status = Prepare(loaded.handle, site);
  }
  if (status == STATUS_SUCCESS) {
    status = FindFunctions(loaded, site);
  }
  if (status != STATUS_SUCCESS) {
    return status;
  }
  ORMO_LOG_INFO_AT(site, "Lib: %s has been initialized.", LIBRARY_NAME);
  funcInfo = std::move(loaded);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
