#include "tracking/sessiontracker.h"

#include <utility>

namespace Vantel::Tracking {

namespace {
std::shared_ptr<ISessionTracker> &instance()
{
    static std::shared_ptr<ISessionTracker> tracker;
    return tracker;
}
} // namespace

std::shared_ptr<ISessionTracker> getSessionTrackerInstance()
{
    return instance();
}

void setSessionTrackerInstance(std::shared_ptr<ISessionTracker> tracker)
{
    instance() = std::move(tracker);
}

} // namespace Vantel::Tracking
