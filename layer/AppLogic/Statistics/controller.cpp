#include "Statistics/controller.h"

#include "Statistics/trackinghelper.h"

namespace Statistics {

Controller::Controller(const boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> &tracker)
    : m_tracking(std::make_unique<TrackingHelper>(this, tracker))
{}

Controller::~Controller() = default;

void Controller::startTracking(bool registerFillers)
{
    tracking()->startTracking(registerFillers);
}

TrackingHelper *Controller::tracking() const
{
    return m_tracking.get();
}

} // namespace Statistics
