/// \file
/// Live subscription configurations.
#ifndef ORMO_HOST_PROFILING_SUBSCRIBE_CONFIGS_H
#define ORMO_HOST_PROFILING_SUBSCRIBE_CONFIGS_H

#include "profiling/subscription.h"
#include "runtime/handle_table.h"
#include "zel/zel_prof.h"

namespace OrmoHost {

/// A configuration is nothing but its output; a running subscription keeps that open.
using SubscribeConfigs = HandleTable<zelprofSubscribeConfig*, RecordOutput>;

SubscribeConfigs& AllSubscribeConfigs();

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_SUBSCRIBE_CONFIGS_H
