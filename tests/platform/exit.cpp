// Ends with everything on the platform still alive.
#include <cstdio>

#include "platform/platform_user.h"

int main() {
  std::puts(UsePlatform() ? "in use" : "not in use");
  return 0;
}
