#pragma once

#include "tracking_export.h"

#include "profiler/profiler.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Vantel::App::Util::Statistics {

// "true" / "false": the one spelling of a flag in every event.
TRACKING_EXPORT const char *boolToString(bool value) noexcept;

// The launch event's common parameters: the whole start-up time ("STARTUP_TIME_MS") and, for each
// (parameter, stage key) pair whose stage the profiler recorded, that stage's milliseconds.
TRACKING_EXPORT std::map<std::string, std::string>
getAppLaunchedCommonParams(const Vantel::Profiler::Result &result,
                           const std::vector<std::pair<std::string, const char *>> &steps);

} // namespace Vantel::App::Util::Statistics
