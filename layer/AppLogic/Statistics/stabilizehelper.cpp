#include "Statistics/stabilizehelper.h"

#include "Statistics/statisticsevents.h"

namespace Statistics {

StabilizeHelper::StabilizeHelper(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
    subscribeAllTypes();
}

StabilizeHelper::~StabilizeHelper()
{
    unsubscribeAllTypes();
}

void StabilizeHelper::notify(const Stabilization::FileStabilizeRequest &request)
{
    sendEvents(*m_tracker, eventsOf(request));
}

} // namespace Statistics
