#pragma once

#include "applogicexport.h"

#include "Statistics/eventparams.h"

#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

#include <memory>

namespace Statistics {

class ITimelinePicker;

// Motion tracking of masks and overlays. The export census asks it for a picker to walk with the
// others and for the parameters that picker found.
class APPLOGIC_EXPORT MotionTrackingStatistics {
public:
    explicit MotionTrackingStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    virtual ~MotionTrackingStatistics();

    std::shared_ptr<ITimelinePicker> timelinePicker() const;
    // The timeline model keeps no tracking data yet, so its picker finds nothing and no
    // parameter is added; the census already reports key-framed motion as "ANIMATION_ADDED".
    void appendParams(const ITimelinePicker &picker, Params &params) const;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

// The timeline panel's own reports and the overlay editors'; they send nothing of their own yet
// and exist so the editor reaches every domain through one interface.
class APPLOGIC_EXPORT ITimelineStatistics {
public:
    virtual ~ITimelineStatistics();
};

class APPLOGIC_EXPORT TimelineStatistics : public ITimelineStatistics {
public:
    explicit TimelineStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

class APPLOGIC_EXPORT IOverlayStatistics {
public:
    virtual ~IOverlayStatistics();
};

class APPLOGIC_EXPORT OverlayStatistics : public IOverlayStatistics {
public:
    explicit OverlayStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics
