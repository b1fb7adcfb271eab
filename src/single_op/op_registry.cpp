#include "single_op/op_registry.h"

#include <map>

namespace Ormo {

namespace {

/// Made by whichever source registers first.
std::map<std::string, ReflectCreator>& Registry() {
  static std::map<std::string, ReflectCreator> registry;
  return registry;
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers pass it so
ReflectBase* CreateReflectedObjByName(std::string name) {
  const auto found = Registry().find(name);
  return found == Registry().end() ? nullptr : found->second();
}

bool RegisterReflectedObj(const std::string& name, ReflectCreator creator) {
  return Registry().emplace(name, creator).second;
}

}  // namespace Ormo
