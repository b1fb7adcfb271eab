/// \file
/// The platform's cycle simulator as a loaded library.
#ifndef ORMO_SIMULATOR_PELT_LIBRARY_H
#define ORMO_SIMULATOR_PELT_LIBRARY_H

#include "common/call_site.h"
#include "common/owner.h"
#include "pelt/pelt.h"

namespace Ormo {

void CloseLibrary(void* handle, const CallSite& site = CallSite::Here()) noexcept;

using LibraryHandle = Owner<void*, CloseLibrary>;

/// The simulator's functions, and the library that they stand in. All null: nothing is loaded.
struct PeltFuncInfo {
  LibraryHandle handle;
  CreatePeltCoreFunc createPeltCore = nullptr;
  GetTotalTickFunc getTotalTick = nullptr;
  DestroyPeltCoreFunc destroyPeltCore = nullptr;
};

/// Loads the simulator from the directory that the environment variable PELTV2 names, and prepares
/// it. `funcInfo` is left alone and the library closed again when that fails:
/// STATUS_LIBRARY_NOT_LOADED, STATUS_FUNCTION_MISSING, or STATUS_FAILED when there is no such
/// directory or the preparation throws.
int LoadPeltLibrary(PeltFuncInfo& funcInfo, const CallSite& site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_SIMULATOR_PELT_LIBRARY_H
