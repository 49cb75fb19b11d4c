#pragma once

#include "Messages/statistics.h"
#include "Statistics/eventparams.h"
#include "Statistics/istatistics.h"

#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

#include <string>

namespace Statistics {

class Controller;

// Turns the layer's statistics notifications into tracker events and owns the per-domain
// reporters, which share its tracker. Installs itself as the global IStatistics while it lives.
class TrackingHelper final
    : public IStatistics
    , public PubSub::Subscriber<InteractionNotification, AppLaunchedNotification, OsShutdownNotification>
{
public:
    TrackingHelper(Controller *controller,
                   boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    ~TrackingHelper() override;

    void startTracking(bool registerFillers);

    // The one send path: every event of the layer leaves through here.
    void send(const std::string &event, Params params) const;

    void notify(const InteractionNotification &n) override;
    void notify(const AppLaunchedNotification &n) override;
    void notify(const OsShutdownNotification &n) override;

private:
    Controller *m_controller;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    bool m_started = false;
};

} // namespace Statistics
