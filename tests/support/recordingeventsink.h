#pragma once

#include "tracking/trackedevent.h"

#include <string>
#include <vector>

namespace TestSupport {

// Keeps every event the tracker hands on, in order, so a test can read exactly what was sent.
class RecordingEventSink : public Vantel::Tracking::IEventSink {
public:
    void consume(const Vantel::Tracking::TrackedEvent &event) override { events.push_back(event); }

    std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        for (const auto &e : events)
            result.push_back(e.name);
        return result;
    }

    // The last event of that name; fails the calling test's expectations with an empty event
    // when there is none.
    const Vantel::Tracking::TrackedEvent *last(const std::string &name) const
    {
        for (auto it = events.rbegin(); it != events.rend(); ++it) {
            if (it->name == name)
                return &*it;
        }
        return nullptr;
    }

    std::vector<Vantel::Tracking::TrackedEvent> events;
};

} // namespace TestSupport
