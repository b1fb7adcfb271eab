/// \file
/// Subscriptions to the platform's profiling stream.
#ifndef ORMO_PROFILING_PROFILING_MANAGER_H
#define ORMO_PROFILING_PROFILING_MANAGER_H

#include <cstdint>
#include <functional>

#include "common/call_site.h"
#include "zel/zel_prof.h"

namespace Ormo {

/// Opens and closes one subscription: CreateConfig, Start, executions, Stop, DestroyConfig. The
/// destructor releases nothing; the caller calls Stop and DestroyConfig on every way out. All
/// operations run on the worker thread that executes what is profiled. They return 0 or
/// STATUS_FAILED after an error line.
class ProfilingManager {
 public:
  /// `fd` names the descriptor that records are written to; it is read by CreateConfig.
  /// The ids are for those that have no names of their own for what is profiled: a graph, or a
  /// device and the id that operators are subscribed by.
  explicit ProfilingManager(int32_t* fd, uint32_t id = 0, uint32_t secondId = 0)
      : profConfig_{nullptr, fd}, profId_(id), profSecondId_(secondId) {}

  virtual ~ProfilingManager() = default;

  ProfilingManager(const ProfilingManager&) = delete;
  ProfilingManager& operator=(const ProfilingManager&) = delete;

  int CreateConfig();
  /// Also after a Start that failed.
  int DestroyConfig() const;
  int Start();
  /// Returns after the last record has been written.
  int Stop() const;

 protected:
  struct ProfConfig {
    zelprofSubscribeConfig* zelSubscribeConfig;
    int32_t* fd;
  };

  virtual int ProfStart() = 0;
  virtual int ProfStop() const = 0;

  /// Whether there is a configuration to subscribe with; else an error line of `site`'s file.
  bool HasConfig(CallSite site = CallSite::Here()) const;

  /// Subscribe a model or a graph by its id, or end that, with one call of the platform. 0, or
  /// STATUS_FAILED after an error line of `site`'s file.
  int Subscribe(int32_t (*subscribe)(uint32_t, zelprofSubscribeConfig*), uint32_t id,
                CallSite site = CallSite::Here()) const;
  static int Unsubscribe(int32_t (*unsubscribe)(uint32_t), uint32_t id,
                         CallSite site = CallSite::Here());

  ProfConfig profConfig_;
  uint32_t profId_;
  uint32_t profSecondId_;

 private:
  int ProfCreateConfig();
  int ProfDestroyConfig() const;
};

/// Does `work` between Start and Stop, CreateConfig and DestroyConfig around them; these end on
/// every way out. The status of `work`, or STATUS_FAILED when it could not be done or when it
/// succeeded and Stop did not. Rethrows what `work` throws.
int RunSubscribed(ProfilingManager& profiling, const std::function<int()>& work);

}  // namespace Ormo

#endif  // ORMO_PROFILING_PROFILING_MANAGER_H
