/// \file
/// The place in the sources that a log line is attributed to.
#ifndef ORMO_COMMON_CALL_SITE_H
#define ORMO_COMMON_CALL_SITE_H

namespace Ormo {

/// A function that logs on behalf of its caller takes `CallSite site = CallSite::Here()` as its
/// last parameter: the defaults are evaluated where the call stands.
struct CallSite {
  static constexpr CallSite Here(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return CallSite{file, line};
  }

  constexpr const char* BaseName() const {
    const char* base = file;
    for (const char* c = file; *c != '\0'; ++c) {
      if (*c == '/') {
        base = c + 1;
      }
    }
    return base;
  }

  const char* file;
  int line;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_CALL_SITE_H
