#pragma once

#include "tracking_export.h"

#include "util/profiler.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Vantel::App::Util::Statistics {

// "true" / "false": the one spelling of a flag in every event.
TRACKING_EXPORT const char *boolToString(bool value) noexcept;

// The launch event's common parameters: the whole start-up time ("STARTUP_TIME_MS") and, for each
// (parameter, stage key) pair whose stage the profiler recorded, that stage's milliseconds.
std::map<std::string, std::string> TRACKING_EXPORT
getAppLaunchedCommonParams(const Vantel::Profiler::Result &result,
                           const std::vector<std::pair<std::string, const char *>> &steps);

} // namespace Vantel::App::Util::Statistics
