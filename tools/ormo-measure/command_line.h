/// \file
/// From arguments to a command.
#ifndef ORMO_MEASURE_COMMAND_LINE_H
#define ORMO_MEASURE_COMMAND_LINE_H

#include <variant>

#include "options.h"

namespace OrmoMeasure {

constexpr int EXIT_ALL_MEASURED = 0;
constexpr int EXIT_CANDIDATE_FAILED = 1;
constexpr int EXIT_BAD_USAGE = 2;

/// The chip's name is asked for.
struct SocQuery {};

/// Nothing is left to do: help was printed, or what is wrong with the arguments.
struct Done {
  int exitStatus;
};

using Command = std::variant<Done, SocQuery, OfflineOptions, OnlineOptions, OpOptions, SimOptions>;

Command ParseCommandLine(int argc, const char* const* argv);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_COMMAND_LINE_H
