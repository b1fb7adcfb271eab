/// \file
/// Compile options of graphs.
#ifndef ORMO_OPTIONS_H
#define ORMO_OPTIONS_H

#include <cstdint>
#include <map>
#include <string>

#include "ormo/export.h"
#include "ox/tarn_string.h"

namespace Ormo {

/// What a graph is built for.
enum class CompileType : uint32_t {
  BASELINE = 0,
  TUNING_BEFORE_FUSION_MATCH = 1,
  TUNING_AFTER_FUSION_MATCH = 2,
  TUNING_AFTER_MERGE = 3,
  NORMAL = 4,
};

/// The graph engine's options that select each kind of build, for RunnerConfig::options. The
/// library itself sets none.
inline const std::map<CompileType, std::map<std::string, std::string>> COMPILE_OPTIONS = {
    {CompileType::BASELINE, {{"ox.buildMode", "baseline"}}},
    {CompileType::TUNING_BEFORE_FUSION_MATCH,
     {{"ox.buildMode", "tuning"}, {"ox.buildStep", "before_ub_match"}}},
    {CompileType::TUNING_AFTER_FUSION_MATCH,
     {{"ox.buildMode", "tuning"}, {"ox.buildStep", "after_ub_match"}}},
    {CompileType::TUNING_AFTER_MERGE,
     {{"ox.buildMode", "tuning"}, {"ox.buildStep", "after_merge"}}},
    {CompileType::NORMAL, {{"ox.buildMode", "normal"}}},
};

/// Options as the caller holds them and as the graph engine takes them. Any thread; nothing fails
/// but for lack of memory.
class Options {
 public:
  /// Keys and values up to their first zero byte; of keys that become equal the first counts.
  ORMO_EXPORT static std::map<ox::TarnString, ox::TarnString> Convert(
      const std::map<std::string, std::string>& options);
  ORMO_EXPORT static std::map<std::string, std::string> Convert(
      const std::map<ox::TarnString, ox::TarnString>& options);

  /// The options that `nameMap` lists and that have a value, under the keys that it gives them. Of
  /// two names with one key the one that is later in order counts.
  ORMO_EXPORT static std::map<std::string, std::string> Mappping(
      const std::map<std::string, std::string>& options,
      const std::map<std::string, std::string>& nameMap);

 private:
  template <typename To, typename From>
  static std::map<To, To> ConvertText(const std::map<From, From>& options);
};

}  // namespace Ormo

#endif  // ORMO_OPTIONS_H
