// Reads any text as an operator request, launches what it describes on the host platform, and holds
// the reader against the JSON library's own.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "ormo/status.h"
#include "single_op/op_registry.h"
#include "single_op/op_request.h"
#include "single_op/request_json.h"
#include "support.h"

namespace {

using Ormo::Fuzz::Require;

// So that no operator has much to do.
constexpr size_t DEVICE_MEMORY = size_t{32} << 10U;

void CompareReaders(const std::string& text) {
  const Ormo::RequestJson request(text);
  const auto reference = nlohmann::json::parse(text, nullptr, false);
  Require(request.IsValid() != reference.is_discarded(), "both take the same texts");
  if (request.IsValid()) {
    Require(request.Root() == reference, "both read the same");
    Require(Ormo::CompactText(request.Root()) == reference.dump(), "both print the same");
  }
}

void Launch(const std::string& text) {
  Ormo::ZelnnParamterInner inner;
  if (Ormo::ZelnnParamterConstructor(text, inner) == Ormo::STATUS_SUCCESS) {
    Require(inner.attrs.size() == inner.attrTypes.size(), "every attribute has its type");
    const std::unique_ptr<Ormo::ReflectBase> launcher(Ormo::CreateReflectedObjByName(inner.opType));
    if (launcher != nullptr) {
      launcher->Run(inner, nullptr, "");
    }
  } else {
    Require(inner.inputs.empty() && inner.outputs.empty() && inner.deviceBuffers.empty() &&
                inner.attrs.empty() && inner.attrTypes.empty(),
            "a refused request leaves nothing");
  }
  Ormo::ZelnnParamterDestructor(inner);
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzing library's
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string atRest = Ormo::Fuzz::PreparePlatform(DEVICE_MEMORY);
  const std::string text(reinterpret_cast<const char*>(data), size);
  CompareReaders(text);
  Launch(text);
  Ormo::Fuzz::CleanPlatform(atRest);
  return 0;
}
