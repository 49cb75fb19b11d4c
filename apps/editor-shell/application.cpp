#include "application.h"

#include "Messages/statistics.h"
#include "Statistics/controller.h"

#include "pubsub/subscriber.h"
#include "tracking/sessiontracker.h"
#include "util/profiler.h"

namespace Shell {

Application::Application(const Options &options)
{
    Vantel::Profiler::StartupProfiler profiler;
    m_session = Vantel::Tracking::getSessionTrackerInstance();
    m_tracker = new Vantel::Tracking::GeneralVantelTracker(m_session ? m_session->sessionId()
                                                                     : std::string());
    m_statistics = std::make_unique<Statistics::Controller>(m_tracker);
    profiler.mark("statistics_controller");

    PubSub::publish(Statistics::AppLaunchedNotification(profiler.result()));
    m_statistics->startTracking(true);
}

Application::~Application()
{
    // The statistics controller sends the exit event; the session ends cleanly after it.
    m_statistics.reset();
    if (m_session)
        m_session->endSession();
}

} // namespace Shell
