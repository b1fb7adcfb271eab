/// \file
/// The platform's log levels by name, for tools that let a person choose one.
#ifndef ORMO_LOG_LEVEL_H
#define ORMO_LOG_LEVEL_H

#include <array>
#include <string_view>
#include <utility>

namespace Ormo {

/// In the platform's numbering; LEVEL_NONE lies above all levels of lines. DEBUG, ERROR and the
/// like are macros in many programs.
enum class LogLevel : int {
  LEVEL_DEBUG = 0,
  LEVEL_INFO = 1,
  LEVEL_WARNING = 2,
  LEVEL_ERROR = 3,
  LEVEL_NONE = 4
};

constexpr std::array<std::pair<std::string_view, LogLevel>, 5> LOG_LEVEL_NAMES = {{
    {"debug", LogLevel::LEVEL_DEBUG},
    {"info", LogLevel::LEVEL_INFO},
    {"warning", LogLevel::LEVEL_WARNING},
    {"error", LogLevel::LEVEL_ERROR},
    {"null", LogLevel::LEVEL_NONE},
}};

}  // namespace Ormo

#endif  // ORMO_LOG_LEVEL_H
