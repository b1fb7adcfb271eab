/// \file
/// The platform's log levels by name, for tools that let a person choose one.
#ifndef ORMO_LOG_LEVEL_H
#define ORMO_LOG_LEVEL_H

#include <array>
#include <string_view>
#include <utility>

namespace Ormo {

/// In the platform's numbering; NONE lies above all levels of lines.
enum class LogLevel : int { DEBUG = 0, INFO = 1, WARNING = 2, ERROR = 3, NONE = 4 };

constexpr std::array<std::pair<std::string_view, LogLevel>, 5> LOG_LEVEL_NAMES = {{
    {"debug", LogLevel::DEBUG},
    {"info", LogLevel::INFO},
    {"warning", LogLevel::WARNING},
    {"error", LogLevel::ERROR},
    {"null", LogLevel::NONE},
}};

}  // namespace Ormo

#endif  // ORMO_LOG_LEVEL_H
