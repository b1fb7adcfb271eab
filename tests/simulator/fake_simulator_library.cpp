// A simulator library, built once whole and once with each of its functions under another name.
#include <algorithm>
#include <exception>
#include <string>
#include <tuple>
#include <vector>

#include "simulator/fake_simulator.h"

using Ormo::Testing::TheFakeSimulator;

namespace {

#ifdef THROWING_INIT
// Gone with the library: nobody can look at it, or destroy it, after that.
class OwnError : public std::exception {
 public:
  const char* what() const noexcept override { return "an error of its own"; }
};
#endif

void Act(const std::string& function, const std::string& arguments) {
  TheFakeSimulator().calls.push_back(function + " " + arguments);
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
  Act("PeltInit", interpreter);
#ifdef THROWING_INIT
  throw OwnError();
#endif
}

void* CreatePeltCore(std::string file, std::string function, std::vector<uint64_t> arguments,
                     std::string core,
                     std::vector<std::tuple<uint64_t, std::string, uint64_t>> data) {
  const auto zeros = std::count(arguments.begin(), arguments.end(), 0);
  Act("CreatePeltCore", file + " " + function + " " + std::to_string(zeros) + " of " +
                            std::to_string(arguments.size()) + " " + core + " " +
                            std::to_string(data.size()));
  if (TheFakeSimulator().ticks.count(function) == 0) {
    return nullptr;
  }
  ++TheFakeSimulator().liveCores;
  return new std::string(function);
}

uint64_t GetTotalTick(void* core) {
  const std::string function = *static_cast<std::string*>(core);
  Act("GetTotalTick", function);
  return TheFakeSimulator().ticks[function];
}

void DestroyPeltCore(void* core) {
  const std::string function = *static_cast<std::string*>(core);
  delete static_cast<std::string*>(core);
  --TheFakeSimulator().liveCores;
  Act("DestroyPeltCore", function);
}

}  // extern "C"
// NOLINTEND(performance-unnecessary-value-param)
