#pragma once

#include "Messages/statistics.h"
#include "Statistics/aistatistics.h"
#include "Statistics/bladestatistics.h"
#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/collectionstatistics.h"
#include "Statistics/eventparams.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/fasttrackstatistics.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"
#include "Statistics/motiontrackingstatistics.h"
#include "Statistics/playerstatistics.h"
#include "Statistics/speechtotextstatistics.h"
#include "Statistics/statisticsevents.h"
#include "Statistics/transitionstatistics.h"
#include "Statistics/workspacestatistics.h"

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
                   boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker,
                   const Environment &environment);
    ~TrackingHelper() override;

    void startTracking(bool registerFillers);

    // The one send path: every event of the layer leaves through here.
    void send(const std::string &event, Params params) const;

    void notify(const InteractionNotification &n) override;
    void notify(const AppLaunchedNotification &n) override;
    void notify(const OsShutdownNotification &n) override;

    // What eventsOf() made of a notification, sent in order.
    void sendEvents(const Events &events) const { Statistics::sendEvents(*m_tracker, events); }

    MotionTrackingStatistics *motionTrackingStatistics() override { return &m_motionTracking; }
    AiStatistics *aiStatistics() override { return &m_ai; }
    ITimelineStatistics *timelineStatistics() override { return &m_timeline; }
    IClipPropertiesStatistics *clipPropertiesStatistics() override { return &m_clipProperties; }
    ITransitionStatistics *transitionStatistics() override { return &m_transition; }
    IOverlayStatistics *overlayStatistics() override { return &m_overlay; }
    ICollectionStatistics *collectionStatistics() override { return &m_collection; }
    IBladeStatistics *bladeStatistics() override { return &m_blade; }
    IPlayerStatistics *playerStatistics() override { return &m_player; }
    IFilesStatistics *filesStatistics() override { return &m_files; }
    IFastTrackStatistics *fastTrackStatistics() override { return &m_fastTrack; }
    ISpeechToTextStatistics *speechToTextStatistics() override { return &m_speechToText; }
    IWorkspaceStatistics *workspaceStatistics() override { return &m_workspace; }
    IExportStatistics *exportStatistics() override { return &m_export; }

private:
    Controller *m_controller;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    bool m_started = false;

    // The per-domain reporters, made in this order, each sharing the tracker.
    MotionTrackingStatistics m_motionTracking;
    AiStatistics m_ai;
    TimelineStatistics m_timeline;
    ClipPropertiesStatistics m_clipProperties;
    TransitionStatistics m_transition;
    OverlayStatistics m_overlay;
    CollectionStatistics m_collection;
    BladeStatistics m_blade;
    PlayerStatistics m_player;
    FilesStatistics m_files;
    FastTrackStatistics m_fastTrack;
    SpeechToTextStatistics m_speechToText;
    WorkspaceStatistics m_workspace;
    ExportStatistics m_export;
};

} // namespace Statistics
