#pragma once

#include "tracking_export.h"

#include <map>
#include <string>

namespace Vantel::Tracking {

// Adds parameters to events as the tracker sends them. Called on the sending thread, inside
// sendEvent; must not send events itself.
class TRACKING_EXPORT IDataFiller {
public:
    virtual ~IDataFiller() = default;
    virtual void appendParams(std::map<std::string, std::string> &params) = 0;
};

enum class FillerKeyMatchingMethod : int {
    Exact = 0, // the event name equals the registered key
    Prefix = 1, // the event name starts with the registered key
};

} // namespace Vantel::Tracking
