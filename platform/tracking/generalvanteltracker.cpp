#include "tracking/generalvanteltracker.h"

#include <algorithm>
#include <chrono>

namespace Vantel::Tracking {

const std::string GeneralVantelTracker::APP_FIRST_START = "APP_FIRST_START";
const std::string GeneralVantelTracker::APP_EVERY_START = "APP_EVERY_START";
const std::string GeneralVantelTracker::APP_LAUNCHED = "APP_LAUNCHED";
const std::string GeneralVantelTracker::APP_EXIT = "APP_EXIT";
const std::string GeneralVantelTracker::APP_FAILED = "APP_FAILED";
const std::string GeneralVantelTracker::APP_RESTARTED = "APP_RESTARTED";
const std::string GeneralVantelTracker::SID = "SID";

GeneralVantelTracker::GeneralVantelTracker(std::string sessionId)
    : m_sessionId(std::move(sessionId))
{
}

GeneralVantelTracker::~GeneralVantelTracker() = default;

void GeneralVantelTracker::sendEvent(const std::string &event,
                                     const std::map<std::string, std::string> &params)
{
    sendEvent(event, std::map<std::string, std::string>(params));
}

void GeneralVantelTracker::sendEvent(const std::string &event,
                                     std::map<std::string, std::string> &&params)
{
    TrackedEvent tracked;
    tracked.name = event;
    tracked.params = std::move(params);
    tracked.session = m_sessionId;
    tracked.timeMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    for (const Registration &r : m_fillers) {
        const bool matches = r.method == FillerKeyMatchingMethod::Exact
            ? event == r.key
            : event.compare(0, r.key.size(), r.key) == 0;
        if (matches)
            r.filler->appendParams(tracked.params);
    }
    if (m_sinks.empty())
        return;
    // Every sink but the last sees the event; the last one gets it.
    for (std::size_t i = 0; i + 1 < m_sinks.size(); ++i)
        m_sinks[i]->consume(static_cast<const TrackedEvent &>(tracked));
    m_sinks.back()->consume(std::move(tracked));
}

void GeneralVantelTracker::RegisterFiller(const std::string &event,
                                          const std::shared_ptr<IDataFiller> &filler,
                                          FillerKeyMatchingMethod method)
{
    if (filler)
        m_fillers.push_back(Registration { event, filler, method });
}

void GeneralVantelTracker::addSink(std::shared_ptr<IEventSink> sink)
{
    if (sink)
        m_sinks.push_back(std::move(sink));
}

void GeneralVantelTracker::removeSink(const std::shared_ptr<IEventSink> &sink)
{
    m_sinks.erase(std::remove(m_sinks.begin(), m_sinks.end(), sink), m_sinks.end());
}

} // namespace Vantel::Tracking
