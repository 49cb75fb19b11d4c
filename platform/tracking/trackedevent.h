#pragma once

#include "tracking_export.h"

#include <cstdint>
#include <map>
#include <string>

namespace Vantel::Tracking {

// One event as the tracker hands it on: its parameters already include what the fillers added.
struct TrackedEvent {
    std::string name;
    std::map<std::string, std::string> params;
    std::int64_t timeMs = 0; // milliseconds since the Unix epoch
    std::string session;
};

// Where sent events go. consume() runs on the sending thread, inside sendEvent, so a sink must
// only hand the event on, never wait for a disk or a network; events may be sent from several
// threads at once.
class TRACKING_EXPORT IEventSink {
public:
    virtual ~IEventSink() = default;
    virtual void consume(const TrackedEvent &event) = 0;
    // The tracker hands its own copy to the last sink; a sink that keeps events overrides this
    // to take the event without copying it.
    virtual void consume(TrackedEvent &&event)
    {
        consume(static_cast<const TrackedEvent &>(event));
    }
};

} // namespace Vantel::Tracking
