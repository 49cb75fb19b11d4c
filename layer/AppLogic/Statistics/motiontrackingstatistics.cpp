#include "Statistics/motiontrackingstatistics.h"

#include "Statistics/timelinepicker.h"

namespace Statistics {

MotionTrackingStatistics::MotionTrackingStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

MotionTrackingStatistics::~MotionTrackingStatistics() = default;

std::shared_ptr<ITimelinePicker> MotionTrackingStatistics::timelinePicker() const
{
    return std::make_shared<ITimelinePicker>(ITimelinePicker::None);
}

void MotionTrackingStatistics::appendParams(const ITimelinePicker &, Params &) const { }

ITimelineStatistics::~ITimelineStatistics() = default;

TimelineStatistics::TimelineStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

IOverlayStatistics::~IOverlayStatistics() = default;

OverlayStatistics::OverlayStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

} // namespace Statistics
