#include <cstring>
#include <utility>

#include "engine/engine.h"
#include "ox/session.h"
#include "seam/host_call.h"

using OrmoHost::Attempt;
using OrmoHost::INVALID_ARGUMENT;
using OrmoHost::Note;
using OrmoHost::Release;
using OrmoHost::Require;

namespace ox {

class Session::Engine : public OrmoHost::Engine {};

Session::Session() : engine_(std::make_unique<Engine>()) {}

Session::~Session() = default;

uint32_t Session::AddGraph(uint32_t graphId, const Graph& graph,
                           const std::map<TarnString, TarnString>& options) {
  return static_cast<uint32_t>(Attempt("Session::AddGraph", [&] {
    Note("#", graphId);
    for (const auto& [key, value] : options) {
      Note(key.GetString(), '=', value.GetString());
    }
    engine_->AddGraph(graphId, graph, options);
  }));
}

uint32_t Session::RunGraphAsync(uint32_t graphId, const std::vector<Tensor>& inputs,
                                RunCallback callback) {
  return static_cast<uint32_t>(Attempt("Session::RunGraphAsync", [&] {
    Require(callback != nullptr, INVALID_ARGUMENT);
    Note("#", graphId);
    for (const Tensor& input : inputs) {
      Note(input.GetData().size());
    }
    engine_->Start(graphId, inputs, std::move(callback));
  }));
}

uint32_t Session::RemoveGraph(uint32_t graphId) {
  return static_cast<uint32_t>(Release("Session::RemoveGraph", [&] {
    Note("#", graphId);
    engine_->RemoveGraph(graphId);
  }));
}

uint32_t Session::RegisterCallBackFunc(const char* key, SaveCallback callback) {
  return static_cast<uint32_t>(Attempt("Session::RegisterCallBackFunc", [&] {
    Require(key != nullptr && std::strcmp(key, "Save") == 0, INVALID_ARGUMENT);
    Note(key);
    engine_->SetSaveCallback(std::move(callback));
  }));
}

}  // namespace ox
