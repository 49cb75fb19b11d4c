#include "Statistics/trackinghelper.h"

#include "customization/customization.h"
#include "tracking/acceleratorspropertiesfiller.h"
#include "tracking/sessiontracker.h"
#include "tracking/statisticsutil.h"

#include <exception>
#include <utility>
#include <vector>

namespace Statistics {

using Vantel::Tracking::GeneralVantelTracker;

namespace {

bool isFirstLaunch()
{
    return Customization::applicationLaunchType() == Vantel::App::LaunchType::FirstLaunch;
}

// The start-up stages the launch report times, built once for the life of the process.
const std::vector<std::pair<std::string, const char *>> &launchSteps()
{
    static const std::vector<std::pair<std::string, const char *>> steps = {
        { "FASTTRACK_CONTROLLER_CREATE", Vantel::Profiler::PROFILER_FASTTRACK_CONTROLLER },
        { "WAVEFORM_CONTROLLER_CREATE", Vantel::Profiler::PROFILER_WAVEFORM_CONTROLLER },
        { "CAPTURE_CONTROLLER_CREATE", Vantel::Profiler::PROFILER_CAPTURE_CONTROLLER },
    };
    return steps;
}

} // namespace

TrackingHelper::TrackingHelper(Controller *controller,
                               boost::intrusive_ptr<GeneralVantelTracker> tracker,
                               const Environment &environment)
    : m_controller(controller)
    , m_tracker(std::move(tracker))
    , m_motionTracking(m_tracker)
    , m_ai(m_tracker)
    , m_timeline(m_tracker)
    , m_clipProperties(m_tracker)
    , m_transition(m_tracker)
    , m_overlay(m_tracker)
    , m_collection(m_tracker)
    , m_player(m_tracker)
    , m_files(m_tracker)
    , m_fastTrack(m_tracker)
    , m_speechToText(m_tracker)
    , m_workspace(m_tracker)
    , m_export(m_tracker, &m_motionTracking, environment, true)
{
    // Generic interactions come from the statistics publisher alone; every other notification
    // is taken from whoever publishes it.
    subscribe(Statistics::globalObject());
    subscribeAllTypes();
    unsubscribeAll(typeid(InteractionNotification));
    subscribeAllEventTypes();
    setStatistics(this);
}

TrackingHelper::~TrackingHelper()
{
    unsubscribe(Statistics::globalObject());
    unsubscribeAllTypes();
    unsubscribeAllEventTypes();
    setStatistics(nullptr);
    // An exit while unwinding is a crash on its way; the session tracker reports it as failed.
    if (std::uncaught_exceptions() == 0)
        send(GeneralVantelTracker::APP_EXIT, {});
}

void TrackingHelper::send(const std::string &event, Params params) const
{
    m_tracker->sendEvent(event, std::move(params));
}

void TrackingHelper::startTracking(bool registerFillers)
{
    if (m_started)
        return;
    m_started = true;

    if (registerFillers) {
        const auto filler
            = std::make_shared<Vantel::Tracking::Fillers::AcceleratorsPropertiesFiller>();
        for (const std::string *event :
             { &GeneralVantelTracker::APP_FIRST_START, &GeneralVantelTracker::APP_EVERY_START,
               &GeneralVantelTracker::APP_FAILED }) {
            m_tracker->RegisterFiller(*event, filler,
                                      Vantel::Tracking::FillerKeyMatchingMethod::Exact);
        }
    }

    if (const auto sessions = Vantel::Tracking::getSessionTrackerInstance()) {
        for (const auto &failed : sessions->failedSessions()) {
            Params params { { GeneralVantelTracker::SID, failed.id } };
            if (failed.details) {
                params["FAIL_AREA"] = failed.details->area;
                params["FAIL_DEBUG_INFO"] = failed.details->debugInfo;
            }
            send(GeneralVantelTracker::APP_FAILED, std::move(params));
        }
        for (const auto &id : sessions->restartedSessions())
            send(GeneralVantelTracker::APP_RESTARTED, { { GeneralVantelTracker::SID, id } });
    }

    send(isFirstLaunch() ? GeneralVantelTracker::APP_FIRST_START
                         : GeneralVantelTracker::APP_EVERY_START,
         {});
}

void TrackingHelper::notify(const InteractionNotification &n)
{
    Params params;
    if (!n.value.isEmpty())
        params["METHOD"] = utf8(n.value);
    for (auto it = n.parameters.cbegin(); it != n.parameters.cend(); ++it)
        params[utf8(it.key())] = utf8(it.value());
    send(utf8(n.event), std::move(params));
}

void TrackingHelper::notify(const AppLaunchedNotification &n)
{
    Params params
        = Vantel::App::Util::Statistics::getAppLaunchedCommonParams(n.result, launchSteps());
    params["IS_FIRST_START"] = flag(isFirstLaunch());
    send(GeneralVantelTracker::APP_LAUNCHED, std::move(params));
}

void TrackingHelper::notify(const OsShutdownNotification &)
{
    send("OS_SHUTDOWN", {});
}

void sendEvents(GeneralVantelTracker &tracker, const Events &events)
{
    for (const Event &event : events)
        tracker.sendEvent(event.name, event.params);
}

} // namespace Statistics
