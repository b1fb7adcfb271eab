/// \file
/// The runner that asks the cycle simulator how long kernels take.
#ifndef ORMO_SIMULATOR_PELT_RUNNER_H
#define ORMO_SIMULATOR_PELT_RUNNER_H

#include <string>
#include <string_view>
#include <vector>

#include "common/init_flag.h"
#include "common/singleton.h"
#include "ormo/runner_types.h"
#include "simulator/pelt_library.h"

namespace Ormo {

/// One kernel to simulate.
struct OpDuxInfo {
  std::string duxFilePath;  ///< the kernel's binary
  std::string duxFunction;  ///< its entry function in there
  std::string opName;       ///< the graph's node that it implements
};

/// Appends the kernels of a graph file, in the order of its nodes: each node whose attribute
/// "json_file_path" names the description of a kernel, beside which the kernel itself stands.
/// STATUS_FAILED when the graph cannot be loaded.
int GetDuxInfos(const std::string& graphFile, std::vector<OpDuxInfo>& infos);

/// Works on the calling thread. Init must not overlap with other operations; Finalize refuses
/// further runs and waits for those inside; runs may overlap as far as the simulator's own
/// functions may.
class PeltRunner : public Singleton<PeltRunner> {
 public:
  /// Leaves a simulator loaded that nobody finalised: the process ends, and somebody may still be
  /// in it.
  ~PeltRunner() override {
    initFlag.Clear();
    static_cast<void>(funcInfo.handle.Detach());
  }

  PeltRunner(const PeltRunner&) = delete;
  PeltRunner& operator=(const PeltRunner&) = delete;

  /// Loads the simulator. STATUS_FAILED when it does not know the chip that the environment
  /// variable PELT_SOC_VERSION names, else a status of LoadPeltLibrary.
  int Init();
  void Finalize();

  /// Simulates all kernels of a graph file and adds what they take to `result`; it is not reset. A
  /// total that has reached the largest value stays there. STATUS_FAILED, with the kernels so far
  /// in `result`, when the graph or a kernel cannot be loaded. What the simulator throws comes out.
  int Process(const std::string& graphFile, RunnerResult& result) const;

 private:
  friend class Singleton<PeltRunner>;
  PeltRunner() = default;

  int InitPeltLib(PeltFuncInfo& library) const;
  int Simulate(const OpDuxInfo& kernel, RunnerResult& result) const;

  mutable InitFlag initFlag;
  PeltFuncInfo funcInfo;
  std::string_view coreName;  ///< what the simulator calls the chip's cores
};

}  // namespace Ormo

#endif  // ORMO_SIMULATOR_PELT_RUNNER_H
