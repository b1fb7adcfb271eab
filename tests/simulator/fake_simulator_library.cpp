// A simulator library, built once whole and once with each of its functions under another name.
#include <exception>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/fake_simulator.h"

using Ormo::Testing::TheFakeSimulator;

namespace {

struct Core {
  uint64_t ticks;
};

#ifdef THROWING_INIT
/// Gone with the library: nobody can look at it, or destroy it, after that.
class OwnError : public std::exception {
 public:
  const char* what() const noexcept override { return "an error of its own"; }
};
#endif

void Act(const char* function) {
  const auto action = TheFakeSimulator().actions.find(function);
  if (action != TheFakeSimulator().actions.end()) {
    action->second();
  }
}

}  // namespace

// The values are the interface's.
// NOLINTBEGIN(performance-unnecessary-value-param)
extern "C" {

void PeltInit(std::string interpreter) {
  TheFakeSimulator().interpreters.push_back(interpreter);
  Act("PeltInit");
#ifdef THROWING_INIT
  throw OwnError();
#endif
}

void* CreatePeltCore(std::string file, std::string function, std::vector<uint64_t> arguments,
                     std::string core,
                     std::vector<std::tuple<uint64_t, std::string, uint64_t>> data) {
  auto& fake = TheFakeSimulator();
  fake.creations.push_back({file, function, arguments, core, data.size()});
  Act("CreatePeltCore");
  const auto ticks = fake.ticks.find(function);
  if (ticks == fake.ticks.end()) {
    return nullptr;
  }
  ++fake.liveCores;
  return new Core{ticks->second};
}

uint64_t GetTotalTick(void* core) {
  Act("GetTotalTick");
  return static_cast<Core*>(core)->ticks;
}

void DestroyPeltCore(void* core) {
  delete static_cast<Core*>(core);
  --TheFakeSimulator().liveCores;
  Act("DestroyPeltCore");
}

}  // extern "C"
// NOLINTEND(performance-unnecessary-value-param)
