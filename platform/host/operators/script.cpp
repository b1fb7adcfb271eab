#include "operators/script.h"

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include "ormo_host/control.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

using Contents = std::map<size_t, std::vector<uint8_t>>;

struct OperatorScript {
  std::atomic<bool> isActive{false};  // the one thing that an unscripted execution looks at
  std::mutex mutex;
  Contents contents;
  bool isKeeping = false;
  Contents kept;
};

}  // namespace

void FillScriptedOperands(const Executor& executor) {
  auto& script = Single<OperatorScript>();
  if (!script.isActive) {
    return;
  }
  const std::lock_guard<std::mutex> lock(script.mutex);
  for (const Operand& operand : executor.operands) {
    auto found = script.contents.find(operand.parameter.position);
    if (found == script.contents.end()) {
      continue;
    }
    if (found->second.size() != operand.bytes) {
      throw CallError(operand.parameter, "the size of the scripted contents, " +
                                             std::to_string(found->second.size()) + " bytes, not " +
                                             std::to_string(operand.bytes));
    }
    std::memcpy(operand.data, found->second.data(), operand.bytes);
  }
}

void KeepScriptedOutputs(const Executor& executor) {
  auto& script = Single<OperatorScript>();
  if (!script.isActive) {
    return;
  }
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.kept.clear();
  for (const Operand& operand : executor.operands) {
    if (script.isKeeping && operand.isOutput) {
      const auto* data = static_cast<const uint8_t*>(operand.data);
      script.kept[operand.parameter.position].assign(data, data + operand.bytes);
    }
  }
}

void ClearOperatorScript() {
  auto& script = Single<OperatorScript>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.isActive = false;
  script.isKeeping = false;
  Forget(script.contents);
  Forget(script.kept);
}

void SetOperatorTensor(size_t position, std::vector<uint8_t> bytes) {
  auto& script = Single<OperatorScript>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.contents.erase(position);
  if (!bytes.empty()) {
    script.contents[position] = std::move(bytes);
  }
  script.isActive = true;
}

void KeepOperatorOutputs() {
  auto& script = Single<OperatorScript>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.isKeeping = true;
  script.isActive = true;
}

std::vector<uint8_t> OperatorOutput(size_t position) {
  auto& script = Single<OperatorScript>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  auto found = script.kept.find(position);
  return found == script.kept.end() ? std::vector<uint8_t>() : found->second;
}

}  // namespace OrmoHost
