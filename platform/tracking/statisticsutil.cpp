#include "tracking/statisticsutil.h"

namespace Vantel::App::Util::Statistics {

const char *boolToString(bool value) noexcept
{
    return value ? "true" : "false";
}

std::map<std::string, std::string>
getAppLaunchedCommonParams(const Vantel::Profiler::Result &result,
                           const std::vector<std::pair<std::string, const char *>> &steps)
{
    std::map<std::string, std::string> params;
    params["STARTUP_TIME_MS"] = std::to_string(result.total);
    for (const auto &[name, key] : steps) {
        const auto it = result.stages.find(key);
        if (it != result.stages.end())
            params[name] = std::to_string(it->second);
    }
    return params;
}

} // namespace Vantel::App::Util::Statistics
