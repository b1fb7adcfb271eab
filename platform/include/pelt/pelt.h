/// \file
/// Types of the cycle simulator's functions.
///
/// The simulator is a shared object of its own, libpelt_api.so, that is loaded at run time; its
/// functions have C linkage and the names below without "Func".
#ifndef PELT_PELT_H
#define PELT_PELT_H

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

/// Prepares the simulator, once after it was loaded; gets the interpreter to run scripts with.
using PeltInitFunc = void (*)(std::string interpreter);

/// Simulates function `function` of the kernel in `file` on a core of that name. The result is the
/// caller's; null when there is no such kernel or core.
using CreatePeltCoreFunc = void* (*)(std::string file, std::string function,
                                     std::vector<uint64_t> arguments, std::string core,
                                     std::vector<std::tuple<uint64_t, std::string, uint64_t>> data);

/// What the kernel takes; all ones when that is too much to count.
using GetTotalTickFunc = uint64_t (*)(void* core);

using DestroyPeltCoreFunc = void (*)(void* core);

#endif  // PELT_PELT_H
