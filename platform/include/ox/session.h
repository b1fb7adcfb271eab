/// \file
/// Sessions of the graph engine.
#ifndef OX_SESSION_H
#define OX_SESSION_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "ox/graph.h"
#include "ox/tarn_string.h"
#include "ox/tensor.h"

namespace ox {

/// Compiles and runs graphs on a device of its own choice. Operations return 0 for success and an
/// engine code otherwise; any thread may call them.
class Session {
 public:
  /// Gets the status of an execution, 0 for success, and its outputs.
  using RunCallback = std::function<void(uint32_t, std::vector<Tensor>&)>;
  using SaveCallback = std::function<uint32_t(uint32_t, const std::map<TarnString, Tensor>&)>;

  Session();
  /// Waits for executions that are under way.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Adds a graph under an id that no session uses yet.
  uint32_t AddGraph(uint32_t graphId, const Graph& graph,
                    const std::map<TarnString, TarnString>& options);

  /// Starts an execution and returns at once. When it has ended, after its profiling records have
  /// been handed on, `callback` is called once on the engine's thread; never when this returns a
  /// failure. It must not throw, and not destroy the session.
  uint32_t RunGraphAsync(uint32_t graphId, const std::vector<Tensor>& inputs, RunCallback callback);

  /// Executions that are under way go on.
  uint32_t RemoveGraph(uint32_t graphId);

  /// Registers what is called for key "Save" with tensors that a graph wants to be kept, by name,
  /// on the engine's thread; a failure that it returns becomes the execution's. The latest
  /// registration counts, and is kept until the session ends.
  uint32_t RegisterCallBackFunc(const char* key, SaveCallback callback);

 private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace ox

#endif  // OX_SESSION_H
