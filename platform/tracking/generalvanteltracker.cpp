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
    , m_routes(std::make_shared<const Routes>())
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
    const std::shared_ptr<const Routes> current = routes();
    for (const Registration &r : current->fillers) {
        const bool matches = r.method == FillerKeyMatchingMethod::Exact
            ? event == r.key
            : event.compare(0, r.key.size(), r.key) == 0;
        if (matches)
            r.filler->appendParams(tracked.params);
    }
    const auto &sinks = current->sinks;
    if (sinks.empty())
        return;
    // Every sink but the last sees the event; the last one gets it.
    for (std::size_t i = 0; i + 1 < sinks.size(); ++i)
        sinks[i]->consume(static_cast<const TrackedEvent &>(tracked));
    sinks.back()->consume(std::move(tracked));
}

std::shared_ptr<const GeneralVantelTracker::Routes> GeneralVantelTracker::routes() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_routes;
}

void GeneralVantelTracker::change(const std::function<void(Routes &)> &edit)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto changed = std::make_shared<Routes>(*m_routes);
    edit(*changed);
    m_routes = std::move(changed);
}

void GeneralVantelTracker::RegisterFiller(const std::string &event,
                                          const std::shared_ptr<IDataFiller> &filler,
                                          FillerKeyMatchingMethod method)
{
    if (filler)
        change([&](Routes &r) { r.fillers.push_back(Registration { event, filler, method }); });
}

void GeneralVantelTracker::addSink(std::shared_ptr<IEventSink> sink)
{
    if (sink)
        change([&](Routes &r) { r.sinks.push_back(std::move(sink)); });
}

void GeneralVantelTracker::removeSink(const std::shared_ptr<IEventSink> &sink)
{
    change([&](Routes &r) {
        r.sinks.erase(std::remove(r.sinks.begin(), r.sinks.end(), sink), r.sinks.end());
    });
}

} // namespace Vantel::Tracking
