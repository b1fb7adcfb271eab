// A simulator library, built once whole and once without each of its functions.
#include <exception>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/fake_simulator.h"

using Ormo::Test::TheFakeSimulator;

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

#ifndef WITHOUT_INIT
void PeltInit(std::string interpreter) {
  TheFakeSimulator().interpreters.push_back(interpreter);
  Act("PeltInit");
#ifdef THROWING_INIT
  throw OwnError();
#endif
}
#endif

#ifndef WITHOUT_CREATE
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
#endif

#ifndef WITHOUT_TICK
uint64_t GetTotalTick(void* core) {
  Act("GetTotalTick");
  return static_cast<Core*>(core)->ticks;
}
#endif

#ifndef WITHOUT_DESTROY
void DestroyPeltCore(void* core) {
  delete static_cast<Core*>(core);
  --TheFakeSimulator().liveCores;
  Act("DestroyPeltCore");
}
#endif

}  // extern "C"
// NOLINTEND(performance-unnecessary-value-param)
