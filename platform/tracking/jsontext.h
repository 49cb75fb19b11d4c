#pragma once

#include "tracking_export.h"

#include <map>
#include <string>
#include <string_view>

namespace Vantel::Tracking {

// JSON text of the event's own shapes, written straight into a growing buffer: the store and the
// event file write one or two objects per event, and a document model would allocate for every
// key and value. Any byte sequence comes out as valid JSON: malformed UTF-8 becomes U+FFFD, as a
// Qt string would make it.

// Appends `text` as a JSON string, quotes included.
TRACKING_EXPORT void appendJsonString(std::string &out, std::string_view text);
// Appends {"KEY":"VALUE",...} in the map's order.
TRACKING_EXPORT void appendJsonObject(std::string &out,
                                      const std::map<std::string, std::string> &object);

} // namespace Vantel::Tracking
