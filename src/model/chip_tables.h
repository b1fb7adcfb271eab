/// \file
/// What the library knows about chips by their names.
#ifndef ORMO_MODEL_CHIP_TABLES_H
#define ORMO_MODEL_CHIP_TABLES_H

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Ormo {

/// Families whose device memory is DDR; all others have HBM.
constexpr std::array<std::string_view, 5> DDR_SOC_PREFIXES = {"TarnSpring", "TarnFen", "TarnCreek",
                                                              "TarnStream", "TarnPond"};

/// Families that share memory with the host, where dropping the page cache frees device memory.
constexpr std::array<std::string_view, 2> CLEAN_CACHE_SOC_PREFIXES = {"TarnStream", "TarnPond"};

/// Free device memory is checked before an allocation on this family and on the chips below.
constexpr std::string_view MEM_CHECK_SOC_PREFIX = "TarnRiver";

constexpr std::array<std::string_view, 15> MEM_CHECK_SOC_VERSIONS = {
    "TarnLake1",   "TarnLake2",   "TarnLake3",   "TarnLake4",   "TarnLakeA",
    "TarnLakeB",   "TarnLakePro", "TarnStream1", "TarnStream2", "TarnStream3",
    "TarnStreamA", "TarnStreamB", "TarnSpring1", "TarnFen1",    "TarnPond1"};

/// Operator execution time-outs by chip, in the platform's unit.
constexpr std::array<std::pair<std::string_view, uint32_t>, 12> OP_EXECUTE_TIMEOUTS = {{
    {"TarnStream1", 500},
    {"TarnStream2", 500},
    {"TarnStream3", 500},
    {"TarnStreamA", 500},
    {"TarnStreamB", 500},
    {"TarnLake1", 1000},
    {"TarnLake2", 1000},
    {"TarnLake3", 1000},
    {"TarnLake4", 1000},
    {"TarnLakeA", 1000},
    {"TarnLakeB", 1000},
    {"TarnLakePro", 1000},
}};

}  // namespace Ormo

#endif  // ORMO_MODEL_CHIP_TABLES_H
