#include "Statistics/controller.h"

#include "Statistics/settingshelper.h"
#include "Statistics/stabilizehelper.h"
#include "Statistics/trackinghelper.h"

namespace Statistics {

Controller::Controller(const boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> &tracker,
                       const Environment &environment)
    : m_tracking(std::make_unique<TrackingHelper>(this, tracker, environment))
    , m_settings(std::make_unique<SettingsHelper>(tracker, environment.settings))
    , m_stabilize(std::make_unique<StabilizeHelper>(tracker))
{
}

Controller::~Controller()
{
    m_tracking.reset();
    m_settings.reset();
    m_stabilize.reset();
}

void Controller::startTracking(bool registerFillers)
{
    tracking()->startTracking(registerFillers);
}

TrackingHelper *Controller::tracking() const
{
    return m_tracking.get();
}

SettingsHelper *Controller::settings() const
{
    return m_settings.get();
}

StabilizeHelper *Controller::stabilize() const
{
    return m_stabilize.get();
}

} // namespace Statistics
