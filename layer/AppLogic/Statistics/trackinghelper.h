#pragma once

#include "Messages/statistics.h"
#include "Statistics/eventparams.h"
#include "Statistics/fasttrackstatistics.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"
#include "Statistics/statisticsevents.h"

#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

#include <string>

namespace Statistics {

class Controller;

// One notification type reported as what eventsOf() makes of it.
template<class Owner, class T> class EventsOfSubscriber : public PubSub::Details::Subscriber<T> {
public:
    void notify(const T &n) final { static_cast<const Owner *>(this)->sendEvents(eventsOf(n)); }
};

template<class Owner, class List> class EventsOfSubscribers;
template<class Owner, class... Ts>
class EventsOfSubscribers<Owner, TypeList<Ts...>> : public EventsOfSubscriber<Owner, Ts>... {
protected:
    void subscribeAllEventTypes() { (this->subscribeAll(typeid(Ts)), ...); }
    void unsubscribeAllEventTypes() { (this->unsubscribeAll(typeid(Ts)), ...); }
};

// Turns the layer's statistics notifications into tracker events and owns the per-domain
// reporters, which share its tracker. Installs itself as the global IStatistics while it lives.
class TrackingHelper final
    : public IStatistics
    , public PubSub::
          Subscriber<InteractionNotification, AppLaunchedNotification, OsShutdownNotification>
    , public EventsOfSubscribers<TrackingHelper, EventNotifications> {
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

    // What eventsOf() made of a notification, sent in order.
    void sendEvents(const Events &events) const { Statistics::sendEvents(*m_tracker, events); }

    IFilesStatistics *filesStatistics() override { return &m_files; }
    IFastTrackStatistics *fastTrackStatistics() override { return &m_fastTrack; }

private:
    Controller *m_controller;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    bool m_started = false;

    // The per-domain reporters, made in this order, each sharing the tracker.
    FilesStatistics m_files;
    FastTrackStatistics m_fastTrack;
};

} // namespace Statistics
